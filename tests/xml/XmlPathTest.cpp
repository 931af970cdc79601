// The tree cursor: the path dialect with its codes, what a failing walk keeps, the path text
// that leads back, HasXPath and TextAt, the kept text of an element, and the child accessors.
#include "XmlTestSupport.h"
#include "frame/Memory.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

namespace quillon::test {
namespace {

constexpr const char* kDocument = "<x:r xmlns:x='urn:x' xmlns:y='urn:x'>"
                                  "<a n='1'>first</a><a n='2' t='u v'>second<i/>half</a><b/>"
                                  "<x:p>one</x:p><y:p>two</y:p><e/>"
                                  "<s><![CDATA[ c ]]>t</s>"
                                  "</x:r>";

class XmlPathTest : public ::testing::Test {
protected:
  void SetUp() override { ASSERT_EQ(ParseOwned(parser, kDocument), 0); }
  // "code element xpath" after walking `path`.
  std::string Walk(std::string_view path) {
    parser.SetLastErrorText("");
    const int rc = parser.SetXPath(path);
    return std::to_string(rc) + " " + Str(parser.XElement()) + " " + Str(parser.XPath());
  }
  XmlParser parser;
};

// A walk selects one element and writes a path back, or fails keeping the steps before.
TEST_F(XmlPathTest, StepsSelectOneElementOrFailKeepingTheStepsBefore) {
  struct Row {
    const char* path;
    const char* expected;  // code, element and path text where the walk ended
    const char* text = ""; // the failure text, cleared before each walk
  };
  const Row rows[] = {
      {"/", "0 x:r /x:r"},
      {"/x:r", "0 x:r /x:r"},
      {"/r", "0 x:r /x:r"},      // the root by its local name,
      {"/urn:xr", "0 x:r /x:r"}, // or by namespace and local name
      {"/[1]", "0 x:r /x:r"},
      {"/[LAST()]", "0 x:r /x:r"},
      {"/r[1]/a", "0 a /x:r/a"},
      {"/r//a", "0 a /x:r/a"},
      {"/r/[3]", "0 b /x:r/[3]"},
      {"/r/a[2]", "0 a /x:r/a[2]"},
      {"/r/a[@n=2]", "0 a /x:r/a"}, // an attribute test writes only the name
      {"/r/a[@n='2']/i", "0 i /x:r/a/i"},
      {"/r/a[@t=\"u v\"]", "0 a /x:r/a"},
      {"/r/a[@t]", "0 a /x:r/a"},
      {"/r/[last()]", "0 s /x:r/[7]"},
      {"/r/[last()-6]", "0 a /x:r/[1]"},
      {"/r/p", "0 x:p /x:r/x:p"},            // a bare name matches any prefix
      {"/r/y:p", "0 y:p /x:r/y:p"},          // a prefix matches as written
      {"/r/urn:xp[2]", "0 x:p /x:r/x:p[2]"}, // namespace and local name: the first, at once
      {"/r/a/../b", "0 b /x:r/b"},
      {"/r/a[2]/i/../..", "0 x:r /x:r"},
      {"/r/a/..//r/b", "0 b /x:r/b"}, // a '/' behind "../" starts over at the root
      {"/r/b/", "0 b /x:r/b"},
      {"/wrong", "209 x:r /", "Top element does not match start of path."},
      {"/r[2]", "207 x:r /", "Invalid XPath."},
      {"/[2]", "207 x:r /", "Invalid XPath."},
      {"//a", "207 x:r /", "Invalid XPath."},
      {"/r/a/zz", "208 a /x:r/a", "No such child."},
      {"/r/a[0]", "208 x:r /x:r", "No such child."},
      {"/r/a[3]", "208 x:r /x:r", "No such child."},
      {"/r/x:a", "208 x:r /x:r", "No such child."}, // a prefix the document does not use there
      {"/r/[8]", "207 x:r /x:r", "Invalid XPath."},
      {"/r/[0]", "207 x:r /x:r", "Invalid XPath."},
      {"/r/[last()-7]", "207 x:r /x:r", "Invalid XPath."},
      {"/r/[last()+1]", "207 x:r /x:r", "Invalid XPath."},
      {"/r/b/[1]", "207 b /x:r/b", "Invalid XPath."}, // self-closed: no children
      {"/r/b/[last()]", "207 b /x:r/b", "Invalid XPath."},
      {"/r/..", "208 x:r /x:r", "No such child."},
      {"/r/a/../..", "208 x:r /x:r", "No such child."},
      {"/r/.", "207 x:r /x:r", "Invalid XPath."},
      {"/r/@n", "207 x:r /x:r", "Invalid XPath."},
      {"/r/a[1", "207 x:r /x:r", "Invalid XPath."},
      {"/r/a[x]", "207 x:r /x:r", "Invalid XPath."},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Walk(row.path), row.expected) << row.path;
    EXPECT_STREQ(parser.LastErrorText(), row.text) << row.path;
  }
}

TEST_F(XmlPathTest, RecordOffsetsRestoreACursor) {
  ASSERT_EQ(parser.SetXPath("/r/a[2]/i"), 0);
  const std::string saved = "*" + std::to_string(parser.CursorOffset());
  ASSERT_EQ(parser.SetXPath("/r/b"), 0);
  EXPECT_EQ(Walk(saved), "0 i /x:r/b"); // the path text is not touched
  EXPECT_EQ(Walk("*0"), "0 x:r /x:r/b");
  EXPECT_EQ(Walk("*99999999999"), "0 x:r /x:r/b"); // beyond every record: nothing changes
  EXPECT_EQ(parser.SetXPath("*" + std::to_string(parser.CursorOffset() + 4)), errXPath);
}

TEST_F(XmlPathTest, EveryElementIsReachedAgainByItsPathText) {
  // Walk the whole tree by "[i]" and check that each path text leads back to the same record.
  std::vector<std::pair<uint32_t, std::string>> seen;
  std::function<void()> visit = [&] {
    seen.emplace_back(parser.CursorOffset(), Str(parser.XPath()));
    for (int i = 1; i <= parser.XChildrenCount(); ++i) {
      ASSERT_EQ(parser.SetXPath("[" + std::to_string(i) + "]"), 0);
      visit();
      ASSERT_EQ(parser.SetXPath(".."), 0);
    }
  };
  ASSERT_EQ(parser.SetXPath("/"), 0);
  visit();
  EXPECT_EQ(seen.size(), 9u);
  for (const auto& [offset, path] : seen) {
    ASSERT_EQ(parser.SetXPath(path), 0) << path;
    EXPECT_EQ(parser.CursorOffset(), offset) << path;
  }
}

// The parent's local name and the child accessors, which do not move the cursor.
TEST_F(XmlPathTest, ParentAndChildAccessors) {
  ASSERT_EQ(parser.SetXPath("/r/a[2]"), 0);
  EXPECT_EQ(Str(parser.XParent()), "r");
  ASSERT_EQ(parser.SetXPath("/"), 0);
  EXPECT_EQ(Str(parser.XParent()), "");
  std::string_view name, ns, prefix, text;
  ASSERT_EQ(parser.XChildName(3, &name) | parser.XChildNamespace(4, &ns) |
                parser.XChildPrefix(4, &prefix) | parser.XChildXText(1, &text),
            0);
  EXPECT_EQ(Str(name) + " " + Str(ns) + " " + Str(prefix) + " " + Str(text),
            "x:p urn:x y secondhalf");
  EXPECT_EQ(Str(parser.XPath()), "/x:r");
  EXPECT_EQ(Str(parser.XElement()), "x:r");
}

TEST_F(XmlPathTest, KeptTextOfAnElementAndOfItsContent) {
  std::string_view out, contents;
  for (const auto& [path, subtree, inner] :
       {std::tuple{"/r/a[2]", "<a n='2' t='u v'>second<i/>half</a>", "second<i/>half"},
        std::tuple{"/r/b", "<b/>", ""}}) {
    ASSERT_EQ(parser.SetXPath(path), 0);
    ASSERT_EQ(parser.XSubTree(&out) | parser.XContents(&contents), 0);
    EXPECT_EQ(out, subtree);
    EXPECT_EQ(contents, inner);
  }

  const char* result;
  ASSERT_EQ(parser.SetXPath("/r/x:p"), 0);
  ASSERT_EQ(parser.ConfigText("XSubTree", &result), 0);
  EXPECT_STREQ(result, "<x:p>one</x:p>");
  ASSERT_EQ(parser.ConfigText("XContents", &result), 0);
  EXPECT_STREQ(result, "one");
  EXPECT_EQ(parser.ConfigText("XSubTree=anything", nullptr), 0); // read only: setting it is ignored
  EXPECT_EQ(parser.ConfigText("NoSuchKey", &result), -1);        // on to the core, which refuses
  EXPECT_STREQ(parser.LastErrorText(), "Unknown config setting.");

  ASSERT_EQ(ParseOwned(parser, kDocument, {"KeepOriginalText=false"}), 0);
  ASSERT_EQ(parser.SetXPath("/r/b"), 0);
  EXPECT_EQ(parser.XSubTree(&out), errNoOriginalText);
  EXPECT_STREQ(parser.LastErrorText(), "Subtree not available unless KeepOriginalText is set.");
  EXPECT_EQ(parser.ConfigText("XContents", &result), errNoOriginalText);
}

TEST_F(XmlPathTest, HasXPathLeavesNoTraceAndTextAtEndsOnTheParent) {
  ASSERT_EQ(parser.SetXPath("/r/a[@n=2]"), 0); // a path text that does not lead back
  const uint32_t cursor = parser.CursorOffset();
  parser.SetLastErrorText("before");
  EXPECT_TRUE(parser.HasXPath("/r/x:p"));
  EXPECT_FALSE(parser.HasXPath("/r/zz"));
  EXPECT_FALSE(parser.HasXPath(""));
  EXPECT_TRUE(parser.HasXPath("i"));
  EXPECT_EQ(parser.CursorOffset(), cursor);
  EXPECT_EQ(Str(parser.XPath()), "/x:r/a");
  EXPECT_STREQ(parser.LastErrorText(), "before");

  EXPECT_EQ(parser.TextAt("/r/a[2]"), "secondhalf");
  EXPECT_EQ(Str(parser.XPath()), "/x:r");
  EXPECT_EQ(parser.TextAt("/r/zz"), "");
  EXPECT_EQ(Str(parser.XPath()), "/x:r");
  EXPECT_EQ(parser.TextAt("/"), "");
  EXPECT_EQ(Str(parser.XPath()), "/x:r"); // ".." at the root leaves the cursor there
  EXPECT_STREQ(parser.LastErrorText(), "before");
}

TEST_F(XmlPathTest, SiblingStepsAndIndexedWalksAgree) {
  // A long list walked by "[i]" in order, with reads into each child in between, and by
  // NthChild and NextSibling, reaches the same elements.
  std::string document = "<feed>";
  for (int i = 1; i <= 500; ++i)
    document += "<entry><id>" + std::to_string(i) + "</id></entry><link/>";
  ASSERT_EQ(ParseOwned(parser, document + "</feed>"), 0);
  ASSERT_EQ(parser.SetXPath("/feed"), 0);
  ASSERT_EQ(parser.XChildrenCount(), 1000);
  std::vector<uint32_t> byIndex;
  for (int i = 1; i <= 1000; ++i) {
    const std::string step = "/feed/[" + std::to_string(i) + "]";
    ASSERT_EQ(parser.SetXPath(step), 0);
    byIndex.push_back(parser.CursorOffset());
    if (i % 2) {
      EXPECT_EQ(parser.TextAt(step + "/id"), std::to_string(i / 2 + 1));
    }
  }
  ASSERT_EQ(parser.SetXPath("/feed"), 0);
  ASSERT_EQ(parser.NthChild(1), 0);
  for (size_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(parser.CursorOffset(), byIndex[i]) << i;
    ASSERT_EQ(parser.NextSibling(), i < 999 ? 0 : errXPath) << i; // none behind the last child
  }
  ASSERT_EQ(parser.SetXPath("/feed"), 0);
  EXPECT_EQ(parser.NthChild(1001), errXPath);
  ASSERT_EQ(parser.NthChild(999), 0);
  EXPECT_EQ(parser.CursorOffset(), byIndex[998]);
}

TEST_F(XmlPathTest, RememberedNameStepsFindWhatAFreshSearchFinds) {
  // Children that count for "a" by local name and by prefix, others between them, one that a
  // namespace-spelled name takes at once, and nested "a" lists walked in between.
  const std::string document = "<r xmlns:p='urn:p'><b/><a i='1'/><p:a i='2'/><c/><a i='3'>"
                               "<a i='3.1'/><a i='3.2'/></a><b/><a i='4'/><p:a i='5'/><a i='6'/>"
                               "</r>";
  ASSERT_EQ(ParseOwned(parser, document), 0);
  XmlParser fresh;
  const auto found = [](XmlParser& p, const std::string& path) {
    return p.SetXPath(path) == 0 ? Str(p.AttributeByName("i") ? p.AttributeByName("i") : "-")
                                 : "<none>";
  };
  const char* const walks[] = {
      "/r/a[1]",   "/r/a[2]",      "/r/a[3]/a[2]", "/r/a[3]",      "/r/b[2]", "/r/a[5]",
      "/r/p:a[2]", "/r/a[3]/a[1]", "/r/a[6]",      "/r/a[7]",      "/r/a[4]", "/r/urn:pa[1]",
      "/r/a[2]",   "/r/p:a[1]",    "/r/a[0]",      "/r/a[3]/a[3]", "/r/a[6]"};
  for (const char* path : walks) {
    ASSERT_EQ(ParseOwned(fresh, document), 0);
    EXPECT_EQ(found(parser, path), found(fresh, path)) << path;
  }
  // A new document forgets the steps of the old one.
  ASSERT_EQ(found(parser, "/r/a[6]"), "6");
  ASSERT_EQ(ParseOwned(parser, "<r><a i='x'/><a i='y'/></r>"), 0);
  EXPECT_EQ(found(parser, "/r/a[2]"), "y");
}

TEST_F(XmlPathTest, APathTextThatCannotGrowFailsTheWalk) {
  // Each of the first allocations of the walk fails in turn: the walk then fails with 200, or
  // succeeds with a path text that leads back.
  const std::string prefix(120, 'p');
  const std::string document =
      "<" + prefix + ":r xmlns:" + prefix + "='urn:x'><" + prefix + ":a/></" + prefix + ":r>";
  for (const char* path : {"/r/[1]", "/r/a"}) {
    const std::string expected = "/" + prefix + ":r/" + (path[3] == 'a' ? prefix + ":a" : "[1]");
    int failures = 0;
    for (long after = 0; after < 6; ++after) {
      XmlParser fresh;
      ASSERT_EQ(ParseOwned(fresh, document), 0);
      SetAllocationFailureAfter(after);
      const int rc = fresh.SetXPath(path);
      SetAllocationFailureAfter(-1);
      failures += rc != 0;
      EXPECT_EQ(rc ? std::to_string(rc) + " " + fresh.LastErrorText() : Str(fresh.XPath()),
                rc ? "200 Out of memory." : expected)
          << path << " " << after;
    }
    EXPECT_GT(failures, 0) << path;
  }
}

TEST_F(XmlPathTest, WithoutElementsEveryPathFails) {
  XmlParser empty;
  EXPECT_EQ(empty.SetXPath("/"), errNoTree);
  EXPECT_EQ(empty.SetXPath(""), 0);
  EXPECT_FALSE(empty.HasXPath("/"));
  EXPECT_EQ(empty.XChildrenCount(), 0);
  EXPECT_EQ(empty.AttrCount(), 0);
  ASSERT_EQ(ParseOwned(empty, "only text"), 0);
  EXPECT_EQ(empty.SetXPath("/"), errNoTree);
}

} // namespace
} // namespace quillon::test
