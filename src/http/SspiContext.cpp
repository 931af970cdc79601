// Which engine runs an exchange is fixed when its credentials are loaded:
//   Negotiate, UseSystemSSPI on, GSS-API present  -> the security package (SPNEGO, Kerberos)
//   NTLM with UseSystemSSPI on                     -> NtlmContext with NTLMv2, as the system's
//                                                     own NTLM package would answer
//   anything else                                  -> NtlmContext, NTLMv2 only with UseNTLMv2
#include "http/SspiContext.h"

#include "frame/Errors.h"
#include "frame/Text.h"

#include <cstdio>

namespace quillon {

namespace {
constexpr std::string_view kKerberosOid = "\x2a\x86\x48\x86\xf7\x12\x01\x02\x02";
}

SspiContext::SspiContext() {
  package.Assign("NTLM");
}

int SspiContext::Fail(int code, const char* text) {
  errorText.Assign(text);
  return code;
}

int SspiContext::FailStatus(int code, const char* head, uint32_t status) {
  if (status == platform::kSecurityLibraryMissing)
    return Fail(errSignOnLibrary, "The security library could not be loaded");
  char number[16];
  std::snprintf(number, sizeof number, "0x%x", status);
  errorText.Assign(head);
  errorText.Append(number);
  errorText.Append("): ");
  errorText.Append(session.errorText.IsEmpty() ? std::string_view("Unknown error.")
                                               : session.errorText.View());
  return code;
}

int SspiContext::MakeAuthToken(BufStrBase& out, std::string_view packageName,
                               std::string_view target, std::string_view token) {
  out.Clear();
  BufStr decoded;
  if (int rc = decoded.Assign(token); rc != errNone) return Fail(rc, "out of memory.");
  Base64Decode(decoded, false);
  BufStr result;
  int rc = errNone;
  if (systemEngine) {
    rc = token.empty() ? FirstToken(result, target)
                       : ConsumeToken(result, target, decoded.View(), channelBindings.View(),
                                      ExtendedProtection != 0);
  } else if (!token.empty() && decoded.IsEmpty()) {
    // Text that decodes to nothing must not restart the exchange with a new Type 1 message.
    rc = Fail(errNtlmToken,
              "Could not process server's NTLM authentication token: invalid signature.");
  } else {
    rc = ntlm.NtlmStep(result, packageName, target, decoded.View());
    if (rc != errNone) errorText.Assign(ntlm.errorText);
  }
  if (rc != errNone) return rc;
  return Base64Encode(out, result.Data(), result.Length(), false, 0, false);
}

int SspiContext::LoadExchangeCredentials(std::string_view packageName, std::string_view userText,
                                         std::string_view passwordText) {
  systemEngine =
      UseSystemSSPI && packageName == "Negotiate" && platform::SecurityLibraryAvailable();
  if (systemEngine) return LoadSystemCredentials(packageName, userText, passwordText);
  ntlm.useNtlmV2 = (UseSystemSSPI || UseNTLMv2) ? 1 : 0;
  const int rc = ntlm.LoadCredentials(packageName, userText, passwordText);
  return rc == errNone ? errNone : Fail(rc, "out of memory.");
}

int SspiContext::LoadSystemCredentials(std::string_view packageName, std::string_view userText,
                                       std::string_view passwordText) {
  // The same split as NtlmContext's.
  int rc = ntlm.LoadCredentials(packageName, userText, passwordText);
  if (rc == errNone) rc = package.Assign(packageName);
  if (rc == errNone) rc = user.Assign(ntlm.user);
  if (rc == errNone) rc = domain.Assign(ntlm.domain);
  if (rc == errNone) rc = password.Assign(passwordText);
  if (rc != errNone) return Fail(rc, "out of memory.");
  session.DeleteContext();
  return AcquireCredentials();
}

int SspiContext::AcquireCredentials() {
  session.FreeCredentials();
  // DOMAIN\user and user@DOMAIN both become the principal user@DOMAIN; no user: the cache's.
  BufStr principal;
  int rc = principal.Assign(user);
  if (rc == errNone && !domain.IsEmpty()) rc = principal.AppendChar('@');
  if (rc == errNone) rc = principal.Append(domain);
  if (rc != errNone) return Fail(rc, "out of memory.");
  const uint32_t status = session.AcquireCredentials(principal.View(), password.View());
  if (status != 0)
    return FailStatus(errAcquireCredentials, "Could not acquire security credentials (", status);
  return errNone;
}

int SspiContext::FirstToken(BufStrBase& out, std::string_view target) {
  session.DeleteContext();
  BufStr name;
  if (int rc = ServiceName(name, target); rc != errNone) return Fail(rc, "out of memory.");
  bool complete = false;
  const uint32_t status = session.Step(name.View(), {}, {}, out, complete);
  if (status != 0)
    return FailStatus(errInitializeContext, "Could not initialize security context (", status);
  if (out.Length() > kMaxSecurityToken)
    return Fail(errTokenBoundary,
                "Error computing Authentication Token: buffer boundary exceeded.");
  return errNone;
}

int SspiContext::ConsumeToken(BufStrBase& out, std::string_view target, std::string_view token,
                              std::string_view bindings, bool extendedProtection) {
  BufStr name;
  if (int rc = ServiceName(name, target); rc != errNone) return Fail(rc, "out of memory.");
  if (!session.HasContext())
    return Fail(errConsumeToken, "Error consuming security token (0x0): Unknown error.");
  bool complete = false;
  const uint32_t status = session.Step(
      name.View(), token, extendedProtection ? bindings : std::string_view(), out, complete);
  if (status != 0) return FailStatus(errConsumeToken, "Error consuming security token (", status);
  if (out.Length() > kMaxSecurityToken)
    return Fail(errTokenBoundary,
                "Error computing Authentication Token: buffer boundary exceeded.");
  return errNone;
}

bool SspiContext::TokenIsKerberos(std::string_view base64Token) {
  BufStr decoded;
  if (decoded.Assign(base64Token) != errNone) return false;
  Base64Decode(decoded, false);
  return decoded.Find(kKerberosOid) >= 0;
}

int SspiContext::ServiceName(BufStrBase& out, std::string_view target) {
  int rc = out.Assign(target);
  const int slash = out.Find("/");
  if (rc == errNone && slash >= 0 && out.Find("@") < 0) out.Data()[slash] = '@';
  return rc;
}

} // namespace quillon
