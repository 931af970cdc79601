#include "frame/BufStr.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

TEST(BufStr, StaysInlineUpToItsLimitAndGrowsByHalfBeyond) {
  BufStr text;
  EXPECT_EQ(text.Capacity(), 99);
  ASSERT_EQ(text.Resize(99, std::string(99, 'a').c_str()), 0);
  EXPECT_FALSE(text.OnHeap());
  EXPECT_EQ(text.Capacity(), 99);

  ASSERT_EQ(text.Append("b", 1), 0);
  EXPECT_TRUE(text.OnHeap());
  EXPECT_EQ(text.Capacity(), 150);
  EXPECT_EQ(text.View(), std::string(99, 'a') + "b");
  EXPECT_EQ(text.Data()[100], '\0');

  // Appending byte by byte reallocates exactly where the requested length passes capacity.
  std::vector<int> growth;
  int capacity = text.Capacity();
  while (text.Length() < 400) {
    ASSERT_EQ(text.AppendChar('c'), 0);
    if (text.Capacity() != capacity) {
      growth.push_back(text.Length());
      capacity = text.Capacity();
    }
  }
  EXPECT_EQ(growth, (std::vector<int>{151, 227, 341}));
  EXPECT_EQ(text.Capacity(), 511);
}

TEST(BufStr, ShrinkingToTheLimitMovesTheTextBackInline) {
  BufStr text;
  std::string long150(150, 'x');
  long150[0] = 'A';
  ASSERT_EQ(text.Assign(long150.c_str()), 0);
  ASSERT_TRUE(text.OnHeap());
  ASSERT_EQ(text.Resize(50, nullptr), 0);
  EXPECT_FALSE(text.OnHeap());
  EXPECT_EQ(text.Capacity(), 99);
  EXPECT_EQ(text.View(), long150.substr(0, 50));

  BufStr20 small;
  ASSERT_EQ(small.Assign("0123456789abcdefghijk"), 0); // 21 bytes: one past the limit
  EXPECT_TRUE(small.OnHeap());
  EXPECT_EQ(small.Capacity(), 31);
  small.Clear();
  EXPECT_EQ(small.Capacity(), 20);
  EXPECT_EQ(small.Length(), 0);
  EXPECT_STREQ(small.c_str(), "");
}

TEST(BufStr, ShrinkToFitGivesBackTheSpareRoomOnly) {
  BufStr20 text;
  text.ShrinkToFit(); // inline: nothing to give back
  EXPECT_EQ(text.Capacity(), 20);
  const std::string long40(40, 'y');
  ASSERT_EQ(text.Assign(long40), 0);
  ASSERT_EQ(text.Capacity(), 60);
  text.ShrinkToFit();
  EXPECT_EQ(text.Capacity(), 40);
  EXPECT_EQ(text.View(), long40);
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
    text.DropFront(0);
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

TEST(BufStr, FindEndsWithTrimAndStrip) {
  BufStr text;
  text.Assign("abcabc");
  EXPECT_EQ(text.Find("c", 0), 2);
  EXPECT_EQ(text.Find("c", 3), 5);
  EXPECT_EQ(text.Find("", 100), 0); // an empty needle is found at 0 even beyond the end
  EXPECT_EQ(text.Find("a", -1), -1);
  EXPECT_EQ(text.Find("a", 6), -1);
  EXPECT_EQ(text.Find("abcd", 0), -1);
  EXPECT_TRUE(text.EndsWith(""));
  EXPECT_TRUE(text.EndsWith("bc"));
  EXPECT_FALSE(text.EndsWith("xabcabc"));

  BufStr spaced;
  spaced.Assign("\t \x01 caf\xC3\xA9");
  spaced.Trim(); // bytes from 0x80 up count as blanks at the ends
  EXPECT_EQ(spaced.View(), "caf");
  spaced.Assign("  \r\n");
  spaced.Trim();
  EXPECT_TRUE(spaced.IsEmpty());

  BufStr quoted;
  quoted.Assign("\"\"a\"b\"\"");
  quoted.StripChar('"');
  EXPECT_EQ(quoted.View(), "a\"b");
  quoted.Assign("MiXed-9z");
  quoted.ToUpper();
  EXPECT_EQ(quoted.View(), "MIXED-9Z");
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
  EXPECT_EQ(text.View(), big);
  EXPECT_EQ(text.Append("z", 1), 0);
  EXPECT_EQ(text.Length(), 301);
}

} // namespace
} // namespace quillon
