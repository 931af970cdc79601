// Every tunnel type through a real proxy or SOCKS server (squid, tinyproxy, dante, microsocks)
// to the nginx peer: a raw GET through the port once the tunnel is up, and the refusals of
// wrong credentials with their texts.
#include "PortHarness.h"

#include "support/Peers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace quillon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct PeerRow {
  const char* name;
  const char* peer;
  const char* portKey;
  int type;
  const char* remote; // "" is nginx's address
  const char* user;   // a key of the peer, "" for none, or "=value"
  const char* password;
  int rc;
  const char* text; // the last error when rc is not 0
};

// clang-format off
const PeerRow kRows[] = {
    {"squid CONNECT", "squid", "PORT", 1, "", "", "", 0, ""},
    {"squid CONNECT with Basic", "squid", "AUTH_PORT", 1, "", "USER", "PASSWORD", 0, ""},
    {"squid CONNECT with Digest", "squid", "AUTH_PORT", 6, "", "USER", "PASSWORD", 0, ""},
    {"squid CONNECT without credentials", "squid", "AUTH_PORT", 1, "", "", "", 118,
     "Firewall error. HTTP/1.1 407 Proxy Authentication Required."},
    {"squid Digest with a wrong password", "squid", "AUTH_PORT", 6, "", "USER", "=wrong", 118,
     "Firewall error after digest authentication. Expected a status code beginning with 2 but got: 407 Proxy Authentication Required"},
    {"tinyproxy CONNECT with Basic", "tinyproxy", "PORT", 1, "", "USER", "PASSWORD", 0, ""},
    {"dante SOCKS 4", "dante", "PORT", 2, "", "", "", 0, ""},
    {"dante SOCKS 5", "dante", "PORT", 3, "", "", "", 0, ""},
    {"dante SOCKS 5 by name", "dante", "PORT", 3, "*localhost", "", "", 0, ""},
    {"dante SOCKS 5 with user and password", "dante_auth", "PORT", 3, "", "USER", "PASSWORD", 0, ""},
    {"dante SOCKS 5 with a wrong password", "dante_auth", "PORT", 3, "", "USER", "=wrong", 118, "firewall authentication failed: 1"},
    {"dante SOCKS 5 without credentials", "dante_auth", "PORT", 3, "", "", "", 118, "no acceptable firewall authentication methods"},
    {"microsocks SOCKS 5 with user and password", "microsocks", "PORT", 3, "", "USER", "PASSWORD", 0, ""},
};
// clang-format on

std::string Credential(const char* peer, const char* source) {
  if (!*source) return "";
  if (*source == '=') return source + 1;
  return PeerValue(peer, source);
}

TEST(FirewallPeerTest, ARawGetReachesNginxThroughEveryKindOfFirewall) {
  const std::string nginxPort = PeerValue("nginx", "PORT");
  const std::string request = "GET /feeds/small.xml HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
  for (const PeerRow& row : kRows) {
    SCOPED_TRACE(row.name);
    TestPort port(true);
    port.ConfigText(("FirewallType=" + std::to_string(row.type)).c_str(), nullptr);
    port.ConfigText(("FirewallHost=" + PeerValue(row.peer, "HOST")).c_str(), nullptr);
    port.ConfigText(("FirewallPort=" + PeerValue(row.peer, row.portKey)).c_str(), nullptr);
    port.tunnel.SetFirewallUser(Credential(row.peer, row.user));
    port.tunnel.SetFirewallPassword(Credential(row.peer, row.password));
    port.SetRemoteHost(*row.remote ? row.remote : "127.0.0.1");
    port.SetRemotePort(std::stoi(nginxPort));
    port.SetLineTerminator("\r\n", 2);
    const int rc = port.ConnectAndWait();
    ASSERT_EQ(rc, row.rc) << port.LastErrorText();
    if (rc != 0) {
      EXPECT_STREQ(port.LastErrorText(), row.text);
      port.Disconnect();
      continue;
    }
    ASSERT_EQ(port.SendAll(request.data(), static_cast<int>(request.size()), false, false), 0);
    ASSERT_EQ(port.WaitUntilClosed(), 0) << port.LastErrorText();
    ASSERT_GE(port.log.size(), 3u);
    EXPECT_EQ(port.log[0], "Connected(0, OK)");
    EXPECT_EQ(port.log[1], "Data(HTTP/1.1 200 OK, 1)");
    EXPECT_EQ(port.log.back(), "Disconnected(0, OK)");
    EXPECT_THAT(port.received, HasSubstr("</feed>"));
  }
}

} // namespace
} // namespace quillon::test
