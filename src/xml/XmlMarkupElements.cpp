// The element stack's steps for ordinary markup (XmlScanMarkup.cpp): no listener, no SGML rule,
// the tree built. Each does what StoreAttribute, StartElement and EndElement (XmlElements.cpp) do
// in that case, in the same order and with the same failures, taking no other branch.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlScanBytes.h"

namespace quillon {

namespace {
constexpr std::string_view kXmlns = "xmlns";

bool IsNamespaceDeclaration(std::string_view name) {
  return name.size() >= kXmlns.size() && SameBytes(name.data(), kXmlns.data(), kXmlns.size());
}
} // namespace

// StoreAttribute of a pair that is no declaration.
int xmlpimpl::MarkupAttribute(std::string_view name, uint32_t known, std::string_view value,
                              uint32_t keptAt, uint32_t* previousName,
                              XmlNamePool::Sequel* sequel) {
  if (IsNamespaceDeclaration(name)) return StoreAttribute(name, value, keptAt);
  Work& w = *work;
  if (w.attrCount == kMaxAttributes) return errOutOfMemory;
  PendingAttribute& attribute = w.attributes[w.attrCount];
  attribute.name = known;
  if (known == kNoName &&
      tree.Names().InternAfter(*previousName, *sequel, name, &attribute.name) != errNone)
    return errOutOfMemory;
  *previousName = attribute.name;
  *sequel = XmlNamePool::sqNextAttribute;
  attribute.keptAt = keptAt;
  attribute.valueLength = static_cast<uint32_t>(value.size());
  if (keptAt == kNotKept) {
    attribute.valueAt = static_cast<uint32_t>(w.values.Length());
    if (w.values.Append(value) != errNone || w.values.AppendChar(0) != errNone)
      return errOutOfMemory;
  }
  ++w.attrCount;
  return errNone;
}

// StartElement without a listener: the element and its attributes resolved, through the
// resolutions cached with their names, and appended to the tree.
int xmlpimpl::MarkupStartElement(bool isEmpty) {
  Work& w = *work;
  int rc;
  if (w.depth == kMaxOpen) return errOutOfMemory;
  if ((rc = TakeKeptText()) != errNone) return rc;
  const uint32_t name = w.elementName;
  OpenElement& open = w.open[w.depth++];
  open.name = name;
  open.textStart = static_cast<uint32_t>(w.elementText.Length());
  const int depth = w.depth;
  XmlNamePool& names = tree.Names();
  XmlNameTable& prefixes = w.prefixes;
  // A cached resolution is one without a report: a name without a prefix, or a known prefix.
  int mapping = names.CachedMapping(name, w.scopeVersion);
  bool wholeName = names.ColonAt(name) < 0;
  if (mapping == -2) {
    std::string_view ns, local;
    if ((rc = ResolveElementName(name, &ns, &local, &mapping)) != errNone) return rc;
    wholeName = local.size() == names.Name(name).size();
  }
  const int scopeCount = prefixes.Count();
  const uint32_t scopeTop = scopeCount > 0 ? prefixes.Offset(scopeCount - 1) : 0;
  const int attrCount = w.attrCount;
  if ((rc = tree.AppendElement(name | (wholeName ? XmlTree::kWholeName : 0), depth,
                               mapping >= 0 ? prefixes.Offset(mapping) : 0, scopeTop, scopeCount,
                               isEmpty, attrCount, markupStart, inputCount)) != errNone)
    return rc;
  for (int i = 0; i < attrCount; ++i) {
    const PendingAttribute& attribute = w.attributes[i];
    uint32_t attrName = attribute.name | XmlTree::kWholeName;
    uint32_t attrMapping = 0;
    if (names.ColonAt(attribute.name) >= 0) {
      std::string_view local;
      rc = ResolveAttributeName(attribute.name, &local, &attrMapping);
      if (local.size() != names.Name(attribute.name).size()) attrName = attribute.name;
    }
    if (rc == errNone) {
      const char* value =
          attribute.keptAt == kNotKept ? w.values.Data() + attribute.valueAt : nullptr;
      rc = tree.AppendAttribute(attrName, attrMapping, value, attribute.valueLength,
                                attribute.keptAt);
    }
    if (rc != errNone) {
      tree.SetAttrCount(depth, i);
      return rc;
    }
  }
  w.elementName = kNoName;
  w.attrCount = 0;
  w.values.Clear();
  return errNone;
}

// EndElement of the innermost element, without a listener. Its name was resolved when it opened,
// in the same scope, so resolving it again could not fail.
int xmlpimpl::MarkupEndElement(bool wasEmpty) {
  Work& w = *work;
  const int depth = w.depth;
  const OpenElement& open = w.open[depth - 1];
  const uint32_t contentEnd = wasEmpty ? inputCount : markupStart;
  int rc;
  // A text that is one run of the kept text stays there.
  if (w.textKeptAt != kNotKept && w.elementText.Length() == static_cast<int>(open.textStart))
    rc = tree.CompleteElement(depth, nullptr, w.textKeptLength, w.textKeptAt, contentEnd,
                              inputCount);
  else if ((rc = TakeKeptText()) == errNone)
    rc = tree.CompleteElement(depth, w.elementText.Data() + open.textStart,
                              static_cast<uint32_t>(w.elementText.Length()) - open.textStart,
                              kNotKept, contentEnd, inputCount);
  if (rc != errNone) return rc;
  w.textKeptAt = kNotKept;
  w.elementText.Truncate(static_cast<int>(open.textStart));
  XmlNameTable& prefixes = w.prefixes;
  while (prefixes.Count() > 0 &&
         prefixes.Depth(prefixes.Count() - 1) == static_cast<uint32_t>(depth)) {
    prefixes.Pop();
    ++w.scopeVersion;
  }
  w.depth = depth - 1;
  w.token.Clear();
  return errNone;
}

} // namespace quillon
