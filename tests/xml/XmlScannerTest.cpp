// The markup scanner: text and whitespace, references, attribute syntax, comments, sections and
// declarations, the input layer, callbacks, settings and failures; every document also parsed
// split at each byte and with a listener, which must change nothing.
#include "XmlTestSupport.h"
#include "frame/Errors.h"
#include "frame/Memory.h"
#include "xml/XmlErrors.h"
#include "xml/XmlParser.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace quillon::test {
namespace {

struct TextRow {
  const char* document;
  const char* expected; // text of the root element
  bool preserve = false;
};

TEST(XmlScannerTest, TextRunsLoseOuterWhitespaceAndKeepInnerWhitespace) {
  const TextRow rows[] = {
      {"<a> x  y </a>", "x  y"},
      {"<a>\n  one\n  two  \n</a>", "one\n  two"},
      {"<a>a < b</a>", "a< b"},   // '<' before a space is text; the space before it goes
      {"<a>x </ y</a>", "x</ y"}, // "</" before a non-name byte is text
      {"<a>   </a>", ""},
      {"<a>   </a>", "", true}, // whitespace between two tags stays ignorable
      {"<a>  x  </a>", "  x  ", true},
      {"<a> x <b/> y </a>", "xy"}, // pieces of mixed content join with nothing between
      {"<a><![CDATA[ a ]]> b</a>", " a  b"},
      {"<a>x&#32;</a>", "x "}, // a reference ending in whitespace is flushed as content
      {"<a>x\r\n</a>", "x"},
  };
  for (const TextRow& row : rows) {
    XmlParser parser;
    ASSERT_EQ(ParseOwned(parser, row.document,
                         {row.preserve ? "PreserveWhitespace=true" : "PreserveWhitespace=false"}),
              0)
        << row.document;
    EXPECT_EQ(TextOf(parser, "/a"), row.expected) << row.document;
  }
}

TEST(XmlScannerTest, ReferencesDecodeOrStayAsWritten) {
  const TextRow rows[] = {
      {"<a>&foo;</a>", "&foo;"},
      {"<a>&foo bar</a>", "&foo bar"},
      {"<a>&#x41;&#65;</a>", "AA"},
      {"<a>x&#X41;y</a>", "xy"},                // upper-case X is no hex mark: value 0, nothing
      {"<a>&#128512;</a>", "\xF0\x9F\x98\x80"}, // beyond one UTF-16 unit: four UTF-8 bytes
      {"<a>&lt;&gt;&amp;&apos;&quot;</a>", "<>&'\""},
      {"<a>&LT;</a>", "&LT;"}, // names compare with case
      {"<a>&#xE9;&#x20AC;</a>", "\xC3\xA9\xE2\x82\xAC"},
      {"<a>&#xD800;</a>", "?"}, // a lone surrogate converts to '?'
      {"<a>a & b</a>", "a & b"},
      {"<a>&;</a>", "&;"},
      {"<a>&#-65;</a>", "&#-65;"},
      {"<a>&#4294967361;</a>", "A"}, // no overflow test: the value wraps to 65
  };
  for (const TextRow& row : rows) {
    XmlParser parser;
    ASSERT_EQ(ParseOwned(parser, row.document), 0) << row.document;
    EXPECT_EQ(TextOf(parser, "/a"), row.expected) << row.document;
  }

  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "<a v=\"&#128512;&amp;x\" w='&lt;' u=&lt;b&#x41;></a>"), 0);
  ASSERT_EQ(parser.SetXPath("/a"), 0);
  EXPECT_EQ(Str(parser.AttrValue(0)), "\xF0\x9F\x98\x80&x");
  EXPECT_EQ(Str(parser.AttrValue(1)), "<");
  EXPECT_EQ(Str(parser.AttrValue(2)), "<bA");
}

TEST(XmlScannerTest, NumericReferencesConvertToTheCodePage) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "<a>&#xE9;&#x20AC;</a>", {"CodePage=1252"}), 0);
  EXPECT_EQ(TextOf(parser, "/a"), "\xE9\x80");
  ASSERT_EQ(ParseOwned(parser, "<a>&#xE9;</a>", {"CodePage=0xFDE9"}), 0); // 65001
  EXPECT_EQ(TextOf(parser, "/a"), "\xC3\xA9");
}

TEST(XmlScannerTest, WithoutTheTreeReferencesAreLeftToTheListener) {
  XmlParser parser;
  RecordingSink sink;
  parser.impl.sink = &sink;
  ASSERT_EQ(parser.Parse("<a>&amp;&#65;</a>"), 0);
  EXPECT_NE(std::find(sink.events.begin(), sink.events.end(), "entity amp=&amp;"),
            sink.events.end());
  EXPECT_NE(std::find(sink.events.begin(), sink.events.end(), "entity #65=&#65;"),
            sink.events.end());
  EXPECT_EQ(parser.SetXPath("/a"), errNoTree);
  EXPECT_STREQ(parser.LastErrorText(), "DOM tree unavailable (set BuildDOM to TRUE and reparse).");
}

TEST(XmlScannerTest, AttributeSyntaxIsForgiving) {
  struct Row {
    const char* document;
    const char* attributes; // name=value pairs of the root
    bool selfClosed;
  };
  const Row rows[] = {
      {"<a b c=\"1\" d='2' e=3 f></a>", "b= c=1 d=2 e=3 f=", false},
      {"<a e=3/>", "e=3", true},
      {"<a e=3/ f=4>", "e=3/ f=4", false},
      {"<a b/>", "b= =", true}, // the '>' behind "b/" stores a second, nameless attribute
      {"<a / b='1'></a>", "b=1", false},
      {"<a b='1' b='2'/>", "b=1 b=2", true},
      {"<a b = \"x y\" ></a>", "b=x y", false},
  };
  for (const Row& row : rows) {
    XmlParser parser;
    ASSERT_EQ(ParseOwned(parser, row.document), 0) << row.document;
    ASSERT_EQ(parser.SetXPath("/a"), 0) << row.document;
    std::string attributes;
    for (int i = 0; i < parser.AttrCount(); ++i)
      attributes += (i ? " " : "") + Str(parser.AttrLocalName(i)) + "=" + Str(parser.AttrValue(i));
    EXPECT_EQ(attributes, row.attributes) << row.document;
    EXPECT_EQ(parser.SetXPath("[last()]"), errXPath) << row.document; // no children either way
    std::string_view contents;
    parser.SetXPath("/a");
    parser.XContents(&contents);
    if (row.selfClosed) {
      EXPECT_EQ(contents, "") << row.document;
    }
  }
}

TEST(XmlScannerTest, CommentsInstructionsDeclarationsAndSections) {
  XmlParser parser;
  RecordingSink sink;
  parser.PrepareForDocument();
  parser.impl.sink = &sink;
  const char* document = "<?xml version='1.0'?><!DOCTYPE r [ <!ENTITY x \"y>\"> ]>"
                         "<!-- a - b --><?pi a > b ?><r>&x;<![CDATA[<&>]]><![X[lost]]></r>";
  ASSERT_EQ(parser.Parse(document), 0) << parser.LastErrorText();
  const std::vector<std::string> expected = {
      "pi xml version='1.0'", "meta DOCTYPE r [ <!ENTITY x \"y>\"> ]",
      "comment  a - b ",      "pi pi a > b ",
      "start  r r",           "entity x=&x;",
      "chars &x;|&x;",        "section CDATA|<&>",
      "section X|lost",       "end  r r",
  };
  EXPECT_EQ(sink.events, expected);
  EXPECT_EQ(TextOf(parser, "/r"), "&x;<&>");
}

TEST(XmlScannerTest, DoubleDashEndsACommentUnlessHtmlComments) {
  XmlParser parser;
  EXPECT_EQ(ParseOwned(parser, "<r><!-- a -- b --></r>"), errInvalidMarkup);
  EXPECT_STREQ(parser.LastErrorText(), "Invalid XML markup.");

  RecordingSink sink;
  parser.PrepareForDocument();
  parser.ConfigText("HTMLComments=1", nullptr);
  parser.impl.sink = &sink;
  ASSERT_EQ(parser.Parse("<r><!-- a -- b --><!----></r>"), 0);
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

TEST(XmlScannerTest, TextOutsideTheRootIsDroppedOrRefused) {
  XmlParser parser;
  ASSERT_EQ(ParseOwned(parser, "lead<a>x</a>tail\n<b/>"), 0);
  EXPECT_EQ(TextOf(parser, "/a"), "x");
  EXPECT_EQ(TextOf(parser, "/"), "x"); // two roots: the first is the root

  EXPECT_EQ(ParseOwned(parser, "<a>x</a>tail<b/>", {"AllowTextOutsideRoot=false"}),
            errTextOutsideRoot);
  EXPECT_STREQ(parser.LastErrorText(),
               "Invalid XML: the document contains text outside the root element.");
  EXPECT_EQ(TextOf(parser, "/a"), "x"); // the tree up to the failure stays readable
}

TEST(XmlScannerTest, AFailedOrTruncatedParseLeavesAReadableTree) {
  XmlParser parser;
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
}

TEST(XmlScannerTest, DoubleByteModeTakesTrailBytesAsText) {
  XmlParser parser;
  parser.ConfigText("CharsetMode=1", nullptr);
  // 0x83 0x3C is one Shift-JIS character whose second byte is '<'.
  ASSERT_EQ(ParseOwned(parser, "<a>\x83<x/></a>"), 0) << parser.LastErrorText();
  EXPECT_EQ(TextOf(parser, "/a"), "\x83<x/>");
  parser.ConfigText("CharsetMode=0", nullptr);
  ASSERT_EQ(ParseOwned(parser, "<a>\x83<x/></a>"), 0);
  EXPECT_EQ(TextOf(parser, "/a"), "\x83");
  EXPECT_EQ(TextOf(parser, "/a/x"), "");
}

TEST(XmlScannerTest, ListenerSeesEveryCallbackAndCanStopTheScanner) {
  XmlParser parser;
  RecordingSink sink;
  parser.PrepareForDocument();
  parser.impl.sink = &sink;
  const char* document = "<r xmlns='urn:r'>\n  one\n  two  <e/>\n</r>";
  ASSERT_EQ(parser.Parse(document), 0);
  const std::vector<std::string> expected = {
      "prefix =urn:r",
      "start urn:r r r",
      "ignorable 3",
      "chars one|one",
      "chars \n  two|\n  two",
      "ignorable 2",
      "start urn:r e e empty",
      "end urn:r e e empty",
      "ignorable 1",
      "end urn:r r r",
      "endprefix ",
  };
  EXPECT_EQ(sink.events, expected);
  EXPECT_EQ(sink.inputBytes, static_cast<int>(std::string_view(document).size()));

  sink.events.clear();
  sink.stopAt = "start";
  sink.stopCode = 77;
  parser.PrepareForDocument();
  parser.impl.sink = &sink;
  EXPECT_EQ(parser.Parse("<a><b/></a>"), 77);
}

TEST(XmlScannerTest, ListenerCanReplaceAReferenceValue) {
  struct Replacer : RecordingSink {
    int OnEvalEntity(const char* name, const char** value) override {
      if (std::string_view(name) == "nbsp") *value = "\xC2\xA0";
      return 0;
    }
  } sink;
  XmlParser parser;
  parser.PrepareForDocument();
  parser.impl.sink = &sink;
  ASSERT_EQ(parser.Parse("<a>x&nbsp;y</a>"), 0);
  EXPECT_EQ(TextOf(parser, "/a"), "x\xC2\xA0y");
}

TEST(XmlScannerTest, ConfigKeysReadBackAndFallThroughToTheCore) {
  XmlParser parser;
  const char* result;
  struct Row {
    const char* get;
    const char* expected;
  };
  const Row defaults[] = {
      {"IgnoreBadAttributePrefixes", "False"},
      {"IgnoreBadElementPrefixes", "False"},
      {"AllowMoreThanOneRoot", "True"},
      {"AllowTextOutsideRoot", "True"},
      {"IncludeUnknownPrefixes", "True"},
      {"KeepOriginalText", "1"},
      {"CacheContent", "1"},
      {"HTMLComments", "0"},
      {"UseEncoding", "ASCII"},
      {"PreserveWhitespace", "False"},
      {"ErrorOnEmptyAttr", "False"},
      {"AllowLeadingDigit", "False"},
      {"AddSGMLTag", ""},
      {"CodePage", "0"},
  };
  for (const Row& row : defaults) {
    ASSERT_EQ(parser.ConfigText(row.get, &result), 0) << row.get;
    EXPECT_STREQ(result, row.expected) << row.get;
  }
  const Row sets[] = {
      {"ignorebadattributeprefixes=yes", "IgnoreBadAttributePrefixes"},
      {"AllowMoreThanOneRoot=0", "AllowMoreThanOneRoot"},
      {"CacheContent=false", "KeepOriginalText"},
      {"HTMLComments=TRUE", "HTMLComments"},
      {"UseEncoding=utf-16be", "UseEncoding"},
      {"UseEncoding=latin1", "UseEncoding"},
      {"CodePage=0x4E4", "CodePage"},
      {"AddSGMLTag=p", "AddSGMLTag"},
      {"AddSGMLTag=li", "AddSGMLTag"},
      {"AddSGMLTag=p", "AddSGMLTag"},
  };
  const char* after[] = {"True",  "False", "0",   "1",      "UTF-16BE",
                         "ASCII", "1252",  " p ", " p li ", " p li "};
  for (size_t i = 0; i < std::size(sets); ++i) {
    ASSERT_EQ(parser.ConfigText(sets[i].get, nullptr), 0) << sets[i].get;
    ASSERT_EQ(parser.ConfigText(sets[i].expected, &result), 0);
    EXPECT_STREQ(result, after[i]) << sets[i].get;
  }
  EXPECT_EQ(parser.impl.codePage, 1252);
  EXPECT_EQ(parser.ConfigText("NoSuchKey", &result), -1);
  EXPECT_STREQ(parser.LastErrorText(), "Unknown config setting.");
  EXPECT_EQ(parser.ConfigText("XSubTree=anything", nullptr), 0);
}

// Every document gives the same tree, kept text and result whether it arrives in one piece or in
// two at any byte, and whether or not a listener makes the scanner go byte by byte.
TEST(XmlScannerTest, SplittingTheInputOrAddingAListenerChangesNothing) {
  const char* documents[] = {
      "<?xml version='1.0'?>\n<!-- c - d -->\n<f xmlns='urn:a' xmlns:m='urn:m'>\n"
      " <t type='text'>Hello &amp; bye&#x41;</t>\n <e m:k=\"W/&quot;1&quot;\" u=x/>\n"
      " <c><![CDATA[ x ]]> y &unknown z</c>\n<?pi ?>\n</f>",
      "<a b c=d e='f'>a < b </ c</a>",
      "<!DOCTYPE d [<!ELEMENT x ANY>]><d>x\r\n y \n</d>",
      "<a><b></a>",
      "<a b=>",
  };
  for (const char* document : documents) {
    const std::string_view text(document);
    XmlParser whole;
    const int wholeRc = ParseOwned(whole, text);
    const std::string wholeTree = DumpTree(whole, true);
    const std::string wholeKept(whole.OriginalText());

    XmlParser listened;
    RecordingSink sink;
    listened.PrepareForDocument();
    listened.impl.sink = &sink;
    EXPECT_EQ(listened.Parse(text), wholeRc) << document;
    EXPECT_EQ(DumpTree(listened, true), wholeTree) << document;

    for (size_t split = 1; split < text.size(); ++split) {
      XmlParser parser;
      parser.PrepareForDocument();
      int rc = parser.impl.Feed(text.substr(0, split));
      if (rc == 0) rc = parser.impl.Feed(text.substr(split));
      EXPECT_EQ(rc, wholeRc) << document << " split at " << split;
      EXPECT_EQ(DumpTree(parser, true), wholeTree) << document << " split at " << split;
      EXPECT_EQ(parser.OriginalText(), wholeKept) << document << " split at " << split;
    }
  }
}

// Where a parse stopped and what it left, read before a path walk changes the failure text.
std::string Outcome(const XmlParser& parser, int rc) {
  return std::to_string(rc) + " state " + std::to_string(parser.impl.state) + " at " +
         std::to_string(parser.impl.inputCount) + " markup " +
         std::to_string(parser.impl.markupStart) + " [" + Str(parser.impl.errorText.View()) +
         "] kept(" + Str(parser.OriginalText()) + ")";
}

// Ordinary markup is read in whole constructs, and everything else byte by byte; the two must
// agree on every document, setting and split, failures included, down to where a parse stopped.
TEST(XmlScannerTest, ReadingMarkupInWholeConstructsChangesNothing) {
  std::string deep;
  for (int i = 0; i < 300; ++i)
    deep += "<d>";
  std::string wide = "<w";
  for (int i = 0; i < 300; ++i)
    wide += " a" + std::to_string(i) + "='" + std::to_string(i) + "'";
  wide += "/>";
  const std::string longName(60, 'n');
  const std::string documents[] = {
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
      const std::string_view text(document);
      for (size_t split = 0; split <= text.size(); split += split < 40 ? 1 : 7) {
        std::string outcomes[2];
        std::string trees[2];
        for (int markup = 0; markup < 2; ++markup) {
          XmlParser parser;
          parser.PrepareForDocument();
          parser.ConfigText(setting.config, nullptr);
          if (setting.strict) parser.impl.flags = 0;
          parser.impl.markupPath = static_cast<uint8_t>(markup);
          int rc = parser.impl.Feed(text.substr(0, split));
          if (rc == 0) rc = parser.impl.Feed(text.substr(split));
          outcomes[markup] = Outcome(parser, rc);
          trees[markup] = DumpTree(parser, true);
        }
        EXPECT_EQ(outcomes[1], outcomes[0]) << setting.config << " " << document << " at " << split;
        EXPECT_EQ(trees[1], trees[0]) << setting.config << " " << document << " at " << split;
      }
    }
  }
}

TEST(XmlScannerTest, OutOfMemoryAtAnyAllocationGivesCode200) {
  const char* document = "<f xmlns='urn:a' xmlns:m='urn:m'><e m:k='1'>text that is long enough "
                         "to leave the inline buffers of the scanner behind it, twice over and "
                         "more</e><e/></f>";
  for (long failAfter = 0;; ++failAfter) {
    XmlParser parser;
    SetAllocationFailureAfter(failAfter);
    parser.PrepareForDocument();
    const int rc = parser.Parse(document);
    SetAllocationFailureAfter(-1);
    ASSERT_TRUE(rc == 0 || rc == errOutOfMemory) << rc << " after " << failAfter;
    if (rc == 0) break;
    EXPECT_STREQ(parser.LastErrorText(), "Out of memory.");
    DumpTree(parser, true); // whatever was built stays readable
  }
}

} // namespace
} // namespace quillon::test
