#include "platform/CodePage.h"

#include "frame/Errors.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

TEST(CodePage, WideToBytesCountsTheTerminator) {
  struct Row {
    int codePage;
    const char16_t* wide;
    std::string bytes; // without the terminator
  };
  const Row rows[] = {
      {65001, u"caf\u00e9", "caf\xC3\xA9"},
      {0, u"caf\u00e9", "caf\xC3\xA9"}, // 0 is the default code page, UTF-8 here
      {1252, u"caf\u00e9 \u20ac", "caf\xE9 \x80"},
      {1251, u"\u0414", "\xC4"},
      {28591, u"\u00ff", "\xFF"},
      {932, u"\u65e5\u672c", "\x93\xFA\x96\x7B"},
      {20127, u"a\u00e9", "a?"}, // a character the code page lacks becomes '?'
      {65001, u"", ""},
      {65001, nullptr, ""},
  };
  for (const Row& row : rows) {
    BufStr out;
    ASSERT_EQ(WideToBytes(out, row.wide, row.codePage), 0) << row.codePage;
    ASSERT_EQ(out.Length(), static_cast<int>(row.bytes.size()) + 1) << row.codePage;
    EXPECT_EQ(std::string(out.Data(), row.bytes.size()), row.bytes) << row.codePage;
    EXPECT_EQ(out.Data()[row.bytes.size()], '\0');
  }
  BufStr out;
  EXPECT_EQ(WideToBytes(out, u"x", 4242), errCodePage);
}

TEST(CodePage, BytesToWideReplacesWhatItCannotRead) {
  WidePair pair;
  pair.bytes.Assign("na\xC3\xAFve");
  EXPECT_EQ(std::u16string(BytesToWide(pair, 65001)), u"na\u00efve");
  pair.bytes.Assign("bad \xC3 byte");
  EXPECT_EQ(std::u16string(BytesToWide(pair, 65001)), u"bad \ufffd byte");
  pair.bytes.Assign("\x80");
  EXPECT_EQ(std::u16string(BytesToWide(pair, 1252)), u"\u20ac");
  pair.bytes.Assign("");
  EXPECT_EQ(std::u16string(BytesToWide(pair, 65001)), u"");
  pair.bytes.Assign("x");
  EXPECT_EQ(std::u16string(BytesToWide(pair, 4242)), u""); // unknown code page
  EXPECT_EQ(pair.wide.Length(), 2);
}

TEST(CodePage, WindowsNumbersMapToConverters) {
  for (int codePage :
       {65001, 1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257, 1258, 28591, 28592,
        28593, 28594, 28595, 28596, 28597, 28598, 28599, 20127, 932,  936,  949,   950}) {
    BufStr out;
    EXPECT_EQ(WideToBytes(out, u"A", codePage), 0) << codePage;
    EXPECT_EQ(out.View(), std::string_view("A", 2)) << codePage;
  }
  BufStr converted;
  ASSERT_EQ(ConvertCodePage(converted, "\xE9t\xE9", 1252, 65001), 0);
  EXPECT_EQ(converted.View(), "\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(ConvertCodePage(converted, "x", 65001, 4242), errCodePage);
}

} // namespace
} // namespace quillon
