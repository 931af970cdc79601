// Real documents read through ReadFile and the public properties, checked against what a person
// sees in the files: counts, ids, titles, property values, nulls, complex names, ETags, tokens.
#include "FeedTestSupport.h"
#include "support/CliRunner.h"
#include "support/Corpus.h"
#include "xml/XmlErrors.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
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
          (Get("EntryPropertiesIsNull", i) == "1" ? "null" : Get("EntryPropertiesValue", i)) +
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

// The JSON report of the command-line program for every document equals the one written before
// the entries were read in place (tests/odata/golden, reviewed by hand when it was written).
TEST(FeedCorpus, TheJsonReportOfEveryDocumentIsUnchanged) {
  QUILLON_REQUIRE_CORPUS();
  if (!test::HaveCli()) GTEST_SKIP() << "QUILLON_CLI is not set";
  int seen = 0;
  for (const auto& file : std::filesystem::directory_iterator(test::CorpusDir() + "/atom")) {
    if (file.path().filename() == "LICENSE") continue;
    ++seen;
    const std::string golden = std::string(QUILLON_SOURCE_DIR) + "/tests/odata/golden/" +
                               file.path().stem().string() + ".json";
    std::ifstream in(golden, std::ios::binary);
    ASSERT_TRUE(in) << "no golden report for " << file.path();
    const std::string expected((std::istreambuf_iterator<char>(in)), {});
    std::string out = test::RunCli("--json -c ReadFile=" + file.path().string()).out;
    // A failure is also told on standard error, which the runner mixes in.
    if (const size_t at = out.find("quillon: error"); at != std::string::npos)
      out.erase(at, out.find('\n', at) + 1 - at);
    EXPECT_TRUE(out == expected) << file.path().filename() << " differs from " << golden;
  }
  EXPECT_EQ(seen, 33);
}

// Every corpus feed cut at several places, among them inside the last entry and right behind
// an entry's end tag, reads as 206 with the entries closed before the cut; whole, as 0.
TEST(FeedCorpus, AFeedCutShortReadsAs206WithTheEntriesBeforeTheCut) {
  QUILLON_REQUIRE_CORPUS();
  int feeds = 0;
  for (const auto& file : std::filesystem::directory_iterator(test::CorpusDir() + "/atom")) {
    std::ifstream in(file.path(), std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), {});
    QuillonCore full;
    int result = 0;
    if (full.ReadFile(file.path().c_str(), &result) != 0 || full.rootKind.View() != "feed")
      continue;
    ++feeds;
    ASSERT_EQ(result, 0) << file.path();
    // Where each entry's end tag ends, and its id.
    std::vector<std::pair<size_t, std::string>> entries;
    const char* kept = full.parser.OriginalText().data();
    for (int i = 0; i < full.entries.Count(); ++i) {
      const std::string_view inner = full.entries.At(i)->RawText();
      const size_t end = whole.find('>', static_cast<size_t>(inner.data() - kept) + inner.size());
      entries.emplace_back(end + 1, test::Text(full.entries.At(i)->Value("/entry/id")));
    }
    ASSERT_FALSE(entries.empty()) << file.path();
    std::vector<size_t> cuts = {whole.size() / 7,     whole.size() / 3,        whole.size() / 2,
                                whole.size() - 2,     entries[0].first,        entries[0].first - 1,
                                entries.back().first, entries.back().first - 9};
    for (const size_t cut : cuts) {
      QuillonCore core;
      ASSERT_EQ(core.ReadFile(test::TempFeed(whole.substr(0, cut)).c_str(), &result), 0);
      const std::string where = file.path().filename().string() + " cut at " + std::to_string(cut);
      EXPECT_EQ(result, errUnbalancedDocument) << where;
      size_t before = 0;
      while (before < entries.size() && entries[before].first <= cut)
        ++before;
      ASSERT_EQ(core.entries.Count(), static_cast<int>(before)) << where;
      for (size_t i = 0; i < before; ++i)
        EXPECT_EQ(test::Text(core.entries.At(static_cast<int>(i))->Value("/entry/id")),
                  entries[i].second)
            << where;
    }
  }
  EXPECT_EQ(feeds, 10);
}

} // namespace
} // namespace quillon
