// Real documents read through ReadFile and the public properties, checked against what a person
// sees in the files: counts, ids, titles, property values, nulls, complex names, ETags, tokens.
#include "support/Corpus.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

namespace quillon {
namespace {

struct Reader {
  Quillon q;
  std::string result; // the reader's result, as ReadFile hands it back

  int Read(const std::string& name) {
    return q.Config("ReadFile=" + test::CorpusFile("atom/" + name), &result);
  }
  std::string Get(const char* property, int index = -1) {
    std::string value;
    EXPECT_EQ(q.GetProperty(property, index, value), 0) << property;
    return value;
  }
  int Count(const char* property) { return std::stoi(Get(property)); }
  void Select(int index) { ASSERT_EQ(q.SetProperty("EntryIndex", std::to_string(index)), 0); }
  // The property of the current entry by name: "value" or "null", with its type in brackets.
  std::map<std::string, std::string> Properties() {
    std::map<std::string, std::string> out;
    for (int i = 0, n = Count("EntryPropertiesCount"); i < n; ++i) {
      const std::string type = Get("EntryPropertiesType", i);
      out[Get("EntryPropertiesName", i)] =
          (Get("EntryPropertiesIsNull", i) == "-1" ? "null" : Get("EntryPropertiesValue", i)) +
          (type.empty() ? "" : " [" + type + "]");
    }
    return out;
  }
};

bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(FeedCorpus, EveryDocumentReadsToItsKind) {
  QUILLON_REQUIRE_CORPUS();
  // Each document as "root kind, ReadFile result, entries".
  std::map<std::string, std::string> expected = {
      {"LargeEmployeeFeed.xml", "feed 0 432"},
      {"ProductsFeed.xml", "feed 0 9"},
      {"RoomsToEmployeesWithInlineTeams.xml", "feed 0 2"},
      {"Rooms_InlineEmployeesTeams.xml", "feed 0 3"},
      {"Rooms_InlineEmployees_InlineBuildings.xml", "feed 0 2"},
      {"feed_employees.xml", "feed 0 6"},
      {"feed_employees_full.xml", "feed 0 6"},
      {"feed_rooms_small.xml", "feed 0 3"},
      {"feed_with_deleted_entries.xml", "feed 0 1"},
      {"feed_with_delta_link.xml", "feed 0 1"},
      {"invalidSvcExample.xml", "service 208 0"}, // a service without a workspace
      {"xxe.xml", " 0 0"}, // no root that the component reads; nothing is resolved
  };
  for (const char* name :
       {"EmployeeContentOnly.xml", "EmployeeContentOnlyWithAdditionalLink.xml",
        "Employee_InlineRoomBuilding.xml", "RoomContentOnly.xml",
        "RoomContentOnlyWithAdditionalLink.xml", "Room_EmptyInlineEmployeesToTeam.xml",
        "Room_InlineEmployeesToTeam.xml", "double_expanded_team.xml", "employee_empty_room.xml",
        "employeesWithDifferentInlines.xml", "expandedBuilding.xml", "expanded_team.xml"})
    expected[name] = "entry 0 1";
  for (const char* name : {"serviceDocExample.xml", "serviceDocument.xml", "svcAtomExample.xml",
                           "svcDocWithoutTitle.xml", "svcExample.xml"})
    expected[name] = "service 0 0";
  for (const char* name : {"metadataForRelatedEntity.xml", "metadataProducts.xml",
                           "metadataWithNavigations.xml", "refScenario.edmx"})
    expected[name] = "edmx 0 0";
  int seen = 0;
  for (const auto& file : std::filesystem::directory_iterator(test::CorpusDir() + "/atom")) {
    const std::string name = file.path().filename().string();
    if (name == "LICENSE") continue;
    ++seen;
    ASSERT_TRUE(expected.count(name)) << "a new document in the corpus: " << name;
    Reader reader;
    ASSERT_EQ(reader.Read(name), 0) << name;
    const int entries = reader.Count("EntryCount");
    EXPECT_EQ(reader.q.RootKind() + " " + reader.result + " " + std::to_string(entries),
              expected[name])
        << name << ": " << reader.q.ErrorDescription();
    // Every entry reads, down to each property's path.
    for (int i = 0; i < entries; i += 1 + i / 8) {
      reader.Select(i);
      for (int p = 0, n = reader.Count("EntryPropertiesCount"); p < n; ++p)
        EXPECT_NE(reader.Get("EntryPropertiesXPath", p), "") << name;
    }
  }
  EXPECT_EQ(seen, static_cast<int>(expected.size()));
}

TEST(FeedCorpus, ProductsFeedShowsChannelEntriesLinksAndNulls) {
  QUILLON_REQUIRE_CORPUS();
  Reader r;
  ASSERT_EQ(r.Read("ProductsFeed.xml"), 0);
  EXPECT_EQ(r.Get("ChannelTitle"), "Products");
  EXPECT_TRUE(EndsWith(r.Get("ChannelId"), "/OData.svc/Products/"));
  EXPECT_EQ(r.Get("ChannelLinkRel"), "self");
  EXPECT_TRUE(EndsWith(r.Get("EntryId"), "/Products(0)"));
  EXPECT_EQ(r.Get("EntryTitle"), "Bread");
  EXPECT_EQ(r.Get("EntrySummary"), "Whole grain bread");
  EXPECT_EQ(r.Get("EntryETag"), ""); // only the inline suppliers carry one
  EXPECT_EQ(r.Get("ResourcePath"), "Products(0)");
  ASSERT_EQ(r.Count("EntryLinksCount"), 2);
  EXPECT_EQ(r.Get("EntryLinksTitle", 1), "Supplier");
  EXPECT_EQ(r.Get("EntryLinksResourcePath", 1), "Products(0)/Supplier");
  // The inline supplier's properties belong to the inline entry, not to the product.
  EXPECT_EQ(r.Properties(), (std::map<std::string, std::string>{
                                {"ID", "0 [Edm.Int32]"},
                                {"ReleaseDate", "1992-01-01T00:00:00 [Edm.DateTime]"},
                                {"DiscontinuedDate", "null [Edm.DateTime]"},
                                {"Rating", "4 [Edm.Int32]"},
                                {"Price", "2.5 [Edm.Decimal]"},
                            }));
  r.Select(8);
  EXPECT_EQ(r.Get("EntryTitle"), "LCD HDTV");
  EXPECT_EQ(r.Get("ResourcePath"), "Products(8)");
  EXPECT_EQ(r.Get("EntryPropertiesXPath", 0), "/feed/entry[9]/content/properties/ID");
}

TEST(FeedCorpus, EntryDocumentsWithComplexValuesAndEntryETags) {
  QUILLON_REQUIRE_CORPUS();
  Reader r;
  ASSERT_EQ(r.Read("EmployeeContentOnly.xml"), 0);
  const auto employee = r.Properties();
  EXPECT_EQ(employee.size(), 11u);
  EXPECT_EQ(employee.at("EmployeeName"), "Walter Winter");
  EXPECT_EQ(employee.at("Location/City/PostalCode"), "69124");
  EXPECT_EQ(employee.at("Location/City/CityName"), "Heidelberg");
  EXPECT_EQ(employee.at("Location/Country"), "Germany");
  EXPECT_EQ(employee.at("ImageUrl"), "Employees('1')/$value");
  // Properties directly under entry: the path has no content step.
  EXPECT_EQ(r.Get("EntryPropertiesXPath", 6), "/entry/properties/Location/City/CityName");

  ASSERT_EQ(r.Read("RoomContentOnly.xml"), 0);
  EXPECT_EQ(r.Get("EntryETag"), "W/\"1\"");
  EXPECT_EQ(r.Properties().at("Name"), "Room 1");

  ASSERT_EQ(r.Read("employee_empty_room.xml"), 0);
  const auto empty = r.Properties();
  EXPECT_EQ(empty.at("ManagerId"), "null");
  EXPECT_EQ(empty.at("TeamId"), "null");
  EXPECT_TRUE(EndsWith(r.Get("EntryId"), "Employees('7')"));
}

TEST(FeedCorpus, FeedsWithNextLinksDeltaLinksAndManyEntries) {
  QUILLON_REQUIRE_CORPUS();
  Reader r;
  ASSERT_EQ(r.Read("feed_rooms_small.xml"), 0);
  EXPECT_EQ(r.Get("QuerySkipToken"), "97");
  ASSERT_EQ(r.Count("EntryCount"), 3);
  r.Select(2);
  EXPECT_EQ(r.Properties().at("Name"), "Room 100");
  EXPECT_EQ(r.Get("EntryETag"), "W/\"1\"");

  // A next link without a token and a delta link leave the token alone.
  ASSERT_EQ(r.Read("feed_employees_full.xml"), 0);
  ASSERT_EQ(r.Read("feed_with_deleted_entries.xml"), 0);
  EXPECT_EQ(r.Get("QuerySkipToken"), "97");
  EXPECT_EQ(r.Count("EntryCount"), 1); // the deleted entry is no entry
  EXPECT_EQ(r.Get("ResourcePath"), "Rooms('1')");

  ASSERT_EQ(r.Read("LargeEmployeeFeed.xml"), 0);
  ASSERT_EQ(r.Count("EntryCount"), 432);
  r.Select(431);
  EXPECT_TRUE(EndsWith(r.Get("EntryId"), "Employees('6')"));
  EXPECT_EQ(r.Properties().at("EmployeeName"), "Susan Bay");
  std::string name;
  ASSERT_EQ(r.q.GetEntryProperty("entry[432]/properties/EmployeeName", name), 0);
  EXPECT_EQ(name, "Susan Bay");
}

} // namespace
} // namespace quillon
