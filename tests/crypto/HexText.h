// Hex helpers for the vector tables of the crypto tests.
#pragma once

#include <string>
#include <string_view>

namespace quillon::test {

inline std::string ToHex(std::string_view bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char c : bytes) {
    text += kDigits[c >> 4];
    text += kDigits[c & 15];
  }
  return text;
}

// Lower- or upper-case digits; blanks are skipped so that long vectors can be grouped.
inline std::string FromHex(std::string_view text) {
  auto value = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  std::string bytes;
  int high = -1;
  for (char c : text) {
    if (c == ' ') continue;
    if (high < 0) {
      high = value(c);
    } else {
      bytes += static_cast<char>(high << 4 | value(c));
      high = -1;
    }
  }
  return bytes;
}

} // namespace quillon::test
