// The command-line program on the real EDMX documents: the schema for a person and as the
// "schema" member of the JSON document, read through the public properties.
#include "support/Corpus.h"

#include "support/CliRunner.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using quillon::test::CliRun;
using quillon::test::RunCli;

size_t Occurrences(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++count;
  return count;
}

class CliSchema : public ::testing::Test {
protected:
  void SetUp() override {
    QUILLON_REQUIRE_CLI();
    QUILLON_REQUIRE_CORPUS();
  }
  // The program reading a saved EDMX response, then `options`.
  CliRun ReadEdmx(const std::string& file, const std::string& options) {
    CliRun run = RunCli(options + " -c ReadFile=" + quillon::test::CorpusFile("atom/" + file));
    return run;
  }
  bool CanReadFiles(const CliRun& run) {
    return run.out.find("Unknown config setting.") == std::string::npos;
  }
};

TEST_F(CliSchema, JsonHoldsEachEntitySetWithItsKeysPropertiesAndAssociations) {
  const CliRun run = ReadEdmx("metadataProducts.xml", "--json");
  if (!CanReadFiles(run)) GTEST_SKIP() << "this build reads no saved responses";
  ASSERT_EQ(run.status, 0) << run.out;
  for (const char* piece : {
           "\"rootKind\": \"edmx\"",
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
           "            \"SchemaAssociationRelationship\": \"Product_Supplier_Supplier_Products\",",
       })
    EXPECT_NE(run.out.find(piece), std::string::npos) << piece << "\n" << run.out;
  EXPECT_EQ(Occurrences(run.out, "\"SchemaEntityName\""), 3u);
  EXPECT_EQ(Occurrences(run.out, "\"SchemaAssociationName\""), 4u);
  // The events are those of the read: three sets, then the seven properties of the first; the
  // report's own moves raise none.
  EXPECT_EQ(Occurrences(run.out, "\"event\": \"Entity\""), 3u);
  EXPECT_EQ(Occurrences(run.out, "\"event\": \"Property\""), 7u);
}

TEST_F(CliSchema, TextShowsSetsKeysFieldsAndRoles) {
  const CliRun run = ReadEdmx("refScenario.edmx", "");
  if (!CanReadFiles(run)) GTEST_SKIP() << "this build reads no saved responses";
  ASSERT_EQ(run.status, 0) << run.out;
  for (const char* piece : {
           "Schema: 21 entity sets\n",
           "\nEntity set Photos\n  Keys: Id, Type\n",
           "    Location                 RefScenario.c_Location       nullable  complex\n"
           "      City                   RefScenario.c_City           nullable  complex\n"
           "      Country                Edm.String                   nullable\n",
           "    nb_Rooms: BuildingRooms\n      from r_Building [Building, 1] to r_Room [Room, *]\n",
       })
    EXPECT_NE(run.out.find(piece), std::string::npos) << piece << "\n" << run.out;
}

TEST_F(CliSchema, WithoutASchemaTheMemberIsThereAndEmpty) {
  const CliRun run = RunCli("--json -c CodePage");
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_NE(run.out.find("\"schema\": {\n    \"entities\": []\n  }"), std::string::npos) << run.out;
}

} // namespace
