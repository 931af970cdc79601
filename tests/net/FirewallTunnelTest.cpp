// The firewall tunnels against a scripted firewall on the loopback interface: the bytes of every
// request, replies cut in pieces of every size, bytes glued behind a reply, and every way a
// negotiation fails, each followed by a clean connection of the same port. SOCKS 5 asked to
// resolve a name meets dante too; every other tunnel type meets its real peer through the whole
// component (tests/http/ProxyLiveTest.cpp).
#include "PortHarness.h"

#include "frame/Errors.h"
#include "net/NetErrors.h"
#include "support/Peers.h"
#include "support/ScriptPeer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace quillon::test {
namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Exchange = std::vector<std::pair<std::string, std::string>>; // expected bytes, answer

// A port whose status texts land in the log too, with a stand-in for the token front.
class TunnelPort : public TestPort {
public:
  explicit TunnelPort(bool windowMessages) : TestPort(windowMessages) {}
  void ConnectionStatusEvent(const char* text, int code, const char*) override {
    log.push_back(std::string("Status(") + text + ", " + std::to_string(code) + ")");
  }
  int LoadTunnelCredentials(const char* scheme, const char* user, const char* password) override {
    return fakeFront ? 0 : TestPort::LoadTunnelCredentials(scheme, user, password);
  }
  int MakeTunnelToken(BufStrBase& out, const char* scheme, const char* target,
                      const char* challenge) override {
    if (!fakeFront) return TestPort::MakeTunnelToken(out, scheme, target, challenge);
    out.AppendText(*challenge ? "TOKEN2:" : "TOKEN1");
    return out.AppendText(challenge);
  }
  // Points the port at `peer` as a firewall of `type` for the remote host and port 8080.
  // `credentials` is "user:password", "user" or "".
  void UseFirewall(int type, const ScriptPeer& peer, const char* remote, std::string credentials) {
    ConfigText(("FirewallType=" + std::to_string(type)).c_str(), nullptr);
    ConfigText((std::string("FirewallHost=") + peer.Host()).c_str(), nullptr);
    ConfigText(("FirewallPort=" + std::to_string(peer.Port())).c_str(), nullptr);
    const size_t colon = credentials.find(':');
    tunnel.SetFirewallUser(credentials.substr(0, colon));
    tunnel.SetFirewallPassword(colon == std::string::npos ? "" : credentials.substr(colon + 1));
    SetRemoteHost(remote);
    SetRemotePort(8080);
  }
  bool fakeFront = false;
};

std::string Bytes(std::initializer_list<int> values) {
  std::string out;
  for (int value : values)
    out.push_back(static_cast<char>(value));
  return out;
}

const std::string kTarget = "CONNECT target.example:8080 HTTP/1.0\r\n";
const std::string kDigestHeaders =
    "Host: target.example:8080\r\nContent-Length: 0\r\nProxy-Connection: "
    "Keep-Alive\r\nPragma: no-cache\r\n";
const std::string kDigestFirst = kTarget + kDigestHeaders + "\r\n";
const std::string kDigestAnswer =
    kTarget + kDigestHeaders +
    "Proxy-Authorization: Digest username=\"ann\", realm=\"r\", nonce=\"n1\", "
    "uri=\"target.example:8080\"{*}response=\"{*}\"\r\n\r\n";
const std::string kChallenge = "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: "
                               "Digest realm=\"r\", nonce=\"n1\", qop=\"auth\"\r\n";
const std::string kNtlmFirst =
    kTarget + "Proxy-Authorization: NTLM TOKEN1\r\nProxy-Connection: Keep-Alive\r\n\r\n";
const std::string kNtlmSecond =
    kTarget + "Proxy-Authorization: NTLM TOKEN2:CHALLENGE\r\nProxy-Connection: Keep-Alive\r\n\r\n";
const std::string kOk = "HTTP/1.0 200 OK\r\nVia: x\r\n\r\nglued\n";
const std::string kSocks5Offer = Bytes({5, 1, 0});
const std::string kSocks5Local = Bytes({5, 1, 0, 1, 127, 0, 0, 1, 0x1f, 0x90});
const std::string kSocks4Local = Bytes({4, 1, 0x1f, 0x90, 127, 0, 0, 1});
const std::string kSocks5Granted = Bytes({5, 0, 0, 1, 127, 0, 0, 1, 0x1f, 0x90});

struct TunnelRow {
  const char* name;
  int type;
  const char* remote;
  const char* credentials;
  Exchange exchange; // the last answer ends with "glued\n", bytes of the remote host
};

// clang-format off
const TunnelRow kTunnels[] = {
    {"CONNECT", 1, "target.example", "", {{kTarget + "User-Agent: QT\r\n\r\n", "HTTP/1.0 200 Connection established\r\n\r\nglued\n"}}},
    {"CONNECT with Basic and LF lines", 1, "target.example", "ann:secret",
     {{kTarget + "Proxy-Authorization: Basic YW5uOnNlY3JldA==\r\nUser-Agent: QT\r\n\r\n", "HTTP/1.1 200 OK\nVia: x\n\nglued\n"}}},
    {"SOCKS 4", 2, "127.0.0.1", "ann", {{kSocks4Local + "ann" + Bytes({0}), Bytes({0, 90, 0, 0, 0, 0, 0, 0}) + "glued\n"}}},
    {"SOCKS 5 with a user only", 3, "127.0.0.1", "ann", {{kSocks5Offer, Bytes({5, 0})}, {kSocks5Local, kSocks5Granted + "glued\n"}}},
    {"SOCKS 5 with user and password", 3, "127.0.0.1", "ann:secret",
     {{Bytes({5, 2, 0, 2}), Bytes({5, 2})}, {Bytes({1, 3, 'a', 'n', 'n', 6}) + "secret", Bytes({1, 0})},
      {kSocks5Local, kSocks5Granted + "glued\n"}}},
    {"SOCKS 5 by name, answered with a name", 3, "*target.example", "",
     {{kSocks5Offer, Bytes({5, 0})}, {Bytes({5, 1, 0, 3, 14}) + "target.example" + Bytes({0x1f, 0x90}),
                                      Bytes({5, 0, 0, 3, 2, 'h', 'i', 0, 80}) + "glued\n"}}},
    {"Digest with a body", 6, "target.example", "ann:secret", {{kDigestFirst, kChallenge + "Content-Length: 5\r\n\r\nabcde"}, {kDigestAnswer, kOk}}},
    {"Digest with Content-Length 0", 6, "target.example", "ann:secret", {{kDigestFirst, kChallenge + "Content-Length: 0\r\n\r\n"}, {kDigestAnswer, kOk}}},
    {"Digest with a chunked body", 6, "target.example", "ann:secret",
     {{kDigestFirst, kChallenge + "Transfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n0\r\n\r\n"}, {kDigestAnswer, kOk}}},
    {"Digest answered 200 at once", 6, "target.example", "ann:secret", {{kDigestFirst, kOk}}},
    {"NTLM", 4, "target.example", "ann:secret",
     {{kNtlmFirst, "HTTP/1.1 407 X\r\nProxy-Authenticate: NTLM CHALLENGE\r\nContent-Length: 6\r\n\r\nbody\r\n"}, {kNtlmSecond, kOk}}},
    {"NTLM with a body of bare LF lines", 4, "target.example", "ann:secret",
     {{kNtlmFirst, "HTTP/1.1 407 X\r\nProxy-Authenticate: NTLM CHALLENGE\r\nContent-Length: 9\r\n\r\n<p>\nbody\n"}, {kNtlmSecond, kOk}}},
    {"NTLM with a chunked body", 4, "target.example", "ann:secret",
     {{kNtlmFirst, "HTTP/1.1 407 X\r\nProxy-Authenticate: Basic realm=\"r\"\r\nProxy-Authenticate: NTLM CHALLENGE\r\n"
                   "Transfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n\r\n"}, {kNtlmSecond, kOk}}},
    {"NTLM answered 200 at once", 4, "target.example", "ann:secret", {{kNtlmFirst, kOk}}},
};
// clang-format on

// The events of a tunnelled connection: the firewall's connect, `middle`, and both closes.
std::vector<std::string> Events(std::vector<std::string> middle) {
  middle.insert(middle.begin(), "Status(Firewall connection complete., 0)");
  middle.insert(middle.end(), {"Status(Firewall host disconnected., 0)",
                               "Status(Remote host disconnected., 0)", "Disconnected(0, OK)"});
  return middle;
}

TEST(FirewallTunnelTest, EachTunnelSendsItsBytesAndHandsOnWhatFollowsTheReplyInAnyPieces) {
  const std::vector<std::string> expected =
      Events({"Status(Remote host connection complete., 0)", "Connected(0, OK)", "Data(glued, 1)",
              "Data(hello, 1)"});
  const std::string get = "GET / HTTP/1.0\r\n\r\n";
  for (const TunnelRow& row : kTunnels) {
    for (size_t piece : {1, 2, 5, 4096}) {
      SCOPED_TRACE(std::string(row.name) + ", pieces of " + std::to_string(piece));
      ScriptPeer peer;
      std::string wire;
      for (const auto& [request, answer] : row.exchange) {
        peer.Expect(request).SendPieces(answer, piece, 1);
        wire += request;
      }
      peer.Expect(get).Send("hello\n").Close();
      peer.Start();
      TunnelPort port(piece % 2 == 0);
      port.fakeFront = true;
      port.tunnel.userAgent.Assign(row.type == 1 ? "QT" : "");
      port.UseFirewall(row.type, peer, row.remote, row.credentials);
      port.SetLineTerminator("\n", 1);
      ASSERT_EQ(port.ConnectAndWait(), 0) << port.LastErrorText();
      // The caller's terminator is back, whatever the negotiation read by.
      EXPECT_EQ(std::string(port.lineBuffer.terminator), "\n");
      ASSERT_EQ(port.SendAll(get.data(), static_cast<int>(get.size()), false, false), 0);
      ASSERT_EQ(port.WaitUntilClosed(), 0) << port.LastErrorText();
      EXPECT_TRUE(peer.Finished());
      EXPECT_THAT(peer.Failures(), IsEmpty());
      EXPECT_THAT(port.log, ElementsAreArray(expected));
      if (wire.find("{*}") == std::string::npos) {
        EXPECT_EQ(ScriptPeer::Printable(peer.Received()), ScriptPeer::Printable(wire + get));
      }
    }
  }
}

enum class Ending { Abort, Reject, Closed, Timeout };

struct FailureRow {
  const char* name;
  int type;
  const char* remote;
  Exchange exchange; // an empty request: the firewall closes; an answer "-": it stays silent
  Ending ending;
  const char* text;     // the last error, and Connected's text
  const char* reported; // the Error event's text when it differs
};

const std::string kAny = "CONNECT {*}\r\n\r\n";
const char* const kClosed = "Firewall closed the connection during the negotiation.";

// clang-format off
const FailureRow kFailures[] = {
    {"CONNECT 403", 1, "t", {{kAny, "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n"}}, Ending::Reject,
     "Firewall error. HTTP/1.1 403 Forbidden.", "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n"},
    {"CONNECT garbage", 1, "t", {{kAny, "garbage-without-blanks."}}, Ending::Reject, "Firewall error. garbage-without-blanks.",
     "garbage-without-blanks."},
    {"CONNECT endless status line", 1, "t", {{kAny, "HTTP/1.1 200 " + std::string(20000, 'x')}}, Ending::Abort,
     "Firewall reply too long.", nullptr},
    {"CONNECT closed in the middle", 1, "t", {{kAny, "HTTP/1.1 200 OK\r\n"}, {"", ""}}, Ending::Closed, kClosed, nullptr},
    {"CONNECT never answers", 1, "t", {{kAny, "-"}}, Ending::Timeout, "Timeout.", nullptr},
    {"SOCKS 4 rejected", 2, "127.0.0.1", {{kSocks4Local + "ann" + Bytes({0}), Bytes({0, 91, 0, 0, 0, 0, 0, 0})}}, Ending::Abort,
     "firewall request rejected or failed", nullptr},
    {"SOCKS 4 name that does not resolve", 2, "no such host", {}, Ending::Abort, "Firewall could not resolve host no such host.", nullptr},
    {"SOCKS 5 no acceptable method", 3, "127.0.0.1", {{kSocks5Offer, Bytes({5, 255})}}, Ending::Abort,
     "no acceptable firewall authentication methods", nullptr},
    {"SOCKS 5 picks a method not offered", 3, "127.0.0.1", {{kSocks5Offer, Bytes({5, 2})}}, Ending::Abort,
     "unknown firewall authentication method", nullptr},
    {"SOCKS 5 connection not allowed", 3, "127.0.0.1", {{kSocks5Offer, Bytes({5, 0})}, {kSocks5Local, Bytes({5, 2, 0, 1, 0, 0, 0, 0, 0, 0})}},
     Ending::Abort, "connection not allowed by ruleset", nullptr},
    {"SOCKS 5 closed after the method", 3, "127.0.0.1", {{kSocks5Offer, Bytes({5, 0})}, {"", ""}}, Ending::Closed, kClosed, nullptr},
    {"Digest refused at once", 6, "target.example", {{kDigestFirst, "HTTP/1.1 403 Forbidden\r\n\r\n"}}, Ending::Reject,
     "Firewall error while attempting digest authentication. Expected a status code beginning with 2 but got: 403 Forbidden",
     "HTTP/1.1 403 Forbidden"},
    {"Digest without a Digest challenge", 6, "target.example", {{kDigestFirst, "HTTP/1.1 407 X\r\nProxy-Authenticate: Basic realm=\"r\"\r\n\r\n"}},
     Ending::Abort, "Firewall asked for authentication without a Digest challenge.", nullptr},
    {"Digest answer refused", 6, "target.example", {{kDigestFirst, kChallenge + "\r\n"}, {kDigestAnswer, "HTTP/1.1 407 Denied\r\n\r\n"}},
     Ending::Reject, "Firewall error after digest authentication. Expected a status code beginning with 2 but got: 407 Denied",
     "HTTP/1.1 407 Denied"},
    {"NTLM refused", 4, "target.example", {{kNtlmFirst, "HTTP/1.1 403 Forbidden\r\n\r\n"}}, Ending::Reject,
     "Firewall error while attempting NTLM authentication. Expected 401 or 407 but got: 403 Forbidden", "HTTP/1.1 403 Forbidden"},
    {"Negotiate without a token front", 5, "target.example", {}, Ending::Abort,
     "NTLM and Negotiate proxy authentication are not available.", nullptr},
};
// clang-format on

std::vector<std::string> ExpectedEvents(const FailureRow& row) {
  if (row.ending == Ending::Timeout) return Events({});
  return Events({"Error(118, " + std::string(row.reported ? row.reported : row.text) + ")",
                 "Status(Remote host connection failed., 118)",
                 "Connected(118, " + std::string(row.text) + ")"});
}

TEST(FirewallTunnelTest, AFailedNegotiationEndsWith118AndItsTextAndLeavesThePortUsable) {
  for (const FailureRow& row : kFailures) {
    SCOPED_TRACE(row.name);
    ScriptPeer peer;
    for (const auto& [request, answer] : row.exchange) {
      if (request.empty()) peer.Close(); // always the last
      if (!request.empty()) peer.Expect(request).Send(answer == "-" ? "" : answer);
      if (answer == "-") peer.StaySilent();
    }
    peer.NextConnection().Send("plain\n").Close();
    peer.Start();
    TunnelPort port(true);
    port.fakeFront = row.type == 4;
    // A user without a password offers no authentication to SOCKS 5.
    port.UseFirewall(row.type, peer, row.remote, "ann");
    port.SetLineTerminator("\n", 1);
    if (row.ending == Ending::Timeout) port.SetTimeout(300, true);
    EXPECT_EQ(port.ConnectAndWait(), row.ending == Ending::Timeout ? errInterrupted : 118);
    EXPECT_STREQ(port.LastErrorText(), row.text);
    // After a refusal the socket stays for the caller to close.
    EXPECT_EQ(port.socketHandle != platform::kInvalidSocket, row.ending == Ending::Reject);
    port.Disconnect();
    EXPECT_THAT(port.log, ElementsAreArray(ExpectedEvents(row)));

    port.log.clear();
    port.SetTimeout(5000, true);
    port.ConfigText("FirewallType=0", nullptr);
    ASSERT_EQ(port.Connect(peer.Host(), peer.Port()), 0) << port.LastErrorText();
    ASSERT_EQ(port.WaitUntilClosed(), 0);
    EXPECT_THAT(port.log, ::testing::Contains("Data(plain, 1)"));
  }
}

TEST(FirewallTunnelTest, TheTargetOfAConnectIsTheFirewall) {
  TunnelPort port(true);
  port.ConfigText("FirewallType=2", nullptr);
  port.SetRemotePort(80);
  // The remote host is only stored: the firewall resolves it, or the tunnel does.
  EXPECT_EQ(port.SetRemoteHost("no such host"), 0);
  EXPECT_STREQ(port.GetRemoteHost(), "no such host");
  EXPECT_EQ(port.ConnectAndWait(), errAddressInvalid);
  EXPECT_STREQ(port.LastErrorText(), "The FirewallHost address is invalid (0.0.0.0).");
  port.ConfigText("FirewallHost=127.0.0.1", nullptr);
  port.ConfigText("FirewallPort=0", nullptr);
  EXPECT_EQ(port.ConnectAndWait(), errPortZero);
  EXPECT_STREQ(port.LastErrorText(), "The FirewallPort is invalid (0).");
  port.ConfigText(("FirewallPort=" + std::to_string(ScriptPeer::UnusedPort())).c_str(), nullptr);
  EXPECT_EQ(port.ConnectAndWait(), 10061);
  EXPECT_THAT(port.log, ElementsAreArray({"Status(Firewall connection failed., 10061)",
                                          "Status(Remote host connection failed., 10061)",
                                          "Connected(10061, [10061] Connection refused)"}));
}

// SOCKS 5 asked to resolve the remote host's name (a remote host written with a leading "*"): the
// name goes with its length octet, as a real server reads it.
TEST(FirewallTunnelTest, Socks5ResolvesANameForTheClientAtDante) {
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
  EXPECT_THAT(port.received, HasSubstr("</feed>"));
}

} // namespace
} // namespace quillon::test
