// Runs the command-line program as a user would and checks its output and exit status, the
// schema of the real EDMX documents for a person and as the "schema" member of the JSON document
// among them.
#include "CliCheck.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using quillon::test::Check;
using quillon::test::CliCall;
using quillon::test::CliRun;
using quillon::test::RunCli;

class Cli : public ::testing::Test {
protected:
  void SetUp() override { QUILLON_REQUIRE_CLI(); }
};

std::string WriteTemp(const std::string& name, const std::string& content) {
  const std::string path =
      (std::filesystem::temp_directory_path() / (name + "-" + std::to_string(::getpid()))).string();
  std::ofstream(path) << content;
  return path;
}

TEST_F(Cli, ConfigValuesAndProperties) {
  CliRun run = RunCli("-c CodePage=1252 -c CodePage -p ResourcePath=Products -g ResourcePath");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(run.out, "1252\nProducts\n");
}

// Each call's exit status and the pieces its output must hold: failures with their code and
// text, a saved feed, service and error document in text and JSON, and the operations against a
// port where nobody listens.
TEST_F(Cli, OutputAndExitStatusOfEachCall) {
  const std::string read = "-c ReadFile=" QUILLON_SOURCE_DIR "/examples/products-feed.xml";
  const std::string error =
      WriteTemp("quillon-cli-error", "<error><code>E7</code><message>Bad key.</message></error>");
  const std::string broken = WriteTemp("quillon-cli-broken", "<feed><entry></feed>");
  const std::string service = WriteTemp(
      "quillon-cli-service", "<service><workspace><collection href='A'/></workspace></service>");
  const std::string offline = "-p ServiceRootURI=http://127.0.0.1:9/svc " + read + " ";
  const char* refused = "error 10061: [10061] Connection refused";
  const CliCall rows[] = {
      {"--json -c Bogus",
       1,
       {"\"result\": -1", "\"lastError\": \"Unknown config setting.\"", "\"events\": []"}},
      {"QueryService", 1, {"error 901: The ServiceRootURI must be set before do action."}},
      {"-p Idle=1", 1, {"error 383: Property is read-only."}},
      {"NoSuchMethod", 2, {}},
      {"CustomRequest GET", 2, {}},
      {read,
       0,
       {"event Entry: Id=\"https://shop.example.invalid/odata/Products(1)\" Title=\"Walnut desk\"",
        "  ChannelTitle: Products\n", "Next page: QuerySkipToken 3\n", "3 entries\n",
        "  ETag:    W/\"4\"\n", "    Supplier -> Products(1)/Supplier\n",
        "    Dimensions/Width [Edm.Int32] = 140\n", "    Dimensions = null\n"}},
      {read + " GetEntryProperty entry[2]/content/properties/Name",
       0,
       {"Oak chair\nGetEntryProperty: OK\n"}},
      {"--json " + read,
       0,
       {"\"result\": 0", "\"rootKind\": \"feed\"", "\"ChannelLinkHrefLang\": \"\"",
        "\"ChannelTitleTextType\": 0", "\"EntryAuthor\": \"Catalogue team\"",
        "\"EntryLinksResourcePath\": \"Products(2)/Supplier\"",
        "\"EntryPropertiesName\": \"Dimensions\"", "\"EntryPropertiesIsNull\": true",
        "\"EntryPropertiesXPath\": \"/feed/entry[3]/content/properties/Dimensions/Depth\"",
        "\"EntryPropertiesAttributes\": \"type=\\\"Edm.Int32\\\"\"",
        "\"EntryTitle\": \"Café table & two stools\"", "\"event\": \"Entry\""}},
      // A document with no entries still has the members, empty.
      {"--json -c ReadFile=" + service,
       0,
       {"\"rootKind\": \"service\"", "\"ChannelTitle\": \"\"", "\"entries\": []"}},
      {"-c ReadFile=" + service, 0, {"Service document\n  Workspace 1\n    (href A)\n"}},
      {"-c ReadFile=" + error,
       1,
       {"Service error: Code: E7, Message: Bad key.\n",
        "quillon: error 902: Code: E7, Message: Bad key."}},
      {"--json -c ReadFile=" + error,
       1,
       {"\"result\": 902", "\"lastError\": \"Code: E7, Message: Bad key.\""}},
      {"-c ReadFile=" + broken, 1, {"quillon: error 201: Unbalanced element tag: feed"}},
      {"-c ReadFile=/nonexistent/feed.xml", 1, {"error 302: Can't read file for reading."}},
      {read + " -p EntryIndex=1 -c GenerateEntryXML",
       0,
       {"<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n<entry ",
        "<d:Name>Oak chair</d:Name>"}},
      {offline + "CreateEntry", 1, {refused}},
      {offline + "UpdateEntry", 1, {refused}},
      {offline + "DeleteEntry", 1, {refused}},
      {offline + "UpdateProperty /feed/entry[1]/content/properties/Name New", 1, {refused}},
  };
  for (const CliCall& row : rows)
    Check(row);
  for (const std::string& file : {error, broken, service})
    std::remove(file.c_str());
}

// A saved EDMX response read in JSON and in text: the pieces each must hold, and how often some
// members come. The JSON events are those of the read: three sets, then the seven properties of
// the first; the report's own moves raise none.
// Without a schema the JSON document's "schema" member is there and empty.
TEST_F(Cli, SchemaSetsKeysPropertiesAndAssociationsInJsonAndText) {
  QUILLON_REQUIRE_CORPUS();
  const std::string atom = " -c ReadFile=" + quillon::test::CorpusFile("atom/");
  const CliCall rows[] = {
      {"--json" + atom + "metadataProducts.xml",
       0,
       {"\"rootKind\": \"edmx\"",
        "\"SchemaEntityName\": \"Suppliers\",\n        \"SchemaEntityDescription\": \"\",\n"
        "        \"SchemaEntitySummary\": \"\",\n        \"keys\": [\n          \"ID\"\n"
        "        ],",
        "\"SchemaPropertyName\": \"Address\",\n            \"SchemaPropertyType\": "
        "\"ODataDemo.Address\",\n            \"SchemaPropertyNullable\": false,\n"
        "            \"SchemaPropertyIsComplexType\": true,",
        "\"SchemaPropertyAttributes\": \"Name=\\\"ID\\\" Type=\\\"Edm.Int32\\\" "
        "Nullable=\\\"false\\\"\"",
        "\"SchemaAssociationFromRoleEntity\": \"Product\",\n"
        "            \"SchemaAssociationFromRoleMultiplicity\": 2,",
        "\"SchemaAssociationName\": \"Products\",\n            \"SchemaAssociationOnDelete\": "
        "0,\n"
        "            \"SchemaAssociationRelationship\": \"Product_Supplier_Supplier_Products\","},
       {{"\"SchemaEntityName\"", 3},
        {"\"SchemaAssociationName\"", 4},
        {"\"event\": \"Entity\"", 3},
        {"\"event\": \"Property\"", 7}}},
      {atom + "refScenario.edmx",
       0,
       {"Schema: 21 entity sets\n", "\nEntity set Photos\n  Keys: Id, Type\n",
        "    Location                 RefScenario.c_Location       nullable  complex\n"
        "      City                   RefScenario.c_City           nullable  complex\n"
        "      Country                Edm.String                   nullable\n",
        "    nb_Rooms: BuildingRooms\n      from r_Building [Building, 1] to r_Room [Room, *]\n"},
       {}},
      // Without a schema the member is there and empty.
      {"--json -c CodePage", 0, {"\"schema\": {\n    \"entities\": []\n  }"}, {}},
  };
  for (const CliCall& row : rows)
    Check(row);
}

} // namespace
