// Values crossing the border: UTF-8 to the engine's code page and back, texts cut at a NUL and
// counted texts that keep theirs. Flags in and out are EntrySurface.FlagsInAndOut.
#include "surface/ControlSurface.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

TEST(BorderText, HostTextReachesTheEngineInItsCodePage) {
  Quillon q;
  ASSERT_EQ(q.Config("CodePage=1252"), 0);
  ASSERT_EQ(q.SetChannelTitle("Café €5"), 0);
  EXPECT_EQ(q.ChannelTitle(), "Café €5");
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
}

} // namespace
} // namespace quillon
