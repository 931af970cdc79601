// The scanner's fast path, taken when no listener needs each byte. It does exactly what Step
// does byte by byte, in bulk: a run of bytes that a state only appends (or skips) is taken at
// once, and the transitions that make up ordinary markup (text to '<', a tag name, name="value",
// "/>", '>', "</name>") are made inline. Everything else goes through Step one byte at a time.
// The fuzz target compares the two paths on every input.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "xml/XmlCharClass.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quillon {

namespace {
// The first byte at or after `p` that equals one of three bytes, or `end`.
inline const char* FindAny3(const char* p, const char* end, char a, char b, char c) {
#if defined(__SSE2__)
  const __m128i va = _mm_set1_epi8(a);
  const __m128i vb = _mm_set1_epi8(b);
  const __m128i vc = _mm_set1_epi8(c);
  while (end - p >= 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hits = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, va), _mm_cmpeq_epi8(block, vb)),
                                      _mm_cmpeq_epi8(block, vc));
    if (const int mask = _mm_movemask_epi8(hits))
      return p + __builtin_ctz(static_cast<unsigned>(mask));
    p += 16;
  }
#endif
  while (p < end && *p != a && *p != b && *p != c)
    ++p;
  return p;
}

inline const char* SkipNameChars(const char* p, const char* end) {
  while (p < end && IsXmlNameChar(*p))
    ++p;
  return p;
}

inline const char* SkipSpaces(const char* p, const char* end) {
  while (p < end && IsXmlSpace(*p))
    ++p;
  return p;
}
} // namespace

const char* xmlpimpl::ScanFast(const char* p, const char* end, int* rc) {
  Work& w = *work;
  int code = errNone;
// Steps one byte the slow way and goes on with the next.
#define STEP_ONE()                                                                                 \
  {                                                                                                \
    if ((code = StepAt(p++)) != errNone)                                                           \
      goto failed;                                                                                 \
    continue;                                                                                      \
  }
#define CHECK(expression)                                                                          \
  if ((code = (expression)) != errNone) {                                                          \
    ++p;                                                                                           \
    goto failed;                                                                                   \
  }

  while (p < end) {
    switch (state) {
    case xsText: {
      const char* stop = charsetMode == 1 ? ScanRun(p, end, &code)
                                          : FindAny3(p, end, '<', '&', '\n');
      if (code != errNone) {
        ++p;
        goto failed;
      }
      if (charsetMode != 1 && stop > p)
        CHECK(w.text.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end)
        break;
      if (*p != '<')
        STEP_ONE();
      SetCurrent(p);
      CHECK(FlushTrim());
      w.token.Clear();
      state = xsTagOpen;
      ++p;
      continue;
    }

    case xsAfterMarkup: {
      const char* stop = SkipSpaces(p, end);
      if (stop > p)
        CHECK(w.text.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end)
        break;
      if (*p != '<')
        STEP_ONE();
      // The whitespace was ignorable; then '<' in text, with nothing left to flush.
      SetCurrent(p);
      CHECK(FlushIgnorable());
      w.token.Clear();
      state = xsTagOpen;
      ++p;
      continue;
    }

    case xsTagOpen: {
      const char c = *p;
      if (c == '/') {
        SetCurrent(p);
        markupStart = inputCount - 2;
        state = xsEndTagName;
        ++p;
        continue;
      }
      if (!IsXmlNameStart(c, AllowLeadingDigit))
        STEP_ONE();
      SetCurrent(p);
      markupStart = inputCount - 2;
      state = xsTagName;
      [[fallthrough]];
    }

    case xsTagName: {
      const char* stop = SkipNameChars(p, end);
      if (stop > p)
        CHECK(w.token.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end)
        break;
      const char c = *p;
      if (c == '>') {
        SetCurrent(p);
        CHECK(EndOfTagName());
        CHECK(TagEnd());
        ++p;
        continue;
      }
      if (!IsXmlSpace(c))
        STEP_ONE();
      SetCurrent(p);
      CHECK(EndOfTagName());
      state = xsInTag;
      ++p;
      [[fallthrough]];
    }

    case xsInTag: {
      while (p < end && (IsXmlSpace(*p) || *p == '/'))
        ++p;
      if (p == end)
        break;
      if (*p == '>') {
        SetCurrent(p);
        CHECK(TagEnd());
        ++p;
        continue;
      }
      CHECK(w.token.AppendChar(*p));
      state = xsAttrName;
      ++p;
      [[fallthrough]];
    }

    case xsAttrName: {
      const char* stop = p;
      while (stop < end && !IsXmlSpace(*stop) && *stop != '=' && *stop != '>' && *stop != '/')
        ++stop;
      if (stop > p)
        CHECK(w.token.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end)
        break;
      if (*p != '=')
        STEP_ONE();
      CHECK(w.attrName.Assign(w.token.View()));
      w.token.Clear();
      state = xsBeforeValue;
      ++p;
      [[fallthrough]];
    }

    case xsBeforeValue: {
      p = SkipSpaces(p, end);
      if (p == end)
        break;
      if (*p == '"')
        state = xsDoubleQuoted;
      else if (*p == '\'')
        state = xsSingleQuoted;
      else
        STEP_ONE();
      ++p;
      continue;
    }

    case xsDoubleQuoted:
    case xsSingleQuoted: {
      const char quote = state == xsDoubleQuoted ? '"' : '\'';
      const char* stop = FindAny3(p, end, quote, '&', '&');
      if (stop > p)
        CHECK(w.token.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end)
        break;
      if (*p != quote)
        STEP_ONE();
      state = xsInTag;
      CHECK(StoreAttribute());
      ++p;
      continue;
    }

    case xsEndTagName: {
      // The first byte behind "</" decides between an end tag and text.
      if (ByteBefore(p, 1) == '/' && !IsXmlNameStart(*p, AllowLeadingDigit))
        STEP_ONE();
      const char* stop = SkipNameChars(p, end);
      if (stop > p)
        CHECK(w.token.Append(p, static_cast<int>(stop - p)));
      p = stop;
      if (p == end)
        break;
      if (*p != '>')
        STEP_ONE();
      SetCurrent(p);
      state = xsAfterMarkup;
      CHECK(EndElement(false, false));
      ++p;
      continue;
    }

    default: {
      const char* stop = ScanRun(p, end, &code);
      if (code != errNone) {
        ++p;
        goto failed;
      }
      p = stop;
      if (p < end)
        STEP_ONE();
      break;
    }
    }
  }
  *rc = errNone;
  return p;

failed:
  *rc = code;
  return p;
#undef STEP_ONE
#undef CHECK
}

} // namespace quillon
