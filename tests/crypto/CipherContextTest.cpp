// AES against NIST SP 800-38A (CBC, CFB128, CFB8, ECB, OFB), Triple DES against SP 800-67 and the
// SP 800-20 known answers, plus chaining across calls, the paddings and the failure codes.
#include "crypto/CipherContext.h"

#include "HexText.h"
#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>

namespace quillon {
namespace {

using test::FromHex;
using test::ToHex;

const char* const kSp80038aPlain =
    "6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710";
const char* const kSp80038aIv = "000102030405060708090a0b0c0d0e0f";
const char* const kAes128 = "2b7e151628aed2a6abf7158809cf4f3c";
const char* const kAes192 = "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b";
const char* const kAes256 = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
const char* const kTdesKeys = "0123456789abcdef 23456789abcdef01 456789abcdef0123";
const char* const kTdesPlain =
    "5468652071756663 6b2062726f776e20 666f78206a756d70"; // "The qufck brown fox jump"

struct CipherVector {
  const char* row;
  int algorithm;
  int mode;
  int feedbackBits;
  const char* key;
  const char* iv;
  const char* plain;
  const char* cipher;
};

// clang-format off
const CipherVector kVectors[] = {
    {"SP 800-38A F.2.1 CBC-AES128", cipherAes, modeCbc, 128, kAes128, kSp80038aIv, kSp80038aPlain, "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b273bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
    {"SP 800-38A F.2.3 CBC-AES192", cipherAes, modeCbc, 128, kAes192, kSp80038aIv, kSp80038aPlain, "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd"},
    {"SP 800-38A F.2.5 CBC-AES256", cipherAes, modeCbc, 128, kAes256, kSp80038aIv, kSp80038aPlain, "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
    {"SP 800-38A F.3.13 CFB128-AES128", cipherAes, modeCfb, 128, kAes128, kSp80038aIv, kSp80038aPlain, "3b3fd92eb72dad20333449f8e83cfb4ac8a64537a0b3a93fcde3cdad9f1ce58b26751f67a3cbb140b1808cf187a4f4dfc04b05357c5d1c0eeac4c66f9ff7f2e6"},
    {"SP 800-38A F.3.17 CFB128-AES256", cipherAes, modeCfb, 128, kAes256, kSp80038aIv, kSp80038aPlain, "dc7e84bfda79164b7ecd8486985d386039ffed143b28b1c832113c6331e5407bdf10132415e54b92a13ed0a8267ae2f975a385741ab9cef82031623d55b1e471"},
    {"SP 800-38A F.3.7 CFB8-AES128", cipherAes, modeCfb, 8, kAes128, kSp80038aIv, "6bc1bee22e409f96e93d7e117393172aae2d", "3b79424c9c0dd436bace9e0ed4586a4f32b9"},
    {"SP 800-38A F.1.1 ECB-AES128", cipherAes, modeEcb, 128, kAes128, "", kSp80038aPlain, "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4"},
    {"SP 800-38A F.4.1 OFB-AES128", cipherAes, modeOfb, 128, kAes128, kSp80038aIv, kSp80038aPlain, "3b3fd92eb72dad20333449f8e83cfb4a7789508d16918f03f53c52dac54ed8259740051e9c5fecf64344f7a82260edcc304c6528f659c77866a510d9c1d6ae5e"},
    {"SP 800-67 Triple DES ECB", cipherTripleDes, modeEcb, 64, kTdesKeys, "", kTdesPlain, "a826fd8ce53b855fcce21c8112256fe668d5c05dd9b6b900"},
    // SP 800-20 known answers: Triple DES with three equal keys is single DES.
    {"SP 800-20 CBC variable text 1", cipherTripleDes, modeCbc, 64, "0101010101010101 0101010101010101 0101010101010101", "0000000000000000", "8000000000000000", "95f8a5e5dd31d900"},
    {"SP 800-20 CBC variable key 1", cipherTripleDes, modeCbc, 64, "8001010101010101 8001010101010101 8001010101010101", "0000000000000000", "0000000000000000", "95a8d72813daa94d"},
    // Multi-block rows over the SP 800-67 key, cross-checked with an independent implementation.
    {"Triple DES CBC", cipherTripleDes, modeCbc, 64, kTdesKeys, "f69f2445df4f9b17", kTdesPlain, "a5c282bad0de3774becd2e04386b589fb5057d8552fc4336"},
    {"Triple DES CFB64", cipherTripleDes, modeCfb, 64, kTdesKeys, "f69f2445df4f9b17", kTdesPlain, "38226c8c06fb8723daefe41f3deb4066ab03b2e1b27fa53e"},
    {"Triple DES CFB8", cipherTripleDes, modeCfb, 8, kTdesKeys, "f69f2445df4f9b17", kTdesPlain, "38474334714965810d3a6ee4b0c5bcc55aa87a6203d360b3"},
    {"Triple DES CBC with two keys", cipherTripleDes, modeCbc, 64, "0123456789abcdef 23456789abcdef01", "f69f2445df4f9b17", kTdesPlain, "acd5699dd6060a430dedd74525b7870297202cf5ed176718"},
};
// clang-format on

// Each row both ways on one context, the data in two calls, the second at an offset: the chain
// carries across calls, and SetKey, which always leaves `encrypt` 0, starts it again (the second
// decryption). Output is appended to what `out` holds.
TEST(CipherContextTest, PublishedVectorsBothWaysInTwoCalls) {
  for (const CipherVector& v : kVectors) {
    SCOPED_TRACE(v.row);
    CipherContext cipher;
    cipher.algorithm = v.algorithm;
    cipher.mode = v.mode;
    cipher.feedbackBits = v.feedbackBits;
    const std::string key = FromHex(v.key), iv = FromHex(v.iv);
    for (const bool encrypt : {true, false, false}) {
      ASSERT_EQ(cipher.SetKey(key.data(), static_cast<int>(key.size()), iv.data(),
                              static_cast<int>(iv.size())),
                errNone);
      EXPECT_EQ(cipher.encrypt, 0);
      cipher.encrypt = encrypt ? 1 : 0;
      const std::string input = FromHex(encrypt ? v.plain : v.cipher);
      const int length = static_cast<int>(input.size()), cut = std::min(length, 16);
      BufStr out;
      out.Assign("kept:");
      ASSERT_EQ(cipher.Transform(input.data(), 0, cut, out), errNone);
      ASSERT_EQ(cipher.Transform(input.data(), cut, length - cut, out), errNone);
      EXPECT_EQ(ToHex(out.View()), ToHex("kept:" + FromHex(encrypt ? v.cipher : v.plain)))
          << (encrypt ? "encrypting" : "decrypting");
    }
  }
}

// `data` through `cipher`, keyed afresh (AES-256 CBC unless set otherwise), in one direction.
int KeyedRun(CipherContext& cipher, bool encrypt, std::string_view data, BufStr& out) {
  const std::string key(32, 'k'), iv(16, 'i');
  if (int rc = cipher.SetKey(key.data(), 32, iv.data(), 16); rc != errNone) return rc;
  cipher.encrypt = encrypt ? 1 : 0;
  return cipher.Transform(data.data(), 0, static_cast<int>(data.size()), out);
}

TEST(CipherContextTest, PaddingsRoundTripAtEveryLength) {
  for (int padding : {padPkcs7, padAnsiX923, padIso10126, padZeros}) {
    for (int length = 0; length <= 33; ++length) {
      SCOPED_TRACE("padding " + std::to_string(padding) + ", length " + std::to_string(length));
      // Zero padding cannot tell trailing zeros of the data from padding, so the data ends in 'x'.
      const std::string plain(static_cast<size_t>(length), 'x');
      CipherContext cipher;
      cipher.padding = padding;
      BufStr sealed, opened;
      ASSERT_EQ(KeyedRun(cipher, true, plain, sealed), errNone);
      ASSERT_EQ(sealed.Length() % 16, 0);
      ASSERT_EQ(KeyedRun(cipher, false, sealed.View(), opened), errNone);
      EXPECT_EQ(opened.View(), plain);
    }
  }
}

TEST(CipherContextTest, FailureCodes) {
  const std::string key(32, 'k'), iv(16, 'i');
  // The row, algorithm, mode, feedbackBits, padding, key, iv and data lengths, SetKey's code and
  // Transform's.
  // clang-format off
  const std::tuple<const char*, int, int, int, int, int, int, int, int, int> rows[] = {
      {"algorithm 1 is not offered", 1, modeCbc, 128, padNone, 16, 16, 16, errUnknownAlgorithm, 0},
      {"mode 0", cipherAes, 0, 128, padNone, 16, 16, 16, errUnknownMode, 0},
      {"CTS is not implemented", cipherAes, modeCts, 128, padNone, 16, 16, 16, errUnknownMode, 0},
      {"AES key of 15 bytes", cipherAes, modeCbc, 128, padNone, 15, 16, 16, errKeyLength, 0},
      {"AES key of 20 bytes", cipherAes, modeCbc, 128, padNone, 20, 16, 16, errKeyLength, 0},
      {"Triple DES key of 32 bytes", cipherTripleDes, modeCbc, 64, padNone, 32, 8, 8, errKeyLength, 0},
      {"Triple DES key of 8 bytes", cipherTripleDes, modeCbc, 64, padNone, 8, 8, 8, errKeyLength, 0},
      {"AES CBC with an 8-byte iv", cipherAes, modeCbc, 128, padNone, 16, 8, 16, errIvLength, 0},
      {"Triple DES CFB with a 16-byte iv", cipherTripleDes, modeCfb, 64, padNone, 24, 16, 8, errIvLength, 0},
      {"AES CFB without iv", cipherAes, modeCfb, 128, padNone, 16, 0, 16, errIvLength, 0},
      {"ECB takes no iv", cipherAes, modeEcb, 128, padNone, 16, 0, 16, errNone, errNone},
      {"CBC data of 15 bytes", cipherAes, modeCbc, 128, padNone, 16, 16, 15, errNone, errBlockLength},
      {"ECB data of 17 bytes", cipherAes, modeEcb, 128, padNone, 16, 0, 17, errNone, errBlockLength},
      {"CBC with padding still wants blocks", cipherAes, modeCbc, 128, padPkcs7, 16, 16, 20, errNone, errBlockLength},
      {"CFB takes any length", cipherAes, modeCfb, 128, padNone, 16, 16, 15, errNone, errNone},
      {"CFB with a 64-bit segment for AES", cipherAes, modeCfb, 64, padNone, 16, 16, 16, errNone, errUnknownMode},
      {"padding 6", cipherAes, modeCbc, 128, 6, 16, 16, 16, errNone, errUnknownMode},
  };
  // clang-format on
  for (const auto& [row, algorithm, mode, feedbackBits, padding, keyLength, ivLength, dataLength,
                    setKeyCode, transformCode] : rows) {
    SCOPED_TRACE(row);
    CipherContext cipher;
    cipher.algorithm = algorithm;
    cipher.mode = mode;
    cipher.feedbackBits = feedbackBits;
    cipher.padding = padding;
    EXPECT_EQ(cipher.SetKey(key.data(), keyLength, ivLength ? iv.data() : nullptr, ivLength),
              setKeyCode);
    if (setKeyCode != errNone) continue;
    BufStr out;
    EXPECT_EQ(cipher.Transform(key.data(), 0, dataLength, out), transformCode);
    EXPECT_EQ(out.Length() == 0, transformCode != errNone) << "a failure appends nothing";
  }
}

TEST(CipherContextTest, PaddingLongerThanTheDataIsRefused) {
  for (char last : {'\x11', '\xff'}) {
    SCOPED_TRACE("last byte " + std::to_string(static_cast<unsigned char>(last)));
    CipherContext cipher;
    BufStr sealed, opened;
    ASSERT_EQ(KeyedRun(cipher, true, std::string(15, 'a') + last, sealed), errNone);
    cipher.padding = padPkcs7;
    EXPECT_EQ(KeyedRun(cipher, false, sealed.View(), opened), errPaddingLength);
    EXPECT_EQ(opened.Length(), 0) << "a refused block is not handed out";
  }
}

} // namespace
} // namespace quillon
