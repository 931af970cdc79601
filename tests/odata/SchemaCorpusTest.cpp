// The real EDMX documents read as the component reads a GetSchema response: what the golden
// reports do not show, and copies cut short.
#include "FeedTestSupport.h"
#include "SchemaTestSupport.h"
#include "support/Corpus.h"
#include "xml/XmlErrors.h"

#include <gtest/gtest.h>

#include <cstring>

namespace quillon {
namespace {

using test::CorpusFile;
using test::Read;
using test::SchemaEventCore;

// Entity sets, keys, properties, navigation and the events of every corpus schema are held by
// the golden JSON reports (FeedCorpusTest); these are the complex type fields, which the report
// does not walk, reached by a property and by name.
TEST(SchemaCorpus, ComplexTypeFieldsByPropertyAndByName) {
  QUILLON_REQUIRE_CORPUS();
  const auto field = [](QuillonCore& core) {
    return test::Reads(core, {"SchemaTypeFieldName", "SchemaTypeFieldType",
                              "SchemaTypeFieldNullable", "SchemaTypeFieldIsComplexType"});
  };
  SchemaEventCore products, reference;
  ASSERT_EQ(test::ReadEdmx(products, test::FileText(CorpusFile("atom/metadataProducts.xml"))), 0);
  ASSERT_EQ(products.SetSchemaEntity("Suppliers"), 0);
  ASSERT_EQ(products.SetSchemaProperty("Address"), 0);
  EXPECT_EQ(Read(products, "SchemaTypeFieldCount"), "5");
  ASSERT_EQ(products.SetSchemaTypeFieldIndex(1), 0);
  EXPECT_EQ(field(products), "City|Edm.String|1|0");
  // A complex type whose first field is itself complex.
  ASSERT_EQ(test::ReadEdmx(reference, test::FileText(CorpusFile("atom/refScenario.edmx"))), 0);
  ASSERT_EQ(reference.SetSchemaEntity("Employees"), 0);
  ASSERT_EQ(reference.SetSchemaProperty("Location"), 0);
  EXPECT_EQ(field(reference), "City|RefScenario.c_City|1|1");
  ASSERT_EQ(reference.SetSchemaType("c_City"), 0);
  EXPECT_EQ(field(reference), "PostalCode|Edm.String|1|0");
}

// The reference scenario cut at several places reads as 206 with the records closed before the
// cut: entity sets even of an open container, types, complex types and associations, set 0
// selected, and Employee's navigation resolved as far as its associations were read.
TEST(SchemaCorpusCut, ACutDocumentKeepsTheRecordsClosedBeforeTheCut) {
  QUILLON_REQUIRE_CORPUS();
  const std::string whole = test::FileText(CorpusFile("atom/refScenario.edmx"));
  // The cut falls right behind the first occurrence of a row's text; then the counts of sets,
  // types, complex types, associations and events (Entity for each set read, then Property for
  // the one property of set 0), set 0, and the ToRole entities of Employee.
  const std::pair<const char*, const char*> rows[] = {
      {"<Schema Namespace=\"RefScen", "0|0|0|0|0||"},
      {"<EntityType Name=\"Emp", "0|15|0|0|0||"}, // the open type is dropped whole
      {"ToRole=\"r_Room\"/>\n\t\t\t</EntityType>", "0|16|0|0|0||,,"},
      {"<Association Name=\"RoomEmployees\">", "0|21|2|2|0||Manager,Team,"},
      {"EntityType=\"RefScenario.Guid\"/>", "8|21|2|4|9|Int16s|Manager,Team,Room"},
      {"<Property Name=\"BinaryData\"", "20|21|2|4|21|Int16s|Manager,Team,Room"},
      {"</edmx:Edmx>", "21|22|2|4|22|Int16s|Manager,Team,Room"}, // whole: 0
  };
  for (const auto& [after, expected] : rows) {
    const size_t at = whole.find(after);
    ASSERT_NE(at, std::string::npos) << after;
    const std::string cut = whole.substr(0, at + std::strlen(after));
    SchemaEventCore core;
    int result = -1;
    ASSERT_EQ(core.ReadFile(test::TempFeed(cut).c_str(), &result), 0);
    EXPECT_EQ(result, cut.size() < whole.size() - 1 ? errUnbalancedDocument : 0) << after;
    std::string roles;
    for (int t = 0; t < core.entityTypes.Count(); ++t) {
      const SchemaEntityType& type = *core.entityTypes.Peek(t);
      for (int i = 0; type.name.View() == "Employee" && i < type.navigation.Count(); ++i)
        roles += (i ? "," : "") + std::string(type.navigation.Peek(i)->toEntity.View());
    }
    EXPECT_EQ(test::Join(core.entitySets.Count(), core.entityTypes.Count(),
                         core.complexTypes.Count(), core.associations.Count(), core.events.size(),
                         Read(core, "SchemaEntityName"), roles),
              expected)
        << after;
  }
  // Anywhere else: 206, and the sets read so far only grow with the cut.
  int lastSets = 0;
  for (size_t cut = 0; cut + 13 < whole.size(); cut += 97) {
    QuillonCore core;
    ASSERT_EQ(test::Dispatch(core, whole.substr(0, cut)), errUnbalancedDocument) << cut;
    EXPECT_GE(core.entitySets.Count(), lastSets) << cut;
    lastSets = core.entitySets.Count();
  }
  EXPECT_EQ(lastSets, 21);
}

} // namespace
} // namespace quillon
