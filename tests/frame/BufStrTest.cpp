#include "frame/BufStr.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillon {
namespace {

TEST(BufStr, MovesToTheHeapPastItsLimitAndBackWhenShortAgain) {
  BufStr text;
  const std::string full(99, 'a');
  ASSERT_EQ(text.Assign(full), 0);
  EXPECT_FALSE(text.OnHeap());
  ASSERT_EQ(text.Append("b", 1), 0);
  EXPECT_TRUE(text.OnHeap());
  EXPECT_EQ(text.Capacity(), 150);
  // Byte by byte: each overflow grows to half again the requested length, and content and
  // terminator stay right through the moves.
  std::string expected = full + "b";
  std::vector<int> growth;
  while (text.Length() < 400) {
    const int before = text.Capacity();
    ASSERT_EQ(text.AppendChar('c'), 0);
    expected += 'c';
    if (text.Capacity() != before) growth.push_back(text.Length());
  }
  EXPECT_EQ(growth, (std::vector<int>{151, 227, 341}));
  EXPECT_EQ(text.View(), expected);
  EXPECT_EQ(text.Data()[400], '\0');
  ASSERT_EQ(text.Resize(50, nullptr), 0);
  EXPECT_FALSE(text.OnHeap());
  EXPECT_EQ(text.View(), full.substr(0, 50));

  BufStr20 small;
  ASSERT_EQ(small.Assign("0123456789abcdefghijk"), 0); // 21 bytes: one past the limit
  EXPECT_TRUE(small.OnHeap());
  small.Clear();
  EXPECT_EQ(small.Capacity(), 20);
  EXPECT_STREQ(small.c_str(), "");
}

TEST(BufStr, ShrinkToFitGivesBackTheSpareRoomOnly) {
  BufStr20 text;
  const std::string long40(40, 'y');
  ASSERT_EQ(text.Assign(long40), 0);
  text.ShrinkToFit();
  EXPECT_EQ(text.Capacity(), 40);
  ASSERT_EQ(text.AppendChar('z'), 0); // and it grows again from there
  EXPECT_EQ(text.View(), long40 + "z");
  SetAllocationFailureAfter(0);
  ASSERT_EQ(text.Assign(long40), 0); // fits the block, so no allocation
  text.ShrinkToFit();                // the smaller block can't be had: the old one stays
  SetAllocationFailureAfter(-1);
  EXPECT_EQ(text.View(), long40);
}

TEST(BufStr, MidAndDropFrontMoveTextWithinTheSameBuffer) {
  for (int length : {30, 250}) { // inline and heap
    std::string source;
    for (int i = 0; i < length; ++i)
      source += static_cast<char>('a' + i % 26);
    BufStr text;
    text.Assign(source);
    ASSERT_EQ(text.Mid(3, length - 2), 0) << length;
    EXPECT_EQ(text.View(), source.substr(3, length - 5)) << length;
    text.DropFront(5);
    EXPECT_EQ(text.View(), source.substr(8, length - 10)) << length;
    EXPECT_EQ(text.Mid(2, 1000), 0);
    EXPECT_EQ(text.View(), source.substr(10, length - 12));
    text.DropFront(100000);
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_FALSE(text.OnHeap());
  }

  BufStr text;
  EXPECT_EQ(text.Mid(0, 5), errIndex); // Mid of an empty string always fails
  text.Assign("hello");
  EXPECT_EQ(text.Mid(-1, 2), errIndex);
  EXPECT_EQ(text.Mid(1, -2), errIndex);
  EXPECT_EQ(text.Mid(5, 6), errIndex);
  EXPECT_EQ(text.View(), "hello");
  EXPECT_EQ(text.Mid(3, 2), 0); // end at or below start empties
  EXPECT_TRUE(text.IsEmpty());
}

TEST(BufStr, AppendFromItsOwnBufferSurvivesGrowth) {
  BufStr text;
  text.Assign("abcdefghij");
  for (int i = 0; i < 5; ++i)
    ASSERT_EQ(text.Append(text.Data(), text.Length()), 0);
  EXPECT_EQ(text.Length(), 320);
  EXPECT_EQ(text.View().substr(300), "abcdefghijabcdefghij");
  // Bytes written into the free area beyond the length and then appended.
  BufStr line;
  line.Resize(10, "0123456789");
  line.Resize(4, nullptr);
  ASSERT_EQ(line.Append(line.Data() + 6, 4), 0);
  EXPECT_EQ(line.View(), "01236789");
}

TEST(BufStr, FindTrimAndStripAtTheEdges) {
  BufStr text;
  text.Assign("abcabc");
  EXPECT_EQ(text.Find("c", 3), 5);
  EXPECT_EQ(text.Find("", 100), 0); // an empty needle is found at 0 even beyond the end
  EXPECT_EQ(text.Find("a", -1), -1);
  EXPECT_EQ(text.Find("a", 6), -1);
  EXPECT_FALSE(text.EndsWith("xabcabc"));

  text.Assign("\t \x01 caf\xC3\xA9");
  text.Trim(); // bytes from 0x80 up count as blanks at the ends
  EXPECT_EQ(text.View(), "caf");
  text.Assign("\"\"a\"b\"\"");
  text.StripChar('"');
  EXPECT_EQ(text.View(), "a\"b");
}

TEST(BufStr, FailedAllocationLeavesTheStringUsable) {
  BufStr text;
  text.Assign("short");
  SetAllocationFailureAfter(0);
  EXPECT_EQ(text.Resize(500, nullptr), errOutOfMemory);
  EXPECT_EQ(text.View(), "short");
  std::string big(300, 'q');
  text.Assign(big);
  SetAllocationFailureAfter(0);
  EXPECT_EQ(text.Resize(1000, nullptr), errOutOfMemory); // the realloc path
  SetAllocationFailureAfter(-1);
  EXPECT_EQ(text.View(), big);
  EXPECT_EQ(text.Append("z", 1), 0);
  EXPECT_EQ(text.Length(), 301);
}

} // namespace
} // namespace quillon
