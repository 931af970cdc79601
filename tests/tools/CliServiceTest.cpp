// The command-line program talking to live servers: a query of the sample service and its
// progress line, the quick start's main job from start to end, and a query of nginx over HTTPS,
// refused while the test CA is not trusted and through once it is (SSL_CERT_FILE) or once the
// server's certificate is named as accepted.
#include "CliCheck.h"
#include "support/Peers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

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

// The query draws its progress line on standard error only when asked to always; the report on
// standard output is what reading the same feed from a file prints.
TEST(CliServiceTest, QueryPrintsWhatReadFilePrintsAndItsProgressLine) {
  ASSERT_TRUE(HaveCli());
  const std::string service = PeerValue("odata", "URL");
  const std::string saved = ::testing::TempDir() + "quillon-cli-products.xml";
  ASSERT_EQ(std::system(("curl -s -o " + saved + " '" + service + "Products?$top=3'").c_str()), 0);
  const std::string args =
      "-p ServiceRootURI=" + service + " -p ResourcePath=Products -p QueryTop=3 QueryService";
  const CliRun query = RunCli("--progress=always " + args);
  ASSERT_EQ(query.status, 0) << query.out;
  EXPECT_NE(query.out.find("\rreceived"), std::string::npos) << query.out;
  const CliRun quiet = RunCli("--progress " + args); // standard error is no terminal here
  EXPECT_EQ(quiet.out.find("\rreceived"), std::string::npos) << quiet.out;
  const CliRun read = RunCli("-c ReadFile=" + saved);
  ASSERT_EQ(read.status, 0) << read.out;
  EXPECT_FALSE(Report(read.out).empty()) << read.out;
  EXPECT_EQ(Report(query.out), Report(read.out));
  std::remove(saved.c_str());
}

TEST(CliServiceTest, QuickStartMainJob) {
  ASSERT_TRUE(HaveCli());
  const std::string env = "QUILLON_SERVICE_DIR=" + ::testing::TempDir() + "quillon-run-service";
  const CliRun run = RunShell("cd " QUILLON_SOURCE_DIR " && " + env + " scripts/run.sh");
  RunShell(env + " " QUILLON_SOURCE_DIR "/scripts/service.sh stop");
  EXPECT_EQ(run.status, 0) << run.out;
  for (const char* step : {"QueryService: OK", "GetSchema: OK", "CreateEntry: OK",
                           "UpdateEntry: OK", "412 Precondition Failed", "DeleteEntry: OK"})
    EXPECT_NE(run.out.find(step), std::string::npos) << step << "\n" << run.out;
}

TEST(CliServiceTest, QueryOverHttpsIsJudgedByTheTrustedCa) {
  QUILLON_REQUIRE_CLI();
  const std::string query = "-p ServiceRootURI=" + PeerValue("nginx", "HTTPS_URL") +
                            "/odata/ -p ResourcePath=Items -p QueryTop=2 QueryService";
  const std::string accepted =
      "-p \"SSLAcceptServerCertEncoded=$(cat " + PeerValue("certs", "SERVER_CERT") + ")\" ";
  ::unsetenv("SSL_CERT_FILE");
  Check({query,
         1,
         {"quillon: error 276: Server certificate verification failed. Connection aborted."}});
  Check({accepted + query, 0, {"QueryService: OK"}});
  ::setenv("SSL_CERT_FILE", PeerValue("certs", "CA_FILE").c_str(), 1);
  Check({query, 0, {"QueryService: OK"}});
  ::unsetenv("SSL_CERT_FILE");
}

} // namespace
} // namespace quillon::test
