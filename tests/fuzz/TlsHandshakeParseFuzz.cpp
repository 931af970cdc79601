// Feeds arbitrary bytes to the readers of handshake bytes: the record walk of the provider, the
// server and client hello descriptions, and the early look's search for the server certificate
// with the name strings of what it finds. None may read outside the input or crash; a
// certificate that is found lies inside the input.
#include "platform/CertificateCheck.h"
#include "platform/TlsRecords.h"
#include "tls/CipherNames.h"
#include "tls/ServerCertificate.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* bytes = reinterpret_cast<const char*>(data);
  const int length = static_cast<int>(size);
  const quillon::platform::RecordScan scan = quillon::platform::ScanRecords(bytes, length);
  if (scan.wholeLength > length || scan.firstLength > scan.wholeLength) std::abort();
  quillon::BufStr version, suite, offered;
  quillon::DescribeServerHello(bytes, length, version, suite);
  quillon::DescribeClientHello(bytes, length, offered);
  quillon::platform::DerBytes cert;
  if (quillon::ParseHandshakeCertificate(bytes, length, cert) == 0) {
    if (cert.bytes < data || cert.bytes + cert.length > data + size) std::abort();
    char name[2000];
    quillon::platform::CertificateNameText(cert.bytes, cert.length, false, name, sizeof name);
    quillon::platform::CertificateNameText(cert.bytes, cert.length, true, name, sizeof name);
  }
  return 0;
}
