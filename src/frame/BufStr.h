// The engine's byte string: arbitrary bytes, always NUL-terminated one byte beyond the length,
// held inside the object while short and on the heap beyond. BufStrBase holds pointer, length
// and capacity and is what functions accept; BufStrN<Limit> adds the inline array.
#pragma once

#include <cassert>
#include <cstdint>
#include <string_view>

namespace quillon {

class BufStrBase {
public:
  BufStrBase(const BufStrBase&) = delete;
  BufStrBase& operator=(const BufStrBase&) = delete;

  // Access
  char* Data() { return heap ? heap : InlineStore(); }
  const char* Data() const { return heap ? heap : InlineStore(); }
  const char* c_str() const { return Data(); }
  int Length() const { return length; }
  int Capacity() const { return capacity; }
  int InlineLimit() const { return inlineLimit; }
  bool IsEmpty() const { return length == 0; }
  bool OnHeap() const { return heap != nullptr; }
  std::string_view View() const { return {Data(), static_cast<size_t>(length)}; }
  char operator[](int i) const { return Data()[i]; }

  // Operations. Each returns 0 or errOutOfMemory (200) unless it says otherwise.

  // The one primitive: sets the length to `newLength` (negative counts as 0). With `source` the
  // bytes are copied from it; without, the first `newLength` bytes of the present content stay.
  // `source` may point into this string.
  int Resize(int newLength, const char* source);
  // A NUL-terminated text; null counts as empty.
  int Assign(const char* text);
  int Assign(const char* bytes, int count) { return Resize(count, bytes); }
  int Assign(std::string_view text) { return Resize(static_cast<int>(text.size()), text.data()); }
  int Assign(const BufStrBase& other) { return Resize(other.length, other.Data()); }
  // Nothing (result 0) when `bytes` is null or `count` is below 1. `bytes` may point into this
  // string, including its free area beyond the length.
  int Append(const char* bytes, int count);
  int Append(std::string_view text) { return Append(text.data(), static_cast<int>(text.size())); }
  int Append(const BufStrBase& other) { return Append(other.Data(), other.length); }
  int AppendText(const char* text);
  int AppendChar(char c) { return Append(&c, 1); }
  int AppendDecimal(int64_t value);
  // Makes room for `capacity` bytes without changing the text, so that appends up to it need
  // no further growth.
  int Reserve(int capacity);
  // Frees the heap block and returns to the empty inline state.
  void Clear();
  // Gives back the heap block's room beyond the length, for a text that is kept long after it
  // was built. Keeps the block as it is when a smaller one can't be had.
  void ShrinkToFit();
  // Removes `count` bytes from the front; below 1 nothing, beyond the length everything.
  void DropFront(int count);
  // First position at or after `start` of `needle`, case-sensitive. Negative `start` gives -1;
  // an empty needle gives 0; a `start` at or beyond the length gives -1.
  int Find(std::string_view needle, int start = 0) const;
  bool EndsWith(std::string_view needle) const;
  bool StartsWith(std::string_view prefix) const { return View().starts_with(prefix); }
  // Keeps [start, end) in place; `end` beyond the length is cut to it, `end` at or below
  // `start` empties. 432 when either is negative or `start` is not below the length.
  int Mid(int start, int end);
  // Removes bytes whose value as a signed byte is not above 32 from both ends, so bytes from
  // 0x80 up go as well.
  void Trim();
  // Removes every `c` at the front and at the end.
  void StripChar(char c);
  // a-z to A-Z in place.
  void ToUpper();
  void ToLower();

protected:
  // The inline array of the leaf class follows this base directly, as in LLVM's SmallVector.
  char* InlineStore() { return reinterpret_cast<char*>(this) + sizeof(BufStrBase); }
  const char* InlineStore() const {
    return reinterpret_cast<const char*>(this) + sizeof(BufStrBase);
  }

  explicit BufStrBase(int limit) : heap(nullptr), length(0), capacity(limit), inlineLimit(limit) {}
  ~BufStrBase();

private:
  char* heap;      // the heap block while the text lives there, else null; capacity + 1 bytes
  int length;      // bytes in use, not counting the terminator
  int capacity;    // inlineLimit while inline; the longest text the heap block can hold
  int inlineLimit; // longest text the inline array holds
};

template <int Limit> class BufStrN final : public BufStrBase {
public:
  BufStrN() : BufStrBase(Limit) {
    assert(store == InlineStore() && "the inline array must follow the base directly");
    store[0] = 0;
    store[1] = 0;
    store[Limit] = 0;
  }
  explicit BufStrN(std::string_view text) : BufStrN() { Assign(text); }
  using BufStrBase::operator=;

private:
  // Aligned so that it starts exactly at the end of the base, never in its tail padding.
  alignas(alignof(BufStrBase)) char store[Limit + 1];
};

using BufStr = BufStrN<99>;
using BufStr20 = BufStrN<20>;
using BufStr30 = BufStrN<30>;
using BufStr50 = BufStrN<50>;
using BufStr16K = BufStrN<16384>;

} // namespace quillon
