// The judgement of the server's certificate. Three ways accept: the certificate is byte for byte
// the one the host configured (no event), the chain check passes, or the host says so in
// SSLServerAuthentication, whose Accept starts as the check's verdict. The early look reads the
// certificate out of the handshake bytes as they pass, before the provider has judged anything,
// and asks the host with Accept starting false.
#include "tls/ServerCertificate.h"

#include "frame/Text.h"
#include "tls/SecurePort.h"

#include <cstdio>

namespace quillon {

namespace {

constexpr int kNameRoom = 2000;

struct PolicyText {
  uint32_t status;
  const char* text;
};
constexpr PolicyText kPolicyTexts[] = {
    {0x80092010, "The certificate or signature has been revoked."},
    {0x80092013, "Since the revocation server was offline, the called function was not able to "
                 "complete the revocation check."},
    {0x80096004, "The signature of the certificate cannot be verified."},
    {0x80096019, "The certificate's basic constraints are invalid or missing."},
    {0x800B0101, "A required certificate is not within its validity period."},
    {0x800B0102, "The validity periods of the certification chain do not nest correctly."},
    {0x800B0103, "A certificate that can only be used as an end-entity is being used as a CA or "
                 "visa versa."},
    {0x800B0106, "A certificate is being used for a non permitted purpose."},
    {0x800B0109, "A certification chain processed correctly but terminated in a root "
                 "certificate not trusted by the trust provider."},
    {0x800B010A, "A chain of certificates was not correctly created."},
    {0x800B010C, "A certificate in the chain has been explicitly revoked by its issuer."},
    {0x800B010D, "The root certificate is a testing certificate and policy settings disallow "
                 "test certificates."},
    {0x800B010E, "The revocation process could not continue. The certificates could not be "
                 "checked."},
    {0x800B010F, "The certificate's CN name does not match the passed value."},
    {0x800B0110, "The certificate is not valid for the requested usage."},
};

void NameTexts(const platform::DerBytes& cert, BufStrBase& subject, BufStrBase& issuer) {
  char text[kNameRoom];
  subject.Clear();
  issuer.Clear();
  if (platform::CertificateNameText(cert.bytes, cert.length, false, text, kNameRoom) > 0)
    subject.Assign(text);
  if (platform::CertificateNameText(cert.bytes, cert.length, true, text, kNameRoom) > 0)
    issuer.Assign(text);
}

int Be24(const unsigned char* p) {
  return (p[0] << 16) | (p[1] << 8) | p[2];
}

} // namespace

void PolicyStatusText(uint32_t status, BufStrBase& text) {
  if (status == 0) {
    text.Assign("OK");
    return;
  }
  char prefix[24];
  std::snprintf(prefix, sizeof prefix, "[0x%x] ", status);
  text.Assign(prefix);
  for (const PolicyText& row : kPolicyTexts)
    if (row.status == status) {
      text.AppendText(row.text);
      return;
    }
  text.AppendText("(unknown status code)");
}

void PemText(const platform::DerBytes& cert, BufStrBase& out) {
  out.AppendText("-----BEGIN CERTIFICATE-----\r\n");
  Base64Encode(out, cert.bytes, cert.length, true, 64, false);
  out.AppendText("\r\n-----END CERTIFICATE-----\r\n");
}

int ParseHandshakeCertificate(const char* token, int length, platform::DerBytes& cert) {
  const auto* p = reinterpret_cast<const unsigned char*>(token);
  cert = {};
  if (!p || length <= 0) return errServerCertificate;
  int at = 0;
  while (length - at >= 5) {
    const int type = p[at];
    const int recordLength = (p[at + 3] << 8) | p[at + 4];
    if (recordLength > length - at - 5) return errServerCertificate;
    const int end = at + 5 + recordLength;
    int m = at + 5;
    at = end;
    if (type != 22) continue;
    while (end - m >= 4) {
      const int messageType = p[m];
      const int messageLength = Be24(p + m + 1);
      const int left = end - m - 4;
      if (messageType != 11) {
        if (messageLength > left) break;
        m += 4 + messageLength;
        continue;
      }
      if (left < 6) return errServerCertificate;
      const int listLength = Be24(p + m + 4);
      const int firstLength = Be24(p + m + 7);
      if (listLength > left - 3 || firstLength > listLength - 3) return errServerCertificate;
      cert = {p + m + 10, firstLength};
      return platform::CertificateParses(cert.bytes, cert.length) ? 0 : errServerCertificate;
    }
  }
  return errServerCertificate;
}

int SecurePort::VerifyServerCertificate(const platform::DerBytes* chain, int count,
                                        BufStrBase& subject, BufStrBase& issuer) {
  serverCertStatus.Clear();
  serverCertEncoded.Clear();
  NameTexts(chain[0], subject, issuer);
  const bool checkName = !serverName.IsEmpty() && !(sslSecurityFlags & 0x80000000u);
  platform::BuiltChain built;
  const uint32_t status =
      platform::CheckServerChain(chain, count, checkName ? serverName.Data() : nullptr,
                                 sslSecurityFlags & 0x7FFFFFFFu, &built);
  PolicyStatusText(status, serverCertStatus);
  if (includeCertChain && built.count > 0) {
    for (int i = 0; i < built.count; ++i) {
      if (i > 0) serverCertEncoded.AppendText("\r\n");
      PemText(built.certificates[i], serverCertEncoded);
    }
  } else {
    PemText(chain[0], serverCertEncoded);
  }
  return static_cast<int>(status);
}

bool SecurePort::JudgeServerCertificate() {
  const int count = contextHandle->PeerCertificateCount();
  if (count == 0) {
    lastError.Assign("can't find server certificate (error 0x80090304)");
    ErrorEvent(errServerCertificate, lastError.Data());
    return false;
  }
  // The provider hands out one encoding at a time; the chain is copied out first.
  BufStr copies[platform::BuiltChain::kMaximum];
  platform::DerBytes chain[platform::BuiltChain::kMaximum];
  const int kept = count < platform::BuiltChain::kMaximum ? count : platform::BuiltChain::kMaximum;
  for (int i = 0; i < kept; ++i) {
    const unsigned char* der = nullptr;
    int length = 0;
    contextHandle->PeerCertificate(i, der, length);
    copies[i].Assign(reinterpret_cast<const char*>(der), length);
    chain[i] = {reinterpret_cast<const unsigned char*>(copies[i].Data()), copies[i].Length()};
  }
  // The certificate that SSLAcceptServerCertEncoded names passes as it is, without an event.
  const std::string_view accepted = platform::CertEncoded(certificates.acceptServerCert);
  if (!accepted.empty() && accepted == copies[0].View()) return true;
  BufStr subject, issuer;
  const int result = VerifyServerCertificate(chain, kept, subject, issuer);
  if (result != 0) {
    char text[64];
    std::snprintf(text, sizeof text, "error verifying server certificate: 0x%x",
                  static_cast<uint32_t>(result));
    lastError.Assign(text);
    ErrorEvent(errVerifyCertificate, text);
  }
  return SSLServerAuthenticationEvent(serverCertEncoded.Data(), serverCertEncoded.Length(),
                                      subject.Data(), issuer.Data(), serverCertStatus.Data(),
                                      result == 0);
}

bool SecurePort::EarlyLook(const char* token, int length) {
  platform::DerBytes cert;
  if (ParseHandshakeCertificate(token, length, cert) != 0) return true;
  BufStr subject, issuer;
  NameTexts(cert, subject, issuer);
  serverCertEncoded.Clear();
  Base64Encode(serverCertEncoded, cert.bytes, cert.length, true, 64, false);
  serverCertStatus.Assign("Parsed");
  if (SSLServerAuthenticationEvent(serverCertEncoded.Data(), serverCertEncoded.Length(),
                                   subject.Data(), issuer.Data(), "Parsed", false))
    return true;
  RefuseCertificate();
  return false;
}

} // namespace quillon
