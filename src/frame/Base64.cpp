// Base64 of RFC 4648 with the URL-safe alphabet as an option. The decoder is forgiving by design:
// it skips any character outside the alphabet (line breaks, blanks) and stops at the first '='.
#include "frame/Text.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
constexpr char kStandard[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kUrlSafe[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

int DecodeValue(char c, bool urlSafe) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == (urlSafe ? '-' : '+')) return 62;
  if (c == (urlSafe ? '_' : '/')) return 63;
  return -1;
}
} // namespace

int Base64Encode(BufStrBase& out, const void* bytes, int count, bool wrap, int lineLength,
                 bool urlSafe) {
  const unsigned char* in = static_cast<const unsigned char*>(bytes);
  const char* alphabet = urlSafe ? kUrlSafe : kStandard;
  if (count < 0 || (count > 0 && !in)) count = 0;
  const int bytesPerLine = wrap && lineLength > 0 && lineLength % 4 == 0 ? lineLength / 4 * 3 : 48;

  // Reserve the whole output at once; padding and line breaks included.
  const long long groups = (count + 2LL) / 3;
  const long long breaks = wrap && count > 0 ? (count - 1LL) / bytesPerLine : 0;
  const int start = out.Length();
  if (groups * 4 + breaks * 2 + start >= 0x7FFFFFFF) return errOutOfMemory;
  if (int rc = out.Resize(start + static_cast<int>(groups * 4 + breaks * 2), nullptr); rc)
    return rc;
  char* p = out.Data() + start;
  for (int i = 0; i < count; i += 3) {
    if (wrap && i > 0 && i % bytesPerLine == 0) {
      *p++ = '\r';
      *p++ = '\n';
    }
    const int left = count - i;
    const unsigned v = (in[i] << 16) | (left > 1 ? in[i + 1] << 8 : 0) | (left > 2 ? in[i + 2] : 0);
    *p++ = alphabet[(v >> 18) & 63];
    *p++ = alphabet[(v >> 12) & 63];
    if (left > 1)
      *p++ = alphabet[(v >> 6) & 63];
    else if (!urlSafe)
      *p++ = '=';
    if (left > 2)
      *p++ = alphabet[v & 63];
    else if (!urlSafe)
      *p++ = '=';
  }
  return out.Resize(static_cast<int>(p - out.Data()), nullptr);
}

int Base64Decode(BufStrBase& inout, bool urlSafe) {
  char* data = inout.Data();
  const int length = inout.Length();
  int written = 0;
  unsigned accumulator = 0;
  int bits = 0;
  for (int i = 0; i < length; ++i) {
    const char c = data[i];
    if (c == '=' || c == 0) break;
    const int value = DecodeValue(c, urlSafe);
    if (value < 0) continue;
    accumulator = (accumulator << 6) | static_cast<unsigned>(value);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      data[written++] = static_cast<char>((accumulator >> bits) & 0xFF);
    }
  }
  inout.Resize(written, nullptr);
  return written;
}

} // namespace quillon
