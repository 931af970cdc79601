// Values crossing the border: UTF-8 to the engine's code page and back, texts cut at a NUL and
// counted texts that keep theirs, and flags in and out.
#include "surface/ControlSurface.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

const std::string kFeed = std::string(QUILLON_SOURCE_DIR) + "/examples/products-feed.xml";

TEST(BorderText, HostTextReachesTheEngineInItsCodePage) {
  Quillon q;
  ASSERT_EQ(q.Config("CodePage=1252"), 0);
  ASSERT_EQ(q.SetChannelTitle("Café €5"), 0);
  EXPECT_EQ(q.ChannelTitle(), "Café €5");
  std::string byName;
  ASSERT_EQ(q.GetProperty("ChannelTitle", byName), 0);
  EXPECT_EQ(byName, "Café €5");
  // The engine holds the bytes of code page 1252, which UTF-8 shows as they are.
  ASSERT_EQ(q.Config("CodePage=65001"), 0);
  EXPECT_EQ(q.ChannelTitle(), "Caf\xE9 \x80"
                              "5");
}

TEST(BorderText, TextsEndAtANulUnlessTheyCarryTheirLength) {
  Quillon q;
  ASSERT_EQ(q.SetQueryFilter(std::string("a\0b", 3)), 0);
  EXPECT_EQ(q.QueryFilter(), "a");
  ASSERT_EQ(q.SetProperty("ResourcePath", std::string("P\0x", 3)), 0);
  EXPECT_EQ(q.ResourcePath(), "P");

  // Counted texts are converted by length, zeros and all, both ways.
  const std::string host("\0é\0", 4);
  BufStr bytes;
  ASSERT_EQ(HostToEngine(bytes, host, 1252, true), 0);
  EXPECT_EQ(bytes.View(), std::string_view("\0\xE9\0", 3));
  std::string back;
  ASSERT_EQ(EngineToHost(back, bytes.View(), 1252), 0);
  EXPECT_EQ(back, host);
  ASSERT_EQ(HostToEngine(bytes, host, 1252), 0);
  EXPECT_EQ(bytes.View(), "");
  const PropertyRow* counted = FindProperty("transferreddata");
  ASSERT_NE(counted, nullptr);
  EXPECT_EQ(counted->kind, ValueKind::Counted);
  EXPECT_EQ(FindProperty("TransferredDataB")->kind, ValueKind::Bytes);
}

// A flag is true for any number but 0 and for "True" or "yes"; it reads "-1" or "0".
TEST(BorderText, FlagsInAndOut) {
  const std::pair<const char*, bool> rows[] = {{"-1", true},   {"1", true},      {"2", true},
                                               {"0x10", true}, {"True", true},   {"yes", true},
                                               {"0", false},   {"false", false}, {"", false}};
  Quillon q;
  ASSERT_EQ(q.Config("ReadFile=" + kFeed), 0);
  for (auto [text, flag] : rows) {
    ASSERT_EQ(q.SetProperty("EntryPropertiesIsNull", 1, text), 0) << text;
    EXPECT_EQ(q.EntryPropertiesIsNull(1), flag) << text;
    std::string out;
    ASSERT_EQ(q.GetProperty("EntryPropertiesIsNull", 1, out), 0) << text;
    EXPECT_EQ(out, flag ? "-1" : "0") << text;
  }
}

} // namespace
} // namespace quillon
