// MD4 (RFC 1320), our own code: the default provider of the TLS library no longer offers it, and
// NTLM's NT hash needs it. HashContext is the usual way in; these are its building blocks.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillon {

struct Md4State {
  uint32_t words[4];   // the chaining value A, B, C, D
  uint64_t byteCount;  // bytes taken so far
  uint8_t pending[64]; // the first byteCount % 64 bytes of the block being filled
};

void Md4Start(Md4State& state);
void Md4Add(Md4State& state, const uint8_t* data, size_t length);
// Writes the 16-byte digest; the state must be started again before further use.
void Md4Finish(Md4State& state, uint8_t digest[16]);

} // namespace quillon
