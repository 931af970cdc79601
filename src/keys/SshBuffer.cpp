#include "keys/SshBuffer.h"

#include "frame/Errors.h"
#include "keys/KeyErrors.h"

namespace quillon {

int SshBuffer::Take(size_t count, std::string_view& bytes) {
  if (count > Remaining()) return errSshBufferEnd;
  bytes = data.substr(position, count);
  position += count;
  return errNone;
}

int SshBuffer::ReadU32(uint32_t& value) {
  std::string_view bytes;
  if (int rc = Take(4, bytes); rc != errNone) return rc;
  value = 0;
  for (char c : bytes)
    value = (value << 8) | static_cast<uint8_t>(c);
  return errNone;
}

int SshBuffer::ReadString(std::string_view& value) {
  const size_t start = position;
  uint32_t count = 0;
  int rc = ReadU32(count);
  if (rc == errNone) rc = Take(count, value);
  if (rc != errNone) position = start;
  return rc;
}

int SshBuffer::ReadMpint(std::string_view& value) {
  const size_t start = position;
  uint32_t bits = 0;
  int rc = ReadU32(bits);
  if (rc == errNone) rc = Take((static_cast<size_t>(bits) + 7) / 8, value);
  if (rc != errNone) position = start;
  return rc;
}

int SshBuffer::WriteU32(BufStrBase& out, uint32_t value) {
  const char bytes[4] = {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                         static_cast<char>(value >> 8), static_cast<char>(value)};
  return out.Append(bytes, 4);
}

int SshBuffer::WriteString(BufStrBase& out, std::string_view bytes) {
  int rc = WriteU32(out, static_cast<uint32_t>(bytes.size()));
  return rc != errNone ? rc : out.Append(bytes);
}

int SshBuffer::WriteMpint(BufStrBase& out, std::string_view bytes) {
  int rc = WriteU32(out, static_cast<uint32_t>(bytes.size() * 8));
  return rc != errNone ? rc : out.Append(bytes);
}

std::string_view StripLeadingZeros(std::string_view bytes) {
  while (!bytes.empty() && bytes.front() == 0)
    bytes.remove_prefix(1);
  return bytes;
}

} // namespace quillon
