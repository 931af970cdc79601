// The scanner's path for ordinary markup: text runs, start tags with quoted attribute values,
// end tags and whitespace between them, read as whole constructs. ScanFast calls it wherever text
// begins, when no listener is installed, the tree is built and neither the SGML rule nor
// double-byte characters apply. It stops at the first byte of anything else (a reference, a line
// break inside text, a comment, an end tag that closes another element, the end of a push inside
// a construct...), with `state` and the buffers as Step would leave them before that byte, so that
// ScanFast goes on from there. Each construct makes the same changes as Step and the element
// stack make for it, in the same order and with the same failures; tags are read in
// XmlMarkupTags.cpp, and the fuzz target compares the scanner with and without this path.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlScanBytes.h"

namespace quillon {

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
    if ((open > p || !w.text.IsEmpty()) && (*rc = MarkupText(p, open)) != errNone) return open + 1;
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

} // namespace quillon
