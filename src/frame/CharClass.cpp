#include "frame/CharClass.h"

namespace quillon {

namespace {
constexpr std::array<uint8_t, 256> MakeCharClassTable() {
  std::array<uint8_t, 256> table{};
  for (int c = 0; c < 256; ++c) {
    uint8_t bits = 0;
    if (c >= '0' && c <= '9') bits |= ccDigit | ccHex;
    if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) bits |= ccHex;
    if (c >= 'A' && c <= 'Z') bits |= ccUpper;
    if (c >= 'a' && c <= 'z') bits |= ccLower;
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f') bits |= ccBlank;
    table[static_cast<size_t>(c)] = bits;
  }
  return table;
}
} // namespace

constexpr std::array<uint8_t, 256> kCharClass = MakeCharClassTable();

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

} // namespace quillon
