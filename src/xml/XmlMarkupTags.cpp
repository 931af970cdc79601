// The start and end tags of ordinary markup (see XmlScanMarkup.cpp) and their element steps: no
// listener, no SGML rule, the tree built. Each step does what Step, StoreAttribute, StartElement
// and EndElement do in that case, in the same order and with the same failures.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlScanBytes.h"

namespace quillon {

namespace {
constexpr std::string_view kXmlns = "xmlns";

bool IsNamespaceDeclaration(std::string_view name) {
  return name.size() >= kXmlns.size() && SameBytes(name.data(), kXmlns.data(), kXmlns.size());
}

bool IsQuote(char c) {
  return c == '"' || c == '\'';
}

// The bytes behind a tag name that Step takes as its end in an ordinary tag.
bool IsTagNameEnd(char c) {
  return c == '>' || c == '/' || IsXmlSpace(c);
}
} // namespace

// "<name", then name="value" pairs (or '-quoted) and '/' up to '>'. The tag is taken as far as it
// is ordinary: a value with a reference, a value without quotes, a name without a value or a tag
// that runs past `end` is left to ScanFast at the attribute (in xsInTag) or the name (in
// xsTagName) where it stands.
const char* xmlpimpl::StartTagMarkup(const char* open, const char* end, int* rc) {
  Work& w = *work;
  XmlNamePool& names = tree.Names();
  const char* name = open + 1;
  // The tag's offsets go to the element steps as values: read back from the fields just stored,
  // they would wait for those stores.
  const uint32_t tagStart = StreamOffset(open);
  markupStart = tagStart;
  state = xsTagName;
  // The name this tag had the last time the last one was seen is read without a scan: a name is
  // all name bytes, so with a byte behind it that continues no name it ends where it did then.
  uint32_t known = names.Expected(w.lastStartName, XmlNamePool::sqNextElement, name, end);
  const char* p = known == kNoName ? name : name + names.Length(known);
  if (known == kNoName || !IsTagNameEnd(*p)) {
    known = kNoName;
    p = SkipNameChars(name, end);
    if (p == end || !IsTagNameEnd(*p)) return name;
  }
  // EndOfTagName: the pending text was flushed at '<' and `token` emptied.
  SetCurrent(p);
  if (known != kNoName) {
    w.elementName = known;
  } else if (names.InternAfter(w.lastStartName, XmlNamePool::sqNextElement,
                               std::string_view(name, static_cast<size_t>(p - name)),
                               &w.elementName) != errNone) {
    *rc = errOutOfMemory;
    return p + 1;
  }
  w.lastStartName = w.elementName;
  if (!w.attrName.IsEmpty()) w.attrName.Clear();
  state = xsInTag;
  // Each attribute name is looked for as the one that followed the name before it.
  uint32_t previousName = w.elementName;
  XmlNamePool::Sequel sequel = XmlNamePool::sqFirstAttribute;
  for (;;) {
    while (p < end && (IsXmlSpace(*p) || *p == '/'))
      ++p;
    if (p == end) return p;
    if (*p == '>') break;
    // An attribute name ends at whitespace, '=', '>' or '/', its first byte aside; an expected
    // name holds none of them behind its first byte, so '=' behind it ends it where it did.
    const char* attrName = p;
    known = names.Expected(previousName, sequel, attrName, end);
    const char* nameEnd = known == kNoName ? attrName : attrName + names.Length(known);
    if (known == kNoName || *nameEnd != '=') {
      known = kNoName;
      nameEnd = SkipAttrNameChars(attrName + 1, end);
      if (nameEnd == end || *nameEnd != '=') return attrName;
    }
    const char* quote = nameEnd + 1;
    if (quote < end && !IsQuote(*quote)) quote = SkipXmlSpaces(quote, end);
    if (quote == end || !IsQuote(*quote)) return attrName;
    const char* close = FindAny3(quote + 1, end, *quote, '&', '&');
    if (close == end) return attrName;
    const std::string_view qname(attrName, static_cast<size_t>(nameEnd - attrName));
    if (*close != *quote) {
      if (qname.size() >= kScanBufferInline) return attrName;
      p = ReferencedValue(qname, quote, end, rc);
      if (*rc != errNone || state != xsInTag) return p;
      continue;
    }
    const std::string_view value(quote + 1, static_cast<size_t>(close - quote - 1));
    *rc =
        MarkupAttribute(qname, known, value, KeepOriginalText ? StreamOffset(quote + 1) : kNotKept,
                        &previousName, &sequel);
    p = close + 1;
    if (*rc != errNone) return p;
  }
  // TagEnd
  SetCurrent(p);
  const uint32_t tagEnd = StreamOffset(p) + 1;
  const bool isEmpty = p[-1] == '/';
  *rc = MarkupStartElement(isEmpty, tagStart, tagEnd);
  if (*rc == errNone && isEmpty) *rc = MarkupEndElement(tagEnd, tagEnd);
  state = xsAfterMarkup;
  return p + 1;
}

// StoreAttribute of a pair that is no declaration.
inline int xmlpimpl::MarkupAttribute(std::string_view name, uint32_t known, std::string_view value,
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
  return AddPendingAttribute(attribute, value, keptAt);
}

// Step reads the name into `token` and moves it to attrName, where it cannot fail for a name that
// fits the inline buffers; the value is gathered in `token` with its references decoded, and
// StoreAttribute takes both from there.
const char* xmlpimpl::ReferencedValue(std::string_view name, const char* quote, const char* end,
                                      int* rc) {
  Work& w = *work;
  const char quoteChar = *quote;
  const uint8_t valueState = quoteChar == '"' ? xsDoubleQuoted : xsSingleQuoted;
  const uint8_t referenceState = quoteChar == '"' ? xsDoubleQuotedEntity : xsSingleQuotedEntity;
  w.attrName.Assign(name);
  state = valueState;
  const char* p = quote + 1;
  for (;;) {
    const char* stop = FindAny3(p, end, quoteChar, '&', '&');
    if (stop > p && (*rc = w.token.Append(p, static_cast<int>(stop - p))) != errNone) return p + 1;
    if (stop == end) return end;
    if (*stop == quoteChar) {
      state = xsInTag;
      *rc = StoreAttribute();
      return stop + 1;
    }
    state = referenceState;
    w.entity.Clear();
    const char* reference = stop + 1;
    const char* nameEnd = SkipReferenceName(reference, end);
    if (nameEnd > reference &&
        (*rc = w.entity.Append(reference, static_cast<int>(nameEnd - reference))) != errNone)
      return reference + 1;
    if (nameEnd == end) return end;
    if ((*rc = DecodeEntity(*nameEnd)) != errNone ||
        (*rc = w.token.Append(w.entityValue.View())) != errNone)
      return nameEnd + 1;
    state = valueState;
    p = *nameEnd == ';' ? nameEnd + 1 : nameEnd;
  }
}

// StartElement without a listener: the element and its attributes resolved, through the
// resolutions cached with their names, and appended to the tree.
int xmlpimpl::MarkupStartElement(bool isEmpty, uint32_t tagStart, uint32_t tagEnd) {
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
                               isEmpty, attrCount, tagStart, tagEnd)) != errNone)
    return rc;
  for (int i = 0; i < attrCount; ++i) {
    const PendingAttribute& attribute = w.attributes[i];
    uint32_t attrName = attribute.name | XmlTree::kWholeName;
    uint32_t attrMapping = 0;
    if (names.ColonAt(attribute.name) >= 0) {
      // A prefix with a cached mapping leaves the local name behind the colon.
      const int cached = names.CachedMapping(attribute.name, w.scopeVersion);
      if (cached >= 0) {
        attrName = attribute.name;
        attrMapping = prefixes.Offset(cached);
      } else {
        std::string_view local;
        rc = ResolveAttributeName(attribute.name, &local, &attrMapping);
        if (local.size() != names.Name(attribute.name).size()) attrName = attribute.name;
      }
    }
    if (rc == errNone) rc = AppendPendingAttribute(attribute, attrName, attrMapping);
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

// "</name>" that closes the innermost element; any other end tag, and "</" before a byte that
// starts no name, is left to ScanFast in xsEndTagName.
const char* xmlpimpl::EndTagMarkup(const char* open, const char* end, int* rc) {
  Work& w = *work;
  const char* name = open + 2;
  const uint32_t tagStart = StreamOffset(open);
  markupStart = tagStart;
  state = xsEndTagName;
  if (w.depth == 0) return name;
  // An element's name is all name bytes, so when it stands here with '>' behind it a scan of the
  // name would stop at that '>' too.
  const std::string_view top = NameOf(w.open[w.depth - 1].name);
  const char* p = name + top.size();
  if (end - name <= static_cast<ptrdiff_t>(top.size()) || *p != '>' ||
      !SameBytes(name, top.data(), top.size()) || !IsXmlNameStart(*name, AllowLeadingDigit))
    return name;
  SetCurrent(p);
  state = xsAfterMarkup;
  *rc = MarkupEndElement(tagStart, StreamOffset(p) + 1);
  return p + 1;
}

// EndElement of the innermost element, without a listener. Its name was resolved when it opened,
// in the same scope, so resolving it again could not fail.
int xmlpimpl::MarkupEndElement(uint32_t contentEnd, uint32_t tagEnd) {
  Work& w = *work;
  const int depth = w.depth;
  const OpenElement& open = w.open[depth - 1];
  int rc;
  // A text that is one run of the kept text stays there.
  if (w.textKeptAt != kNotKept && w.elementText.Length() == static_cast<int>(open.textStart))
    rc = tree.CompleteElement(depth, nullptr, w.textKeptLength, w.textKeptAt, contentEnd, tagEnd);
  else if ((rc = TakeKeptText()) == errNone)
    rc = tree.CompleteElement(depth, w.elementText.Data() + open.textStart,
                              static_cast<uint32_t>(w.elementText.Length()) - open.textStart,
                              kNotKept, contentEnd, tagEnd);
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
