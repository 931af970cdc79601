// The scanner's working buffer: appends inline, clearing keeps the block for the next token, and
// the text is always NUL-terminated. Growth goes through MemRealloc; a failed growth is 200 and
// leaves the text as it was. Neither copyable nor movable: it points into itself while short.
#pragma once

#include <cstring>
#include <string_view>

namespace quillon {

class XmlScanText {
public:
  XmlScanText() { inlineStore[0] = 0; }
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
    if (length + 1 >= capacity)
      return Grow(&c, 1);
    data[length++] = c;
    data[length] = 0;
    return 0;
  }
  int Append(const char* bytes, int count) {
    if (count <= 0)
      return 0;
    if (length + count >= capacity)
      return Grow(bytes, count);
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
    if (length + count >= capacity && Reserve(length + count) != 0)
      return nullptr;
    char* at = data + length;
    length += count;
    data[length] = 0;
    return at;
  }
  // Empties the text and gives its block back.
  void Release();

private:
  static constexpr int kInline = 48;
  // Appends with a larger block: twice what is needed.
  int Grow(const char* bytes, int count);
  // Makes room for a text of `size` bytes; 0 or 200.
  int Reserve(int size);

  char* data = inlineStore; // inlineStore or a block from MemAlloc
  int length = 0;           // bytes in use, not counting the terminator
  int capacity = kInline;   // bytes in `data`, the terminator included
  char inlineStore[kInline];
};

} // namespace quillon
