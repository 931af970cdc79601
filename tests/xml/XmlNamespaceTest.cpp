// Prefixes and the element stack: late resolution, scoping, the tolerance flags, the limits of
// the tables, the SGML closing rule, and the checked accessors with their codes.
#include "XmlTestSupport.h"

#include <gtest/gtest.h>

#include <map>

namespace quillon::test {
namespace {

// "prefix:local{namespace}" of the element at `path`.
std::string NameAt(XmlParser& parser, std::string_view path) {
  if (int rc = parser.SetXPath(path); rc != 0) return "<fail " + std::to_string(rc) + ">";
  return Str(parser.XPrefix()) + ":" + Str(parser.LocalName()) + "{" + Str(parser.XNamespace()) +
         "}";
}

std::string AttributeAt(XmlParser& parser, std::string_view path, int i) {
  if (parser.SetXPath(path) != 0 || parser.CheckAttrIndex(i) != 0) return "<fail>";
  return AttrText(parser, i);
}

TEST(XmlNamespaceTest, PrefixesResolveWhenTheWholeTagHasBeenRead) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser,
                       "<r xmlns:a='urn:r' xmlns='urn:d'>"
                       "<a:e a:x='1' xmlns:a='urn:e' y='2'/>"   // own declaration, after its use
                       "<t xmlns:p='u1' p:x='1' xmlns:p='u2'/>" // declared twice: the last wins
                       "<a:after/>"                             // the outer mapping is back
                       "<c xmlns=''><d/></c>"                   // "" shadows the default
                       "<q xmlnsabc='urn:abc'><abc:z/></q>"     // "xmlnsabc" declares abc
                       "<w xmlns:p=''><p:x/></w>"               // empty URI: resolves to none
                       "<x xml:base='http://h/'/>"              // xml needs no declaration
                       "</r>"),
            0)
      << parser.LastErrorText();
  EXPECT_EQ(NameAt(parser, "/r"), ":r{urn:d}");
  EXPECT_EQ(NameAt(parser, "/r/a:e"), "a:e{urn:e}");
  EXPECT_EQ(AttributeAt(parser, "/r/a:e", 0), "a:x{urn:e}=1");
  EXPECT_EQ(AttributeAt(parser, "/r/a:e", 1), ":y{}=2"); // no default namespace for attributes
  EXPECT_EQ(AttributeAt(parser, "/r/t", 0), "p:x{u2}=1");
  EXPECT_EQ(NameAt(parser, "/r/a:after"), "a:after{urn:r}");
  EXPECT_EQ(NameAt(parser, "/r/c/d"), ":d{}");
  EXPECT_EQ(NameAt(parser, "/r/q/abc:z"), "abc:z{urn:abc}");
  EXPECT_EQ(NameAt(parser, "/r/w/p:x"), "p:x{}");
  EXPECT_EQ(Str(parser.XElement()), "p:x");
  EXPECT_EQ(AttributeAt(parser, "/r/x", 0),
            "xml:base{http://www.w3.org/XML/1998/namespace}=http://h/");
}

TEST(XmlNamespaceTest, MappingsInScopeListOutermostFirst) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "<r xmlns='urn:r' xmlns:m='urn:m'><e xmlns:m='urn:m2' "
                               "xmlns:d='urn:d'><f/></e><g/></r>"),
            0);
  const auto at = [&](const char* path) {
    return parser.SetXPath(path) == 0 ? Mappings(parser) : "<fail>";
  };
  EXPECT_EQ(at("/r"), "=urn:r m=urn:m");
  EXPECT_EQ(at("/r/e"), "=urn:r m=urn:m m=urn:m2 d=urn:d");
  EXPECT_EQ(at("/r/e/f"), "=urn:r m=urn:m m=urn:m2 d=urn:d");
  EXPECT_EQ(at("/r/g"), "=urn:r m=urn:m");
}

TEST(XmlNamespaceTest, UnknownPrefixesFailOrAreToleratedByFlag) {
  XmlParser parser;
  EXPECT_EQ(ParseOwned(parser, "<a:b/>", {"IgnoreBadElementPrefixes=false"}),
            errUnknownElementPrefix);
  EXPECT_STREQ(parser.LastErrorText(), "Unknown element prefix (can't find namespace): a");
  EXPECT_EQ(ParseOwned(parser, "<b a:x='1'/>", {"ignorebadattributeprefixes=no"}),
            errUnknownAttrPrefix);
  EXPECT_STREQ(parser.LastErrorText(), "Unknown attribute prefix (can't find namespace): a");

  // The owners' flags: the whole name becomes the local name, with no prefix or namespace.
  RecordingSink sink;
  ASSERT_EQ(ParseOwned(parser, "<r><a:b m:t='x'>v</a:b></r>", {}, &sink), 0);
  EXPECT_EQ(NameAt(parser, "/r/a:b"), ":a:b{}");
  EXPECT_EQ(Str(parser.XElement()), "a:b");
  EXPECT_EQ(AttributeAt(parser, "/r/a:b", 0), ":m:t{}=x");
  // The element resolves before its callback, its attributes when the tree takes them.
  EXPECT_EQ(sink.events[1], "error 202 Unknown element prefix (can't find namespace): a");
  EXPECT_EQ(sink.events[2], "start  a:b a:b");
  EXPECT_EQ(sink.events[3], "error 203 Unknown attribute prefix (can't find namespace): m");
  EXPECT_EQ(ParseOwned(parser, "<r><a:b></b></r>"), errUnbalancedTag); // the end tag must match

  // Without IncludeUnknownPrefixes the prefix is dropped from the local name.
  ASSERT_EQ(ParseOwned(parser, "<r><a:b m:t='x'/></r>", {"IncludeUnknownPrefixes=false"}), 0);
  EXPECT_EQ(NameAt(parser, "/r/b"), ":b{}");
  EXPECT_EQ(AttributeAt(parser, "/r/b", 0), ":t{}=x");
}

TEST(XmlNamespaceTest, TablesHoldAtMost256Entries) {
  const auto nested = [](int depth) { return Repeat(depth, "<e>") + Repeat(depth, "</e>"); };
  XmlParser parser;
  EXPECT_EQ(ParseOwned(parser, nested(256)), 0);
  EXPECT_EQ(ParseOwned(parser, nested(257)), errOutOfMemory);
  EXPECT_EQ(ParseOwned(parser, "<e" + NumberedAttributes(256) + " xmlns:p='u' xmlns='v'/>"), 0);
  ASSERT_EQ(parser.SetXPath("/e"), 0);
  EXPECT_EQ(parser.AttrCount(), 256);
  EXPECT_EQ(Str(parser.AttrValue(255)), "255");
  EXPECT_EQ(ParseOwned(parser, "<e" + NumberedAttributes(257) + "/>"), errOutOfMemory);
  const auto mapping = [](int i) { return " xmlns:p" + std::to_string(i) + "='u'"; };
  EXPECT_EQ(ParseOwned(parser, "<e" + Repeat(257, mapping) + "/>"), errOutOfMemory);
}

TEST(XmlNamespaceTest, AttributeByNameComparesLocalNamesWithoutCase) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "<r xmlns:ns='u'><a name='1'/><b ns:NAME='2' name='3'/><c/></r>"),
            0);
  ASSERT_EQ(parser.SetXPath("/r/a"), 0);
  EXPECT_STREQ(parser.AttributeByName("Name"), "1");
  ASSERT_EQ(parser.SetXPath("/r/b"), 0);
  EXPECT_STREQ(parser.AttributeByName("Name"), "2");
  ASSERT_EQ(parser.SetXPath("/r/c"), 0);
  EXPECT_EQ(parser.AttributeByName("Name"), nullptr);

  std::string_view value = "stale";
  EXPECT_EQ(parser.AttributeValue("Name", &value), 0);
  EXPECT_EQ(value, "");
  parser.ConfigText("ErrorOnEmptyAttr=true", nullptr);
  EXPECT_EQ(parser.AttributeValue("Name", &value), errNoAttribute);
  EXPECT_STREQ(parser.LastErrorText(), "Attribute does not exist.");
}

TEST(XmlNamespaceTest, CheckedAccessorsGiveTheirCodesAndTexts) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "<r><a x='1' xmlns:p='u'/><b/></r>"), 0);
  struct Row {
    const char* path;
    int index;
    int attrCode;
    int namespaceCode;
    int childCode;
  };
  const Row rows[] = {
      {"/r/a", 0, 0, 0, errNoElements},
      {"/r/a", 1, errAttrIndex, errNamespaceIndex, errNoElements},
      {"/r/b", 0, errNoAttributes, errNoNamespaces, errNoElements},
      {"/r", -1, errNoAttributes, errNoNamespaces, errElementIndex},
      {"/r", 1, errNoAttributes, errNoNamespaces, 0},
      {"/r", 2, errNoAttributes, errNoNamespaces, errElementIndex},
  };
  // clang-format off
  const std::map<int, std::string> texts = {
      {0, ""}, {errNoAttributes, "No attributes available."}, {errAttrIndex, "Invalid attribute index."},
      {errNoNamespaces, "No namespaces available."}, {errNamespaceIndex, "Invalid namespace index."},
      {errNoElements, "No elements available."}, {errElementIndex, "Invalid element index."}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.path) + " " + std::to_string(row.index));
    ASSERT_EQ(parser.SetXPath(row.path), 0);
    std::string_view out;
    parser.SetLastErrorText("");
    EXPECT_EQ(parser.CheckAttrIndex(row.index), row.attrCode);
    EXPECT_EQ(parser.LastErrorText(), texts.at(row.attrCode));
    parser.SetLastErrorText("");
    EXPECT_EQ(parser.CheckNamespaceIndex(row.index), row.namespaceCode);
    EXPECT_EQ(parser.LastErrorText(), texts.at(row.namespaceCode));
    parser.SetLastErrorText("");
    EXPECT_EQ(parser.XChildName(row.index, &out), row.childCode);
    EXPECT_EQ(parser.LastErrorText(), texts.at(row.childCode));
  }
}

TEST(XmlNamespaceTest, StartElementReceiverReadsTheLiveTables) {
  XmlParser parser;
  RecordingSink sink;
  sink.parser = &parser;
  ASSERT_EQ(ParseOwned(parser, "<r p:a='1' xml:lang='en' xmlns:p='urn:p' b='2'/>", {}, &sink), 0);
  EXPECT_EQ(sink.events[1],
            "start  r r empty p:a{urn:p}=1 xml:lang{http://www.w3.org/XML/1998/namespace}=en "
            ":b{}=2");
  EXPECT_EQ(parser.AttrCount(), 3); // after the callback: the tree
}

// An element whose name is not in the list is closed by the markup that follows it, so the
// text in front of that markup is still its own.
TEST(XmlNamespaceTest, SgmlRuleClosesElementsWithoutEndTags) {
  XmlParser parser;
  RecordingSink sink;
  const char* document = "<p>a<br>b<img src=x><ul><li>one</ul></p>";
  ASSERT_EQ(ParseOwned(parser, document, {"AddSGMLTag=p", "AddSGMLTag=ul"}, &sink), 0);
  EXPECT_EQ(parser.OriginalText(), "<p>a<br>b</br><img src=x></img><ul><li>one</li></ul></p>");
  EXPECT_EQ(DumpTree(parser, true),
            "<p {} [a] kept(<p>a<br>b</br><img src=x></img><ul><li>one</li></ul></p>|"
            "a<br>b</br><img src=x></img><ul><li>one</li></ul>)\n"
            "<br {} [b] kept(<br>b</br>|b)\n"
            "<img {} :src{}=x [] kept(<img src=x></img>|)\n"
            "<ul {} [] kept(<ul><li>one</li></ul>|<li>one</li>)\n"
            "<li {} [one] kept(<li>one</li>|one)\n");
  // clang-format off
  const std::vector<std::string> expected = {"start  p p", "chars a|a", "start  br br", "chars b|b", "end  br br", "start  img img", "end  img img",
      "start  ul ul", "start  li li", "chars one|one", "end  li li", "end  ul ul", "end  p p"};
  // clang-format on
  EXPECT_EQ(sink.events, expected);

  // Without kept text (CacheContent is its other name) the closing is the same, and nothing is
  // rewritten.
  ASSERT_EQ(ParseOwned(parser, "<p><br><i>x</i></p>", {"CacheContent=0", "AddSGMLTag=i"}), 0);
  EXPECT_EQ(parser.OriginalText(), "");
  EXPECT_EQ(TextOf(parser, "/p/i"), "x");
}

} // namespace
} // namespace quillon::test
