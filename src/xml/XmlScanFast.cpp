// The scanner's fast path, taken when no listener needs each byte. It does exactly what Step
// does byte by byte, in bulk: a run of bytes that a state only appends (or skips) is taken at
// once, and the transitions that make up ordinary markup (text to '<', a tag name, name="value",
// "/>", '>', "</name>") are made inline. Everything else goes through Step one byte at a time.
// Where text begins, ScanMarkup reads ordinary markup in whole constructs first (unless a test
// turned it off). The fuzz target compares all three ways on every input.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlCharClass.h"
#include "xml/XmlScanBytes.h"

namespace quillon {

// The common states are labels, and a transition between two of them is a jump, so that
// ordinary markup does not pass through the dispatch on `state` at every step. `state` is kept
// current at every label, since Step and the callers go on from it.
const char* xmlpimpl::ScanFast(const char* p, const char* end, int* rc) {
  Work& w = *work;
  int code = errNone;
// Steps one byte the slow way and goes back to the dispatch.
#define STEP_ONE()                                                                                 \
  {                                                                                                \
    if ((code = StepAt(p++)) != errNone) goto failed;                                              \
    continue;                                                                                      \
  }
// Fails at the byte at `p`.
#define CHECK(expression)                                                                          \
  if ((code = (expression)) != errNone) {                                                          \
    ++p;                                                                                           \
    goto failed;                                                                                   \
  }
// Goes on in another state, through the dispatch when the input has ended.
#define NEXT(newState, label)                                                                      \
  {                                                                                                \
    state = newState;                                                                              \
    if (p == end) continue;                                                                        \
    goto label;                                                                                    \
  }

  // Where text begins, ScanMarkup takes over until it hands a byte back; that byte then goes
  // through the labels below before ScanMarkup is asked again.
  const bool markup = UseMarkupPath();
  const char* handedAt = nullptr;
  for (;;) {
    if (p >= end) {
      *rc = errNone;
      return p;
    }
    if (markup && p != handedAt && (state == xsText || state == xsAfterMarkup)) {
      p = ScanMarkup(p, end, &code);
      if (code != errNone) goto failed;
      handedAt = p;
      continue;
    }
    switch (state) {
    case xsText:
      if (charsetMode != 1) goto text;
      p = ScanRun(p, end, &code);
      if (code != errNone) {
        ++p;
        goto failed;
      }
      if (p < end) STEP_ONE();
      continue;
    case xsAfterMarkup:
      goto afterMarkup;
    case xsTagOpen:
      goto tagOpen;
    case xsTagName:
      goto tagName;
    case xsInTag:
      goto inTag;
    case xsAttrName:
      goto attrName;
    case xsBeforeValue:
      goto beforeValue;
    case xsDoubleQuoted:
    case xsSingleQuoted:
      goto quoted;
    case xsEndTagName:
      goto endTagName;
    default: {
      const char* stop = ScanRun(p, end, &code);
      if (code != errNone) {
        ++p;
        goto failed;
      }
      p = stop;
      if (p < end) STEP_ONE();
      continue;
    }
    }

  text : {
    if (charsetMode == 1 || (markup && p != handedAt)) continue;
    const char* run = p;
    p = FindAny3(p, end, '<', '&', '\n');
    if (p == end || *p != '<') {
      CHECK(w.text.Append(run, static_cast<int>(p - run)));
      if (p == end) continue;
      STEP_ONE();
    }
    // '<': the text so far is flushed; a run alone goes from the input to its element.
    SetCurrent(p);
    if (w.text.IsEmpty()) {
      CHECK(FlushTrimRun(run, static_cast<int>(p - run)));
    } else {
      CHECK(w.text.Append(run, static_cast<int>(p - run)));
      CHECK(FlushTrim());
    }
    w.token.Clear();
    ++p;
    NEXT(xsTagOpen, tagOpen);
  }

  afterMarkup : {
    if (markup && p != handedAt) continue;
    const char* stop = SkipXmlSpaces(p, end);
    if (stop > p) CHECK(w.text.Append(p, static_cast<int>(stop - p)));
    p = stop;
    if (p == end) continue;
    // Behind markup, whitespace before '<' (or, unless preserved, before text) is ignorable.
    if (*p == '<' || !PreserveWhitespace) CHECK(FlushIgnorable());
    state = xsText;
    goto text;
  }

  tagOpen : {
    const char c = *p;
    if (c == '/') {
      SetCurrent(p);
      markupStart = inputCount - 2;
      ++p;
      NEXT(xsEndTagName, endTagName);
    }
    if (!IsXmlNameStart(c, AllowLeadingDigit)) STEP_ONE();
    SetCurrent(p);
    markupStart = inputCount - 2;
    state = xsTagName;
  }

  tagName : {
    const char* stop = SkipNameChars(p, end);
    if (stop == end || (*stop != '>' && !IsXmlSpace(*stop))) {
      CHECK(w.token.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end) continue;
      STEP_ONE();
    }
    // The name is complete; a name that began in an earlier push sits partly in `token`.
    const char* name = p;
    p = stop;
    SetCurrent(p);
    if (w.token.IsEmpty()) {
      CHECK(EndOfTagName(std::string_view(name, static_cast<size_t>(p - name))));
    } else {
      CHECK(w.token.Append(name, static_cast<int>(p - name)));
      CHECK(EndOfTagName());
    }
    if (*p == '>') {
      CHECK(TagEnd());
      ++p;
      NEXT(xsAfterMarkup, afterMarkup);
    }
    ++p;
    state = xsInTag;
  }

  inTag : {
    while (p < end && (IsXmlSpace(*p) || *p == '/'))
      ++p;
    if (p == end) continue;
    if (*p == '>') {
      SetCurrent(p);
      CHECK(TagEnd());
      ++p;
      NEXT(xsAfterMarkup, afterMarkup);
    }
    // name="value" or name='value' without references is stored straight from the input.
    const char* nameEnd = p + 1;
    while (nameEnd < end && !IsXmlSpace(*nameEnd) && *nameEnd != '=' && *nameEnd != '>' &&
           *nameEnd != '/')
      ++nameEnd;
    if (nameEnd < end && *nameEnd == '=') {
      const char* open = SkipXmlSpaces(nameEnd + 1, end);
      if (open < end && (*open == '"' || *open == '\'')) {
        const char* close = FindAny3(open + 1, end, *open, '&', '&');
        if (close < end && *close == *open) {
          const char* name = p;
          p = close;
          CHECK(StoreAttribute(std::string_view(name, static_cast<size_t>(nameEnd - name)),
                               std::string_view(open + 1, static_cast<size_t>(close - open - 1)),
                               KeepOriginalText ? StreamOffset(open + 1) : kNotKept));
          ++p;
          NEXT(xsInTag, inTag);
        }
      }
    }
    CHECK(w.token.AppendChar(*p));
    ++p;
    state = xsAttrName;
  }

  attrName : {
    const char* stop = p;
    while (stop < end && !IsXmlSpace(*stop) && *stop != '=' && *stop != '>' && *stop != '/')
      ++stop;
    if (stop > p) CHECK(w.token.Append(p, static_cast<int>(stop - p)));
    p = stop;
    if (p == end) continue;
    if (*p != '=') STEP_ONE();
    CHECK(w.attrName.Assign(w.token.View()));
    w.token.Clear();
    ++p;
    state = xsBeforeValue;
  }

  beforeValue : {
    p = SkipXmlSpaces(p, end);
    if (p == end) continue;
    if (*p == '"')
      state = xsDoubleQuoted;
    else if (*p == '\'')
      state = xsSingleQuoted;
    else
      STEP_ONE();
    ++p;
    if (p == end) continue;
  }

  quoted : {
    const char quote = state == xsDoubleQuoted ? '"' : '\'';
    const char* stop = FindAny3(p, end, quote, '&', '&');
    if (stop > p) CHECK(w.token.Append(p, static_cast<int>(stop - p)));
    p = stop;
    if (p == end) continue;
    if (*p != quote) STEP_ONE();
    state = xsInTag;
    CHECK(StoreAttribute());
    ++p;
    NEXT(xsInTag, inTag);
  }

  endTagName : {
    // The first byte behind "</" decides between an end tag and text.
    if (ByteBefore(p, 1) == '/' && !IsXmlNameStart(*p, AllowLeadingDigit)) STEP_ONE();
    const char* stop = SkipNameChars(p, end);
    if (stop == end || *stop != '>') {
      if (stop > p) CHECK(w.token.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end) continue;
      STEP_ONE();
    }
    // The name is complete; a name that began in an earlier push sits partly in `token`.
    const char* name = p;
    p = stop;
    SetCurrent(p);
    state = xsAfterMarkup;
    if (w.token.IsEmpty()) {
      CHECK(EndElement(false, false, std::string_view(name, static_cast<size_t>(p - name))));
    } else {
      CHECK(w.token.Append(name, static_cast<int>(p - name)));
      CHECK(EndElement(false, false, w.token.View()));
    }
    ++p;
    NEXT(xsAfterMarkup, afterMarkup);
  }
  }

failed:
  *rc = code;
  return p;
#undef STEP_ONE
#undef CHECK
#undef NEXT
}

} // namespace quillon
