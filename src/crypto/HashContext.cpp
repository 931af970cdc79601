// Dispatch of the running digest by number: the library's handle for the published SHA family,
// MD5 and RIPEMD-160, our own state for MD4 and MD2. The library's handle is created once and
// reused by every later Init.
#include "crypto/HashContext.h"

#include "crypto/CryptoErrors.h"
#include "crypto/EvpAdapter.h"
#include "frame/Errors.h"

namespace quillon {

namespace {
struct DigestSizes {
  int digestBytes;
  int blockBytes;
};
constexpr DigestSizes kSizes[] = {{20, 64},  {16, 64}, {32, 64}, {28, 64}, {64, 128},
                                  {48, 128}, {20, 64}, {16, 64}, {16, 16}};
constexpr int kDigestCount = static_cast<int>(sizeof kSizes / sizeof kSizes[0]);

int OneShot(int number, BufStrBase& out, const void* data, int length) {
  HashContext hash;
  int rc = hash.Init(number);
  if (rc == errNone) rc = hash.Update(data, length);
  if (rc == errNone) rc = hash.Final();
  return rc == errNone ? out.Assign(hash.result) : rc;
}
} // namespace

HashContext::~HashContext() {
  EvpDigestFree(evp);
}

int HashContext::DigestLength(int number) {
  return number >= 0 && number < kDigestCount ? kSizes[number].digestBytes : 0;
}

int HashContext::BlockLength(int number) {
  return number >= 0 && number < kDigestCount ? kSizes[number].blockBytes : 0;
}

int HashContext::Init(int digest) {
  number = -1;
  switch (digest) {
  case digestMd4:
    Md4Start(md4);
    break;
  case digestMd2:
    Md2Start(md2);
    break;
  default:
    if (int rc = EvpDigestStart(evp, digest); rc != errNone) return rc;
  }
  number = digest;
  return errNone;
}

int HashContext::Update(const void* data, int length) {
  if (number < 0) return errUnknownAlgorithm;
  if (length <= 0) return errNone;
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  switch (number) {
  case digestMd4:
    Md4Add(md4, bytes, static_cast<size_t>(length));
    return errNone;
  case digestMd2:
    Md2Add(md2, bytes, static_cast<size_t>(length));
    return errNone;
  default:
    return EvpDigestAdd(evp, bytes, static_cast<size_t>(length));
  }
}

int HashContext::Final() {
  uint8_t digest[64];
  int length = 16;
  switch (number) {
  case -1:
    return errUnknownAlgorithm;
  case digestMd4:
    Md4Finish(md4, digest);
    break;
  case digestMd2:
    Md2Finish(md2, digest);
    break;
  default:
    if (int rc = EvpDigestFinish(evp, digest, length); rc != errNone) return rc;
  }
  if (int rc = result.Assign(reinterpret_cast<const char*>(digest), length); rc != errNone)
    return rc;
  return Init(number);
}

int Md5Digest(BufStrBase& out, const void* data, int length) {
  return OneShot(digestMd5, out, data, length);
}

int Md4Digest(BufStrBase& out, const void* data, int length) {
  return OneShot(digestMd4, out, data, length);
}

int Sha256Digest(BufStrBase& out, const void* data, int length) {
  return OneShot(digestSha256, out, data, length);
}

} // namespace quillon
