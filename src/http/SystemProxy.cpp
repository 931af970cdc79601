// Reading the proxy variables, as curl does:
//   value := [scheme "://"] [user [":" password] "@"] host [":" port] ["/" ...]
// The scheme defaults to http; a port left out is curl's default for the scheme (1080 for http
// and SOCKS, 443 for https). http_proxy and https_proxy give the entries of their scheme, an
// all_proxy with an http scheme serves the schemes not given on their own, and a SOCKS URL in
// any of them gives the "socks=" entry (all_proxy first). no_proxy becomes the override list.
#include "http/SystemProxy.h"

#include "frame/CharClass.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "platform/Environment.h"

namespace quillon {

namespace {

enum ProxyKind { pkNone, pkHttp, pkSocks4, pkSocks5 };

struct ProxyUrl {
  ProxyKind kind = pkNone;
  std::string_view hostPort; // host, and ":" port when the value had one
  int32_t defaultPort = 1080;
  BufStr20 user;
  BufStr20 password;
};

// The first of the lower-case and the upper-case variable that is set and not empty.
const char* ProxyVariable(const char* lower, const char* upper) {
  for (const char* name : {lower, upper}) {
    const char* value = platform::EnvironmentValue(name);
    if (value && *value) return value;
  }
  return nullptr;
}

int PercentDecode(std::string_view text, BufStrBase& out) {
  out.Clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
        HexValue(text[i + 2]) >= 0) {
      const char decoded = static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
      if (out.AppendChar(decoded) != errNone) return errOutOfMemory;
      i += 2;
    } else if (out.AppendChar(text[i]) != errNone) {
      return errOutOfMemory;
    }
  }
  return errNone;
}

int ParseProxyUrl(const char* value, ProxyUrl& url) {
  std::string_view text(value);
  url.kind = pkHttp;
  if (const size_t mark = text.find("://"); mark != std::string_view::npos) {
    const std::string_view scheme = text.substr(0, mark);
    text.remove_prefix(mark + 3);
    if (SameNoCase(scheme, "https")) {
      url.defaultPort = 443;
    } else if (SameNoCase(scheme, "socks4") || SameNoCase(scheme, "socks4a")) {
      url.kind = pkSocks4;
    } else if (SameNoCase(scheme, "socks5") || SameNoCase(scheme, "socks5h")) {
      url.kind = pkSocks5;
    } else if (!SameNoCase(scheme, "http")) {
      url.kind = pkNone; // curl refuses a proxy scheme it doesn't know
      return errNone;
    }
  }
  if (const size_t slash = text.find('/'); slash != std::string_view::npos)
    text = text.substr(0, slash);
  if (const size_t at = text.rfind('@'); at != std::string_view::npos) {
    const std::string_view credentials = text.substr(0, at);
    const size_t colon = credentials.find(':');
    if (PercentDecode(credentials.substr(0, colon), url.user) != errNone) return errOutOfMemory;
    if (colon != std::string_view::npos &&
        PercentDecode(credentials.substr(colon + 1), url.password) != errNone)
      return errOutOfMemory;
    text.remove_prefix(at + 1);
  }
  if (text.empty()) url.kind = pkNone;
  url.hostPort = text;
  return errNone;
}

int AppendEntry(BufStrBase& list, std::string_view scheme, const ProxyUrl& url) {
  int rc = errNone;
  if (!list.IsEmpty()) rc |= list.AppendChar(';');
  rc |= list.Append(scheme);
  rc |= list.AppendChar('=');
  rc |= list.Append(url.hostPort);
  if (url.hostPort.find(':') == std::string_view::npos) {
    rc |= list.AppendChar(':');
    rc |= list.AppendDecimal(url.defaultPort);
  }
  return rc != errNone ? errOutOfMemory : errNone;
}

int ReadOverride(SystemProxySettings& out) {
  const char* value = ProxyVariable("no_proxy", "NO_PROXY");
  if (!value) return errNone;
  out.overrideRead = true;
  std::string_view rest(value);
  while (!rest.empty()) {
    const size_t comma = rest.find(',');
    std::string_view entry = rest.substr(0, comma);
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    while (!entry.empty() && entry.front() == ' ')
      entry.remove_prefix(1);
    int rc = out.proxyOverride.IsEmpty() ? errNone : out.proxyOverride.AppendChar(';');
    if (!entry.empty() && entry.front() == '.') rc |= out.proxyOverride.AppendChar('*');
    if ((rc | out.proxyOverride.Append(entry)) != errNone) return errOutOfMemory;
  }
  return errNone;
}

std::string_view TrimSpaces(std::string_view text) {
  while (!text.empty() && text.front() == ' ')
    text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ')
    text.remove_suffix(1);
  return text;
}

// Splits "host[:port]"; a ':' at the very start doesn't count.
void SplitHostPort(std::string_view entry, BufStrBase& host, int32_t& port) {
  const size_t colon = entry.size() > 1 ? entry.find(':', 1) : std::string_view::npos;
  host.Assign(entry.substr(0, colon));
  port = 0;
  if (colon == std::string_view::npos) return;
  int32_t value = 0;
  for (size_t i = colon + 1; i < entry.size() && IsDigitChar(entry[i]) && value < 100000; ++i)
    value = value * 10 + (entry[i] - '0');
  port = value;
}

} // namespace

int ReadSystemProxySettings(SystemProxySettings& out) {
  out.proxyEnable = out.serverRead = out.overrideRead = false;
  out.proxyServer.Clear();
  out.proxyOverride.Clear();
  out.socksVersion = 0;
  for (BufStrBase* field : {&out.httpUser, &out.httpPassword, &out.httpsUser, &out.httpsPassword,
                            &out.socksUser, &out.socksPassword})
    field->Clear();
  const char* names[3][2] = {
      {"all_proxy", "ALL_PROXY"}, {"http_proxy", "HTTP_PROXY"}, {"https_proxy", "HTTPS_PROXY"}};
  ProxyUrl urls[3];
  for (int i = 0; i < 3; ++i) {
    const char* value = ProxyVariable(names[i][0], names[i][1]);
    if (!value) continue;
    out.proxyEnable = true;
    if (ParseProxyUrl(value, urls[i]) != errNone) return errOutOfMemory;
  }
  const ProxyUrl& all = urls[0];
  const ProxyUrl* http = urls[1].kind == pkHttp ? &urls[1] : all.kind == pkHttp ? &all : nullptr;
  const ProxyUrl* https = urls[2].kind == pkHttp ? &urls[2] : all.kind == pkHttp ? &all : nullptr;
  const ProxyUrl* socks = nullptr;
  for (const ProxyUrl& url : urls)
    if (!socks && (url.kind == pkSocks4 || url.kind == pkSocks5)) socks = &url;
  int rc = errNone;
  if (http) {
    rc |= AppendEntry(out.proxyServer, "http", *http);
    rc |= out.httpUser.Assign(http->user) | out.httpPassword.Assign(http->password);
  }
  if (https) {
    rc |= AppendEntry(out.proxyServer, "https", *https);
    rc |= out.httpsUser.Assign(https->user) | out.httpsPassword.Assign(https->password);
  }
  if (socks) {
    rc |= AppendEntry(out.proxyServer, "socks", *socks);
    rc |= out.socksUser.Assign(socks->user) | out.socksPassword.Assign(socks->password);
    out.socksVersion = socks->kind == pkSocks4 ? 4 : 5;
  }
  if (rc != errNone) return errOutOfMemory;
  out.serverRead = !out.proxyServer.IsEmpty();
  return ReadOverride(out);
}

bool ProxyForScheme(std::string_view list, std::string_view scheme, BufStrBase& host,
                    int32_t& port) {
  host.Clear();
  port = 0;
  while (!list.empty()) {
    const size_t semicolon = list.find(';');
    std::string_view entry = list.substr(0, semicolon);
    list = semicolon == std::string_view::npos ? std::string_view() : list.substr(semicolon + 1);
    const size_t equals = entry.find('=');
    if (equals == std::string_view::npos || equals == 0) {
      SplitHostPort(entry, host, port);
      return true;
    }
    // The scheme is compared as written: an entry in upper case doesn't serve a URL's scheme.
    if (entry.size() > scheme.size() && entry.starts_with(scheme) && entry[scheme.size()] == '=') {
      SplitHostPort(entry.substr(scheme.size() + 1), host, port);
      return true;
    }
  }
  return false;
}

bool SocksServerFromList(std::string_view list, BufStrBase& host, int32_t& port) {
  const size_t found = list.find("socks=");
  if (found == std::string_view::npos) return false;
  std::string_view entry = list.substr(found + 6);
  entry = entry.substr(0, entry.find(';'));
  const size_t colon = entry.find(':');
  if (colon == std::string_view::npos || colon + 1 == entry.size()) return false;
  SplitHostPort(entry, host, port);
  return true;
}

bool BypassesProxy(const char* host, int port, const char* scheme) {
  SystemProxySettings settings;
  if (ReadSystemProxySettings(settings) != errNone || !settings.overrideRead) return false;
  return BypassListMatches(settings.proxyOverride.View(), host, port, scheme);
}

bool BypassListMatches(std::string_view list, const char* host, int port, const char* scheme) {
  // Entries are compared in lower case, stripped of spaces; empty ones don't count.
  BufStr entries[64];
  int count = 0;
  while (!list.empty() && count < 64) {
    const size_t semicolon = list.find(';');
    const std::string_view entry = TrimSpaces(list.substr(0, semicolon));
    list = semicolon == std::string_view::npos ? std::string_view() : list.substr(semicolon + 1);
    if (entry.empty()) continue;
    entries[count].Assign(entry);
    entries[count++].ToLower();
  }
  if (count == 0) return false;
  if (scheme && *scheme) {
    BufStr50 wanted;
    wanted.Assign(TrimSpaces(scheme));
    wanted.ToLower();
    if (!wanted.EndsWith("://")) wanted.AppendText("://");
    for (int i = 0; i < count; ++i)
      if (entries[i].View() == wanted.View()) return true;
  }
  if (port > 0) {
    for (int i = 0; i < count; ++i)
      if (IsDigitChar(entries[i][0]) && ParseDec32(entries[i].Data()) == port) return true;
  }
  if (!host || !*host) return true;
  const std::string_view target = TrimSpaces(host);
  BufStr lowered;
  lowered.Assign(target);
  lowered.ToLower();
  for (int i = 0; i < count; ++i) {
    if (entries[i].View() == lowered.View()) return true;
    if (entries[i].Find("*") >= 0 && MatchesBypassPattern(entries[i].View(), lowered.View()))
      return true;
  }
  return false;
}

bool MatchesBypassPattern(std::string_view pattern, std::string_view text) {
  while (!text.empty() && !pattern.empty()) {
    if (pattern == "*") return true;
    if (pattern.front() == '*') {
      while (!pattern.empty() && pattern.front() == '*')
        pattern.remove_prefix(1);
      if (pattern.empty()) return true;
      // The first place where the literal occurs is the only one tried.
      const size_t found = text.find(pattern.substr(0, pattern.find('*')));
      if (found == std::string_view::npos) return false;
      text.remove_prefix(found);
      continue;
    }
    const size_t star = pattern.find('*');
    if (star == std::string_view::npos) return pattern == text;
    if (text.substr(0, star) != pattern.substr(0, star)) return false;
    text.remove_prefix(star);
    pattern.remove_prefix(star);
  }
  return false;
}

} // namespace quillon
