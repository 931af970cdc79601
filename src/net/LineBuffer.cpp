// Cutting rules. With a terminator and no line splitting, a record ends at the first full match
// of the terminator. With line splitting, a record ends at the first CR or LF; a CR and LF that
// follow each other in either order count as one line end, and when the buffer ends on a CR or
// LF its companion is swallowed if it starts the next bytes (pendingLineEnd), so a CRLF split
// between two reads still ends one record. CR and LF add to 23, which gives the companion.
#include "net/LineBuffer.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <cstring>

namespace quillon {

namespace {
constexpr uint32_t kSpareBytes = 2;
constexpr uint8_t kLineEndSum = '\r' + '\n';
char emptyRecord[1] = {0};
} // namespace

LineBuffer::~LineBuffer() {
  MemFree(data);
  MemFree(terminator);
}

int LineBuffer::Resize(uint32_t size) {
  if (data && size == capacity) {
    Clear();
    return errNone;
  }
  char* block = static_cast<char*>(MemAlloc(static_cast<size_t>(size) + kSpareBytes));
  if (!block) return errOutOfMemory;
  MemFree(data);
  data = block;
  capacity = size;
  Clear();
  return errNone;
}

int LineBuffer::SetTerminator(const char* bytes, uint32_t count) {
  char* copy = nullptr;
  if (count > 0) {
    copy = static_cast<char*>(MemAlloc(static_cast<size_t>(count) + 1));
    if (!copy) return errOutOfMemory;
    std::memcpy(copy, bytes, count);
    copy[count] = 0;
  }
  MemFree(terminator);
  terminator = copy;
  terminatorLength = count;
  return errNone;
}

void LineBuffer::Compact() {
  if (offset == 0) return;
  std::memmove(data, data + offset, length);
  offset = 0;
}

bool LineBuffer::FreeSpace(char*& place, uint32_t wanted, uint32_t& size) {
  uint32_t room = capacity - length;
  if (room == 0 || room == offset) {
    Compact();
    room = capacity - length;
  }
  if (wanted <= room && room != 0) {
    if (wanted > room - offset) Compact();
    place = data + offset + length;
    size = room - offset;
    return size != 0;
  }
  Compact();
  place = data + length;
  size = room;
  return false;
}

bool LineBuffer::Append(const char* bytes, uint32_t count) {
  if (count > capacity - length) return false;
  if (count > capacity - offset - length) Compact();
  // The bytes may come from this buffer's own free space.
  std::memmove(data + offset + length, bytes, count);
  length += count;
  return true;
}

void LineBuffer::Consume(uint32_t count) {
  offset += count;
  length -= count;
  if (length == 0) offset = 0;
}

bool LineBuffer::TakeAll(char*& bytes, uint32_t& size) {
  if (length == 0) {
    bytes = emptyRecord;
    size = 0;
    offset = 0;
    return false;
  }
  bytes = data + offset;
  size = length;
  Clear();
  return true;
}

bool LineBuffer::NextRecord(char*& bytes, uint32_t& size) {
  if (!terminator) return TakeAll(bytes, size);
  if (splitLines) return NextLine(bytes, size);
  if (length >= terminatorLength) {
    const char* unread = data + offset;
    const char* last = unread + (length - terminatorLength); // the last place a match can start
    for (const char* p = unread; p <= last; ++p) {
      p = static_cast<const char*>(
          std::memchr(p, terminator[0], static_cast<size_t>(last - p) + 1));
      if (!p) break;
      if (std::memcmp(p, terminator, terminatorLength) != 0) continue;
      bytes = data + offset;
      size = static_cast<uint32_t>(p - unread);
      Consume(size + terminatorLength);
      return true;
    }
  }
  Compact();
  return false;
}

bool LineBuffer::NextLine(char*& bytes, uint32_t& size) {
  if (length == 0) return false;
  if (pendingLineEnd != 0 && data[offset] == static_cast<char>(pendingLineEnd)) {
    Consume(1);
    pendingLineEnd = kLineEndSum - pendingLineEnd;
  }
  const char* unread = data + offset;
  const char* end = unread + length;
  const char* p = unread;
  while (p < end && *p != '\r' && *p != '\n')
    ++p;
  if (p == end) {
    Compact();
    return false;
  }
  bytes = data + offset;
  size = static_cast<uint32_t>(p - unread);
  uint32_t consumed = size + 1;
  if (p + 1 == end) {
    pendingLineEnd = static_cast<uint8_t>(kLineEndSum - *p);
  } else {
    pendingLineEnd = 0;
    if (p[0] + p[1] == kLineEndSum) consumed = size + 2;
  }
  Consume(consumed);
  return true;
}

} // namespace quillon
