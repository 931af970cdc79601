// The input buffer of a port: one fixed array that recv writes into directly, cut into records
// by a terminator or by any line end (CR, LF, CRLF, LFCR). Records are handed out in place, so a
// record stays valid until the next write into the buffer.
#pragma once

#include <cstdint>

namespace quillon {

// Layout of `data`:
//   [0, offset)                      bytes already handed out
//   [offset, offset + length)        unread bytes
//   [offset + length, capacity)      free space behind the unread bytes
//   [capacity, capacity + 2)         spare, so a reader may put two bytes behind a full record
class LineBuffer {
public:
  LineBuffer() = default;
  ~LineBuffer();
  LineBuffer(const LineBuffer&) = delete;
  LineBuffer& operator=(const LineBuffer&) = delete;

  // Operations
  // Empties the buffer and gives it `size` usable bytes; 0 or 200, which keeps the old array.
  int Resize(uint32_t size);
  // Replaces the terminator with a private copy of `bytes`; `length` 0 removes it. 0 or 200.
  int SetTerminator(const char* bytes, uint32_t length);
  void Clear() { offset = length = 0; }
  // Finds room for `wanted` bytes (0: any room at all). True with `place` and `size` of the free
  // space behind the unread bytes; false, after compacting, when the buffer has less room.
  bool FreeSpace(char*& place, uint32_t wanted, uint32_t& size);
  // Adds `count` bytes, which may lie in the buffer's own free space; false when they don't fit.
  bool Append(const char* bytes, uint32_t count);
  // Counts `count` bytes that were written at the place FreeSpace gave.
  void Commit(uint32_t count) { length += count; }
  // Hands out every unread byte and empties the buffer; false (and "", 0) when there is none.
  bool TakeAll(char*& bytes, uint32_t& size);
  // Hands out the next complete record without its terminator; false when none is complete.
  // Without a terminator every unread byte is a record.
  bool NextRecord(char*& bytes, uint32_t& size);

  // Fields
  char* data = nullptr;          // capacity + 2 bytes; null until the first Resize
  uint32_t capacity = 0;         // usable bytes
  uint32_t offset = 0;           // start of the unread bytes; 0 whenever length is 0
  uint32_t length = 0;           // unread bytes
  char* terminator = nullptr;    // private copy with a trailing NUL; null when none
  uint32_t terminatorLength = 0; // bytes of terminator
  uint8_t splitLines = 0;        // any of CR, LF, CRLF, LFCR ends a record
  uint8_t pendingLineEnd = 0;    // CR or LF to swallow if it starts the next bytes; 0 for none

private:
  // Moves the unread bytes to the start of data.
  void Compact();
  bool NextLine(char*& bytes, uint32_t& size);
  void Consume(uint32_t count);
};

} // namespace quillon
