// Real documents: paths with non-ASCII values and through inline feeds read what a person sees in
// the file. That every document parses, and what the readers take from each, is held by the
// golden reports of the OData tests (FeedCorpus).
#include "XmlTestSupport.h"
#include "support/Corpus.h"

#include <gtest/gtest.h>

namespace quillon::test {
namespace {

// Parses the document as the response reader does: tree, kept text, and "/" at once.
void ParseResponse(XmlParser& parser, const std::string& text) {
  ASSERT_EQ(ParseOwned(parser, text), 0) << parser.LastErrorText();
  ASSERT_EQ(parser.SetXPath("/"), 0);
}

TEST(XmlCorpusTest, SchemaWithCyrillicNamesAndInlineEntries) {
  QUILLON_REQUIRE_CORPUS();
  XmlParser parser;
  ParseResponse(parser, FileText(CorpusFile("atom/refScenario.edmx")));
  EXPECT_EQ(Str(parser.XElement()), "edmx:Edmx");
  ASSERT_EQ(parser.SetXPath("/Edmx/DataServices/Schema[2]"), 0);
  EXPECT_EQ(Str(parser.XPath()), "/edmx:Edmx/edmx:DataServices/Schema[2]");
  EXPECT_STREQ(parser.AttributeByName("Namespace"), "RefScenario2");
  ASSERT_EQ(parser.SetXPath("EntityType/Property[@Name=\xD0\xA1\xD0\xBE\xD0\xB4\xD0\xB5\xD1\x80"
                            "\xD0\xB6\xD0\xB0\xD0\xBD\xD0\xB8\xD0\xB5]"),
            0);
  EXPECT_STREQ(parser.AttributeByName("Type"), "Edm.String");

  ParseResponse(parser, FileText(CorpusFile("atom/Room_InlineEmployeesToTeam.xml")));
  EXPECT_EQ(parser.TextAt("/entry/link[2]/m:inline/feed/entry/title"), "Walter Winter");
  ASSERT_EQ(parser.SetXPath("/entry"), 0);
  EXPECT_STREQ(parser.AttributeByName("etag"), "W/\"1\"");
}

} // namespace
} // namespace quillon::test
