// The real EDMX documents read as the component reads a GetSchema response, with a few facts a
// person sees in each file: entity sets and keys, property types, navigation and complex types.
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

class SchemaCorpus : public ::testing::Test {
protected:
  SchemaEventCore core;

  void Load(const char* name) {
    const std::string text = test::FileText(CorpusFile(std::string("atom/") + name));
    ASSERT_FALSE(text.empty()) << name;
    ASSERT_EQ(test::ReadEdmx(core, text), 0) << name << ": " << core.lastError.Data();
  }
  // Every entity set: "Name [key,key] properties/navigation".
  std::vector<std::string> Entities() {
    std::vector<std::string> lines;
    for (int i = 0, n = std::stoi(Read(core, "SchemaEntityCount")); i < n; ++i) {
      EXPECT_EQ(core.SetSchemaEntityIndex(i), 0);
      std::string line = Read(core, "SchemaEntityName") + " [";
      for (int k = 0, keys = std::stoi(Read(core, "SchemaKeysCount")); k < keys; ++k)
        line += (k ? "," : "") + Read(core, "SchemaKeys", k);
      lines.push_back(line + "] " + Read(core, "SchemaPropertyCount") + "/" +
                      Read(core, "SchemaAssociationCount"));
    }
    return lines;
  }
  // "Name Type nullable complex" of the property, or with "TypeField", of the complex type field.
  std::string Field(const std::string& kind) {
    return Read(core, "Schema" + kind + "Name") + " " + Read(core, "Schema" + kind + "Type") + " " +
           Read(core, "Schema" + kind + "Nullable") + " " +
           Read(core, "Schema" + kind + "IsComplexType");
  }
  // The navigation property under the cursor: "Name: FromRole(Entity, n) -> ToRole(Entity, n)".
  std::string Navigation() {
    return Read(core, "SchemaAssociationName") + ": " + Read(core, "SchemaAssociationFromRole") +
           "(" + Read(core, "SchemaAssociationFromRoleEntity") + ", " +
           Read(core, "SchemaAssociationFromRoleMultiplicity") + ") -> " +
           Read(core, "SchemaAssociationToRole") + "(" +
           Read(core, "SchemaAssociationToRoleEntity") + ", " +
           Read(core, "SchemaAssociationToRoleMultiplicity") + ")";
  }
};

TEST_F(SchemaCorpus, Products) {
  QUILLON_REQUIRE_CORPUS();
  Load("metadataProducts.xml");
  // Entity for each set during the walk, then Property for the first set's type.
  ASSERT_EQ(core.events.size(), 10u);
  EXPECT_EQ(core.events[2], "Entity Suppliers");
  EXPECT_EQ(core.events[3], "Property ID Edm.Int32 0");
  EXPECT_EQ(Entities(), (std::vector<std::string>{"Products [ID] 7/2", "Categories [ID] 2/1",
                                                  "Suppliers [ID] 4/1"}));
  // The navigation seen from the other side swaps the roles.
  ASSERT_EQ(core.SetSchemaEntity("Products"), 0);
  EXPECT_EQ(Navigation(),
            "Category: Product_Category(Product, 2) -> Category_Products(Category, 0)");
  ASSERT_EQ(core.SetSchemaEntity("Categories"), 0);
  EXPECT_EQ(Navigation(),
            "Products: Category_Products(Category, 0) -> Product_Category(Product, 2)");
  // A complex property makes its type current.
  ASSERT_EQ(core.SetSchemaEntity("Suppliers"), 0);
  ASSERT_EQ(core.SetSchemaProperty("Address"), 0);
  EXPECT_EQ(Field("Property"), "Address ODataDemo.Address 0 1");
  EXPECT_EQ(Read(core, "SchemaTypeFieldCount"), "5");
  ASSERT_EQ(core.SetSchemaTypeFieldIndex(1), 0);
  EXPECT_EQ(Field("TypeField"), "City Edm.String 1 0");
}

TEST_F(SchemaCorpus, EntitySetInOneSchemaNamesATypeOfAnother) {
  QUILLON_REQUIRE_CORPUS();
  Load("metadataWithNavigations.xml");
  EXPECT_EQ(core.events, (std::vector<std::string>{"Entity User", "Property userId Edm.String 0"}));
  EXPECT_EQ(Entities(), (std::vector<std::string>{"User [userId] 1/0"}));
}

TEST_F(SchemaCorpus, RelatedEntitiesWithKeysOfTwoProperties) {
  QUILLON_REQUIRE_CORPUS();
  Load("metadataForRelatedEntity.xml");
  EXPECT_EQ(Entities(),
            (std::vector<std::string>{"ImportHeaders [Id] 4/1", "BusinessDocuments [Id] 36/5",
                                      "Companies [Id,IdOrigin] 23/0", "Persons [Id,IdOrigin] 49/0",
                                      "ProductItems [Id,ObjectType] 10/0",
                                      "AdditionalObjectReferences [ObjectType,ObjectId] 2/0",
                                      "Offers [Origin,Id] 4/0"}));
  ASSERT_EQ(core.SetSchemaEntity("businessdocuments"), 0);
  ASSERT_EQ(core.SetSchemaAssociationIndex(3), 0);
  EXPECT_EQ(Navigation(), "Person: FromRole_BusinessDocumentPerson(BusinessDocument, 1) -> "
                          "ToRole_BusinessDocumentPerson(Person, 0)");
  ASSERT_EQ(core.SetSchemaProperty("ExpectedRevenue"), 0);
  EXPECT_EQ(Read(core, "SchemaPropertyAttributes"),
            "Name=\"ExpectedRevenue\" Type=\"Edm.Decimal\" Precision=\"31\" Scale=\"2\" "
            "unit=\"Currency\" label=\"Expected Revenue\" updatable=\"false\"");
}

TEST_F(SchemaCorpus, ReferenceScenario) {
  QUILLON_REQUIRE_CORPUS();
  Load("refScenario.edmx");
  // Types with a base type show only their own properties and keys.
  const std::vector<std::string> entities = Entities();
  ASSERT_EQ(entities.size(), 21u);
  EXPECT_EQ(
      std::vector<std::string>(entities.begin() + 15, entities.end()),
      (std::vector<std::string>{"Employees [EmployeeId] 9/3", "Teams [] 1/1", "Rooms [] 2/2",
                                "Managers [] 0/1", "Buildings [Id] 3/1", "Photos [Id,Type] 7/0"}));
  // A complex type whose first field is itself complex.
  ASSERT_EQ(core.SetSchemaEntity("Employees"), 0);
  EXPECT_EQ(Navigation(), "ne_Manager: r_Employees(Employee, 2) -> r_Manager(Manager, 1)");
  ASSERT_EQ(core.SetSchemaProperty("Location"), 0);
  EXPECT_EQ(Field("Property"), "Location RefScenario.c_Location 1 1");
  EXPECT_EQ(Field("TypeField"), "City RefScenario.c_City 1 1");
  ASSERT_EQ(core.SetSchemaType("c_City"), 0);
  EXPECT_EQ(Field("TypeField"), "PostalCode Edm.String 1 0");
  // The second schema: a property name outside ASCII.
  ASSERT_EQ(core.SetSchemaEntity("Photos"), 0);
  ASSERT_EQ(core.SetSchemaPropertyIndex(6), 0);
  EXPECT_EQ(Field("Property"), "\xD0\xA1\xD0\xBE\xD0\xB4\xD0\xB5\xD1\x80\xD0\xB6\xD0\xB0\xD0\xBD"
                               "\xD0\xB8\xD0\xB5 Edm.String 1 0");
}

// The reference scenario cut at several places reads as 206 with the records closed before the
// cut: entity sets even of an open container, types, complex types and associations, set 0
// selected, and Employee's navigation resolved as far as its associations were read.
TEST(SchemaCorpusCut, ACutDocumentKeepsTheRecordsClosedBeforeTheCut) {
  QUILLON_REQUIRE_CORPUS();
  const std::string whole = test::FileText(CorpusFile("atom/refScenario.edmx"));
  struct Row {
    const char* after; // the cut falls right behind the first occurrence of this text
    const char* read;  // sets types complex associations, set 0, ToRole entities of Employee
  };
  const Row rows[] = {
      {"<Schema Namespace=\"RefScen", "0 0 0 0  "},
      {"<EntityType Name=\"Emp", "0 15 0 0  "}, // the open type is dropped whole
      {"ToRole=\"r_Room\"/>\n\t\t\t</EntityType>", "0 16 0 0  ,,"},
      {"<Association Name=\"RoomEmployees\">", "0 21 2 2  Manager,Team,"},
      {"EntityType=\"RefScenario.Guid\"/>", "8 21 2 4 Int16s Manager,Team,Room"},
      {"<EntitySet Name=\"Decimals\" Entity", "8 21 2 4 Int16s Manager,Team,Room"},
      {"<Parameter Name=\"Id\"", "20 21 2 4 Int16s Manager,Team,Room"},
      {"<Property Name=\"BinaryData\"", "20 21 2 4 Int16s Manager,Team,Room"},
      {"</edmx:DataServices>", "21 22 2 4 Int16s Manager,Team,Room"},
      {"</edmx:Edmx>", "21 22 2 4 Int16s Manager,Team,Room"}, // whole: 0
  };
  for (const Row& row : rows) {
    const size_t at = whole.find(row.after);
    ASSERT_NE(at, std::string::npos) << row.after;
    const std::string cut = whole.substr(0, at + std::strlen(row.after));
    SchemaEventCore core;
    int result = -1;
    ASSERT_EQ(core.ReadFile(test::TempFeed(cut).c_str(), &result), 0);
    EXPECT_EQ(result, cut.size() < whole.size() - 1 ? errUnbalancedDocument : 0) << row.after;
    std::string read =
        std::to_string(core.entitySets.Count()) + " " + std::to_string(core.entityTypes.Count()) +
        " " + std::to_string(core.complexTypes.Count()) + " " +
        std::to_string(core.associations.Count()) + " " + Read(core, "SchemaEntityName") + " ";
    for (int t = 0; t < core.entityTypes.Count(); ++t) {
      const SchemaEntityType& type = *core.entityTypes.Peek(t);
      for (int i = 0; type.name.View() == "Employee" && i < type.navigation.Count(); ++i)
        read += (i ? "," : "") + std::string(type.navigation.Peek(i)->toEntity.View());
    }
    EXPECT_EQ(read, row.read) << row.after;
    // Entity for each set read, then Property for the one property of set 0.
    const size_t sets = static_cast<size_t>(core.entitySets.Count());
    EXPECT_EQ(core.events.size(), sets ? sets + 1 : 0) << row.after;
  }
}

} // namespace
} // namespace quillon
