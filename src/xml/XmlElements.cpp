// The element stack behind the scanner. Prefixes resolve late: a start tag's element and
// attributes are resolved only when the whole tag has been read, so a declaration counts for
// the tag that carries it wherever it stands. The SGML rule (a non-empty sgmlTags) closes every
// element whose name is not in the list at the next markup, and rewrites the kept text so that
// the closing tag stands where the element ended: the markup just read is cut off, "</name>" is
// appended and the cut markup appended again.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlErrors.h"
#include "xml/XmlNamespaces.h"

namespace quillon {

namespace {
constexpr std::string_view kXmlnsPrefix = "xmlns";

// Position of the first ':' in a name (names are short: a plain loop beats a library call).
inline size_t FindColon(std::string_view name) {
  for (size_t i = 0; i < name.size(); ++i)
    if (name[i] == ':') return i;
  return std::string_view::npos;
}
} // namespace

bool xmlpimpl::InSgmlList(std::string_view name) const {
  // The list reads " a b c ": a name counts with a space on each side.
  const std::string_view list = sgmlTags.View();
  for (size_t at = list.find(name); at != std::string_view::npos; at = list.find(name, at + 1))
    if (at > 0 && list[at - 1] == ' ' && at + name.size() < list.size() &&
        list[at + name.size()] == ' ')
      return true;
  return false;
}

int xmlpimpl::AddSGMLTag(std::string_view name) {
  if (name.empty() || InSgmlList(name)) return errNone;
  if (sgmlTags.IsEmpty() && sgmlTags.AppendChar(' ') != errNone) return errOutOfMemory;
  if (sgmlTags.Append(name) != errNone || sgmlTags.AppendChar(' ') != errNone)
    return errOutOfMemory;
  return errNone;
}

int xmlpimpl::FailWithName(int code, const char* text, std::string_view name) {
  errorText.Assign(text);
  errorText.Append(name);
  return code;
}

// An element takes the mapping of its prefix, or the innermost default namespace when it has
// none. An unknown prefix fails, or with IgnoreBadElementPrefixes is reported to OnError and
// leaves the element without namespace.
int xmlpimpl::ResolveElement(std::string_view qname, std::string_view* ns, std::string_view* local,
                             int* mapping) {
  XmlNameTable& prefixes = work->prefixes;
  const size_t colon = FindColon(qname);
  if (colon == std::string_view::npos) {
    *local = qname;
    *mapping = prefixes.FindFromTop({});
    *ns = *mapping >= 0 ? prefixes.Value(*mapping) : std::string_view();
    return errNone;
  }
  const std::string_view prefix = qname.substr(0, colon);
  *mapping = prefixes.FindFromTop(prefix);
  if (*mapping >= 0) {
    *ns = prefixes.Value(*mapping);
    *local = qname.substr(colon + 1);
    return errNone;
  }
  *ns = {};
  *local = IncludeUnknownPrefixes ? qname : qname.substr(colon + 1);
  constexpr const char* kText = "Unknown element prefix (can't find namespace): ";
  if (!(flags & xfIgnoreBadElementPrefixes))
    return FailWithName(errUnknownElementPrefix, kText, prefix);
  if (XmlEventSink* listener = Listener()) {
    XmlScanText& message = work->message;
    message.Assign(kText);
    message.Append(prefix);
    listener->OnError(errUnknownElementPrefix, message.Data());
  }
  return errNone;
}

// An attribute without a prefix has no namespace: default namespaces do not apply to
// attributes. "xml" needs no declaration.
int xmlpimpl::ResolveAttribute(std::string_view qname, std::string_view* ns,
                               std::string_view* local, uint32_t* mappingRecord) {
  *ns = {};
  *local = qname;
  *mappingRecord = 0;
  const size_t colon = FindColon(qname);
  if (colon == std::string_view::npos) return errNone;
  XmlNameTable& prefixes = work->prefixes;
  const std::string_view prefix = qname.substr(0, colon);
  const int mapping = prefixes.FindFromTop(prefix);
  if (mapping >= 0) {
    *ns = prefixes.Value(mapping);
    *local = qname.substr(colon + 1);
    *mappingRecord = prefixes.Offset(mapping);
    return errNone;
  }
  if (prefix == "xml") {
    *ns = NS_XML;
    *local = qname.substr(colon + 1);
    *mappingRecord = tree.XmlMapping();
    return errNone;
  }
  if (!IncludeUnknownPrefixes) *local = qname.substr(colon + 1);
  constexpr const char* kText = "Unknown attribute prefix (can't find namespace): ";
  if (!(flags & xfIgnoreBadAttributePrefixes))
    return FailWithName(errUnknownAttrPrefix, kText, prefix);
  if (XmlEventSink* listener = Listener()) {
    XmlScanText& message = work->message;
    message.Assign(kText);
    message.Append(prefix);
    listener->OnError(errUnknownAttrPrefix, message.Data());
  }
  return errNone;
}

std::string_view xmlpimpl::LiveAttrName(int i) const {
  return NameOf(work->attributes[i].name);
}

std::string_view xmlpimpl::LiveAttrValue(int i) const {
  const PendingAttribute& attribute = work->attributes[i];
  // Values in the kept text come only from the fast path, which runs without a listener.
  if (attribute.keptAt != kNotKept) return {};
  return {work->values.Data() + attribute.valueAt, attribute.valueLength};
}

std::string_view xmlpimpl::LiveAttrNamespace(int i) const {
  const std::string_view qname = LiveAttrName(i);
  const size_t colon = qname.find(':');
  if (colon == std::string_view::npos) return {};
  const std::string_view prefix = qname.substr(0, colon);
  const int mapping = work->prefixes.FindFromTop(prefix);
  if (mapping >= 0) return work->prefixes.Value(mapping);
  return prefix == "xml" ? NS_XML : std::string_view();
}

int xmlpimpl::ResolveElementName(uint32_t name, std::string_view* ns, std::string_view* local,
                                 int* mapping) {
  if (name == kNoName) return ResolveElement({}, ns, local, mapping);
  XmlNamePool& names = tree.Names();
  const std::string_view qname = names.Name(name);
  const uint32_t scope = work->scopeVersion;
  const int cached = names.CachedMapping(name, scope);
  if (cached != -2) {
    const int colon = names.ColonAt(name);
    *mapping = cached;
    *local = colon < 0 ? qname : qname.substr(static_cast<size_t>(colon) + 1);
    *ns = cached >= 0 ? work->prefixes.Value(cached) : std::string_view();
    return errNone;
  }
  const int rc = ResolveElement(qname, ns, local, mapping);
  // An unknown prefix is reported each time, so only resolutions without a report are kept.
  if (rc == errNone && (*mapping >= 0 || names.ColonAt(name) < 0))
    names.CacheMapping(name, scope, *mapping);
  return rc;
}

// A prefixed name resolves alike for elements and attributes, so the cache serves both; an
// attribute without a prefix needs no look-up at all.
int xmlpimpl::ResolveAttributeName(uint32_t name, std::string_view* local,
                                   uint32_t* mappingRecord) {
  XmlNamePool& names = tree.Names();
  const std::string_view qname = names.Name(name);
  const int colon = names.ColonAt(name);
  if (colon < 0) {
    *local = qname;
    *mappingRecord = 0;
    return errNone;
  }
  const uint32_t scope = work->scopeVersion;
  const int cached = names.CachedMapping(name, scope);
  if (cached >= 0) {
    *local = qname.substr(static_cast<size_t>(colon) + 1);
    *mappingRecord = work->prefixes.Offset(cached);
    return errNone;
  }
  std::string_view ns;
  const int rc = ResolveAttribute(qname, &ns, local, mappingRecord);
  if (rc == errNone && !ns.empty()) {
    const int mapping = work->prefixes.FindFromTop(qname.substr(0, static_cast<size_t>(colon)));
    if (mapping >= 0) names.CacheMapping(name, scope, mapping);
  }
  return rc;
}

int xmlpimpl::EndOfTagName(std::string_view name) {
  Work& w = *work;
  if (int rc = FlushAll(); rc != errNone) return rc;
  const uint32_t previous = w.elementName;
  if (tree.Names().Intern(name, &w.elementName) != errNone) return errOutOfMemory;
  // With the SGML rule the element of the last start tag is closed here unless its name has
  // end tags.
  if (!sgmlTags.IsEmpty() && previous != kNoName && !NameOf(previous).empty() &&
      !InSgmlList(NameOf(previous)))
    if (int rc = EndElement(false, true, NameOf(previous)); rc != errNone) return rc;
  w.token.Clear();
  w.attrName.Clear();
  return errNone;
}

int xmlpimpl::StoreAttribute() {
  Work& w = *work;
  if (int rc = StoreAttribute(w.attrName.View(), w.token.View(), kNotKept); rc != errNone)
    return rc;
  w.attrName.Clear();
  w.token.Clear();
  return errNone;
}

int xmlpimpl::StoreAttribute(std::string_view name, std::string_view value, uint32_t keptAt) {
  Work& w = *work;
  if (name.size() < kXmlnsPrefix.size() || !name.starts_with(kXmlnsPrefix)) {
    if (w.attrCount == kMaxAttributes) return errOutOfMemory;
    PendingAttribute& attribute = w.attributes[w.attrCount];
    if (tree.Names().Intern(name, &attribute.name) != errNone) return errOutOfMemory;
    return AddPendingAttribute(attribute, value, keptAt);
  }
  // "xmlns" declares the default namespace, "xmlns:p" and also "xmlnsp" the prefix p.
  std::string_view prefix = name.substr(kXmlnsPrefix.size());
  if (!prefix.empty() && prefix[0] == ':') prefix.remove_prefix(1);
  int rc;
  if ((rc = w.prefixes.Push(prefix, value)) != errNone) return rc;
  ++w.scopeVersion;
  const int index = w.prefixes.Count() - 1;
  w.prefixes.Depth(index) = static_cast<uint32_t>(w.depth + 1);
  w.prefixes.Offset(index) = 0;
  if (XmlEventSink* listener = Listener())
    if ((rc = listener->OnStartPrefixMapping(w.prefixes.Name(index).data(),
                                             w.prefixes.Value(index).data())) != errNone)
      return rc;
  if (!BuildDOM) return errNone;
  const uint32_t below = index > 0 ? w.prefixes.Offset(index - 1) : 0;
  return tree.AppendMapping(prefix, value, below, &w.prefixes.Offset(index));
}

int xmlpimpl::StartElement(bool isEmpty) {
  Work& w = *work;
  int rc;
  if (w.depth == kMaxOpen) return errOutOfMemory;
  // A run of the parent's text comes before anything of the child in elementText.
  if ((rc = TakeKeptText()) != errNone) return rc;
  OpenElement& open = w.open[w.depth++];
  open.name = w.elementName;
  open.textStart = static_cast<uint32_t>(w.elementText.Length());
  const int depth = w.depth;
  const std::string_view qname = NameOf(open.name);
  std::string_view ns, local;
  int mapping;
  if ((rc = ResolveElementName(open.name, &ns, &local, &mapping)) != errNone) return rc;
  if (XmlEventSink* listener = Listener()) {
    inCallback = 1;
    rc = listener->OnStartElement(ns.data() ? ns.data() : "", local.data(), qname.data(), isEmpty);
    inCallback = 0;
    if (rc != errNone) return rc;
  }
  if (BuildDOM) {
    const int attrCount = w.attrCount;
    const int scopeCount = w.prefixes.Count();
    const uint32_t scopeTop = scopeCount > 0 ? w.prefixes.Offset(scopeCount - 1) : 0;
    const uint32_t wholeName = local.size() == qname.size() ? XmlTree::kWholeName : 0;
    if ((rc = tree.AppendElement(
             open.name | wholeName, depth, mapping >= 0 ? w.prefixes.Offset(mapping) : 0, scopeTop,
             scopeCount, isEmpty, attrCount, markupStart, inputCount)) != errNone)
      return rc;
    for (int i = 0; i < attrCount; ++i) {
      const PendingAttribute& attribute = w.attributes[i];
      std::string_view attrLocal;
      uint32_t attrMapping;
      rc = ResolveAttributeName(attribute.name, &attrLocal, &attrMapping);
      if (rc == errNone) {
        const uint32_t attrName =
            attribute.name |
            (attrLocal.size() == NameOf(attribute.name).size() ? XmlTree::kWholeName : 0);
        rc = AppendPendingAttribute(attribute, attrName, attrMapping);
      }
      if (rc != errNone) {
        // The records so far stay readable.
        tree.SetAttrCount(depth, i);
        return rc;
      }
    }
  }
  if (sgmlTags.IsEmpty()) w.elementName = kNoName;
  w.attrCount = 0;
  w.values.Clear();
  return errNone;
}

int xmlpimpl::EmptyElement() {
  const uint32_t name = work->elementName;
  if (int rc = StartElement(true); rc != errNone) return rc;
  return EndElement(true, false, NameOf(name));
}

int xmlpimpl::EndElement(bool wasEmpty, bool implied, std::string_view qname) {
  Work& w = *work;
  int rc;
  if ((rc = FlushAll()) != errNone) return rc;
  // The end tag's name, kept while an implied close empties `token`.
  BufStrN<63> endTag;
  if (!implied && !sgmlTags.IsEmpty() && w.elementName != kNoName) {
    // An end tag first closes the element of the last start tag if that one has no end tags.
    const std::string_view last = NameOf(w.elementName);
    if (!last.empty() && !InSgmlList(last) && last != qname) {
      if (endTag.Assign(qname) != errNone) return errOutOfMemory;
      if ((rc = EndElement(false, true, last)) != errNone) return rc;
      qname = endTag.View();
    }
    w.elementName = kNoName;
  }

  uint32_t closeAt = markupStart;
  uint32_t closeLength = 0;
  if (implied && !wasEmpty && KeepOriginalText) {
    if ((rc = FlushOriginal(current + 1)) != errNone) return rc;
    const int cut = markupStart <= static_cast<uint32_t>(originalText.Length())
                        ? static_cast<int>(markupStart)
                        : originalText.Length();
    XmlScanText& markup = w.message;
    if (markup.Assign(originalText.View().substr(static_cast<size_t>(cut))) != errNone ||
        (originalText.Truncate(cut), originalText.Append("</", 2)) != errNone ||
        originalText.Append(qname) != errNone || originalText.AppendChar('>') != errNone ||
        originalText.Append(markup.View()) != errNone)
      return errOutOfMemory;
    closeAt = static_cast<uint32_t>(cut);
    closeLength = static_cast<uint32_t>(qname.size() + 3);
    markupStart += closeLength;
    inputCount += closeLength;
    chunkCount += closeLength;
  }

  XmlEventSink* listener = Listener();
  // The name resolves again for the listener; without one, only a failure would show.
  if (listener || !(flags & xfIgnoreBadElementPrefixes)) {
    std::string_view ns, local;
    int mapping;
    if ((rc = ResolveElement(qname, &ns, &local, &mapping)) != errNone) return rc;
    if (listener && (rc = listener->OnEndElement(ns.data() ? ns.data() : "", local.data(),
                                                 qname.data(), wasEmpty)) != errNone)
      return rc;
  }

  const int depth = w.depth;
  std::string_view top;
  if (depth > 0) {
    const OpenElement& open = w.open[depth - 1];
    top = NameOf(open.name);
    if (BuildDOM) {
      uint32_t contentEnd = markupStart;
      uint32_t subtreeEnd = inputCount;
      if (implied) {
        contentEnd = closeAt;
        subtreeEnd = closeAt + closeLength;
      } else if (wasEmpty) {
        contentEnd = inputCount;
      }
      // A text that is one run of the kept text stays there.
      if (w.textKeptAt != kNotKept && w.elementText.Length() == static_cast<int>(open.textStart))
        rc = tree.CompleteElement(depth, nullptr, w.textKeptLength, w.textKeptAt, contentEnd,
                                  subtreeEnd);
      else if ((rc = TakeKeptText()) == errNone)
        rc = tree.CompleteElement(depth, w.elementText.Data() + open.textStart,
                                  static_cast<uint32_t>(w.elementText.Length()) - open.textStart,
                                  kNotKept, contentEnd, subtreeEnd);
      if (rc != errNone) return rc;
    }
    w.textKeptAt = kNotKept;
    w.elementText.Truncate(static_cast<int>(open.textStart));
  }

  if (qname != top) return FailWithName(errUnbalancedTag, "Unbalanced element tag: ", qname);

  XmlNameTable& prefixes = w.prefixes;
  while (prefixes.Count() > 0 &&
         prefixes.Depth(prefixes.Count() - 1) == static_cast<uint32_t>(depth)) {
    const int index = prefixes.Count() - 1;
    if (listener && (rc = listener->OnEndPrefixMapping(prefixes.Name(index).data())) != errNone)
      return rc;
    prefixes.Pop();
    ++w.scopeVersion;
  }
  if (depth > 0) --w.depth;
  w.token.Clear();
  return errNone;
}

} // namespace quillon
