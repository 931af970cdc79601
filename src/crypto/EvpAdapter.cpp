// Maps our digest numbers and cipher choices onto the EVP objects of the default provider. The
// handles are the library's contexts under our opaque names. Every library failure becomes one of
// our codes here; nothing of the library's error queue is kept.
#include "crypto/EvpAdapter.h"

#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

namespace quillon {

namespace {
EVP_MD_CTX* DigestContext(EvpDigest* run) {
  return reinterpret_cast<EVP_MD_CTX*>(run);
}
EVP_CIPHER_CTX* CipherContextOf(EvpCipher* run) {
  return reinterpret_cast<EVP_CIPHER_CTX*>(run);
}

const EVP_MD* DigestOf(int number) {
  switch (number) {
  case 0:
    return EVP_sha1();
  case 1:
    return EVP_md5();
  case 2:
    return EVP_sha256();
  case 3:
    return EVP_sha224();
  case 4:
    return EVP_sha512();
  case 5:
    return EVP_sha384();
  case 6:
    return EVP_ripemd160();
  default:
    return nullptr;
  }
}

using CipherGetter = const EVP_CIPHER* (*)();

// Rows: CBC, ECB, OFB, CFB over the whole block, CFB8, CFB1. Columns: AES-128, AES-192,
// AES-256, Triple DES with three keys.
const CipherGetter kCiphers[6][4] = {
    {EVP_aes_128_cbc, EVP_aes_192_cbc, EVP_aes_256_cbc, EVP_des_ede3_cbc},
    {EVP_aes_128_ecb, EVP_aes_192_ecb, EVP_aes_256_ecb, EVP_des_ede3_ecb},
    {EVP_aes_128_ofb, EVP_aes_192_ofb, EVP_aes_256_ofb, EVP_des_ede3_ofb},
    {EVP_aes_128_cfb128, EVP_aes_192_cfb128, EVP_aes_256_cfb128, EVP_des_ede3_cfb64},
    {EVP_aes_128_cfb8, EVP_aes_192_cfb8, EVP_aes_256_cfb8, EVP_des_ede3_cfb8},
    {EVP_aes_128_cfb1, EVP_aes_192_cfb1, EVP_aes_256_cfb1, EVP_des_ede3_cfb1},
};

// The library's cipher for `choice`, or null with `code` set.
const EVP_CIPHER* CipherOf(const EvpCipherChoice& choice, int& code) {
  int column;
  if (choice.algorithm == 0 &&
      (choice.keyBytes == 16 || choice.keyBytes == 24 || choice.keyBytes == 32))
    column = choice.keyBytes / 8 - 2;
  else if (choice.algorithm == 2 && choice.keyBytes == 24)
    column = 3;
  else {
    code = errUnknownAlgorithm;
    return nullptr;
  }
  const int blockBits = choice.algorithm == 0 ? 128 : 64;
  int row = -1;
  if (choice.mode >= 1 && choice.mode <= 3)
    row = choice.mode - 1;
  else if (choice.mode == 4)
    row = choice.segmentBits == blockBits ? 3
          : choice.segmentBits == 8       ? 4
          : choice.segmentBits == 1       ? 5
                                          : -1;
  if (row < 0) {
    code = errUnknownMode;
    return nullptr;
  }
  return kCiphers[row][column]();
}
} // namespace

int EvpDigestStart(EvpDigest*& run, int number) {
  const EVP_MD* digest = DigestOf(number);
  if (!digest) return errUnknownAlgorithm;
  if (!run) {
    run = reinterpret_cast<EvpDigest*>(EVP_MD_CTX_new());
    if (!run) return errOutOfMemory;
  }
  // A digest that the loaded providers do not offer fails here, not at the lookup.
  if (EVP_DigestInit_ex(DigestContext(run), digest, nullptr) != 1) return errUnknownAlgorithm;
  return errNone;
}

int EvpDigestAdd(EvpDigest* run, const void* data, size_t length) {
  if (length == 0) return errNone;
  return EVP_DigestUpdate(DigestContext(run), data, length) == 1 ? errNone : errOutOfMemory;
}

int EvpDigestFinish(EvpDigest* run, uint8_t* out, int& length) {
  unsigned int written = 0;
  if (EVP_DigestFinal_ex(DigestContext(run), out, &written) != 1) return errOutOfMemory;
  length = static_cast<int>(written);
  return errNone;
}

void EvpDigestFree(EvpDigest*& run) {
  EVP_MD_CTX_free(DigestContext(run));
  run = nullptr;
}

int EvpCipherStart(EvpCipher*& run, const EvpCipherChoice& choice, const uint8_t* key,
                   const uint8_t* iv) {
  int code = errNone;
  const EVP_CIPHER* cipher = CipherOf(choice, code);
  if (!cipher) return code;
  if (!run) {
    run = reinterpret_cast<EvpCipher*>(EVP_CIPHER_CTX_new());
    if (!run) return errOutOfMemory;
  }
  EVP_CIPHER_CTX* context = CipherContextOf(run);
  if (EVP_CIPHER_CTX_reset(context) != 1 ||
      EVP_CipherInit_ex(context, cipher, nullptr, key, choice.mode == 2 ? nullptr : iv,
                        choice.encrypt ? 1 : 0) != 1)
    return errUnknownMode;
  EVP_CIPHER_CTX_set_padding(context, 0);
  return errNone;
}

int EvpCipherRun(EvpCipher* run, const uint8_t* in, int length, uint8_t* out) {
  if (length == 0) return errNone;
  int written = 0;
  if (EVP_CipherUpdate(CipherContextOf(run), out, &written, in, length) != 1 || written != length)
    return errBlockLength;
  return errNone;
}

void EvpCipherFree(EvpCipher*& run) {
  EVP_CIPHER_CTX_free(CipherContextOf(run));
  run = nullptr;
}

int EvpRandomBytes(uint8_t* out, int count) {
  return count <= 0 || RAND_bytes(out, count) == 1 ? errNone : errOutOfMemory;
}

} // namespace quillon
