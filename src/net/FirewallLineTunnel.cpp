// The CONNECT tunnels that authenticate against the proxy, read line by line with CRLF as the
// port's terminator:
//   Digest:            status (401/407) -> headers -> body (raw, or chunk by chunk) -> answer
//                      -> second status -> its headers -> done;
//                      a first 200 skips its headers and is done at once.
//   NTLM / Negotiate:  status (401/407) -> headers -> body (raw, or chunk by chunk) -> token
//                      -> second status -> its headers -> done; a first 200 skips to its
//                      headers.
// The tokens of NTLM and Negotiate come from the port's authentication front (MakeTunnelToken).
#include "net/FirewallTunnel.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "net/NetErrors.h"
#include "net/PortClient.h"

namespace quillon {

namespace {
enum LinePhase : uint8_t {
  lpStatus = 1,       // "HTTP/1.x 407 reason"
  lpHeaders = 2,      // "name: value", up to the empty line
  lpBody = 3,         // the body of the challenge
  lpDigestAnswer = 4, // Digest: the chunked body ended, the answer goes out at the empty line
  lpTokenStatus = 4,  // NTLM, Negotiate: the status line after the token
  lpDigestStatus = 5, // Digest: the status line after the answer
  lpSkipHeaders = 5,  // NTLM, Negotiate: headers of the final answer
  lpDone = 6,         // Digest: the tunnel is up
  lpTokenChunk = 6,   // NTLM, Negotiate: a chunk size line
  lpDigestChunk = 7,  // Digest: a chunk size line
  lpDigestSkip = 8,   // Digest: headers of the final answer
};

const char* SchemeOf(uint8_t type) {
  return type == fwNtlmTunnel ? "NTLM" : "Negotiate";
}
} // namespace

void FirewallTunnel::StartLineMode() {
  savedTerminator.Assign(owner.lineBuffer.terminator,
                         static_cast<int>(owner.lineBuffer.terminatorLength));
  terminatorSaved = true;
  owner.SetWireTerminator("\r\n", 2);
  lineText.Clear();
  bodyLength = bodyRead = chunked = 0;
  phase = lpStatus;
  if (firewallType != fwDigestTunnel) {
    const char* scheme = SchemeOf(firewallType);
    BufStr token;
    if (owner.LoadTunnelCredentials(scheme, firewallUser.Data(), firewallPassword.Data()) !=
            errNone ||
        owner.MakeTunnelToken(token, scheme, owner.remoteHost.Data(), "") != errNone)
      return AbortTunnel(nullptr);
    return SendTokenRequest(scheme, token);
  }
  ResetDigestState(digest);
  BufStr request;
  AppendConnectLine(request, true);
  AppendUserAgentAndEnd(request);
  SendStep(request);
}

void FirewallTunnel::RestoreTerminator() {
  if (!terminatorSaved) return;
  terminatorSaved = false;
  owner.SetWireTerminator(savedTerminator.Data(), savedTerminator.Length());
}

void FirewallTunnel::SplitStatus(int& code, const char*& reason) {
  // The line is cut in place at its first two blanks: "HTTP/1.1\0407\0reason".
  char* line = lineText.Data();
  const int length = lineText.Length();
  int first = 0;
  while (first < length && line[first] != ' ')
    ++first;
  code = 0;
  reason = line + length;
  if (first >= length) return;
  line[first] = '\0';
  code = ParseDec32(line + first + 1);
  int second = first + 1;
  while (second < length && line[second] != ' ')
    ++second;
  if (second >= length) return;
  line[second] = '\0';
  reason = line + second + 1;
}

bool FirewallTunnel::SplitHeader(std::string_view& name, std::string_view& value) {
  const std::string_view line = lineText.View();
  if (line.empty()) return false;
  bool quoted = false;
  size_t colon = 0;
  while (colon < line.size() && (quoted || line[colon] != ':')) {
    if (line[colon] == '"') quoted = !quoted;
    ++colon;
  }
  name = line.substr(0, colon);
  value = colon < line.size() ? line.substr(colon + 1) : std::string_view();
  while (!value.empty() && (value.front() == ' ' || value.front() == '\t'))
    value.remove_prefix(1);
  return true;
}

bool FirewallTunnel::ReadBodyHeader(std::string_view name, std::string_view value) {
  if (SameNoCase(name, "Content-Length")) {
    BufStr20 digits;
    digits.Assign(value);
    bodyLength = ParseDec32(digits.Data());
    bodyRead = 0;
    // For Digest a length takes the place of an earlier chunked coding.
    if (firewallType == fwDigestTunnel) chunked = 0;
    return true;
  }
  if (!SameNoCase(name, "Transfer-Encoding")) return false;
  if (SameNoCase(value, "chunked")) chunked = 1;
  return true;
}

bool FirewallTunnel::ReadChunkSize() {
  if (lineText.IsEmpty()) return false;
  bodyLength = ParseHex32(lineText.Data());
  bodyRead = 0;
  return true;
}

void FirewallTunnel::RejectStatus(const char* prefix, int code, const char* reason,
                                  const BufStrBase& reported) {
  BufStr text;
  text.AppendText(prefix);
  text.AppendDecimal(code);
  text.AppendChar(' ');
  text.AppendText(reason);
  RejectTunnel(reported.Data(), text.Data());
}

int FirewallTunnel::DigestLine(int) {
  BufStr line;
  line.Assign(lineText);
  std::string_view name;
  std::string_view value;
  int code = 0;
  const char* reason = "";
  switch (phase) {
  case lpStatus:
    SplitStatus(code, reason);
    if (code == 401 || code == 407) {
      bodyLength = bodyRead = chunked = 0;
      phase = lpHeaders;
    } else if (code / 100 == 2) {
      // Answered without a challenge: its headers are skipped before the tunnel is up.
      bodyLength = bodyRead = chunked = 0;
      phase = lpDigestSkip;
    } else {
      RejectStatus("Firewall error while attempting digest authentication. Expected a status "
                   "code beginning with 2 but got: ",
                   code, reason, line);
      return errTunnelFailed;
    }
    break;
  case lpHeaders:
    if (SplitHeader(name, value)) {
      if (!ReadBodyHeader(name, value) && SameNoCase(name, "Proxy-Authenticate") &&
          value.starts_with("Digest")) {
        const size_t blank = value.find(' ');
        ParseDigestChallenge(digest, blank == std::string_view::npos ? std::string_view()
                                                                     : value.substr(blank + 1));
      }
    } else if (chunked) {
      phase = lpDigestChunk;
    } else if (bodyLength <= 0) {
      // No body follows: the answer goes out at once.
      lineText.Clear();
      SendDigestAnswer();
      return errNone;
    } else {
      phase = lpBody;
      owner.SetWireTerminator(nullptr, 0);
    }
    break;
  case lpBody:
    bodyRead += lineText.Length();
    if (chunked) {
      if (bodyRead < bodyLength)
        bodyRead += 2; // the CRLF that line mode took away
      else
        phase = lpDigestChunk;
    } else if (bodyRead >= bodyLength) {
      lineText.Clear();
      SendDigestAnswer();
      return errNone;
    }
    break;
  case lpDigestChunk:
    if (ReadChunkSize()) phase = bodyLength == 0 ? lpDigestAnswer : lpBody;
    break;
  case lpDigestAnswer:
    // The trailer of a chunked body ends with its empty line.
    if (lineText.IsEmpty()) {
      SendDigestAnswer();
      return errNone;
    }
    break;
  case lpDigestStatus:
    if (!AcceptFinalStatus("Firewall error after digest authentication. Expected a status code "
                           "beginning with 2 but got: ",
                           line, lpDigestSkip))
      return errTunnelFailed;
    break;
  case lpDigestSkip:
    if (lineText.IsEmpty()) {
      phase = lpDone;
      lineText.Clear();
      Connected();
      return errNone;
    }
    break;
  default:
    break;
  }
  lineText.Clear();
  return errNone;
}

void FirewallTunnel::SendDigestAnswer() {
  if (digest.nonce.IsEmpty())
    return AbortTunnel("Firewall asked for authentication without a Digest challenge.");
  digest.user.Assign(firewallUser);
  digest.password.Assign(firewallPassword);
  BufStr50 uri;
  if (digestUri.IsEmpty()) {
    uri.Append(owner.remoteHost);
    uri.AppendChar(':');
    uri.AppendDecimal(owner.remotePort);
  } else {
    uri.Assign(digestUri);
  }
  BufStr answer;
  if (SetDigestRequest(digest, "CONNECT", uri.View(), nullptr, 0) != errNone ||
      BuildDigestHeader(digest, answer, false) != errNone)
    return AbortTunnel(digest.errorText.IsEmpty() ? "Out of memory." : digest.errorText.Data());
  BufStr request;
  AppendConnectLine(request, true);
  request.AppendText("\r\nProxy-Authorization: ");
  request.Append(answer);
  AppendUserAgentAndEnd(request);
  // The final answer is read as lines again, whatever the body was read as.
  owner.SetWireTerminator("\r\n", 2);
  phase = lpDigestStatus;
  SendStep(request);
}

int FirewallTunnel::AuthTokenLine(int) {
  BufStr line;
  line.Assign(lineText);
  std::string_view name;
  std::string_view value;
  int code = 0;
  const char* reason = "";
  switch (phase) {
  case lpStatus:
    SplitStatus(code, reason);
    if (code != 401 && code != 407 && code != 200) {
      RejectStatus("Firewall error while attempting NTLM authentication. Expected 401 or 407 but "
                   "got: ",
                   code, reason, line);
      return errTunnelFailed;
    }
    bodyLength = bodyRead = chunked = 0;
    replyBytes.Clear();
    phase = code == 200 ? lpSkipHeaders : lpHeaders;
    break;
  case lpHeaders:
    if (SplitHeader(name, value)) {
      const std::string_view scheme = SchemeOf(firewallType);
      if (!ReadBodyHeader(name, value) && SameNoCase(name, "Proxy-Authenticate") &&
          StartsWithNoCase(value, scheme)) {
        // Of several challenges of the scheme the last one counts.
        const std::string_view rest = value.substr(scheme.size());
        replyBytes.Assign(rest.starts_with(' ') ? rest.substr(1) : rest);
      }
      break;
    }
    if (chunked) {
      phase = lpTokenChunk;
      break;
    }
    phase = lpBody;
    if (bodyLength > 0) {
      // A body of known length comes raw: its lines need not end in CRLF.
      owner.SetWireTerminator(nullptr, 0);
      break;
    }
    lineText.Clear();
    [[fallthrough]];
  case lpBody:
    // Raw bytes count as they are; a chunk's lines lost their CRLF to line mode.
    bodyRead += lineText.Length() + (chunked ? 2 : 0);
    lineText.Clear();
    if (bodyRead < bodyLength) return errNone;
    if (chunked && bodyLength != 0) {
      phase = lpTokenChunk;
      return errNone;
    }
    owner.SetWireTerminator("\r\n", 2);
    SendAuthToken(replyBytes.Data());
    return errNone;
  case lpTokenStatus:
    if (!AcceptFinalStatus("Firewall error after NTLM authentication. Expected a status code "
                           "beginning with 2 but got: ",
                           line, lpSkipHeaders))
      return errTunnelFailed;
    break;
  case lpSkipHeaders:
    if (lineText.IsEmpty()) {
      Connected();
      return errNone;
    }
    break;
  case lpTokenChunk:
    if (ReadChunkSize()) phase = lpBody;
    break;
  default:
    break;
  }
  lineText.Clear();
  return errNone;
}

void FirewallTunnel::SendAuthToken(const char* challenge) {
  const char* scheme = SchemeOf(firewallType);
  BufStr token;
  if (owner.MakeTunnelToken(token, scheme, owner.remoteHost.Data(), challenge) != errNone)
    return AbortTunnel(nullptr);
  bodyLength = bodyRead = chunked = 0;
  phase = lpTokenStatus;
  SendTokenRequest(scheme, token);
}

void FirewallTunnel::SendTokenRequest(const char* scheme, const BufStrBase& token) {
  BufStr request;
  AppendConnectLine(request, false);
  request.AppendText("\r\nProxy-Authorization: ");
  request.AppendText(scheme);
  request.AppendChar(' ');
  request.Append(token);
  request.AppendText("\r\nProxy-Connection: Keep-Alive");
  AppendUserAgentAndEnd(request);
  SendStep(request);
}

bool FirewallTunnel::AcceptFinalStatus(const char* prefix, const BufStrBase& line, uint8_t next) {
  int code = 0;
  const char* reason = "";
  SplitStatus(code, reason);
  if (code / 100 != 2) {
    RejectStatus(prefix, code, reason, line);
    return false;
  }
  phase = next;
  return true;
}

} // namespace quillon
