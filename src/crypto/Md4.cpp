// MD4 as RFC 1320 defines it: 64-byte blocks, three rounds of sixteen steps over little-endian
// words, length padding of 0x80, zeros and the bit count as a little-endian 64-bit number.
#include "crypto/Md4.h"

#include <cstring>

namespace quillon {

namespace {
constexpr uint32_t kRound2 = 0x5A827999; // square root of 2
constexpr uint32_t kRound3 = 0x6ED9EBA1; // square root of 3

uint32_t Rotl(uint32_t x, int n) {
  return (x << n) | (x >> (32 - n));
}
uint32_t F(uint32_t x, uint32_t y, uint32_t z) {
  return (x & y) | (~x & z);
}
uint32_t G(uint32_t x, uint32_t y, uint32_t z) {
  return (x & y) | (x & z) | (y & z);
}
uint32_t H(uint32_t x, uint32_t y, uint32_t z) {
  return x ^ y ^ z;
}

uint32_t LoadLittle(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void Compress(uint32_t words[4], const uint8_t block[64]) {
  uint32_t x[16];
  for (int i = 0; i < 16; ++i)
    x[i] = LoadLittle(block + 4 * i);
  uint32_t a = words[0], b = words[1], c = words[2], d = words[3];

  static const int kShift1[4] = {3, 7, 11, 19};
  for (int i = 0; i < 16; ++i) {
    const uint32_t t = Rotl(a + F(b, c, d) + x[i], kShift1[i % 4]);
    a = d, d = c, c = b, b = t;
  }
  // Round 2 takes the words column by column: 0, 4, 8, 12, 1, 5, ...
  static const int kShift2[4] = {3, 5, 9, 13};
  for (int i = 0; i < 16; ++i) {
    const int k = (i % 4) * 4 + i / 4;
    const uint32_t t = Rotl(a + G(b, c, d) + x[k] + kRound2, kShift2[i % 4]);
    a = d, d = c, c = b, b = t;
  }
  // Round 3 takes them in bit-reversed order: 0, 8, 4, 12, 2, 10, ...
  static const int kOrder3[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
  static const int kShift3[4] = {3, 9, 11, 15};
  for (int i = 0; i < 16; ++i) {
    const uint32_t t = Rotl(a + H(b, c, d) + x[kOrder3[i]] + kRound3, kShift3[i % 4]);
    a = d, d = c, c = b, b = t;
  }
  words[0] += a;
  words[1] += b;
  words[2] += c;
  words[3] += d;
}
} // namespace

void Md4Start(Md4State& state) {
  state.words[0] = 0x67452301;
  state.words[1] = 0xEFCDAB89;
  state.words[2] = 0x98BADCFE;
  state.words[3] = 0x10325476;
  state.byteCount = 0;
}

void Md4Add(Md4State& state, const uint8_t* data, size_t length) {
  size_t filled = static_cast<size_t>(state.byteCount % 64);
  state.byteCount += length;
  if (filled > 0) {
    const size_t take = length < 64 - filled ? length : 64 - filled;
    std::memcpy(state.pending + filled, data, take);
    data += take;
    length -= take;
    filled += take;
    if (filled < 64) return;
    Compress(state.words, state.pending);
  }
  for (; length >= 64; data += 64, length -= 64)
    Compress(state.words, data);
  if (length > 0) std::memcpy(state.pending, data, length);
}

void Md4Finish(Md4State& state, uint8_t digest[16]) {
  const uint64_t bits = state.byteCount * 8;
  uint8_t tail[72] = {0x80};
  const size_t filled = static_cast<size_t>(state.byteCount % 64);
  const size_t padLength = filled < 56 ? 56 - filled : 120 - filled;
  for (int i = 0; i < 8; ++i)
    tail[padLength + i] = static_cast<uint8_t>(bits >> (8 * i));
  Md4Add(state, tail, padLength + 8);
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < 4; ++k)
      digest[4 * i + k] = static_cast<uint8_t>(state.words[i] >> (8 * k));
}

} // namespace quillon
