// The four operations on large numbers that the key readers need: from big-endian bytes,
// subtraction, a modulus that is never negative, and back to bytes. The TLS library's numbers do
// the arithmetic; this type only owns one.
#pragma once

#include "frame/BufStr.h"

namespace quillon {

struct EvpBigNum;

class BigNumber {
public:
  BigNumber() = default;
  ~BigNumber();
  BigNumber(const BigNumber&) = delete;
  BigNumber& operator=(const BigNumber&) = delete;

  int Sign() const; // -1, 0 or 1

private:
  friend int BigFromBytes(BigNumber&, const void*, int, int);
  friend int BigSubtract(const BigNumber&, const BigNumber&, BigNumber&);
  friend int BigMod(const BigNumber&, const BigNumber&, BigNumber&);
  friend int BigToBytes(const BigNumber&, BufStrBase&);
  int Ensure(); // creates the library's number on first use; 0 or 200

  EvpBigNum* value = nullptr; // the library's number; null reads as 0
};

// Each returns 0 or 200 unless it says otherwise.
// From big-endian `bytes`; leading zero bytes don't count, `length` 0 gives 0; `sign` below 0
// makes the number negative.
int BigFromBytes(BigNumber& number, const void* bytes, int length, int sign);
int BigSubtract(const BigNumber& a, const BigNumber& b, BigNumber& result);
// From 0 up to `modulus` - 1, also for a negative `a`; 2003 when `modulus` is not above 0.
int BigMod(const BigNumber& a, const BigNumber& modulus, BigNumber& result);
// Big-endian into `out`, in bit length / 8 + 1 bytes, so a leading zero byte is usual.
int BigToBytes(const BigNumber& number, BufStrBase& out);

} // namespace quillon
