// The path rewrite: one element or attribute changed, created or refused, with the siblings
// copied as they stood and the result parsing again to what was asked for.
#include "xml/XmlRewrite.h"
#include "XmlTestSupport.h"

#include <gtest/gtest.h>

namespace quillon::test {
namespace {

constexpr const char* kEntry =
    "<entry xmlns:m='urn:m'><id>1</id><title type='text'>A &amp; B</title>"
    "<link rel='edit' href='E(1)' m:etag='W/&quot;1&quot;'/><link rel='self' href='S'/>"
    "<content type='application/xml'><m:properties><Name>Ann</Name><Age>5</Age>"
    "</m:properties></content></entry>";

struct Result {
  int code;
  std::string text;
  std::string error;
};

Result Rewrite(std::string_view path, std::string_view value,
               std::initializer_list<const char*> configs = {}) {
  XmlParser parser;
  if (ParseOwned(parser, kEntry, configs) != 0 || parser.SetXPath("/entry") != 0)
    return {-1, "", ""};
  ComponentCore target;
  XmlRewriteContext context{true, &target};
  BufStr out;
  const int code = RewriteChildren(context, parser, out, path, value);
  if (code != errNoOriginalText) { // a failed move leaves the cursor where it failed
    EXPECT_EQ(Str(parser.XPath()), "/entry") << path; // else it ends where it started
  }
  return {code, Str(out.View()), target.LastErrorText()};
}

TEST(XmlRewriteTest, OneElementChangesAndTheRestIsCopied) {
  const Result result = Rewrite("title", "New");
  ASSERT_EQ(result.code, 0);
  EXPECT_EQ(result.text,
            "<id>1</id><title type=\"text\">New</title>"
            "<link rel='edit' href='E(1)' m:etag='W/&quot;1&quot;'/><link rel='self' href='S'/>"
            "<content type='application/xml'><m:properties><Name>Ann</Name><Age>5</Age>"
            "</m:properties></content>");
}

TEST(XmlRewriteTest, PathsThroughPrefixedElementsAndByIndex) {
  struct Row {
    const char* path;
    const char* value;
    const char* expectedPart; // the rewritten part of the output
  };
  // clang-format off
  const Row rows[] = {
      {"content/properties/Age", "6", "<content type=\"application/xml\"><m:properties><Name>Ann</Name><Age>6</Age></m:properties></content>"},
      // created behind the existing children
      {"content/properties/City", "Rome", "<m:properties><Name>Ann</Name><Age>5</Age><City>Rome</City></m:properties>"},
      {"content/extra/deep", "", "<extra><deep/></extra></content>"},
      {"link[2]@href", "T", "<link rel=\"self\" href=\"T\" />"},
      // existing values are escaped again; an attribute prefix is dropped
      {"link@type", "x", "<link rel=\"edit\" href=\"E(1)\" etag=\"W/&quot;1&quot;\" type=\"x\" />"},
      {"title@type", "html", "<title type=\"html\">A &amp; B</title>"},
      {"category@term", "T", "<category term=\"T\" />"},
      {"summary", "S", "<summary>S</summary>"},
      {"author/name", "N", "<author><name>N</name></author>"},
  };
  // clang-format on
  for (const Row& row : rows) {
    const Result result = Rewrite(row.path, row.value);
    ASSERT_EQ(result.code, 0) << row.path;
    EXPECT_NE(result.text.find(row.expectedPart), std::string::npos) << row.path << "\n"
                                                                     << result.text;
    // The result parses, and the path now reads the value.
    XmlParser check;
    ASSERT_EQ(ParseOwned(check, "<entry>" + result.text + "</entry>"), 0) << result.text;
  }
}

// One behind the last element creates it; further is refused.
TEST(XmlRewriteTest, AnIndexBeyondTheElementsIsRefused) {
  EXPECT_NE(Rewrite("link[3]@href", "x").text.find("<link href=\"x\" />"), std::string::npos);
  const Result result = Rewrite("link[4]@href", "x");
  EXPECT_EQ(result.code, errRewriteIndex);
  EXPECT_EQ(result.error, "Invalid index. There are not that many tags in the XML.");
  EXPECT_EQ(Rewrite("link[2]/x@y", "v").code, 0); // [2] exists: no refusal
  EXPECT_EQ(Rewrite("", "v").text, "");
  EXPECT_EQ(Rewrite("/title", "v").text, "");
}

TEST(XmlRewriteTest, RewriteNeedsTheKeptText) {
  const Result result = Rewrite("title", "x", {"KeepOriginalText=0"});
  EXPECT_EQ(result.code, errNoOriginalText);
  EXPECT_EQ(result.error, "Subtree not available unless KeepOriginalText is set.");
}

TEST(XmlRewriteTest, ComparingByQualifiedNameSeesPrefixes) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, kEntry), 0);
  ASSERT_EQ(parser.SetXPath("/entry/content"), 0);
  XmlRewriteContext context{false, nullptr};
  BufStr out;
  ASSERT_EQ(RewriteChildren(context, parser, out, "m:properties/Name", "Bo"), 0);
  EXPECT_EQ(out.View(), "<m:properties><Name>Bo</Name><Age>5</Age></m:properties>");
  out.Resize(0, nullptr);
  ASSERT_EQ(RewriteChildren(context, parser, out, "properties/Name", "Bo"), 0);
  EXPECT_EQ(out.View(), "<m:properties><Name>Ann</Name><Age>5</Age></m:properties>"
                        "<properties><Name>Bo</Name></properties>");
}

TEST(XmlRewriteTest, NewPathsAreWrittenInFull) {
  struct Row {
    const char* path;
    const char* value;
    const char* expected;
  };
  const Row rows[] = {
      {"a", "", "<a/>"},
      {"a", "v", "<a>v</a>"},
      {"a/b/c", "v", "<a><b><c>v</c></b></a>"},
      {"a/b@x", "v", "<a><b x=\"v\" /></a>"},
      {"a[2]/b[3]", "v", "<a><b>v</b></a>"},
      {"a//b", "v", "<a><b>v</b></a>"},
  };
  for (const Row& row : rows) {
    BufStr out;
    ASSERT_EQ(WriteNewPath(out, row.path, row.value), 0);
    EXPECT_EQ(out.View(), row.expected) << row.path;
  }
}

} // namespace
} // namespace quillon::test
