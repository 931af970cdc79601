// Bindings of the response document's cursor: XPath, X..., Attr... They read the cursor element
// of the core's parser; only XPath moves it.
#pragma once

#include "surface/Bindings.h"

namespace quillon {

// A failure of the parser, with its text, as the core's.
inline int ParserResult(QuillonCore& core, int rc) {
  return rc == errNone ? rc : core.ParserFailure(rc);
}

inline int GetAttrCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.parser.AttrCount();
  return errNone;
}
template <std::string_view (XmlParser::*Read)(int) const>
int GetAttr(QuillonCore& core, int index, PropertyValue& out) {
  if (index < 0 || index >= core.parser.AttrCount())
    return core.Fail(errArrayIndex, "Invalid Index");
  out.text.Point((core.parser.*Read)(index));
  return errNone;
}
template <std::string_view (XmlParser::*Read)(int) const>
constexpr Binding AttrText{&GetAttr<Read>, nullptr};

inline int GetXChildrenCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.parser.XChildrenCount();
  return errNone;
}
template <int (XmlParser::*Read)(int, std::string_view*)>
int GetXChild(QuillonCore& core, int index, PropertyValue& out) {
  if (index < 0 || index >= core.parser.XChildrenCount())
    return core.Fail(errArrayIndex, "Invalid Index");
  std::string_view text;
  if (int rc = (core.parser.*Read)(index, &text); rc != errNone) return ParserResult(core, rc);
  out.text.Point(text);
  return errNone;
}
template <int (XmlParser::*Read)(int, std::string_view*)>
constexpr Binding XChildText{&GetXChild<Read>, nullptr};

template <std::string_view (XmlParser::*Read)() const>
int GetCursorText(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point((core.parser.*Read)());
  return errNone;
}
template <std::string_view (XmlParser::*Read)() const>
constexpr Binding CursorText{&GetCursorText<Read>, nullptr};

inline int GetXElement(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.parser.XElement());
  return errNone;
}
inline int GetXSubTree(QuillonCore& core, int, PropertyValue& out) {
  std::string_view text;
  if (int rc = core.parser.XSubTree(&text); rc != errNone) return ParserResult(core, rc);
  out.text.Point(text);
  return errNone;
}
inline int GetXPath(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.parser.XPath());
  return errNone;
}
inline int SetXPath(QuillonCore& core, int, const PropertyValue& in) {
  return ParserResult(core, core.parser.SetXPath(in.text.View()));
}

} // namespace quillon
