// A generated feed of 50,000 entries read end to end through the typed members: counts and
// indexes are 32-bit, so every entry is reachable.
#include "FeedGenerator.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace quillon {
namespace {

TEST(BigFeed, EveryOneOfFiftyThousandEntriesIsReachable) {
  constexpr int kEntries = 50000;
  const std::string path = (std::filesystem::temp_directory_path() /
                            ("quillon-big-feed-" + std::to_string(::getpid()) + ".xml"))
                               .string();
  ASSERT_GT(bench::WriteFeedFile(path, kEntries), 0);
  Quillon q;
  std::string result;
  ASSERT_EQ(q.Config("ReadFile=" + path, &result), 0);
  std::remove(path.c_str());
  ASSERT_EQ(result, "0");
  ASSERT_EQ(q.EntryCount(), kEntries);
  // Every 50th entry by its index, up to the last, and every property of every 1000th.
  for (int i = 49; i < kEntries; i += 50) {
    ASSERT_EQ(q.SetEntryIndex(i), 0) << i;
    const std::string n = std::to_string(i + 1);
    ASSERT_EQ(q.EntryId(), "https://services.example.com/Catalog.svc/Products(" + n + ")") << i;
    if (i % 1000 != 999) continue;
    ASSERT_EQ(q.EntryPropertiesCount(), bench::kPropertiesPerEntry) << i;
    EXPECT_EQ(q.EntryPropertiesValue(0), n) << i;
    EXPECT_EQ(q.EntryPropertiesName(1) + "=" + q.EntryPropertiesValue(1), "Name=Milk " + n) << i;
    EXPECT_TRUE(q.EntryPropertiesIsNull(4)) << i;
    EXPECT_EQ(q.EntryPropertiesXPath(11),
              "/feed/entry[" + std::to_string(i + 1) + "]/content/properties/Address/Country")
        << i;
  }
  EXPECT_EQ(q.EntryIndex(), kEntries - 1);
  EXPECT_EQ(q.SetEntryIndex(kEntries), 432);
}

} // namespace
} // namespace quillon
