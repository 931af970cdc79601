// The tree's storage of texts: values and texts left in the kept text come out NUL-terminated
// and stay put while others are read, and the mappings in scope survive the SGML rule's closings.
#include "XmlTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace quillon::test {
namespace {

TEST(XmlTreeTest, KeptValuesAndTextsReadAsStableTerminatedStrings) {
  std::string document = "<r>";
  for (int i = 0; i < 400; ++i)
    document += "<e v='value " + std::to_string(i) + "' w=''>text " + std::to_string(i) + "</e>";
  document += "</r>";
  // In one piece, and in pieces that end inside values and texts.
  for (size_t piece : {document.size(), size_t{7}, size_t{1000}}) {
    XmlParser parser;
    parser.PrepareForDocument();
    for (size_t at = 0; at < document.size(); at += piece)
      ASSERT_EQ(parser.impl.Feed(std::string_view(document).substr(at, piece)), 0);
    std::vector<const char*> values, texts;
    for (int i = 0; i < 400; ++i) {
      ASSERT_EQ(parser.SetXPath("/r/[" + std::to_string(i + 1) + "]"), 0);
      values.push_back(parser.AttributeByName("v"));
      texts.push_back(parser.XText().data());
      ASSERT_NE(parser.AttributeByName("w"), nullptr) << "an empty value is still there";
      EXPECT_STREQ(parser.AttributeByName("w"), "");
    }
    for (int i = 0; i < 400; ++i) {
      EXPECT_STREQ(values[static_cast<size_t>(i)], ("value " + std::to_string(i)).c_str());
      EXPECT_STREQ(texts[static_cast<size_t>(i)], ("text " + std::to_string(i)).c_str());
      ASSERT_EQ(parser.SetXPath("/r/[" + std::to_string(i + 1) + "]"), 0);
      EXPECT_EQ(parser.AttributeByName("v"), values[static_cast<size_t>(i)]) << "copied once";
    }
  }
}

TEST(XmlTreeTest, MappingsInScopeSurviveImpliedClosings) {
  // br and img have no end tags: each is closed by the next markup, br after its text.
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "<p xmlns:a='urn:a'>x<br>b<img xmlns:d='urn:d' d:s='1'>c</p>",
                       {"AddSGMLTag=p"}),
            0);
  ASSERT_EQ(parser.SetXPath("/p/img"), 0);
  EXPECT_EQ(Mappings(parser), "a=urn:a d=urn:d");
  EXPECT_EQ(Str(parser.AttrNamespace(0)), "urn:d");
  ASSERT_EQ(parser.SetXPath("/p/br"), 0);
  EXPECT_EQ(Mappings(parser), "a=urn:a");
  EXPECT_EQ(Str(parser.XText()), "b");
}

// A document cut short: its open elements are reached only while the owner asks for them, each
// as the last child of its open parent.
TEST(XmlTreeTest, OpenChildrenAreReachedOnlyOnRequest) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "<a><b>1</b><c><d>2</d><e x='y'>cut"), 0);
  EXPECT_EQ(TextOf(parser, "/a/c"), "<fail 208>");
  parser.impl.tree.ReachOpenChildren(true);
  ASSERT_EQ(parser.SetXPath("/a/c/[last()]"), 0);
  EXPECT_EQ(Str(parser.XElement()), "e");
  EXPECT_EQ(TextOf(parser, "/a/c/d"), "2");
  ASSERT_EQ(parser.SetXPath("/a"), 0);
  EXPECT_EQ(parser.XChildrenCount(), 2);
  parser.impl.tree.ReachOpenChildren(false);
  EXPECT_EQ(parser.XChildrenCount(), 1);
}

} // namespace
} // namespace quillon::test
