// Three passes over the two names, each deciding only when the one before it found them equal.
#include "odata/WordOrder.h"

#include "frame/CharClass.h"

namespace quillon {

namespace {
bool IsIgnored(char c) {
  return c == '-' || c == '\'';
}

// The key of a byte in the first pass: its class in the high bits, its folded value below.
int PrimaryKey(char c) {
  const unsigned char byte = static_cast<unsigned char>(c);
  if (IsDigitChar(c)) return 0x100 + byte;
  if (IsAlphaChar(c)) return 0x200 + static_cast<unsigned char>(LowerChar(c));
  if (byte >= 0x80) return 0x300 + byte;
  return byte; // a symbol: blanks, punctuation, controls
}

int Sign(int value) {
  return value < 0 ? -1 : value > 0 ? 1 : 0;
}
} // namespace

int CompareWordOrder(std::string_view a, std::string_view b) {
  // Pass 1: letters without case, symbols before digits before letters, some marks ignored.
  size_t i = 0, j = 0;
  int caseDifference = 0;
  while (true) {
    while (i < a.size() && IsIgnored(a[i]))
      ++i;
    while (j < b.size() && IsIgnored(b[j]))
      ++j;
    if (i == a.size() || j == b.size()) {
      if (i != a.size() || j != b.size()) return i == a.size() ? -1 : 1;
      break;
    }
    if (int d = PrimaryKey(a[i]) - PrimaryKey(b[j]); d != 0) return Sign(d);
    // Pass 2 is read on the way: the first difference in case, lower case first.
    if (caseDifference == 0 && a[i] != b[j]) caseDifference = IsLowerChar(a[i]) ? -1 : 1;
    ++i;
    ++j;
  }
  if (caseDifference != 0) return caseDifference;
  // Pass 3: the bytes.
  return Sign(a.compare(b));
}

} // namespace quillon
