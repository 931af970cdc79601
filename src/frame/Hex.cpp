// Hex encodings: lower-case pairs for protocol fields, upper-case with blanks for the traffic log.
#include "frame/Text.h"

#include "frame/CharClass.h"
#include "frame/Errors.h"

namespace quillon {

namespace {
constexpr char kLowerHex[] = "0123456789abcdef";
constexpr char kUpperHex[] = "0123456789ABCDEF";
} // namespace

int HexEncode(BufStrBase& out, const void* bytes, int count) {
  const unsigned char* in = static_cast<const unsigned char*>(bytes);
  if (count < 1 || !in) return errNone;
  const int start = out.Length();
  if (2LL * count + start >= 0x7FFFFFFF) return errOutOfMemory;
  if (int rc = out.Resize(start + 2 * count, nullptr); rc) return rc;
  char* p = out.Data() + start;
  for (int i = 0; i < count; ++i) {
    *p++ = kLowerHex[in[i] >> 4];
    *p++ = kLowerHex[in[i] & 15];
  }
  return errNone;
}

int HexDecode(BufStrBase& out, std::string_view text) {
  for (size_t i = 0; i < text.size(); i += 2) {
    if (i + 1 >= text.size()) return out.AppendChar(static_cast<char>(0xFF));
    const int high = HexValue(text[i]);
    const int low = HexValue(text[i + 1]);
    const int byte = high < 0 || low < 0 ? 0xFF : high * 16 + low;
    if (int rc = out.AppendChar(static_cast<char>(byte)); rc) return rc;
  }
  return errNone;
}

int HexDump(const void* bytes, int count, BufStrBase& out) {
  const unsigned char* in = static_cast<const unsigned char*>(bytes);
  for (int i = 0; i < count; ++i) {
    char cell[4] = {kUpperHex[in[i] >> 4], kUpperHex[in[i] & 15], ' ', 0};
    int rc = (i + 1) % 32 == 0 ? out.Append(cell, 2) || out.Append("\r\n", 2) : out.Append(cell, 3);
    if (rc) return errOutOfMemory;
  }
  return errNone;
}

} // namespace quillon
