// The scanner's path for ordinary markup: text runs, start tags with quoted attribute values,
// end tags and whitespace between them, read as whole constructs. ScanFast calls it wherever text
// begins, when no listener is installed, the tree is built and neither the SGML rule nor
// double-byte characters apply. It stops at the first byte of anything else (a reference, a line
// break inside text, a comment, an end tag that closes another element, the end of a push inside
// a construct...), with `state` and the buffers as Step would leave them before that byte, so that
// ScanFast goes on from there. Each construct makes the same changes as Step and the element
// stack (XmlElements.cpp) make for it, in the same order and with the same failures, taking the
// branches of the general steps that apply here and nothing else; the fuzz target compares both.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlScanBytes.h"

namespace quillon {

namespace {
constexpr std::string_view kXmlns = "xmlns";

bool IsQuote(char c) {
  return c == '"' || c == '\'';
}

bool IsNamespaceDeclaration(std::string_view name) {
  return name.size() >= kXmlns.size() && SameBytes(name.data(), kXmlns.data(), kXmlns.size());
}
} // namespace

const char* xmlpimpl::ScanMarkup(const char* p, const char* end, int* rc) {
  Work& w = *work;
  *rc = errNone;
  for (;;) {
    if (state == xsAfterMarkup) {
      // Whitespace behind markup is dropped unless it leads into text that keeps it.
      const char* text = SkipXmlSpaces(p, end);
      if (text == end || (*text != '<' && PreserveWhitespace)) return p;
      if (!w.text.IsEmpty()) ClearPendingText();
      state = xsText;
      p = text;
    }
    const char* open = FindAny3(p, end, '<', '&', '\n');
    if (open == end || *open != '<') return p;
    if ((*rc = MarkupText(p, open)) != errNone) return open + 1;
    w.token.Clear();
    p = open + 1;
    if (p == end) {
      state = xsTagOpen;
      return p;
    }
    if (*p == '/') {
      p = EndTagMarkup(open, end, rc);
    } else if (IsXmlNameStart(*p, AllowLeadingDigit)) {
      p = StartTagMarkup(open, end, rc);
    } else {
      state = xsTagOpen;
      return p;
    }
    if (*rc != errNone || state != xsAfterMarkup) return p;
  }
}

// The text from `run` to the '<' at `open`, joined to any pending text, flushed without its
// trailing whitespace. A run that is an element's first text stays where it lies in the kept text.
int xmlpimpl::MarkupText(const char* run, const char* open) {
  Work& w = *work;
  if (!w.text.IsEmpty()) {
    if (int rc = w.text.Append(run, static_cast<int>(open - run)); rc != errNone) return rc;
    return FlushTrim();
  }
  const char* last = open;
  if (!PreserveWhitespace)
    while (last > run && IsXmlSpace(last[-1]))
      --last;
  if (last == run) return errNone;
  const int depth = w.depth;
  if (depth > 0 && KeepOriginalText && w.textKeptAt == kNotKept &&
      w.elementText.Length() == static_cast<int>(w.open[depth - 1].textStart)) {
    w.textKeptAt = StreamOffset(run);
    w.textKeptLength = static_cast<uint32_t>(last - run);
    return errNone;
  }
  return FlushTrimRun(run, static_cast<int>(open - run));
}

// "<name", then name="value" pairs (or '-quoted) and '/' up to '>'. The tag is taken as far as it
// is ordinary: a value with a reference, a value without quotes, a name without a value or a tag
// that runs past `end` is left to ScanFast at the attribute (in xsInTag) or the name (in
// xsTagName) where it stands.
const char* xmlpimpl::StartTagMarkup(const char* open, const char* end, int* rc) {
  Work& w = *work;
  const char* name = open + 1;
  markupStart = StreamOffset(open);
  state = xsTagName;
  const char* p = SkipNameChars(name, end);
  if (p == end || (*p != '>' && *p != '/' && !IsXmlSpace(*p))) return name;
  // EndOfTagName: the pending text was flushed at '<' and `token` emptied.
  SetCurrent(p);
  if (tree.Names().Intern(std::string_view(name, static_cast<size_t>(p - name)), &w.elementName) !=
      errNone) {
    *rc = errOutOfMemory;
    return p + 1;
  }
  if (!w.attrName.IsEmpty()) w.attrName.Clear();
  state = xsInTag;
  for (;;) {
    while (p < end && (IsXmlSpace(*p) || *p == '/'))
      ++p;
    if (p == end) return p;
    if (*p == '>') break;
    const char* attrName = p;
    const char* nameEnd = SkipAttrNameChars(p + 1, end);
    if (nameEnd == end || *nameEnd != '=') return attrName;
    const char* quote = SkipXmlSpaces(nameEnd + 1, end);
    if (quote == end || !IsQuote(*quote)) return attrName;
    const char* close = FindAny3(quote + 1, end, *quote, '&', '&');
    if (close == end || *close != *quote) return attrName;
    const std::string_view qname(attrName, static_cast<size_t>(nameEnd - attrName));
    const std::string_view value(quote + 1, static_cast<size_t>(close - quote - 1));
    *rc = MarkupAttribute(qname, value, KeepOriginalText ? StreamOffset(quote + 1) : kNotKept);
    p = close + 1;
    if (*rc != errNone) return p;
  }
  // TagEnd
  SetCurrent(p);
  const bool isEmpty = p[-1] == '/';
  *rc = MarkupStartElement(isEmpty);
  if (*rc == errNone && isEmpty) *rc = MarkupEndElement(true);
  state = xsAfterMarkup;
  return p + 1;
}

// StoreAttribute of a pair that is no declaration.
int xmlpimpl::MarkupAttribute(std::string_view name, std::string_view value, uint32_t keptAt) {
  if (IsNamespaceDeclaration(name)) return StoreAttribute(name, value, keptAt);
  Work& w = *work;
  if (w.attrCount == kMaxAttributes) return errOutOfMemory;
  PendingAttribute& attribute = w.attributes[w.attrCount];
  if (tree.Names().Intern(name, &attribute.name) != errNone) return errOutOfMemory;
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

// "</name>" that closes the innermost element; any other end tag, and "</" before a byte that
// starts no name, is left to ScanFast in xsEndTagName.
const char* xmlpimpl::EndTagMarkup(const char* open, const char* end, int* rc) {
  Work& w = *work;
  const char* name = open + 2;
  markupStart = StreamOffset(open);
  state = xsEndTagName;
  if (name == end || !IsXmlNameStart(*name, AllowLeadingDigit) || w.depth == 0) return name;
  const char* p = SkipNameChars(name, end);
  if (p == end || *p != '>') return name;
  const std::string_view top = NameOf(w.open[w.depth - 1].name);
  if (static_cast<size_t>(p - name) != top.size() || !SameBytes(name, top.data(), top.size()))
    return name;
  SetCurrent(p);
  state = xsAfterMarkup;
  *rc = MarkupEndElement(false);
  return p + 1;
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
