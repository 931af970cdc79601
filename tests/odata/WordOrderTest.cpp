#include "odata/WordOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace quillon {
namespace {

TEST(WordOrder, PairsInOrder) {
  // Each row: the first name comes before the second.
  const std::pair<const char*, const char*> rows[] = {
      {"Category_ID", "CategoryName"}, // a symbol before a letter
      {"address", "Name"},             // case does not matter on the first pass
      {"Item 2", "Item2"},             // a blank is a symbol, before a digit
      {"Item9", "ItemA"},              // digits before letters
      {"co-op", "coop"},               // equal once the hyphen is passed over; bytes decide
      {"it's", "its"},                 // the same with an apostrophe
      {"coop", "co-or"},               // "coop" before "coor": the hyphen is no symbol here
      {"its", "it'z"},                 // nor is the apostrophe
      {"name", "Name"},                // lower case first on a tie
      {"naMe", "nAme"},                // the first place where the case differs decides
      {"Price", "PriceList"},          // a prefix comes first
      {"Zeta", "\xC3\x89tat"},         // bytes from 0x80 up after the ASCII letters
      {"Item~", "Item0"},              // the last symbol still before the first digit
      {"Item9", "Itema"},              // the last digit before the first letter
      {"Itemz", "Item\x80"},           // the last letter before the first high byte
      {"", "a"},
  };
  for (const auto& [first, second] : rows) {
    EXPECT_LT(CompareWordOrder(first, second), 0) << first << " / " << second;
    EXPECT_GT(CompareWordOrder(second, first), 0) << second << " / " << first;
  }
  EXPECT_EQ(CompareWordOrder("Same", "Same"), 0);
}

TEST(WordOrder, NamesSharingAPathStandTogether) {
  std::vector<std::string> names = {"Address/Zip",  "AddressLine", "Name",
                                    "Address/City", "address2",    "Address/Street"};
  std::stable_sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return CompareWordOrder(a, b) < 0;
  });
  EXPECT_EQ(names, (std::vector<std::string>{"Address/City", "Address/Street", "Address/Zip",
                                             "address2", "AddressLine", "Name"}));
}

} // namespace
} // namespace quillon
