// Header lines into ParsedHeaders: the split of a line, folding of continuations with a tab, and
// the indexed ParsedHeader properties.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "odata/QuillonCore.h"
#include "surface/ControlSurface.h"
#include "surface/SurfaceErrors.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

TEST(HttpHeadersTest, SplitHeaderLine) {
  // The line, and the field and value split from it as "field|value".
  const std::pair<std::string, const char*> rows[] = {
      {"Content-Type: text/xml", "Content-Type|text/xml"},
      {"X:\t \tspaced  ", "X|spaced  "}, // trailing blanks stay
      {"X:", "X|"},
      {"NoColon", "NoColon|"},
      {"\"a:b\": c", "\"a:b\"|c"},        // a colon inside quotes is no separator
      {"\"open:quote", "\"open:quote|"},  // an unterminated quote hides every colon
      {" folded  part", "|folded  part"}, // one byte of the continuation is skipped
      {"\t\tmore", "|\tmore"},
      {"\x80high: byte", "|high: byte"}, // bytes from 0x80 count as blanks
      {std::string("\0x: y", 5), "|x: y"},
      {"", "|"},
  };
  for (const auto& [line, expected] : rows) {
    std::string_view field, value;
    HttpClient::SplitHeaderLine(line, field, value);
    EXPECT_EQ(std::string(field) + "|" + std::string(value), expected) << "row: " << line;
  }
}

// A continuation before any header is dropped, an empty one adds nothing, and an empty value
// takes a continuation without a tab in front.
TEST(HttpHeadersTest, ContinuationsFoldWithATab) {
  QuillonCore core;
  const char* lines[][2] = {{"", "dropped"}, {"X-Long", "first"}, {"", "second"},
                            {"", ""},        {"", "third"},       {"Empty", ""},
                            {"", "only"},    {"x-long", "again"}};
  for (const auto& [field, value] : lines)
    ASSERT_EQ(core.AddParsedHeader(field, value), errNone) << field << ": " << value;
  ASSERT_EQ(core.ParsedHeaderCount(), 3);
  EXPECT_EQ(core.ParsedHeaders.At(0), "X-Long");
  EXPECT_EQ(core.ParsedHeaders.At(1), "first\tsecond\tthird");
  EXPECT_EQ(core.ParsedHeaders.At(3), "only");
  EXPECT_EQ(core.ParsedHeaders.At(4), "x-long") << "fields stay as the server wrote them";
}

// The indexed ParsedHeader rows over the field and value pairs.
TEST(HttpHeadersTest, ParsedHeaderProperties) {
  QuillonCore core;
  ASSERT_EQ(core.AddParsedHeader("Server", "test"), errNone);
  ASSERT_EQ(core.AddParsedHeader("WWW-Authenticate", "Digest"), errNone);
  PropertyValue read;
  ASSERT_EQ(FindProperty("ParsedHeaderCount")->get(core, -1, read), errNone);
  EXPECT_EQ(read.number, 2);
  ASSERT_EQ(FindProperty("ParsedHeaderField")->get(core, 1, read), errNone);
  EXPECT_EQ(read.text.View(), "WWW-Authenticate");
  ASSERT_EQ(FindProperty("ParsedHeaderValue")->get(core, 0, read), errNone);
  EXPECT_EQ(read.text.View(), "test");
  EXPECT_EQ(FindProperty("ParsedHeaderField")->get(core, 2, read), errArrayIndex);
}

} // namespace
} // namespace quillon
