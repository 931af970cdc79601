// Searches over runs of input bytes for the scanner's fast paths: a byte out of a few, the end of
// a whitespace run, the end of a name. Each returns the first byte that stops it, or `end`, and
// reads nothing at or behind `end`. SSE2 takes 16 bytes at a time where a run can be long.
#pragma once

#include "xml/XmlCharClass.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quillon {

#if defined(__SSE2__)
inline constexpr int kScanBlock = 16;

// The offset of the first set bit of a block mask; the mask is not 0.
inline int FirstHit(int mask) {
  return __builtin_ctz(static_cast<unsigned>(mask));
}

// Lanes of `block` whose byte lies in from..from + span, unsigned.
inline __m128i InRange(__m128i block, char from, char span) {
  const __m128i offset = _mm_sub_epi8(block, _mm_set1_epi8(from));
  return _mm_cmpeq_epi8(_mm_min_epu8(offset, _mm_set1_epi8(span)), offset);
}

// Lanes of `block` whose byte is XML whitespace: 0x20, or TAB to CR.
inline __m128i SpaceLanes(__m128i block) {
  return _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(' ')), InRange(block, '\t', '\r' - '\t'));
}

// Lanes of `block` whose byte continues a name, as xcNameChar has it: letters, digits, - . : _
// and every byte from 0x80 but 0xD7 and 0xF7.
inline __m128i NameLanes(__m128i block) {
  const __m128i letter = InRange(_mm_or_si128(block, _mm_set1_epi8(0x20)), 'a', 'z' - 'a');
  const __m128i digitOrColon = InRange(block, '0', ':' - '0');
  const __m128i dashOrDot = InRange(block, '-', '.' - '-');
  const __m128i underscore = _mm_cmpeq_epi8(block, _mm_set1_epi8('_'));
  const __m128i excluded =
      _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(static_cast<char>(0xD7))),
                   _mm_cmpeq_epi8(block, _mm_set1_epi8(static_cast<char>(0xF7))));
  const __m128i high = _mm_andnot_si128(excluded, _mm_cmplt_epi8(block, _mm_setzero_si128()));
  return _mm_or_si128(_mm_or_si128(letter, digitOrColon),
                      _mm_or_si128(_mm_or_si128(dashOrDot, underscore), high));
}

// The offset of the first lane that is not set, or kScanBlock.
inline int FirstClear(__m128i lanes) {
  const int mask = ~_mm_movemask_epi8(lanes) & 0xFFFF;
  return mask ? FirstHit(mask) : kScanBlock;
}
#endif

// The first byte at or after `p` that equals one of three bytes.
inline const char* FindAny3(const char* p, const char* end, char a, char b, char c) {
#if defined(__SSE2__)
  const __m128i va = _mm_set1_epi8(a);
  const __m128i vb = _mm_set1_epi8(b);
  const __m128i vc = _mm_set1_epi8(c);
  while (end - p >= kScanBlock) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hits =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, va), _mm_cmpeq_epi8(block, vb)),
                     _mm_cmpeq_epi8(block, vc));
    if (const int mask = _mm_movemask_epi8(hits)) return p + FirstHit(mask);
    p += kScanBlock;
  }
#endif
  while (p < end && *p != a && *p != b && *p != c)
    ++p;
  return p;
}

// The first byte at or after `p` that is not XML whitespace (0x20 and 0x09 to 0x0D).
inline const char* SkipXmlSpaces(const char* p, const char* end) {
#if defined(__SSE2__)
  // Runs behind markup are a line break and an indent; most end within the first block.
  while (end - p >= kScanBlock) {
    const int at = FirstClear(SpaceLanes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
    if (at < kScanBlock) return p + at;
    p += kScanBlock;
  }
#endif
  while (p < end && IsXmlSpace(*p))
    ++p;
  return p;
}

// The first byte at or after `p` that cannot continue a name.
inline const char* SkipNameChars(const char* p, const char* end) {
#if defined(__SSE2__)
  while (end - p >= kScanBlock) {
    const int at = FirstClear(NameLanes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
    if (at < kScanBlock) return p + at;
    p += kScanBlock;
  }
#endif
  while (p < end && IsXmlNameChar(*p))
    ++p;
  return p;
}

// The first byte at or after `p` that cannot continue the name of a reference ("&name;", "&#n;").
inline const char* SkipReferenceName(const char* p, const char* end) {
  while (p < end && (IsXmlNameChar(*p) || *p == '#'))
    ++p;
  return p;
}

// The first byte at or after `p` that ends an attribute name: whitespace, '=', '>' or '/'.
inline const char* SkipAttrNameChars(const char* p, const char* end) {
#if defined(__SSE2__)
  while (end - p >= kScanBlock) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i stops =
        _mm_or_si128(_mm_or_si128(SpaceLanes(block), _mm_cmpeq_epi8(block, _mm_set1_epi8('='))),
                     _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('>')),
                                  _mm_cmpeq_epi8(block, _mm_set1_epi8('/'))));
    if (const int mask = _mm_movemask_epi8(stops)) return p + FirstHit(mask);
    p += kScanBlock;
  }
#endif
  while (p < end && !(XmlClass(*p) & xcAttrNameEnd))
    ++p;
  return p;
}

// Unaligned words of the input, for hashing and comparing names.
inline uint64_t LoadWord8(const char* p) {
  uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

inline uint64_t LoadWord4(const char* p) {
  uint32_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// Equality of two texts of `length` bytes. Names are short: they are read in words, the last
// word overlapping the one before, which beats a call to memcmp.
inline bool SameBytes(const char* a, const char* b, size_t length) {
  if (length >= 8) {
    for (size_t at = 0; at + 8 < length; at += 8)
      if (LoadWord8(a + at) != LoadWord8(b + at)) return false;
    return LoadWord8(a + length - 8) == LoadWord8(b + length - 8);
  }
  if (length >= 4)
    return LoadWord4(a) == LoadWord4(b) && LoadWord4(a + length - 4) == LoadWord4(b + length - 4);
  for (size_t at = 0; at < length; ++at)
    if (a[at] != b[at]) return false;
  return true;
}

} // namespace quillon
