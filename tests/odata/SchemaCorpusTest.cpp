// The real EDMX documents read as the component reads a GetSchema response, with assertions on
// what a person sees in each file: entity sets and keys, property types and nullability,
// navigation with roles and multiplicities, complex types and their fields.
#include "SchemaTestSupport.h"
#include "support/Corpus.h"

#include <gtest/gtest.h>

#include <dirent.h>

#include <set>

namespace quillon {
namespace {

using test::CorpusFile;
using test::Read;
using test::SchemaEventCore;

// Every file of the folder whose root is an EDMX document is one of these.
const char* const kEdmxFiles[] = {
    "metadataProducts.xml",
    "metadataWithNavigations.xml",
    "metadataForRelatedEntity.xml",
    "refScenario.edmx",
};

class SchemaCorpus : public ::testing::Test {
protected:
  SchemaEventCore core;

  void Load(const char* name) {
    const std::string text = test::FileText(CorpusFile(std::string("atom/") + name));
    ASSERT_FALSE(text.empty()) << name;
    ASSERT_EQ(test::ReadEdmx(core, text), 0) << name << ": " << core.lastError.Data();
  }

  // The entity set under the cursor: "Name [key,key] properties/navigation".
  std::string Entity() {
    std::string line = Read(core, "SchemaEntityName") + " [";
    const int keys = std::stoi(Read(core, "SchemaKeysCount"));
    for (int i = 0; i < keys; ++i)
      line += (i ? "," : "") + Read(core, "SchemaKeys", i);
    return line + "] " + Read(core, "SchemaPropertyCount") + "/" +
           Read(core, "SchemaAssociationCount");
  }
  std::vector<std::string> Entities() {
    std::vector<std::string> lines;
    const int count = std::stoi(Read(core, "SchemaEntityCount"));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(core.SetSchemaEntityIndex(i), 0);
      lines.push_back(Entity());
    }
    return lines;
  }
  // The property under the cursor: "Name Type nullable complex".
  std::string Property() {
    return Read(core, "SchemaPropertyName") + " " + Read(core, "SchemaPropertyType") + " " +
           Read(core, "SchemaPropertyNullable") + " " + Read(core, "SchemaPropertyIsComplexType");
  }
  std::string TypeField() {
    return Read(core, "SchemaTypeFieldName") + " " + Read(core, "SchemaTypeFieldType") + " " +
           Read(core, "SchemaTypeFieldNullable") + " " + Read(core, "SchemaTypeFieldIsComplexType");
  }
  // The navigation property under the cursor:
  // "Name Relationship: FromRole(Entity, multiplicity) -> ToRole(Entity, multiplicity) onDelete".
  std::string Navigation() {
    return Read(core, "SchemaAssociationName") + " " + Read(core, "SchemaAssociationRelationship") +
           ": " + Read(core, "SchemaAssociationFromRole") + "(" +
           Read(core, "SchemaAssociationFromRoleEntity") + ", " +
           Read(core, "SchemaAssociationFromRoleMultiplicity") + ") -> " +
           Read(core, "SchemaAssociationToRole") + "(" +
           Read(core, "SchemaAssociationToRoleEntity") + ", " +
           Read(core, "SchemaAssociationToRoleMultiplicity") + ") " +
           Read(core, "SchemaAssociationOnDelete");
  }
  std::vector<std::string> Navigations() {
    std::vector<std::string> lines;
    const int count = std::stoi(Read(core, "SchemaAssociationCount"));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(core.SetSchemaAssociationIndex(i), 0);
      lines.push_back(Navigation());
    }
    return lines;
  }
};

TEST_F(SchemaCorpus, EveryEdmxDocumentOfTheFolderIsCovered) {
  QUILLON_REQUIRE_CORPUS();
  const std::string folder = CorpusFile("atom");
  DIR* dir = opendir(folder.c_str());
  ASSERT_NE(dir, nullptr) << folder;
  const std::set<std::string> covered(std::begin(kEdmxFiles), std::end(kEdmxFiles));
  std::set<std::string> found;
  while (const dirent* item = readdir(dir)) {
    const std::string text = test::FileText(folder + "/" + item->d_name);
    if (text.find("<edmx:Edmx") != std::string::npos || text.find("<Edmx") != std::string::npos)
      found.insert(item->d_name);
  }
  closedir(dir);
  EXPECT_EQ(found, covered);
}

TEST_F(SchemaCorpus, Products) {
  QUILLON_REQUIRE_CORPUS();
  Load("metadataProducts.xml");
  // Entity for each set during the walk, then Property for the first set's type.
  EXPECT_EQ(
      core.events,
      (std::vector<std::string>{
          "Entity Products", "Entity Categories", "Entity Suppliers", "Property ID Edm.Int32 0",
          "Property Name Edm.String 1", "Property Description Edm.String 1",
          "Property ReleaseDate Edm.DateTime 0", "Property DiscontinuedDate Edm.DateTime 1",
          "Property Rating Edm.Int32 0", "Property Price Edm.Decimal 0"}));
  EXPECT_EQ(Entities(), (std::vector<std::string>{"Products [ID] 7/2", "Categories [ID] 2/1",
                                                  "Suppliers [ID] 4/1"}));

  ASSERT_EQ(core.SetSchemaEntity("Products"), 0);
  EXPECT_EQ(Navigations(),
            (std::vector<std::string>{"Category Product_Category_Category_Products: "
                                      "Product_Category(Product, 2) -> Category_Products(Category, "
                                      "0) 0",
                                      "Supplier Product_Supplier_Supplier_Products: "
                                      "Product_Supplier(Product, 2) -> Supplier_Products(Supplier, "
                                      "0) 0"}));
  ASSERT_EQ(core.SetSchemaProperty("Name"), 0);
  EXPECT_EQ(Read(core, "SchemaPropertyAttributes"),
            "Name=\"Name\" Type=\"Edm.String\" Nullable=\"true\" "
            "FC_TargetPath=\"SyndicationTitle\" FC_ContentKind=\"text\" "
            "FC_KeepInContent=\"false\"");

  // The navigation seen from the other side swaps the roles.
  ASSERT_EQ(core.SetSchemaEntity("Categories"), 0);
  EXPECT_EQ(Navigations(),
            (std::vector<std::string>{
                "Products Product_Category_Category_Products: "
                "Category_Products(Category, 0) -> Product_Category(Product, 2) 0"}));

  // A complex property makes its type current.
  ASSERT_EQ(core.SetSchemaEntity("Suppliers"), 0);
  ASSERT_EQ(core.SetSchemaProperty("Address"), 0);
  EXPECT_EQ(Property(), "Address ODataDemo.Address 0 1");
  EXPECT_EQ(Read(core, "SchemaTypeFieldCount"), "5");
  std::vector<std::string> fields;
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(core.SetSchemaTypeFieldIndex(i), 0);
    fields.push_back(TypeField());
  }
  EXPECT_EQ(fields, (std::vector<std::string>{"Street Edm.String 1 0", "City Edm.String 1 0",
                                              "State Edm.String 1 0", "ZipCode Edm.String 1 0",
                                              "Country Edm.String 1 0"}));
  ASSERT_EQ(core.SetSchemaProperty("Concurrency"), 0);
  EXPECT_EQ(Read(core, "SchemaPropertyAttributes"),
            "Name=\"Concurrency\" Type=\"Edm.Int32\" Nullable=\"false\" ConcurrencyMode=\"Fixed\"");
  EXPECT_EQ(Read(core, "SchemaTypeFieldCount"), "0");
}

TEST_F(SchemaCorpus, EntitySetInOneSchemaNamesATypeOfAnother) {
  QUILLON_REQUIRE_CORPUS();
  Load("metadataWithNavigations.xml");
  EXPECT_EQ(core.events, (std::vector<std::string>{"Entity User", "Property userId Edm.String 0"}));
  EXPECT_EQ(Entities(), (std::vector<std::string>{"User [userId] 1/0"}));
  EXPECT_EQ(Read(core, "SchemaPropertyAttributes"),
            "Name=\"userId\" Type=\"Edm.String\" Nullable=\"false\" MaxLength=\"100\"");
  EXPECT_EQ(core.entityTypes.Peek(0)->owner.View(), "ODataNS");
  EXPECT_EQ(core.entitySets.Peek(0)->owner.View(), "ODataSet");
}

TEST_F(SchemaCorpus, RelatedEntities) {
  QUILLON_REQUIRE_CORPUS();
  Load("metadataForRelatedEntity.xml");
  // Seven Entity events, then the 4 properties of ImportHeader.
  ASSERT_EQ(core.events.size(), 11u);
  EXPECT_EQ(core.events[6], "Entity Offers");
  EXPECT_EQ(core.events[8], "Property Timestamp Edm.DateTime 1");
  EXPECT_EQ(Entities(),
            (std::vector<std::string>{"ImportHeaders [Id] 4/1", "BusinessDocuments [Id] 36/5",
                                      "Companies [Id,IdOrigin] 23/0", "Persons [Id,IdOrigin] 49/0",
                                      "ProductItems [Id,ObjectType] 10/0",
                                      "AdditionalObjectReferences [ObjectType,ObjectId] 2/0",
                                      "Offers [Origin,Id] 4/0"}));

  ASSERT_EQ(core.SetSchemaEntity("businessdocuments"), 0);
  EXPECT_EQ(Navigations(),
            (std::vector<std::string>{
                "ProductItems BusinessDocumentProductItem: "
                "FromRole_BusinessDocumentProductItem(BusinessDocument, 1) -> "
                "ToRole_BusinessDocumentProductItem(ProductItem, 2) 0",
                "Offers BusinessDocumentOffer: FromRole_BusinessDocumentOffer(BusinessDocument, 1) "
                "-> ToRole_BusinessDocumentOffer(Offer, 2) 0",
                "AdditionalObjectReferences BusinessDocumentAdditionalObjectRef: "
                "FromRole_BusinessDocumentAdditionalObjectRef(BusinessDocument, 1) -> "
                "ToRole_BusinessDocumentAdditionalObjectRef(AdditionalObjectReference, 2) 0",
                "Person BusinessDocumentPerson: FromRole_BusinessDocumentPerson(BusinessDocument, "
                "1) -> ToRole_BusinessDocumentPerson(Person, 0) 0",
                "Company BusinessDocumentCompany: FromRole_BusinessDocumentCompany("
                "BusinessDocument, 1) -> ToRole_BusinessDocumentCompany(Company, 0) 0"}));
  ASSERT_EQ(core.SetSchemaProperty("ExpectedRevenue"), 0);
  EXPECT_EQ(Property(), "ExpectedRevenue Edm.Decimal 1 0");
  EXPECT_EQ(Read(core, "SchemaPropertyAttributes"),
            "Name=\"ExpectedRevenue\" Type=\"Edm.Decimal\" Precision=\"31\" Scale=\"2\" "
            "unit=\"Currency\" label=\"Expected Revenue\" updatable=\"false\"");
  ASSERT_EQ(core.SetSchemaProperty("Id"), 0);
  EXPECT_EQ(Property(), "Id Edm.String 0 0");
  EXPECT_EQ(core.complexTypes.Count(), 0);
  EXPECT_EQ(core.associations.Count(), 6);
}

TEST_F(SchemaCorpus, ReferenceScenario) {
  QUILLON_REQUIRE_CORPUS();
  Load("refScenario.edmx");
  // Twenty sets of the first container, the one of the second, then Int16's one property.
  ASSERT_EQ(core.events.size(), 22u);
  EXPECT_EQ(core.events[20], "Entity Photos");
  EXPECT_EQ(core.events[21], "Property Id Edm.Int16 0");
  // Types with a base type show only their own properties and keys.
  const std::vector<std::string> entities = Entities();
  ASSERT_EQ(entities.size(), 21u);
  EXPECT_EQ(entities[0], "Int16s [Id] 1/0");
  EXPECT_EQ(
      std::vector<std::string>(entities.begin() + 15, entities.end()),
      (std::vector<std::string>{"Employees [EmployeeId] 9/3", "Teams [] 1/1", "Rooms [] 2/2",
                                "Managers [] 0/1", "Buildings [Id] 3/1", "Photos [Id,Type] 7/0"}));

  ASSERT_EQ(core.SetSchemaEntity("Employees"), 0);
  EXPECT_EQ(Navigations(),
            (std::vector<std::string>{
                "ne_Manager ManagerEmployees: r_Employees(Employee, 2) -> r_Manager(Manager, 1) 0",
                "ne_Team TeamEmployees: r_Employees(Employee, 2) -> r_Team(Team, 1) 0",
                "ne_Room RoomEmployees: r_Employees(Employee, 2) -> r_Room(Room, 1) 0"}));
  // A complex type whose first field is itself complex.
  ASSERT_EQ(core.SetSchemaProperty("Location"), 0);
  EXPECT_EQ(Property(), "Location RefScenario.c_Location 1 1");
  EXPECT_EQ(TypeField(), "City RefScenario.c_City 1 1");
  ASSERT_EQ(core.SetSchemaTypeFieldIndex(1), 0);
  EXPECT_EQ(TypeField(), "Country Edm.String 1 0");
  ASSERT_EQ(core.SetSchemaType("c_City"), 0);
  EXPECT_EQ(TypeField(), "PostalCode Edm.String 1 0");
  EXPECT_EQ(Read(core, "SchemaPropertyName"), "Location");

  ASSERT_EQ(core.SetSchemaEntity("Buildings"), 0);
  EXPECT_EQ(Navigations(), (std::vector<std::string>{"nb_Rooms BuildingRooms: r_Building("
                                                     "Building, 1) -> r_Room(Room, 2) 0"}));

  // The second schema: a key of two properties and a property name outside ASCII.
  ASSERT_EQ(core.SetSchemaEntity("Photos"), 0);
  ASSERT_EQ(core.SetSchemaPropertyIndex(6), 0);
  EXPECT_EQ(Property(), "\xD0\xA1\xD0\xBE\xD0\xB4\xD0\xB5\xD1\x80\xD0\xB6\xD0\xB0\xD0\xBD\xD0\xB8"
                        "\xD0\xB5 Edm.String 1 0");
  ASSERT_EQ(core.SetSchemaPropertyIndex(0), 0);
  EXPECT_EQ(Read(core, "SchemaPropertyAttributes"),
            "Name=\"Id\" Type=\"Edm.Int32\" Nullable=\"false\" ConcurrencyMode=\"Fixed\"");
}

} // namespace
} // namespace quillon
