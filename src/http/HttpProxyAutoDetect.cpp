// ProxyAutoDetect: the proxy is taken from the user's settings (SystemProxy.h) for the scheme of
// the URL current at the time of the setting; a URL set later doesn't repeat the reading. An
// "https" URL goes through the proxy as a CONNECT tunnel; the composer fills in the firewall's
// host and port from the proxy when it uses the tunnel.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "http/SystemProxy.h"

namespace quillon {

bool HttpClient::BypassesProxy(const char* host, int port, const char* scheme) {
  return quillon::BypassesProxy(host, port, scheme);
}

int HttpClient::SetProxyAutoDetect(bool on) {
  ProxyAutoDetect = on ? 1 : 0;
  ProxyServer.Clear();
  ProxyPort = DefaultPort;
  tunnel.SetFirewallAutoDetect(on);
  if (!on) return errNone;
  SystemProxySettings settings;
  if (ReadSystemProxySettings(settings) != errNone || !settings.proxyEnable || !settings.serverRead)
    return errNone;
  if (URLScheme.IsEmpty()) URLScheme.Assign(DefaultScheme);
  BufStr20 scheme;
  scheme.Assign(URLScheme);
  scheme.ToLower();
  BufStr host;
  int32_t port = 0;
  if (!ProxyForScheme(settings.proxyServer.View(), scheme.View(), host, port)) return errNone;
  ProxyServer.Assign(host);
  if (port != 0) ProxyPort = port;
  // Credentials written into the variables serve the proxy as curl uses them.
  const bool secure = scheme.View() == "https";
  const BufStrBase& user = secure ? settings.httpsUser : settings.httpUser;
  if (!user.IsEmpty()) {
    SetProxyUser(user.View());
    SetProxyPassword((secure ? settings.httpsPassword : settings.httpPassword).View());
  }
  if (secure) {
    ProxySSL = psTunnel;
    tunnel.firewallType = fwTunnel;
    tunnel.firewallPort = 80;
  } else {
    ProxySSL = psAutomatic;
    tunnel.firewallType = fwNone;
    tunnel.firewallPort = 0;
  }
  return errNone;
}

} // namespace quillon
