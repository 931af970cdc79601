// The common front of NTLM and Negotiate: one step of the exchange from the server's base64
// token to the next one, on the system's security package (GSS-API, for Negotiate) or on our own
// NtlmContext. The HTTP link, the proxy and the tunnel each keep one.
#pragma once

#include "frame/BufStr.h"
#include "http/NtlmContext.h"
#include "platform/SecurityPackage.h"

#include <cstdint>
#include <string_view>

namespace quillon {

enum SignOnError : int {
  errNtlmToken = -1,           // the server's NTLM token was not understood (NtlmContext's text)
  errSignOnLibrary = 270,      // "The security library could not be loaded"
  errAcquireCredentials = 880, // "Could not acquire security credentials (0x...): ..."
  errConsumeToken = 881,       // "Error consuming security token (0x...): ..." or bindings
  errInitializeContext = 882,  // "Could not initialize security context (0x...): ..."
  errTokenBoundary = 883,      // "Error computing Authentication Token: buffer boundary exceeded."
};

// The longest token the security package may give.
constexpr int kMaxSecurityToken = 4096;

class SspiContext {
public:
  SspiContext();

  // Operations. Each returns 0 or a code with errorText set.
  // One step: `token` is the server's base64 token, or empty to begin; `out` receives base64.
  int MakeAuthToken(BufStrBase& out, std::string_view packageName, std::string_view target,
                    std::string_view token);
  // Starts an exchange with the engine that serves `packageName`: the security package for
  // "Negotiate" with UseSystemSSPI on and the library present, NtlmContext otherwise.
  int LoadExchangeCredentials(std::string_view packageName, std::string_view userText,
                              std::string_view passwordText);
  // Stores the credentials, ends any context, frees any credential and acquires new ones.
  int LoadSystemCredentials(std::string_view packageName, std::string_view userText,
                            std::string_view passwordText);
  int AcquireCredentials();
  int FirstToken(BufStrBase& out, std::string_view target);
  int ConsumeToken(BufStrBase& out, std::string_view target, std::string_view token,
                   std::string_view bindings, bool extendedProtection);
  // True when the decoded token holds the Kerberos object identifier.
  static bool TokenIsKerberos(std::string_view base64Token);
  // "HTTP/host" as the library names a host-based service: "HTTP@host".
  static int ServiceName(BufStrBase& out, std::string_view target);

  // Fields
  BufStr errorText; // the message of the latest failure
  BufStr20 package; // "NTLM" or "Negotiate"
  BufStr20 user;
  BufStr20 domain;
  BufStr20 password;
  NtlmContext ntlm;
  platform::SecuritySession session;
  bool systemEngine = false;      // this exchange runs on the security package
  int32_t UseSystemSSPI = 1;      // Config key
  int32_t ExtendedProtection = 1; // Config key: send the channel bindings when there are some
  int32_t UseNTLMv2 = 0;          // Config key: NTLMv2 on our own engine (else v1 with extended
                                  // security); the NTLM package of the system always uses v2
  BufStr channelBindings;         // application data of the TLS channel's bindings; empty when none

private:
  int Fail(int code, const char* text);
  // code, the text's head, "0x%x", "): " and the library's text (or "Unknown error.").
  int FailStatus(int code, const char* head, uint32_t status);
};

} // namespace quillon
