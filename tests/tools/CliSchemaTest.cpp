// The command-line program on the real EDMX documents: the schema for a person and as the
// "schema" member of the JSON document, read through the public properties.
#include "support/Corpus.h"

#include "support/CliRunner.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using quillon::test::CliRun;
using quillon::test::RunCli;

size_t Occurrences(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++count;
  return count;
}

// A saved EDMX response read in JSON and in text: the pieces each must hold, and how often some
// members come. The JSON events are those of the read: three sets, then the seven properties of
// the first; the report's own moves raise none.
TEST(CliSchema, SetsKeysPropertiesAndAssociationsInJsonAndText) {
  QUILLON_REQUIRE_CLI();
  QUILLON_REQUIRE_CORPUS();
  struct Row {
    std::string arguments;
    std::vector<const char*> parts;
    std::vector<std::pair<const char*, size_t>> counts;
  };
  const std::string atom = " -c ReadFile=" + quillon::test::CorpusFile("atom/");
  const Row rows[] = {
      {"--json" + atom + "metadataProducts.xml",
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
       {"Schema: 21 entity sets\n", "\nEntity set Photos\n  Keys: Id, Type\n",
        "    Location                 RefScenario.c_Location       nullable  complex\n"
        "      City                   RefScenario.c_City           nullable  complex\n"
        "      Country                Edm.String                   nullable\n",
        "    nb_Rooms: BuildingRooms\n      from r_Building [Building, 1] to r_Room [Room, *]\n"},
       {}},
      // Without a schema the member is there and empty.
      {"--json -c CodePage", {"\"schema\": {\n    \"entities\": []\n  }"}, {}},
  };
  for (const Row& row : rows) {
    const CliRun run = RunCli(row.arguments);
    ASSERT_EQ(run.status, 0) << row.arguments << "\n" << run.out;
    for (const char* piece : row.parts)
      EXPECT_NE(run.out.find(piece), std::string::npos) << row.arguments << ": " << piece << "\n"
                                                        << run.out;
    for (const auto& [what, count] : row.counts)
      EXPECT_EQ(Occurrences(run.out, what), count) << row.arguments << ": " << what;
  }
}

} // namespace
