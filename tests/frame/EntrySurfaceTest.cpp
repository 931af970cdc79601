// The public face of the readers: Entry..., Channel... and cursor properties with their index
// and value checks, and the methods GetEntryProperty, SetEntryProperty, HasXPath and Reset.
#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillon {
namespace {

class EntrySurface : public ::testing::Test {
protected:
  Quillon q;
  void SetUp() override {
    std::string result;
    ASSERT_EQ(
        q.Config(std::string("ReadFile=") + QUILLON_SOURCE_DIR + "/examples/products-feed.xml",
                 &result),
        0);
    ASSERT_EQ(result, "0");
  }
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
  const int count = std::stoi(Get("EntryPropertiesCount"));
  ASSERT_EQ(count, 6);
  for (int bad : {-1, count})
    EXPECT_EQ(ReadFailure("EntryPropertiesValue", bad), (Failure{381, "Invalid Index"})) << bad;
  EXPECT_EQ(ReadFailure("EntryLinksTitle", 1), (Failure{381, "Invalid Index"}));
  EXPECT_EQ(ReadFailure("AttrName", 5), (Failure{381, "Invalid Index"})); // the root has one
  // A write tests the index in the engine.
  EXPECT_EQ(WriteFailure("EntryPropertiesValue", count, "x"),
            (Failure{432, "Invalid index (out of bounds)."}));
  for (const char* readOnly : {"EntryCount", "EntryUpdated", "EntryPropertiesXPath",
                               "EntryLinksResourcePath", "XChildrenCount", "XSubTree"})
    EXPECT_EQ(WriteFailure(readOnly, 0, "1"), (Failure{383, "Property is read-only."})) << readOnly;
  EXPECT_EQ(WriteFailure("ChannelTitleTextType", -1, "3"),
            (Failure{380, "Value is out of range."}));
  EXPECT_EQ(q.SetProperty("ChannelTitleTextType", "2"), 0);
  EXPECT_EQ(Get("ChannelTitleTextType"), "2");
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
  EXPECT_EQ(Get("ResourcePath"), "Products(3)");
  EXPECT_EQ(Get("EntryPropertiesValue", 1), "Café table & two stools");
  ASSERT_EQ(q.SetProperty("EntryIndex", "0"), 0);
  EXPECT_EQ(Get("EntryPropertiesValue", 1), "Pine desk");

  ASSERT_EQ(q.SetProperty("EntryETag", "W/\"new\""), 0);
  EXPECT_EQ(Get("EntryETag"), "W/\"new\"");
  ASSERT_EQ(q.SetProperty("EntryTitle", "Renamed & co"), 0);
  EXPECT_EQ(Get("EntryTitle"), "Renamed & co");
  ASSERT_EQ(q.Config("NameAndEmailFormat=0"), 0);
  ASSERT_EQ(q.SetProperty("EntryAuthor", "Ann <ann@example.com>"), 0);
  EXPECT_EQ(Get("EntryAuthor"), "Ann <ann@example.com>");
  EXPECT_EQ(q.SetProperty("EntryXML", "<feed/>"), 209);
  EXPECT_EQ(q.ErrorDescription(), "Top element does not match start of path.");
}

TEST_F(EntrySurface, CursorRowsReadTheResponseDocument) {
  EXPECT_TRUE(q.HasXPath("/feed/entry[3]/content"));
  EXPECT_FALSE(q.HasXPath("/feed/entry[4]"));
  ASSERT_EQ(q.SetProperty("XPath", "/feed/entry[2]/link[2]"), 0);
  EXPECT_EQ(Get("XPath"), "/feed/entry[2]/link[2]");
  EXPECT_TRUE(q.HasXPath("/feed")); // and the cursor stays
  EXPECT_EQ(Get("XElement"), "link");
  EXPECT_EQ(Get("XParent"), "entry");
  EXPECT_EQ(Get("XNamespace"), "http://www.w3.org/2005/Atom");
  ASSERT_EQ(Get("AttrCount"), "4");
  EXPECT_EQ(Get("AttrName", 3), "href");
  EXPECT_EQ(Get("AttrValue", 3), "Products(2)/Supplier");
  ASSERT_EQ(q.SetProperty("XPath", "../content/properties"), 0);
  EXPECT_EQ(Get("XElement"), "m:properties");
  EXPECT_EQ(Get("XPrefix"), "m");
  ASSERT_EQ(Get("XChildrenCount"), "5");
  EXPECT_EQ(Get("XChildName", 1), "d:Name");
  EXPECT_EQ(Get("XChildXText", 1), "Oak chair");
  EXPECT_EQ(Get("XChildPrefix", 1), "d");
  EXPECT_EQ(Get("XSubTree").rfind("<m:properties>", 0), 0u);

  EXPECT_EQ(q.SetProperty("XPath", "/entry"), 209);
  EXPECT_EQ(q.ErrorDescription(), "Top element does not match start of path.");
  EXPECT_EQ(q.SetProperty("XPath", "/feed/nothing"), 208);
  EXPECT_EQ(q.ErrorDescription(), "No such child.");
}

TEST_F(EntrySurface, MethodsReadWriteAndReset) {
  std::string value;
  ASSERT_EQ(q.GetEntryProperty("Price", value), 0);
  EXPECT_EQ(value, "349.00");
  ASSERT_EQ(q.SetEntryProperty("entry[3]/content/properties/Price", "199.00"), 0);
  ASSERT_EQ(q.GetEntryProperty("/feed/entry[3]/content/properties/Price", value), 0);
  EXPECT_EQ(value, "199.00");
  EXPECT_EQ(q.GetEntryProperty("properties/Price", value), 207);
  EXPECT_EQ(q.ErrorDescription(), "Invalid xPath, please check if xPath is correct.");

  ASSERT_EQ(q.Reset(), 0);
  EXPECT_EQ(q.RootKind(), "");
  EXPECT_EQ(Get("EntryCount"), "0");
  EXPECT_EQ(Get("ChannelTitle"), "");
  EXPECT_FALSE(q.HasXPath("/feed"));
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
  ASSERT_EQ(q.Config(std::string("ReadFile=") + QUILLON_SOURCE_DIR + "/examples/products-feed.xml"),
            0);
  EXPECT_EQ(log.titles,
            (std::vector<std::string>{"Walnut desk", "Oak chair", "Café table & two stools"}));
  q.SetEventHandler(nullptr);
  ASSERT_EQ(q.Config(std::string("ReadFile=") + QUILLON_SOURCE_DIR + "/examples/products-feed.xml"),
            0);
  EXPECT_EQ(log.titles.size(), 3u);
}

} // namespace
} // namespace quillon
