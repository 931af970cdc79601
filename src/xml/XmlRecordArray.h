// A growable array of plain records for the tree: appends in place, grows by half again through
// MemRealloc, and gives its block back on Release. Records are addressed by index.
#pragma once

#include "frame/Memory.h"

#include <cstdint>
#include <type_traits>

namespace quillon {

template <class T> class XmlRecordArray {
  static_assert(std::is_trivially_copyable_v<T>);

public:
  XmlRecordArray() = default;
  ~XmlRecordArray() { MemFree(items); }
  XmlRecordArray(const XmlRecordArray&) = delete;
  XmlRecordArray& operator=(const XmlRecordArray&) = delete;

  uint32_t Count() const { return count; }
  // Record i; callers check i against Count().
  T& operator[](uint32_t i) const { return items[i]; }
  // A new last record, uninitialised; null when no memory is left.
  T* Add() {
    if (count == room && Grow() != 0) return nullptr;
    return &items[count++];
  }
  void Clear() { count = 0; }
  // Forgets the last record; there is one.
  void RemoveLast() { --count; }
  // Makes room for `total` records in one block; a hint, so a failure is left to Add.
  void Reserve(uint32_t total) {
    if (total <= room || uint64_t{total} * sizeof(T) >= 0x7FFFFFFFu) return;
    if (void* block = MemRealloc(items, sizeof(T) * total)) {
      items = static_cast<T*>(block);
      room = total;
    }
  }
  void Release() {
    MemFree(items);
    items = nullptr;
    count = room = 0;
  }
  size_t Bytes() const { return sizeof(T) * count; }

private:
  int Grow() {
    const uint64_t wanted = uint64_t{room} + room / 2 + 16;
    if (wanted * sizeof(T) >= 0x7FFFFFFFu) return 1;
    void* block = MemRealloc(items, static_cast<size_t>(wanted * sizeof(T)));
    if (!block) return 1;
    items = static_cast<T*>(block);
    room = static_cast<uint32_t>(wanted);
    return 0;
  }

  T* items = nullptr; // records from MemRealloc
  uint32_t count = 0; // records in use
  uint32_t room = 0;  // records that fit in `items`
};

} // namespace quillon
