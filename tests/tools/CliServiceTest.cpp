// The command-line program talking to the sample service: a query prints what reading the same
// feed from a file prints, --progress draws its line on standard error, and the quick start's
// main job runs from start to end.
#include "support/CliRunner.h"
#include "support/Peers.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>

namespace quillon::test {
namespace {

// The report after the events (from the line "Feed" on), without the times the service stamps
// on every answer.
std::string Report(const std::string& text) {
  const size_t at = text.find("\nFeed\n");
  std::string out, line;
  for (size_t i = at == std::string::npos ? text.size() : at + 1; i < text.size(); ++i) {
    line += text[i];
    if (text[i] != '\n') continue;
    if (line.find("Updated") == std::string::npos && line.find(": OK") == std::string::npos)
      out += line;
    line.clear();
  }
  return out;
}

TEST(CliServiceTest, QueryPrintsWhatReadFilePrints) {
  ASSERT_TRUE(HaveCli());
  const std::string service = PeerValue("odata", "URL");
  const std::string saved = ::testing::TempDir() + "quillon-cli-products.xml";
  ASSERT_EQ(std::system(("curl -s -o " + saved + " '" + service + "Products?$top=3'").c_str()), 0);
  const CliRun query = RunCli("-p ServiceRootURI=" + service +
                              " -p ResourcePath=Products -p QueryTop=3 QueryService");
  ASSERT_EQ(query.status, 0) << query.out;
  const CliRun read = RunCli("-c ReadFile=" + saved);
  ASSERT_EQ(read.status, 0) << read.out;
  EXPECT_FALSE(Report(read.out).empty()) << read.out;
  EXPECT_EQ(Report(query.out), Report(read.out));
  std::remove(saved.c_str());
}

TEST(CliServiceTest, ProgressLineOnStandardError) {
  ASSERT_TRUE(HaveCli());
  const std::string service = PeerValue("odata", "URL");
  const std::string args =
      "-p ServiceRootURI=" + service + " -p ResourcePath=Products QueryService";
  const CliRun drawn = RunCli("--progress=always " + args);
  EXPECT_EQ(drawn.status, 0) << drawn.out;
  EXPECT_NE(drawn.out.find("\rreceived"), std::string::npos) << drawn.out;
  const CliRun quiet = RunCli("--progress " + args); // standard error is no terminal here
  EXPECT_EQ(quiet.out.find("\rreceived"), std::string::npos) << quiet.out;
}

TEST(CliServiceTest, QuickStartMainJob) {
  ASSERT_TRUE(HaveCli());
  const std::string dir = ::testing::TempDir() + "quillon-run-service";
  const std::string command = "cd " QUILLON_SOURCE_DIR " && QUILLON_SERVICE_DIR=" + dir +
                              " scripts/run.sh 2>&1; echo \"exit=$?\"; QUILLON_SERVICE_DIR=" + dir +
                              " scripts/service.sh stop >/dev/null 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string out;
  std::array<char, 4096> buffer;
  for (size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
    out.append(buffer.data(), n);
  pclose(pipe);
  for (const char* step :
       {"QueryService: OK", "GetSchema: OK", "CreateEntry: OK", "UpdateEntry: OK",
        "412 Precondition Failed", "DeleteEntry: OK", "exit=0"})
    EXPECT_NE(out.find(step), std::string::npos) << step << "\n" << out;
}

} // namespace
} // namespace quillon::test
