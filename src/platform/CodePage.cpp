// iconv behind the Windows code page numbers. Conversions keep going over bad input, as the
// platform functions do without strict flags: an unmappable character becomes '?' on the way to
// bytes and U+FFFD on the way to wide text. Descriptors are opened once per thread and reused.
#include "platform/CodePage.h"

#include "frame/Errors.h"

#include <cerrno>
#include <cstring>
#include <iconv.h>

namespace quillon {

namespace {
struct CodePageRow {
  int number;
  const char* name;
};

constexpr CodePageRow kCodePages[] = {
    {65001, "UTF-8"},       {1200, "UTF-16LE"},     {1201, "UTF-16BE"},     {12000, "UTF-32LE"},
    {12001, "UTF-32BE"},    {65000, "UTF-7"},       {20127, "ASCII"},       {1250, "CP1250"},
    {1251, "CP1251"},       {1252, "CP1252"},       {1253, "CP1253"},       {1254, "CP1254"},
    {1255, "CP1255"},       {1256, "CP1256"},       {1257, "CP1257"},       {1258, "CP1258"},
    {28591, "ISO-8859-1"},  {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"},  {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},
    {28599, "ISO-8859-9"},  {28603, "ISO-8859-13"}, {28605, "ISO-8859-15"}, {932, "CP932"},
    {936, "CP936"},         {949, "CP949"},         {950, "CP950"},         {54936, "GB18030"},
    {437, "CP437"},         {850, "CP850"},         {852, "CP852"},         {866, "CP866"},
    {874, "CP874"},         {20866, "KOI8-R"},      {21866, "KOI8-U"},      {51932, "EUC-JP"},
    {50220, "ISO-2022-JP"}, {51949, "EUC-KR"},
};

constexpr const char* kWideName = "UTF-16LE";

// A few open descriptors per thread; a host rarely uses more than two code pages.
struct CachedConverter {
  int codePage = -1;
  bool toWide = false;
  iconv_t handle = reinterpret_cast<iconv_t>(-1);
};

struct ConverterCache {
  CachedConverter slots[6];
  int next = 0;
  ~ConverterCache() {
    for (CachedConverter& slot : slots)
      if (slot.codePage >= 0) iconv_close(slot.handle);
  }
};

thread_local ConverterCache converterCache;

iconv_t Converter(int codePage, bool toWide) {
  for (CachedConverter& slot : converterCache.slots) {
    if (slot.codePage == codePage && slot.toWide == toWide) {
      iconv(slot.handle, nullptr, nullptr, nullptr, nullptr); // back to the initial shift state
      return slot.handle;
    }
  }
  const char* name = CodePageName(codePage);
  if (!name) return reinterpret_cast<iconv_t>(-1);
  iconv_t handle = toWide ? iconv_open(kWideName, name) : iconv_open(name, kWideName);
  if (handle == reinterpret_cast<iconv_t>(-1)) return handle;
  CachedConverter& slot = converterCache.slots[converterCache.next];
  converterCache.next = (converterCache.next + 1) % 6;
  if (slot.codePage >= 0) iconv_close(slot.handle);
  slot.codePage = codePage;
  slot.toWide = toWide;
  slot.handle = handle;
  return handle;
}

int ResolveCodePage(int codePage) {
  return codePage == 0 ? DefaultCodePage() : codePage;
}

// Runs iconv over `in` into `out` (appending), replacing each unconvertible input unit of
// `unitSize` bytes by `replacement`. Returns false when iconv fails in another way.
bool RunConversion(iconv_t handle, const char* in, size_t inLength, BufStrBase& out,
                   size_t unitSize, std::string_view replacement) {
  char* inPtr = const_cast<char*>(in);
  size_t inLeft = inLength;
  while (true) {
    const int start = out.Length();
    const size_t room = inLeft * 4 + 16;
    if (room > 0x3FFFFFFF || out.Resize(start + static_cast<int>(room), nullptr) != errNone)
      return false;
    char* outPtr = out.Data() + start;
    size_t outLeft = room;
    size_t rc = inLeft ? iconv(handle, &inPtr, &inLeft, &outPtr, &outLeft)
                       : iconv(handle, nullptr, nullptr, &outPtr, &outLeft);
    const int produced = static_cast<int>(room - outLeft);
    out.Resize(start + produced, nullptr);
    if (rc != static_cast<size_t>(-1)) {
      if (inLeft == 0) {
        // Flush any shift sequence the encoder still holds.
        char tail[16];
        char* tailPtr = tail;
        size_t tailLeft = sizeof tail;
        iconv(handle, nullptr, nullptr, &tailPtr, &tailLeft);
        out.Append(tail, static_cast<int>(sizeof tail - tailLeft));
        return true;
      }
      continue;
    }
    if (errno == E2BIG) continue;
    if (errno != EILSEQ && errno != EINVAL) return false;
    // An invalid or unmappable unit, or a truncated sequence at the end: replace and go on.
    const size_t skip = inLeft < unitSize ? inLeft : unitSize;
    inPtr += skip;
    inLeft -= skip;
    out.Append(replacement);
    if (inLeft == 0) return true;
  }
}
} // namespace

int DefaultCodePage() {
  return kDefaultCodePage;
}

const char* CodePageName(int codePage) {
  codePage = ResolveCodePage(codePage);
  for (const CodePageRow& row : kCodePages)
    if (row.number == codePage) return row.name;
  return nullptr;
}

int WideToBytes(BufStrBase& out, const WideChar* wide, int codePage) {
  size_t units = 0;
  if (wide)
    while (wide[units])
      ++units;
  iconv_t handle = Converter(ResolveCodePage(codePage), false);
  if (handle == reinterpret_cast<iconv_t>(-1)) {
    out.Resize(0, nullptr);
    return errCodePage;
  }
  out.Resize(0, nullptr);
  if (!RunConversion(handle, reinterpret_cast<const char*>(wide ? wide : u""),
                     units * sizeof(WideChar), out, sizeof(WideChar), "?")) {
    out.Resize(0, nullptr);
    return errCodePage;
  }
  // The platform's size counts the terminator, and so does this length.
  return out.AppendChar(0);
}

const WideChar* BytesToWide(WidePair& pair, int codePage) {
  pair.wide.Resize(0, nullptr);
  iconv_t handle = Converter(ResolveCodePage(codePage), true);
  const char16_t replacement = u'\uFFFD';
  if (pair.bytes.IsEmpty() || handle == reinterpret_cast<iconv_t>(-1) ||
      !RunConversion(handle, pair.bytes.Data(), static_cast<size_t>(pair.bytes.Length()), pair.wide,
                     1, std::string_view(reinterpret_cast<const char*>(&replacement), 2))) {
    pair.wide.Clear();
  }
  pair.wide.Append("\0\0", 2);
  return reinterpret_cast<const WideChar*>(pair.wide.Data());
}

int ConvertCodePage(BufStrBase& out, std::string_view text, int fromCodePage, int toCodePage) {
  fromCodePage = ResolveCodePage(fromCodePage);
  toCodePage = ResolveCodePage(toCodePage);
  if (!CodePageName(fromCodePage) || !CodePageName(toCodePage)) return errCodePage;
  if (fromCodePage == toCodePage) return out.Assign(text);
  WidePair pair;
  if (pair.bytes.Assign(text) != errNone) return errOutOfMemory;
  const WideChar* wide = BytesToWide(pair, fromCodePage);
  int rc = WideToBytes(out, wide, toCodePage);
  if (rc == errNone) out.Resize(out.Length() - 1, nullptr); // drop the counted terminator
  return rc;
}

} // namespace quillon
