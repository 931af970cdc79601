// The markup scanner: text and whitespace, references, attribute syntax, comments, sections and
// declarations, the input layer, callbacks, settings and failures; every document also parsed
// split at each byte and with a listener, which must change nothing.
#include "XmlTestSupport.h"
#include "frame/Memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace quillon::test {
namespace {

using ::testing::IsSupersetOf;

// The text of the root after whitespace handling, reference decoding and joining its pieces.
TEST(XmlScannerTest, RootTextAfterWhitespaceAndReferences) {
  struct Row {
    const char* document;
    const char* expected;
    const char* config = "PreserveWhitespace=false";
  };
  const Row rows[] = {
      {"<a> x  y </a>", "x  y"},
      {"<a>\n  one\n  two  \n</a>", "one\n  two"},
      {"<a>a < b</a>", "a< b"},   // '<' before a space is text; the space before it goes
      {"<a>x </ y</a>", "x</ y"}, // "</" before a non-name byte is text
      {"<a>   </a>", ""},
      {"<a>   </a>", "", "PreserveWhitespace=true"}, // whitespace between two tags stays ignorable
      {"<a>  x  </a>", "  x  ", "PreserveWhitespace=true"},
      {"<a> x <b/> y </a>", "xy"}, // pieces of mixed content join with nothing between
      {"<a><![CDATA[ a ]]> b</a>", " a  b"},
      {"<a>x&#32;</a>", "x "}, // a reference ending in whitespace is flushed as content
      {"<a>x\r\n</a>", "x"},
      {"<a>x &amp; y</a>", "x & y"},
      {"<a>x<![CDATA[<y>]]>z</a>", "x<y>z"},
      {"<a>  x <b>inner</b> y  </a>", "xy"}, // a child's text is its own
      {"<a><b>inner</b>tail</a>", "tail"},
      {"<a>x<!-- c -->y</a>", "xy"},
      {"<a>&foo;</a>", "&foo;"},
      {"<a>&foo bar</a>", "&foo bar"},
      {"<a>&#x41;&#65;</a>", "AA"},
      {"<a>x&#X41;y</a>", "xy"},                // upper-case X is no hex mark: value 0, nothing
      {"<a>&#128512;</a>", "\xF0\x9F\x98\x80"}, // beyond one UTF-16 unit: four UTF-8 bytes
      {"<a>&lt;&gt;&amp;&apos;&quot;</a>", "<>&'\""},
      {"<a>&LT;</a>", "&LT;"}, // names compare with case
      {"<a>&#xE9;&#x20AC;</a>", "\xC3\xA9\xE2\x82\xAC"},
      // Each end of each UTF-8 length.
      {"<a>&#x7F;</a>", "\x7F"},
      {"<a>&#x80;</a>", "\xC2\x80"},
      {"<a>&#x7FF;</a>", "\xDF\xBF"},
      {"<a>&#x800;</a>", "\xE0\xA0\x80"},
      {"<a>&#xFFFF;</a>", "\xEF\xBF\xBF"},
      {"<a>&#x10000;</a>", "\xF0\x90\x80\x80"}, // the first code point of four UTF-8 bytes
      {"<a>&#xD7FF;&#xDFFF;&#xE000;</a>", "\xED\x9F\xBF?\xEE\x80\x80"},
      {"<a>&#xD800;</a>", "?"}, // a lone surrogate converts to '?'
      {"<a>a & b</a>", "a & b"},
      {"<a>&;</a>", "&;"},
      {"<a>&#-65;</a>", "&#-65;"},
      {"<a>&#4294967361;</a>", "A"}, // no overflow test: the value wraps to 65
      {"<a>&#xE9;&#x20AC;</a>", "\xE9\x80", "CodePage=1252"},
      {"<a>&#xE9;</a>", "\xC3\xA9", "CodePage=0xFDE9"}, // 65001
  };
  // Texts left in the kept text and texts copied out of it read alike, NUL-terminated.
  for (const Row& row : rows) {
    for (const char* kept : {"KeepOriginalText=1", "KeepOriginalText=0"}) {
      SCOPED_TRACE(std::string(row.document) + " " + row.config + " " + kept);
      XmlParser parser;
      ASSERT_EQ(ParseOwned(parser, row.document, {row.config, kept}), 0);
      EXPECT_EQ(TextOf(parser, "/a"), row.expected);
      const std::string_view text = parser.XText();
      EXPECT_EQ(text.empty() ? 0 : std::strlen(text.data()), text.size());
    }
  }
}

TEST(XmlScannerTest, WithoutTheTreeReferencesAreLeftToTheListener) {
  XmlParser parser;
  RecordingSink sink;
  parser.impl.sink = &sink;
  ASSERT_EQ(parser.Parse("<a>&amp;&#65;</a>"), 0);
  EXPECT_THAT(sink.events, IsSupersetOf({"entity amp=&amp;", "entity #65=&#65;"}));
  EXPECT_EQ(parser.SetXPath("/a"), errNoTree);
  EXPECT_STREQ(parser.LastErrorText(), "DOM tree unavailable (set BuildDOM to TRUE and reparse).");
}

TEST(XmlScannerTest, AttributeSyntaxIsForgiving) {
  struct Row {
    const char* document;
    const char* attributes; // name=value pairs of the root
  };
  const Row rows[] = {
      {"<a b c=\"1\" d='2' e=3 f></a>", "b= c=1 d=2 e=3 f="},
      {"<a e=3/>", "e=3"},
      {"<a e=3/ f=4>", "e=3/ f=4"},
      {"<a b/>", "b= ="}, // the '>' behind "b/" stores a second, nameless attribute
      {"<a / b='1'></a>", "b=1"},
      {"<a b='1' b='2'/>", "b=1 b=2"},
      {"<a b = \"x y\" ></a>", "b=x y"},
      {"<a v=\"&#128512;&amp;x\" w='&lt;' u=&lt;b&#x41;></a>", "v=\xF0\x9F\x98\x80&x w=< u=<bA"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.document);
    XmlParser parser;
    ASSERT_EQ(ParseOwned(parser, row.document), 0);
    ASSERT_EQ(parser.SetXPath("/a"), 0);
    std::string attributes;
    for (int i = 0; i < parser.AttrCount(); ++i)
      attributes += (i ? " " : "") + Str(parser.AttrLocalName(i)) + "=" + Str(parser.AttrValue(i));
    EXPECT_EQ(attributes, row.attributes);
    std::string_view contents = "unread";
    parser.XContents(&contents);
    EXPECT_EQ(contents, ""); // no children and no text, self-closed or not
    EXPECT_EQ(parser.SetXPath("[last()]"), errXPath);
  }
}

TEST(XmlScannerTest, CommentsInstructionsDeclarationsAndSections) {
  XmlParser parser;
  RecordingSink sink;
  const char* document = "<?xml version='1.0'?><!DOCTYPE r [ <!ENTITY x \"y>\"> ]>"
                         "<!-- a - b --><?pi a > b ?><r>&x;<![CDATA[<&>]]><![X[lost]]></r>";
  ASSERT_EQ(ParseOwned(parser, document, {}, &sink), 0) << parser.LastErrorText();
  // clang-format off
  const std::vector<std::string> expected = {"pi xml version='1.0'", "meta DOCTYPE r [ <!ENTITY x \"y>\"> ]", "comment  a - b ", "pi pi a > b ",
      "start  r r", "entity x=&x;", "chars &x;|&x;", "section CDATA|<&>", "section X|lost", "end  r r"};
  // clang-format on
  EXPECT_EQ(sink.events, expected);
  EXPECT_EQ(TextOf(parser, "/r"), "&x;<&>");

  // A double dash ends a comment (a failure, below) unless HTMLComments.
  sink.events.clear();
  ASSERT_EQ(ParseOwned(parser, "<r><!-- a -- b --><!----></r>", {"HTMLComments=1"}, &sink), 0);
  EXPECT_EQ(sink.events[1], "comment  a -- b ");
  EXPECT_EQ(sink.events[2], "comment ");
}

TEST(XmlScannerTest, HardFailuresCarryTheirCodeAndText) {
  struct Row {
    const char* document;
    int code;
    const char* text;
  };
  const Row rows[] = {
      {"<a b=>", errInvalidMarkup, "Invalid XML markup."},
      {"<a></a x>", errInvalidMarkup, "Invalid XML markup."},
      {"<a></b>", errUnbalancedTag, "Unbalanced element tag: b"},
      {"<a></A>", errUnbalancedTag, "Unbalanced element tag: A"},
      {"</a>", errUnbalancedTag, "Unbalanced element tag: a"},
      {"<a><!-- x -- y --></a>", errInvalidMarkup, "Invalid XML markup."},
  };
  for (const Row& row : rows) {
    XmlParser parser;
    EXPECT_EQ(ParseOwned(parser, row.document), row.code) << row.document;
    EXPECT_STREQ(parser.LastErrorText(), row.text) << row.document;
  }
}

// Text outside the root is dropped, or refused; a failed or truncated parse leaves the tree it
// built up to there readable.
TEST(XmlScannerTest, TextOutsideTheRootAndFailedOrTruncatedParses) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "lead<a>x</a>tail\n<b/>"), 0);
  EXPECT_EQ(TextOf(parser, "/a"), "x");
  EXPECT_EQ(TextOf(parser, "/"), "x"); // two roots: the first is the root
  EXPECT_EQ(ParseOwned(parser, "<a>x</a>tail<b/>", {"AllowTextOutsideRoot=false"}),
            errTextOutsideRoot);
  EXPECT_STREQ(parser.LastErrorText(),
               "Invalid XML: the document contains text outside the root element.");
  EXPECT_EQ(TextOf(parser, "/a"), "x");

  EXPECT_EQ(ParseOwned(parser, "<a><b>1</b><c>2</c></x><d/>"), errUnbalancedTag);
  EXPECT_EQ(TextOf(parser, "/a/b"), "1");
  EXPECT_EQ(TextOf(parser, "/a/c"), "2");
  EXPECT_EQ(parser.SetXPath("/a/d"), errNoSuchChild);

  ASSERT_EQ(ParseOwned(parser, "<a><b>one</b><c><d>tw"), 0);
  ASSERT_EQ(parser.SetXPath("/[lastUnclosed()]"), 0);
  EXPECT_EQ(Str(parser.XElement()), "d");
  EXPECT_EQ(TextOf(parser, "/a/b"), "one");

  // A NUL byte ends the input.
  ASSERT_EQ(ParseOwned(parser, std::string_view("<a><b/>\0<c/></a>", 16)), 0);
  ASSERT_EQ(parser.SetXPath("/a"), 0);
  EXPECT_EQ(parser.XChildrenCount(), 1);
  EXPECT_EQ(parser.OriginalText(), "<a><b/>");
}

TEST(XmlScannerTest, InputLayerAsciiUtf8AndUtf16) {
  XmlParser parser;
  // Bytes pass unchanged in ASCII mode, and UTF-8 continuation bytes continue names.
  const char* cyrillic =
      "<d:\xD0\x9D\xD0\xB0\xD0\xB8\xD0\xBC>\xD1\x8F</d:\xD0\x9D\xD0\xB0\xD0\xB8\xD0\xBC>";
  ASSERT_EQ(ParseOwned(parser, cyrillic), 0) << parser.LastErrorText();
  ASSERT_EQ(parser.SetXPath("/"), 0);
  EXPECT_EQ(Str(parser.XElement()), "d:\xD0\x9D\xD0\xB0\xD0\xB8\xD0\xBC");
  EXPECT_EQ(Str(parser.XText()), "\xD1\x8F");

  // UTF-8 mode turns each sequence into a reference; stray continuation bytes are dropped.
  ASSERT_EQ(ParseOwned(parser, "<a>\xC3\xA9\x80\xF0\x9F\x98\x80</a>", {"UseEncoding=utf-8"}), 0);
  EXPECT_EQ(parser.OriginalText(), "<a>&#233;&#128512;</a>");
  EXPECT_EQ(TextOf(parser, "/a"), "\xC3\xA9\xF0\x9F\x98\x80");

  for (const char* encoding : {"UseEncoding=UTF-16LE", "UseEncoding=UTF-16BE"}) {
    EXPECT_EQ(ParseOwned(parser, "<a/>", {encoding}), errUtf16Input);
    EXPECT_STREQ(parser.LastErrorText(), "UTF-16 support not currently available.");
  }

  // In double-byte mode 0x83 0x3C is one Shift-JIS character whose second byte is '<'.
  XmlParser dbcs;
  dbcs.ConfigText("CharsetMode=1", nullptr);
  ASSERT_EQ(ParseOwned(dbcs, "<a>\x83<x/></a>"), 0) << dbcs.LastErrorText();
  EXPECT_EQ(TextOf(dbcs, "/a"), "\x83<x/>");
  dbcs.ConfigText("CharsetMode=0", nullptr);
  ASSERT_EQ(ParseOwned(dbcs, "<a>\x83<x/></a>"), 0);
  EXPECT_EQ(TextOf(dbcs, "/a"), "\x83");
  EXPECT_EQ(TextOf(dbcs, "/a/x"), "");
}

TEST(XmlScannerTest, ListenerSeesEveryCallbackCanStopTheScannerAndReplaceAReference) {
  struct Replacer : RecordingSink {
    int OnEvalEntity(const char* name, const char** value) override {
      if (std::string_view(name) == "nbsp") *value = "\xC2\xA0";
      return RecordingSink::OnEvalEntity(name, value);
    }
  } sink;
  XmlParser parser;
  const char* document = "<r xmlns='urn:r'>\n  one\n  two  <e/>\n</r>";
  ASSERT_EQ(ParseOwned(parser, document, {}, &sink), 0);
  // clang-format off
  const std::vector<std::string> expected = {
      "prefix =urn:r", "start urn:r r r", "ignorable 3", "chars one|one", "chars \n  two|\n  two", "ignorable 2",
      "start urn:r e e empty", "end urn:r e e empty", "ignorable 1", "end urn:r r r", "endprefix "};
  // clang-format on
  EXPECT_EQ(sink.events, expected);
  EXPECT_EQ(sink.inputBytes, static_cast<int>(std::string_view(document).size()));

  ASSERT_EQ(ParseOwned(parser, "<a>x&nbsp;y</a>", {}, &sink), 0);
  EXPECT_EQ(TextOf(parser, "/a"), "x\xC2\xA0y");

  sink.stopAt = "start";
  sink.stopCode = 77;
  EXPECT_EQ(ParseOwned(parser, "<a><b/></a>", {}, &sink), 77);
}

// Every document, under every setting, gives the same result, tree and kept text whether it
// arrives in one piece or in two at any byte, and whether a listener makes the scanner go byte by
// byte. Ordinary markup is read in whole constructs and everything else byte by byte; the two must
// also agree, failures included, down to where a parse stopped.
TEST(XmlScannerTest, SplittingListeningAndReadingMarkupInWholeConstructsChangeNothing) {
  const std::string deep = Repeat(300, "<d>"), wide = "<w" + NumberedAttributes(300) + "/>";
  const std::string longName(60, 'n');
  const std::string documents[] = {
      "<?xml version='1.0'?>\n<!-- c - d -->\n<f xmlns='urn:a' xmlns:m='urn:m'>\n"
      " <t type='text'>Hello &amp; bye&#x41;</t>\n <e m:k=\"W/&quot;1&quot;\" u=x/>\n"
      " <c><![CDATA[ x ]]> y &unknown z</c>\n<?pi ?>\n</f>",
      "<a b c=d e='f'>a < b </ c</a>",
      "<!DOCTYPE d [<!ELEMENT x ANY>]><d>x\r\n y \n</d>",
      "<a><b></a>",
      // names that repeat, that begin like the last ones, and that take other attributes
      "<r><link a='1'/><link a='2'/><links a='3'/><link ab='4' a='5'/><link/>\n</r>",
      "<r><e =x='1' y = \"2\" z='3'/><e b c=d e='f'/><e/ f='1'><e b/></e></r>",
      // references in text and in values, whole and cut short
      "<r><t>a &amp; b&lt;c&#32;d &unknown; e&#x41;</t><v k=\"x&quot;y&quot;\" j='&apos;'/></r>",
      "<r><t>&amp</t><v k='&amp x' l='&#65' m=\"&\"/></r>",
      "<r><e " + longName + "='a&amp;b' " + longName + "x='c'/></r>",
      // text: lines, mixed content, "</" as text, whitespace
      "<r>\n  one\n  two \n<i>x</i> y <j/>z</r>",
      "<r> a </ b <b>c</b >d</r>",
      "<r><a>  </a><b> x </b></r>",
      // namespaces, known and unknown
      "<r xmlns='u' xmlns:p='v'><p:a p:x='1' y='2'><b xmlns:p='w' p:z='3'/></p:a><q:c/></r>",
      "<r xml:lang='en'><p:a p:b='1'/></r>",
      // other markup between ordinary tags
      "<?xml version='1.0'?><!DOCTYPE r [<!ENTITY e 'x'>]><r><!-- c --><![CDATA[<x>]]><?pi ?></r>",
      // failures
      "<r><a>x</b></r>",
      "<r><a>x</a junk></r>",
      "<r><a b=>",
      "text<r/>more",
      deep,
      wide,
  };
  struct Setting {
    const char* config;
    bool strict; // failures for unknown prefixes and for text outside the root
  };
  const Setting settings[] = {
      {"PreserveWhitespace=false", false},
      {"PreserveWhitespace=true", false},
      {"KeepOriginalText=false", false},
      {"AllowLeadingDigit=true", true},
  };
  for (const Setting& setting : settings) {
    for (const std::string& document : documents) {
      SCOPED_TRACE(std::string(setting.config) + " " + document);
      const auto prepare = [&](XmlParser& parser) {
        parser.PrepareForDocument();
        parser.ConfigText(setting.config, nullptr);
        if (setting.strict) parser.impl.flags = 0;
      };
      constexpr size_t kWhole = std::string_view::npos;
      const std::string whole = ParseAndDump(prepare, document, kWhole).second;
      RecordingSink sink;
      EXPECT_EQ(ParseAndDump(prepare, document, kWhole, 1, &sink).second, whole);
      for (size_t split = 0; split <= document.size();
           split += split < 40 || document.size() < 200 ? 1 : 7) {
        const auto marked = ParseAndDump(prepare, document, split);
        EXPECT_EQ(marked.second, whole) << "at " << split;
        EXPECT_EQ(ParseAndDump(prepare, document, split, 0), marked) << "at " << split;
      }
    }
  }
}

TEST(XmlScannerTest, OutOfMemoryAtAnyAllocationGivesCode200) {
  const char* document = "<f xmlns='urn:a' xmlns:m='urn:m'><e m:k='1'>text that is long enough "
                         "to leave the inline buffers of the scanner behind it, twice over and "
                         "more</e><e/></f>";
  for (long failAfter = 0, rc = 1; rc != 0; ++failAfter) {
    XmlParser parser;
    SetAllocationFailureAfter(failAfter);
    rc = ParseOwned(parser, document);
    SetAllocationFailureAfter(-1);
    ASSERT_TRUE(rc == 0 || rc == errOutOfMemory) << rc << " after " << failAfter;
    EXPECT_STREQ(parser.LastErrorText(), rc ? "Out of memory." : "");
    DumpTree(parser, true); // whatever was built stays readable
  }
}

} // namespace
} // namespace quillon::test
