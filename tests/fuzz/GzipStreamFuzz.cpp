// A compressed body from the network in pieces: the first byte picks the coding and the piece
// size, the rest is the body. Any bytes must give output or a code, never a crash or a hang.
#include "FuzzSupport.h"
#include "http/BodyDecoder.h"

QUILLON_FUZZ_TARGET(input) {
  if (input.empty()) return;
  BodyDecoder decoder;
  const char* failure = nullptr;
  Check(decoder.Start(input[0] & 1 ? "deflate" : "gzip", &failure) == 0);
  const size_t pieceSize = 1 + (static_cast<uint8_t>(input[0]) >> 1);
  for (size_t at = 1; at < input.size(); at += pieceSize) {
    const std::string_view piece = input.substr(at, pieceSize);
    bool needMore = false;
    const int rc = decoder.Decode(piece.data(), static_cast<int>(piece.size()), needMore, &failure);
    Check(rc == 0 || ((rc == 102 || rc == 151) && failure));
  }
}
