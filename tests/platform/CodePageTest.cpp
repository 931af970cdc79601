#include "platform/CodePage.h"

#include "frame/Errors.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

TEST(CodePage, BytesToWideReplacesWhatItCannotRead) {
  WidePair pair;
  pair.bytes.Assign("bad \xC3 byte");
  EXPECT_EQ(std::u16string(BytesToWide(pair, 65001)), u"bad \ufffd byte");
  pair.bytes.Assign("x");
  EXPECT_EQ(std::u16string(BytesToWide(pair, 4242)), u""); // unknown code page
  EXPECT_EQ(pair.wide.Length(), 2);
}

// Each Windows number reaches its own converter: characters that tell the code pages apart, both
// ways (the expected values come from another implementation's tables). The bytes made of wide
// text count their terminator.
TEST(CodePage, WindowsNumbersMapToConverters) {
  struct Row {
    int codePage;
    std::string bytes;
    std::u16string wide;
  };
  const Row rows[] = {
      {65001, "a\xC3\xA9", u"a\u00e9"},
      {0, "caf\xC3\xA9", u"caf\u00e9"}, // 0 is the default code page, UTF-8 here
      {65001, "", u""},
      {20127, "a", u"a"},
      {1250, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u0102\u0110\u0155\u0111"},
      {1251, "\x80\xC3\xD0\xE0\xF0", u"\u0402\u0413\u0420\u0430\u0440"},
      {1252, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u00c3\u00d0\u00e0\u00f0"},
      {1253, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u0393\u03a0\u03b0\u03c0"},
      {1254, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u00c3\u011e\u00e0\u011f"},
      {1255, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u05b3\u05c0\u05d0\u05e0"},
      {1256, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u0623\u0630\u00e0\u064b"},
      {1257, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u0106\u0160\u0105\u0161"},
      {1258, "\x80\xC3\xD0\xE0\xF0", u"\u20ac\u0102\u0110\u00e0\u0111"},
      {28591, "\x80\xC3\xD0\xE0\xF0", u"\u0080\u00c3\u00d0\u00e0\u00f0"},
      {28592, "\x80\xC3\xD0\xE0\xF0", u"\u0080\u0102\u0110\u0155\u0111"},
      {28593, "\x80\xE0", u"\u0080\u00e0"},
      {28594, "\x80\xC3\xD0\xE0\xF0", u"\u0080\u00c3\u0110\u0101\u0111"},
      {28595, "\x80\xC3\xD0\xE0\xF0", u"\u0080\u0423\u0430\u0440\u2116"},
      {28596, "\x80\xC3\xD0\xE0\xF0", u"\u0080\u0623\u0630\u0640\u0650"},
      {28597, "\x80\xC3\xD0\xE0\xF0", u"\u0080\u0393\u03a0\u03b0\u03c0"},
      {28598, "\x80\xE0\xF0", u"\u0080\u05d0\u05e0"},
      {28599, "\x80\xC3\xD0\xE0\xF0", u"\u0080\u00c3\u011e\u00e0\u011f"},
      {932, "\x88\x9F", u"\u4e9c"},
      {936, "\xB0\xA1", u"\u554a"},
      {949, "\xB0\xA1", u"\uac00"},
      {950, "\xA4@", u"\u4e00"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.codePage);
    WidePair pair;
    pair.bytes.Assign(row.bytes);
    EXPECT_EQ(std::u16string(BytesToWide(pair, row.codePage)), row.wide);
    BufStr out;
    EXPECT_EQ(WideToBytes(out, row.wide.c_str(), row.codePage), 0);
    EXPECT_EQ(out.View(), row.bytes + '\0');
  }
  BufStr out;
  EXPECT_EQ(WideToBytes(out, u"a\u00e9", 20127), 0); // a character the code page lacks
  EXPECT_EQ(out.View(), std::string("a?\0", 3));
  EXPECT_EQ(WideToBytes(out, nullptr, 65001), 0);
  EXPECT_EQ(out.View(), std::string(1, '\0'));
  EXPECT_EQ(WideToBytes(out, u"x", 4242), errCodePage);
  BufStr converted;
  ASSERT_EQ(ConvertCodePage(converted, "\xE9t\xE9", 1252, 65001), 0);
  EXPECT_EQ(converted.View(), "\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(ConvertCodePage(converted, "x", 65001, 4242), errCodePage);
}

} // namespace
} // namespace quillon
