// The framing of TLS records as the provider cuts its input: a header of type, version and
// length, then the body. No OpenSSL here, so the parsers of handshake bytes can share it.
#pragma once

namespace quillon::platform {

constexpr int kRecordHeaderLength = 5;
// The longest body of a record that TLS 1.2 allows (plain maximum and its expansion).
constexpr int kMaximumRecordBody = 16384 + 2048;

struct RecordScan {
  int wholeLength = 0;    // bytes of the complete records at the head
  int firstLength = 0;    // the first record's size when it is complete, else 0
  bool malformed = false; // the first header is no TLS record header, or too long a record
};

// Walks the record headers of `bytes`, stopping at the first one that is not complete or not
// well formed.
RecordScan ScanRecords(const char* bytes, int length);
// Whether a host name is a numeric IPv4 or IPv6 address.
bool IsAddressText(const char* name);

} // namespace quillon::platform
