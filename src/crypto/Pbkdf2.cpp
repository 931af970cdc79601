// PBKDF2: block i (from 1) is U1 ^ U2 ^ ... ^ Uc, where U1 = HMAC(password, salt || INT(i)) with
// INT(i) big-endian in 32 bits and each later U is the HMAC of the one before; the blocks are
// concatenated and cut to the wanted length.
#include "crypto/HmacContext.h"

#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <cstring>

namespace quillon {

namespace {
// Callers have always been held to 29 blocks' worth, far below the standard's own bound.
constexpr int kMaxBlocks = 29;
} // namespace

int Pbkdf2(int number, std::string_view password, std::string_view salt, int iterations,
           int wantedBytes, BufStrBase& out) {
  const int digestBytes = HashContext::DigestLength(number);
  if (digestBytes == 0) return errUnknownAlgorithm;
  if (wantedBytes > kMaxBlocks * digestBytes) return errOutOfMemory;
  if (iterations < 1) iterations = 1;

  HmacContext mac;
  int rc = mac.SetKey(number, password.data(), static_cast<int>(password.size()));
  if (rc != errNone) return rc;
  out.Clear();
  for (uint32_t blockNumber = 1; out.Length() < wantedBytes; ++blockNumber) {
    const uint8_t counter[4] = {
        static_cast<uint8_t>(blockNumber >> 24), static_cast<uint8_t>(blockNumber >> 16),
        static_cast<uint8_t>(blockNumber >> 8), static_cast<uint8_t>(blockNumber)};
    rc = mac.Update(salt);
    if (rc == errNone) rc = mac.Update(counter, 4);
    if (rc == errNone) rc = mac.Final();
    if (rc != errNone) return rc;
    uint8_t block[64], chained[64];
    std::memcpy(block, mac.result.Data(), static_cast<size_t>(digestBytes));
    std::memcpy(chained, block, static_cast<size_t>(digestBytes));
    for (int round = 1; round < iterations; ++round) {
      rc = mac.Update(chained, digestBytes);
      if (rc == errNone) rc = mac.Final();
      if (rc != errNone) return rc;
      std::memcpy(chained, mac.result.Data(), static_cast<size_t>(digestBytes));
      for (int i = 0; i < digestBytes; ++i)
        block[i] ^= chained[i];
    }
    const int take =
        wantedBytes - out.Length() < digestBytes ? wantedBytes - out.Length() : digestBytes;
    if ((rc = out.Append(reinterpret_cast<const char*>(block), take)) != errNone) return rc;
  }
  return errNone;
}

} // namespace quillon
