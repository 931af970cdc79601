// A bounded stack of name and value strings with two numbers each: the prefix mappings in
// scope. At most 256 entries; slots are made on first use and kept for the next document.
#pragma once

#include "frame/Errors.h"
#include "xml/XmlScanText.h"

#include <cstdint>

#include <string_view>

namespace quillon {

class XmlNameTable {
public:
  static constexpr int kLimit = 256;

  XmlNameTable() = default;
  ~XmlNameTable();
  XmlNameTable(const XmlNameTable&) = delete;
  XmlNameTable& operator=(const XmlNameTable&) = delete;

  // Access. Indexes run from 0 (bottom) to Count() - 1 (top); callers check them.
  int Count() const { return count; }
  std::string_view Name(int i) const { return slots[i]->name.View(); }
  std::string_view Value(int i) const { return slots[i]->value.View(); }
  // Numbers kept with an entry, set by its owner after Push: the depth that declared the
  // mapping and its tree record.
  uint32_t& Depth(int i) { return slots[i]->depth; }
  uint32_t& Offset(int i) { return slots[i]->offset; }
  // The highest index whose name equals `name`, or -1.
  int FindFromTop(std::string_view name) const {
    for (int i = count - 1; i >= 0; --i) {
      const XmlScanText& slotName = slots[i]->name;
      if (slotName.Length() == static_cast<int>(name.size()) && SameShort(slotName.Data(), name))
        return i;
    }
    return -1;
  }

  // Operations
  // Pushes a pair; 200 when 256 entries stand or no memory is left.
  int Push(std::string_view name, std::string_view value) {
    if (count == made && MakeSlot() != 0) return errOutOfMemory;
    Slot& slot = *slots[count];
    if (slot.name.Assign(name) != 0 || slot.value.Assign(value) != 0) return errOutOfMemory;
    ++count;
    return 0;
  }
  void Pop() { --count; }
  // Empties the table, keeping the slots for the next use.
  void Clear() { count = 0; }

private:
  struct Slot {
    XmlScanBuffer name;
    XmlScanBuffer value;
    uint32_t depth = 0;
    uint32_t offset = 0;
  };
  int GrowSlots();
  // Constructs the slot at `made`; 0, or 200 when the table is full or memory is out.
  int MakeSlot();
  // Equality of two texts of the same length; prefixes are a few bytes long.
  static bool SameShort(const char* a, std::string_view b) {
    for (size_t i = 0; i < b.size(); ++i)
      if (a[i] != b[i]) return false;
    return true;
  }

  int count = 0;          // entries in use
  int made = 0;           // slots constructed so far; made >= count
  int room = 0;           // length of the `slots` array
  Slot** slots = nullptr; // grows by doubling up to kLimit pointers
};

} // namespace quillon
