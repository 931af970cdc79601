// A list of blocks, each at least twice the one before, so that a document read in many pushes
// makes few of them; a new block leaves the rest of the last one unused.
#include "xml/XmlCopyStore.h"

#include "frame/Errors.h"
#include "frame/Memory.h"

#include <cstring>

namespace quillon {

namespace {
constexpr uint64_t kFirstChunk = 4096;
constexpr uint64_t kMaxChunk = 0x40000000u;
} // namespace

void XmlCopyStore::Release() {
  for (uint32_t i = 0; i < chunks.Count(); ++i)
    MemFree(chunks[i].bytes);
  chunks.Release();
  used = 0;
  expected = 0;
  copied = 0;
}

int XmlCopyStore::Reserve() {
  const Chunk* last = chunks.Count() ? &chunks[chunks.Count() - 1] : nullptr;
  const uint64_t room = last ? last->size - used : 0;
  if (expected <= room) return errNone;
  uint64_t size = last ? uint64_t{last->size} * 2 : kFirstChunk;
  if (size < expected) size = expected;
  if (size > kMaxChunk) size = expected;
  const uint64_t base = last ? uint64_t{last->base} + last->size : 0;
  if (size > kMaxChunk || base + size >= kNone) return errOutOfMemory;
  char* bytes = static_cast<char*>(MemAlloc(static_cast<size_t>(size)));
  Chunk* chunk = bytes ? chunks.Add() : nullptr;
  if (!chunk) {
    MemFree(bytes);
    return errOutOfMemory;
  }
  *chunk = {bytes, static_cast<uint32_t>(base), static_cast<uint32_t>(size)};
  used = 0;
  return errNone;
}

uint32_t XmlCopyStore::Copy(const char* bytes, uint32_t length) {
  if (!chunks.Count()) return kNone;
  Chunk& last = chunks[chunks.Count() - 1];
  if (uint64_t{length} + 1 > last.size - used) return kNone;
  char* copy = last.bytes + used;
  std::memcpy(copy, bytes, length);
  copy[length] = 0;
  const uint32_t offset = last.base + used;
  used += length + 1;
  expected = expected > length + 1u ? expected - length - 1 : 0;
  copied += length + 1u;
  return offset;
}

const char* XmlCopyStore::At(uint32_t offset) const {
  for (uint32_t i = chunks.Count(); i-- > 0;)
    if (offset >= chunks[i].base) return chunks[i].bytes + (offset - chunks[i].base);
  return "";
}

} // namespace quillon
