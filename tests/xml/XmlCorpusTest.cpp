// Real documents: every one parses, and walks over them read what a person sees in the file.
// An entry's kept content, parsed again on its own as the feed reader does, reads the same.
#include "XmlTestSupport.h"
#include "support/Corpus.h"
#include "xml/XmlParser.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <fstream>
#include <sstream>

namespace quillon::test {
namespace {

std::string ReadCorpus(const std::string& name) {
  std::ifstream file(CorpusFile(name), std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// Parses the document as the response reader does: tree, kept text, and "/" at once.
void ParseResponse(XmlParser& parser, const std::string& text) {
  ASSERT_EQ(ParseOwned(parser, text), 0) << parser.LastErrorText();
  ASSERT_EQ(parser.SetXPath("/"), 0);
}

TEST(XmlCorpusTest, EveryDocumentParses) {
  QUILLON_REQUIRE_CORPUS();
  DIR* dir = opendir((CorpusDir() + "/atom").c_str());
  ASSERT_NE(dir, nullptr);
  int parsed = 0;
  while (dirent* item = readdir(dir)) {
    const std::string name = item->d_name;
    if (!name.ends_with(".xml") && !name.ends_with(".edmx")) continue;
    XmlParser parser;
    ParseResponse(parser, ReadCorpus("atom/" + name));
    EXPECT_FALSE(parser.XElement().empty()) << name;
    ++parsed;
  }
  closedir(dir);
  EXPECT_GE(parsed, 30);
}

TEST(XmlCorpusTest, FeedFieldsReadAsWritten) {
  QUILLON_REQUIRE_CORPUS();
  XmlParser parser;
  ParseResponse(parser, ReadCorpus("atom/feed_employees.xml"));
  EXPECT_EQ(Str(parser.XElement()), "feed");
  EXPECT_EQ(Str(parser.XNamespace()), "http://www.w3.org/2005/Atom");
  EXPECT_EQ(parser.TextAt("/feed/title"), "Employees");
  EXPECT_EQ(parser.TextAt("/feed/entry[1]/title"), "Walter Winter");
  EXPECT_EQ(parser.TextAt("/feed/entry[2]/title"), "Frederic Fall");
  EXPECT_EQ(parser.TextAt("/feed/entry/m:properties/d:Location/d:City/d:CityName"), "Heidelberg");
  EXPECT_EQ(parser.TextAt("/feed/entry/m:properties/Age"), "52"); // any prefix matches
  ASSERT_EQ(parser.SetXPath("/feed/entry/link[@rel=edit-media]"), 0);
  EXPECT_STREQ(parser.AttributeByName("href"), "Employees('1')/$value");
  ASSERT_EQ(parser.SetXPath("/feed"), 0);
  EXPECT_EQ(Str(parser.AttrNamespace(0)), "http://www.w3.org/XML/1998/namespace"); // xml:base

  ParseResponse(parser, ReadCorpus("atom/ProductsFeed.xml"));
  ASSERT_EQ(parser.SetXPath("/feed/entry[2]/content/m:properties/d:DiscontinuedDate"), 0);
  EXPECT_STREQ(parser.AttributeByName("null"), "true");
  EXPECT_EQ(Str(parser.XText()), "");
  EXPECT_EQ(parser.TextAt("/feed/entry[2]/title"), "Milk");
}

TEST(XmlCorpusTest, LargeFeedWalkedByIndexCapturesEachEntry) {
  QUILLON_REQUIRE_CORPUS();
  XmlParser feed;
  ParseResponse(feed, ReadCorpus("atom/LargeEmployeeFeed.xml"));
  ASSERT_EQ(feed.SetXPath("/feed"), 0);
  const int children = feed.XChildrenCount();
  int entries = 0;
  for (int i = 1; i <= children; ++i) {
    ASSERT_EQ(feed.SetXPath("/feed/[" + std::to_string(i) + "]"), 0);
    if (feed.LocalName() != "entry") continue;
    ++entries;
    // Capture as the feed reader does; these entries declare no namespaces of their own.
    std::string_view contents;
    ASSERT_EQ(feed.XContents(&contents), 0);
    const std::string title = Str(feed.TextAt("/feed/[" + std::to_string(i) + "]/title"));
    XmlParser entry;
    ASSERT_EQ(ParseOwned(entry, "<entry >" + Str(contents) + "</entry>"), 0);
    EXPECT_EQ(entry.TextAt("/entry/title"), title) << i;
    // m: is declared on the feed, so in the entry's own document it stays part of the name.
    EXPECT_TRUE(entry.HasXPath("/entry/m:properties/d:EmployeeId")) << i;
    EXPECT_FALSE(entry.HasXPath("/entry/properties")) << i;
  }
  EXPECT_EQ(entries, 432);
}

TEST(XmlCorpusTest, SchemaWithCyrillicNamesAndInlineEntries) {
  QUILLON_REQUIRE_CORPUS();
  XmlParser parser;
  ParseResponse(parser, ReadCorpus("atom/refScenario.edmx"));
  EXPECT_EQ(Str(parser.XElement()), "edmx:Edmx");
  ASSERT_EQ(parser.SetXPath("/Edmx/DataServices/Schema[2]"), 0);
  EXPECT_EQ(Str(parser.XPath()), "/edmx:Edmx/edmx:DataServices/Schema[2]");
  EXPECT_STREQ(parser.AttributeByName("Namespace"), "RefScenario2");
  ASSERT_EQ(parser.SetXPath("EntityType/Property[@Name=\xD0\xA1\xD0\xBE\xD0\xB4\xD0\xB5\xD1\x80"
                            "\xD0\xB6\xD0\xB0\xD0\xBD\xD0\xB8\xD0\xB5]"),
            0);
  EXPECT_STREQ(parser.AttributeByName("Type"), "Edm.String");

  ParseResponse(parser, ReadCorpus("atom/Room_InlineEmployeesToTeam.xml"));
  EXPECT_EQ(parser.TextAt("/entry/link[2]/m:inline/feed/entry/title"), "Walter Winter");
  ASSERT_EQ(parser.SetXPath("/entry"), 0);
  EXPECT_STREQ(parser.AttributeByName("etag"), "W/\"1\"");
}

} // namespace
} // namespace quillon::test
