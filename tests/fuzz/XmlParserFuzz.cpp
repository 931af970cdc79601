// Arbitrary bytes through the XML parser, then over the tree: every accessor, paths taken from
// the input, the path rewrite. Layout of an input: two option bytes, then the document up to
// the first NUL, then paths separated by newlines. A listener (which makes the scanner go byte
// by byte) and a split of the input must not change the tree, and the scanner without its path
// for ordinary markup must leave everything as it does with it; a difference aborts.
#include "../xml/XmlTestSupport.h"
#include "FuzzSupport.h"
#include "xml/XmlRewrite.h"

#include <string>

namespace quillon::fuzz {
namespace {
void Prepare(XmlParser& parser, uint8_t options, uint8_t more) {
  parser.ConfigText(options & 1 ? "CharsetMode=1" : "CharsetMode=0", nullptr);
  parser.PrepareForDocument();
  parser.impl.BuildDOM = !(options & 2) || (more & 1);
  parser.impl.KeepOriginalText = !(options & 4);
  parser.impl.HTMLComments = (options >> 3) & 1;
  parser.impl.PreserveWhitespace = (options >> 4) & 1;
  parser.impl.AllowLeadingDigit = (options >> 5) & 1;
  parser.impl.IncludeUnknownPrefixes = !((options >> 6) & 1);
  if (options & 0x80) parser.ConfigText("UseEncoding=UTF-8", nullptr);
  if (more & 2) {
    parser.ConfigText("AddSGMLTag=p", nullptr);
    parser.ConfigText("AddSGMLTag=a", nullptr);
  }
  if (more & 4) parser.impl.flags &= ~xfAllowTextOutsideRoot;
  if (more & 8) parser.impl.flags &= ~(xfIgnoreBadAttributePrefixes | xfIgnoreBadElementPrefixes);
}

void ReadEverything(XmlParser& parser) {
  std::string_view out;
  parser.XSubTree(&out);
  parser.XContents(&out);
  for (int i = -1; i <= parser.AttrCount(); ++i) {
    if (parser.CheckAttrIndex(i) == 0) test::AttrText(parser, i);
  }
  for (int i = -1; i <= parser.NamespaceCount(); ++i)
    if (parser.CheckNamespaceIndex(i) == 0) {
      parser.NamespacePrefix(i);
      parser.NamespaceUri(i);
    }
  for (int i = -1; i <= parser.XChildrenCount() && i < 8; ++i) {
    parser.XChildName(i, &out);
    parser.XChildNamespace(i, &out);
    parser.XChildPrefix(i, &out);
    parser.XChildXText(i, &out);
  }
  parser.AttributeByName("href");
  parser.XParent();
  parser.XText();
}
} // namespace
} // namespace quillon::fuzz

QUILLON_FUZZ_TARGET(input) {
  if (input.size() < 3) return;
  const uint8_t options = static_cast<uint8_t>(input[0]);
  const uint8_t more = static_cast<uint8_t>(input[1]);
  const size_t nul = input.find('\0', 2);
  const std::string_view document = input.substr(2, nul - 2);
  const std::string_view paths = nul == std::string_view::npos ? "" : input.substr(nul + 1);

  // The same document byte by byte under a listener, and in two pieces at `at`, gives the same
  // tree. Without the markup path, whole and in pieces, a parse gives the same outcome too: down
  // to the failure text, the kept text, the byte count and the state where it stopped.
  const auto prepare = [&](XmlParser& parser) { Prepare(parser, options, more); };
  const size_t at = document.empty() ? 0 : (more >> 4) * document.size() / 16;
  constexpr size_t kWhole = std::string_view::npos;
  const auto whole = test::ParseAndDump(prepare, document, kWhole);
  const auto split = test::ParseAndDump(prepare, document, at);
  test::RecordingSink sink;
  Check(test::ParseAndDump(prepare, document, kWhole, 1, &sink).second == whole.second);
  Check(split.second == whole.second);
  Check(test::ParseAndDump(prepare, document, kWhole, 0) == whole);
  Check(test::ParseAndDump(prepare, document, at, 0) == split);

  XmlParser parser;
  prepare(parser);
  parser.Parse(document);
  parser.SetXPath("/[lastUnclosed()]");
  ReadEverything(parser);
  ForEachLine(paths, [&](std::string_view path) {
    parser.HasXPath(path);
    parser.TextAt(path);
    parser.SetXPath(path);
    ReadEverything(parser);
    BufStr rewritten;
    XmlRewriteContext context;
    RewriteChildren(context, parser, rewritten, path, "v");
  });
}
