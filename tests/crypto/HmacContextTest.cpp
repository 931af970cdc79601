// HMAC against RFC 2202 (MD5, SHA-1) and RFC 4231 (SHA-224 to SHA-512), PBKDF2 against RFC 6070,
// and the edges of both: keys around the block size, restarting after Final, the length limit.
#include "crypto/HmacContext.h"

#include "HexText.h"
#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace quillon {
namespace {

using test::FromHex;
using test::ToHex;

struct MacVector {
  const char* row;
  int number;
  std::string key;
  std::string data;
  const char* expected;
};

const std::string kJefeData = "what do ya want for nothing?";
const std::string kLongKeyData = "Test Using Larger Than Block-Size Key - Hash Key First";
const std::string kLongKeyLongData =
    "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data";
const std::string kRfc4231Data7 =
    "This is a test using a larger than block-size key and a larger than block-size data. The "
    "key needs to be hashed before being used by the HMAC algorithm.";

// clang-format off
const MacVector kVectors[] = {
    {"RFC 2202 MD5 1", digestMd5, std::string(16, '\x0b'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
    {"RFC 2202 MD5 2", digestMd5, "Jefe", kJefeData, "750c783e6ab0b503eaa86e310a5db738"},
    {"RFC 2202 MD5 6", digestMd5, std::string(80, '\xaa'), kLongKeyData, "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
    {"RFC 2202 MD5 7", digestMd5, std::string(80, '\xaa'), kLongKeyLongData, "6f630fad67cda0ee1fb1f562db3aa53e"},
    {"RFC 2202 SHA-1 1", digestSha1, std::string(20, '\x0b'), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
    {"RFC 2202 SHA-1 2", digestSha1, "Jefe", kJefeData, "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
    {"RFC 2202 SHA-1 6", digestSha1, std::string(80, '\xaa'), kLongKeyData, "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
    {"RFC 2202 SHA-1 7", digestSha1, std::string(80, '\xaa'), kLongKeyLongData, "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
    {"RFC 4231 SHA-224 1", digestSha224, std::string(20, '\x0b'), "Hi There", "896fb1128abbdf196832107cd49df33f47b4b1169912ba4f53684b22"},
    {"RFC 4231 SHA-224 6", digestSha224, std::string(131, '\xaa'), kLongKeyData, "95e9a0db962095adaebe9b2d6f0dbce2d499f112f2d2b7273fa6870e"},
    {"RFC 4231 SHA-256 1", digestSha256, std::string(20, '\x0b'), "Hi There", "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
    {"RFC 4231 SHA-256 7", digestSha256, std::string(131, '\xaa'), kRfc4231Data7, "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
    {"RFC 4231 SHA-384 1", digestSha384, std::string(20, '\x0b'), "Hi There", "afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59cfaea9ea9076ede7f4af152e8b2fa9cb6"},
    {"RFC 4231 SHA-384 6", digestSha384, std::string(131, '\xaa'), kLongKeyData, "4ece084485813e9088d2c63a041bc5b44f9ef1012a2b588f3cd11f05033ac4c60c2ef6ab4030fe8296248df163f44952"},
    {"RFC 4231 SHA-512 1", digestSha512, std::string(20, '\x0b'), "Hi There", "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cdedaa833b7d6b8a702038b274eaea3f4e4be9d914eeb61f1702e696c203a126854"},
    {"RFC 4231 SHA-512 7", digestSha512, std::string(131, '\xaa'), kRfc4231Data7, "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944b6022cac3c4982b10d5eeb55c3e4de15134676fb6de0446065c97440fa8c6a58"},
};
// clang-format on

std::string Mac(HmacContext& mac, std::string_view data) {
  EXPECT_EQ(mac.Update(data), errNone);
  EXPECT_EQ(mac.Final(), errNone);
  return ToHex(mac.result.View());
}

// Every row in pieces on one keyed context, which after each Final signs the next message under
// the same key; the MD5 rows also by the one-shot form.
TEST(HmacContextTest, PublishedVectorsInPiecesAndRestartWithTheSameKey) {
  for (const MacVector& v : kVectors) {
    SCOPED_TRACE(v.row);
    HmacContext mac;
    ASSERT_EQ(mac.SetKey(v.number, v.key.data(), static_cast<int>(v.key.size())), errNone);
    for (size_t cut = 0; cut <= v.data.size(); cut += 7) {
      ASSERT_EQ(mac.Update(std::string_view(v.data).substr(0, cut)), errNone);
      EXPECT_EQ(Mac(mac, std::string_view(v.data).substr(cut)), v.expected) << "cut at " << cut;
    }
    if (v.number != digestMd5) continue;
    BufStr out;
    EXPECT_EQ(HmacMd5(out, v.key, v.data), errNone);
    EXPECT_EQ(ToHex(out.View()), v.expected);
  }
  // Final with no Update at all still takes the inner pad: HMAC-MD5 of "" under "key".
  HmacContext mac;
  ASSERT_EQ(mac.SetKey(digestMd5, "key", 3), errNone);
  ASSERT_EQ(mac.Final(), errNone);
  EXPECT_EQ(ToHex(mac.result.View()), "63530468a04e386459855da0063b6596");
}

// A key of exactly one block is used as it is; one byte more is hashed first. Both rules, for a
// 64-byte and a 128-byte block and for MD2, whose hash block is 16 but whose HMAC block is 64:
// a long key must give the same MAC as its digest used as the key.
TEST(HmacContextTest, KeysAroundTheBlockSize) {
  for (int number : {digestMd2, digestMd4, digestSha1, digestSha512, digestRipemd160}) {
    const int block = number == digestSha512 ? 128 : 64;
    for (int keyLength : {block - 1, block, block + 1, 3 * block}) {
      const std::string key(static_cast<size_t>(keyLength), '\x5a');
      HmacContext direct;
      ASSERT_EQ(direct.SetKey(number, key.data(), keyLength), errNone);
      const std::string mac = Mac(direct, "message");

      HashContext hash;
      ASSERT_EQ(hash.Init(number), errNone);
      ASSERT_EQ(hash.Update(key), errNone);
      ASSERT_EQ(hash.Final(), errNone);
      HmacContext viaDigest;
      ASSERT_EQ(viaDigest.SetKey(number, hash.result.Data(), hash.result.Length()), errNone);
      const std::string macOfDigest = Mac(viaDigest, "message");
      if (keyLength > block)
        EXPECT_EQ(mac, macOfDigest) << "digest " << number << ", key of " << keyLength;
      else
        EXPECT_NE(mac, macOfDigest) << "digest " << number << ", key of " << keyLength;
    }
  }
}

TEST(HmacContextTest, UseWithoutAGoodKeyFails) {
  HmacContext mac;
  EXPECT_EQ(mac.Update("x", 1), errUnknownAlgorithm); // no key yet
  EXPECT_EQ(mac.Final(), errUnknownAlgorithm);
  EXPECT_EQ(mac.SetKey(9, "k", 1), errUnknownAlgorithm);
  EXPECT_EQ(mac.Update("x", 1), errUnknownAlgorithm);
}

TEST(Pbkdf2Test, PublishedAndDerivedVectors) {
  // The row, the digest, password, salt, iterations, the length wanted and the key in hex.
  // clang-format off
  const std::tuple<const char*, int, std::string, std::string, int, int, const char*> rows[] = {
      {"RFC 6070 1", digestSha1, "password", "salt", 1, 20, "0c60c80f961f0e71f3a9b524af6012062fe037a6"},
      {"RFC 6070 2", digestSha1, "password", "salt", 2, 20, "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957"},
      {"RFC 6070 3", digestSha1, "password", "salt", 4096, 20, "4b007901b765489abead49d926f721d065a429c1"},
      {"RFC 6070 5", digestSha1, "passwordPASSWORDpassword", "saltSALTsaltSALTsaltSALTsaltSALTsalt", 4096, 25, "3d2eec4fe41c849b80c8d83662c0e44a8b291a964cf2f07038"},
      {"RFC 6070 6", digestSha1, std::string("pass\0word", 9), std::string("sa\0lt", 5), 4096, 16, "56fa6aa75548099dcc37d7f03425e0c3"},
      {"SHA-256, two rounds", digestSha256, "password", "salt", 2, 32, "ae4d0c95af6b46d32d0adff928f06dd02a303f8ef3c251dfd6e2d85a95474c43"},
      {"MD5, three blocks with the counter", digestMd5, "password", "salt", 3, 40, "f6acd4bda3e4d3d831a5f61da9ca9d5c3877566e979f4928778d81be4f2e9433a31043bbf3945c35"},
      {"iterations 0 count as 1", digestSha1, "password", "salt", 0, 20, "0c60c80f961f0e71f3a9b524af6012062fe037a6"},
  };
  // clang-format on
  for (const auto& [row, number, password, salt, iterations, wanted, expected] : rows) {
    BufStr out;
    ASSERT_EQ(Pbkdf2(number, password, salt, iterations, wanted, out), errNone) << row;
    EXPECT_EQ(ToHex(out.View()), expected) << row;
  }
}

TEST(Pbkdf2Test, LengthLimitIsTwentyNineDigests) {
  BufStr out;
  for (const auto& [number, digest] : {std::pair{digestSha1, 20}, std::pair{digestSha512, 64}}) {
    EXPECT_EQ(Pbkdf2(number, "p", "s", 1, 29 * digest, out), errNone) << number;
    EXPECT_EQ(out.Length(), 29 * digest);
    EXPECT_EQ(Pbkdf2(number, "p", "s", 1, 29 * digest + 1, out), errOutOfMemory) << number;
  }
  EXPECT_EQ(Pbkdf2(9, "p", "s", 1, 16, out), errUnknownAlgorithm);
}

} // namespace
} // namespace quillon
