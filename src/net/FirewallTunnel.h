// The firewall tunnel between a port's socket events and its upward operations. Without a
// firewall it only forwards. With one, the socket connects to the firewall and the tunnel
// negotiates the path to the remote host: SOCKS 4, SOCKS 5, or an HTTP CONNECT with Basic,
// Digest, NTLM or Negotiate proxy authentication. Only then does the port hear "connected".
//
// The negotiation is a state machine driven by the port's read path on the caller's thread; it
// has no timer of its own, a silent firewall is ended by the deadline of the waiting loop.
//   SOCKS 5:           phase 1 (method), [2 (user and password)], 3 (connect answer)
//   Digest CONNECT:    1 (status), 2 (headers), [3 body, 7 chunk size], 4 (answer),
//                      5 (second status), 8 (its headers), 6 (done)
//   NTLM / Negotiate:  1, 2, [3 body, 6 chunk size], 4 (second status), 5 (its headers)
// Line-mode negotiations set the port's terminator to CRLF and put the caller's back before
// they report success. Every failure carries code 118.
#pragma once

#include "frame/BufStr.h"
#include "http/DigestAuth.h"

#include <cstdint>

namespace quillon {

class PortClient;

enum FirewallType : uint8_t {
  fwNone = 0,
  fwTunnel = 1,
  fwSOCKS4 = 2,
  fwSOCKS5 = 3,
  fwNtlmTunnel = 4,
  fwNegotiateTunnel = 5,
  fwDigestTunnel = 6,
};

class FirewallTunnel {
public:
  explicit FirewallTunnel(PortClient& port) : owner(port) {}
  FirewallTunnel(const FirewallTunnel&) = delete;
  FirewallTunnel& operator=(const FirewallTunnel&) = delete;

  // Socket events, in the port's order.
  void OnSocketConnected(int error);
  void OnSocketDisconnected(int error);
  // `bytes` may be changed in place.
  int OnSocketData(char* bytes, int length, bool endOfRecord);

  // Settings
  // The low 8 bits become the type; the port goes with it (80 for CONNECT, 1080 for SOCKS).
  void SetFirewallType(int value);
  // Resolves at once and keeps only the address; "" clears it. 0 or the lookup's socket error.
  int SetFirewallHost(const char* text);
  // "" when no address is kept, else the dotted address.
  const char* FirewallHost();
  // Takes a SOCKS server from the system's proxy settings when on (see SystemProxy.h).
  int SetFirewallAutoDetect(bool on);
  // Both are cut to 255 characters.
  int SetFirewallUser(std::string_view text);
  int SetFirewallPassword(std::string_view text);
  // A negotiation is under way: the tunnel's bytes pass the read gate, the caller's sends don't.
  bool Negotiating() const { return firewallType != fwNone && negotiating; }

  // Fields
  PortClient& owner;
  DigestState digest;
  int32_t firewallPort = 0;
  uint8_t firewallType = fwNone;
  uint8_t phase = 0;        // the step inside a negotiation; its meaning depends on the type
  bool negotiating = false; // from a successful TCP connect until the tunnel has ended
  int32_t bodyLength = 0;   // the body of a proxy's reply, read through before the next request
  int32_t bodyRead = 0;
  int32_t chunked = 0;
  BufStr lineText;          // the reply line being collected
  BufStr20 savedTerminator; // the port's terminator during a line-mode negotiation
  bool terminatorSaved = false;
  BufStr20 replyBytes; // raw reply bytes for CONNECT and SOCKS; the challenge for NTLM/Negotiate
  BufStr20 firewallUser;
  BufStr20 firewallPassword;
  BufStr20 digestUri; // the URI that a Digest answer signs; given by the HTTP layer
  BufStr20 userAgent; // kept equal to the HTTP layer's user agent
  int32_t autoDetect = 0;
  uint32_t firewallAddress = 0; // IPv4, network order; 0 none
  BufStr20 addressText;         // scratch for FirewallHost

private:
  void AbortTunnel(const char* text);
  void RejectTunnel(const char* reported, const char* text);
  // Sends a negotiation step; a failure aborts the tunnel. False when it failed.
  bool SendStep(const BufStrBase& bytes);
  void StartConnectRequest();
  // The remote host's IPv4 address; a failed lookup aborts the tunnel and gives false.
  bool ResolveRemoteHost(uint32_t& address);
  void StartSocks4();
  void StartSocks5Request();
  bool AppendSocksAddress(BufStrBase& request);
  void StartLineMode();
  void RestoreTerminator();
  void AppendConnectLine(BufStrBase& out, bool withHost);
  void AppendUserAgentAndEnd(BufStrBase& out);
  // Hands bytes that followed a reply back to the port's buffer, in front of anything later.
  void GiveBack(const char* bytes, int length, bool endOfRecord);
  void Connected();

  int ConnectData(const char* bytes, int length, bool endOfRecord);
  int Socks4Data(const char* bytes, int length, bool endOfRecord);
  int Socks5Data(const char* bytes, int length, bool endOfRecord);
  int DigestLine(int length);
  int AuthTokenLine(int length);
  // Splits a status line in `lineText` into its code and reason; false when the line is too long.
  void SplitStatus(int& code, const char*& reason);
  // Header line: name and value, split at the first ':' outside quotes. False for the empty line.
  bool SplitHeader(std::string_view& name, std::string_view& value);
  // Content-Length or Transfer-Encoding of a challenge, taken into the body counters; false for
  // any other header.
  bool ReadBodyHeader(std::string_view name, std::string_view value);
  // A chunk size line sets the body counters; false for an empty line.
  bool ReadChunkSize();
  void SendDigestAnswer();
  void SendAuthToken(const char* challenge);
  void SendTokenRequest(const char* scheme, const BufStrBase& token);
  // The status line after an answer: a 2xx moves to `next`, anything else refuses the tunnel.
  bool AcceptFinalStatus(const char* prefix, const BufStrBase& line, uint8_t next);
  void RejectStatus(const char* prefix, int code, const char* reason, const BufStrBase& reported);
};

} // namespace quillon
