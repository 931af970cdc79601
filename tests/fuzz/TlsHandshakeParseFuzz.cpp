// Feeds arbitrary bytes to the readers of handshake bytes: the record walk of the provider, the
// server and client hello descriptions, and the early look's search for the server certificate
// with the name strings of what it finds. None may read outside the input or crash; a
// certificate that is found lies inside the input.
#include "FuzzSupport.h"
#include "platform/CertificateCheck.h"
#include "platform/TlsRecords.h"
#include "tls/CipherNames.h"
#include "tls/ServerCertificate.h"

QUILLON_FUZZ_TARGET(input) {
  const char* bytes = input.data();
  const int length = static_cast<int>(input.size());
  const platform::RecordScan scan = platform::ScanRecords(bytes, length);
  Check(scan.wholeLength <= length && scan.firstLength <= scan.wholeLength);
  BufStr version, suite, offered;
  DescribeServerHello(bytes, length, version, suite);
  DescribeClientHello(bytes, length, offered);
  platform::DerBytes cert;
  if (ParseHandshakeCertificate(bytes, length, cert) == 0) {
    const auto* start = reinterpret_cast<const uint8_t*>(bytes);
    Check(cert.bytes >= start && cert.bytes + cert.length <= start + length);
    char name[2000];
    platform::CertificateNameText(cert.bytes, cert.length, false, name, sizeof name);
    platform::CertificateNameText(cert.bytes, cert.length, true, name, sizeof name);
  }
}
