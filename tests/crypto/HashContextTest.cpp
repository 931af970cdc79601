// Digests against their published vectors: the full RFC 1319 and 1320 suites for our own MD2 and
// MD4; for the library's digests (RFC 1321 MD5, FIPS 180 SHA, RIPEMD-160) one example each,
// which is all that the number-to-digest wiring needs.
#include "crypto/HashContext.h"

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

const std::string kAlphabet = "abcdefghijklmnopqrstuvwxyz";
const std::string kAlphanumeric = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
const std::string kDigits80 =
    "12345678901234567890123456789012345678901234567890123456789012345678901234567890";

struct DigestVector {
  const char* row;
  int number;
  std::string input;
  const char* expected;
};

// clang-format off
const DigestVector kVectors[] = {
    {"MD2 empty", digestMd2, "", "8350e5a3e24c153df2275c9f80692773"},
    {"MD2 a", digestMd2, "a", "32ec01ec4a6dac72c0ab96fb34c0b5d1"},
    {"MD2 abc", digestMd2, "abc", "da853b0d3f88d99b30283a69e6ded6bb"},
    {"MD2 message digest", digestMd2, "message digest", "ab4f496bfb2a530b219ff33031fe06b0"},
    {"MD2 alphabet", digestMd2, kAlphabet, "4e8ddff3650292ab5a4108c3aa47940b"},
    {"MD2 alphanumeric", digestMd2, kAlphanumeric, "da33def2a42df13975352846c30338cd"},
    {"MD2 digits", digestMd2, kDigits80, "d5976f79d83d3a0dc9806c3c66f3efd8"},
    {"MD4 empty", digestMd4, "", "31d6cfe0d16ae931b73c59d7e0c089c0"},
    {"MD4 a", digestMd4, "a", "bde52cb31de33e46245e05fbdbd6fb24"},
    {"MD4 abc", digestMd4, "abc", "a448017aaf21d8525fc10ae87aa6729d"},
    {"MD4 message digest", digestMd4, "message digest", "d9130a8164549fe818874806e1c7014b"},
    {"MD4 alphabet", digestMd4, kAlphabet, "d79e1c308aa5bbcdeea8ed63df412da9"},
    {"MD4 alphanumeric", digestMd4, kAlphanumeric, "043f8582f241db351ce627e153e7f0e4"},
    {"MD4 digits", digestMd4, kDigits80, "e33b4ddc9c38f2199c3e7b164fcc0536"},
    {"MD5 abc", digestMd5, "abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"SHA-1 abc", digestSha1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {"SHA-224 abc", digestSha224, "abc", "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
    {"SHA-256 abc", digestSha256, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {"SHA-384 abc", digestSha384, "abc", "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
    {"SHA-512 abc", digestSha512, "abc", "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
    {"RIPEMD-160 abc", digestRipemd160, "abc", "8eb208f7e05d987a9b044a8e98c6b087f15a0bfc"},
    // The NT hash: MD4 of the password in UTF-16LE.
    {"MD4 of \"password\" in UTF-16LE", digestMd4, FromHex("700061007300730077006f0072006400"), "8846f7eaee8fb117ad06bdd830b7586c"},
};
// clang-format on

// The own digests buffer partial blocks, so every split of the input must give the same digest;
// the one-shot forms of MD4, MD5 and SHA-256 append nothing of the old text.
TEST(HashContextTest, PublishedVectorsSplitAtEveryPointAndInOneShot) {
  for (const DigestVector& v : kVectors) {
    SCOPED_TRACE(v.row);
    EXPECT_EQ(HashContext::DigestLength(v.number) * 2, static_cast<int>(strlen(v.expected)));
    for (size_t cut = 0; cut <= v.input.size(); ++cut) {
      HashContext hash;
      ASSERT_EQ(hash.Init(v.number), errNone);
      std::string_view input = v.input;
      ASSERT_EQ(hash.Update(input.substr(0, cut)), errNone);
      ASSERT_EQ(hash.Update(input.substr(cut)), errNone);
      ASSERT_EQ(hash.Final(), errNone);
      ASSERT_EQ(ToHex(hash.result.View()), v.expected) << "cut at " << cut;
    }
    const auto oneShot = v.number == digestMd4      ? &Md4Digest
                         : v.number == digestMd5    ? &Md5Digest
                         : v.number == digestSha256 ? &Sha256Digest
                                                    : nullptr;
    if (!oneShot) continue;
    BufStr out;
    out.Assign("old text");
    ASSERT_EQ(oneShot(out, v.input.data(), static_cast<int>(v.input.size())), errNone);
    EXPECT_EQ(ToHex(out.View()), v.expected);
  }
}

// A million "a" in pieces of a thousand, twice on one context: Final must start a clean run.
TEST(HashContextTest, MillionBytesInPiecesAndRestartAfterFinal) {
  const std::tuple<const char*, int, const char*> rows[] = {
      {"SHA-1", digestSha1, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
      {"MD4", digestMd4, "bbce80cc6bb65e5c6745e30d4eeca9a4"},
      {"MD2", digestMd2, "8c0a09ff1216ecaf95c8130953c62efd"},
  };
  const std::string thousand(1000, 'a');
  for (const auto& [row, number, expected] : rows) {
    HashContext hash;
    ASSERT_EQ(hash.Init(number), errNone);
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(hash.Update(thousand), errNone);
      ASSERT_EQ(hash.Final(), errNone);
      EXPECT_EQ(ToHex(hash.result.View()), expected) << "row: " << row << ", round " << round;
    }
  }
}

TEST(HashContextTest, UnknownNumbersAndUseBeforeInit) {
  HashContext hash;
  EXPECT_EQ(hash.Update("x", 1), errUnknownAlgorithm);
  EXPECT_EQ(hash.Final(), errUnknownAlgorithm);
  for (int number : {-1, 9, 100}) {
    EXPECT_EQ(hash.Init(number), errUnknownAlgorithm) << "number " << number;
    EXPECT_EQ(HashContext::DigestLength(number), 0) << "number " << number;
  }
  // A failed Init leaves no digest running, even after a good one.
  ASSERT_EQ(hash.Init(digestMd5), errNone);
  EXPECT_EQ(hash.Init(42), errUnknownAlgorithm);
  EXPECT_EQ(hash.Update("x", 1), errUnknownAlgorithm);
}

} // namespace
} // namespace quillon
