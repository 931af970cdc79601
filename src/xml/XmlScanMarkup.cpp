// The scanner's path for ordinary markup: text runs, start tags with quoted attribute values,
// end tags and whitespace between them, read as whole constructs. ScanFast calls it wherever text
// begins, when no listener is installed, the tree is built and neither the SGML rule nor
// double-byte characters apply. It stops at the first byte of anything else (a reference, a line
// break inside text, a comment, an end tag that closes another element, the end of a push inside
// a construct...), with `state` and the buffers as Step would leave them before that byte, so that
// ScanFast goes on from there. Each construct makes the same changes as Step and the element
// stack make for it, in the same order and with the same failures; the element steps are in
// XmlMarkupElements.cpp, and the fuzz target compares the scanner with and without this path.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlScanBytes.h"

namespace quillon {

namespace {
bool IsQuote(char c) {
  return c == '"' || c == '\'';
}

// The bytes behind a tag name that Step takes as its end in an ordinary tag.
bool IsTagNameEnd(char c) {
  return c == '>' || c == '/' || IsXmlSpace(c);
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
    const char* open = p < end && *p == '<' ? p : FindAny3(p, end, '<', '&', '\n');
    while (open < end && *open == '&') {
      const char* nameEnd = SkipReferenceName(open + 1, end);
      if (nameEnd == end) return p;
      p = TextReference(p, open, nameEnd, rc);
      if (*rc != errNone) return p;
      open = FindAny3(p, end, '<', '&', '\n');
    }
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

// The run joins the pending text and the reference is read as Step reads it: DecodeEntity flushes
// the text before it, and a value that ends in whitespace is flushed with it.
const char* xmlpimpl::TextReference(const char* run, const char* amp, const char* nameEnd,
                                    int* rc) {
  Work& w = *work;
  if ((*rc = w.text.Append(run, static_cast<int>(amp - run))) != errNone) return amp + 1;
  state = xsTextEntity;
  const char* name = amp + 1;
  if ((*rc = w.entity.Assign(std::string_view(name, static_cast<size_t>(nameEnd - name)))) !=
      errNone)
    return name + 1;
  const char endByte = *nameEnd;
  if ((*rc = DecodeEntity(endByte)) != errNone ||
      (*rc = w.text.Append(w.entityValue.View())) != errNone)
    return nameEnd + 1;
  const XmlScanText& value = w.entityValue;
  if (!value.IsEmpty() && IsXmlSpace(value[value.Length() - 1]) && (*rc = FlushAll()) != errNone)
    return nameEnd + 1;
  state = xsText;
  return endByte == ';' ? nameEnd + 1 : nameEnd;
}

// "<name", then name="value" pairs (or '-quoted) and '/' up to '>'. The tag is taken as far as it
// is ordinary: a value with a reference, a value without quotes, a name without a value or a tag
// that runs past `end` is left to ScanFast at the attribute (in xsInTag) or the name (in
// xsTagName) where it stands.
const char* xmlpimpl::StartTagMarkup(const char* open, const char* end, int* rc) {
  Work& w = *work;
  XmlNamePool& names = tree.Names();
  const char* name = open + 1;
  markupStart = StreamOffset(open);
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
  const bool isEmpty = p[-1] == '/';
  *rc = MarkupStartElement(isEmpty);
  if (*rc == errNone && isEmpty) *rc = MarkupEndElement(true);
  state = xsAfterMarkup;
  return p + 1;
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

// "</name>" that closes the innermost element; any other end tag, and "</" before a byte that
// starts no name, is left to ScanFast in xsEndTagName.
const char* xmlpimpl::EndTagMarkup(const char* open, const char* end, int* rc) {
  Work& w = *work;
  const char* name = open + 2;
  markupStart = StreamOffset(open);
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
  *rc = MarkupEndElement(false);
  return p + 1;
}

} // namespace quillon
