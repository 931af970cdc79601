// The one door to the TLS library's EVP interface: running digests and block ciphers by our own
// numbers, behind opaque handles, so that no other file includes its headers. Digests it lacks
// (MD2, MD4) and single DES are ours and never come here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillon {

struct EvpDigest; // a running digest of the library
struct EvpCipher; // a running cipher of the library, chaining across calls

// Digests
// Starts a run of digest `number` (0 SHA-1, 1 MD5, 2 SHA-256, 3 SHA-224, 4 SHA-512, 5 SHA-384,
// 6 RIPEMD-160) in `run`, creating the handle when it is null. 0, 2001 for a number the library
// does not serve here, or 200.
int EvpDigestStart(EvpDigest*& run, int number);
int EvpDigestAdd(EvpDigest* run, const void* data, size_t length);
// Writes the digest (at most 64 bytes) to `out` and its length to `length`; the run must be
// started again before further use.
int EvpDigestFinish(EvpDigest* run, uint8_t* out, int& length);
void EvpDigestFree(EvpDigest*& run);

// Ciphers. The library pads nothing: CipherContext does its own padding.
struct EvpCipherChoice {
  int algorithm;   // 0 AES, 2 Triple DES
  int keyBytes;    // 16, 24 or 32 for AES; 24 for Triple DES (a 16-byte key is widened first)
  int mode;        // 1 CBC, 2 ECB, 3 OFB, 4 CFB
  int segmentBits; // CFB only: 1, 8 or the block size in bits
  bool encrypt;
};
// Starts `run` with the key and iv (the iv is ignored by ECB). 0, 2001 or 2002 for a choice the
// library does not offer, or 200.
int EvpCipherStart(EvpCipher*& run, const EvpCipherChoice& choice, const uint8_t* key,
                   const uint8_t* iv);
// Transforms `length` bytes into `out`, which has room for `length` bytes; block modes get whole
// blocks only.
int EvpCipherRun(EvpCipher* run, const uint8_t* in, int length, uint8_t* out);
void EvpCipherFree(EvpCipher*& run);

// Random bytes from the library's generator; 0, or 200 when it cannot give them.
int EvpRandomBytes(uint8_t* out, int count);

} // namespace quillon
