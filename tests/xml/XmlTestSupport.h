// Helpers of the XML tests: a parser prepared as the owners prepare it, a canonical dump of the
// tree that two parses can be compared by, and a listener that records every callback.
#pragma once

#include "frame/Errors.h"
#include "xml/XmlErrors.h"
#include "xml/XmlParser.h"

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace quillon::test {

inline std::string Str(std::string_view text) {
  return std::string(text);
}

// `piece` `count` times, or piece(i) for i = 0 .. count - 1, joined.
template <class Piece> std::string Repeat(int count, const Piece& piece) {
  std::string out;
  for (int i = 0; i < count; ++i)
    if constexpr (std::is_invocable_v<Piece, int>)
      out += piece(i);
    else
      out += piece;
  return out;
}

// " a0='0' a1='1' ..." up to `count` attributes.
inline std::string NumberedAttributes(int count) {
  return Repeat(count,
                [](int i) { return " a" + std::to_string(i) + "='" + std::to_string(i) + "'"; });
}

// Parses `text` with the owners' settings and `sink` as listener; `configs` are applied first.
inline int ParseOwned(XmlParser& parser, std::string_view text,
                      std::initializer_list<const char*> configs = {},
                      XmlEventSink* sink = nullptr) {
  parser.PrepareForDocument();
  for (const char* config : configs)
    parser.ConfigText(config, nullptr);
  if (sink) parser.impl.sink = sink;
  return parser.Parse(text);
}

// The text of the element that `path` leads to, or "<fail N>".
inline std::string TextOf(XmlParser& parser, std::string_view path) {
  const int rc = parser.SetXPath(path);
  return rc ? "<fail " + std::to_string(rc) + ">" : Str(parser.XText());
}

// Attribute `i` of the current element as "prefix:local{namespace}=value".
inline std::string AttrText(XmlParser& parser, int i) {
  return Str(parser.AttrPrefix(i)) + ":" + Str(parser.AttrLocalName(i)) + "{" +
         Str(parser.AttrNamespace(i)) + "}=" + Str(parser.AttrValue(i));
}

// The mappings in scope of the current element, outermost first, as "prefix=uri ...".
inline std::string Mappings(XmlParser& parser) {
  std::string out;
  for (int i = 0; i < parser.NamespaceCount(); ++i)
    out += (i ? " " : "") + Str(parser.NamespacePrefix(i)) + "=" + Str(parser.NamespaceUri(i));
  return out;
}

// Every element of the tree in document order: qualified name, {namespace}, attributes with
// prefix and namespace, text in [], and the kept text of the subtree and of its contents.
inline void DumpElement(XmlParser& parser, std::string& out, bool withKeptText) {
  out += "<" + Str(parser.XElement()) + " {" + Str(parser.XNamespace()) + "}";
  for (int i = 0; i < parser.AttrCount(); ++i)
    out += " " + AttrText(parser, i);
  out += " [" + Str(parser.XText()) + "]";
  if (withKeptText) {
    std::string_view subtree, contents;
    parser.XSubTree(&subtree);
    parser.XContents(&contents);
    out += " kept(" + Str(subtree) + "|" + Str(contents) + ")";
  }
  out += "\n";
  const int count = parser.XChildrenCount();
  for (int i = 1; i <= count; ++i) {
    if (parser.SetXPath("[" + std::to_string(i) + "]") != 0) {
      out += "!move\n";
      return;
    }
    DumpElement(parser, out, withKeptText);
    parser.SetXPath("..");
  }
}

inline std::string DumpTree(XmlParser& parser, bool withKeptText = false) {
  if (parser.SetXPath("/") != 0) return "<no tree>";
  std::string out;
  DumpElement(parser, out, withKeptText);
  return out;
}

// Where a parse stopped and what it left, read before a path walk changes the failure text.
inline std::string Outcome(const XmlParser& parser, int rc) {
  return std::to_string(rc) + " state " + std::to_string(parser.impl.state) + " at " +
         std::to_string(parser.impl.inputCount) + " markup " +
         std::to_string(parser.impl.markupStart) + " [" + Str(parser.impl.errorText.View()) +
         "] kept(" + Str(parser.OriginalText()) + ")";
}

// `text` parsed by a parser that `prepare` readies: whole when `split` is npos, else in two pieces
// cut there; with `markupPath` 0 ordinary markup is read byte by byte too. Outcome, and tree.
template <class Prepare>
std::pair<std::string, std::string> ParseAndDump(const Prepare& prepare, std::string_view text,
                                                 size_t split, uint8_t markupPath = 1,
                                                 XmlEventSink* sink = nullptr) {
  XmlParser parser;
  prepare(parser);
  if (sink) parser.impl.sink = sink;
  parser.impl.markupPath = markupPath;
  const bool whole = split == std::string_view::npos;
  int rc = whole ? parser.Parse(text) : parser.impl.Feed(text.substr(0, split));
  if (rc == 0 && !whole) rc = parser.impl.Feed(text.substr(split));
  return {Outcome(parser, rc), std::to_string(rc) + " " + DumpTree(parser, true)};
}

// Records the callbacks as lines; optionally stops the scanner at one of them.
class RecordingSink : public XmlEventSink {
public:
  std::vector<std::string> events;
  std::string stopAt; // the event name at which to return `stopCode`
  int stopCode = 0;
  int inputBytes = 0;
  XmlParser* parser = nullptr; // read during OnStartElement, when set

  int Record(const std::string& name, const std::string& line) {
    events.push_back(name + " " + line);
    return name == stopAt ? stopCode : 0;
  }
  int OnCharacters(const char* text, int length) override {
    return Record("chars", std::string(text, static_cast<size_t>(length)) + "|" + text);
  }
  int OnComment(const char* text) override { return Record("comment", text); }
  int OnEndElement(const char* ns, const char* local, const char* qname, bool wasEmpty) override {
    return Record("end", std::string(ns) + " " + local + " " + qname + (wasEmpty ? " empty" : ""));
  }
  int OnEndPrefixMapping(const char* prefix) override { return Record("endprefix", prefix); }
  int OnError(int code, const char* text) override {
    return Record("error", std::to_string(code) + " " + text);
  }
  int OnEvalEntity(const char* name, const char** value) override {
    return Record("entity", std::string(name) + "=" + *value);
  }
  int OnIgnorableWhitespace(const char* text) override {
    return Record("ignorable", std::to_string(std::string_view(text).size()));
  }
  int OnMeta(const char* text) override { return Record("meta", text); }
  int OnPI(const char* text) override { return Record("pi", text); }
  int OnSpecialSection(const char* keyword, const char* text) override {
    return Record("section", std::string(keyword) + "|" + text);
  }
  int OnStartElement(const char* ns, const char* local, const char* qname, bool isEmpty) override {
    std::string line = std::string(ns) + " " + local + " " + qname + (isEmpty ? " empty" : "");
    for (int i = 0; parser && i < parser->AttrCount(); ++i)
      line += " " + AttrText(*parser, i);
    return Record("start", line);
  }
  int OnStartPrefixMapping(const char* prefix, const char* ns) override {
    return Record("prefix", std::string(prefix) + "=" + ns);
  }
  int OnInputByte(char) override {
    ++inputBytes;
    return 0;
  }
};

} // namespace quillon::test
