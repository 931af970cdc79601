// HMAC as H((K ^ opad) || H((K ^ ipad) || message)). Both pads are made once per key; the inner
// hash takes its pad lazily, on the first Update or Final of each message.
#include "crypto/HmacContext.h"

#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <cstring>

namespace quillon {

int HmacContext::SetKey(int digest, const void* key, int length) {
  number = -1;
  innerStarted = false;
  const int block = HashContext::BlockLength(digest);
  if (block == 0) return errUnknownAlgorithm;
  blockBytes = digest == digestSha512 || digest == digestSha384 ? 128 : 64;

  uint8_t keyBlock[128] = {};
  if (length > blockBytes) {
    int rc = hash.Init(digest);
    if (rc == errNone) rc = hash.Update(key, length);
    if (rc == errNone) rc = hash.Final();
    if (rc != errNone) return rc;
    std::memcpy(keyBlock, hash.result.Data(), static_cast<size_t>(hash.result.Length()));
  } else if (length > 0) {
    std::memcpy(keyBlock, key, static_cast<size_t>(length));
  }
  for (int i = 0; i < blockBytes; ++i) {
    innerPad[i] = keyBlock[i] ^ 0x36;
    outerPad[i] = keyBlock[i] ^ 0x5C;
  }
  number = digest;
  return errNone;
}

int HmacContext::StartInner() {
  if (number < 0) return errUnknownAlgorithm;
  if (innerStarted) return errNone;
  int rc = hash.Init(number);
  if (rc == errNone) rc = hash.Update(innerPad, blockBytes);
  innerStarted = rc == errNone;
  return rc;
}

int HmacContext::Update(const void* data, int length) {
  int rc = StartInner();
  return rc == errNone ? hash.Update(data, length) : rc;
}

int HmacContext::Final() {
  int rc = StartInner();
  if (rc == errNone) rc = hash.Final();
  innerStarted = false;
  if (rc != errNone) return rc;
  uint8_t inner[64];
  const int innerLength = hash.result.Length();
  std::memcpy(inner, hash.result.Data(), static_cast<size_t>(innerLength));
  rc = hash.Update(outerPad, blockBytes); // Final left a fresh run of the same digest
  if (rc == errNone) rc = hash.Update(inner, innerLength);
  if (rc == errNone) rc = hash.Final();
  return rc == errNone ? result.Assign(hash.result) : rc;
}

int HmacMd5(BufStrBase& out, std::string_view key, std::string_view data) {
  HmacContext mac;
  int rc = mac.SetKey(digestMd5, key.data(), static_cast<int>(key.size()));
  if (rc == errNone) rc = mac.Update(data);
  if (rc == errNone) rc = mac.Final();
  return rc == errNone ? out.Assign(mac.result) : rc;
}

} // namespace quillon
