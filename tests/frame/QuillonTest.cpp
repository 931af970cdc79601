#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

TEST(Quillon, PropertiesByPublicName) {
  Quillon q;
  ASSERT_EQ(q.SetProperty("ServiceRootURI", "http://h/svc"), 0);
  ASSERT_EQ(q.SetProperty("resourcepath", "Products"), 0); // names ignore case
  std::string value;
  ASSERT_EQ(q.GetProperty("ResourcePath", value), 0);
  EXPECT_EQ(value, "Products");
  ASSERT_EQ(q.GetProperty("Idle", value), 0);
  EXPECT_EQ(value, "1");

  EXPECT_EQ(q.SetProperty("Idle", "0"), 383);
  EXPECT_EQ(q.ErrorDescription(), "Property is read-only.");
  EXPECT_EQ(q.GetProperty("NoSuchProperty", value), 438);

  // A host text with a zero inside reaches the engine cut at the zero.
  ASSERT_EQ(q.SetProperty("QueryFilter", std::string("a\0b", 3)), 0);
  ASSERT_EQ(q.GetProperty("QueryFilter", value), 0);
  EXPECT_EQ(value, "a");

  // Properties are listed in the order of their ids.
  const auto list = Quillon::Properties();
  ASSERT_FALSE(list.empty());
  for (size_t i = 1; i < list.size(); ++i)
    EXPECT_LT(list[i - 1].id, list[i].id);
}

TEST(Quillon, TextIsConvertedByTheCodePage) {
  Quillon q;
  ASSERT_EQ(q.Config("CodePage=1252"), 0);
  ASSERT_EQ(q.SetProperty("QueryFilter", "Name eq 'Caf\xC3\xA9'"), 0);
  std::string value;
  ASSERT_EQ(q.GetProperty("QueryFilter", value), 0);
  EXPECT_EQ(value, "Name eq 'Caf\xC3\xA9'");
  // In the engine the text is one byte per character, so the URL carries %E9.
  ASSERT_EQ(q.SetProperty("ServiceRootURI", "http://h/svc"), 0);
  std::string answer;
  EXPECT_EQ(q.Config("CodePage", &answer), 0);
  EXPECT_EQ(answer, "1252");
}

TEST(Quillon, FailuresCarryTextAndValue) {
  Quillon q;
  std::string answer = "stale";
  EXPECT_EQ(q.Config("NoSuchKey", &answer), -1);
  EXPECT_EQ(answer, "");
  EXPECT_EQ(q.ErrorDescription(), "Unknown config setting.");
  EXPECT_EQ(q.QueryService(), 901);
  EXPECT_EQ(q.ErrorDescription(), "The ServiceRootURI must be set before do action.");

  struct Row {
    int code;
    uint32_t value;
  };
  const Row rows[] = {{0, 0},
                      {-1, 0x800A4E20},
                      {143, 0x800A4EB0},
                      {200, 0x800A0007},
                      {432, 0x800A4FD1},
                      {902, 0x800A51A7},
                      {10061, 0x800A61E6},
                      {383, 0x800A017F}};
  for (const Row& row : rows)
    EXPECT_EQ(Quillon::FailureValue(row.code), row.value) << row.code;
}

} // namespace
} // namespace quillon
