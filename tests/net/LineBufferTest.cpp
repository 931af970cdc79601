// Record cutting of the port's line buffer: line ends in every combination, terminators, pieces
// of a full buffer, input split at every point, and appends from the buffer's own free space.
#include "net/LineBuffer.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace quillon {
namespace {

// Feeds `chunks` as successive reads and lists what comes out: "text|1" for a record, and at the
// end "text|0" for what is left unfinished.
std::vector<std::string> Cut(LineBuffer& buffer, const std::vector<std::string>& chunks) {
  std::vector<std::string> out;
  char* bytes;
  uint32_t size;
  for (const std::string& chunk : chunks) {
    size_t at = 0;
    while (at < chunk.size()) {
      char* place;
      uint32_t room;
      if (!buffer.FreeSpace(place, 0, room)) {
        buffer.TakeAll(bytes, size);
        out.push_back(std::string(bytes, size) + "|0");
        continue;
      }
      const uint32_t n = std::min<uint32_t>(room, static_cast<uint32_t>(chunk.size() - at));
      std::memcpy(place, chunk.data() + at, n);
      buffer.Commit(n);
      at += n;
      while (buffer.NextRecord(bytes, size))
        out.push_back(std::string(bytes, size) + "|1");
    }
  }
  if (buffer.TakeAll(bytes, size)) out.push_back(std::string(bytes, size) + "|0");
  return out;
}

// A buffer that cuts at any line end, as SplitCRLF sets it up.
void SplitLines(LineBuffer& buffer, uint32_t capacity = 64) {
  buffer.Resize(capacity);
  buffer.SetTerminator("\r\n", 2);
  buffer.splitLines = 1;
}

// Rows name the terminator ("" for none, "lines" for any line end) and the buffer's capacity.
TEST(LineBufferTest, RecordsCutByTerminatorOrLineEnds) {
  struct Row {
    const char* terminator;
    uint32_t capacity;
    std::vector<std::string> chunks;
    std::vector<std::string> expected;
  };
  const Row rows[] = {
      {"lines", 64, {"a\r\nb\nc\rd"}, {"a|1", "b|1", "c|1", "d|0"}},
      {"lines", 64, {"a\r", "\nb\r\n"}, {"a|1", "b|1"}}, // CRLF split between two reads
      {"lines", 64, {"a\n", "\rb\n"}, {"a|1", "b|1"}},   // LFCR split between two reads
      {"lines", 64, {"a\n\rb\n"}, {"a|1", "b|1"}},       // LF CR is one line end
      {"lines", 64, {"a\r\rb\n"}, {"a|1", "|1", "b|1"}}, // CR CR are two
      {"lines", 64, {"a\n\nb"}, {"a|1", "|1", "b|0"}},   // LF LF are two
      {"lines", 64, {"a\r", "\n", "\r\nb\r\n"}, {"a|1", "|1", "b|1"}},
      {"lines", 64, {"no end"}, {"no end|0"}},
      {"lines", 4, {"abcd\nef\n"}, {"abcd|0", "|1", "ef|1"}}, // exactly fills: a piece
      {"\r\n", 64, {"a\nb\r\nc\rd\r", "\ne"}, {"a\nb|1", "c\rd|1", "e|0"}},
      // A record that is only the terminator, e.g. the empty line ending a header block.
      {"\r\n", 64, {"a\r\n", "\r\n"}, {"a|1", "|1"}},
      {"\r\n", 64, {"\r\n"}, {"|1"}},
      // A terminator whose first byte repeats inside it, met after false starts.
      {"--!", 64, {"x-", "-y---", "!z--!"}, {"x--y-|1", "z|1"}},
      {"", 64, {"a\r\nb", "c"}, {"a\r\nb|1", "c|1"}}, // without one every read is a record
  };
  for (const Row& row : rows) {
    LineBuffer buffer;
    if (std::string_view(row.terminator) == "lines") {
      SplitLines(buffer, row.capacity);
    } else {
      buffer.Resize(row.capacity);
      buffer.SetTerminator(row.terminator, static_cast<uint32_t>(std::strlen(row.terminator)));
    }
    EXPECT_EQ(Cut(buffer, row.chunks), row.expected) << "row " << (&row - rows);
  }
}

TEST(LineBufferTest, SplitAtEveryPointGivesTheSameRecords) {
  const std::string input = "HTTP/1.1 200 OK\r\nA: 1\r\n\r\nline\nnext\n\rlast\r\nrest";
  LineBuffer whole;
  SplitLines(whole);
  const std::vector<std::string> expected = Cut(whole, {input});
  for (size_t split = 1; split < input.size(); ++split) {
    LineBuffer buffer;
    SplitLines(buffer);
    EXPECT_EQ(Cut(buffer, {input.substr(0, split), input.substr(split)}), expected)
        << "split at " << split;
  }
}

TEST(LineBufferTest, FreeSpaceCompactsOnlyWhenTheTailIsTooShort) {
  LineBuffer buffer;
  buffer.Resize(10);
  buffer.SetTerminator("\n", 1);
  ASSERT_TRUE(buffer.Append("abc\ndefg", 8));
  char* bytes;
  uint32_t size;
  ASSERT_TRUE(buffer.NextRecord(bytes, size));
  ASSERT_EQ(buffer.offset, 4u);

  char* place;
  uint32_t room;
  EXPECT_TRUE(buffer.FreeSpace(place, 2, room)); // fits behind "defg"
  EXPECT_EQ(buffer.offset, 4u);
  EXPECT_EQ(room, 2u);
  EXPECT_TRUE(buffer.FreeSpace(place, 5, room)); // needs the consumed front
  EXPECT_EQ(buffer.offset, 0u);
  EXPECT_EQ(room, 6u);
  EXPECT_EQ(std::string(buffer.data, 4), "defg");
  EXPECT_FALSE(buffer.FreeSpace(place, 7, room)); // more than the buffer has
}

TEST(LineBufferTest, AppendTakesBytesFromItsOwnFreeSpace) {
  LineBuffer buffer;
  buffer.Resize(16);
  ASSERT_TRUE(buffer.Append("xyz", 3));
  char* bytes;
  uint32_t size;
  ASSERT_TRUE(buffer.TakeAll(bytes, size));
  ASSERT_TRUE(buffer.Append("ab", 2));
  // Bytes written into the free space, then appended from there: source and target overlap.
  char* place;
  uint32_t room;
  ASSERT_TRUE(buffer.FreeSpace(place, 0, room));
  std::memcpy(place + 1, "cdefg", 5);
  ASSERT_TRUE(buffer.Append(place + 1, 5));
  ASSERT_TRUE(buffer.TakeAll(bytes, size));
  EXPECT_EQ(std::string(bytes, size), "abcdefg");
  EXPECT_FALSE(buffer.Append("0123456789abcdefg", 17)); // beyond the capacity
}

TEST(LineBufferTest, ResizeFailureKeepsTheOldArray) {
  LineBuffer buffer;
  ASSERT_EQ(buffer.Resize(32), errNone);
  ASSERT_TRUE(buffer.Append("kept", 4));
  EXPECT_EQ(buffer.Resize(32), errNone); // same size: only emptied
  EXPECT_EQ(buffer.length, 0u);
  SetAllocationFailureAfter(0);
  EXPECT_EQ(buffer.Resize(64), errOutOfMemory);
  SetAllocationFailureAfter(-1);
  EXPECT_EQ(buffer.capacity, 32u);
  EXPECT_TRUE(buffer.Append("still usable", 12));
}

} // namespace
} // namespace quillon
