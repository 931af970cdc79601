// A hash table over one schema list from qualified names (owner, "." and name, ignoring case) to
// the first record that spells each, so that resolving and selecting by qualified name does not
// scan the list. It answers what FindQualified answers, and scans itself while it is empty or
// when the list no longer has the count it was built for.
#pragma once

#include "frame/BufStr.h"
#include "odata/SchemaRecords.h"

#include <cstdint>
#include <string_view>

namespace quillon {

class SchemaNameIndex {
public:
  SchemaNameIndex() = default;
  ~SchemaNameIndex() { Clear(); }
  SchemaNameIndex(const SchemaNameIndex&) = delete;
  SchemaNameIndex& operator=(const SchemaNameIndex&) = delete;

  // Indexes every record of `list`. Without memory for the table the index stays empty, and
  // lookups scan.
  template <class T> void Build(const PtrList<T>& list);
  // The index of the first record of `list` whose qualified name is `text`; -1 when none is.
  template <class T> int Find(const PtrList<T>& list, std::string_view text) const;
  void Clear();

private:
  // FNV-1a over the lower-cased bytes, so that names equal ignoring case meet.
  static uint32_t Hash(std::string_view text);
  // Makes an empty table of at least twice `records` slots: 0 or 200.
  int Allocate(int records);
  // Adds record `i`, whose qualified name is `text`, unless a record before it spells the same.
  template <class T> void Insert(const PtrList<T>& list, int i, std::string_view text);

  int32_t* slots = nullptr; // record index + 1 by hash, 0 in an empty slot
  uint32_t slotMask = 0;    // slot count less 1; the count is a power of two
  int builtCount = -1;      // the count of the list when it was indexed
};

template <class T> void SchemaNameIndex::Build(const PtrList<T>& list) {
  Clear();
  if (Allocate(list.Count()) != errNone) return;
  BufStr text;
  for (int i = 0; i < list.Count(); ++i) {
    const T* record = list.Peek(i);
    if (!record) continue;
    int rc = text.Assign(record->owner);
    if (rc == errNone) rc = text.AppendChar('.');
    if (rc == errNone) rc = text.Append(record->name);
    if (rc != errNone) {
      Clear();
      return;
    }
    Insert(list, i, text.View());
  }
  builtCount = list.Count();
}

template <class T>
void SchemaNameIndex::Insert(const PtrList<T>& list, int i, std::string_view text) {
  for (uint32_t at = Hash(text) & slotMask;; at = (at + 1) & slotMask) {
    if (slots[at] == 0) {
      slots[at] = i + 1;
      return;
    }
    const T* earlier = list.Peek(slots[at] - 1);
    if (earlier && IsQualifiedName(*earlier, text)) return;
  }
}

template <class T> int SchemaNameIndex::Find(const PtrList<T>& list, std::string_view text) const {
  if (!slots || list.Count() != builtCount) return FindQualified(list, text);
  if (text.empty()) return -1;
  for (uint32_t at = Hash(text) & slotMask; slots[at] != 0; at = (at + 1) & slotMask) {
    const T* record = list.Peek(slots[at] - 1);
    if (record && IsQualifiedName(*record, text)) return slots[at] - 1;
  }
  return -1;
}

} // namespace quillon
