// The schema cursor: selection by name and by index, what a selection makes current, the reads
// with nothing selected, and event handlers that change the schema under a running selection.
#include "ODataTestSupport.h"

#include "frame/Errors.h"
#include "quillon/Quillon.h"

#include <gtest/gtest.h>

namespace quillon {
namespace {

using test::Dispatch;
using test::Join;
using test::Read;
using test::Reads;
using test::SchemaEventCore;
using test::Write;

class SchemaCursor : public ::testing::Test, protected test::Edm {
protected:
  SchemaEventCore core;

  static std::string Document() {
    const std::string typeT =
        "<Key><PropertyRef Name='K'/></Key><Property Name='K' Type='Edm.Int32' Nullable='false'/>" +
        Property("Addr", "N.Address") + Property("Tags", "Collection(N.Address)") +
        Property("Name", "Edm.String") + Link("Us", "N.A", "a", "b") +
        Link("Back", "N.A", "b", "a");
    return Edmx(Schema(
        "N", Type("T", typeT) + Type("U", Property("X", "Edm.String")) +
                 "<ComplexType Name='Address'>" + Property("Street", "Edm.String") +
                 "<Property Name='City' Type='Edm.String' Nullable='false'/></ComplexType>"
                 "<ComplexType Name='Empty'/>" +
                 Association("A", End("a", "N.T", "1") + End("b", "N.U", "*")) +
                 Container(Set("Ts", "N.T") + Set("Us", "N.U") + Set("Orphans", "N.Nothing"))));
  }
  void SetUp() override {
    ASSERT_EQ(Dispatch(core, Document()), 0) << core.lastError.Data();
    core.events.clear();
  }
  std::string LastError() const { return core.lastError.Data(); }
  // The five cursors, as "entity|property|association|type|field".
  std::string Cursors() const {
    return Join(core.schemaEntityIndex, core.schemaPropertyIndex, core.schemaAssociationIndex,
                core.schemaTypeIndex, core.schemaTypeFieldIndex);
  }
};

TEST(SchemaCursorEmpty, WithoutASchemaReadsAreEmptyAndMovesFail) {
  QuillonCore core;
  for (const PropertyInfo& info : Quillon::Properties()) {
    if (info.id < 83 || info.id > 124 || info.id == 106) continue;
    EXPECT_EQ(Read(core, info.name), info.type != PropertyType::Text ? "0" : "") << info.name;
  }
  EXPECT_EQ(Read(core, "SchemaKeys", 0), "<fail 381>");
  EXPECT_STREQ(core.lastError.Data(), "Invalid Index");
  for (const char* cursor : {"SchemaEntityIndex", "SchemaPropertyIndex", "SchemaAssociationIndex",
                             "SchemaTypeFieldIndex"}) {
    const int rc = Write(core, cursor, 0);
    EXPECT_EQ(Join(rc, core.lastError), Join(errIndex, "Invalid index (out of bounds).")) << cursor;
  }
  EXPECT_EQ(
      Join(core.SetSchemaEntity("Ts"), core.SetSchemaProperty("K"), core.SetSchemaType("Address")),
      Join(errIndex, errIndex, errIndex));
}

TEST_F(SchemaCursor, EntitiesAreSelectedByShortNameIgnoringCase) {
  ASSERT_EQ(core.SetSchemaEntity("uS"), 0);
  EXPECT_EQ(core.events, (std::vector<std::string>{"Property X Edm.String 1"}));
  EXPECT_EQ(Read(core, "SchemaEntityName"), "Us");
  ASSERT_EQ(core.SetSchemaEntity("ts"), 0);
  ASSERT_EQ(core.SetSchemaPropertyIndex(3), 0);
  ASSERT_EQ(core.SetSchemaAssociationIndex(1), 0);
  const std::string before = Cursors();
  core.events.clear();
  for (const char* name : {"Nothing", "N.Ts", "", "T"}) {
    const int rc = core.SetSchemaEntity(name);
    EXPECT_EQ(Join(rc, LastError(), Cursors()),
              Join(errIndex, "Could not find schema entity: " + std::string(name) + ".", before))
        << name;
  }
  EXPECT_TRUE(core.events.empty());
  // Selecting an entity again starts its property and association cursors over.
  ASSERT_EQ(core.SetSchemaEntity("Ts"), 0);
  EXPECT_EQ(Join(core.events.size(), core.schemaPropertyIndex, core.schemaAssociationIndex),
            "4|0|0");
}

TEST_F(SchemaCursor, IndexSettersTakeOnlyPlacesInTheirList) {
  // The cursor and its list's count, with entity set Ts and its property Addr, whose type has two
  // fields, current.
  const std::pair<const char*, int> rows[] = {{"SchemaEntityIndex", 3},
                                              {"SchemaPropertyIndex", 4},
                                              {"SchemaAssociationIndex", 2},
                                              {"SchemaTypeFieldIndex", 2}};
  for (const auto& [cursor, count] : rows) {
    ASSERT_EQ(core.SetSchemaEntity("Ts"), 0);
    ASSERT_EQ(core.SetSchemaProperty("Addr"), 0);
    ASSERT_EQ(Write(core, cursor, count - 1), 0) << cursor;
    const std::string before = Cursors();
    for (int64_t bad : {int64_t{count}, int64_t{-1}, int64_t{1} << 32, int64_t{-1} << 40}) {
      const int rc = Write(core, cursor, bad);
      EXPECT_EQ(Join(rc, LastError(), Cursors()),
                Join(errIndex, "Invalid index (out of bounds).", before))
          << cursor << " " << bad;
    }
    EXPECT_EQ(Read(core, cursor), std::to_string(count - 1));
  }
}

TEST_F(SchemaCursor, ComplexTypesBecomeCurrentByPropertyOrByName) {
  ASSERT_EQ(core.SetSchemaAssociationIndex(1), 0);
  ASSERT_EQ(core.SetSchemaProperty("addr"), 0);
  ASSERT_EQ(core.SetSchemaTypeFieldIndex(1), 0);
  EXPECT_EQ(Reads(core, {"SchemaTypeFieldName", "SchemaTypeFieldNullable"}), "City|0");
  EXPECT_EQ(core.schemaAssociationIndex, 1); // a property selection leaves the association
  // A collection is not of the Edm namespace, but names no complex type by itself.
  ASSERT_EQ(core.SetSchemaProperty("Tags"), 0);
  EXPECT_EQ(Reads(core, {"SchemaPropertyIsComplexType", "SchemaTypeFieldCount"}), "1|0");
  EXPECT_EQ(core.SetSchemaProperty("Street"), errIndex); // a field is no property
  EXPECT_EQ(LastError(), "Could not find schema property: Street.");

  ASSERT_EQ(core.SetSchemaType("ADDRESS"), 0);
  EXPECT_EQ(Read(core, "SchemaTypeFieldName"), "Street");
  EXPECT_EQ(core.SetSchemaType("N.Address"), errIndex);
  EXPECT_EQ(LastError(), "Could not find schema complex type: N.Address.");
  // A type without fields is made current, and then the field cursor has nowhere to go.
  EXPECT_EQ(core.SetSchemaType("Empty"), errIndex);
  EXPECT_EQ(Read(core, "SchemaTypeFieldCount"), "0");
}

// A host whose handlers empty the schema while the component reports it.
class ClearingCore : public QuillonCore {
public:
  explicit ClearingCore(bool entity) : onEntity(entity) {}
  void FireEntity(const char*) override { Fired(entities, onEntity); }
  void FireProperty(const char*, const char*, bool) override { Fired(properties, !onEntity); }
  void Fired(int& count, bool clear) {
    ++count;
    if (clear) ClearSchema();
  }
  bool onEntity;
  int entities = 0, properties = 0;
};

TEST_F(SchemaCursor, EmptyingTheSchemaFromAnEventEndsTheReportCleanly) {
  // On Entity the read goes on after each clearing: only the last set stays, the types are gone.
  // On Property the report of the properties stops with the list it was reporting.
  for (const auto& [onEntity, expected] :
       {std::pair{true, "3|0|1|Orphans|0"}, {false, "3|1|0||0"}}) {
    ClearingCore host(onEntity);
    EXPECT_EQ(Dispatch(host, Document()), 0);
    EXPECT_EQ(Join(host.entities, host.properties,
                   Reads(host, {"SchemaEntityCount", "SchemaEntityName"}),
                   host.entityTypes.Count()),
              expected)
        << (onEntity ? "clearing on Entity" : "clearing on Property");
  }
}

} // namespace
} // namespace quillon
