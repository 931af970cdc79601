// The scanner's block searches against the byte classes they stand for: every byte value at
// every place of a run, inside the 16-byte blocks and in the tail behind them, and the word
// compare of names at every length.
#include "xml/XmlScanBytes.h"
#include "xml/XmlCharClass.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace quillon::test {
namespace {

// A run of `length` bytes of `fill` with `stop` at `at`.
std::string RunWith(size_t length, char fill, size_t at, char stop) {
  std::string run(length, fill);
  run[at] = stop;
  return run;
}

// Where a byte-by-byte search would stop.
const char* StopOf(const std::string& run, bool (*continues)(char)) {
  const char* p = run.data();
  while (p < run.data() + run.size() && continues(*p))
    ++p;
  return p;
}

TEST(XmlScanBytesTest, BlockSearchesStopWhereTheByteClassesSay) {
  constexpr size_t kLength = 37; // two blocks and a tail
  for (int value = 0; value < 256; ++value) {
    const char c = static_cast<char>(value);
    for (size_t at = 0; at < kLength; ++at) {
      SCOPED_TRACE("byte " + std::to_string(value) + " at " + std::to_string(at));
      const std::string names = RunWith(kLength, 'a', at, c);
      const char* end = names.data() + names.size();
      EXPECT_EQ(SkipNameChars(names.data(), end), StopOf(names, IsXmlNameChar));
      EXPECT_EQ(SkipAttrNameChars(names.data(), end),
                StopOf(names, [](char b) { return !(XmlClass(b) & xcAttrNameEnd); }));
      EXPECT_EQ(FindAny3(names.data(), end, '<', '&', '\n'),
                StopOf(names, [](char b) { return b != '<' && b != '&' && b != '\n'; }));
      const std::string spaces = RunWith(kLength, '\t', at, c);
      EXPECT_EQ(SkipXmlSpaces(spaces.data(), spaces.data() + spaces.size()),
                StopOf(spaces, IsXmlSpace));
    }
  }
}

// The class table at both ends of each of its ranges, as letters: Space, Name start, name Char,
// Digit, Text stop, Lead byte, Attribute name end.
TEST(XmlScanBytesTest, ClassTableAtTheEdgesOfItsRanges) {
  const std::pair<int, const char*> rows[] = {
      {0x08, ""},   {0x09, "SA"},  {0x0A, "STA"}, {0x0B, "SA"}, {0x0C, "SA"}, {0x0D, "SA"},
      {0x0E, ""},   {' ', "SA"},   {'!', ""},     {'&', "T"},   {',', ""},    {'-', "C"},
      {'.', "C"},   {'/', "A"},    {'0', "CD"},   {'9', "CD"},  {':', "NC"},  {';', ""},
      {'<', "T"},   {'=', "A"},    {'>', "A"},    {'@', ""},    {'A', "NC"},  {'Z', "NC"},
      {'[', ""},    {'^', ""},     {'_', "NC"},   {'`', ""},    {'a', "NC"},  {'z', "NC"},
      {'{', ""},    {0x7F, ""},    {0x80, "C"},   {0x81, "CL"}, {0x9F, "CL"}, {0xA0, "C"},
      {0xB7, "C"},  {0xBF, "C"},   {0xC0, "NC"},  {0xD6, "NC"}, {0xD7, ""},   {0xD8, "NC"},
      {0xDF, "NC"}, {0xE0, "NCL"}, {0xEF, "NCL"}, {0xF0, "NC"}, {0xF6, "NC"}, {0xF7, ""},
      {0xF8, "NC"}, {0xFF, "NC"},
  };
  const std::pair<uint8_t, char> bits[] = {
      {xcSpace, 'S'},    {xcNameStart, 'N'}, {xcNameChar, 'C'},   {xcDigit, 'D'},
      {xcTextStop, 'T'}, {xcLeadByte, 'L'},  {xcAttrNameEnd, 'A'}};
  for (const auto& [byte, expected] : rows) {
    std::string letters;
    for (const auto& [bit, letter] : bits)
      if (XmlClass(static_cast<char>(byte)) & bit) letters += letter;
    EXPECT_EQ(letters, expected) << "byte " << byte;
  }
}

TEST(XmlScanBytesTest, SearchesStopAtTheEnd) {
  // The byte at `end` would stop every search; none may look at it.
  const std::string run = "abcdefghijklmnopqrstuvwxyz0123456789 <&\n";
  for (size_t length = 0; length <= 36; ++length) {
    const char* end = run.data() + length;
    EXPECT_EQ(SkipNameChars(run.data(), end), end) << length;
    EXPECT_EQ(SkipAttrNameChars(run.data(), end), end) << length;
    EXPECT_EQ(FindAny3(run.data(), end, ' ', '<', '&'), end) << length;
  }
}

TEST(XmlScanBytesTest, WordCompareOfNamesAgreesWithMemcmpAtEveryLength) {
  const std::string name = "m:properties.d:ReleaseDate-Catalog_Address";
  for (size_t length = 0; length <= name.size(); ++length) {
    EXPECT_TRUE(SameBytes(name.data(), name.data(), length)) << length;
    for (size_t at = 0; at < length; ++at) {
      std::string other = name;
      other[at] = static_cast<char>(other[at] ^ 0x20);
      EXPECT_FALSE(SameBytes(name.data(), other.data(), length)) << length << " at " << at;
    }
  }
}

} // namespace
} // namespace quillon::test
