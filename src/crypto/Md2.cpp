// MD2 as RFC 1319 defines it (with its published checksum erratum): 16-byte blocks; each block
// updates a running checksum and is mixed through 18 rounds over a 48-byte buffer with the
// pi-derived substitution table. Padding is n bytes of value n (1 to 16), then the checksum is
// processed as a last block.
#include "crypto/Md2.h"

#include <cstring>

namespace quillon {

namespace {
// A permutation of 0..255 made from the digits of pi.
const uint8_t kPiSubst[256] = {
    41,  46,  67,  201, 162, 216, 124, 1,   61,  54,  84,  161, 236, 240, 6,   19,  98,  167, 5,
    243, 192, 199, 115, 140, 152, 147, 43,  217, 188, 76,  130, 202, 30,  155, 87,  60,  253, 212,
    224, 22,  103, 66,  111, 24,  138, 23,  229, 18,  190, 78,  196, 214, 218, 158, 222, 73,  160,
    251, 245, 142, 187, 47,  238, 122, 169, 104, 121, 145, 21,  178, 7,   63,  148, 194, 16,  137,
    11,  34,  95,  33,  128, 127, 93,  154, 90,  144, 50,  39,  53,  62,  204, 231, 191, 247, 151,
    3,   255, 25,  48,  179, 72,  165, 181, 209, 215, 94,  146, 42,  172, 86,  170, 198, 79,  184,
    56,  210, 150, 164, 125, 182, 118, 252, 107, 226, 156, 116, 4,   241, 69,  157, 112, 89,  100,
    113, 135, 32,  134, 91,  207, 101, 230, 45,  168, 2,   27,  96,  37,  173, 174, 176, 185, 246,
    28,  70,  97,  105, 52,  64,  126, 15,  85,  71,  163, 35,  221, 81,  175, 58,  195, 92,  249,
    206, 186, 197, 234, 38,  44,  83,  13,  110, 133, 40,  132, 9,   211, 223, 205, 244, 65,  129,
    77,  82,  106, 220, 55,  200, 108, 193, 171, 250, 36,  225, 123, 8,   12,  189, 177, 74,  120,
    136, 149, 139, 227, 99,  232, 109, 233, 203, 213, 254, 59,  0,   29,  57,  242, 239, 183, 14,
    102, 88,  208, 228, 166, 119, 114, 248, 235, 117, 75,  10,  49,  68,  80,  180, 143, 237, 31,
    26,  219, 153, 141, 51,  159, 17,  131, 20};

void ProcessBlock(Md2State& state, const uint8_t block[16]) {
  // The checksum chains through its own last byte (the erratum to the RFC's text).
  uint8_t last = state.checksum[15];
  for (int i = 0; i < 16; ++i)
    last = state.checksum[i] ^= kPiSubst[block[i] ^ last];
  for (int i = 0; i < 16; ++i) {
    state.x[16 + i] = block[i];
    state.x[32 + i] = static_cast<uint8_t>(state.x[16 + i] ^ state.x[i]);
  }
  uint8_t t = 0;
  for (int round = 0; round < 18; ++round) {
    for (int k = 0; k < 48; ++k)
      t = state.x[k] ^= kPiSubst[t];
    t = static_cast<uint8_t>(t + round);
  }
}
} // namespace

void Md2Start(Md2State& state) {
  std::memset(state.x, 0, sizeof state.x);
  std::memset(state.checksum, 0, sizeof state.checksum);
  state.filled = 0;
}

void Md2Add(Md2State& state, const uint8_t* data, size_t length) {
  while (length > 0) {
    const size_t take = length < 16 - state.filled ? length : 16 - state.filled;
    std::memcpy(state.pending + state.filled, data, take);
    state.filled += static_cast<uint32_t>(take);
    data += take;
    length -= take;
    if (state.filled == 16) {
      ProcessBlock(state, state.pending);
      state.filled = 0;
    }
  }
}

void Md2Finish(Md2State& state, uint8_t digest[16]) {
  const uint8_t padValue = static_cast<uint8_t>(16 - state.filled);
  uint8_t padding[16];
  std::memset(padding, padValue, padValue);
  Md2Add(state, padding, padValue);
  uint8_t checksum[16];
  std::memcpy(checksum, state.checksum, 16);
  ProcessBlock(state, checksum);
  std::memcpy(digest, state.x, 16);
}

} // namespace quillon
