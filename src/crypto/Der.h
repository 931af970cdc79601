// A flat DER toolkit for the key readers: the reader steps over a list of elements held in a
// BufStr and takes the one at an index; the writer appends whole elements or wraps a buffer in a
// header. It knows no schema: callers say which element they want and what tag they expect.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

enum DerTag : int {
  derInteger = 0x02,
  derBitString = 0x03,
  derOctetString = 0x04,
  derNull = 0x05,
  derOid = 0x06,
  derSequence = 0x30,
  derSet = 0x31,
};

// Reading. 446 for a malformed element or one that reaches past the buffer, 447 when the list
// has no element at `index`. `tagOut` may be null.
// Drops the header of the first element: its content and every element behind it form the list.
int EnterSequence(BufStrBase& buffer, int* tagOut);
// The content of element `index`; a BIT STRING keeps its byte of unused bits.
int GetChild(const BufStrBase& buffer, int index, BufStrBase& out, int* tagOut);
int GetChild(std::string_view list, int index, std::string_view& out, int* tagOut);
// A number of up to four significant bytes behind zero bytes, sign-extended from its first byte.
int GetInt(const BufStrBase& buffer, int index, int32_t& valueOut, int* tagOut);
// At most five content bytes, a fifth only as a leading zero.
int GetUnsigned(const BufStrBase& buffer, int index, uint32_t& valueOut, int* tagOut);
// Dotted decimal text of an object identifier, at most 256 arcs.
int GetOid(const BufStrBase& buffer, int index, BufStrBase& out, int* tagOut);
// The dotted text of the identifier's content bytes; 446 when they don't read.
int OidText(std::string_view content, BufStrBase& out);

// Writing. 0 or 200.
// A whole element; `length` -1 takes the text length of `data`. No sign byte is added.
int AppendTlv(BufStrBase& buffer, const void* data, int length, int tag);
int AppendEmpty(BufStrBase& buffer, int tag);
// Puts tag and length ahead of the whole buffer.
int WrapElement(BufStrBase& buffer, int tag);
// The content bytes of a dotted identifier; 446 for a text that is no identifier.
int OidBytes(std::string_view dotted, BufStrBase& out);

} // namespace quillon
