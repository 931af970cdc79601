// ProxyAutoDetect: the proxy of the current URL's scheme from the environment, the CONNECT tunnel
// for https, and what stays as the caller set it when the settings name no proxy.
#include "odata/QuillonCore.h"
#include "support/ProxyEnvironment.h"

#include <gtest/gtest.h>

namespace quillon::test {
namespace {

TEST(ProxyAutoDetectTest, TheProxyOfTheUrlsSchemeComesFromTheEnvironment) {
  struct Row {
    const char* variables;
    const char* scheme; // of the current URL
    const char* server;
    int port; // 0: DefaultPort
    int proxySSL;
    int firewallType;
    const char* user;
  } const rows[] = {
      {"http_proxy=h1:81;https_proxy=h2:82", "https", "h2", 82, psTunnel, 1, ""},
      {"http_proxy=http://ann:pw@h1:81;https_proxy=h2:82", "http", "h1", 81, psAutomatic, 0, "ann"},
      {"all_proxy=one:3128", "https", "one", 3128, psTunnel, 1, ""},
      {"https_proxy=h2:0", "https", "h2", 0, psTunnel, 1, ""},
      {"https_proxy=h2:82", "http", "", 0, psAutomatic, 0, ""},
      // A SOCKS server alone leaves the proxy empty and becomes the firewall.
      {"all_proxy=socks5://s:1080", "http", "", 0, psAutomatic, 3, ""},
      {"all_proxy=socks5://s:1080;http_proxy=h:1", "http", "h", 1, psAutomatic, 0, ""},
      {"", "https", "", 0, psAutomatic, 0, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.variables) + " " + row.scheme);
    ProxyEnvironment environment(row.variables);
    QuillonCore core;
    core.URLScheme.Assign(row.scheme);
    EXPECT_EQ(core.SetProxyAutoDetect(true), 0);
    EXPECT_EQ(core.ProxyServer.View(), row.server);
    EXPECT_EQ(core.ProxyPort, row.port ? row.port : core.DefaultPort);
    EXPECT_EQ(core.ProxySSL, row.proxySSL);
    EXPECT_EQ(core.tunnel.firewallType, row.firewallType);
    EXPECT_EQ(core.ProxyUser.View(), row.user);
  }
}

} // namespace
} // namespace quillon::test
