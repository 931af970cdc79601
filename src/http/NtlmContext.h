// The component's own NTLMSSP client: the negotiate (Type 1) message, the reading of the server's
// challenge (Type 2) and the authenticate (Type 3) answer with NTLMv1, NTLMv1 with extended
// session security or NTLMv2. Base64 and the HTTP headers are left to the caller.
#pragma once

#include "frame/BufStr.h"
#include "frame/StrList.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// Negotiate flags the messages carry.
enum NtlmFlag : uint32_t {
  ntlmUnicode = 0x1,
  ntlmOem = 0x2,
  ntlmRequestTarget = 0x4,
  ntlmNtlm = 0x200,
  ntlmLmCopiesNt = 0x400, // the LM response of NTLMv1 without extended security copies the NT one
  ntlmDomainSupplied = 0x1000,
  ntlmWorkstationSupplied = 0x2000,
  ntlmExtendedSecurity = 0x80000,
  ntlmTargetInfo = 0x800000,
};

// The flags of every negotiate message: Unicode, OEM, request target, NTLM, always sign,
// extended session security, version, 128-bit and 56-bit.
constexpr uint32_t kNtlmNegotiateFlags = 0xA2088207;
// Target info pair ids that the client reads or adds.
constexpr int kNtlmPairTimestamp = 7;
constexpr int kNtlmPairChannelBindings = 10;

// The server's challenge as read from a Type 2 message.
struct NtlmChallenge {
  uint32_t serverFlags = 0;
  uint8_t challenge[8] = {};
  uint8_t context[8] = {}; // read, not used
  uint8_t version[8] = {}; // read, not used
  BufStr20 targetName;     // the bytes as sent, in the server's charset
  StrList pairIds;         // target info pairs, in the order sent, without the closing pair
  StrList pairLengths;
  StrList pairValues;
  uint64_t timestamp = 0; // the server's time (pair 7), 100 ns units since 1601; 0 when absent
};

class NtlmContext {
public:
  // Operations. Each returns 0, a container's code (200), or -1 with errorText set.
  // Stores the package and the password and splits `user` into user name and domain at the
  // first "\" (domain first) or "@" (domain last), whichever comes first.
  int LoadCredentials(std::string_view packageName, std::string_view userText,
                      std::string_view passwordText);
  // One step of the exchange: with an empty `token` the Type 1 message, else the Type 3 message
  // that answers the Type 2 message `token`. `out` receives the binary message.
  int NtlmStep(BufStrBase& out, std::string_view packageName, std::string_view target,
               std::string_view token);

  // The steps of NtlmStep on their own.
  int MakeNegotiate(BufStrBase& out);
  // Reads a Type 2 message and adjusts `flags` to it. Every length and offset is checked against
  // the message: a field outside it fails the step, never a read beyond it.
  int ReadChallenge(std::string_view message, NtlmChallenge& challenge);
  int MakeAuthenticate(BufStrBase& out, const NtlmChallenge& challenge);

  // Fields
  uint32_t flags = kNtlmNegotiateFlags; // sent in Type 1, adjusted by Type 2, sent in Type 3
  BufStr20 user;                        // user name without the domain
  BufStr20 domain;                      // empty unless the user text had one
  BufStr20 password;
  BufStr20 workstation;     // sent when not empty; nothing in the component sets it
  BufStr20 targetHost;      // the host or service of the current exchange; stored, not sent
  BufStr20 errorText;       // the message of the latest failure
  BufStr20 package;         // "NTLM" or "Negotiate"
  BufStr serverCertificate; // PEM or DER; when set, NTLMv2 adds the channel binding pair
  uint32_t useNtlmV2 = 0;   // answer with NTLMv2 instead of NTLMv1 with extended security
  // For tests: a fixed client nonce (8 bytes) and a fixed blob time instead of fresh ones.
  BufStr20 fixedClientNonce;
  bool useFixedTime = false;
  uint64_t fixedTime = 0;

  NtlmContext();

private:
  int Fail(int code, const char* text);
  int MakeClientNonce(uint8_t nonce[8]);
  int NtlmV1Responses(const NtlmChallenge& challenge, BufStrBase& lm, BufStrBase& nt);
  int NtlmV2Responses(const NtlmChallenge& challenge, BufStrBase& lm, BufStrBase& nt);
  int AppendBlob(BufStrBase& blob, const NtlmChallenge& challenge, const uint8_t nonce[8]);
};

// Helpers shared by the responses and their tests.
// Appends `text` (UTF-8) as UTF-16LE: as many bytes as its UTF-16 form has.
int AppendUtf16Le(BufStrBase& out, std::string_view text, bool upperCase);
// MD4 of the password in UTF-16LE (NTOWFv1).
int NtlmNtHash(BufStrBase& out, std::string_view password);
// The LM hash (LMOWFv1): the upper-cased password, cut or padded to 14 bytes, encrypting
// "KGS!@#$%" under each half.
int NtlmLmHash(BufStrBase& out, std::string_view password);
// Appends the 24 bytes of the three DES encryptions of `data` under the 16 bytes of `keyMaterial`
// padded to 21.
void NtlmDesResponse(BufStrBase& out, std::string_view keyMaterial, const uint8_t data[8]);
// The channel binding value (16 bytes) of a server certificate, PEM or DER.
int NtlmChannelBinding(BufStrBase& out, std::string_view certificate);

} // namespace quillon
