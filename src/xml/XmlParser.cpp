// Parsing and the cursor operations of XmlParser; the accessors of the cursor element are in
// XmlParserAccessors.cpp and the Config keys in XmlParserConfig.cpp.
#include "xml/XmlParser.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "xml/XmlErrors.h"

namespace quillon {

XmlParser::XmlParser() {
  impl.ownSink = this;
  impl.sink = this;
}

void XmlParser::PrepareForDocument() {
  ErrorOnEmptyAttr = 0;
  impl.sink = this;
  Reset();
  impl.BuildDOM = 1;
  impl.flags |= xfIgnoreBadAttributePrefixes | xfIgnoreBadElementPrefixes;
}

void XmlParser::Reset() {
  impl.charsetMode = charsetMode;
  impl.Reset();
}

int XmlParser::Parse(const char* text) {
  return Parse(std::string_view(text ? text : ""));
}

int XmlParser::Parse(std::string_view bytes) {
  const int rc = impl.Feed(bytes);
  if (rc != errNone)
    lastError.Assign(impl.errorText.IsEmpty() ? XmlErrorText(rc) : impl.errorText.Data());
  return rc;
}

int XmlParser::SetXPath(std::string_view path) {
  const int rc = impl.XPathWalk(path, true);
  if (rc != errNone) lastError.Assign(impl.errorText);
  return rc;
}

// Restoring the saved cursor and path text is exact even where the path text would not lead
// back (after a step with an attribute test or a '*' offset).
bool XmlParser::HasXPath(std::string_view path) {
  if (path.empty()) return false;
  const uint32_t savedCursor = impl.tree.Cursor();
  BufStr savedPath;
  BufStr savedError;
  if (savedPath.Assign(impl.XPathText()) != errNone || savedError.Assign(impl.errorText) != errNone)
    return false;
  const int rc = impl.XPathWalk(path, true);
  impl.RestoreXPath(savedCursor, savedPath.View());
  impl.errorText.Assign(savedError);
  return rc == errNone;
}

std::string_view XmlParser::TextAt(std::string_view path) {
  if (path.empty()) return {};
  const uint32_t savedCursor = impl.tree.Cursor();
  BufStr savedPath;
  BufStr savedError;
  if (savedPath.Assign(impl.XPathText()) != errNone || savedError.Assign(impl.errorText) != errNone)
    return {};
  if (impl.XPathWalk(path, true) != errNone) {
    impl.RestoreXPath(savedCursor, savedPath.View());
    impl.errorText.Assign(savedError);
    return {};
  }
  const std::string_view text = impl.tree.TextOf(impl.tree.Cursor());
  impl.XPathWalk("..", true); // fails only at the root, where the cursor stays
  impl.errorText.Assign(savedError);
  return text;
}

} // namespace quillon
