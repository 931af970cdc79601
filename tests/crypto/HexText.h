// Hex helpers for the vector tables of the crypto tests.
#pragma once

#include "frame/Text.h"

#include <string>
#include <string_view>

namespace quillon::test {

inline std::string ToHex(std::string_view bytes) {
  BufStr text;
  HexEncode(text, bytes.data(), static_cast<int>(bytes.size()));
  return std::string(text.View());
}

// Blanks are skipped so that long vectors can be grouped.
inline std::string FromHex(std::string text) {
  std::erase(text, ' ');
  BufStr bytes;
  HexDecode(bytes, text);
  return std::string(bytes.View());
}

} // namespace quillon::test
