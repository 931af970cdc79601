// HMAC (RFC 2104) over any digest of HashContext, and PBKDF2 (RFC 2898) over that HMAC. The
// block of HMAC is 128 bytes for SHA-512 and SHA-384 and 64 for the others, MD2 included.
#pragma once

#include "crypto/HashContext.h"
#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

class HmacContext {
public:
  // Operations. Each returns 0, 2001 (unknown digest, or no key yet) or 200.
  // Keys the context for digest `number`; a key longer than the block is hashed first.
  int SetKey(int number, const void* key, int length);
  int Update(const void* data, int length);
  int Update(std::string_view bytes) {
    return Update(bytes.data(), static_cast<int>(bytes.size()));
  }
  // Puts the MAC in `result`; the context then starts again with the same key.
  int Final();

  BufStr result; // the MAC of the latest Final

private:
  int StartInner();

  HashContext hash;
  int number = -1;           // the digest; -1 before SetKey
  int blockBytes = 0;        // 64 or 128
  uint8_t innerPad[128];     // the key xor 0x36, blockBytes long
  uint8_t outerPad[128];     // the key xor 0x5C, blockBytes long
  bool innerStarted = false; // the inner hash has taken innerPad for the message being signed
};

// One-shot HMAC-MD5 for NTLM; `out` receives the 16 bytes.
int HmacMd5(BufStrBase& out, std::string_view key, std::string_view data);

// PBKDF2 with HMAC of digest `number` as its function; `out` receives `wantedBytes` bytes.
// Fails with 200 when `wantedBytes` is above 29 digest lengths, the limit callers have always
// had, and with 2001 for an unknown digest. An iteration count below 1 counts as 1.
int Pbkdf2(int number, std::string_view password, std::string_view salt, int iterations,
           int wantedBytes, BufStrBase& out);

} // namespace quillon
