// The user's proxy settings: the three values ProxyEnable, ProxyServer and ProxyOverride, read
// from the environment as curl reads it, how a proxy list is taken apart for a scheme or for a
// SOCKS server, and the bypass test of the override list. The callers apply what they find.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

struct SystemProxySettings {
  bool proxyEnable = false;  // one of the proxy variables is set
  bool serverRead = false;   // proxyServer holds a list
  BufStr proxyServer;        // "http=host:port;https=host:port;socks=host:port", entries as found
  bool overrideRead = false; // proxyOverride holds a list
  BufStr proxyOverride;      // no_proxy with ";" between entries and "*." for a leading "."
  uint8_t socksVersion = 0;  // 4 or 5 for the "socks=" entry; 0 without one
  BufStr20 httpUser;         // credentials written into the variables, percent-decoded
  BufStr20 httpPassword;
  BufStr20 httpsUser;
  BufStr20 httpsPassword;
  BufStr20 socksUser;
  BufStr20 socksPassword;
};

// Reads http_proxy, https_proxy and all_proxy (each in lower case first, then upper case) and
// no_proxy. A variable missing or empty counts as not set; one with a scheme curl doesn't proxy
// by is passed over. 0 or 200.
int ReadSystemProxySettings(SystemProxySettings& out);

// The proxy that `list` names for `scheme` (lower case): the entry "scheme=host[:port]", or the
// first bare entry, whichever comes first. False when there is none. `port` is 0 unless the entry
// has a port other than 0.
bool ProxyForScheme(std::string_view list, std::string_view scheme, BufStrBase& host,
                    int32_t& port);
// The SOCKS server of `list`: what follows "socks=", up to ";". False unless it has a host and a
// non-empty port part; `port` may still be 0.
bool SocksServerFromList(std::string_view list, BufStrBase& host, int32_t& port);

// Whether the target bypasses the proxy by the system's override list; false when there is none.
// `host` and `scheme` may be null, `port` 0.
bool BypassesProxy(const char* host, int port, const char* scheme);
// The same test over a given list.
bool BypassListMatches(std::string_view list, const char* host, int port, const char* scheme);
// The override pattern match: stars match any run, without backtracking.
bool MatchesBypassPattern(std::string_view pattern, std::string_view text);

} // namespace quillon
