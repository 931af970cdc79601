// Conversion between wide text (UTF-16, as the host's strings are) and bytes in a code page named
// by its Windows number, over iconv. Code page 0 is the default code page, which is 65001 (UTF-8).
#pragma once

#include "frame/BufStr.h"

#include <string_view>

namespace quillon {

using WideChar = char16_t;

constexpr int kDefaultCodePage = 65001;
constexpr int kUtf8CodePage = 65001;

// The code page that 0 stands for.
int DefaultCodePage();
// The iconv name of a Windows code page number, or null when there is none.
const char* CodePageName(int codePage);

// Converts a NUL-terminated wide text; `out` holds the bytes and its length counts the terminator,
// as the platform conversion reports its size. Null counts as empty. A character that the code
// page cannot show becomes '?'. 434 when the code page is unknown or the conversion fails.
int WideToBytes(BufStrBase& out, const WideChar* wide, int codePage);

// The pair that BytesToWide works on: the bytes, and the wide text made of them.
struct WidePair {
  BufStr bytes;
  BufStr wide; // UTF-16 code units, followed by two NUL bytes
};
// Converts pair.bytes into pair.wide, adds two NUL bytes and yields the wide text. Invalid input
// becomes U+FFFD. An empty or failed conversion clears pair.wide and yields an empty text.
const WideChar* BytesToWide(WidePair& pair, int codePage);

// Whole-text conversion between two code pages through UTF-16; 434 when either is unknown.
int ConvertCodePage(BufStrBase& out, std::string_view text, int fromCodePage, int toCodePage);

} // namespace quillon
