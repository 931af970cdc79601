// Big-endian reading and writing of the SSH wire items: u32, string (u32 byte count and bytes),
// and the bit-counted mpint of SSH2 key files. A read past the end gives 1080 and moves nothing.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

class SshBuffer {
public:
  explicit SshBuffer(std::string_view bytes) : data(bytes) {}

  // Reading
  int ReadU32(uint32_t& value);
  int ReadString(std::string_view& value);
  // u32 bit count, then (bits + 7) / 8 bytes.
  int ReadMpint(std::string_view& value);
  size_t Remaining() const { return data.size() - position; }

  // Writing: each appends to `out`; 0 or 200.
  static int WriteU32(BufStrBase& out, uint32_t value);
  static int WriteString(BufStrBase& out, std::string_view bytes);
  // The bit count written is 8 times the byte count.
  static int WriteMpint(BufStrBase& out, std::string_view bytes);

private:
  int Take(size_t count, std::string_view& bytes);

  std::string_view data; // the whole buffer; not owned
  size_t position = 0;   // bytes read so far
};

// `bytes` without its leading zero bytes.
std::string_view StripLeadingZeros(std::string_view bytes);

} // namespace quillon
