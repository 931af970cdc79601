// The readers through the public members: the index rule of each family, the writes that change
// the records, the cursor over the response document, and the Entry events reaching the handler.
#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillon {
namespace {

const std::string kFeed = std::string(QUILLON_SOURCE_DIR) + "/examples/products-feed.xml";

class EntrySurface : public ::testing::Test {
protected:
  Quillon q;
  void SetUp() override { ASSERT_EQ(q.Config("ReadFile=" + kFeed), 0); }
  std::string LastError() {
    std::string text;
    q.Config("LastError", &text);
    return text;
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
    std::string value = "stale";
    EXPECT_EQ(q.GetProperty(row.name, row.index, value), 381) << row.name;
    EXPECT_EQ(q.LastFailure().value, 0x800A017Du) << row.name;
    EXPECT_EQ(q.LastFailure().helpNumber, row.helpNumber) << row.name;
    EXPECT_EQ(q.ErrorDescription(), "Invalid array index.") << row.name;
    EXPECT_EQ(LastError(), row.lastError) << row.name;
  }
  // Writes test the index in the engine, with its own code.
  EXPECT_EQ(q.SetEntryPropertiesValue(6, "x"), 432);
  EXPECT_EQ(q.ErrorDescription(), "Invalid index (out of bounds).");
  EXPECT_EQ(q.LastFailure().helpNumber, 28149);
  EXPECT_EQ(q.SetCookieValue(0, "x"), 156);
  EXPECT_EQ(q.LastFailure().value, 0x800A4EBDu);
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
  ASSERT_EQ(q.SetEntryTitle("Renamed & co"), 0);
  EXPECT_EQ(q.EntryTitle(), "Renamed & co");
  EXPECT_EQ(q.SetEntryIndex(3), 432);
  EXPECT_EQ(q.LastFailure().helpNumber, 28140);
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

class EntryLog final : public QuillonEvents {
public:
  std::vector<std::string> titles;
  void Entry(const std::string&, const std::string& title, const std::string&,
             const std::string&) override {
    titles.push_back(title);
  }
};

TEST(EntryEvents, ReachTheHandlerWhileOneIsSet) {
  Quillon q;
  EntryLog log;
  q.SetEventHandler(&log);
  ASSERT_EQ(q.Config("ReadFile=" + kFeed), 0);
  EXPECT_EQ(log.titles,
            (std::vector<std::string>{"Walnut desk", "Oak chair", "Café table & two stools"}));
  q.SetEventHandler(nullptr);
  ASSERT_EQ(q.Config("ReadFile=" + kFeed), 0);
  EXPECT_EQ(log.titles.size(), 3u);
}

} // namespace
} // namespace quillon
