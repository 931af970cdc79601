// Number parsing and formatting, and the comparisons that Config and the protocol layers use.
// Parsing wraps silently on overflow, as the callers expect; unsigned arithmetic keeps that
// defined.
#include "frame/Text.h"

#include "frame/CharClass.h"

#include <cstring>

namespace quillon {

namespace {
template <class Unsigned> Unsigned ParseDigits(const char* text, unsigned base, bool* negative) {
  *negative = false;
  if (!text) return 0;
  if (*text == '-' || *text == '+') {
    *negative = *text == '-';
    ++text;
  }
  Unsigned value = 0;
  for (;; ++text) {
    int digit = base == 16 ? HexValue(*text) : (IsDigitChar(*text) ? *text - '0' : -1);
    if (digit < 0) break;
    value = value * base + static_cast<Unsigned>(digit);
  }
  return value;
}

template <class Signed, class Unsigned> Signed Parse(const char* text, unsigned base) {
  bool negative;
  Unsigned value = ParseDigits<Unsigned>(text, base, &negative);
  if (negative) value = 0 - value;
  return static_cast<Signed>(value);
}
} // namespace

int32_t ParseDec32(const char* text) {
  return Parse<int32_t, uint32_t>(text, 10);
}
int64_t ParseDec64(const char* text) {
  return Parse<int64_t, uint64_t>(text, 10);
}
int32_t ParseHex32(const char* text) {
  return Parse<int32_t, uint32_t>(text, 16);
}
int64_t ParseHex64(const char* text) {
  return Parse<int64_t, uint64_t>(text, 16);
}

int FormatInt64(int64_t value, char* out) {
  uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  int n = 0;
  do {
    out[n++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude);
  if (value < 0) out[n++] = '-';
  for (int i = 0, j = n - 1; i < j; ++i, --j) {
    char c = out[i];
    out[i] = out[j];
    out[j] = c;
  }
  out[n] = 0;
  return n;
}

bool SameNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (LowerChar(a[i]) != LowerChar(b[i])) return false;
  return true;
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && SameNoCase(text.substr(0, prefix.size()), prefix);
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return !a.empty() && !b.empty() && SameNoCase(a, b);
}

bool EqualsNoCase(const char* a, const char* b) {
  if (!a || !b) return false;
  return EqualsNoCase(std::string_view(a), std::string_view(b));
}

bool IsTrueText(std::string_view text) {
  return SameNoCase(text, "TRUE") || SameNoCase(text, "yes") || text == "1";
}

bool IsTrueText(const char* text) {
  return text && IsTrueText(std::string_view(text));
}

int64_t ParseConfigNumber(const char* text) {
  if (text && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) return ParseHex64(text + 2);
  return ParseDec64(text);
}

} // namespace quillon
