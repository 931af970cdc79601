// Adapter over the TLS library's BIGNUM: our opaque EvpBigNum is its number, and the library's
// failures become 200. A scratch context is made per modulus; key files are read once.
#include "crypto/BigNumber.h"

#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <openssl/bn.h>

namespace quillon {

namespace {
BIGNUM* Raw(EvpBigNum* number) {
  return reinterpret_cast<BIGNUM*>(number);
}
} // namespace

BigNumber::~BigNumber() {
  BN_clear_free(Raw(value));
}

int BigNumber::Ensure() {
  if (!value) value = reinterpret_cast<EvpBigNum*>(BN_new());
  return value ? errNone : errOutOfMemory;
}

int BigNumber::Sign() const {
  if (!value || BN_is_zero(Raw(value))) return 0;
  return BN_is_negative(Raw(value)) ? -1 : 1;
}

int BigFromBytes(BigNumber& number, const void* bytes, int length, int sign) {
  if (int rc = number.Ensure(); rc != errNone) return rc;
  if (!BN_bin2bn(static_cast<const unsigned char*>(bytes), length > 0 ? length : 0,
                 Raw(number.value)))
    return errOutOfMemory;
  BN_set_negative(Raw(number.value), sign < 0 ? 1 : 0);
  return errNone;
}

int BigSubtract(const BigNumber& a, const BigNumber& b, BigNumber& result) {
  BigNumber zero;
  if (int rc = result.Ensure(); rc != errNone) return rc;
  if (int rc = zero.Ensure(); rc != errNone) return rc;
  const BIGNUM* left = a.value ? Raw(a.value) : Raw(zero.value);
  const BIGNUM* right = b.value ? Raw(b.value) : Raw(zero.value);
  return BN_sub(Raw(result.value), left, right) ? errNone : errOutOfMemory;
}

int BigMod(const BigNumber& a, const BigNumber& modulus, BigNumber& result) {
  if (modulus.Sign() <= 0) return errBlockLength;
  if (int rc = result.Ensure(); rc != errNone) return rc;
  if (!a.value) {
    BN_zero(Raw(result.value));
    return errNone;
  }
  BN_CTX* scratch = BN_CTX_new();
  if (!scratch) return errOutOfMemory;
  const int ok = BN_nnmod(Raw(result.value), Raw(a.value), Raw(modulus.value), scratch);
  BN_CTX_free(scratch);
  return ok ? errNone : errOutOfMemory;
}

int BigToBytes(const BigNumber& number, BufStrBase& out) {
  const int bits = number.value ? BN_num_bits(Raw(number.value)) : 0;
  const int length = bits / 8 + 1;
  if (int rc = out.Resize(length, nullptr); rc != errNone) return rc;
  if (!number.value) {
    out.Data()[0] = 0;
    return errNone;
  }
  return BN_bn2binpad(Raw(number.value), reinterpret_cast<unsigned char*>(out.Data()), length) ==
                 length
             ? errNone
             : errOutOfMemory;
}

} // namespace quillon
