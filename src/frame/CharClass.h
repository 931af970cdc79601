// One 256-entry table of character class bits for the ASCII range; bytes from 0x80 up belong
// to no class. Layers with classes of their own (the markup scanner) keep their own table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quillon {

enum CharClassBit : uint8_t {
  ccDigit = 1 << 0, // 0-9
  ccHex = 1 << 1,   // 0-9 a-f A-F
  ccUpper = 1 << 2, // A-Z
  ccLower = 1 << 3, // a-z
  ccBlank = 1 << 4, // space, tab, CR, LF, VT, FF
};

extern const std::array<uint8_t, 256> kCharClass;

inline bool IsDigitChar(char c) {
  return kCharClass[static_cast<uint8_t>(c)] & ccDigit;
}
inline bool IsHexChar(char c) {
  return kCharClass[static_cast<uint8_t>(c)] & ccHex;
}
inline bool IsAlphaChar(char c) {
  return kCharClass[static_cast<uint8_t>(c)] & (ccUpper | ccLower);
}
inline bool IsLowerChar(char c) {
  return kCharClass[static_cast<uint8_t>(c)] & ccLower;
}
inline bool IsBlankChar(char c) {
  return kCharClass[static_cast<uint8_t>(c)] & ccBlank;
}
inline char LowerChar(char c) {
  return kCharClass[static_cast<uint8_t>(c)] & ccUpper ? static_cast<char>(c + 32) : c;
}
inline char UpperChar(char c) {
  return kCharClass[static_cast<uint8_t>(c)] & ccLower ? static_cast<char>(c - 32) : c;
}
// Value of a hex digit, or -1.
int HexValue(char c);

} // namespace quillon
