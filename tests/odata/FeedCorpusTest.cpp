// Real documents read through ReadFile: the JSON report of each (counts, ids, titles, property
// values, nulls, complex names, ETags, paths) against a copy reviewed by hand, what the report
// does not show, and copies of every feed cut short.
#include "FeedTestSupport.h"
#include "support/CliRunner.h"
#include "support/Corpus.h"
#include "xml/XmlErrors.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <tuple>

namespace quillon {
namespace {

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

} // namespace
} // namespace quillon
