// Growth rule: a text longer than the inline limit goes to a heap block with room for half as much
// again as the requested length; a text that shrinks to the limit moves back inline and the block
// is freed. All copies are memmove, because Mid and DropFront move text within one buffer.
#include "frame/BufStr.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <climits>
#include <cstring>

namespace quillon {

BufStrBase::~BufStrBase() {
  MemFree(heap);
}

int BufStrBase::Resize(int newLength, const char* source) {
  if (newLength < 0) newLength = 0;

  if (newLength <= inlineLimit) {
    char* inlineBytes = InlineStore();
    if (heap) {
      std::memmove(inlineBytes, source ? source : heap, static_cast<size_t>(newLength));
      MemFree(heap);
      heap = nullptr;
      capacity = inlineLimit;
    } else if (source) {
      std::memmove(inlineBytes, source, static_cast<size_t>(newLength));
    }
    inlineBytes[newLength] = 0;
    length = newLength;
    return errNone;
  }

  long long target = static_cast<long long>(newLength) + newLength / 2;
  if (target >= INT_MAX) target = INT_MAX - 1;
  if (newLength > capacity) {
    const size_t blockSize = static_cast<size_t>(target) + 1;
    if (source) {
      // Allocate before freeing: `source` may lie in the old block.
      char* block = static_cast<char*>(MemAlloc(blockSize));
      if (!block) return errOutOfMemory;
      std::memmove(block, source, static_cast<size_t>(newLength));
      MemFree(heap);
      heap = block;
    } else if (heap) {
      char* block = static_cast<char*>(MemRealloc(heap, blockSize));
      if (!block) return errOutOfMemory;
      heap = block;
    } else {
      char* block = static_cast<char*>(MemAlloc(blockSize));
      if (!block) return errOutOfMemory;
      std::memcpy(block, InlineStore(), static_cast<size_t>(length));
      heap = block;
    }
    capacity = static_cast<int>(target);
  } else if (source) {
    std::memmove(heap, source, static_cast<size_t>(newLength));
  }
  heap[newLength] = 0;
  length = newLength;
  return errNone;
}

int BufStrBase::Reserve(int wanted) {
  if (wanted <= capacity) return errNone;
  const int kept = length;
  // Growing to `wanted` and back keeps the block; the 1.5 growth rule applies only beyond it.
  char* block = static_cast<char*>(heap ? MemRealloc(heap, static_cast<size_t>(wanted) + 1)
                                        : MemAlloc(static_cast<size_t>(wanted) + 1));
  if (!block) return errOutOfMemory;
  if (!heap) std::memcpy(block, InlineStore(), static_cast<size_t>(kept) + 1);
  heap = block;
  capacity = wanted;
  return errNone;
}

void BufStrBase::ShrinkToFit() {
  if (!heap || capacity == length) return;
  if (char* block = static_cast<char*>(MemRealloc(heap, static_cast<size_t>(length) + 1))) {
    heap = block;
    capacity = length;
  }
}

int BufStrBase::Assign(const char* text) {
  if (!text) return Resize(0, nullptr);
  return Resize(static_cast<int>(std::strlen(text)), text);
}

int BufStrBase::Append(const char* bytes, int count) {
  if (!bytes || count < 1) return errNone;
  // The bytes may come from this very buffer (a line buffer appends from its free area), and a
  // resize may move the buffer, so remember them by offset.
  const char* base = Data();
  const bool inside = bytes >= base && bytes <= base + capacity;
  const ptrdiff_t offset = bytes - base;
  const int oldLength = length;
  if (static_cast<long long>(oldLength) + count >= INT_MAX) return errOutOfMemory;
  if (inside && offset + count > oldLength) {
    // Bytes from the free area beyond the length would not survive the move to the heap or the
    // new terminator: take a copy first.
    BufStr copy;
    if (copy.Assign(bytes, count) != errNone) return errOutOfMemory;
    return Append(copy.Data(), count);
  }
  int rc = Resize(oldLength + count, nullptr);
  if (rc != errNone) return rc;
  const char* from = inside ? Data() + offset : bytes;
  std::memmove(Data() + oldLength, from, static_cast<size_t>(count));
  return errNone;
}

int BufStrBase::AppendText(const char* text) {
  if (!text) return errNone;
  return Append(text, static_cast<int>(std::strlen(text)));
}

int BufStrBase::AppendDecimal(int64_t value) {
  char digits[24];
  int n = 0;
  uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  do {
    digits[n++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude);
  if (value < 0) digits[n++] = '-';
  char text[24];
  for (int i = 0; i < n; ++i)
    text[i] = digits[n - 1 - i];
  return Append(text, n);
}

void BufStrBase::Clear() {
  MemFree(heap);
  heap = nullptr;
  capacity = inlineLimit;
  length = 0;
  char* inlineBytes = InlineStore();
  inlineBytes[0] = 0;
  inlineBytes[1] = 0;
  inlineBytes[inlineLimit] = 0;
}

void BufStrBase::DropFront(int count) {
  if (count < 1) return;
  if (count >= length) {
    Resize(0, nullptr);
    return;
  }
  Resize(length - count, Data() + count);
}

int BufStrBase::Find(std::string_view needle, int start) const {
  if (start < 0) return -1;
  if (needle.empty()) return 0;
  if (start >= length) return -1;
  size_t at = View().find(needle, static_cast<size_t>(start));
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

bool BufStrBase::EndsWith(std::string_view needle) const {
  return View().ends_with(needle);
}

int BufStrBase::Mid(int start, int end) {
  if (start < 0 || end < 0 || start >= length) return errIndex;
  if (end > length) end = length;
  if (end <= start) return Resize(0, nullptr);
  return Resize(end - start, Data() + start);
}

void BufStrBase::Trim() {
  const char* bytes = Data();
  int begin = 0;
  int end = length;
  while (begin < end && static_cast<signed char>(bytes[begin]) <= 32)
    ++begin;
  while (end > begin && static_cast<signed char>(bytes[end - 1]) <= 32)
    --end;
  if (begin == 0 && end == length) return;
  Resize(end - begin, bytes + begin);
}

void BufStrBase::StripChar(char c) {
  const char* bytes = Data();
  int begin = 0;
  int end = length;
  while (begin < end && bytes[begin] == c)
    ++begin;
  while (end > begin && bytes[end - 1] == c)
    --end;
  if (begin == 0 && end == length) return;
  Resize(end - begin, bytes + begin);
}

void BufStrBase::ToUpper() {
  char* bytes = Data();
  for (int i = 0; i < length; ++i)
    if (bytes[i] >= 'a' && bytes[i] <= 'z') bytes[i] = static_cast<char>(bytes[i] - 32);
}

void BufStrBase::ToLower() {
  char* bytes = Data();
  for (int i = 0; i < length; ++i)
    if (bytes[i] >= 'A' && bytes[i] <= 'Z') bytes[i] = static_cast<char>(bytes[i] + 32);
}

} // namespace quillon
