// SOCKS 5 asked to resolve the remote host's name (a remote host written with a leading "*"),
// against dante: the name goes with its length octet, as a real server reads it. Every other
// tunnel type meets its real peer through the whole component (tests/http/ProxyLiveTest.cpp).
#include "PortHarness.h"

#include "support/Peers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace quillon::test {
namespace {

TEST(FirewallPeerTest, Socks5ResolvesANameForTheClient) {
  const std::string request = "GET /feeds/small.xml HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
  TestPort port(true);
  port.ConfigText("FirewallType=3", nullptr);
  port.ConfigText(("FirewallHost=" + PeerValue("dante", "HOST")).c_str(), nullptr);
  port.ConfigText(("FirewallPort=" + PeerValue("dante", "PORT")).c_str(), nullptr);
  port.SetRemoteHost("*localhost");
  port.SetRemotePort(std::stoi(PeerValue("nginx", "PORT")));
  port.SetLineTerminator("\r\n", 2);
  ASSERT_EQ(port.ConnectAndWait(), 0) << port.LastErrorText();
  ASSERT_EQ(port.SendAll(request.data(), static_cast<int>(request.size()), false, false), 0);
  ASSERT_EQ(port.WaitUntilClosed(), 0) << port.LastErrorText();
  ASSERT_GE(port.log.size(), 3u);
  EXPECT_EQ(port.log[1], "Data(HTTP/1.1 200 OK, 1)");
  EXPECT_THAT(port.received, ::testing::HasSubstr("</feed>"));
}

} // namespace
} // namespace quillon::test
