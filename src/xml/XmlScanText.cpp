// Growth of the scanner's buffer.
#include "xml/XmlScanText.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <climits>

namespace quillon {

XmlScanText::~XmlScanText() {
  if (data != inlineStore)
    MemFree(data);
}

void XmlScanText::DropFront(int count) {
  if (count <= 0)
    return;
  if (count >= length) {
    Clear();
    return;
  }
  std::memmove(data, data + count, static_cast<size_t>(length - count));
  Truncate(length - count);
}

void XmlScanText::Release() {
  if (data != inlineStore)
    MemFree(data);
  data = inlineStore;
  capacity = kInline;
  Clear();
}

int XmlScanText::Reserve(int size) {
  const long long needed = static_cast<long long>(size) + 1;
  if (needed >= INT_MAX / 2)
    return errOutOfMemory;
  const int newCapacity = static_cast<int>(needed * 2);
  char* block = static_cast<char*>(
      data == inlineStore ? MemAlloc(static_cast<size_t>(newCapacity))
                          : MemRealloc(data, static_cast<size_t>(newCapacity)));
  if (!block)
    return errOutOfMemory;
  if (data == inlineStore)
    std::memcpy(block, inlineStore, static_cast<size_t>(length) + 1);
  data = block;
  capacity = newCapacity;
  return errNone;
}

int XmlScanText::Grow(const char* bytes, int count) {
  if (Reserve(length + count) != errNone)
    return errOutOfMemory;
  std::memcpy(data + length, bytes, static_cast<size_t>(count));
  length += count;
  data[length] = 0;
  return errNone;
}

} // namespace quillon
