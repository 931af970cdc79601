// The request head. ComposeRequest arms the response reader, picks the connection (direct,
// plain proxy with an absolute request line, or a tunnel through the proxy), connects when no
// kept connection goes there, and sends the head in one write:
//
//   METHOD SP [scheme "://" host [":" port]] path SP "HTTP/" version CRLF
//   Host, then Authorization, Proxy-Authorization, Accept, Accept-Encoding, From, User-Agent,
//   If-Modified-Since, Referer, Pragma, Range, Cookie, Connection; then OtherHeaders; CRLF
//
// Every piece of a request but its last goes out with sendMore, so a request on a kept
// connection leaves as one burst and never waits on the peer's delayed acknowledgement.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

namespace quillon {

namespace {
bool IsHttps(const BufStrBase& scheme) {
  return EqualsNoCase(scheme.View(), "https");
}

// Appends CRLF, `name` and `value` when the value is not empty.
int AppendHeader(BufStrBase& head, const char* name, const BufStrBase& value) {
  if (value.IsEmpty()) return errNone;
  int rc = head.Append("\r\n", 2);
  if (rc == errNone) rc = head.AppendText(name);
  return rc == errNone ? head.Append(value) : rc;
}

// OtherHeaders with exactly one CRLF at its end.
int AppendOtherHeaders(BufStrBase& head, std::string_view lines) {
  while (lines.ends_with("\r\n"))
    lines.remove_suffix(2);
  if (lines.ends_with('\n')) lines.remove_suffix(1);
  int rc = head.Append(lines);
  return rc == errNone ? head.Append("\r\n", 2) : rc;
}
} // namespace

int HttpClient::SetProxySSL(int value) {
  if (value < static_cast<int>(psAutomatic) || value > static_cast<int>(psTunnel))
    return Fail(errProxySslRange, "Value is out of range.");
  ProxySSL = static_cast<ProxySSLTypes>(value);
  // The tunnel takes the CONNECT type and its port; the proxy's own fills them in on use.
  tunnel.SetFirewallType(ProxySSL == psTunnel ? fwTunnel : fwNone);
  return errNone;
}

int HttpClient::UseProxyTunnel() {
  // The tunnel type by ProxyAuthScheme: Basic and none send CONNECT (with Basic when there are
  // credentials), the others answer the proxy's challenge in the tunnel.
  static constexpr uint8_t kTunnelByScheme[] = {fwTunnel,     fwDigestTunnel,    fwNone, fwTunnel,
                                                fwNtlmTunnel, fwNegotiateTunnel, fwNone};
  const auto scheme = static_cast<size_t>(ProxyAuthScheme);
  const uint8_t type =
      scheme < std::size(kTunnelByScheme) ? kTunnelByScheme[scheme] : uint8_t{fwNone};
  if (type == fwNone) return Fail(errBadScheme, "Unknown proxy authentication scheme.");
  tunnel.firewallType = type;
  tunnel.firewallPort = ProxyPort;
  // A Digest answer signs the request's path.
  int rc = tunnel.digestUri.Assign(type == fwDigestTunnel ? URLPath.View() : std::string_view());
  if (rc == errNone) rc = tunnel.SetFirewallUser(ProxyUser.View());
  if (rc == errNone) rc = tunnel.SetFirewallPassword(ProxyPassword.View());
  if (rc != errNone) return DescribeError(rc);
  if (rc = SetTarget(URLServer, URLPort); rc != errNone) return rc;
  // A kept tunnel stays with its proxy; a new one looks the proxy up.
  if (!IsConnected() && (rc = tunnel.SetFirewallHost(ProxyServer.Data())) != errNone)
    return DescribeError(rc);
  return errNone;
}

int HttpClient::SetTarget(const BufStrBase& host, int port) {
  if (socketHandle != platform::kInvalidSocket && !IsConnected()) DropEarlierConnection();
  if (IsConnected()) {
    const bool sameHost =
        SameNoCase(remoteHost.View(), host.View()) || SameNoCase(GetRemoteHost(), host.View());
    if (sameHost && remotePort == port) return errNone;
    DropEarlierConnection();
  }
  if (int rc = SetRemoteHost(host.Data()); rc != errNone) return DescribeError(rc);
  return SetRemotePort(port);
}

int HttpClient::SelectConnection(bool& absolute) {
  const bool bypass = ProxyAutoDetect && BypassesProxy(URLServer.Data(), URLPort, URLScheme.Data());
  if (int rc = tunnel.userAgent.Assign(UserAgent); rc != errNone) return DescribeError(rc);
  const bool proxied = !ProxyServer.IsEmpty() && !bypass;
  ProxySSLTypes effective = ProxySSL;
  if (proxied && effective == psAutomatic && IsHttps(URLScheme)) effective = psTunnel;
  absolute = proxied && ProxySSL != psTunnel;

  if (proxied && effective != psTunnel) {
    // An NTLM proxy exchange stays on the connection it started on.
    if (!(ProxyAuthScheme == authNtlm && ProxyAuthAttempts > 0)) {
      tunnel.SetFirewallType(fwNone);
      if (int rc = SetTarget(ProxyServer, ProxyPort); rc != errNone) return rc;
    }
  } else {
    if (!SameNoCase(URLScheme.View(), DefaultScheme.View()) &&
        !SameNoCase(URLScheme.View(), "http")) {
      SetErrorParts("Specified URLScheme (", URLScheme.Data(), ") is invalid", ".");
      return errBadScheme;
    }
    // A tunnel through the proxy sets its target below.
    if (!proxied)
      if (int rc = SetTarget(URLServer, URLPort); rc != errNone) return rc;
  }

  SetSecureEnabled(IsHttps(URLScheme));
  if (!proxied) return errNone;
  if (effective == psAlways) SetSecureEnabled(true);
  if (effective == psNever) SetSecureEnabled(false);
  return effective == psTunnel ? UseProxyTunnel() : errNone;
}

int HttpClient::ArmResponseReader(const char* method) {
  ParsedHeaders.Clear();
  if (RequestMethod.Assign(method) != errNone) return DescribeError(errOutOfMemory);
  ResponseState = rsReadingStatus;
  TransferredHeaders.Clear();
  TransferredData.Clear();
  receivedText.Clear();
  ResponseContentLength = -1;
  BytesTransferred = 0;
  responseCut = false;
  responseError = 0;
  headerLinePart = false;
  UseBodyBuffer(false);
  return SetLineTerminator("\n", 1);
}

int HttpClient::ComposeRequest(const char* method, int finish) {
  if (int rc = ArmResponseReader(method); rc != errNone) return rc;
  if (URLServer.IsEmpty()) return Fail(errNoServer, "No server specified in URL");

  bool absolute = false;
  if (int rc = SelectConnection(absolute); rc != errNone) return rc;
  if (int rc = PrepareSecureChannel(); rc != errNone) return rc;
  if (!IsConnected()) {
    if (GetTimeout() < 0) {
      if (socketHandle != platform::kInvalidSocket) return errNone;
      return SecureConnect(1, 0);
    }
    if (int rc = ConnectAndWait(); rc != errNone) {
      // A tunnel that the proxy refused leaves its socket open; the next request starts afresh.
      BufStr text;
      text.Assign(lastError);
      Disconnect();
      lastError.Assign(text);
      return rc;
    }
  }

  BufStr head;
  int rc = head.AppendText(method);
  if (rc == errNone) rc = head.AppendChar(' ');
  if (rc == errNone && absolute) {
    rc = head.Append(URLScheme);
    if (rc == errNone) rc = head.Append("://", 3);
    if (rc == errNone) rc = head.Append(URLServer);
    if (rc == errNone && URLPort != DefaultPort) {
      rc = head.AppendChar(':');
      if (rc == errNone) rc = head.AppendDecimal(URLPort);
    }
  }
  if (rc == errNone) rc = head.Append(AbsoluteURI ? URL : URLPath);
  if (rc == errNone) rc = head.Append(" HTTP/", 6);
  if (rc == errNone) rc = head.Append(HTTPVersion);
  if (rc == errNone && !OtherHeaders.StartsWith("Host:") && !AbsoluteURI) {
    rc = head.Append("\r\nHost: ", 8);
    std::string_view host = URLServer.View();
    const bool literal6 = useIPv6 && host.find(':') != host.npos;
    if (literal6) host = host.substr(0, host.find('%'));
    if (rc == errNone && literal6) rc = head.AppendChar('[');
    if (rc == errNone) rc = head.Append(host);
    if (rc == errNone && literal6) rc = head.AppendChar(']');
    if (rc == errNone && URLPort != DefaultPort) {
      rc = head.AppendChar(':');
      if (rc == errNone) rc = head.AppendDecimal(URLPort);
    }
  }
  const struct {
    const char* name;
    const BufStrBase& value;
    bool wanted;
  } fields[] = {
      {"Authorization: ", Authorization, true},
      {"Proxy-Authorization: ", ProxyAuthorization, true},
      {"Accept: ", Accept, true},
      {"Accept-Encoding: ", AcceptEncoding, AllowHTTPCompression != 0},
      {"From: ", From, true},
      {"User-Agent: ", UserAgent, true},
      {"If-Modified-Since: ", IfModifiedSince, true},
      {"Referer: ", Referer, true},
      {"Pragma: ", Pragma, true},
      {"Range: bytes=", Range, true},
  };
  for (const auto& field : fields)
    if (rc == errNone && field.wanted) rc = AppendHeader(head, field.name, field.value);

  if (rc == errNone && !HttpCookies.IsEmpty()) {
    rc = AppendHeader(head, "Cookie: ", HttpCookies);
    HttpCookies.Clear();
  } else if (rc == errNone && CookieCount() > 0) {
    rc = head.Append("\r\nCookie: ", 10);
    for (int i = 0; i < CookieCount() && rc == errNone; ++i) {
      if (i > 0) rc = head.Append("; ", 2);
      if (rc == errNone) rc = head.Append(Cookies.At(i * ckFieldCount + ckName));
      if (rc == errNone) rc = head.AppendChar('=');
      if (rc == errNone) rc = head.Append(Cookies.At(i * ckFieldCount + ckValue));
    }
  }
  if (rc == errNone && !KeepAlive) rc = head.Append("\r\nConnection: close", 19);
  if (rc == errNone && KeepAlive && HTTPVersion.View() == "1.0")
    rc = head.Append("\r\nConnection: Keep-Alive", 24);
  if (rc == errNone) rc = head.Append("\r\n", 2);
  if (rc == errNone) rc = OnBeforeSendHeaders(head);
  if (rc == errNone && !OtherHeaders.IsEmpty()) rc = AppendOtherHeaders(head, OtherHeaders.View());
  if (rc == errNone && finish) rc = head.Append("\r\n", 2);
  if (rc == errNone && TransferredRequestOn) rc = SentHeaders.Assign(head);
  if (rc != errNone) return DescribeError(rc);

  if (DebugTrace) FireTransfer(0, head.Length(), -1, head.Data(), head.Length());
  return SendPiece(head.Data(), head.Length(), !finish);
}

int HttpClient::SendPiece(const char* bytes, int length, bool more) {
  sendMore = more;
  const int rc = SendAll(bytes, length, true, false);
  sendMore = false;
  return rc;
}

int HttpClient::SendBodilessRequest(const char* method) {
  if (int rc = ComposeRequest(method, 1); rc != errNone) return rc;
  if (!secureEnabled || IsConnected()) SetAcceptData(true);
  return EvaluateResponse(WaitForResponse());
}

} // namespace quillon
