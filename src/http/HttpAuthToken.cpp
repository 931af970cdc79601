// The Authorization and Proxy-Authorization values of NTLM and Negotiate. A leg without a server
// token starts the exchange (credentials loaded into the engine, first token); a leg with one
// answers it. With Negotiate the first token tells whether the body may go with that leg: a
// Kerberos token is complete in itself, one that wraps NTLM will be challenged. The NTLM and
// Negotiate tunnels of the port run on the proxy's exchange.
#include "http/HttpClient.h"

#include "frame/ConfigRequest.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "platform/TlsProvider.h"

namespace quillon {

int HttpClient::FormTokenAuthorization(SspiContext& signOn, AuthSchemes scheme,
                                       std::string_view host, const BufStrBase& serverToken,
                                       const BufStrBase& user, const BufStrBase& password,
                                       BufStrBase& header) {
  header.Clear();
  const bool negotiate = scheme == authNegotiate;
  const std::string_view package = negotiate ? "Negotiate" : "NTLM";
  BufStr target;
  int rc = errNone;
  if (negotiate && !KerberosSPN.IsEmpty()) {
    rc = target.Assign(KerberosSPN);
  } else {
    if (negotiate) rc = target.Assign("HTTP/");
    if (rc == errNone) rc = target.Append(host);
  }
  if (rc != errNone) return rc;
  if (serverToken.IsEmpty()) {
    rc = signOn.LoadExchangeCredentials(package, user.View(), password.View());
    if (rc != errNone) return Fail(rc, signOn.errorText.Data());
  }
  // An answer on a TLS channel carries the channel's bindings (tls-server-end-point), which
  // the security package adds when ExtendedProtection asks for them.
  signOn.channelBindings.Clear();
  const unsigned char* bindings = nullptr;
  int bindingsLength = 0;
  if (!serverToken.IsEmpty() && secureEnabled && sslState == 2 && contextHandle &&
      contextHandle->ChannelBinding(bindings, bindingsLength))
    signOn.channelBindings.Assign(reinterpret_cast<const char*>(bindings), bindingsLength);
  BufStr token;
  rc = signOn.MakeAuthToken(token, package, target.View(), serverToken.View());
  if (rc != errNone) return Fail(rc, signOn.errorText.Data());
  if (serverToken.IsEmpty() && negotiate && &header == &Authorization)
    KerberosFirstToken = SspiContext::TokenIsKerberos(token.View()) ? 1 : 0;
  rc = header.Assign(package);
  if (rc == errNone) rc = header.AppendChar(' ');
  if (rc == errNone) rc = header.Append(token);
  return rc;
}

int HttpClient::LoadTunnelCredentials(const char* scheme, const char* user, const char* password) {
  const int rc = proxySignOn.LoadExchangeCredentials(scheme, user, password);
  return rc == errNone ? errNone : Fail(rc, proxySignOn.errorText.Data());
}

int HttpClient::MakeTunnelToken(BufStrBase& out, const char* scheme, const char* target,
                                const char* challenge) {
  // Kerberos needs the proxy's service name, which KerberosSPN gives; without it the tunnel
  // names its remote host.
  const std::string_view name = std::string_view(scheme) == "Negotiate" && !KerberosSPN.IsEmpty()
                                    ? KerberosSPN.View()
                                    : target;
  const int rc = proxySignOn.MakeAuthToken(out, scheme, name, challenge);
  return rc == errNone ? errNone : Fail(rc, proxySignOn.errorText.Data());
}

int HttpClient::SetKerberosToken(std::string_view text) {
  AuthScheme = authProprietary;
  int rc = Authorization.Assign("Negotiate ");
  if (rc == errNone) rc = Authorization.Append(text);
  return rc;
}

int HttpClient::ConfigSignOn(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  if (EqualsNoCase(name, "KerberosSPN"))
    return request.isGet ? ReturnText(result, KerberosSPN) : KerberosSPN.Assign(request.value);
  int32_t SspiContext::*field = nullptr;
  if (EqualsNoCase(name, "UseSystemSSPI")) field = &SspiContext::UseSystemSSPI;
  if (EqualsNoCase(name, "ExtendedProtection")) field = &SspiContext::ExtendedProtection;
  if (EqualsNoCase(name, "UseNTLMv2")) field = &SspiContext::UseNTLMv2;
  if (!field) return errUnknownConfig;
  if (request.isGet) return ReturnText(result, serverSignOn.*field ? "True" : "False");
  serverSignOn.*field = proxySignOn.*field = IsTrueText(request.value.View()) ? 1 : 0;
  return errNone;
}

} // namespace quillon
