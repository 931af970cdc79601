// Byte classes of the markup scanner and the path walker: whitespace, the bytes that may start
// a name and the bytes that may continue one. UTF-8 continuation bytes (0x80 to 0xBF) continue
// names, so names in Cyrillic or CJK scripts read as one name.
#pragma once

#include <array>
#include <cstdint>

namespace quillon {

enum XmlClassBit : uint8_t {
  xcSpace = 1 << 0,       // 0x20, TAB, LF, CR, FF, VT
  xcNameStart = 1 << 1,   // : _ A-Z a-z 0xC0-0xD6 0xD8-0xF6 0xF8-0xFF
  xcNameChar = 1 << 2,    // NameStart, - . 0-9 0xB7 0x80-0xBF
  xcDigit = 1 << 3,       // 0-9, which start names only with AllowLeadingDigit
  xcTextStop = 1 << 4,    // LF & <: the bytes that end a run of plain text
  xcLeadByte = 1 << 5,    // 0x81-0x9F 0xE0-0xEF: first bytes of double-byte characters
  xcAttrNameEnd = 1 << 6, // whitespace = > /: the bytes that end an attribute name
};

extern const std::array<uint8_t, 256> kXmlClass;

inline uint8_t XmlClass(char c) {
  return kXmlClass[static_cast<uint8_t>(c)];
}
inline bool IsXmlSpace(char c) {
  return XmlClass(c) & xcSpace;
}
inline bool IsXmlNameChar(char c) {
  return XmlClass(c) & xcNameChar;
}
inline bool IsXmlNameStart(char c, bool allowLeadingDigit) {
  return XmlClass(c) & (allowLeadingDigit ? (xcNameStart | xcDigit) : xcNameStart);
}

} // namespace quillon
