// Percent encoding by table. The tables are indexed by byte value minus 32; bit 0 lets the byte
// pass unchanged. Nothing becomes '+': a blank is always %20.
#include "frame/Text.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
constexpr UrlSafeTable MakeUrlTable(std::string_view extra) {
  UrlSafeTable table{};
  for (int c = 32; c < 128; ++c) {
    bool safe = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                c == '*' || c == '-' || c == '.' || c == '@' || c == '_';
    for (char e : extra)
      safe = safe || c == e;
    table[static_cast<size_t>(c - 32)] = safe ? 1 : 0;
  }
  return table;
}
constexpr char kUpperHex[] = "0123456789ABCDEF";
} // namespace

constexpr UrlSafeTable UrlSafeValue = MakeUrlTable("");
constexpr UrlSafeTable UrlSafeQuery = MakeUrlTable("$&/=");

int UrlEncodeTo(BufStrBase& out, std::string_view text, const UrlSafeTable& safeTable) {
  // Encode into a small stack buffer and append it in runs, so a long text costs few appends.
  char run[256];
  int used = 0;
  for (char ch : text) {
    const uint8_t byte = static_cast<uint8_t>(ch);
    if (used > static_cast<int>(sizeof run) - 3) {
      if (int rc = out.Append(run, used); rc != errNone) return rc;
      used = 0;
    }
    if (byte >= 32 && byte < 128 && (safeTable[byte - 32] & 1)) {
      run[used++] = ch;
    } else {
      run[used++] = '%';
      run[used++] = kUpperHex[byte >> 4];
      run[used++] = kUpperHex[byte & 15];
    }
  }
  return out.Append(run, used);
}

} // namespace quillon
