// A packed list of strings in one buffer: each entry is a 3-byte big-endian length, the bytes and
// a NUL, so thousands of short strings cost one allocation. Access walks from the front.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

class StrList {
public:
  static constexpr int kMaxEntry = 0xFFFFFF; // longest entry, in bytes

  // Access
  int Count() const { return count; }
  // Entry `i`, NUL-terminated; the empty string for an index outside the list.
  std::string_view At(int i) const;
  const char* AtText(int i) const { return At(i).data(); }
  int AtInt(int i) const;
  const BufStrBase& Body() const { return body; }

  // Operations. 0, or 200 for an entry above kMaxEntry bytes or without memory, or 432 for an
  // index outside the list.
  int AppendBytes(const char* bytes, int length);
  int AppendText(const char* text);
  int Append(std::string_view text) {
    return AppendBytes(text.data(), static_cast<int>(text.size()));
  }
  int AppendInt(int value);
  int SetAt(int i, const char* bytes, int length);
  int RemoveAt(int i);
  // Cuts the list to `n` entries or pads it with empty ones; a negative `n` does nothing.
  int SetCount(int n);
  void Clear();

private:
  // Offset in the body of entry `i`'s length field, or -1 when `i` is outside the list.
  int Offset(int i) const;
  int EntryLength(int offset) const;

  int32_t count = 0; // entries in the body
  BufStr body;       // the packed entries
};

} // namespace quillon
