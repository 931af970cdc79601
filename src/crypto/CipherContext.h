// AES and Triple DES in CBC, ECB, OFB and CFB, with the usual paddings, behind the settings that
// key files name. The chain carries across Transform calls until the next SetKey. CBC and CFB
// without padding are what the key readers use; the rest keeps the settings' meaning.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>

namespace quillon {

struct EvpCipher;

enum CipherAlgorithm : int { cipherAes = 0, cipherTripleDes = 2 };
enum CipherMode : int { modeCbc = 1, modeEcb = 2, modeOfb = 3, modeCfb = 4, modeCts = 5 };
enum CipherPadding : int {
  padNone = 1,
  padPkcs7 = 2,
  padZeros = 3,
  padAnsiX923 = 4,
  padIso10126 = 5,
};

class CipherContext {
public:
  CipherContext() = default;
  ~CipherContext();
  CipherContext(const CipherContext&) = delete;
  CipherContext& operator=(const CipherContext&) = delete;

  // Operations
  // Takes the key and iv (lengths in bytes) and sets `encrypt` to 0; the chain starts anew.
  // 2001 unknown algorithm, 2002 unknown mode, 2005 a key of the wrong size (AES 16, 24 or 32
  // bytes, Triple DES 16 or 24), 2006 an iv that is not one block for CBC, OFB or CFB.
  int SetKey(const void* key, int keyLength, const void* iv, int ivLength);
  // Encrypts or decrypts data[offset, offset + length) and appends the result to `out`. Encryption
  // pads before, decryption removes the padding after. 2003 when a block mode gets data that is no
  // multiple of the block (for encryption: with padding none), 2004 when the padding named by
  // the last byte is longer than the data, 2002 for an unknown padding or mode (CTS among them).
  int Transform(const void* data, int offset, int length, BufStrBase& out);

  int BlockBytes() const { return blockBits / 8; }

  // Settings; change them before SetKey.
  int32_t algorithm = cipherAes;
  int32_t keyBits = 256;   // set by SetKey from the key given
  int32_t blockBits = 128; // set by SetKey from the algorithm: 128 for AES, 64 for Triple DES
  int32_t mode = modeCbc;
  int32_t padding = padNone;
  int32_t feedbackBits = 128; // CFB segment: 1, 8 or the whole block
  int32_t encrypt = 1;        // 0 decrypts; SetKey sets 0

private:
  int StartChain();
  int AddPadding(BufStrBase& data, int length) const;

  BufStr50 key;               // the key as given; Triple DES with two keys is widened to three
  BufStr20 iv;                // one block, or empty for ECB
  EvpCipher* chain = nullptr; // the running cipher with the chained block; null until used
  int32_t chainEncrypts = -1; // the direction `chain` was started for
};

} // namespace quillon
