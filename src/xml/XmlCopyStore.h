// Room for the NUL-terminated copies that the tree makes of kept texts on their first read. The
// room is made while parsing (Reserve), so that a read never allocates and so never fails, and
// room that is never read is never touched. Copies are known by offsets that stay valid until
// Release.
#pragma once

#include "xml/XmlRecordArray.h"

#include <cstddef>
#include <cstdint>

namespace quillon {

class XmlCopyStore {
public:
  static constexpr uint32_t kNone = 0xFFFFFFFFu;

  XmlCopyStore() = default;
  ~XmlCopyStore() { Release(); }
  XmlCopyStore(const XmlCopyStore&) = delete;
  XmlCopyStore& operator=(const XmlCopyStore&) = delete;

  // Gives every block back.
  void Release();
  // Notes that a text of `length` bytes may be copied later.
  void Expect(uint32_t length) { expected += uint64_t{length} + 1; }
  // Makes room for every text expected and not yet copied; 0 or 200.
  int Reserve();
  // Copies `length` bytes and a NUL into the room made; the copy's offset, or kNone without room.
  uint32_t Copy(const char* bytes, uint32_t length);
  // The copy at an offset from Copy.
  const char* At(uint32_t offset) const;
  // Bytes copied so far.
  size_t Bytes() const { return copied; }

private:
  struct Chunk {
    char* bytes;
    uint32_t base; // the offset of its first byte
    uint32_t size;
  };

  XmlRecordArray<Chunk> chunks; // in order of their bases
  uint32_t used = 0;            // bytes used in the last chunk
  uint64_t expected = 0;        // bytes (with NULs) expected and not yet copied
  size_t copied = 0;            // bytes (with NULs) copied
};

} // namespace quillon
