// Running digests by number: 0 SHA-1, 1 MD5, 2 SHA-256, 3 SHA-224, 4 SHA-512, 5 SHA-384,
// 6 RIPEMD-160 through the TLS library, 7 MD4 and 8 MD2 by our own code. HMAC, PBKDF2, Digest
// authentication, NTLM and the key readers all hash through this one type.
#pragma once

#include "crypto/Md2.h"
#include "crypto/Md4.h"
#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

struct EvpDigest;

enum DigestNumber : int {
  digestSha1 = 0,
  digestMd5 = 1,
  digestSha256 = 2,
  digestSha224 = 3,
  digestSha512 = 4,
  digestSha384 = 5,
  digestRipemd160 = 6,
  digestMd4 = 7,
  digestMd2 = 8,
};

class HashContext {
public:
  HashContext() = default;
  ~HashContext();
  HashContext(const HashContext&) = delete;
  HashContext& operator=(const HashContext&) = delete;

  // Bytes of the digest and of the block of `number`; 0 for an unknown number.
  static int DigestLength(int number);
  static int BlockLength(int number);

  // Operations. Each returns 0, 2001 (unknown number, or no Init yet) or 200.
  // Starts a new digest of `number`, dropping any run in progress.
  int Init(int number);
  int Update(const void* data, int length);
  int Update(std::string_view bytes) {
    return Update(bytes.data(), static_cast<int>(bytes.size()));
  }
  // Puts the digest in `result` and starts a new run of the same number.
  int Final();

  int Number() const { return number; }

  BufStr result; // the digest of the latest Final

private:
  int number = -1;          // the digest of the run; -1 before Init
  EvpDigest* evp = nullptr; // the library's run for numbers 0 to 6; kept for reuse
  Md4State md4;             // the run for number 7
  Md2State md2;             // the run for number 8
};

// One-shot digests; `out` receives the digest bytes.
int Md5Digest(BufStrBase& out, const void* data, int length);
int Md4Digest(BufStrBase& out, const void* data, int length);
int Sha256Digest(BufStrBase& out, const void* data, int length);

} // namespace quillon
