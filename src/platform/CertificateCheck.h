// Judgement of a server's certificate chain over OpenSSL's X509 store: the chain is built from
// the leaf and what the server sent, trusted through the system's CA folder and SSL_CERT_FILE /
// SSL_CERT_DIR, and the first problem found comes back as a chain policy status.
#pragma once

#include <cstdint>

namespace quillon::platform {

// Policy statuses, as the host sees them in the status text.
enum CertPolicyStatus : uint32_t {
  certOk = 0,
  certRevoked = 0x80092010,
  certSignatureInvalid = 0x80096004,
  certBasicConstraints = 0x80096019,
  certNotTimeValid = 0x800B0101,
  certNotTimeNested = 0x800B0102,
  certRoleMisused = 0x800B0103,
  certPurpose = 0x800B0106,
  certUntrustedRoot = 0x800B0109,
  certChaining = 0x800B010A,
  certNameMismatch = 0x800B010F,
  certWrongUsage = 0x800B0110,
};

// Bits of the check's flags that let a problem pass.
enum CertIgnoreFlag : uint32_t {
  certIgnoreTimeValid = 0x1,
  certIgnoreTimeNested = 0x4,
  certIgnoreBasicConstraints = 0x8,
  certAllowUnknownCA = 0x10,
  certIgnoreWrongUsage = 0x20,
  certIgnoreName = 0x40,
  certIgnoreRevocation = 0xF00,
};

struct DerBytes {
  const unsigned char* bytes = nullptr;
  int length = 0;
};

// The chain as it was built, leaf first; the DER arrays belong to it.
struct BuiltChain {
  static constexpr int kMaximum = 10;
  BuiltChain() = default;
  ~BuiltChain();
  BuiltChain(const BuiltChain&) = delete;
  BuiltChain& operator=(const BuiltChain&) = delete;
  DerBytes certificates[kMaximum];
  int count = 0;
};

// Checks `certificates` (leaf first, then the rest that the server sent). `serverName` null or
// empty: no name check. A leaf that does not parse gives certChaining. `chain`, when not null,
// receives the chain that was built.
uint32_t CheckServerChain(const DerBytes* certificates, int count, const char* serverName,
                          uint32_t flags, BuiltChain* chain);

// The subject (or issuer) as a name string: RDNs in certificate order joined by ", ", each
// "KEY=value" with the short keys (CN, O, OU, L, S, C, E...), a value with special characters
// in double quotes, the parts of a multi-valued RDN joined by a blank. Writes at most `room`
// bytes with the NUL; the length, or -1 when the certificate does not parse.
int CertificateNameText(const unsigned char* der, int length, bool issuer, char* out, int room);
// Whether the bytes are one DER certificate.
bool CertificateParses(const unsigned char* der, int length);

} // namespace quillon::platform
