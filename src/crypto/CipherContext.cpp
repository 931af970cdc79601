// SetKey checks the settings against the key and iv and keeps both; the library's cipher is
// started lazily by the first Transform (so that `encrypt` may still be changed after SetKey) and
// then chains across calls. Padding is ours: the library runs with its own padding off.
#include "crypto/CipherContext.h"

#include "crypto/CryptoErrors.h"
#include "crypto/EvpAdapter.h"
#include "frame/Errors.h"

#include <cstring>

namespace quillon {

namespace {
bool IsBlockMode(int mode) {
  return mode == modeCbc || mode == modeEcb;
}

// The block size in bits of `algorithm`, or 0 when it is unknown.
int BlockBitsOf(int algorithm) {
  return algorithm == cipherAes ? 128 : algorithm == cipherTripleDes ? 64 : 0;
}

bool KeyFits(int algorithm, int keyLength) {
  if (algorithm == cipherAes) return keyLength == 16 || keyLength == 24 || keyLength == 32;
  return keyLength == 16 || keyLength == 24;
}
} // namespace

CipherContext::~CipherContext() {
  EvpCipherFree(chain);
}

int CipherContext::SetKey(const void* keyBytes, int keyLength, const void* ivBytes, int ivLength) {
  const int bits = BlockBitsOf(algorithm);
  if (bits == 0) return errUnknownAlgorithm;
  if (mode < modeCbc || mode > modeCfb) return errUnknownMode;
  if (!keyBytes || !KeyFits(algorithm, keyLength)) return errKeyLength;
  blockBits = bits;
  if (mode != modeEcb && (!ivBytes || ivLength != BlockBytes())) return errIvLength;

  const char* keyText = static_cast<const char*>(keyBytes);
  int rc = key.Assign(keyText, keyLength);
  // Two-key Triple DES is three-key Triple DES with K3 = K1.
  if (rc == errNone && algorithm == cipherTripleDes && keyLength == 16) rc = key.Append(keyText, 8);
  if (rc == errNone)
    rc = mode == modeEcb ? iv.Assign("") : iv.Assign(static_cast<const char*>(ivBytes), ivLength);
  if (rc != errNone) return rc;
  keyBits = keyLength * 8;
  encrypt = 0;
  chainEncrypts = -1;
  return errNone;
}

int CipherContext::StartChain() {
  if (key.IsEmpty()) return errKeyLength;
  const EvpCipherChoice choice{algorithm, key.Length(), mode, feedbackBits, encrypt != 0};
  int rc = EvpCipherStart(chain, choice, reinterpret_cast<const uint8_t*>(key.Data()),
                          reinterpret_cast<const uint8_t*>(iv.Data()));
  chainEncrypts = rc == errNone ? (encrypt != 0) : -1;
  return rc;
}

int CipherContext::AddPadding(BufStrBase& data, int length) const {
  const int block = BlockBytes();
  const int missing = block - length % block; // 1 to block
  if (padding == padNone || (padding == padZeros && missing == block)) return errNone;
  if (int rc = data.Resize(length + missing, nullptr); rc != errNone) return rc;
  uint8_t* tail = reinterpret_cast<uint8_t*>(data.Data()) + length;
  switch (padding) {
  case padZeros:
    std::memset(tail, 0, static_cast<size_t>(missing));
    return errNone;
  case padPkcs7:
    std::memset(tail, missing, static_cast<size_t>(missing));
    return errNone;
  case padAnsiX923:
    std::memset(tail, 0, static_cast<size_t>(missing - 1));
    break;
  case padIso10126:
    if (int rc = EvpRandomBytes(tail, missing - 1); rc != errNone) return rc;
    break;
  default:
    return errUnknownMode;
  }
  tail[missing - 1] = static_cast<uint8_t>(missing); // the count closes both remaining forms
  return errNone;
}

int CipherContext::Transform(const void* data, int offset, int length, BufStrBase& out) {
  if (padding < padNone || padding > padIso10126) return errUnknownMode;
  if (length < 0 || offset < 0) return errBlockLength;
  if (chainEncrypts != (encrypt != 0))
    if (int rc = StartChain(); rc != errNone) return rc;

  // A working copy: room for the padding, and `data` may lie inside `out`.
  BufStr work;
  int rc = work.Resize(length, static_cast<const char*>(data) + offset);
  if (rc == errNone && encrypt) rc = AddPadding(work, length);
  if (rc != errNone) return rc;
  if (IsBlockMode(mode) && work.Length() % BlockBytes() != 0) return errBlockLength;

  const int start = out.Length();
  if ((rc = out.Resize(start + work.Length(), nullptr)) != errNone) return rc;
  uint8_t* produced = reinterpret_cast<uint8_t*>(out.Data()) + start;
  if ((rc = EvpCipherRun(chain, reinterpret_cast<const uint8_t*>(work.Data()), work.Length(),
                         produced)) != errNone) {
    out.Resize(start, nullptr);
    return rc;
  }
  if (encrypt || padding == padNone || work.Length() == 0) return errNone;

  int strip;
  if (padding == padZeros) {
    strip = 0;
    while (strip < BlockBytes() && strip < work.Length() &&
           produced[work.Length() - 1 - strip] == 0)
      ++strip;
  } else {
    strip = produced[work.Length() - 1];
    if (strip > work.Length()) {
      out.Resize(start, nullptr);
      return errPaddingLength;
    }
  }
  return out.Resize(out.Length() - strip, nullptr);
}

} // namespace quillon
