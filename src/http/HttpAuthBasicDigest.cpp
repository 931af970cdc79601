// Authorization and Proxy-Authorization as the request composer sends them. They are formed
// anew on every URL change, on every retry after a 401 or 407 and whenever a credential or
// scheme changes. Basic is formed from the credentials alone; Digest needs a challenge first, so
// its first request goes out without the header. NTLM and Negotiate tokens come from the
// sign-on front (HttpAuthToken.cpp).
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

namespace quillon {

namespace {
// "Basic " and the base64 of user, colon and password, in one line.
int FormBasic(BufStrBase& out, const BufStrBase& user, const BufStrBase& password) {
  BufStr credentials;
  int rc = credentials.Append(user);
  if (rc == errNone) rc = credentials.AppendChar(':');
  if (rc == errNone) rc = credentials.Append(password);
  if (rc == errNone) rc = out.Assign("Basic ");
  if (rc == errNone)
    rc = Base64Encode(out, credentials.Data(), credentials.Length(), false, 0, false);
  return rc;
}

bool IsTokenScheme(AuthSchemes scheme) {
  return scheme == authNtlm || scheme == authNegotiate;
}
} // namespace

int HttpClient::FormDigest(DigestState& state, const BufStrBase& user, const BufStrBase& password,
                           BufStrBase& out, bool withAlgorithm) {
  int rc = state.user.Assign(user);
  if (rc == errNone) rc = state.password.Assign(password);
  if (rc == errNone)
    rc = SetDigestRequest(state, RequestMethod.View(), URLPath.View(), PostData.Data(),
                          PostData.Length());
  if (rc == errNone) rc = BuildDigestHeader(state, out, withAlgorithm);
  if (rc == kDigestUnknownQop) return Fail(errDigest, state.errorText.Data());
  return rc;
}

int HttpClient::FormAuthorization() {
  KerberosFirstToken = 0;
  // The caller's own value goes out word for word.
  if (AuthScheme == authProprietary || AuthScheme == authOAuth) return errNone;
  Authorization.Clear();
  if (User.IsEmpty() && Password.IsEmpty() && !IsTokenScheme(AuthScheme)) return errNone;
  switch (AuthScheme) {
  case authBasic:
    return FormBasic(Authorization, User, Password);
  case authDigest:
    return FormDigest(serverDigest, User, Password, Authorization, true);
  case authNtlm:
  case authNegotiate:
    return FormTokenAuthorization(serverSignOn, AuthScheme, URLServer.View(), ServerToken, User,
                                  Password, Authorization);
  default:
    return errNone;
  }
}

int HttpClient::FormProxyAuthorization() {
  if (ProxyAuthScheme == authProprietary) return errNone;
  ProxyAuthorization.Clear();
  switch (ProxyAuthScheme) {
  case authBasic:
    if (ProxyUser.IsEmpty() && ProxyPassword.IsEmpty()) return errNone;
    return FormBasic(ProxyAuthorization, ProxyUser, ProxyPassword);
  case authDigest:
    // Proxies get no algorithm parameter.
    return FormDigest(proxyDigest, ProxyUser, ProxyPassword, ProxyAuthorization, false);
  case authNtlm:
  case authNegotiate:
    return FormTokenAuthorization(proxySignOn, ProxyAuthScheme, ProxyServer.View(),
                                  ProxyServerToken, ProxyUser, ProxyPassword, ProxyAuthorization);
  default:
    return errNone;
  }
}

int HttpClient::SetUser(std::string_view text) {
  if (int rc = User.Assign(text); rc != errNone) return rc;
  ServerToken.Clear();
  return IsTokenScheme(AuthScheme) ? errNone : FormAuthorization();
}

int HttpClient::SetPassword(std::string_view text) {
  if (int rc = Password.Assign(text); rc != errNone) return rc;
  ServerToken.Clear();
  return IsTokenScheme(AuthScheme) ? errNone : FormAuthorization();
}

int HttpClient::SetProxyUser(std::string_view text) {
  if (int rc = ProxyUser.Assign(text); rc != errNone) return rc;
  return FormProxyAuthorization();
}

int HttpClient::SetProxyPassword(std::string_view text) {
  if (int rc = ProxyPassword.Assign(text); rc != errNone) return rc;
  return FormProxyAuthorization();
}

int HttpClient::SetAuthScheme(int value) {
  const auto scheme = static_cast<AuthSchemes>(value & 0xFF);
  ServerToken.Clear();
  // Credentials belong to the scheme they were given for.
  if (scheme != AuthScheme) {
    User.Clear();
    Password.Clear();
    Authorization.Clear();
  }
  AuthScheme = scheme;
  if (IsTokenScheme(scheme)) KeepAlive = 1; // the token exchanges need one connection throughout
  return errNone;
}

int HttpClient::SetProxyAuthScheme(int value) {
  const auto scheme = static_cast<AuthSchemes>(value & 0xFF);
  ProxyServerToken.Clear();
  if (scheme != ProxyAuthScheme) {
    ProxyAuthorization.Clear();
    if (scheme == authNone) {
      ProxyUser.Clear();
      ProxyPassword.Clear();
    }
  }
  ProxyAuthScheme = scheme;
  if (scheme == authNtlm) KeepAlive = 1;
  return errNone;
}

int HttpClient::SetAuthorization(std::string_view text) {
  if (AuthScheme != authProprietary && AuthScheme != authOAuth) AuthScheme = authProprietary;
  return Authorization.Assign(text);
}

} // namespace quillon
