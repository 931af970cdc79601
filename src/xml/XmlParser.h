// The XML parser as its owners use it: a document parsed in one piece into a packed tree, a
// cursor moved by paths, and the names, text, attributes, mappings and kept original text of
// the cursor element. The scanner itself is xmlpimpl; the path rewrite is XmlRewrite.h.
#pragma once

#include "frame/ComponentCore.h"
#include "xml/XmlEventSink.h"
#include "xml/xmlpimpl.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// Texts handed out as views point into the parser (its tree, kept text or scratch strings). They
// stay valid until the next parse; a view of a scratch string (qualified names) until the next
// call that fills the same string. Names, values and texts are NUL-terminated where they lie;
// XSubTree, XContents and OriginalText are slices of the kept text and are not. (A value or text
// that the tree finds in the kept text is copied on its first read, into room made by the parse;
// read while the parse is under way, from OnStartElement, it may be unterminated.)
class XmlParser : public ComponentCore, public XmlEventSink {
public:
  XmlParser();
  ~XmlParser() override = default;

  // Documents
  // What every owner does before Parse: charsetMode from the owner's CharsetMode (or, without
  // an argument, as the parser's core holds it), ErrorOnEmptyAttr cleared, the parser as its own
  // sink, Reset, BuildDOM on, and both IgnoreBad...Prefixes flags set.
  void PrepareForDocument(int8_t ownerCharsetMode) {
    charsetMode = ownerCharsetMode;
    PrepareForDocument();
  }
  void PrepareForDocument();
  // Prepares for a new document, taking charsetMode from the core; keeps the settings.
  void Reset();
  // Parses bytes up to the first NUL (or the end). On failure the code is returned with its text
  // in lastError, and the tree up to the failing byte stays readable.
  int Parse(const char* text);
  int Parse(std::string_view bytes);

  // Config: the keys of the parser, then those of ComponentCore.
  int Config(ConfigRequest& request, const char** result) override;

  // Cursor
  // Walks `path`; on failure the code, with its text in lastError, and the cursor at the last
  // step that succeeded.
  int SetXPath(std::string_view path);
  // Whether `path` leads to an element; the cursor, path text and last error stay as they were.
  bool HasXPath(std::string_view path);
  // The text of the element at `path`, empty if there is none; the cursor is left on that
  // element's parent.
  std::string_view TextAt(std::string_view path);
  // A path that leads back to the cursor, of qualified names and indexes; a step with an
  // attribute test adds only its name, so after one the path need not lead back.
  std::string_view XPath() const { return impl.XPathText(); }
  // Child n (from 1) of the cursor element: 0 or 207. Walking 1..n in order is linear in n.
  int NthChild(int n) { return impl.tree.NthChild(n); }
  // The next sibling of the cursor element: 0 or 207 behind the last one.
  int NextSibling() { return impl.tree.NextSibling(); }
  // The cursor as a record offset; SetXPath of '*' and this number returns to it.
  uint32_t CursorOffset() const { return impl.tree.OffsetOf(impl.tree.Cursor()); }
  // Everything pushed through the scanner, while KeepOriginalText is set.
  std::string_view OriginalText() const { return impl.originalText.View(); }

  // The cursor element (the root until a path has been walked, except for XElement)
  std::string_view XElement() { return impl.tree.QualifiedName(); }
  std::string_view LocalName() const { return impl.tree.LocalName(Current()); }
  std::string_view XNamespace() const { return impl.tree.NamespaceOf(Current()); }
  std::string_view XPrefix() const { return impl.tree.PrefixOf(Current()); }
  // The local name of the parent, empty at the root.
  std::string_view XParent() const;
  // The element's own text: its character data and CDATA joined, without its children's.
  std::string_view XText() const { return impl.tree.TextOf(Current()); }
  // Child elements; 0 for a self-closed one.
  int XChildrenCount() const;
  // The kept text of the element from its '<' to behind its end tag, or between its tags; 214
  // without KeepOriginalText, and an empty text for an element that is still open.
  int XSubTree(std::string_view* out);
  int XContents(std::string_view* out);
  // Child i (from 0): its qualified name, namespace, prefix and text. 106 without children, 105
  // for an index outside them; the cursor and path text do not move.
  int XChildName(int i, std::string_view* out) { return ReadChild(i, cpName, out); }
  int XChildNamespace(int i, std::string_view* out) { return ReadChild(i, cpNamespace, out); }
  int XChildPrefix(int i, std::string_view* out) { return ReadChild(i, cpPrefix, out); }
  int XChildXText(int i, std::string_view* out) { return ReadChild(i, cpText, out); }

  // Attributes of the current element: the tag being reported while OnStartElement runs,
  // otherwise the cursor element. Callers check the index with CheckAttrIndex first.
  int AttrCount() const;
  std::string_view AttrLocalName(int i) const;
  std::string_view AttrPrefix(int i) const;
  std::string_view AttrNamespace(int i) const;
  std::string_view AttrValue(int i) const;
  // 0, 102 without attributes or 101 outside them, with the text in lastError.
  int CheckAttrIndex(int i);
  // The value of the first attribute whose local name equals `name` ignoring case, or null.
  const char* AttributeByName(std::string_view name) const;
  // The same as a view, empty when absent; with ErrorOnEmptyAttr a missing attribute is 107.
  int AttributeValue(std::string_view name, std::string_view* out);

  // Namespace mappings in scope at the current element, outermost first.
  int NamespaceCount() const;
  // How many of those the element declares itself: they are the last ones of the list.
  int DeclaredNamespaceCount() const;
  std::string_view NamespacePrefix(int i) const;
  std::string_view NamespaceUri(int i) const;
  // 0, 104 without mappings or 103 outside them, with the text in lastError.
  int CheckNamespaceIndex(int i);

  // XmlEventSink: the parser's own callbacks, which do nothing. A listener is installed by
  // pointing impl.sink at it.
  int OnCharacters(const char*, int) override { return 0; }
  int OnComment(const char*) override { return 0; }
  int OnEndElement(const char*, const char*, const char*, bool) override { return 0; }
  int OnEndPrefixMapping(const char*) override { return 0; }
  int OnError(int, const char*) override { return 0; }
  int OnEvalEntity(const char*, const char**) override { return 0; }
  int OnIgnorableWhitespace(const char*) override { return 0; }
  int OnMeta(const char*) override { return 0; }
  int OnPI(const char*) override { return 0; }
  int OnSpecialSection(const char*, const char*) override { return 0; }
  int OnStartElement(const char*, const char*, const char*, bool) override { return 0; }
  int OnStartPrefixMapping(const char*, const char*) override { return 0; }
  int OnInputByte(char) override { return 0; }

  // Fields
  xmlpimpl impl;                // scanner, tables, tree and settings
  int32_t ErrorOnEmptyAttr = 0; // AttributeValue fails with 107 for a missing attribute

private:
  enum ChildPart { cpName, cpNamespace, cpPrefix, cpText };
  int ReadChild(int i, ChildPart part, std::string_view* out);
  uint32_t Current() const { return impl.tree.CursorOrRoot(); }
  bool InCallback() const { return impl.inCallback != 0; }
  uint32_t CurrentAttribute(int i) const { return impl.tree.AttributeRecord(Current(), i); }
  int CheckChildIndex(int i);
  int KeptText(XmlKeptPart part, std::string_view* out);
  int SetConfigFlag(uint32_t bit, const ConfigRequest& request, const char** result);
};

} // namespace quillon
