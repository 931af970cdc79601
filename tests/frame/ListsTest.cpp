#include "frame/Errors.h"
#include "frame/Memory.h"
#include "frame/PtrList.h"
#include "frame/StrList.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

struct Record {
  BufStr name;
  int value = 0;
  int CopyTo(Record& destination) const {
    destination.value = value;
    return destination.name.Assign(name);
  }
};

TEST(PtrList, InsertClonesAndMovesSlotsUp) {
  PtrList<Record> list;
  Record source;
  for (int i = 0; i < 3; ++i) {
    source.value = i;
    source.name.Assign(std::to_string(i));
    ASSERT_EQ(list.Insert(100, source), 0); // beyond the count appends
  }
  source.value = 99;
  ASSERT_EQ(list.Insert(1, source), 0);
  EXPECT_EQ(list.Insert(-1, source), -1);
  ASSERT_EQ(list.Count(), 4);
  EXPECT_EQ(list.At(1)->value, 99);
  EXPECT_EQ(list.At(2)->value, 1);
  EXPECT_NE(list.At(1), &source);

  list.RemoveAt(1);
  list.RemoveAt(7);
  ASSERT_EQ(list.Count(), 3);
  EXPECT_EQ(list.At(1)->value, 1);
  EXPECT_EQ(list.At(2)->name.View(), "2");
}

TEST(PtrList, GrowsPastTheInlineSlotsAndBackAndFillsSlotsOnFirstRead) {
  PtrList<Record> list;
  Record source;
  for (int i = 0; i < 50; ++i) {
    source.value = i;
    ASSERT_EQ(list.Append(source), 0);
  }
  for (int i = 0; i < 50; ++i)
    ASSERT_EQ(list.At(i)->value, i);
  ASSERT_EQ(list.Resize(5), 0);
  EXPECT_EQ(list.At(4)->value, 4);
  ASSERT_EQ(list.Resize(8), 0);
  EXPECT_EQ(list.Peek(6), nullptr); // destroyed slots do not come back
  // An empty slot fills on its first read and stays the same.
  Record* filled = list.At(6);
  ASSERT_NE(filled, nullptr);
  EXPECT_EQ(list.At(6), filled);
  EXPECT_EQ(list.At(-1), nullptr);
  EXPECT_EQ(list.At(8), nullptr);

  // A failed growth empties the list.
  SetAllocationFailureAfter(0);
  EXPECT_EQ(list.Resize(40), errOutOfMemory);
  SetAllocationFailureAfter(-1);
  EXPECT_EQ(list.Count(), 0);
}

TEST(StrList, EditsKeepTheOtherEntries) {
  StrList list;
  ASSERT_EQ(list.AppendText("alpha"), 0);
  ASSERT_EQ(list.AppendText(nullptr), 0);
  ASSERT_EQ(list.AppendInt(-42), 0);
  ASSERT_EQ(list.Append("omega"), 0);
  EXPECT_EQ(list.AtInt(2), -42);
  // An entry grown and shrunk in the middle, and one set from another entry of the same list.
  const std::string longer(300, 'L');
  ASSERT_EQ(list.SetAt(1, longer.data(), static_cast<int>(longer.size())), 0);
  EXPECT_EQ(list.At(1), longer);
  ASSERT_EQ(list.SetAt(1, "b", 1), 0);
  std::string_view from = list.At(0);
  ASSERT_EQ(list.SetAt(3, from.data(), static_cast<int>(from.size())), 0);
  EXPECT_EQ(list.At(3), "alpha");
  EXPECT_EQ(*(list.At(3).data() + 5), '\0');
  EXPECT_EQ(list.SetAt(4, "x", 1), errIndex);

  ASSERT_EQ(list.RemoveAt(0), 0);
  EXPECT_EQ(list.RemoveAt(3), errIndex);
  EXPECT_EQ(list.At(0), "b");
  EXPECT_EQ(list.At(2), "alpha");
  ASSERT_EQ(list.SetCount(5), 0);
  EXPECT_EQ(list.At(4), "");
  ASSERT_EQ(list.SetCount(1), 0);
  EXPECT_EQ(list.Body().Length(), 5);
}

TEST(StrList, EntriesLongerThanThreeLengthBytesAreRefused) {
  StrList list;
  const char dummy = 'x';
  EXPECT_EQ(list.AppendBytes(&dummy, StrList::kMaxEntry + 1), errOutOfMemory);
  EXPECT_EQ(list.Count(), 0);
  list.AppendText("a");
  EXPECT_EQ(list.SetAt(0, &dummy, StrList::kMaxEntry + 1), errOutOfMemory);
  EXPECT_EQ(list.At(0), "a");
}

} // namespace
} // namespace quillon
