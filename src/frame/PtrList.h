// A growable list of owned records of one type, with 20 inline slots and a heap array beyond.
// Slots fill on first read, so a reader never meets a missing element. The list never keeps a
// caller's pointer: Insert constructs its own element and fills it by source.CopyTo(element).
#pragma once

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <cstring>
#include <new>

namespace quillon {

template <class T> class PtrList {
public:
  static constexpr int kInlineSlots = 20;

  PtrList() { std::memset(inlineSlots, 0, sizeof inlineSlots); }
  ~PtrList() { Clear(); }
  PtrList(const PtrList&) = delete;
  PtrList& operator=(const PtrList&) = delete;

  // Access
  int Count() const { return count; }
  int Capacity() const { return capacity; }
  // The element at `i`, constructed on first read when its slot is empty. Null for an index
  // outside the list, and when memory for a new element cannot be had.
  T* At(int i) {
    if (i < 0 || i >= count) return nullptr;
    T*& slot = Slots()[i];
    if (!slot) slot = new (std::nothrow) T();
    return slot;
  }
  // The element at `i` if it has been made, without making one.
  T* Peek(int i) const { return i < 0 || i >= count ? nullptr : Slots()[i]; }

  // Operations

  // Sets the count to `n` (negative counts as 0); elements at `n` and above are destroyed. 200
  // when the larger slot array cannot be had, and then the list is emptied.
  int Resize(int n);
  // Grows the list by one at `position` (at or beyond the count appends) and fills the new element
  // from `source`. -1 for a negative position, which changes nothing; 200 without memory.
  int Insert(int position, const T& source);
  int Append(const T& source) { return Insert(count, source); }
  // Destroys the element and closes the gap; nothing for an index outside the list.
  void RemoveAt(int i);
  // Exchanges two slots; both indexes must lie inside the list.
  void Swap(int i, int j) {
    T** slots = Slots();
    T* held = slots[i];
    slots[i] = slots[j];
    slots[j] = held;
  }
  // Destroys every element and returns to 20 inline slots.
  void Clear();

private:
  T** Slots() { return heap ? heap : inlineSlots; }
  T* const* Slots() const { return heap ? heap : inlineSlots; }
  void DestroyFrom(int n);

  int count = 0;                // elements in use; slots below it may still be null
  int capacity = kInlineSlots;  // 20 while inline, else the heap array's size
  T* inlineSlots[kInlineSlots]; // the slots while the list has never outgrown them
  T** heap = nullptr;           // the slot array once count has exceeded 20
};

template <class T> void PtrList<T>::DestroyFrom(int n) {
  T** slots = Slots();
  for (int i = n; i < count; ++i) {
    delete slots[i];
    slots[i] = nullptr;
  }
}

template <class T> int PtrList<T>::Resize(int n) {
  if (n < 0) n = 0;
  if (n < count) DestroyFrom(n);

  if (n > kInlineSlots) {
    if (n > capacity) {
      const int newCapacity = 2 * n;
      T** block = static_cast<T**>(MemAlloc(sizeof(T*) * static_cast<size_t>(newCapacity)));
      if (!block) {
        Clear();
        return errOutOfMemory;
      }
      std::memset(block, 0, sizeof(T*) * static_cast<size_t>(newCapacity));
      std::memcpy(block, Slots(), sizeof(T*) * static_cast<size_t>(count < n ? count : n));
      if (heap)
        MemFree(heap);
      else
        std::memset(inlineSlots, 0, sizeof inlineSlots);
      heap = block;
      capacity = newCapacity;
    }
  } else if (heap) {
    std::memcpy(inlineSlots, heap, sizeof(T*) * static_cast<size_t>(n));
    std::memset(inlineSlots + n, 0, sizeof(T*) * static_cast<size_t>(kInlineSlots - n));
    MemFree(heap);
    heap = nullptr;
    capacity = kInlineSlots;
  }
  count = n;
  return errNone;
}

template <class T> int PtrList<T>::Insert(int position, const T& source) {
  if (position < 0) return -1;
  if (position > count) position = count;
  T* element = new (std::nothrow) T();
  if (!element) return errOutOfMemory;
  const int oldCount = count;
  int rc = Resize(oldCount + 1);
  if (rc != errNone) {
    delete element;
    return rc;
  }
  T** slots = Slots();
  std::memmove(slots + position + 1, slots + position,
               sizeof(T*) * static_cast<size_t>(oldCount - position));
  slots[position] = element;
  return source.CopyTo(*element);
}

template <class T> void PtrList<T>::RemoveAt(int i) {
  if (i < 0 || i >= count) return;
  T** slots = Slots();
  delete slots[i];
  std::memmove(slots + i, slots + i + 1, sizeof(T*) * static_cast<size_t>(count - i - 1));
  slots[count - 1] = nullptr;
  --count;
}

template <class T> void PtrList<T>::Clear() {
  DestroyFrom(0);
  if (heap) MemFree(heap);
  heap = nullptr;
  std::memset(inlineSlots, 0, sizeof inlineSlots);
  count = 0;
  capacity = kInlineSlots;
}

} // namespace quillon
