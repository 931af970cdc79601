// Runs the command-line program as a user would and checks its output and exit status.
#include "support/CliRunner.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using quillon::test::CliRun;
using quillon::test::RunCli;

class Cli : public ::testing::Test {
protected:
  void SetUp() override { QUILLON_REQUIRE_CLI(); }
};

TEST_F(Cli, ConfigValuesAndProperties) {
  CliRun run = RunCli("-c CodePage=1252 -c CodePage -p ResourcePath=Products -g ResourcePath");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(run.out, "1252\nProducts\n");
}

TEST_F(Cli, JsonCarriesResultAndError) {
  CliRun run = RunCli("--json -c Bogus");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("\"result\": -1"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\"lastError\": \"Unknown config setting.\""), std::string::npos);
  EXPECT_NE(run.out.find("\"events\": []"), std::string::npos);
}

TEST_F(Cli, FailuresPrintCodeAndTextAndExitNonZero) {
  CliRun run = RunCli("QueryService");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("error 901: The ServiceRootURI must be set before do action."),
            std::string::npos)
      << run.out;
  run = RunCli("-p Idle=1");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("error 383: Property is read-only."), std::string::npos) << run.out;
  run = RunCli("NoSuchMethod");
  EXPECT_EQ(run.status, 2);
  run = RunCli("CustomRequest GET");
  EXPECT_EQ(run.status, 2);
}

const std::string kFeed = std::string(QUILLON_SOURCE_DIR) + "/examples/products-feed.xml";

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string WriteTemp(const std::string& name, const std::string& content) {
  const std::string path =
      (std::filesystem::temp_directory_path() / (name + "-" + std::to_string(::getpid()))).string();
  std::ofstream(path) << content;
  return path;
}

TEST_F(Cli, ReadFilePrintsEventsChannelAndEntries) {
  CliRun run = RunCli("-c ReadFile=" + kFeed);
  EXPECT_EQ(run.status, 0) << run.out;
  for (const char* part :
       {"event Entry: Id=\"https://shop.example.invalid/odata/Products(1)\" Title=\"Walnut desk\"",
        "  ChannelTitle: Products\n", "Next page: QuerySkipToken 3\n", "3 entries\n",
        "  ETag:    W/\"4\"\n", "    Supplier -> Products(1)/Supplier\n",
        "    Dimensions/Width [Edm.Int32] = 140\n", "    Dimensions = null\n"})
    EXPECT_TRUE(Has(run.out, part)) << part << "\n" << run.out;

  run = RunCli("-c ReadFile=" + kFeed + " GetEntryProperty entry[2]/content/properties/Name");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Has(run.out, "Oak chair\nGetEntryProperty: OK\n")) << run.out;
}

TEST_F(Cli, JsonHoldsEveryMemberOfTheShape) {
  CliRun run = RunCli("--json -c ReadFile=" + kFeed);
  EXPECT_EQ(run.status, 0) << run.out;
  for (const char* part :
       {"\"result\": 0", "\"rootKind\": \"feed\"", "\"ChannelLinkHrefLang\": \"\"",
        "\"ChannelTitleTextType\": 0", "\"EntryAuthor\": \"Catalogue team\"",
        "\"EntryLinksResourcePath\": \"Products(2)/Supplier\"",
        "\"EntryPropertiesName\": \"Dimensions\"", "\"EntryPropertiesIsNull\": true",
        "\"EntryPropertiesXPath\": \"/feed/entry[3]/content/properties/Dimensions/Depth\"",
        "\"EntryPropertiesAttributes\": \"type=\\\"Edm.Int32\\\"\"",
        "\"EntryTitle\": \"Café table & two stools\"", "\"event\": \"Entry\""})
    EXPECT_TRUE(Has(run.out, part)) << part << "\n" << run.out;

  // A document with no entries still has the members, empty.
  const std::string service =
      WriteTemp("quillon-cli-service", "<service><workspace><collection href='A'/></workspace>"
                                       "</service>");
  run = RunCli("--json -c ReadFile=" + service);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Has(run.out, "\"rootKind\": \"service\"")) << run.out;
  EXPECT_TRUE(Has(run.out, "\"ChannelTitle\": \"\"")) << run.out;
  EXPECT_TRUE(Has(run.out, "\"entries\": []")) << run.out;
  run = RunCli("-c ReadFile=" + service);
  EXPECT_TRUE(Has(run.out, "Service document\n  Workspace 1\n    (href A)\n")) << run.out;
  std::remove(service.c_str());
}

TEST_F(Cli, AFailedReadShowsItsCodeAndText) {
  const std::string error =
      WriteTemp("quillon-cli-error", "<error><code>E7</code><message>Bad key.</message></error>");
  const std::string broken = WriteTemp("quillon-cli-broken", "<feed><entry></feed>");
  struct Row {
    std::string arguments;
    std::vector<const char*> parts;
  };
  const Row rows[] = {
      {"-c ReadFile=" + error,
       {"Service error: Code: E7, Message: Bad key.\n",
        "quillon: error 902: Code: E7, Message: Bad key."}},
      {"--json -c ReadFile=" + error,
       {"\"result\": 902", "\"lastError\": \"Code: E7, Message: Bad key.\""}},
      {"-c ReadFile=" + broken, {"quillon: error 201: Unbalanced element tag: feed"}},
      {"-c ReadFile=/nonexistent/feed.xml", {"error 302: Can't read file for reading."}},
  };
  for (const Row& row : rows) {
    const CliRun run = RunCli(row.arguments);
    EXPECT_EQ(run.status, 1) << row.arguments;
    for (const char* part : row.parts)
      EXPECT_TRUE(Has(run.out, part)) << part << "\n" << run.out;
  }
  std::remove(error.c_str());
  std::remove(broken.c_str());
}

} // namespace

TEST_F(Cli, EntryDocumentsAndOperations) {
  CliRun run = RunCli("-c ReadFile=" + kFeed + " -p EntryIndex=1 -c GenerateEntryXML");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_NE(
      run.out.find("<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n<entry "),
      std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("<d:Name>Oak chair</d:Name>"), std::string::npos);
  // Nobody listens on the discard port: the operations report the refused connection.
  for (const char* method : {"CreateEntry", "UpdateEntry", "DeleteEntry",
                             "UpdateProperty /feed/entry[1]/content/properties/Name New"}) {
    run = RunCli("-p ServiceRootURI=http://127.0.0.1:9/svc -c ReadFile=" + kFeed + " " + method);
    EXPECT_EQ(run.status, 1) << method;
    EXPECT_NE(run.out.find("error 10061: [10061] Connection refused"), std::string::npos)
        << method << "\n"
        << run.out;
  }
}
