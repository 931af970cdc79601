#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

TEST(Quillon, PropertiesByPublicName) {
  Quillon q;
  ASSERT_EQ(q.SetProperty("resourcepath", "Products"), 0); // names ignore case
  std::string value;
  ASSERT_EQ(q.GetProperty("ResourcePath", value), 0);
  EXPECT_EQ(value, "Products");
  EXPECT_EQ(q.SetProperty("Idle", "0"), 383);
  EXPECT_EQ(q.ErrorDescription(), "Property is read-only.");
  EXPECT_EQ(q.GetProperty("NoSuchProperty", value), 438);

  // A host text with a zero inside reaches the engine cut at the zero.
  ASSERT_EQ(q.SetProperty("QueryFilter", std::string("a\0b", 3)), 0);
  ASSERT_EQ(q.GetProperty("QueryFilter", value), 0);
  EXPECT_EQ(value, "a");

  const auto list = Quillon::Properties();
  for (size_t i = 1; i < list.size(); ++i)
    EXPECT_LT(list[i - 1].id, list[i].id);
}

TEST(Quillon, FailuresCarryTextAndValue) {
  Quillon q;
  std::string answer = "stale";
  EXPECT_EQ(q.Config("NoSuchKey", &answer), -1);
  EXPECT_EQ(answer, "");
  EXPECT_EQ(q.ErrorDescription(), "Unknown config setting.");

  const std::pair<int, uint32_t> rows[] = {{0, 0},
                                           {-1, 0x800A4E20},
                                           {143, 0x800A4EB0},
                                           {200, 0x800A0007},
                                           {432, 0x800A4FD1},
                                           {902, 0x800A51A7},
                                           {10061, 0x800A61E6},
                                           {383, 0x800A017F}};
  for (const auto& [code, value] : rows)
    EXPECT_EQ(Quillon::FailureValue(code), value) << code;
}

} // namespace
} // namespace quillon
