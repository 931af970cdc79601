// MD2 (RFC 1319), our own code: key files may name it for their legacy key derivation, and the
// default provider of the TLS library does not offer it. HashContext is the usual way in.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillon {

struct Md2State {
  uint8_t x[48]; // the 48-byte working buffer; its first 16 bytes are the digest
  uint8_t checksum[16];
  uint8_t pending[16]; // the first `filled` bytes of the block being filled
  uint32_t filled;     // 0 to 15
};

void Md2Start(Md2State& state);
void Md2Add(Md2State& state, const uint8_t* data, size_t length);
// Writes the 16-byte digest; the state must be started again before further use.
void Md2Finish(Md2State& state, uint8_t digest[16]);

} // namespace quillon
