// Legacy derivation (what PEM "DEK-Info" and SSH2 files use): blocks of a repeated hash over the
// previous block, the password and the salt, until the key is long enough. PBKDF2 (PKCS#8) is
// chosen by an "hmac" in the digest name, whose digest is the first known name found in it.
#include "keys/KeyDerivation.h"

#include "crypto/CipherContext.h"
#include "crypto/CryptoErrors.h"
#include "crypto/HashContext.h"
#include "crypto/HmacContext.h"
#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

namespace {
struct CipherRow {
  std::string_view name;
  int algorithm;
  int keyBytes;
  int mode;
};
constexpr CipherRow kCiphers[] = {
    {"DES-EDE3-CBC", cipherTripleDes, 24, modeCbc}, {"3des-cbc", cipherTripleDes, 24, modeCbc},
    {"DES-EDE3-CFB", cipherTripleDes, 24, modeCfb}, {"AES-128-CBC", cipherAes, 16, modeCbc},
    {"AES-192-CBC", cipherAes, 24, modeCbc},        {"AES-256-CBC", cipherAes, 32, modeCbc},
};

struct DigestName {
  std::string_view text;
  int number;
};
// In this order: "sha1" must not be taken for the start of a longer name, and none is.
constexpr DigestName kHmacDigests[] = {
    {"sha1", digestSha1},        {"sha224", digestSha224}, {"sha256", digestSha256},
    {"sha384", digestSha384},    {"sha512", digestSha512}, {"md5", digestMd5},
    {"ripemd", digestRipemd160},
};

int Pbkdf2Of(const KeyDeriver& deriver, std::string_view lower, int iterations, int wantedBytes,
             BufStrBase& out) {
  for (const DigestName& row : kHmacDigests) {
    const size_t at = lower.find(row.text, 1);
    if (at != std::string_view::npos)
      return Pbkdf2(row.number, deriver.password.View(), deriver.salt.View(), iterations,
                    wantedBytes, out);
  }
  return errUnknownDigestName;
}

int LegacyDigest(std::string_view name) {
  if (SameNoCase(name, "MD5")) return digestMd5;
  if (SameNoCase(name, "SHA1")) return digestSha1;
  if (SameNoCase(name, "MD2")) return digestMd2;
  return -1;
}
} // namespace

int DeriveKeyBytes(KeyDeriver& deriver, int iterations, std::string_view salt, int wantedBytes,
                   bool passwordBeforePrevious, BufStrBase& out) {
  if (int rc = deriver.salt.Assign(salt); rc != errNone) return rc;
  BufStr lower;
  if (int rc = lower.Assign(deriver.hashName); rc != errNone) return rc;
  lower.ToLower();
  out.Clear();
  if (lower.Find("hmac") >= 0) return Pbkdf2Of(deriver, lower.View(), iterations, wantedBytes, out);

  const int number = LegacyDigest(deriver.hashName.View());
  if (number < 0) return errUnknownDigestName;
  HashContext hash;
  BufStr block;
  while (out.Length() < wantedBytes) {
    int rc = hash.Init(number);
    const bool havePrevious = !block.IsEmpty();
    if (rc == errNone && havePrevious && !passwordBeforePrevious) rc = hash.Update(block.View());
    if (rc == errNone) rc = hash.Update(deriver.password.View());
    if (rc == errNone && havePrevious && passwordBeforePrevious) rc = hash.Update(block.View());
    if (rc == errNone) rc = hash.Update(deriver.salt.View());
    if (rc == errNone) rc = hash.Final();
    for (int i = 1; rc == errNone && i < iterations; ++i) {
      rc = hash.Update(hash.result.View());
      if (rc == errNone) rc = hash.Final();
    }
    if (rc == errNone) rc = block.Assign(hash.result);
    if (rc == errNone) rc = out.Append(block);
    if (rc != errNone) return rc;
  }
  return out.Resize(wantedBytes, nullptr);
}

int DecryptKeyBody(const KeyBodyCipher& cipher, BufStrBase& data) {
  const CipherRow* row = nullptr;
  for (const CipherRow& candidate : kCiphers)
    if (candidate.name == cipher.cipherName) row = &candidate;
  if (!row) return errUnknownAlgorithm;

  CipherContext context;
  context.algorithm = row->algorithm;
  context.mode = row->mode;
  context.padding = padNone;
  context.feedbackBits = row->algorithm == cipherAes ? 128 : 64;

  KeyDeriver deriver;
  if (cipher.hashName) deriver.hashName.Assign(cipher.hashName);
  deriver.password.Assign(cipher.password);
  const std::string_view salt = cipher.wholeSalt ? cipher.salt : cipher.salt.substr(0, 8);
  BufStr key;
  // SSH2 files, the only ones with a zero iv, put the password ahead of the previous block.
  int rc = DeriveKeyBytes(deriver, cipher.iterations, salt, row->keyBytes, cipher.zeroIv, key);
  if (rc != errNone) return rc;

  static const char kZeroIv[8] = {};
  const char* iv = kZeroIv;
  int ivLength = 8;
  if (!cipher.zeroIv) {
    iv = cipher.iv ? cipher.iv->Data() : cipher.salt.data();
    ivLength = cipher.iv ? cipher.iv->Length() : static_cast<int>(cipher.salt.size());
  }
  rc = context.SetKey(key.Data(), key.Length(), iv, ivLength);
  BufStr plain;
  if (rc == errNone) rc = context.Transform(data.Data(), 0, data.Length(), plain);
  return rc == errNone ? data.Assign(plain) : rc;
}

} // namespace quillon
