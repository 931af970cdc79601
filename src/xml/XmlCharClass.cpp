// The class table, built once at compile time.
#include "xml/XmlCharClass.h"

namespace quillon {

namespace {
constexpr std::array<uint8_t, 256> BuildClassTable() {
  std::array<uint8_t, 256> table{};
  for (int c : {0x20, 0x09, 0x0A, 0x0D, 0x0C, 0x0B})
    table[c] |= xcSpace;
  auto nameStart = [&table](int from, int to) {
    for (int c = from; c <= to; ++c)
      table[c] |= xcNameStart | xcNameChar;
  };
  nameStart(':', ':');
  nameStart('_', '_');
  nameStart('A', 'Z');
  nameStart('a', 'z');
  nameStart(0xC0, 0xD6);
  nameStart(0xD8, 0xF6);
  nameStart(0xF8, 0xFF);
  for (int c = '0'; c <= '9'; ++c)
    table[c] |= xcNameChar | xcDigit;
  for (int c = 0x80; c <= 0xBF; ++c)
    table[c] |= xcNameChar;
  table['-'] |= xcNameChar;
  table['.'] |= xcNameChar;
  table[0xB7] |= xcNameChar;
  for (int c : {'\n', '&', '<'})
    table[c] |= xcTextStop;
  for (char c : {' ', '\t', '\n', '\r', '\f', '\v', '=', '>', '/'})
    table[static_cast<uint8_t>(c)] |= xcAttrNameEnd;
  for (int c = 0x81; c <= 0x9F; ++c)
    table[c] |= xcLeadByte;
  for (int c = 0xE0; c <= 0xEF; ++c)
    table[c] |= xcLeadByte;
  return table;
}
} // namespace

const std::array<uint8_t, 256> kXmlClass = BuildClassTable();

} // namespace quillon
