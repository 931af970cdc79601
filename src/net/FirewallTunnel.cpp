// The tunnel's settings, its connect and disconnect steps, the first request of each type, and
// the SOCKS and CONNECT negotiations that read raw chunks. The line-mode negotiations (Digest,
// NTLM, Negotiate) are in FirewallLineTunnel.cpp.
#include "net/FirewallTunnel.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/SystemProxy.h"
#include "net/NetErrors.h"
#include "net/PortClient.h"

#include <cstdio>

namespace quillon {

namespace {
constexpr int kMaxCredential = 255;
constexpr int kSocks4ReplyLength = 8;
// A proxy's reply that grows beyond this without ending is no reply.
constexpr int kMaxReplyLength = 16384;

const char* Socks5ReplyText(int reply) {
  static const char* const texts[] = {
      "general SOCKS server failure", "connection not allowed by ruleset",
      "network unreachable",          "host unreachable",
      "connection refused",           "TTL expired",
      "command not supported",        "address type not supported"};
  return reply >= 1 && reply <= 8 ? texts[reply - 1] : nullptr;
}

// The length of a SOCKS 5 connect answer by its address type; 0 while that isn't known yet.
int Socks5AnswerLength(const BufStrBase& reply) {
  if (reply.Length() < 5) return 0;
  switch (static_cast<uint8_t>(reply[3])) {
  case 3:
    return 7 + static_cast<uint8_t>(reply[4]);
  case 4:
    return 22;
  default:
    return 10;
  }
}
} // namespace

void FirewallTunnel::SetFirewallType(int value) {
  firewallType = static_cast<uint8_t>(value);
  switch (firewallType) {
  case fwNone:
    firewallPort = 0;
    break;
  case fwSOCKS4:
  case fwSOCKS5:
    firewallPort = 1080;
    break;
  case fwTunnel:
  case fwNtlmTunnel:
  case fwNegotiateTunnel:
  case fwDigestTunnel:
    firewallPort = 80;
    break;
  default:
    firewallPort = 0;
    break;
  }
}

int FirewallTunnel::SetFirewallHost(const char* text) {
  firewallAddress = 0;
  if (!text || !*text) return errNone;
  const uint32_t numeric = platform::ParseIPv4(text);
  if (numeric != 0xFFFFFFFFu) {
    firewallAddress = numeric;
    return errNone;
  }
  const int rc = platform::ResolveIPv4(text, firewallAddress);
  return rc == platform::errSocketsNotStarted ? errNone : rc;
}

const char* FirewallTunnel::FirewallHost() {
  if (firewallAddress == 0) {
    addressText.Clear();
    return addressText.Data();
  }
  return SocketCore::DottedText(firewallAddress, addressText);
}

int FirewallTunnel::SetFirewallAutoDetect(bool on) {
  autoDetect = on ? 1 : 0;
  firewallAddress = 0;
  firewallPort = 0;
  if (!on) return errNone;
  SystemProxySettings settings;
  if (ReadSystemProxySettings(settings) != errNone || !settings.proxyEnable || !settings.serverRead)
    return errNone;
  BufStr host;
  int32_t port = 0;
  if (!SocksServerFromList(settings.proxyServer.View(), host, port)) return errNone;
  firewallType = settings.socksVersion == 4 ? fwSOCKS4 : fwSOCKS5;
  SetFirewallHost(host.Data());
  if (port != 0) firewallPort = port;
  if (!settings.socksUser.IsEmpty()) {
    SetFirewallUser(settings.socksUser.View());
    SetFirewallPassword(settings.socksPassword.View());
  }
  return errNone;
}

int FirewallTunnel::SetFirewallUser(std::string_view text) {
  return firewallUser.Assign(text.substr(0, kMaxCredential));
}

int FirewallTunnel::SetFirewallPassword(std::string_view text) {
  return firewallPassword.Assign(text.substr(0, kMaxCredential));
}

void FirewallTunnel::OnSocketConnected(int error) {
  replyBytes.Clear();
  savedTerminator.Clear();
  terminatorSaved = false;
  if (error != 0) {
    negotiating = false;
    if (firewallType != fwNone) owner.ReportStatus("Firewall connection failed.", error);
    owner.OnPortConnected(error);
    return;
  }
  negotiating = true;
  if (firewallType == fwNone) {
    negotiating = false;
    owner.OnPortConnected(0);
    return;
  }
  owner.ReportStatus("Firewall connection complete.", 0);
  phase = 0;
  switch (firewallType) {
  case fwTunnel:
    return StartConnectRequest();
  case fwSOCKS4:
    return StartSocks4();
  case fwSOCKS5: {
    // Both credentials are needed to offer user and password.
    const bool withPassword = !firewallUser.IsEmpty() && !firewallPassword.IsEmpty();
    BufStr20 offer;
    offer.Assign(withPassword ? std::string_view("\x05\x02\x00\x02", 4)
                              : std::string_view("\x05\x01\x00", 3));
    phase = 1;
    SendStep(offer);
    return;
  }
  case fwDigestTunnel:
  case fwNtlmTunnel:
  case fwNegotiateTunnel:
    return StartLineMode();
  default:
    return AbortTunnel("Unknown firewall type.");
  }
}

void FirewallTunnel::OnSocketDisconnected(int error) {
  const bool wasNegotiating = negotiating;
  negotiating = false;
  replyBytes.Clear();
  RestoreTerminator();
  if (firewallType == fwNone) return owner.OnPortDisconnected(error);
  if (wasNegotiating) {
    // A firewall that hangs up in the middle ends the wait at once, with the tunnel's code.
    const char* text = "Firewall closed the connection during the negotiation.";
    owner.ReportError(errTunnelFailed, text);
    owner.SetLastErrorText(text);
    owner.OnPortConnected(errTunnelFailed);
  }
  owner.ReportStatus("Firewall host disconnected.", error);
  owner.OnPortDisconnected(error);
}

int FirewallTunnel::OnSocketData(char* bytes, int length, bool endOfRecord) {
  if (firewallType == fwNone || !negotiating) return owner.OnPortData(bytes, length, endOfRecord);
  switch (firewallType) {
  case fwTunnel:
    return ConnectData(bytes, length, endOfRecord);
  case fwSOCKS4:
    return Socks4Data(bytes, length, endOfRecord);
  case fwSOCKS5:
    return Socks5Data(bytes, length, endOfRecord);
  default:
    break;
  }
  if (lineText.Append(bytes, length) != errNone) {
    AbortTunnel("Out of memory.");
    return errOutOfMemory;
  }
  if (!endOfRecord) {
    if (lineText.Length() > kMaxReplyLength) AbortTunnel("Firewall reply line too long.");
    return errNone;
  }
  return firewallType == fwDigestTunnel ? DigestLine(length) : AuthTokenLine(length);
}

void FirewallTunnel::AbortTunnel(const char* text) {
  BufStr reported;
  if (text)
    reported.Assign(text);
  else if (owner.lastError.IsEmpty())
    reported.Assign("Firewall negotiation failed.");
  else
    reported.Assign(owner.lastError);
  RestoreTerminator();
  owner.ReportError(errTunnelFailed, reported.Data());
  negotiating = false;
  owner.SetLastErrorText(reported.Data());
  owner.OnPortConnected(errTunnelFailed);
  owner.PortConnect(0);
}

void FirewallTunnel::RejectTunnel(const char* reported, const char* text) {
  negotiating = false;
  RestoreTerminator();
  // What is left of the proxy's answer is none of the remote host's bytes.
  owner.lineBuffer.Clear();
  owner.ReportError(errTunnelFailed, reported);
  owner.SetLastErrorText(text);
  owner.OnPortConnected(errTunnelFailed);
}

bool FirewallTunnel::SendStep(const BufStrBase& bytes) {
  const int rc = owner.PortSend(bytes.Data(), bytes.Length(), 0, false);
  if (rc == errNone) return true;
  if (owner.lastError.IsEmpty()) owner.SetSocketErrorText(rc);
  AbortTunnel(nullptr);
  return false;
}

void FirewallTunnel::Connected() {
  RestoreTerminator();
  negotiating = false;
  // Bytes given back wait in the buffer; a reader that is already allowed gets them at once.
  if (owner.acceptData && owner.lineBuffer.length != 0) owner.SetAcceptData(true);
  owner.OnPortConnected(0);
}

void FirewallTunnel::GiveBack(const char* bytes, int length, bool endOfRecord) {
  if (length <= 0 && !endOfRecord) return;
  owner.lineBuffer.Append(bytes, static_cast<uint32_t>(length));
  if (endOfRecord && owner.lineBuffer.terminatorLength != 0)
    owner.lineBuffer.Append(owner.lineBuffer.terminator, owner.lineBuffer.terminatorLength);
}

void FirewallTunnel::AppendConnectLine(BufStrBase& out, bool withHost) {
  BufStr50 target;
  target.Append(owner.remoteHost);
  target.AppendChar(':');
  target.AppendDecimal(owner.remotePort);
  out.AppendText("CONNECT ");
  out.Append(target);
  out.AppendText(" HTTP/1.0");
  if (!withHost) return;
  out.AppendText("\r\nHost: ");
  out.Append(target);
  out.AppendText("\r\nContent-Length: 0\r\nProxy-Connection: Keep-Alive\r\nPragma: no-cache");
}

void FirewallTunnel::AppendUserAgentAndEnd(BufStrBase& out) {
  if (!userAgent.IsEmpty()) {
    out.AppendText("\r\nUser-Agent: ");
    out.Append(userAgent);
  }
  out.AppendText("\r\n\r\n");
}

void FirewallTunnel::StartConnectRequest() {
  BufStr request;
  AppendConnectLine(request, false);
  if (!firewallUser.IsEmpty() || !firewallPassword.IsEmpty()) {
    BufStr credentials;
    credentials.Append(firewallUser);
    credentials.AppendChar(':');
    credentials.Append(firewallPassword);
    request.AppendText("\r\nProxy-Authorization: Basic ");
    Base64Encode(request, credentials.Data(), credentials.Length(), false, 0, false);
  }
  AppendUserAgentAndEnd(request);
  SendStep(request);
}

bool FirewallTunnel::ResolveRemoteHost(uint32_t& address) {
  address = platform::ParseIPv4(owner.remoteHost.Data());
  if (address == 0xFFFFFFFFu && platform::ResolveIPv4(owner.remoteHost.Data(), address) != 0)
    address = 0;
  if (address != 0 && address != 0xFFFFFFFFu) return true;
  BufStr text;
  text.AppendText("Firewall could not resolve host ");
  text.Append(owner.remoteHost);
  text.AppendChar('.');
  AbortTunnel(text.Data());
  return false;
}

void FirewallTunnel::StartSocks4() {
  uint32_t address = 0;
  if (!ResolveRemoteHost(address)) return;
  BufStr request;
  const char head[4] = {4, 1, static_cast<char>(owner.remotePort >> 8),
                        static_cast<char>(owner.remotePort & 0xFF)};
  request.Append(head, 4);
  request.Append(reinterpret_cast<const char*>(&address), 4);
  request.Append(firewallUser);
  request.AppendChar('\0');
  SendStep(request);
}

bool FirewallTunnel::AppendSocksAddress(BufStrBase& request) {
  const std::string_view host = owner.remoteHost.View();
  if (host.starts_with('*')) {
    // The server resolves the name: type 3, one length octet, the name behind the star.
    const std::string_view name = host.substr(1);
    if (name.empty() || name.size() > 255) {
      AbortTunnel("Firewall host name must have 1 to 255 characters.");
      return false;
    }
    request.AppendChar(3);
    request.AppendChar(static_cast<char>(name.size()));
    request.Append(name);
    return true;
  }
  uint32_t address = 0;
  if (!ResolveRemoteHost(address)) return false;
  request.AppendChar(1);
  request.Append(reinterpret_cast<const char*>(&address), 4);
  return true;
}

void FirewallTunnel::StartSocks5Request() {
  BufStr request;
  request.Append("\x05\x01\x00", 3);
  if (!AppendSocksAddress(request)) return;
  request.AppendChar(static_cast<char>(owner.remotePort >> 8));
  request.AppendChar(static_cast<char>(owner.remotePort & 0xFF));
  phase = 3;
  SendStep(request);
}

int FirewallTunnel::ConnectData(const char* bytes, int length, bool endOfRecord) {
  replyBytes.Append(bytes, length);
  if (endOfRecord)
    replyBytes.Append(owner.lineBuffer.terminator,
                      static_cast<int>(owner.lineBuffer.terminatorLength));
  // "HTTP/1.x 2.." is judged once more than 9 bytes are there.
  if (replyBytes.Length() > 9) {
    const char* reply = replyBytes.Data();
    int at = 0;
    while (at < replyBytes.Length() && reply[at] != ' ')
      ++at;
    while (at < replyBytes.Length() && reply[at] == ' ')
      ++at;
    if (at >= replyBytes.Length() || reply[at] != '2') {
      BufStr text;
      text.AppendText("Firewall error. ");
      const int cr = replyBytes.Find("\r");
      text.Append(reply, cr >= 0 ? cr : replyBytes.Length());
      if (!text.EndsWith(".")) text.AppendChar('.');
      BufStr reported;
      reported.Assign(replyBytes);
      RejectTunnel(reported.Data(), text.Data());
      return errTunnelFailed;
    }
  }
  int end = replyBytes.Find("\r\n\r\n");
  int blank = 4;
  if (end < 0) {
    end = replyBytes.Find("\n\n");
    blank = 2;
  }
  if (end < 0) {
    if (replyBytes.Length() > kMaxReplyLength) AbortTunnel("Firewall reply too long.");
    return errNone;
  }
  GiveBack(replyBytes.Data() + end + blank, replyBytes.Length() - end - blank, false);
  replyBytes.Clear();
  Connected();
  return errNone;
}

int FirewallTunnel::Socks4Data(const char* bytes, int length, bool endOfRecord) {
  replyBytes.Append(bytes, length);
  if (replyBytes.Length() < kSocks4ReplyLength) return errNone;
  negotiating = false;
  const int code = static_cast<uint8_t>(replyBytes[1]);
  switch (code) {
  case 90:
    GiveBack(replyBytes.Data() + kSocks4ReplyLength, replyBytes.Length() - kSocks4ReplyLength,
             endOfRecord);
    Connected();
    return errNone;
  case 91:
    AbortTunnel("firewall request rejected or failed");
    break;
  case 92:
    AbortTunnel("firewall request rejected because identd is not available");
    break;
  case 93:
    AbortTunnel("firewall request rejected because identd reports different user");
    break;
  default: {
    char text[48];
    std::snprintf(text, sizeof text, "unknown firewall error: %d", code);
    AbortTunnel(text);
    break;
  }
  }
  return errTunnelFailed;
}

int FirewallTunnel::Socks5Data(const char* bytes, int length, bool endOfRecord) {
  replyBytes.Append(bytes, length);
  switch (phase) {
  case 1: { // method answer: version, method
    if (replyBytes.Length() < 2) return errNone;
    const int method = static_cast<uint8_t>(replyBytes[1]);
    replyBytes.DropFront(2);
    const bool offered = !firewallUser.IsEmpty() && !firewallPassword.IsEmpty();
    if (method == 0) {
      StartSocks5Request();
      return errNone;
    }
    if (method == 2 && offered) {
      BufStr request;
      request.AppendChar(1);
      request.AppendChar(static_cast<char>(firewallUser.Length()));
      request.Append(firewallUser);
      request.AppendChar(static_cast<char>(firewallPassword.Length()));
      request.Append(firewallPassword);
      phase = 2;
      SendStep(request);
      return errNone;
    }
    AbortTunnel(method == 255 ? "no acceptable firewall authentication methods"
                              : "unknown firewall authentication method");
    return errTunnelFailed;
  }
  case 2: { // authentication answer: version, status
    if (replyBytes.Length() < 2) return errNone;
    if (replyBytes[1] != 0) {
      char text[48];
      std::snprintf(text, sizeof text, "firewall authentication failed: %d",
                    static_cast<signed char>(replyBytes[1]));
      AbortTunnel(text);
      return errTunnelFailed;
    }
    replyBytes.DropFront(2);
    StartSocks5Request();
    return errNone;
  }
  case 3: { // connect answer: version, reply, 0, address type, address, port
    const int needed = Socks5AnswerLength(replyBytes);
    if (needed == 0 || replyBytes.Length() < needed) return errNone;
    negotiating = false;
    const int reply = static_cast<uint8_t>(replyBytes[1]);
    if (reply == 0) {
      GiveBack(replyBytes.Data() + needed, replyBytes.Length() - needed, endOfRecord);
      replyBytes.Clear();
      Connected();
      return errNone;
    }
    char text[48];
    const char* known = Socks5ReplyText(reply);
    if (!known) std::snprintf(text, sizeof text, "unknown firewall error: %d", reply);
    AbortTunnel(known ? known : text);
    return errTunnelFailed;
  }
  default:
    return errNone;
  }
}

} // namespace quillon
