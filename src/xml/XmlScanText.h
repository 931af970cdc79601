// The scanner's working buffer: appends inline, clearing keeps the block for the next token, and
// the text is always NUL-terminated. Growth goes through MemRealloc; a failed growth is 200 and
// leaves the text as it was. XmlScanTextN<N> holds N bytes inline; functions take the base.
#pragma once

#include <cstring>
#include <string_view>

namespace quillon {

class XmlScanText {
public:
  ~XmlScanText();
  XmlScanText(const XmlScanText&) = delete;
  XmlScanText& operator=(const XmlScanText&) = delete;

  // Access
  const char* Data() const { return data; }
  char* MutableData() { return data; }
  int Length() const { return length; }
  bool IsEmpty() const { return length == 0; }
  std::string_view View() const { return {data, static_cast<size_t>(length)}; }
  char operator[](int i) const { return data[i]; }
  bool EndsWith(std::string_view tail) const { return View().ends_with(tail); }

  // Operations; the appends return 0 or 200. `bytes` must not point into this buffer.
  void Clear() {
    length = 0;
    data[0] = 0;
  }
  // Keeps the first `count` bytes; a count outside 0..Length() is clamped.
  void Truncate(int count) {
    length = count < 0 ? 0 : count < length ? count : length;
    data[length] = 0;
  }
  void DropFront(int count);
  int AppendChar(char c) {
    if (length + 1 >= capacity) return Grow(&c, 1);
    data[length++] = c;
    data[length] = 0;
    return 0;
  }
  int Append(const char* bytes, int count) {
    if (count <= 0) return 0;
    if (length + count >= capacity) return Grow(bytes, count);
    std::memcpy(data + length, bytes, static_cast<size_t>(count));
    length += count;
    data[length] = 0;
    return 0;
  }
  int Append(std::string_view text) { return Append(text.data(), static_cast<int>(text.size())); }
  int Assign(std::string_view text) {
    Clear();
    return Append(text);
  }
  // Lengthens the text by `count` bytes left for the caller to fill; null without memory.
  char* Extend(int count) {
    const int at = length;
    if (length + count >= capacity) {
      if (Grow(nullptr, count) != 0) return nullptr;
    } else {
      length += count;
      data[length] = 0;
    }
    return data + at;
  }
  // Empties the text and gives its block back.
  void Release();
  // Makes room for a text of `size` bytes without growing again; 0 or 200.
  int Reserve(int size) { return size < capacity ? 0 : Allocate(size + 1); }

protected:
  XmlScanText(char* store, int size)
      : data(store), capacity(size), inlineCapacity(size), inlineStore(store) {
    store[0] = 0;
  }

private:
  // Appends with a block half as large again as needed.
  int Grow(const char* bytes, int count);
  // Moves the text to a block of `newCapacity` bytes; 0 or 200.
  int Allocate(long long newCapacity);

  char* data;               // inlineStore or a block from MemAlloc
  int length = 0;           // bytes in use, not counting the terminator
  int capacity;             // bytes in `data`, the terminator included
  const int inlineCapacity; // bytes of the leaf's array
  char* const inlineStore;  // the leaf's array
};

template <int Inline> class XmlScanTextN final : public XmlScanText {
public:
  XmlScanTextN() : XmlScanText(store, Inline) {}

private:
  char store[Inline];
};

// The size of the scanner's names and values: a text shorter than this never allocates.
inline constexpr int kScanBufferInline = 48;
using XmlScanBuffer = XmlScanTextN<kScanBufferInline>;

} // namespace quillon
