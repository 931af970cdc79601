// Real documents read through ReadFile: the JSON report of each (counts, ids, titles, property
// values, nulls, complex names, ETags, paths; entity sets, keys, properties, navigation and the
// events of a schema) against a copy reviewed by hand, what the report does not show, and copies
// of the documents cut short.
#include "support/Corpus.h"
#include "ODataTestSupport.h"
#include "support/CliRunner.h"
#include "xml/XmlErrors.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <tuple>

namespace quillon {
namespace {

using test::CorpusFile;
using test::Read;
using test::SchemaEventCore;

// What the JSON report does not show: the skiptoken of a next link, the edit link as
// ResourcePath, and a property read by its path.
TEST(FeedCorpus, TokensEditLinksAndPathsOfFeeds) {
  QUILLON_REQUIRE_CORPUS();
  // Each file read in turn by one component, the entry selected where one is given, then a
  // property read, or an entry property where a path is given. A next link without a token and a
  // delta link leave the token alone.
  const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
      {"feed_rooms_small.xml", "", "QuerySkipToken", "97"},
      {"feed_employees_full.xml", "", "QuerySkipToken", "97"},
      {"feed_with_deleted_entries.xml", "", "QuerySkipToken", "97"},
      {"feed_with_deleted_entries.xml", "", "ResourcePath", "Rooms('1')"},
      {"ProductsFeed.xml", "8", "ResourcePath", "Products(8)"},
      {"LargeEmployeeFeed.xml", "", "entry[432]/properties/EmployeeName", "Susan Bay"},
  };
  Quillon q;
  for (const auto& [file, entry, property, expected] : rows) {
    std::string value;
    ASSERT_EQ(q.Config("ReadFile=" + test::CorpusFile(std::string("atom/") + file), &value), 0);
    EXPECT_EQ(value, "0") << file;
    ASSERT_EQ(*entry ? q.SetProperty("EntryIndex", entry) : 0, 0) << file;
    const int rc = std::strchr(property, '/') ? q.GetEntryProperty(property, value)
                                              : q.GetProperty(property, -1, value);
    EXPECT_EQ(test::Join(rc, value), test::Join(0, expected)) << file << " " << property;
  }
}

// The JSON report of the command-line program for every document equals the one written before
// the entries were read in place (tests/odata/golden, reviewed by hand when it was written).
TEST(FeedCorpus, TheJsonReportOfEveryDocumentIsUnchanged) {
  QUILLON_REQUIRE_CORPUS();
  QUILLON_REQUIRE_CLI();
  int seen = 0;
  for (const auto& file : std::filesystem::directory_iterator(test::CorpusDir() + "/atom")) {
    if (file.path().filename() == "LICENSE") continue;
    ++seen;
    const std::string golden = std::string(QUILLON_SOURCE_DIR) + "/tests/odata/golden/" +
                               file.path().stem().string() + ".json";
    const std::string expected = test::FileText(golden);
    ASSERT_FALSE(expected.empty()) << "no golden report for " << file.path();
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
    const std::string whole = test::FileText(file.path());
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

// The complex type fields of a schema, which the report does not walk, reached by a property and
// by name.
TEST(SchemaCorpus, ComplexTypeFieldsByPropertyAndByName) {
  QUILLON_REQUIRE_CORPUS();
  const auto field = [](QuillonCore& core) {
    return test::Reads(core, {"SchemaTypeFieldName", "SchemaTypeFieldType",
                              "SchemaTypeFieldNullable", "SchemaTypeFieldIsComplexType"});
  };
  SchemaEventCore products, reference;
  ASSERT_EQ(test::Dispatch(products, test::FileText(CorpusFile("atom/metadataProducts.xml"))), 0);
  ASSERT_EQ(products.SetSchemaEntity("Suppliers"), 0);
  ASSERT_EQ(products.SetSchemaProperty("Address"), 0);
  EXPECT_EQ(Read(products, "SchemaTypeFieldCount"), "5");
  ASSERT_EQ(products.SetSchemaTypeFieldIndex(1), 0);
  EXPECT_EQ(field(products), "City|Edm.String|1|0");
  // A complex type whose first field is itself complex.
  ASSERT_EQ(test::Dispatch(reference, test::FileText(CorpusFile("atom/refScenario.edmx"))), 0);
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
