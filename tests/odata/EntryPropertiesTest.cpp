// One entry read and changed: by path in its raw text, by index in its cached records, and the
// rule that ties the two (a path edit re-reads the text; an index edit lives in the records).
#include "ODataTestSupport.h"

#include "frame/Errors.h"
#include "xml/XmlErrors.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quillon::test {
namespace {

const std::string kEntry = R"~(<entry><id>E1</id><title type="text">Desk</title>
  <author><name>Ann</name><email>ann@example.com</email></author>
  <category term="Shop.Product" scheme="s"/>
  <link rel="edit" href="P(1)"/>
  <link rel="http://schemas.microsoft.com/ado/2007/08/dataservices/related/S" href="P(1)/S"/>
  <content type="application/xml"><m:properties><d:Name>Walnut</d:Name>
    <d:Size><d:Width m:type="Edm.Int32">140</d:Width></d:Size></m:properties></content></entry>)~";

class EntryProperties : public ::testing::Test {
protected:
  QuillonCore core;
  void SetUp() override {
    ASSERT_EQ(
        Dispatch(core, Feed(kEntry + "<entry><id>E2</id><content><m:properties>"
                                     "<d:Name>Oak</d:Name></m:properties></content></entry>")),
        0);
  }
  EntryRecord& Entry(int i) { return *core.entries.At(i); }
  std::string Get(std::string_view xpath, int expected = 0) {
    BufStr value;
    EXPECT_EQ(core.GetEntryProperty(xpath, value), expected) << xpath;
    return std::string(value.View());
  }
};

TEST_F(EntryProperties, ValueReadsTextsAndAttributesByPath) {
  const std::pair<const char*, const char*> rows[] = {
      {"/entry/id", "E1"},
      {"/entry/title@type", "text"},
      {"content/properties/Name", "Walnut"},
      {"content/properties/Size/Width", "140"},
      {"content/properties/Size/Width@type", "Edm.Int32"},
      {"author/name", "Ann"},
      {"/entry/summary", "<null>"},
      {"/entry/category@label", "<null>"},
      {"/wrong/id", "<null>"},
  };
  for (const auto& [path, expected] : rows)
    EXPECT_EQ(Text(Entry(0).Value(path)), expected) << path;
}

TEST_F(EntryProperties, PathsNameTheirEntry) {
  EXPECT_EQ(Get("Name"), "Walnut");                                // the current entry
  EXPECT_EQ(Get("/feed/ENTRY[2]/content/properties/Name"), "Oak"); // the entry part ignores case
  EXPECT_EQ(Get("/feed/entry/content/properties/Name"), "Walnut");
  EXPECT_EQ(Get("NoSuchName"), ""); // exists nowhere: empty, and no failure
  // A '/' without an entry, even below a bare name; an entry that is not there; a bad step.
  for (const char* path : {"Size/Width", "entry[99]/properties/x", "entry[2/properties/x", ""})
    Get(path, errXPath);
  EXPECT_STREQ(core.LastErrorText(), "Invalid xPath, please check if xPath is correct.");
  ASSERT_EQ(core.SetEntryIndex(1), 0);
  EXPECT_EQ(Get("Name"), "Oak");
  EXPECT_EQ(Get("entry[1]/content/properties/Name"), "Walnut");
}

TEST_F(EntryProperties, PathWritesRewriteTheTextAndKeepTheLinks) {
  ASSERT_EQ(Entry(0).PropertyCount(), 2);
  ASSERT_EQ(core.SetEntryProperty("Name", "Oak & <Ash> \"x\""), 0);
  EXPECT_EQ(Get("Name"), "Oak & <Ash> \"x\""); // escaped on the way in, decoded on the way out
  ASSERT_EQ(core.SetEntryProperty("Colour", "red"), 0);
  ASSERT_EQ(Entry(0).PropertyCount(), 3); // created under properties
  EXPECT_EQ(Join(Entry(0).Properties()->At(2)->name, Entry(0).LinkCount(), Entry(0).EditHref()),
            "Colour|1|P(1)");

  // A path edit re-reads the text, so an earlier index edit is gone.
  ASSERT_EQ(Entry(0).PropertyCount(), 3);
  Entry(0).PropertiesForEdit()->At(0)->value.Assign("index edit");
  ASSERT_EQ(core.SetEntryProperty("entry[2]/content/properties/Name", "Pine"), 0);
  ASSERT_EQ(core.SetEntryProperty("Colour", "blue"), 0);
  ASSERT_EQ(Entry(0).PropertyCount(), 3);
  EXPECT_EQ(Join(Entry(0).Properties()->At(0)->value, Get("entry[2]/content/properties/Name")),
            "Oak & <Ash> \"x\"|Pine");
  // Never an emptied entry.
  EXPECT_EQ(Join(core.SetEntryProperty("properties/x", "v"), Entry(0).SetValue("/entry/", "v"),
                 Entry(0).SetValue("link[5]@href", "v")),
            Join(errXPath, errXPath, errRewriteIndex));
  EXPECT_EQ(Text(Entry(0).Value("/entry/id")), "E1");
}

TEST_F(EntryProperties, AuthorByNameAndEmailFormat) {
  EntryRecord& entry = Entry(0);
  EXPECT_EQ(Text(entry.Author(0)) + "|" + Text(entry.Author(1)) + "|" + Text(entry.Author(2)) +
                "|" + Text(entry.Author(3)),
            "Ann <ann@example.com>|Ann|ann@example.com|");
  // The format, the text, and Author(0) afterwards.
  const std::tuple<int, const char*, const char*> rows[] = {
      {0, "Bob <bob@b>", "Bob <bob@b>"},  {0, "Carl", "Carl"}, // no " <": all name, no email
      {0, " <only@mail>", "<only@mail>"}, {2, "x@y", "<x@y>"}, {1, "Dan", "Dan <x@y>"},
      {7, "ignored", "Dan <x@y>"},
  };
  for (const auto& [format, text, readBack] : rows) {
    ASSERT_EQ(entry.SetAuthor(text, format), 0) << text;
    EXPECT_EQ(Text(entry.Author(0)), readBack) << text;
  }
}

TEST_F(EntryProperties, IndexEditsLiveInTheRecords) {
  // That edits stay while another entry is read is EntrySurfaceTest's. A count set before any read
  // is lost to the first scan.
  Entry(1).Release();
  Entry(1).PropertiesForEdit()->Resize(5);
  EXPECT_EQ(Entry(1).PropertyCount(), 1);

  // The scratch entry: read the count once, then size it and fill it by index.
  ASSERT_EQ(core.SetEntryIndex(-1), 0);
  EntryRecord& scratch = core.CurrentEntry();
  EXPECT_EQ(scratch.PropertyCount(), 0);
  ASSERT_EQ(scratch.PropertiesForEdit()->Resize(2), 0);
  EXPECT_EQ(scratch.PropertyCount(), 2);
}

TEST_F(EntryProperties, EntryXmlReplacesTheWholeText) {
  EntryRecord& entry = Entry(0);
  EXPECT_EQ(Text(entry.Xml()), "<entry >" + std::string(entry.RawText()) + "</entry>");
  EXPECT_NE(entry.RawText().find("<id>E1</id>"), std::string_view::npos);
  EXPECT_EQ(Text(core.scratchEntry.Xml()), ""); // no text, no entry

  ASSERT_EQ(entry.SetXml("<other><id>x</id></other>"), errTopElement);
  EXPECT_EQ(Join(entry.ErrorText(), entry.Value("/entry/id")), // the text unchanged
            "Top element does not match start of path.|E1");

  ASSERT_EQ(entry.SetXml(R"~(<entry xmlns:m="urn:m"><id>N</id><link rel="edit" href="N(1)"/>
      <m:properties><Name>New</Name></m:properties></entry>)~"),
            0);
  ASSERT_EQ(entry.PropertyCount(), 1);
  // Links are read again.
  EXPECT_EQ(Join(entry.Value("/entry/id"), entry.EditHref(), entry.Properties()->At(0)->value),
            "N|N(1)|New");
}

TEST_F(EntryProperties, AnEntryThatDoesNotParseReadsEmpty) {
  EntryRecord& entry = Entry(0);
  ASSERT_EQ(entry.SetRawXml("<id>x</id></oops>", true), 0);
  EXPECT_EQ(entry.EnsureParsed(), errUnbalancedTag);
  EXPECT_EQ(entry.ErrorText(), "Unbalanced element tag: oops");
  EXPECT_EQ(Join(entry.Value("/entry/id"), entry.ETag(), entry.PropertyCount(), entry.LinkCount()),
            "<null>|<null>|0|0");
  EXPECT_EQ(core.SetEntryProperty("Name", "x"), errXPath); // no property to place it by
  EXPECT_EQ(core.SetEntryProperty("entry[1]/content/properties/Name", "x"), errUnbalancedTag);
  EXPECT_STREQ(core.LastErrorText(), "Unbalanced element tag: oops");
}

} // namespace
} // namespace quillon::test
