// Properties of the response document's cursor: XPath, X..., Attr... They read the cursor
// element of the core's parser; only XPath moves it.
#include "frame/ControlSurface.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
int InvalidIndex(QuillonCore& core) {
  return core.Fail(errArrayIndex, "Invalid Index");
}

// A failure of the parser, with its text, as the core's.
int ParserResult(QuillonCore& core, int rc) {
  return rc == errNone ? rc : core.ParserFailure(rc);
}

int GetAttrCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.parser.AttrCount());
  return errNone;
}
template <std::string_view (XmlParser::*Read)(int) const>
int GetAttr(QuillonCore& core, int index, PropertyValue& out) {
  if (index < 0 || index >= core.parser.AttrCount()) return InvalidIndex(core);
  return out.text.Assign((core.parser.*Read)(index));
}

int GetChildrenCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.parser.XChildrenCount();
  return errNone;
}
template <int (XmlParser::*Read)(int, std::string_view*)>
int GetChild(QuillonCore& core, int index, PropertyValue& out) {
  if (index < 0 || index >= core.parser.XChildrenCount()) return InvalidIndex(core);
  std::string_view text;
  if (int rc = (core.parser.*Read)(index, &text); rc != errNone) return ParserResult(core, rc);
  return out.text.Assign(text);
}

template <std::string_view (XmlParser::*Read)() const>
int GetCursorText(QuillonCore& core, int, PropertyValue& out) {
  return out.text.Assign((core.parser.*Read)());
}
int GetElement(QuillonCore& core, int, PropertyValue& out) {
  return out.text.Assign(core.parser.XElement());
}
int GetSubTree(QuillonCore& core, int, PropertyValue& out) {
  std::string_view text;
  if (int rc = core.parser.XSubTree(&text); rc != errNone) return ParserResult(core, rc);
  return out.text.Assign(text);
}

int GetXPath(QuillonCore& core, int, PropertyValue& out) {
  return out.text.Assign(core.parser.XPath());
}
int SetXPath(QuillonCore& core, int, const PropertyValue& in) {
  return ParserResult(core, core.parser.SetXPath(in.text.View()));
}

constexpr const char* kAttrIndex = "AttrIndex";
constexpr const char* kChildIndex = "XChildIndex";

const PropertyRow kRows[] = {
    {136, "AttrCount", PropertyType::Integer, true, nullptr, 0, &GetAttrCount, nullptr},
    {137, "AttrName", PropertyType::Text, true, kAttrIndex, 0, &GetAttr<&XmlParser::AttrLocalName>,
     nullptr},
    {138, "AttrNamespace", PropertyType::Text, true, kAttrIndex, 0,
     &GetAttr<&XmlParser::AttrNamespace>, nullptr},
    {139, "AttrPrefix", PropertyType::Text, true, kAttrIndex, 0, &GetAttr<&XmlParser::AttrPrefix>,
     nullptr},
    {140, "AttrValue", PropertyType::Text, true, kAttrIndex, 0, &GetAttr<&XmlParser::AttrValue>,
     nullptr},
    {141, "XChildrenCount", PropertyType::Integer, true, nullptr, 0, &GetChildrenCount, nullptr},
    {142, "XChildName", PropertyType::Text, true, kChildIndex, 0, &GetChild<&XmlParser::XChildName>,
     nullptr},
    {143, "XChildNamespace", PropertyType::Text, true, kChildIndex, 0,
     &GetChild<&XmlParser::XChildNamespace>, nullptr},
    {144, "XChildPrefix", PropertyType::Text, true, kChildIndex, 0,
     &GetChild<&XmlParser::XChildPrefix>, nullptr},
    {145, "XChildXText", PropertyType::Text, true, kChildIndex, 0,
     &GetChild<&XmlParser::XChildXText>, nullptr},
    {146, "XElement", PropertyType::Text, true, nullptr, 0, &GetElement, nullptr},
    {147, "XNamespace", PropertyType::Text, true, nullptr, 0,
     &GetCursorText<&XmlParser::XNamespace>, nullptr},
    {148, "XParent", PropertyType::Text, true, nullptr, 0, &GetCursorText<&XmlParser::XParent>,
     nullptr},
    {149, "XPath", PropertyType::Text, false, nullptr, 0, &GetXPath, &SetXPath},
    {150, "XPrefix", PropertyType::Text, true, nullptr, 0, &GetCursorText<&XmlParser::XPrefix>,
     nullptr},
    {151, "XSubTree", PropertyType::Text, true, nullptr, 0, &GetSubTree, nullptr},
    {152, "XText", PropertyType::Text, true, nullptr, 0, &GetCursorText<&XmlParser::XText>,
     nullptr},
};
} // namespace

std::span<const PropertyRow> XmlProperties() {
  return kRows;
}

} // namespace quillon
