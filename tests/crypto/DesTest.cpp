// Single DES against FIPS 81 and the SP 800-20 known answers. The key spreading that NTLM uses
// is checked through the LM hash in the NTLM tests.
#include "crypto/Des.h"

#include "HexText.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace quillon {
namespace {

using test::FromHex;
using test::ToHex;

std::string EncryptEcb(const std::string& key, std::string data) {
  for (size_t at = 0; at + 8 <= data.size(); at += 8)
    DesEncryptBlock(reinterpret_cast<uint8_t*>(data.data() + at),
                    reinterpret_cast<const uint8_t*>(key.data()));
  return ToHex(data);
}

TEST(DesTest, PublishedVectors) {
  // clang-format off
  const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
      {"FIPS 81 ECB", "0123456789abcdef", "4e6f772069732074 68652074696d6520 666f7220616c6c20", "3fa40e8a984d4815 6a271787ab8883f9 893d51ec4b563b53"},
      {"SP 800-20 variable text", "0101010101010101", "8000000000000000", "95f8a5e5dd31d900"},
      {"SP 800-20 variable text, last bit", "0101010101010101", "0000000000000001", "166b40b44aba4bd6"},
      {"SP 800-20 variable key", "8001010101010101", "0000000000000000", "95a8d72813daa94d"},
      {"parity bits are ignored", "0000000000000000", "4b47532140232425", "aad3b435b51404ee"},
      {"parity bits are ignored, set", "0101010101010101", "4b47532140232425", "aad3b435b51404ee"},
  };
  // clang-format on
  for (const auto& [row, key, plain, cipher] : rows)
    EXPECT_EQ(EncryptEcb(FromHex(key), FromHex(plain)), ToHex(FromHex(cipher))) << row;
}

} // namespace
} // namespace quillon
