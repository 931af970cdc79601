#include "frame/Text.h"
#include "frame/CharClass.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <string>
#include <tuple>

namespace quillon {
namespace {

TEST(Text, NumberParsingStopsAtTheFirstOtherCharacter) {
  // The text, then what the decimal and the hexadecimal parse make of it.
  const std::tuple<const char*, int32_t, int32_t> rows[] = {
      {nullptr, 0, 0}, {"12ab", 12, 0x12ab}, {"-", 0, 0},
      {"+7", 7, 7},    {"-15", -15, -0x15},  {"FFz", 0, 255},
      {" 5", 0, 0},    {"0x10", 0, 0},       {"2147483648", -2147483647 - 1, 0x47483648},
  };
  for (const auto& [text, dec, hex] : rows) {
    EXPECT_EQ(ParseDec32(text), dec) << (text ? text : "(null)");
    EXPECT_EQ(ParseHex32(text), hex) << (text ? text : "(null)");
  }
  EXPECT_EQ(ParseDec64("-9000000000"), -9000000000LL);
  EXPECT_EQ(ParseHex64("123456789a"), 0x123456789aLL);
  EXPECT_EQ(ParseConfigNumber("0XfF"), 255);
  EXPECT_EQ(ParseConfigNumber("3"), 3);

  char out[40];
  EXPECT_EQ(FormatInt64(INT64_MIN, out), 20);
  EXPECT_STREQ(out, "-9223372036854775808");
  EXPECT_EQ(FormatInt64(0, out), 1);
  EXPECT_STREQ(out, "0");
}

// Every byte against the C library's classes in the "C" locale, where bytes from 0x80 up have none.
TEST(Text, CharClassOfEveryByte) {
  for (int b = 0; b < 256; ++b) {
    const char c = static_cast<char>(b);
    SCOPED_TRACE(b);
    EXPECT_EQ(IsDigitChar(c), std::isdigit(b) != 0);
    EXPECT_EQ(IsHexChar(c), std::isxdigit(b) != 0);
    EXPECT_EQ(IsAlphaChar(c), std::isalpha(b) != 0);
    EXPECT_EQ(IsLowerChar(c), std::islower(b) != 0);
    EXPECT_EQ(IsBlankChar(c), std::isspace(b) != 0);
    EXPECT_EQ(LowerChar(c), static_cast<char>(std::tolower(b)));
    EXPECT_EQ(UpperChar(c), static_cast<char>(std::toupper(b)));
    EXPECT_EQ(HexValue(c), std::isxdigit(b) ? std::stoi(std::string(1, c), nullptr, 16) : -1);
  }
}

TEST(Text, TruthAndCaseInsensitiveEquality) {
  for (const char* yes : {"TRUE", "true", "Yes", "1"})
    EXPECT_TRUE(IsTrueText(yes)) << yes;
  for (const char* no : {"on", "0", "", "True ", "y"})
    EXPECT_FALSE(IsTrueText(no)) << no;
  EXPECT_FALSE(IsTrueText(static_cast<const char*>(nullptr)));

  EXPECT_TRUE(EqualsNoCase("Content-Type", "content-TYPE"));
  EXPECT_FALSE(EqualsNoCase("", ""));
  EXPECT_FALSE(EqualsNoCase("abc", "abcd"));
  EXPECT_TRUE(SameNoCase("", ""));
  EXPECT_TRUE(StartsWithNoCase("HTTP/1.1 200", "http/"));
}

TEST(Text, PercentEncodingByTable) {
  // The text, then encoded as a value and as a query.
  const std::array<const char*, 3> rows[] = {
      {"Products(1)/Category", "Products%281%29%2FCategory", "Products%281%29/Category"},
      {"Name eq 'x'", "Name%20eq%20%27x%27", "Name%20eq%20%27x%27"},
      {"a=1&b=$2", "a%3D1%26b%3D%242", "a=1&b=$2"},
      {"*-.@_~+", "*-.@_%7E%2B", "*-.@_%7E%2B"},
      {"\xC3\xA9\x01\x7F", "%C3%A9%01%7F", "%C3%A9%01%7F"},
      // Every ASCII symbol, so that a byte added to or taken from a table shows.
      {" !\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~",
       "%20%21%22%23%24%25%26%27%28%29*%2B%2C-.%2F%3A%3B%3C%3D%3E%3F@%5B%5C%5D%5E_%60%7B%7C%7D%7E",
       "%20%21%22%23$%25&%27%28%29*%2B%2C-./%3A%3B%3C=%3E%3F@%5B%5C%5D%5E_%60%7B%7C%7D%7E"},
      {"09AZaz", "09AZaz", "09AZaz"},
  };
  for (const auto& [text, asValue, asQuery] : rows) {
    BufStr value, query;
    ASSERT_EQ(UrlEncodeTo(value, text, UrlSafeValue), 0);
    ASSERT_EQ(UrlEncodeTo(query, text, UrlSafeQuery), 0);
    EXPECT_EQ(std::string(value.View()) + " | " + std::string(query.View()),
              std::string(asValue) + " | " + asQuery)
        << text;
  }
}

TEST(Text, Base64RoundTripsAndForgivesNoise) {
  // Bytes, then in both alphabets: RFC 4648 section 10, and bytes that use the last two characters.
  const std::tuple<std::string, const char*, const char*> rows[] = {
      {"", "", ""},
      {"f", "Zg==", "Zg"},
      {"fo", "Zm8=", "Zm8"},
      {"foo", "Zm9v", "Zm9v"},
      {"foob", "Zm9vYg==", "Zm9vYg"},
      {"fooba", "Zm9vYmE=", "Zm9vYmE"},
      {"foobar", "Zm9vYmFy", "Zm9vYmFy"},
      {"\xFB\xFF\xBF", "+/+/", "-_-_"},
      // Every digit of both alphabets in order.
      {std::string(
           "\x00\x10\x83\x10\x51\x87\x20\x92\x8B\x30\xD3\x8F\x41\x14\x93\x51\x55\x97\x61\x96"
           "\x9B\x71\xD7\x9F\x82\x18\xA3\x92\x59\xA7\xA2\x9A\xAB\xB2\xDB\xAF\xC3\x1C"
           "\xB3\xD3\x5D\xB7\xE3\x9E\xBB\xF3\xDF\xBF",
           48),
       "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
       "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"},
  };
  for (const auto& [plain, asStandard, asUrlSafe] : rows) {
    BufStr standard, urlSafe;
    const int n = static_cast<int>(plain.size());
    ASSERT_EQ(Base64Encode(standard, plain.data(), n, false, 0, false), 0);
    ASSERT_EQ(Base64Encode(urlSafe, plain.data(), n, false, 0, true), 0);
    SCOPED_TRACE(asStandard);
    EXPECT_EQ(standard.View(), asStandard);
    EXPECT_EQ(urlSafe.View(), asUrlSafe);
    EXPECT_EQ(Base64Decode(standard, false), n);
    EXPECT_EQ(standard.View(), plain);
    EXPECT_EQ(Base64Decode(urlSafe, true), n);
    EXPECT_EQ(urlSafe.View(), plain);
  }

  BufStr noisy;
  noisy.Assign("Zm9v\r\n Ym!Fy=ignored");
  EXPECT_EQ(Base64Decode(noisy, false), 6);
  EXPECT_EQ(noisy.View(), "foobar");

  // Wrapped lines carry lineLength / 4 * 3 bytes, or 48 when lineLength is no multiple of 4.
  const std::string bytes(120, 'x');
  BufStr wrapped;
  ASSERT_EQ(Base64Encode(wrapped, bytes.data(), 120, true, 76, false), 0);
  EXPECT_EQ(wrapped.Find("\r\n"), 76);
  EXPECT_EQ(wrapped.Length(), 160 + 4); // breaks before bytes 57 and 114
  wrapped.Clear();
  ASSERT_EQ(Base64Encode(wrapped, bytes.data(), 96, true, 70, false), 0);
  EXPECT_EQ(wrapped.Find("\r\n"), 64);
  EXPECT_EQ(wrapped.Length(), 128 + 2);
}

TEST(Text, HexForms) {
  // A pair with a bad digit, or a digit left alone at the end, decodes as 0xFF.
  const std::pair<const char*, std::string> rows[] = {
      {"00ab7F", std::string("\x00\xAB\x7F", 3)}, {"0g12", "\xFF\x12"}, {"123", "\x12\xFF"}};
  for (const auto& [text, bytes] : rows) {
    BufStr out;
    ASSERT_EQ(HexDecode(out, text), 0);
    EXPECT_EQ(std::string(out.View()), bytes) << text;
  }

  std::string input(33, '\x0F');
  BufStr dump;
  ASSERT_EQ(HexDump(input.data(), 33, dump), 0);
  std::string expected;
  for (int i = 0; i < 31; ++i)
    expected += "0F ";
  EXPECT_EQ(dump.View(), expected + "0F\r\n0F ");
}

} // namespace
} // namespace quillon
