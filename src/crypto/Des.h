// Single DES (FIPS 46), our own code, for NTLM's responses and the LM hash. The default provider
// of the TLS library offers Triple DES only; CipherContext covers that.
#pragma once

#include <cstdint>

namespace quillon {

// Encrypts one 8-byte block in place under an 8-byte key. The low bit of each key byte is the
// parity bit, which DES ignores.
void DesEncryptBlock(uint8_t block[8], const uint8_t key[8]);
// Spreads 56 key bits over 8 bytes, seven in the high bits of each; the parity bits are 0.
void DesKeyFrom7(const uint8_t seven[7], uint8_t eight[8]);

} // namespace quillon
