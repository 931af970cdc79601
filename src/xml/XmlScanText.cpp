// Growth of the scanner's buffer.
#include "xml/XmlScanText.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <climits>

namespace quillon {

XmlScanText::~XmlScanText() {
  if (data != inlineStore) MemFree(data);
}

void XmlScanText::DropFront(int count) {
  if (count <= 0) return;
  if (count >= length) {
    Clear();
    return;
  }
  std::memmove(data, data + count, static_cast<size_t>(length - count));
  Truncate(length - count);
}

void XmlScanText::Release() {
  if (data != inlineStore) MemFree(data);
  data = inlineStore;
  capacity = inlineCapacity;
  Clear();
}

int XmlScanText::Allocate(long long newCapacity) {
  if (newCapacity >= INT_MAX) return errOutOfMemory;
  char* block =
      static_cast<char*>(data == inlineStore ? MemAlloc(static_cast<size_t>(newCapacity))
                                             : MemRealloc(data, static_cast<size_t>(newCapacity)));
  if (!block) return errOutOfMemory;
  if (data == inlineStore) std::memcpy(block, inlineStore, static_cast<size_t>(length) + 1);
  data = block;
  capacity = static_cast<int>(newCapacity);
  return errNone;
}

// Without `bytes` the new bytes are left for the caller (Extend). Half as much again as needed:
// the kept text of a large document should not double its memory.
int XmlScanText::Grow(const char* bytes, int count) {
  const long long needed = static_cast<long long>(length) + count + 1;
  if (Allocate(needed + needed / 2 + 16) != errNone) return errOutOfMemory;
  if (bytes) std::memcpy(data + length, bytes, static_cast<size_t>(count));
  length += count;
  data[length] = 0;
  return errNone;
}

} // namespace quillon
