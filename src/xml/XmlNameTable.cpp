// Slots are constructed one at a time with MemAlloc and placement new, and the pointer array
// doubles from 8 to 256, so a small document costs a few hundred bytes of table.
#include "xml/XmlNameTable.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <new>

namespace quillon {

XmlNameTable::~XmlNameTable() {
  for (int i = 0; i < made; ++i) {
    slots[i]->~Slot();
    MemFree(slots[i]);
  }
  MemFree(slots);
}

int XmlNameTable::GrowSlots() {
  const int newRoom = room ? room * 2 : 8;
  void* block = MemRealloc(slots, sizeof(Slot*) * static_cast<size_t>(newRoom));
  if (!block) return errOutOfMemory;
  slots = static_cast<Slot**>(block);
  room = newRoom;
  return errNone;
}

int XmlNameTable::MakeSlot() {
  if (made == kLimit) return errOutOfMemory;
  if (made == room && GrowSlots() != errNone) return errOutOfMemory;
  void* block = MemAlloc(sizeof(Slot));
  if (!block) return errOutOfMemory;
  slots[made++] = new (block) Slot();
  return errNone;
}

} // namespace quillon
