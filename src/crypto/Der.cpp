// The reader never trusts a length: every header is checked against the bytes that stand behind
// it before anything is taken, so a cut-off or overlong element gives 446 and never a read past
// the buffer. Lengths take one to four bytes and must fit in an int.
#include "crypto/Der.h"

#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <cstring>

namespace quillon {

namespace {
struct Header {
  int tag;
  int headerBytes;
  int contentBytes;
};

// Reads the header at `data[0]`; 446 unless header and content fit in `size`.
int ReadHeader(const uint8_t* data, int size, Header& header) {
  if (size < 2) return errDerMalformed;
  header.tag = data[0];
  if ((header.tag & 0x1F) == 0x1F) return errDerMalformed;
  int first = data[1];
  int64_t length = 0;
  int at = 2;
  if (first < 0x80) {
    length = first;
  } else {
    const int count = first - 0x80;
    if (count < 1 || count > 4 || size - at < count) return errDerMalformed;
    for (int i = 0; i < count; ++i)
      length = (length << 8) | data[at++];
  }
  if (length > size - at) return errDerMalformed;
  header.headerBytes = at;
  header.contentBytes = static_cast<int>(length);
  return errNone;
}

// Finds element `index` of the list; its content stands at `data + offset`.
int Locate(std::string_view list, int index, int& offset, Header& header) {
  const auto* data = reinterpret_cast<const uint8_t*>(list.data());
  const int size = static_cast<int>(list.size());
  int at = 0;
  for (int i = 0;; ++i) {
    if (at >= size) return errDerNoElement;
    int rc = ReadHeader(data + at, size - at, header);
    if (rc != errNone) return rc;
    if (i == index) {
      offset = at + header.headerBytes;
      return errNone;
    }
    at += header.headerBytes + header.contentBytes;
  }
}

int LengthBytes(int length, uint8_t out[5], bool allowShortForm81) {
  if (length < 128) {
    out[0] = static_cast<uint8_t>(length);
    return 1;
  }
  if (allowShortForm81 && length < 256) {
    out[0] = 0x81;
    out[1] = static_cast<uint8_t>(length);
    return 2;
  }
  if (length < 65536) {
    out[0] = 0x82;
    out[1] = static_cast<uint8_t>(length >> 8);
    out[2] = static_cast<uint8_t>(length);
    return 3;
  }
  // Beyond the two-byte form that key blobs ever need, the long form keeps the element readable.
  out[0] = 0x84;
  for (int i = 0; i < 4; ++i)
    out[1 + i] = static_cast<uint8_t>(length >> (24 - 8 * i));
  return 5;
}
} // namespace

int EnterSequence(BufStrBase& buffer, int* tagOut) {
  Header header;
  int rc = ReadHeader(reinterpret_cast<const uint8_t*>(buffer.Data()), buffer.Length(), header);
  if (rc != errNone) return rc;
  if (tagOut) *tagOut = header.tag;
  buffer.DropFront(header.headerBytes);
  return errNone;
}

int GetChild(std::string_view list, int index, std::string_view& out, int* tagOut) {
  int offset = 0;
  Header header;
  int rc = Locate(list, index, offset, header);
  if (rc != errNone) return rc;
  if (tagOut) *tagOut = header.tag;
  out = list.substr(static_cast<size_t>(offset), static_cast<size_t>(header.contentBytes));
  return errNone;
}

int GetChild(const BufStrBase& buffer, int index, BufStrBase& out, int* tagOut) {
  std::string_view content;
  int rc = GetChild(buffer.View(), index, content, tagOut);
  return rc != errNone ? rc : out.Assign(content);
}

int GetInt(const BufStrBase& buffer, int index, int32_t& valueOut, int* tagOut) {
  std::string_view content;
  int rc = GetChild(buffer.View(), index, content, tagOut);
  if (rc != errNone) return rc;
  const auto* bytes = reinterpret_cast<const uint8_t*>(content.data());
  const int count = static_cast<int>(content.size());
  for (int i = 0; i < count - 4; ++i)
    if (bytes[i] != 0) return errDerMalformed;
  uint32_t value = count > 0 && (bytes[0] & 0x80) ? 0xFFFFFFFFu : 0;
  for (int i = count > 4 ? count - 4 : 0; i < count; ++i)
    value = (value << 8) | bytes[i];
  valueOut = static_cast<int32_t>(value);
  return errNone;
}

int GetUnsigned(const BufStrBase& buffer, int index, uint32_t& valueOut, int* tagOut) {
  std::string_view content;
  int rc = GetChild(buffer.View(), index, content, tagOut);
  if (rc != errNone) return rc;
  const auto* bytes = reinterpret_cast<const uint8_t*>(content.data());
  const int count = static_cast<int>(content.size());
  if (count > 5 || (count == 5 && bytes[0] != 0)) return errDerMalformed;
  uint32_t value = 0;
  for (int i = count == 5 ? 1 : 0; i < count; ++i)
    value = (value << 8) | bytes[i];
  valueOut = value;
  return errNone;
}

int OidText(std::string_view content, BufStrBase& out) {
  constexpr int kMaxArcs = 256;
  out.Clear();
  if (content.empty()) return errDerMalformed;
  const auto* bytes = reinterpret_cast<const uint8_t*>(content.data());
  const int count = static_cast<int>(content.size());
  int arcs = 0;
  uint64_t value = 0;
  for (int i = 0; i < count; ++i) {
    if (value > (UINT64_MAX >> 7)) return errDerMalformed;
    value = (value << 7) | (bytes[i] & 0x7F);
    if (bytes[i] & 0x80) {
      if (i == count - 1) return errDerMalformed;
      continue;
    }
    if (++arcs > kMaxArcs) return errDerMalformed;
    int rc;
    if (arcs == 1) {
      // The first byte holds two arcs split by 40; 43 is read as 1.3 whatever the split says.
      const uint64_t first = value == 43 ? 1 : value / 40;
      const uint64_t second = value == 43 ? 3 : value % 40;
      rc = out.AppendDecimal(static_cast<int64_t>(first));
      if (rc == errNone) rc = out.AppendChar('.');
      if (rc == errNone) rc = out.AppendDecimal(static_cast<int64_t>(second));
    } else {
      rc = out.AppendChar('.');
      if (rc == errNone) rc = out.AppendDecimal(static_cast<int64_t>(value));
    }
    if (rc != errNone) return rc;
    value = 0;
  }
  return errNone;
}

int GetOid(const BufStrBase& buffer, int index, BufStrBase& out, int* tagOut) {
  std::string_view content;
  int rc = GetChild(buffer.View(), index, content, tagOut);
  return rc != errNone ? rc : OidText(content, out);
}

int AppendTlv(BufStrBase& buffer, const void* data, int length, int tag) {
  if (length < 0) length = data ? static_cast<int>(std::strlen(static_cast<const char*>(data))) : 0;
  uint8_t head[6] = {static_cast<uint8_t>(tag)};
  const int headBytes = 1 + LengthBytes(length, head + 1, true);
  int rc = buffer.Append(reinterpret_cast<const char*>(head), headBytes);
  return rc != errNone ? rc : buffer.Append(static_cast<const char*>(data), length);
}

int AppendEmpty(BufStrBase& buffer, int tag) {
  return AppendTlv(buffer, nullptr, 0, tag);
}

int WrapElement(BufStrBase& buffer, int tag) {
  uint8_t head[6] = {static_cast<uint8_t>(tag)};
  const int headBytes = 1 + LengthBytes(buffer.Length(), head + 1, false);
  const int oldLength = buffer.Length();
  int rc = buffer.Resize(oldLength + headBytes, nullptr);
  if (rc != errNone) return rc;
  std::memmove(buffer.Data() + headBytes, buffer.Data(), static_cast<size_t>(oldLength));
  std::memcpy(buffer.Data(), head, static_cast<size_t>(headBytes));
  return errNone;
}

int OidBytes(std::string_view dotted, BufStrBase& out) {
  out.Clear();
  uint64_t arcs[2] = {0, 0};
  int arcIndex = 0;
  size_t at = 0;
  while (at <= dotted.size()) {
    size_t end = dotted.find('.', at);
    if (end == std::string_view::npos) end = dotted.size();
    if (end == at || end - at > 18) return errDerMalformed;
    uint64_t value = 0;
    for (size_t i = at; i < end; ++i) {
      if (dotted[i] < '0' || dotted[i] > '9') return errDerMalformed;
      value = value * 10 + static_cast<uint64_t>(dotted[i] - '0');
    }
    if (arcIndex < 2) {
      arcs[arcIndex] = value;
      if (arcIndex == 1) value = arcs[0] * 40 + arcs[1];
    }
    if (arcIndex >= 1) {
      uint8_t base128[10];
      int n = 0;
      do {
        base128[n++] = static_cast<uint8_t>(value & 0x7F);
        value >>= 7;
      } while (value != 0);
      while (n > 0) {
        const char byte = static_cast<char>(base128[n - 1] | (n > 1 ? 0x80 : 0));
        if (int rc = out.AppendChar(byte); rc != errNone) return rc;
        --n;
      }
    }
    ++arcIndex;
    at = end + 1;
  }
  if (arcIndex < 2) return errDerMalformed;
  return errNone;
}

} // namespace quillon
