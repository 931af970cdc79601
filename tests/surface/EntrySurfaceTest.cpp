// The readers through the public members: the index rule of each family, the writes that change
// the records, flags in and out, the cursor over the response document, the Entry events reaching
// the handler, and every entry of a large generated feed.
#include "FeedGenerator.h"
#include "SurfaceSupport.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace quillon {
namespace {

using test::FailureText;
using test::kProductsFeed;

class EntryLog final : public QuillonEvents {
public:
  std::vector<std::string> titles;
  void Entry(const std::string&, const std::string& title, const std::string&,
             const std::string&) override {
    titles.push_back(title);
  }
};

class EntrySurface : public ::testing::Test {
protected:
  Quillon q;
  EntryLog log;
  void SetUp() override {
    q.SetEventHandler(&log);
    ASSERT_EQ(q.Config("ReadFile=" + kProductsFeed), 0);
  }
};

// The host sees "Invalid array index." with the property's help number; lastError keeps what the
// family leaves there.
TEST_F(EntrySurface, IndexesOutsideTheirListFailByFamily) {
  struct Row {
    const char* name;
    int index;
    int helpNumber;
    const char* lastError;
  };
  ASSERT_EQ(q.EntryPropertiesCount(), 6);
  const Row rows[] = {
      {"EntryPropertiesValue", -1, 28149, "Invalid Index"},
      {"EntryPropertiesValue", 6, 28149, "Invalid Index"},
      {"EntryLinksTitle", 9, 28143, "Invalid Index"},
      {"AttrName", 5, 28237, "Invalid Index"}, // the root has one attribute
      {"CookieName", 0, 28132, "Invalid cookie index (out of range)."},
      {"ParsedHeaderField", 0, 28166, "Invalid cookie index (out of range)."}, // left alone
      {"SchemaKeys", 0, 28206, "Invalid Index"},
  };
  for (const Row& row : rows) {
    std::string value = "stale", lastError;
    EXPECT_EQ(FailureText(q.GetProperty(row.name, row.index, value), q.LastFailure()),
              "381 0x800A017D " + std::to_string(row.helpNumber) + " Invalid array index.")
        << row.name;
    q.Config("LastError", &lastError);
    EXPECT_EQ(lastError, row.lastError) << row.name;
  }
  // Writes test the index in the engine, with its own code.
  EXPECT_EQ(FailureText(q.SetEntryPropertiesValue(6, "x"), q.LastFailure()),
            "432 0x800A4FD1 28149 Invalid index (out of bounds).");
  EXPECT_EQ(FailureText(q.SetCookieValue(0, "x"), q.LastFailure()),
            "156 0x800A4EBD 28135 Invalid cookie index (out of range).");
  EXPECT_EQ(q.EntryPropertiesValue(-1), "");
  EXPECT_EQ(q.LastResult(), 381);
}

TEST_F(EntrySurface, IndexWritesChangeTheRecords) {
  ASSERT_EQ(q.SetEntryPropertiesIsNull(1, true), 0);
  EXPECT_EQ(q.EntryPropertiesValue(1), ""); // a null has no value
  ASSERT_EQ(q.SetEntryPropertiesValue(1, "Pine desk"), 0);
  EXPECT_FALSE(q.EntryPropertiesIsNull(1));
  ASSERT_EQ(q.SetEntryPropertiesValue(2, ""), 0);
  EXPECT_TRUE(q.EntryPropertiesIsNull(2));
  // The edits stay with the entry while another one is read.
  ASSERT_EQ(q.SetEntryIndex(2), 0);
  EXPECT_EQ(q.EntryPropertiesValue(1), "Café table & two stools");
  ASSERT_EQ(q.SetEntryIndex(0), 0);
  EXPECT_EQ(q.EntryPropertiesValue(1), "Pine desk");
  EXPECT_EQ(q.SetEntryIndex(3), 432);
  EXPECT_EQ(q.LastFailure().helpNumber, 28140);
}

// A flag is true for any number but 0 and for "True" or "yes"; it reads "-1" or "0".
TEST_F(EntrySurface, FlagsInAndOut) {
  const std::pair<const char*, bool> rows[] = {{"-1", true},   {"1", true},      {"2", true},
                                               {"0x10", true}, {"True", true},   {"yes", true},
                                               {"0", false},   {"false", false}, {"", false}};
  for (auto [text, flag] : rows) {
    ASSERT_EQ(q.SetProperty("EntryPropertiesIsNull", 1, text), 0) << text;
    EXPECT_EQ(q.EntryPropertiesIsNull(1), flag) << text;
    std::string out;
    ASSERT_EQ(q.GetProperty("EntryPropertiesIsNull", 1, out), 0) << text;
    EXPECT_EQ(out, flag ? "-1" : "0") << text;
  }
}

TEST_F(EntrySurface, CursorMembersReadTheResponseDocument) {
  ASSERT_EQ(q.SetXPath("/feed/entry[2]/link[2]"), 0);
  EXPECT_TRUE(q.HasXPath("/feed")); // and the cursor stays
  EXPECT_EQ(q.XElement() + " " + q.XParent(), "link entry");
  EXPECT_EQ(q.AttrValue(3), "Products(2)/Supplier");
  ASSERT_EQ(q.SetXPath("../content/properties"), 0);
  EXPECT_EQ(q.XElement() + " " + q.XPrefix(), "m:properties m");
  ASSERT_EQ(q.XChildrenCount(), 5);
  EXPECT_EQ(q.XChildName(1) + " " + q.XChildXText(1), "d:Name Oak chair");
  EXPECT_EQ(q.SetXPath("/feed/nothing"), 208);
  EXPECT_EQ(q.ErrorDescription(), "No such child.");
  EXPECT_EQ(q.LastFailure().helpNumber, 28249);
}

TEST_F(EntrySurface, EntryEventsReachTheHandlerWhileOneIsSet) {
  EXPECT_EQ(log.titles,
            (std::vector<std::string>{"Walnut desk", "Oak chair", "Café table & two stools"}));
  q.SetEventHandler(nullptr);
  ASSERT_EQ(q.Config("ReadFile=" + kProductsFeed), 0);
  EXPECT_EQ(log.titles.size(), 3u);
}

// A generated feed of 50,000 entries read end to end through the typed members: counts and
// indexes are 32-bit, so every entry is reachable.
TEST(BigFeed, EveryOneOfFiftyThousandEntriesIsReachable) {
  constexpr int kEntries = 50000;
  const std::string path = (std::filesystem::temp_directory_path() /
                            ("quillon-big-feed-" + std::to_string(::getpid()) + ".xml"))
                               .string();
  ASSERT_GT(bench::WriteFeedFile(path, kEntries), 0);
  Quillon q;
  std::string result;
  ASSERT_EQ(q.Config("ReadFile=" + path, &result), 0);
  std::remove(path.c_str());
  ASSERT_EQ(result, "0");
  ASSERT_EQ(q.EntryCount(), kEntries);
  // Every 50th entry by its index, up to the last, and every property of every 1000th.
  for (int i = 49; i < kEntries; i += 50) {
    ASSERT_EQ(q.SetEntryIndex(i), 0) << i;
    const std::string n = std::to_string(i + 1);
    ASSERT_EQ(q.EntryId(), "https://services.example.com/Catalog.svc/Products(" + n + ")") << i;
    if (i % 1000 != 999) continue;
    ASSERT_EQ(q.EntryPropertiesCount(), bench::kPropertiesPerEntry) << i;
    EXPECT_EQ(q.EntryPropertiesValue(0), n) << i;
    EXPECT_EQ(q.EntryPropertiesName(1) + "=" + q.EntryPropertiesValue(1), "Name=Milk " + n) << i;
    EXPECT_TRUE(q.EntryPropertiesIsNull(4)) << i;
    EXPECT_EQ(q.EntryPropertiesXPath(11),
              "/feed/entry[" + std::to_string(i + 1) + "]/content/properties/Address/Country")
        << i;
  }
  EXPECT_EQ(q.EntryIndex(), kEntries - 1);
  EXPECT_EQ(q.SetEntryIndex(kEntries), 432);
}

} // namespace
} // namespace quillon
