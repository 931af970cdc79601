// The table is open addressing with linear probing, at most half full, so a probe run stays short
// and always ends at an empty slot.
#include "odata/SchemaNameIndex.h"

#include "frame/CharClass.h"
#include "frame/Memory.h"

#include <cstring>

namespace quillon {

void SchemaNameIndex::Clear() {
  MemFree(slots);
  slots = nullptr;
  slotMask = 0;
  builtCount = -1;
}

uint32_t SchemaNameIndex::Hash(std::string_view text) {
  uint32_t hash = 2166136261u;
  for (char c : text)
    hash = (hash ^ static_cast<uint8_t>(LowerChar(c))) * 16777619u;
  return hash;
}

int SchemaNameIndex::Allocate(int records) {
  uint32_t count = 16;
  while (count < 2u * static_cast<uint32_t>(records))
    count *= 2;
  slots = static_cast<int32_t*>(MemAlloc(count * sizeof *slots));
  if (!slots) return errOutOfMemory;
  std::memset(slots, 0, count * sizeof *slots);
  slotMask = count - 1;
  return errNone;
}

} // namespace quillon
