// The qualified names of one document, each kept once. A name is known by its id, the offset of
// its entry, and lies NUL-terminated in the pool; element and attribute records hold ids. The
// scanner keeps in the entry the last resolution of its prefix and the names that followed it.
#pragma once

#include "frame/Errors.h"
#include "xml/XmlScanBytes.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quillon {

class XmlNamePool {
public:
  static constexpr uint32_t kNone = 0xFFFFFFFFu;

  XmlNamePool() = default;
  ~XmlNamePool();
  XmlNamePool(const XmlNamePool&) = delete;
  XmlNamePool& operator=(const XmlNamePool&) = delete;

  // Forgets every name, keeping the blocks for the next document.
  void Clear();
  // The id of `name`, entered on first sight; 0 or 200.
  int Intern(std::string_view name, uint32_t* id);
  // What a name is followed by: the name of the next start tag, the first attribute of its tag
  // (the name of an element), or the next attribute of the same tag (the name of an attribute).
  enum Sequel : int { sqNextElement, sqFirstAttribute, sqNextAttribute, sqCount };
  // Intern of a name that follows `previous` (an id, or kNone) as `sequel`, noted as that
  // name's latest sequel of the kind.
  int InternAfter(uint32_t previous, Sequel sequel, std::string_view name, uint32_t* id) {
    if (Intern(name, id) != errNone) return errOutOfMemory;
    if (previous != kNone) {
      uint32_t* latest = At(previous).next[sequel];
      if (latest[0] != *id) {
        latest[1] = latest[0];
        latest[0] = *id;
      }
    }
    return errNone;
  }
  // One of the last two names that followed `previous` (an id, or kNone) as `sequel`, when the
  // text at `text` begins with it and goes on before `end`; else kNone. Documents repeat their
  // names in the same order, so this mostly finds a name without the table.
  uint32_t Expected(uint32_t previous, Sequel sequel, const char* text, const char* end) const {
    if (previous == kNone) return kNone;
    for (const uint32_t guess : At(previous).next[sequel]) {
      if (guess == kNone) return kNone;
      const uint32_t size = At(guess).length;
      if (end - text > static_cast<ptrdiff_t>(size) && SameBytes(Text(guess), text, size))
        return guess;
    }
    return kNone;
  }
  // Bytes of the name of an id from Intern.
  uint32_t Length(uint32_t id) const { return At(id).length; }
  // The name of an id from Intern; empty for kNone.
  std::string_view Name(uint32_t id) const {
    if (id == kNone) return {};
    return {Text(id), At(id).length};
  }
  // Bytes before the first ':' of the name, or -1 without one.
  int ColonAt(uint32_t id) const { return At(id).colon; }
  // The resolution of the name's prefix cached for `scope`: the mapping's index, or -2 when none
  // was cached for that scope.
  int CachedMapping(uint32_t id, uint32_t scope) const {
    const Entry& entry = At(id);
    return entry.scope == scope ? entry.mapping : -2;
  }
  void CacheMapping(uint32_t id, uint32_t scope, int mapping) {
    Entry& entry = At(id);
    entry.scope = scope;
    entry.mapping = mapping;
  }
  // Bytes held, for the benchmarks.
  size_t Bytes() const { return length + sizeof(uint32_t) * slotCount; }

private:
  static constexpr int kSequelsKept = 2;
  struct Entry {
    uint32_t length; // bytes of the name; the name and a NUL follow the entry
    int32_t colon;   // bytes before the first ':', or -1
    uint32_t hash;
    uint32_t scope;  // the scope version of `mapping`; 0: none cached
    int32_t mapping; // the cached resolution
    // By Sequel: the last two names that followed this one, the latest first, or kNone.
    uint32_t next[sqCount][kSequelsKept];
  };
  Entry& At(uint32_t id) const { return *reinterpret_cast<Entry*>(data + id); }
  const char* Text(uint32_t id) const { return reinterpret_cast<const char*>(&At(id) + 1); }
  int GrowSlots();

  char* data = nullptr;      // entries, each padded to a multiple of 4 bytes
  uint32_t length = 0;       // bytes of `data` in use
  uint32_t capacity = 0;     // bytes of `data`
  uint32_t* slots = nullptr; // open addressing by hash: id + 1, or 0 for a free slot
  uint32_t slotCount = 0;    // a power of two, or 0
  uint32_t used = 0;         // slots taken
};

} // namespace quillon
