// Stateless text routines shared by every layer: number parsing and formatting, case-insensitive
// comparison, percent encoding, base64 and hex. Code page conversion is in platform/CodePage.h.
#pragma once

#include "frame/BufStr.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace quillon {

// Numbers. Null gives 0; an optional leading '-' or '+'; digits up to the first other character;
// the sign applied at the end; no overflow test (the value wraps). The hex forms take 0-9, a-f,
// A-F and no "0x", which the caller skips.
int32_t ParseDec32(const char* text);
int64_t ParseDec64(const char* text);
int32_t ParseHex32(const char* text);
int64_t ParseHex64(const char* text);
// The decimal form, with '-' for a negative value, into `out` of at least 40 bytes; returns the
// length written.
int FormatInt64(int64_t value, char* out);

// True when the text equals "TRUE", "yes" or "1", ignoring case.
bool IsTrueText(const char* text);
bool IsTrueText(std::string_view text);
// True when both are non-null, non-empty and equal ignoring ASCII case. An empty text equals
// nothing, not even another empty text.
bool EqualsNoCase(const char* a, const char* b);
bool EqualsNoCase(std::string_view a, std::string_view b);
// Plain ASCII case-insensitive comparison in which two empty texts are equal.
bool SameNoCase(std::string_view a, std::string_view b);
bool StartsWithNoCase(std::string_view text, std::string_view prefix);

// Percent encoding. A byte from 32 to 127 whose entry (byte - 32) in the table has bit 0 set
// passes; every other byte becomes '%' and two upper-case hex digits, so a blank is %20.
using UrlSafeTable = std::array<uint8_t, 96>;
extern const UrlSafeTable UrlSafeValue; // * - . @ _ digits letters
extern const UrlSafeTable UrlSafeQuery; // the same and $ & / =
int UrlEncodeTo(BufStrBase& out, std::string_view text, const UrlSafeTable& safeTable);

// Base64 of RFC 4648, appended to `out`. `urlSafe` uses '-' and '_' and omits the padding. With
// `wrap`, "\r\n" goes before each group that starts a new line of `lineLength` characters
// (64 when `lineLength` is no multiple of 4).
int Base64Encode(BufStrBase& out, const void* bytes, int count, bool wrap, int lineLength,
                 bool urlSafe);
// Decodes in place: characters outside the alphabet are skipped, decoding stops at the first
// '=' or the end. Returns the new length.
int Base64Decode(BufStrBase& inout, bool urlSafe);

// Two lower-case hex digits per byte, appended.
int HexEncode(BufStrBase& out, const void* bytes, int count);
// One byte per pair of hex digits, appended; a pair with a non-digit gives 0xFF, and so does a
// lone digit at the end, which ends the decoding.
int HexDecode(BufStrBase& out, std::string_view text);
// Each byte as "%02X" and a blank, with "\r\n" in place of the blank after every 32nd byte.
int HexDump(const void* bytes, int count, BufStrBase& out);

// The 0x rule of Config values: hexadecimal after "0x" or "0X", else decimal.
int64_t ParseConfigNumber(const char* text);

} // namespace quillon
