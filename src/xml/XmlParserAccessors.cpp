// What XmlParser shows of the current element: attributes and mappings (from the live tables
// while OnStartElement runs, otherwise from the tree), children by index, and the kept text.
#include "xml/XmlParser.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "xml/XmlErrors.h"

namespace quillon {

std::string_view XmlParser::XParent() const {
  const uint32_t element = Current();
  if (element == impl.tree.Root()) return {};
  return impl.tree.LocalName(impl.tree.ParentOf(element));
}

int XmlParser::XChildrenCount() const {
  const int count = impl.tree.ChildCountOf(Current());
  return count < 0 ? 0 : count;
}

int XmlParser::KeptText(XmlKeptPart part, std::string_view* out) {
  *out = {};
  if (!impl.KeepOriginalText) {
    impl.SetErrorByCode(errNoOriginalText);
    return Fail(errNoOriginalText, impl.errorText.Data());
  }
  uint32_t start, end;
  impl.tree.KeptRange(Current(), part, &start, &end);
  const std::string_view kept = impl.originalText.View();
  if (end > start && end <= kept.size()) *out = kept.substr(start, end - start);
  return errNone;
}

int XmlParser::XSubTree(std::string_view* out) {
  return KeptText(kpSubtree, out);
}

int XmlParser::XContents(std::string_view* out) {
  return KeptText(kpContents, out);
}

int XmlParser::CheckChildIndex(int i) {
  const int count = XChildrenCount();
  if (count == 0) return Fail(errNoElements, "No elements available.");
  if (i < 0 || i >= count) return Fail(errElementIndex, "Invalid element index.");
  return errNone;
}

// Moves to child i, reads one part and moves back; the path text is not touched.
int XmlParser::ReadChild(int i, ChildPart part, std::string_view* out) {
  *out = {};
  if (int rc = CheckChildIndex(i); rc != errNone) return rc;
  XmlTree& tree = impl.tree;
  const uint32_t saved = tree.Cursor();
  tree.SetCursor(Current());
  if (tree.NthChild(i + 1) == errNone) {
    const uint32_t child = tree.Cursor();
    *out = part == cpName        ? tree.QualifiedNameOf(child)
           : part == cpNamespace ? tree.NamespaceOf(child)
           : part == cpPrefix    ? tree.PrefixOf(child)
                                 : tree.TextOf(child);
  }
  tree.SetCursor(saved);
  return errNone;
}

int XmlParser::AttrCount() const {
  if (InCallback()) return impl.LiveAttrCount();
  return impl.tree.AttrCountOf(Current());
}

std::string_view XmlParser::AttrLocalName(int i) const {
  if (InCallback()) {
    const std::string_view name = impl.LiveAttrName(i);
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
  }
  return impl.tree.AttrLocalName(CurrentAttribute(i));
}

std::string_view XmlParser::AttrPrefix(int i) const {
  if (InCallback()) {
    const std::string_view name = impl.LiveAttrName(i);
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
  }
  return impl.tree.MappingPrefix(impl.tree.AttrMapping(CurrentAttribute(i)));
}

std::string_view XmlParser::AttrNamespace(int i) const {
  if (InCallback()) return impl.LiveAttrNamespace(i);
  return impl.tree.MappingUri(impl.tree.AttrMapping(CurrentAttribute(i)));
}

std::string_view XmlParser::AttrValue(int i) const {
  if (InCallback()) return impl.LiveAttrValue(i);
  return impl.tree.AttrValue(CurrentAttribute(i));
}

int XmlParser::CheckAttrIndex(int i) {
  const int count = AttrCount();
  if (count == 0) return Fail(errNoAttributes, "No attributes available.");
  if (i < 0 || i >= count) return Fail(errAttrIndex, "Invalid attribute index.");
  return errNone;
}

const char* XmlParser::AttributeByName(std::string_view name) const {
  const int count = AttrCount();
  for (int i = 0; i < count; ++i)
    if (SameNoCase(AttrLocalName(i), name)) return AttrValue(i).data();
  return nullptr;
}

int XmlParser::AttributeValue(std::string_view name, std::string_view* out) {
  const char* value = AttributeByName(name);
  if (value) {
    *out = value;
    return errNone;
  }
  *out = {};
  if (ErrorOnEmptyAttr) return Fail(errNoAttribute, "Attribute does not exist.");
  return errNone;
}

int XmlParser::NamespaceCount() const {
  if (InCallback()) return impl.LivePrefixCount();
  return impl.tree.ScopeCountOf(Current());
}

int XmlParser::DeclaredNamespaceCount() const {
  if (InCallback()) return 0;
  const uint32_t element = Current();
  return NamespaceCount() - impl.tree.ScopeCountOf(impl.tree.ParentOf(element));
}

std::string_view XmlParser::NamespacePrefix(int i) const {
  if (InCallback()) return impl.LivePrefix(i);
  return impl.tree.MappingPrefix(impl.tree.MappingInScope(Current(), i));
}

std::string_view XmlParser::NamespaceUri(int i) const {
  if (InCallback()) return impl.LivePrefixUri(i);
  return impl.tree.MappingUri(impl.tree.MappingInScope(Current(), i));
}

int XmlParser::CheckNamespaceIndex(int i) {
  const int count = NamespaceCount();
  if (count == 0) return Fail(errNoNamespaces, "No namespaces available.");
  if (i < 0 || i >= count) return Fail(errNamespaceIndex, "Invalid namespace index.");
  return errNone;
}

} // namespace quillon
