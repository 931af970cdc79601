// Record headers: type 20 to 24 (change cipher spec, alert, handshake, application data,
// heartbeat), a major version of 3, a big-endian length.
#include "platform/TlsRecords.h"

#include <arpa/inet.h>

namespace quillon::platform {

namespace {
bool HeaderIsSound(const unsigned char* header) {
  const int bodyLength = (header[3] << 8) | header[4];
  return header[0] >= 20 && header[0] <= 24 && header[1] == 3 && bodyLength <= kMaximumRecordBody;
}
} // namespace

RecordScan ScanRecords(const char* bytes, int length) {
  RecordScan scan;
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  int at = 0;
  while (length - at >= kRecordHeaderLength) {
    if (!HeaderIsSound(p + at)) {
      scan.malformed = at == 0;
      break;
    }
    const int size = kRecordHeaderLength + ((p[at + 3] << 8) | p[at + 4]);
    if (length - at < size) break;
    if (at == 0) scan.firstLength = size;
    at += size;
  }
  scan.wholeLength = at;
  return scan;
}

bool IsAddressText(const char* name) {
  unsigned char address[16];
  return inet_pton(AF_INET, name, address) == 1 || inet_pton(AF_INET6, name, address) == 1;
}

} // namespace quillon::platform
