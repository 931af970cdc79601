// A compressed body from the network in pieces: the first byte picks the coding and the piece
// size, the rest is the body. Any bytes must give output or a code, never a crash or a hang.
#include "http/BodyDecoder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  quillon::BodyDecoder decoder;
  const char* failure = nullptr;
  if (decoder.Start(data[0] & 1 ? "deflate" : "gzip", &failure) != 0) std::abort();
  const size_t pieceSize = 1 + (data[0] >> 1);
  for (size_t at = 1; at < size; at += pieceSize) {
    const size_t length = size - at < pieceSize ? size - at : pieceSize;
    bool needMore = false;
    const int rc = decoder.Decode(reinterpret_cast<const char*>(data + at),
                                  static_cast<int>(length), needMore, &failure);
    if (rc != 0 && (rc != 102 && rc != 151)) std::abort();
    if (rc != 0 && !failure) std::abort();
  }
  return 0;
}
