// The three NTLMSSP messages. Type 1 and Type 3 are built as fixed headers of security buffers
// (length u16, the same again, offset u32) followed by their payload; the Type 2 reader checks
// every number against the message before it touches the bytes it names:
//   signature (8) | type (4) | target name buffer (8) | flags (4) | challenge (8)   <- 32 needed
//   context (8) | target info buffer (8) | version (8)                              <- cut at end
#include "http/NtlmContext.h"

#include "frame/Errors.h"

#include <cstring>

namespace quillon {

namespace {
constexpr char kSignature[] = "NTLMSSP"; // with its NUL, 8 bytes
constexpr int kNegotiateHeader = 40;
constexpr int kAuthenticateHeader = 72;
constexpr int kChallengeMinimum = 32; // up to and including the server challenge

#define NTLM_TOKEN_ERROR "Could not process server's NTLM authentication token: "

void PutU16(char* at, uint32_t value) {
  at[0] = static_cast<char>(value & 0xFF);
  at[1] = static_cast<char>((value >> 8) & 0xFF);
}
void PutU32(char* at, uint32_t value) {
  PutU16(at, value & 0xFFFF);
  PutU16(at + 2, value >> 16);
}
uint32_t GetU16(std::string_view bytes, size_t at) {
  return static_cast<uint8_t>(bytes[at]) | (static_cast<uint8_t>(bytes[at + 1]) << 8);
}
uint32_t GetU32(std::string_view bytes, size_t at) {
  return GetU16(bytes, at) | (GetU16(bytes, at + 2) << 16);
}
// The eight bytes at `at`, cut at the end of the message (the rest stays zero).
void CopyCut(std::string_view bytes, size_t at, uint8_t eight[8]) {
  std::memset(eight, 0, 8);
  if (at < bytes.size())
    std::memcpy(eight, bytes.data() + at, std::min<size_t>(8, bytes.size() - at));
}
// The header of a message: signature, type, zeros to `headerLength`, version 15 at `versionAt`.
int StartMessage(BufStrBase& out, uint32_t type, int headerLength, int versionAt) {
  if (int rc = out.Resize(headerLength, nullptr); rc != errNone) return rc;
  char* at = out.Data();
  std::memset(at, 0, headerLength);
  std::memcpy(at, kSignature, 8);
  PutU32(at + 8, type);
  at[versionAt + 7] = 15;
  return errNone;
}
// Appends `item` to the payload and points the security buffer at `bufferAt` to it. An empty
// item leaves the eight bytes zero.
int AddItem(BufStrBase& out, int bufferAt, std::string_view item) {
  if (item.empty()) return errNone;
  const int offset = out.Length();
  if (int rc = out.Append(item); rc != errNone) return rc;
  char* at = out.Data() + bufferAt;
  PutU16(at, static_cast<uint32_t>(item.size()));
  PutU16(at + 2, static_cast<uint32_t>(item.size()));
  PutU32(at + 4, static_cast<uint32_t>(offset));
  return errNone;
}
} // namespace

NtlmContext::NtlmContext() {
  package.Assign("NTLM");
}

int NtlmContext::Fail(int code, const char* text) {
  errorText.Assign(text);
  return code;
}

int NtlmContext::LoadCredentials(std::string_view packageName, std::string_view userText,
                                 std::string_view passwordText) {
  int rc = package.Assign(packageName);
  if (rc == errNone) rc = password.Assign(passwordText);
  if (rc != errNone) return rc;
  const size_t backslash = userText.find('\\');
  const size_t at = userText.find('@');
  if (backslash != std::string_view::npos && (at == std::string_view::npos || backslash < at)) {
    rc = domain.Assign(userText.substr(0, backslash));
    if (rc == errNone) rc = user.Assign(userText.substr(backslash + 1));
  } else if (at != std::string_view::npos) {
    rc = user.Assign(userText.substr(0, at));
    if (rc == errNone) rc = domain.Assign(userText.substr(at + 1));
  } else {
    domain.Clear();
    rc = user.Assign(userText);
  }
  return rc;
}

int NtlmContext::NtlmStep(BufStrBase& out, std::string_view packageName, std::string_view target,
                          std::string_view token) {
  int rc = targetHost.Assign(target);
  if (rc == errNone) rc = package.Assign(packageName);
  if (rc != errNone) return rc;
  out.Clear();
  if (token.empty()) return MakeNegotiate(out);
  NtlmChallenge challenge;
  if (rc = ReadChallenge(token, challenge); rc != errNone) return rc;
  return MakeAuthenticate(out, challenge);
}

int NtlmContext::MakeNegotiate(BufStrBase& out) {
  flags = kNtlmNegotiateFlags;
  uint32_t sent = flags;
  if (!domain.IsEmpty()) sent |= ntlmDomainSupplied;
  if (!workstation.IsEmpty()) sent |= ntlmWorkstationSupplied;
  int rc = StartMessage(out, 1, kNegotiateHeader, 32);
  if (rc != errNone) return rc;
  PutU32(out.Data() + 12, sent);
  rc = AddItem(out, 16, domain.View());
  if (rc == errNone) rc = AddItem(out, 24, workstation.View());
  return rc;
}

int NtlmContext::ReadChallenge(std::string_view message, NtlmChallenge& challenge) {
  // The signature runs to the first zero byte, so a shorter message cannot hold it.
  if (message.size() < 8 || std::memcmp(message.data(), kSignature, 8) != 0)
    return Fail(-1, NTLM_TOKEN_ERROR "invalid signature.");
  if (message.size() < 12 || GetU32(message, 8) != 2)
    return Fail(-1, NTLM_TOKEN_ERROR "invalid message type.");
  if (message.size() < kChallengeMinimum) return Fail(-1, NTLM_TOKEN_ERROR "message too short.");
  const uint32_t server = GetU32(message, 20);
  challenge.serverFlags = server;
  if (server & ntlmUnicode)
    flags &= ~static_cast<uint32_t>(ntlmOem);
  else if (!(server & ntlmOem))
    return Fail(-1, NTLM_TOKEN_ERROR "no charset negotiated.");
  if (!(server & (ntlmExtendedSecurity | ntlmNtlm)))
    return Fail(-1, NTLM_TOKEN_ERROR "no NTLM version negotiated.");
  if (server & ntlmRequestTarget) {
    const size_t length = GetU16(message, 12);
    const size_t offset = GetU32(message, 16);
    if (offset > message.size() || length > message.size() - offset)
      return Fail(-1, NTLM_TOKEN_ERROR "target name outside the message.");
    if (int rc = challenge.targetName.Assign(message.substr(offset, length)); rc != errNone)
      return rc;
    flags |= ntlmTargetInfo;
  }
  std::memcpy(challenge.challenge, message.data() + 24, 8);
  CopyCut(message, 32, challenge.context);
  CopyCut(message, 48, challenge.version);
  if (!(server & ntlmTargetInfo)) return errNone;
  if (message.size() < 48) return Fail(-1, NTLM_TOKEN_ERROR "target info outside the message.");
  const size_t infoLength = GetU16(message, 40);
  const size_t infoOffset = GetU32(message, 44);
  if (infoOffset > message.size() || infoLength > message.size() - infoOffset)
    return Fail(-1, NTLM_TOKEN_ERROR "target info outside the message.");
  const std::string_view info = message.substr(infoOffset, infoLength);
  for (size_t at = 0;;) {
    if (info.size() - at < 4) return Fail(-1, NTLM_TOKEN_ERROR "target info does not end.");
    const uint32_t id = GetU16(info, at);
    const size_t length = GetU16(info, at + 2);
    at += 4;
    if (id == 0) break;
    if (length > info.size() - at)
      return Fail(-1, NTLM_TOKEN_ERROR "target info outside the message.");
    const std::string_view value = info.substr(at, length);
    at += length;
    if (id == kNtlmPairTimestamp && length == 8)
      challenge.timestamp = GetU32(value, 0) | (static_cast<uint64_t>(GetU32(value, 4)) << 32);
    int rc = challenge.pairIds.AppendInt(static_cast<int>(id));
    if (rc == errNone) rc = challenge.pairLengths.AppendInt(static_cast<int>(length));
    if (rc == errNone) rc = challenge.pairValues.Append(value);
    if (rc != errNone) return rc;
  }
  return errNone;
}

int NtlmContext::MakeAuthenticate(BufStrBase& out, const NtlmChallenge& challenge) {
  BufStr lm;
  BufStr nt;
  int rc = useNtlmV2 ? NtlmV2Responses(challenge, lm, nt) : NtlmV1Responses(challenge, lm, nt);
  if (rc != errNone) return rc;
  // The names go as UTF-16LE whatever the server's charset flags say.
  BufStr20 wideDomain;
  BufStr20 wideUser;
  BufStr20 wideWorkstation;
  rc = AppendUtf16Le(wideDomain, domain.View(), false);
  if (rc == errNone) rc = AppendUtf16Le(wideUser, user.View(), false);
  if (rc == errNone) rc = AppendUtf16Le(wideWorkstation, workstation.View(), false);
  if (rc == errNone) rc = StartMessage(out, 3, kAuthenticateHeader, 64);
  if (rc != errNone) return Fail(rc, "out of memory.");
  PutU32(out.Data() + 60, flags);
  rc = AddItem(out, 28, wideDomain.View());
  if (rc == errNone) rc = AddItem(out, 36, wideUser.View());
  if (rc == errNone) rc = AddItem(out, 44, wideWorkstation.View());
  if (rc == errNone) rc = AddItem(out, 12, lm.View());
  if (rc == errNone) rc = AddItem(out, 20, nt.View());
  return rc == errNone ? errNone : Fail(rc, "out of memory.");
}

} // namespace quillon
