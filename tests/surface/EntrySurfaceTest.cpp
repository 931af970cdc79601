// The public face of the readers: Entry... and cursor properties with their index and value
// checks, and the Entry events reaching the host's handler.
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
  std::string Get(const char* name, int index = -1) {
    std::string value;
    EXPECT_EQ(q.GetProperty(name, index, value), 0) << name << "(" << index << ")";
    return value;
  }
  // The code of a failing read or write, with the description it left.
  std::pair<int, std::string> ReadFailure(const char* name, int index) {
    std::string value;
    const int rc = q.GetProperty(name, index, value);
    return {rc, q.ErrorDescription()};
  }
  std::pair<int, std::string> WriteFailure(const char* name, int index, const char* value) {
    const int rc = q.SetProperty(name, index, value);
    return {rc, q.ErrorDescription()};
  }
};

TEST_F(EntrySurface, IndexedRowsTestTheirIndexes) {
  using Failure = std::pair<int, std::string>;
  ASSERT_EQ(Get("EntryPropertiesCount"), "6");
  for (int bad : {-1, 6})
    EXPECT_EQ(ReadFailure("EntryPropertiesValue", bad), (Failure{381, "Invalid Index"})) << bad;
  EXPECT_EQ(ReadFailure("AttrName", 5), (Failure{381, "Invalid Index"})); // the root has one
  // A write tests the index in the engine.
  EXPECT_EQ(WriteFailure("EntryPropertiesValue", 6, "x"),
            (Failure{432, "Invalid index (out of bounds)."}));
  for (const char* readOnly : {"EntryCount", "EntryPropertiesXPath", "XChildrenCount"})
    EXPECT_EQ(WriteFailure(readOnly, 0, "1"), (Failure{383, "Property is read-only."})) << readOnly;
  EXPECT_EQ(WriteFailure("ChannelTitleTextType", -1, "3"),
            (Failure{380, "Value is out of range."}));
}

TEST_F(EntrySurface, IndexWritesChangeTheRecords) {
  ASSERT_EQ(q.SetProperty("EntryPropertiesIsNull", 1, "true"), 0);
  EXPECT_EQ(Get("EntryPropertiesValue", 1), ""); // a null has no value
  ASSERT_EQ(q.SetProperty("EntryPropertiesValue", 1, "Pine desk"), 0);
  EXPECT_EQ(Get("EntryPropertiesIsNull", 1), "0");
  ASSERT_EQ(q.SetProperty("EntryPropertiesValue", 2, ""), 0);
  EXPECT_EQ(Get("EntryPropertiesIsNull", 2), "1");
  // The edits stay with the entry while another one is read.
  ASSERT_EQ(q.SetProperty("EntryIndex", "2"), 0);
  EXPECT_EQ(Get("EntryPropertiesValue", 1), "Café table & two stools");
  ASSERT_EQ(q.SetProperty("EntryIndex", "0"), 0);
  EXPECT_EQ(Get("EntryPropertiesValue", 1), "Pine desk");
  ASSERT_EQ(q.SetProperty("EntryTitle", "Renamed & co"), 0);
  EXPECT_EQ(Get("EntryTitle"), "Renamed & co");
}

TEST_F(EntrySurface, CursorRowsReadTheResponseDocument) {
  ASSERT_EQ(q.SetProperty("XPath", "/feed/entry[2]/link[2]"), 0);
  EXPECT_TRUE(q.HasXPath("/feed")); // and the cursor stays
  EXPECT_EQ(Get("XElement") + " " + Get("XParent"), "link entry");
  EXPECT_EQ(Get("AttrValue", 3), "Products(2)/Supplier");
  ASSERT_EQ(q.SetProperty("XPath", "../content/properties"), 0);
  EXPECT_EQ(Get("XElement") + " " + Get("XPrefix"), "m:properties m");
  ASSERT_EQ(Get("XChildrenCount"), "5");
  EXPECT_EQ(Get("XChildName", 1) + " " + Get("XChildXText", 1), "d:Name Oak chair");
  EXPECT_EQ(q.SetProperty("XPath", "/feed/nothing"), 208);
  EXPECT_EQ(q.ErrorDescription(), "No such child.");
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
