// Feeds arbitrary bytes to the port's line buffer in reads of varying size, under each cutting
// rule, and checks that no byte is lost, added or moved: with a terminator the records and their
// terminators give back the input; with line splitting every byte other than CR and LF comes out
// once, in order, and no record holds a line end.
//
// Input: byte 0 picks the rule (0 none, 1 terminator, 2 line splitting), byte 1 the capacity,
// byte 2 the terminator's length, then the terminator, then the stream; the read sizes follow
// from the capacity and the stream itself.
#include "FuzzSupport.h"
#include "net/LineBuffer.h"

#include <cstring>
#include <string>

QUILLON_FUZZ_TARGET(input) {
  if (input.size() < 3) return;
  const int rule = static_cast<uint8_t>(input[0]) % 3;
  const uint32_t capacity = 1 + static_cast<uint8_t>(input[1]) % 64;
  const size_t terminatorLength = rule == 1 ? 1 + static_cast<uint8_t>(input[2]) % 4 : 0;
  if (input.size() < 3 + terminatorLength) return;
  const std::string terminator(input.substr(3, terminatorLength));
  const std::string stream(input.substr(3 + terminatorLength));

  LineBuffer buffer;
  if (buffer.Resize(capacity) != 0) return;
  if (rule == 1) buffer.SetTerminator(terminator.data(), static_cast<uint32_t>(terminator.size()));
  if (rule == 2) {
    buffer.SetTerminator("\r\n", 2);
    buffer.splitLines = 1;
  }

  std::string out;
  char* bytes;
  uint32_t length;
  const auto take = [&](bool record) {
    const std::string piece(bytes, length);
    if (rule == 2) Check(piece.find_first_of("\r\n") == std::string::npos);
    out += piece;
    if (record && rule == 1) out += terminator;
  };
  size_t at = 0;
  while (at < stream.size()) {
    char* place;
    uint32_t room;
    if (!buffer.FreeSpace(place, 0, room)) {
      Check(buffer.length == buffer.capacity);
      Check(buffer.TakeAll(bytes, length));
      take(false);
      continue;
    }
    Check(place + room <= buffer.data + buffer.capacity);
    // Read sizes vary with the bytes read, from one byte up to the room there is.
    const uint32_t want = 1 + static_cast<uint8_t>(stream[at]) % room;
    const uint32_t n = static_cast<uint32_t>(std::min<size_t>(want, stream.size() - at));
    std::memcpy(place, stream.data() + at, n);
    buffer.Commit(n);
    at += n;
    while (buffer.NextRecord(bytes, length))
      take(true);
  }
  if (buffer.TakeAll(bytes, length)) take(false);

  std::string expected = stream; // with line splitting, the stream without its line ends
  if (rule == 2) std::erase_if(expected, [](char c) { return c == '\r' || c == '\n'; });
  Check(out == expected);
}
