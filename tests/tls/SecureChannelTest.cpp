// The secure channel under the port against openssl s_server with certificates made at test
// time: the judgement of each kind of certificate with its status, event and outcome, the
// protocol versions, renegotiation, the ends of a channel, bulk data, a server that wants a client
// certificate, servers that answer with garbage, a broken record or nothing, and the session
// resumed by the HTTP link.
#include "TlsPeer.h"

#include "http/HttpClient.h"
#include "net/PortHarness.h"
#include "support/Corpus.h"
#include "support/Peers.h"
#include "support/ScriptPeer.h"
#include "tls/SecurePort.h"
#include "tls/ServerCertificate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <tuple>

namespace quillon::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class TlsPort : public TestPort {
public:
  TlsPort() : TestPort(false) {
    SetSecureEnabled(true);
    serverName.Assign("localhost");
  }
  bool SSLServerAuthenticationEvent(const char* cert, int, const char* subject, const char* issuer,
                                    const char* status, bool accept) override {
    certificates.emplace_back(cert);
    subjects.push_back(std::string(subject) + " / " + issuer);
    const bool verdict =
        status == std::string("Parsed") ? parsedVerdict : verdict_.value_or(accept);
    log.push_back("Auth(" + std::string(status) + ", " + (accept ? "1" : "0") + ")");
    return verdict;
  }
  void SSLStatusEvent(const char* message) override { statuses.emplace_back(message); }
  int Connect(int port) { return TestPort::Connect("127.0.0.1", port); }

  std::optional<bool> verdict_;
  bool parsedVerdict = true;
  std::vector<std::string> certificates, subjects, statuses;
};

class SecureChannelTest : public ::testing::Test {
protected:
  static void SetUpTestSuite() { ::setenv("SSL_CERT_FILE", CertFile("CA_FILE").c_str(), 1); }
};

const char* const kRefused =
    "Connected(276, Server certificate verification failed. Connection aborted.)";

struct JudgementRow {
  const char* name;
  const char* leaf;
  uint32_t status; // the policy status; 0 passes
  uint32_t flags = 0;
  std::optional<bool> verdict = {};
  std::vector<std::string> options = {};
};

TEST_F(SecureChannelTest, EachCertificateIsJudgedWithItsStatusEventAndOutcome) {
  const std::vector<std::string> rootSent = {"-cert_chain", CertFile("UNKNOWN_CA_FILE")};
  const std::vector<JudgementRow> rows = {
      {"good chain", "SERVER_CERT", 0},
      {"EXPIRED_CERT", "EXPIRED_CERT", 0x800B0101},
      {"not yet valid", "NOT_YET_VALID_CERT", 0x800B0101},
      {"wrong host", "WRONG_HOST_CERT", 0x800B010F},
      {"self-signed", "SELF_SIGNED_CERT", 0x800B0109},
      {"unknown CA, leaf alone", "UNKNOWN_CA_CERT", 0x800B010A},
      {"unknown CA, root sent", "UNKNOWN_CA_CERT", 0x800B0109, 0, std::nullopt, rootSent},
      {"expired, host accepts", "EXPIRED_CERT", 0x800B0101, 0, true},
      {"good, host refuses", "SERVER_CERT", 0, 0, false},
      {"wrong host, name not checked", "WRONG_HOST_CERT", 0, 0x80000000},
      {"expired, time ignored", "EXPIRED_CERT", 0, 0x1},
      {"self-signed, unknown CA allowed", "SELF_SIGNED_CERT", 0, 0x10},
      {"wrong host, name ignored", "WRONG_HOST_CERT", 0, 0x40},
  };
  for (const JudgementRow& row : rows) {
    SCOPED_TRACE(row.name);
    SslServer server(row.leaf, row.options);
    ASSERT_TRUE(server.Ready()) << server.Log();
    TlsPort port;
    port.sslSecurityFlags = row.flags;
    port.verdict_ = row.verdict;
    const bool accepted = row.verdict.value_or(row.status == 0);
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%x", row.status);
    BufStr status; // the texts are CipherNamesTest's rows
    PolicyStatusText(row.status, status);
    EXPECT_EQ(port.Connect(server.Port()), accepted ? 0 : 276);
    std::vector<std::string> expected;
    if (row.status != 0)
      expected.push_back("Error(280, error verifying server certificate: " + std::string(hex) +
                         ")");
    expected.push_back("Auth(" + std::string(status.View()) + ", " + (row.status ? "0" : "1") +
                       ")");
    expected.push_back(accepted ? "Connected(0, OK)" : kRefused);
    if (!accepted) expected.push_back("Disconnected(0, OK)");
    EXPECT_EQ(port.log, expected);
    ASSERT_EQ(port.certificates.size(), 1u);
    EXPECT_THAT(port.certificates[0], HasSubstr("-----BEGIN CERTIFICATE-----\r\n"));
    if (accepted) {
      port.received.clear();
      port.Disconnect();
      EXPECT_EQ(port.socketHandle, platform::kInvalidSocket);
    }
  }
}

TEST_F(SecureChannelTest, AcceptedCertificateBytesSkipTheEventAndTheChainAddsPemBlocks) {
  SslServer self("SELF_SIGNED_CERT", {});
  ASSERT_TRUE(self.Ready()) << self.Log();
  TlsPort port;
  const std::string pem = FileText(CertFile("SELF_SIGNED_CERT"));
  ASSERT_EQ(port.SecurePort::certificates.SetAcceptServerCertEncoded(pem), 0);
  EXPECT_EQ(port.Connect(self.Port()), 0) << port.LastErrorText();
  EXPECT_THAT(port.log, ElementsAre("Connected(0, OK)"));
  port.Disconnect();

  SslServer good("SERVER_CERT", {"-cert_chain", CertFile("CA_FILE")});
  TlsPort chained;
  ASSERT_EQ(chained.ConfigText("SSLIncludeCertChain=True", nullptr), 0);
  EXPECT_EQ(chained.Connect(good.Port()), 0) << chained.LastErrorText();
  ASSERT_EQ(chained.certificates.size(), 1u);
  EXPECT_EQ(chained.certificates[0].find("-----BEGIN", 10) != std::string::npos, true);
  EXPECT_THAT(chained.subjects[0], "CN=localhost / O=Quillon Tests, CN=Quillon Test CA");
}

TEST_F(SecureChannelTest, EarlyLookAsksWithParsedFirstAndEndsTheConnectionUnlessAccepted) {
  SslServer server("SERVER_CERT", {"-tls1_2"});
  ASSERT_TRUE(server.Ready()) << server.Log();
  const std::vector<std::string> accepted = {"Auth(Parsed, 0)", "Auth(OK, 1)", "Connected(0, OK)"};
  const std::vector<std::string> refused = {"Auth(Parsed, 0)", kRefused, "Disconnected(0, OK)"};
  for (const bool parsedVerdict : {true, false}) {
    SCOPED_TRACE(parsedVerdict);
    TlsPort port;
    port.ConfigText("ParseSSLServerCert=True", nullptr);
    port.parsedVerdict = parsedVerdict;
    EXPECT_EQ(port.Connect(server.Port()), parsedVerdict ? 0 : 276);
    EXPECT_EQ(port.log, parsedVerdict ? accepted : refused);
    port.Disconnect();
  }
}

struct ProtocolRow {
  const char* name;
  const char* serverOption;
  const char* protocols;  // SSLEnabledProtocols
  const char* negotiated; // null: the handshake fails
};

TEST_F(SecureChannelTest, EnabledProtocolsChooseTheVersion) {
  const ProtocolRow rows[] = {
      {"default against TLS 1.2", "-tls1_2", "4032", "Protocol: TLS1.2 "},
      {"default against TLS 1.3", "-tls1_3", "4032", nullptr},
      {"TLS 1.3 bits", "-tls1_3", "0x3FC0", "Protocol: TLS1.3 "},
      {"client TLS 1.3 only", "-tls1_3", "0x3000", "Protocol: TLS1.3 "},
      {"TLS 1.2 only against TLS 1.3", "-tls1_3", "0x0C00", nullptr},
      {"TLS 1.2 only", "-tls1_2", "0x0C00", "Protocol: TLS1.2 "},
  };
  for (const ProtocolRow& row : rows) {
    SCOPED_TRACE(row.name);
    SslServer server("SERVER_CERT", {row.serverOption});
    ASSERT_TRUE(server.Ready()) << server.Log();
    TlsPort port;
    port.ConfigText((std::string("SSLEnabledProtocols=") + row.protocols).c_str(), nullptr);
    const int rc = port.Connect(server.Port());
    if (!row.negotiated) {
      EXPECT_EQ(rc, 276);
      EXPECT_THAT(port.LastErrorText(), HasSubstr("error during handshake[2]: 0x800903"));
      continue;
    }
    ASSERT_EQ(rc, 0) << port.LastErrorText();
    if (&row == rows) { // the status sequence of a whole handshake
      ASSERT_GE(port.statuses.size(), 8u);
      EXPECT_THAT(std::vector(port.statuses.begin(), port.statuses.begin() + 6),
                  ElementsAre("Attempting to connect to server.", "Socket connection established.",
                              "Starting secure channel handshake.",
                              "Enabling TLS versions: TLS1.2 TLS1.1 TLS1.0 ",
                              HasSubstr("Cipher Suites:\r\n    "), HasSubstr("Sending ")));
    }
    EXPECT_THAT(port.statuses,
                Contains(StartsWith(std::string("Negotiated SSL parameters: ") + row.negotiated)));
    port.Disconnect();
  }
}

TEST_F(SecureChannelTest, RenegotiationIsFollowedOrRefused) {
  for (const bool follow : {true, false}) {
    SCOPED_TRACE(follow);
    SslServer server("SERVER_CERT", {"-tls1_2"});
    ASSERT_TRUE(server.Ready()) << server.Log();
    TlsPort port;
    port.sslEnableRenegotiation = follow ? 1 : 0;
    ASSERT_EQ(port.Connect(server.Port()), 0);
    // s_server looks at its input only once the client has spoken.
    ASSERT_EQ(port.SendAll("hello\n", 6, false, false), 0);
    ASSERT_TRUE(server.WaitFor("hello"));
    server.Type("r\n");
    // The server waits for our answer before it looks at its input again.
    ASSERT_EQ(
        port.WaitUntil([&] { return server.Log().find("SSL_do_handshake") != std::string::npos; }),
        0)
        << server.Log();
    EXPECT_EQ(std::count(port.statuses.begin(), port.statuses.end(),
                         "Renegotiate is disabled. Send NO_RENEGOTIATION alert message."),
              follow ? 0 : 1);
    if (!follow) {
      // s_server takes the refusal as fatal and answers with an alert that ends the channel.
      EXPECT_TRUE(server.WaitFor("no renegotiation")) << server.Log();
      EXPECT_EQ(port.WaitUntilClosed(), 0);
      EXPECT_THAT(port.log, ElementsAre("Auth(OK, 1)", "Connected(0, OK)",
                                        "Error(284, error decrypting data (error 0x80090331))",
                                        "Disconnected(0, OK)"));
      continue;
    }
    server.Type("after\n");
    EXPECT_EQ(port.WaitUntil([&] { return port.received.find("after") != std::string::npos; }), 0)
        << server.Log();
    EXPECT_THAT(port.log, ElementsAre("Auth(OK, 1)", "Connected(0, OK)", "Auth(OK, 1)",
                                      "Connected(0, OK)", "Data(after\n, 1)"));
    ASSERT_EQ(port.SendAll("still up\n", 9, false, false), 0) << server.Log();
    EXPECT_TRUE(server.WaitFor("still up"));
  }
}

TEST_F(SecureChannelTest, EndsOfAChannel) {
  // A server that goes without close_notify: the data, then Disconnected.
  auto server = std::make_unique<SslServer>("SERVER_CERT", std::vector<std::string>{});
  ASSERT_TRUE(server->Ready());
  TlsPort port;
  ASSERT_EQ(port.Connect(server->Port()), 0);
  server->Type("line one\n");
  EXPECT_EQ(port.WaitUntil([&] { return !port.received.empty(); }), 0);
  server.reset();
  EXPECT_EQ(port.WaitUntilClosed(), 0);
  EXPECT_THAT(port.log, ElementsAre("Auth(OK, 1)", "Connected(0, OK)", "Data(line one\n, 1)",
                                    "Disconnected(0, OK)"));
  // Our own close sends close_notify, which the server reports.
  SslServer second("SERVER_CERT", {});
  TlsPort closer;
  ASSERT_EQ(closer.Connect(second.Port()), 0);
  closer.Disconnect();
  EXPECT_TRUE(second.WaitFor("DONE")) << second.Log();
}

// The body of an HTTP/1.0 GET over a new channel to `serverPort`, read until the server closes.
std::string BodyOf(TlsPort& port, int serverPort, const std::string& request) {
  port.SetTimeout(30000, true);
  port.log.reserve(20000);
  EXPECT_EQ(port.Connect(serverPort), 0) << port.LastErrorText();
  EXPECT_EQ(port.SendAll(request.data(), static_cast<int>(request.size()), false, false), 0);
  EXPECT_EQ(port.WaitUntilClosed(), 0) << port.LastErrorText();
  const size_t head = port.received.find("\r\n\r\n");
  return head == std::string::npos ? "no head: " + port.received : port.received.substr(head + 4);
}

// 24 MiB of noise from s_server, then nginx's large feed, whose close_notify ends the channel.
TEST_F(SecureChannelTest, LargeBodiesArriveByteForByte) {
  std::string body(24 << 20, '\0');
  uint32_t x = 12345;
  for (char& c : body) {
    x = x * 1103515245u + 12345u;
    c = static_cast<char>(x >> 24);
  }
  SslServer server("SERVER_CERT", {"-WWW"});
  ASSERT_TRUE(server.Ready());
  std::ofstream(server.Folder() + "/big.bin", std::ios::binary) << body;
  TlsPort port;
  const std::string got = BodyOf(port, server.Port(), "GET /big.bin HTTP/1.0\r\n\r\n");
  EXPECT_TRUE(got == body) << "received " << got.size() << " of " << body.size();

  const std::string feed = FileText(PeerValue("nginx", "DOC_ROOT") + "/feeds/large.xml");
  ASSERT_GT(feed.size(), 100000u);
  TlsPort nginx;
  EXPECT_TRUE(BodyOf(nginx, std::atoi(PeerValue("nginx", "HTTPS_PORT").c_str()),
                     "GET /feeds/large.xml HTTP/1.0\r\nHost: localhost\r\n\r\n") == feed);
  EXPECT_THAT(nginx.statuses, Contains("Server signaled end of session."));
  EXPECT_EQ(nginx.log.back(), "Disconnected(0, OK)");
}

// The certificate that goes is checked by ClientCertHandshake of the key tests; without one the
// handshake fails and says what the server asked for.
TEST_F(SecureChannelTest, ServerThatAsksForAClientCertificateRefusesAChannelWithout) {
  SslServer server("SERVER_CERT",
                   {"-Verify", "1", "-CAfile", CertFile("CA_FILE"), "-verify_return_error"});
  ASSERT_TRUE(server.Ready());
  TlsPort port;
  EXPECT_NE(port.Connect(server.Port()), 0);
  EXPECT_THAT(port.statuses, Contains("Client certificate requested from server."));
}

TEST_F(SecureChannelTest, SettingsShapeTheHandshake) {
  SslServer server("SERVER_CERT", {"-alpn", "http/1.1"});
  ASSERT_TRUE(server.Ready());
  // A provider that the platform does not have.
  TlsPort unknown;
  unknown.ConfigText("SSLProvider=Another Provider", nullptr);
  EXPECT_EQ(unknown.Connect(server.Port()), 273);
  EXPECT_STREQ(unknown.LastErrorText(),
               "Could not acquire security credentials: error 0x80090305.");
  // ALPN names are trimmed; one longer than 255 is left out.
  TlsPort port;
  const std::string alpn = "ALPNExtension= h2 , " + std::string(256, 'x') + ",http/1.1";
  port.ConfigText(alpn.c_str(), nullptr);
  port.ConfigText("ReuseSSLSession=True", nullptr);
  ASSERT_EQ(port.Connect(server.Port()), 0) << port.LastErrorText();
  EXPECT_TRUE(server.WaitFor("ALPN protocols advertised by the client: h2, http/1.1"))
      << server.Log();
  // The same settings keep the credentials for the next connection.
  const platform::TlsCredentials* first = port.credentialHandle;
  port.Disconnect();
  ASSERT_EQ(port.Connect(server.Port()), 0) << port.LastErrorText();
  EXPECT_EQ(port.credentialHandle, first);
  // Under TLS, line splitting and the line length act on the decrypted stream.
  ASSERT_EQ(port.ConfigText("SplitCRLF=True", nullptr), 0);
  port.Disconnect();
  ASSERT_EQ(port.ConfigText("MaxLineLength=70000", nullptr), 0);
  port.log.clear();
  ASSERT_EQ(port.Connect(server.Port()), 0) << port.LastErrorText();
  ASSERT_EQ(port.SendAll("go\n", 3, false, false), 0);
  ASSERT_TRUE(server.WaitFor("go"));
  server.Type("one\r\ntwo\nthr");
  EXPECT_EQ(port.WaitUntil([&] { return port.received.find("two") != std::string::npos; }), 0);
  EXPECT_THAT(port.log,
              ElementsAre("Auth(OK, 1)", "Connected(0, OK)", "Data(one, 1)", "Data(two, 1)"));
}

TEST_F(SecureChannelTest, BadServersEndWithACodeAndText) {
  // The row, what the server sends, whether it then closes, and the result with its text.
  // clang-format off
  const std::tuple<const char*, std::string, bool, int, const char*> rows[] = {
      {"garbage", "HTTP/1.1 400 Bad Request\r\n\r\n", true, 276, "error during handshake[2]: 0x80090326"},
      {"truncated record", std::string("\x16\x03\x03\x00\x40hello", 10), true, 276, "Server disconnected before handshake completion [0xffffffff]."},
      {"record over the maximum", std::string("\x16\x03\x03\xff\xff", 5) + "x", false, 276, "error during handshake[2]: 0x80090326"},
      {"stall", "", false, 301, "Timeout."},
  };
  // clang-format on
  for (const auto& [name, bytes, close, result, text] : rows) {
    SCOPED_TRACE(name);
    ScriptPeer peer;
    if (!bytes.empty()) peer.Send(bytes);
    close ? peer.Close() : peer.StaySilent();
    peer.Start();
    TlsPort port;
    port.SetTimeout(1000, true);
    EXPECT_EQ(port.Connect(peer.Port()), result);
    EXPECT_STREQ(port.LastErrorText(), text);
    port.Disconnect();
    EXPECT_EQ(port.socketHandle, platform::kInvalidSocket);
  }
}

// ReuseSSLSession over the HTTP link against s_server -www, whose status page says whether the
// session was new or resumed: the second connection resumes the first one's session for a host
// given by name and by address alike, and never with the setting off.
TEST_F(SecureChannelTest, SecondConnectionOfTheLinkResumesTheSessionWhenAsked) {
  SslServer server("SERVER_CERT", {"-www", "-cert_chain", CertFile("CA_FILE")});
  ASSERT_TRUE(server.Ready());
  // The host, ReuseSSLSession, and how the status page starts the second session's line.
  const std::tuple<const char*, bool, const char*> rows[] = {{"127.0.0.1", true, "Reused, "},
                                                             {"localhost", true, "Reused, "},
                                                             {"127.0.0.1", false, "New, "}};
  for (const auto& [host, reuse, second] : rows) {
    HttpClient client;
    client.SetTimeout(10, true);
    client.DefaultScheme.Assign("https");
    client.reuseSSLSession = reuse;
    const std::string url =
        "https://" + std::string(host) + ":" + std::to_string(server.Port()) + "/";
    for (const char* expected : {"New, ", second}) {
      ASSERT_EQ(client.SetURL(url.c_str(), 0), 0);
      ASSERT_EQ(client.RunAction(actGet), 0) << host << ": " << client.lastError.Data();
      EXPECT_NE(client.TransferredData.Find(expected), -1)
          << host << (reuse ? " reusing: " : ": ") << client.TransferredData.Data();
    }
  }
}

} // namespace
} // namespace quillon::test
