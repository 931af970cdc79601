// Entry layout in the body: [len >> 16][len >> 8][len][bytes ...][0], so an entry of n bytes
// takes n + 4. Replacing an entry moves the tail of the body up or down in place.
#include "frame/StrList.h"

#include "frame/Errors.h"
#include "frame/Text.h"

#include <cstring>

namespace quillon {

namespace {
constexpr int kEntryOverhead = 4; // three length bytes and the NUL
}

int StrList::EntryLength(int offset) const {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(body.Data()) + offset;
  return (p[0] << 16) | (p[1] << 8) | p[2];
}

int StrList::Offset(int i) const {
  if (i < 0 || i >= count) return -1;
  int offset = 0;
  for (int k = 0; k < i; ++k)
    offset += EntryLength(offset) + kEntryOverhead;
  return offset;
}

std::string_view StrList::At(int i) const {
  int offset = Offset(i);
  if (offset < 0) return std::string_view("", 0);
  return std::string_view(body.Data() + offset + 3, static_cast<size_t>(EntryLength(offset)));
}

int StrList::AtInt(int i) const {
  return ParseDec32(AtText(i));
}

int StrList::AppendBytes(const char* bytes, int length) {
  if (length < 0) length = 0;
  if (length > kMaxEntry) return errOutOfMemory;
  const int at = body.Length();
  int rc = body.Resize(at + length + kEntryOverhead, nullptr);
  if (rc != errNone) return rc;
  char* p = body.Data() + at;
  p[0] = static_cast<char>((length >> 16) & 0xFF);
  p[1] = static_cast<char>((length >> 8) & 0xFF);
  p[2] = static_cast<char>(length & 0xFF);
  if (length > 0) std::memmove(p + 3, bytes, static_cast<size_t>(length));
  p[3 + length] = 0;
  ++count;
  return errNone;
}

int StrList::AppendText(const char* text) {
  return AppendBytes(text ? text : "", text ? static_cast<int>(std::strlen(text)) : 0);
}

int StrList::AppendInt(int value) {
  BufStr20 text;
  text.AppendDecimal(value);
  return AppendBytes(text.Data(), text.Length());
}

int StrList::SetAt(int i, const char* bytes, int length) {
  const int offset = Offset(i);
  if (offset < 0) return errIndex;
  if (length < 0) length = 0;
  if (length > kMaxEntry) return errOutOfMemory;
  const int oldLength = EntryLength(offset);
  const int tail = offset + oldLength + kEntryOverhead;
  const int tailBytes = body.Length() - tail;
  const int newTotal = body.Length() - oldLength + length;

  // `bytes` may lie in the body itself; keep a copy when the body moves under it.
  BufStr copy;
  const char* from = bytes;
  if (bytes && bytes >= body.Data() && bytes < body.Data() + body.Length()) {
    if (copy.Assign(bytes, length) != errNone) return errOutOfMemory;
    from = copy.Data();
  }
  if (newTotal > body.Length()) {
    int rc = body.Resize(newTotal, nullptr);
    if (rc != errNone) return rc;
  }
  char* p = body.Data();
  std::memmove(p + offset + length + kEntryOverhead, p + tail, static_cast<size_t>(tailBytes));
  p[offset] = static_cast<char>((length >> 16) & 0xFF);
  p[offset + 1] = static_cast<char>((length >> 8) & 0xFF);
  p[offset + 2] = static_cast<char>(length & 0xFF);
  if (length > 0 && from) std::memmove(p + offset + 3, from, static_cast<size_t>(length));
  p[offset + 3 + length] = 0;
  if (newTotal < body.Length()) body.Resize(newTotal, nullptr);
  return errNone;
}

int StrList::RemoveAt(int i) {
  const int offset = Offset(i);
  if (offset < 0) return errIndex;
  const int next = offset + EntryLength(offset) + kEntryOverhead;
  char* p = body.Data();
  std::memmove(p + offset, p + next, static_cast<size_t>(body.Length() - next));
  body.Resize(body.Length() - (next - offset), nullptr);
  --count;
  return errNone;
}

int StrList::SetCount(int n) {
  if (n < 0 || n == count) return errNone;
  if (n < count) {
    const int offset = Offset(n);
    body.Resize(offset, nullptr);
    count = n;
    return errNone;
  }
  while (count < n) {
    int rc = AppendBytes("", 0);
    if (rc != errNone) return rc;
  }
  return errNone;
}

void StrList::Clear() {
  body.Clear();
  count = 0;
}

} // namespace quillon
