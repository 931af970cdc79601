// What a TLS connection of the HTTP link needs before its handshake: the name its certificate is
// checked against (and that goes out in the name extension), and the client certificate chosen
// through the SSLCert settings, handed to the channel as a PKCS#12.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

int HttpClient::PrepareSecureChannel() {
  if (!secureEnabled) return errNone;
  // Only a plain proxy that is spoken to over TLS is the channel's peer itself; through a tunnel
  // the channel reaches the target.
  const bool toProxy = ProxySSL == psAlways && !ProxyServer.IsEmpty() &&
                       SameNoCase(remoteHost.View(), ProxyServer.View());
  const int rc = serverName.Assign(toProxy ? ProxyServer : URLServer);
  return rc == errNone ? TakeChosenCertificate() : DescribeError(rc);
}

int HttpClient::TakeChosenCertificate() {
  const std::string_view chosen = platform::CertEncoded(certificates.clientCertContext);
  if (chosen == presentedCertificate.View()) return errNone;
  // A kept connection went up with the certificate chosen before.
  if (socketHandle != platform::kInvalidSocket) DropEarlierConnection();
  presentedCertificate.Clear();
  BufStr pfx;
  if (int rc = certificates.ExportChosenCertificate(pfx); rc != errNone) return rc;
  int rc = SetClientCertificate(pfx.Data(), pfx.Length());
  if (rc == errNone) rc = presentedCertificate.Assign(chosen);
  return DescribeError(rc);
}

} // namespace quillon
