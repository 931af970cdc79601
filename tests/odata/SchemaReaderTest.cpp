// The schema reader on small documents, one behaviour each: how elements are found, what each
// record keeps, how navigation is resolved across schemas, and the failures with their texts.
#include "ODataTestSupport.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "odata/ODataErrors.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quillon {
namespace {

using test::Dispatch;
using test::Join;
using test::Read;
using test::Reads;
using test::SchemaEventCore;

class SchemaReader : public ::testing::Test, protected test::Edm {
protected:
  SchemaEventCore core;

  int Load(const std::string& document) { return Dispatch(core, document); }
  std::string LastError() const { return core.lastError.Data(); }
};

TEST_F(SchemaReader, ElementsAreFoundByLocalNameWhateverTheirPrefixes) {
  const std::string body =
      Schema("N", Type("T", Property("P", "Edm.Int32")) + Container(Set("S", "N.T")));
  const std::string documents[] = {
      Edmx(body),
      "<Edmx><DataServices>" + body + "</DataServices></Edmx>",
      "<e:Edmx xmlns:e='urn:e'><e:DataServices><s:Schema xmlns:s='urn:s' Namespace='N'>"
      "<s:EntityType Name='T'><Property Name='P' Type='Edm.Int32'/></s:EntityType>"
      "<s:ENTITYCONTAINER><EntitySet Name='S' EntityType='N.T'/></s:ENTITYCONTAINER>"
      "</s:Schema></e:DataServices></e:Edmx>",
  };
  for (const std::string& document : documents) {
    core.events.clear();
    ASSERT_EQ(Load(document), 0) << document << "\n" << LastError();
    EXPECT_EQ(core.events, (std::vector<std::string>{"Entity S", "Property P Edm.Int32 1"}))
        << document;
  }
  // The walk over the schemas ends on DataServices, which the XPath property then shows.
  EXPECT_EQ(std::string(core.parser.XPath()), "/e:Edmx/e:DataServices");
}

TEST_F(SchemaReader, WithoutEntitySetsTheListsFillAndSelectionFails) {
  // Types and associations but no container, and then no Schema at all.
  const std::string types = Type("T", Property("P", "Edm.Int32")) +
                            Association("A", End("a", "N.T", "1") + End("b", "N.T", "*"));
  for (const auto& [document, lists] :
       {std::pair{Edmx(Schema("N", types)), "1|1"}, {Edmx(""), "0|0"}}) {
    const int rc = Load(document);
    EXPECT_EQ(Join(rc, LastError(), core.entityTypes.Count(), core.associations.Count()),
              Join(errIndex, "Invalid index (out of bounds).", lists));
  }
  EXPECT_TRUE(core.events.empty());
}

TEST_F(SchemaReader, AssociationEndsGiveMultiplicityAndDeleteAction) {
  // Multiplicity, inside the first End, inside the second; the multiplicity and delete action read.
  const std::tuple<const char*, const char*, const char*, int, int> rows[] = {
      {"*", "", "", nmMany, daNone},
      {"1", "<OnDelete Action='Cascade'/>", "", nmOne, daCascade},
      {"0..1", "<OnDelete Action='cascade'/>", "", nmZeroOne, daCascade},
      {"", "<OnDelete/>", "", nmZeroOne, daNone},
      {"many", "<OnDelete Action='None'/>", "", nmZeroOne, daNone},
      {" 1", "<OnDelete Action='Restrict'/>", "", nmZeroOne, daNone},
      {"1", "", "<OnDelete Action='Cascade'/>", nmOne, daCascade}, // the far end's shows too
  };
  for (const auto& [multiplicity, fromInside, toInside, expected, onDelete] : rows) {
    const std::string ends =
        End("from", "N.T", multiplicity, fromInside) + End("to", "N.U", "1", toInside);
    ASSERT_EQ(Load(Edmx(Schema("N", Type("T", Link("L", "N.A", "from", "to")) +
                                        Association("A", ends) + Container(Set("S", "N.T"))))),
              0)
        << multiplicity << LastError();
    EXPECT_EQ(Reads(core, {"SchemaAssociationFromRoleMultiplicity", "SchemaAssociationOnDelete",
                           "SchemaAssociationToRoleMultiplicity", "SchemaAssociationToRoleEntity"}),
              Join(expected, onDelete, 1, "U"))
        << "'" << multiplicity << "' " << fromInside << toInside;
  }
}

TEST_F(SchemaReader, NavigationResolvesAcrossSchemasAndRolesIgnoreCase) {
  // The association stands in a later schema; the relationship keeps that namespace, and each
  // end's entity loses only its own schema's namespace.
  const std::string document = Edmx(
      Schema("First", Type("T", Link("ToOther", "Second.A", "FROM", "to") +
                                    Link("Local", "First.B", "x", "y") +
                                    Link("Prefix", "FirstX.C", "p", "q")) +
                          Association("B", End("x", "First.T", "1") + End("y", "First.T", "*")) +
                          Container(Set("S", "First.T"))) +
      Schema("Second", Association("A", End("from", "First.T", "*") + End("To", "Second.U", "1"))) +
      Schema("FirstX", Association("C", End("p", "FirstX.V", "1") + End("q", "First.T", "1"))));
  ASSERT_EQ(Load(document), 0) << LastError();
  // "First" is only the start of "FirstX", not its namespace.
  const char* const expected[] = {"ToOther|Second.A|First.T|U", "Local|B|T|T",
                                  "Prefix|FirstX.C|V|First.T"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(core.SetSchemaAssociationIndex(i), 0);
    EXPECT_EQ(Reads(core, {"SchemaAssociationName", "SchemaAssociationRelationship",
                           "SchemaAssociationFromRoleEntity", "SchemaAssociationToRoleEntity"}),
              expected[i]);
  }
}

TEST_F(SchemaReader, UnresolvedNavigationFailsAfterTheEntityEvents) {
  const std::pair<const char*, const char*> rows[] = {
      {"<NavigationProperty Name='L' Relationship='N.Missing' FromRole='a' ToRole='b'/>",
       "Cannot find relationship: N.Missing."},
      {"<NavigationProperty Name='L' Relationship='N.A' FromRole='a' ToRole='d'/>",
       "Cannot find role: d."},
      {"<NavigationProperty Name='L' Relationship='N.A'/>", "Cannot find role: ."},
  };
  for (const auto& [link, text] : rows) {
    core.events.clear();
    EXPECT_EQ(Load(Edmx(Schema(
                  "N", Type("Good", Link("G", "N.A", "a", "b")) + Type("Bad", link) +
                           Type("Later", Link("G", "N.A", "a", "b")) +
                           Association("A", End("a", "N.Good", "1") + End("b", "N.Bad", "*")) +
                           Container(Set("S1", "N.Good") + Set("S2", "N.Bad"))))),
              errSchema)
        << link;
    EXPECT_EQ(LastError(), text);
    EXPECT_EQ(core.events, (std::vector<std::string>{"Entity S1", "Entity S2"})) << link;
    ASSERT_EQ(core.entityTypes.Count(), 3);
    // Types before the failing one are resolved, later ones are not.
    EXPECT_EQ(Join(core.entityTypes.Peek(0)->navigation.Peek(0)->toEntity,
                   core.entityTypes.Peek(2)->navigation.Peek(0)->toEntity),
              "Bad|");
  }
}

TEST_F(SchemaReader, EveryContainerAddsSetsAndOtherChildrenArePassedOver) {
  const std::string document =
      Edmx(Schema("N", Container(Set("A", "N.T") + "<AssociationSet Name='X' Association='N.Y'/>" +
                                 "<FunctionImport Name='F'><Parameter Name='p'/></FunctionImport>" +
                                 Set("B", "N.Missing")) +
                           "<Annotations Target='N.T'/><atom:link xmlns:atom='urn:a' href='x'/>" +
                           "<Using Namespace='Z'/>" + Type("T", Property("P", "Edm.Guid")) +
                           Container(Set("C", "N.T"))) +
           Schema("M", Container(Set("D", "N.T"))));
  ASSERT_EQ(Load(document), 0) << LastError();
  EXPECT_EQ(core.events, (std::vector<std::string>{"Entity A", "Entity B", "Entity C", "Entity D",
                                                   "Property P Edm.Guid 1"}));
  // A set whose type is unknown shows its name and nothing else, and reports no property.
  core.events.clear();
  ASSERT_EQ(core.SetSchemaEntity("B"), 0);
  EXPECT_TRUE(core.events.empty());
  EXPECT_EQ(Reads(core, {"SchemaEntityName", "SchemaPropertyCount", "SchemaKeysCount",
                         "SchemaAssociationCount", "SchemaPropertyName"}),
            "B|0|0|0|");
}

TEST_F(SchemaReader, ANewDocumentReplacesTheSchemaAndTheCursors) {
  const std::string type = Type("T", "<Property Name='A'/><Property Name='B'/>" +
                                         Link("L", "N.X", "a", "b") + Link("M", "N.X", "a", "b"));
  ASSERT_EQ(
      Load(Edmx(Schema("N", type + Association("X", End("a", "N.T", "1") + End("b", "N.T", "1")) +
                                Container(Set("S", "N.T") + Set("R", "N.T"))))),
      0);
  ASSERT_EQ(core.SetSchemaEntityIndex(1), 0);
  ASSERT_EQ(core.SetSchemaPropertyIndex(1), 0);
  ASSERT_EQ(core.SetSchemaAssociationIndex(1), 0);
  ASSERT_EQ(Load(Edmx(Schema("Q", Type("U", "<Property Name='Z'/>") + Container(Set("V", "Q.U"))))),
            0);
  EXPECT_EQ(Reads(core, {"SchemaEntityName", "SchemaPropertyName"}) +
                Join("", core.schemaAssociationIndex, core.associations.Count()),
            "V|Z|0|0");
}

TEST_F(SchemaReader, WithoutMemoryTheReadFailsWith200AndNeverHalfway) {
  // Paths above the inline size of a string and lists above their inline slots, so that the
  // read allocates at many places.
  const std::string prefix = "edmxWithALongPrefixThatMakesEveryPathLonger";
  std::string properties;
  for (int i = 0; i < 24; ++i)
    properties += Property("P" + std::to_string(i), "Namespace.Long.C");
  const std::string document =
      "<" + prefix + ":Edmx xmlns:" + prefix + "='urn:e'><" + prefix + ":DataServices>" +
      Schema("Namespace.Long",
             Type("T", Doc("s", "d") + "<Key><PropertyRef Name='P0'/></Key>" + properties +
                           Link("L", "Namespace.Long.X", "a", "b")) +
                 "<ComplexType Name='C'><Property Name='F'>" + Doc("f", "") +
                 "</Property></ComplexType>" +
                 Association("X", Doc("x", "x text") +
                                      End("a", "Namespace.Long.T", "1",
                                          "<OnDelete Action='Cascade'/>" + Doc("a", "")) +
                                      End("b", "Namespace.Long.T", "*")) +
                 Container("<EntitySet Name='S' EntityType='Namespace.Long.T'>" +
                           Doc("set", "set text") + "</EntitySet>")) +
      "</" + prefix + ":DataServices></" + prefix + ":Edmx>";
  int failures = 0;
  for (long after = 0; after < 5000; ++after) {
    SchemaEventCore fresh;
    fresh.parser.PrepareForDocument();
    ASSERT_EQ(fresh.parser.Parse(document), 0);
    SetAllocationFailureAfter(after);
    const int rc = fresh.ReadSchema();
    SetAllocationFailureAfter(-1);
    if (rc == 0) {
      // Documentation is read wherever it stands.
      EXPECT_EQ(Reads(fresh, {"SchemaPropertyCount", "SchemaAssociationToRoleEntity",
                              "SchemaAssociationOnDelete", "SchemaTypeFieldSummary",
                              "SchemaEntityDescription", "SchemaAssociationDescription",
                              "SchemaAssociationFromRoleSummary"}),
                "24|T|1|f|set text|x text|a");
      EXPECT_EQ(Join(Read(fresh, "SchemaKeys", 0), fresh.entityTypes.Peek(0)->summary), "P0|s");
      break;
    }
    ++failures;
    ASSERT_EQ(Join(rc, fresh.lastError), Join(errOutOfMemory, "Out of memory."))
        << "after " << after;
  }
  EXPECT_GT(failures, 10);
}

} // namespace
} // namespace quillon
