// Interning by open addressing with linear probing; the table doubles at half load, and the
// entries grow by half again, like the scanner's buffers.
#include "xml/XmlNamePool.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <cstring>

namespace quillon {

namespace {
constexpr uint32_t kMaxBytes = 0x3FFFFFF0u;

uint64_t Mix(uint64_t hash, uint64_t word) {
  hash = (hash ^ word) * 0xC2B2AE3D27D4EB4Full;
  return hash ^ (hash >> 29);
}

// Names are short, so they are read in words, the last word overlapping the one before; every
// byte counts, so that names differing only in the middle do not collide.
uint32_t HashName(const char* name, size_t length) {
  uint64_t hash = length * 0x9E3779B97F4A7C15ull;
  if (length >= 8) {
    for (size_t at = 0; at + 8 < length; at += 8)
      hash = Mix(hash, LoadWord8(name + at));
    hash = Mix(hash, LoadWord8(name + length - 8));
  } else if (length >= 4) {
    hash = Mix(hash, LoadWord4(name) << 32 | LoadWord4(name + length - 4));
  } else if (length > 0) {
    hash = Mix(hash, static_cast<uint8_t>(name[0]) | static_cast<uint8_t>(name[length / 2]) << 8 |
                         static_cast<uint32_t>(static_cast<uint8_t>(name[length - 1])) << 16);
  }
  return static_cast<uint32_t>(hash >> 32) ^ static_cast<uint32_t>(hash);
}

} // namespace

XmlNamePool::~XmlNamePool() {
  MemFree(data);
  MemFree(slots);
}

void XmlNamePool::Clear() {
  length = 0;
  used = 0;
  if (slots) std::memset(slots, 0, sizeof(uint32_t) * slotCount);
}

int XmlNamePool::GrowSlots() {
  const uint32_t newCount = slotCount ? slotCount * 2 : 64;
  auto* fresh = static_cast<uint32_t*>(MemAlloc(sizeof(uint32_t) * newCount));
  if (!fresh) return errOutOfMemory;
  std::memset(fresh, 0, sizeof(uint32_t) * newCount);
  for (uint32_t i = 0; i < slotCount; ++i) {
    if (!slots[i]) continue;
    uint32_t at = At(slots[i] - 1).hash & (newCount - 1);
    while (fresh[at])
      at = (at + 1) & (newCount - 1);
    fresh[at] = slots[i];
  }
  MemFree(slots);
  slots = fresh;
  slotCount = newCount;
  return errNone;
}

int XmlNamePool::Intern(std::string_view name, uint32_t* id) {
  if ((used + 1) * 2 > slotCount && GrowSlots() != errNone) return errOutOfMemory;
  const uint32_t hash = HashName(name.data(), name.size());
  uint32_t at = hash & (slotCount - 1);
  for (; slots[at]; at = (at + 1) & (slotCount - 1)) {
    const Entry& entry = At(slots[at] - 1);
    if (entry.hash == hash && entry.length == name.size() &&
        SameBytes(reinterpret_cast<const char*>(&entry + 1), name.data(), name.size())) {
      *id = slots[at] - 1;
      return errNone;
    }
  }
  const uint64_t size = (sizeof(Entry) + name.size() + 1 + 3) & ~uint64_t{3};
  if (length + size > kMaxBytes) return errOutOfMemory;
  if (length + size > capacity) {
    const uint64_t wanted = length + size;
    const uint64_t newCapacity = wanted + wanted / 2 + 256;
    void* block = MemRealloc(data, static_cast<size_t>(newCapacity));
    if (!block) return errOutOfMemory;
    data = static_cast<char*>(block);
    capacity = static_cast<uint32_t>(newCapacity);
  }
  Entry& entry = *reinterpret_cast<Entry*>(data + length);
  entry.length = static_cast<uint32_t>(name.size());
  const void* colon = name.empty() ? nullptr : std::memchr(name.data(), ':', name.size());
  entry.colon = colon ? static_cast<int32_t>(static_cast<const char*>(colon) - name.data()) : -1;
  entry.hash = hash;
  entry.scope = 0;
  entry.mapping = -1;
  for (uint32_t(&sequels)[kSequelsKept] : entry.next)
    for (uint32_t& sequel : sequels)
      sequel = kNone;
  char* text = reinterpret_cast<char*>(&entry + 1);
  if (!name.empty()) std::memcpy(text, name.data(), name.size());
  std::memset(text + name.size(), 0, size - sizeof(Entry) - name.size());
  *id = length;
  slots[at] = length + 1;
  length += static_cast<uint32_t>(size);
  ++used;
  return errNone;
}

} // namespace quillon
