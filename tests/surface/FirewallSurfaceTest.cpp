// The side effects of the firewall and proxy properties: a type brings its port, ProxySSL moves
// the firewall, the host keeps only its address, the credentials are cut, and the two automatic
// settings read the environment's proxy variables.
#include "support/LiveHost.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace quillon {
namespace {

TEST(FirewallSurface, WritesMoveTheSettingsThatGoWithThem) {
  struct Row {
    std::string set; // Name=value
    std::string get; // Name=the value read back then
  };
  const Row rows[] = {
      {"FirewallType=2", "FirewallPort=1080"},
      {"FirewallPort=9050", "FirewallType=2"},
      {"FirewallType=3", "FirewallPort=1080"},
      {"FirewallType=1", "FirewallPort=80"},
      {"FirewallType=0", "FirewallPort=0"},
      {"ProxySSL=3", "FirewallType=1"},
      {"ProxySSL=3", "FirewallPort=80"},
      {"ProxySSL=0", "FirewallType=0"},
      {"FirewallHost=localhost", "FirewallHost=127.0.0.1"},
      {"FirewallHost=", "FirewallHost="},
      {"FirewallUser=" + std::string(300, 'u'), "FirewallUser=" + std::string(255, 'u')},
      {"FirewallPassword=" + std::string(256, 'p'), "FirewallPassword=" + std::string(255, 'p')},
      // all_proxy gives the SOCKS server; https_proxy the proxy of the default scheme.
      {"FirewallAutoDetect=True", "FirewallType=2"},
      {"FirewallAutoDetect=True", "FirewallHost=10.1.2.3"},
      {"FirewallAutoDetect=True", "FirewallPort=1081"},
      {"ProxyAutoDetect=True", "ProxyServer=10.0.0.5"},
      {"ProxyAutoDetect=False", "ProxyServer="},
      {"FirewallAutoDetect=False", "FirewallHost="},
  };
  setenv("all_proxy", "socks4://10.1.2.3:1081", 1);
  setenv("https_proxy", "http://10.0.0.5:3128", 1);
  test::LiveHost host;
  for (const Row& row : rows) {
    const std::string name = row.get.substr(0, row.get.find('='));
    std::string value;
    EXPECT_TRUE(host.Set(row.set));
    EXPECT_EQ(host.q.GetProperty(name, value), 0) << name;
    EXPECT_EQ(name + "=" + value, row.get) << row.set.substr(0, 30);
  }
  unsetenv("all_proxy");
  unsetenv("https_proxy");
}

} // namespace
} // namespace quillon
