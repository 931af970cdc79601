// The sign-on: the shapes of tokens and service names, the failures of a missing library, a token
// that does not decode and a Kerberos set-up without credentials; then the sign-on against real
// servers (tests/peers/signon.sh), through the component's own calls: Apache with
// mod_auth_gssapi checks NTLM through gss-ntlmssp and Negotiate against a KDC made at test time,
// and its second port is a forward proxy asking for NTLM; squid's NTLM helper sends a challenge
// that points outside itself. The server's access log tells which legs arrived, on which
// connection and with what Content-Length.
#include "http/HttpClient.h"

#include "crypto/HashContext.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "odata/QuillonCore.h"
#include "quillon/Quillon.h"
#include "support/Corpus.h"
#include "support/LiveHost.h"
#include "support/Peers.h"
#include "support/ScriptPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace quillon {
namespace {

using test::Expand;
using test::LiveHost;
using test::PeerValue;
using test::ScriptPeer;

TEST(SignOnTest, TokenShapes) {
  const std::pair<const char*, bool> tokens[] = {
      {"YIIBBgYGKwYBBQUCoIH7MIH4oDAwLgYJKoZIgvcSAQICBgkqhkiG9xIBAgI=", true}, // SPNEGO, krb5
      {"TlRMTVNTUAABAAAAB4II", false},                                        // NTLM Type 1
      {"", false},
      {"KoZIhvcSAQIC", true},  // the identifier alone
      {"KoZIhvcSAQI=", false}, // cut one byte short
  };
  for (const auto& [base64, kerberos] : tokens)
    EXPECT_EQ(SspiContext::TokenIsKerberos(base64), kerberos) << base64;
  // The target, and the service name made of it.
  // clang-format off
  const std::pair<const char*, const char*> names[] = {{"HTTP/web.example", "HTTP@web.example"}, {"HTTP@web.example", "HTTP@web.example"},
                                                       {"HTTP/web@REALM", "HTTP/web@REALM"}, {"web.example", "web.example"}};
  // clang-format on
  for (const auto& [target, service] : names) {
    BufStr out;
    ASSERT_EQ(SspiContext::ServiceName(out, target), errNone);
    EXPECT_EQ(out.View(), service) << target;
  }
  // A token made elsewhere goes out as it is, and no exchange replaces it.
  Quillon component;
  ASSERT_EQ(component.Config("KerberosToken=YIIBBg=="), errNone);
  EXPECT_EQ(component.AuthScheme(), AuthSchemes::authProprietary);
  EXPECT_EQ(component.CustomRequest("GET", "http://127.0.0.1:1/", ""), 10061);
  EXPECT_EQ(component.Authorization(), "Negotiate YIIBBg==");
}

TEST(SignOnTest, Failures) {
  // A token that decodes to nothing ends the exchange instead of starting it again.
  QuillonCore core;
  ASSERT_EQ(core.ConfigText("UseSystemSSPI=False", nullptr), errNone);
  core.SetAuthScheme(authNtlm);
  core.User.Assign("u");
  core.URLServer.Assign("h");
  ASSERT_EQ(core.FormAuthorization(), errNone);
  core.ServerToken.Assign("!!!!");
  EXPECT_EQ(core.FormAuthorization(), errNtlmToken);
  EXPECT_STREQ(core.LastErrorText(),
               "Could not process server's NTLM authentication token: invalid signature.");
  EXPECT_TRUE(core.Authorization.IsEmpty());

  // Kerberos without a ticket cache: the library's own text after the code's head.
  setenv("KRB5CCNAME", "FILE:/nonexistent/quillon-ccache", 1);
  QuillonCore kerberos;
  kerberos.SetAuthScheme(authNegotiate);
  kerberos.URLServer.Assign("localhost");
  const int rc = kerberos.FormAuthorization();
  const std::string text = kerberos.LastErrorText();
  EXPECT_TRUE(text.find("): ") != std::string::npos &&
              (rc == errAcquireCredentials
                   ? text.starts_with("Could not acquire security credentials (0x")
                   : rc == errInitializeContext &&
                         text.starts_with("Could not initialize security context (0x")))
      << rc << " " << text;

  // Without the library Negotiate runs on our own engine, and the package calls give 270.
  platform::ReloadSecurityLibrary("libquillon-absent.so.0");
  QuillonCore absent;
  absent.SetAuthScheme(authNegotiate);
  absent.URLServer.Assign("localhost");
  EXPECT_EQ(absent.FormAuthorization(), errNone);
  EXPECT_TRUE(absent.Authorization.StartsWith("Negotiate TlRMTVNTUAAB"));
  SspiContext direct;
  EXPECT_EQ(direct.LoadSystemCredentials("Negotiate", "", ""), errSignOnLibrary);
  EXPECT_EQ(direct.errorText.View(), "The security library could not be loaded");
  BufStr out;
  EXPECT_EQ(direct.FirstToken(out, "HTTP/localhost"), errSignOnLibrary);
  platform::ReloadSecurityLibrary("libgssapi_krb5.so.2");
  unsetenv("KRB5CCNAME");
}

// Negotiate reads the realm's files; SPNEGO offers Kerberos alone (gss-ntlmssp, loaded as a
// mechanism, reads past its strings under the address checker).
void UseRealm(const std::string& cache) {
  setenv("KRB5_CONFIG", PeerValue("signon", "KRB5_CONFIG").c_str(), 1);
  setenv("GSS_MECH_CONFIG", "/dev/null", 1);
  setenv("KRB5CCNAME", cache.c_str(), 1);
}

// Every way of signing on, to a server, to a proxy and to a tunnel, with the answer each gives.
TEST(SignOnLiveTest, ServerProxyAndTunnelSignOn) {
  const char* unauthorized = "HTTP protocol error. 401 Unauthorized.";
  const char* proxyUnauthorized = "HTTP protocol error. 407 Proxy Authentication Required.";
  // clang-format off
  const std::string ntlmUser = "{signon.NTLM_DOMAIN}\\{signon.NTLM_USER}", right = "{signon.NTLM_PASSWORD}", v1 = "UseSystemSSPI=False;",
                    ntlm = "AuthScheme=4;User=" + ntlmUser + ";Password=",
                    kerberos = "AuthScheme=5;User={signon.KERBEROS_USER}@{signon.REALM};Password=",
                    proxyNtlm = "ProxyServer=127.0.0.1;ProxyAuthScheme=4;ProxyUser=" + ntlmUser + ";ProxyPassword=",
                    tunnel = "FirewallHost=127.0.0.1;FirewallUser=" + ntlmUser + ";FirewallPassword=",
                    ntlmV2 = "{signon_v2only.URL}/ntlm/", ntlmUrl = "{signon.URL}/ntlm/",
                    negotiateUrl = "http://localhost:{signon.PORT}/negotiate/", plain = "{signon.URL}/plain/feed.xml";
  // clang-format on
  // The peer is the server, or the proxy, whose log shows the legs; a URL ".../echo" is posted to
  // and sends the body back; the text is the failure's ("...*" its start); the legs are the
  // statuses logged, "/0" marking a leg of Content-Length 0.
  struct Row {
    const char *name, *peer;
    std::string url, settings;
    int code;
    std::string text;
    const char* legs;
  };
  // clang-format off
  const Row rows[] = {
      {"NTLMv2, the default, where only v2 passes", "signon_v2only", ntlmV2 + "feed.xml", ntlm + right, 0, "", "401 200"},
      {"NTLMv1 with extended security where allowed", "signon", ntlmUrl + "feed.xml", v1 + ntlm + right, 0, "", "401 200"},
      {"NTLMv1 refused where only v2 passes", "signon_v2only", ntlmV2 + "feed.xml", v1 + ntlm + right, 151, unauthorized, "401 401"},
      {"UseNTLMv2 where only v2 passes", "signon_v2only", ntlmV2 + "feed.xml", "UseNTLMv2=True;" + ntlm + right, 0, "", "401 200"},
      {"NTLM with a wrong password", "signon", ntlmUrl + "feed.xml", ntlm + "wrong", 151, unauthorized, "401 401"},
      {"POST through NTLM: the body goes with the answer", "signon", ntlmUrl + "echo", ntlm + right, 0, "", "401/0 200"},
      {"Negotiate carrying NTLM: the POST's body waits for the answer", "signon", ntlmUrl + "echo", v1 + "AuthScheme=5;User=" + ntlmUser + ";Password=" + right, 0, "", "401/0 200"},
      {"Negotiate from a ticket cache made by kinit", "signon", negotiateUrl + "feed.xml", "AuthScheme=5", 0, "", "200 200"},
      {"POST through Negotiate with Kerberos: the body goes at once", "signon", negotiateUrl + "echo", "AuthScheme=5", 0, "", "200 200"},
      {"Negotiate with user and password", "signon", negotiateUrl + "feed.xml", kerberos + "{signon.KERBEROS_PASSWORD}", 0, "", "200 200"},
      {"proxy Negotiate with Kerberos", "signon", "http://localhost:{signon.PORT}/plain/feed.xml", "ProxyServer=localhost;ProxyPort={signon.KERBEROS_PROXY_PORT};ProxyAuthScheme=5", 0, "", "200"},
      {"Negotiate with a wrong password", "", negotiateUrl + "feed.xml", kerberos + "wrong", 880, "Could not acquire security credentials (0x*", ""},
      {"proxy NTLM, the 407 turn", "signon", plain, proxyNtlm + right + ";ProxyPort={signon.PROXY_PORT}", 0, "", "407 200"},
      {"proxy NTLM with a wrong password", "signon", plain, proxyNtlm + "wrong;ProxyPort={signon.PROXY_PORT}", 151, proxyUnauthorized, "407 407"},
      // squid's helper points its target name outside the message: no answer is made, the
      // retry goes without one and the second 407 ends the exchange.
      {"proxy challenge outside its message", "", plain, proxyNtlm + right + ";ProxyPort={squid_ntlm.AUTH_PORT}", 151, proxyUnauthorized, ""},
      // The tunnels that sign on are reached through Config alone.
      {"NTLM tunnel", "", plain, "FirewallType=4;FirewallPort={signon.PROXY_PORT};" + tunnel + right, 0, "", ""},
      {"NTLM tunnel, own NTLMv1", "", plain, v1 + "FirewallType=4;FirewallPort={signon.PROXY_PORT};" + tunnel + right, 0, "", ""},
      {"Negotiate tunnel carrying NTLM", "", plain, v1 + "FirewallType=5;FirewallPort={signon.PROXY_PORT};" + tunnel + right, 0, "", ""},
      {"Negotiate tunnel with Kerberos from the cache", "", plain, "KerberosSPN=HTTP/localhost;FirewallType=5;FirewallHost=127.0.0.1;FirewallPort={signon.KERBEROS_PROXY_PORT}", 0, "", ""},
      {"NTLM tunnel with a wrong password", "", plain, "FirewallType=4;FirewallPort={signon.PROXY_PORT};" + tunnel + "wrong", 118, "Firewall error after NTLM authentication. Expected a status code beginning with 2 but got: 407 Proxy Authentication Required", ""},
      {"NTLM tunnel given a challenge outside its message", "", plain, "FirewallType=4;FirewallPort={squid_ntlm.AUTH_PORT};" + tunnel + right, 118, "Could not process server's NTLM authentication token: target name outside the message.", ""},
      {"Basic", "", "{apache.BASIC_URL}echo", "AuthScheme=0;User={apache.BASIC_USER};Password={apache.BASIC_PASSWORD}", 0, "", ""},
      {"Basic, wrong password", "", "{apache.BASIC_URL}echo", "AuthScheme=0;User={apache.BASIC_USER};Password=nope", 151, unauthorized, ""},
      {"Digest", "", "{apache.DIGEST_URL}echo", "AuthScheme=1;User={apache.DIGEST_USER};Password={apache.DIGEST_PASSWORD}", 0, "", ""},
      {"Digest, wrong password", "", "{apache.DIGEST_URL}echo", "AuthScheme=1;User={apache.DIGEST_USER};Password=nope", 151, unauthorized, ""},
  };
  // clang-format on
  int number = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    // The row's own mark finds its lines in the log; a proxy's lines carry the absolute URL.
    const std::string mark = "?row=" + std::to_string(getpid()) + "-" + std::to_string(++number);
    const std::string url = Expand(row.url) + mark;
    const bool proxy = row.settings.starts_with("Proxy");
    const bool post = row.url.ends_with("echo");
    const std::string body =
        post ? "<entry xmlns=\"http://www.w3.org/2005/Atom\"><title>posted</title></entry>" : "";
    // Kerberos knows the server and the proxy as localhost, and takes the ticket cache where no
    // user is set.
    const bool realm = url.find("localhost") != std::string::npos;
    const bool cache = row.settings.find("User=") == std::string::npos;
    if (realm || cache) UseRealm(cache ? PeerValue("signon", "KRB5CCNAME") : "MEMORY:quillon-live");
    LiveHost host;
    ASSERT_TRUE(host.Set(row.settings, row.settings.find("FirewallType") != std::string::npos));
    const auto request = [&] { return host.q.CustomRequest(post ? "POST" : "GET", url, body); };
    const int rc = request();
    EXPECT_EQ(rc, row.code) << host.q.ErrorDescription();
    if (rc != errNone) {
      const std::string text = host.q.ErrorDescription();
      EXPECT_EQ(row.text.ends_with('*') ? text.substr(0, row.text.size() - 1) + "*" : text,
                row.text);
    } else {
      // A feed's title names its folder, the echo sends the body back.
      const std::string folder = url.substr(0, url.rfind('/'));
      EXPECT_EQ(post ? host.q.TransferredData() : host.q.ChannelTitle(),
                post ? body : folder.substr(folder.rfind('/') + 1) + " area");
      EXPECT_EQ(host.q.EntryCount(), post ? 1 : 0);
      // A Kerberos token is whole in itself: the next request goes on the kept connection
      // with a token of its own.
      EXPECT_EQ(realm && !proxy ? request() : errNone, errNone);
    }
    if (!*row.legs) continue;
    // Every leg on one connection; a POST's first leg without its body.
    const std::string expected = row.legs;
    const auto lines = test::LoggedLines(
        row.peer, {mark + " ", proxy ? "\"GET http" : " "},
        static_cast<size_t>(std::count(expected.begin(), expected.end(), ' ') + 1));
    std::string legs;
    for (const std::string& line : lines) {
      legs += (legs.empty() ? "" : " ") + line.substr(line.find(' ') + 1, 3);
      if (test::LogField(line, "length") == "\"0\"") legs += "/0";
      EXPECT_EQ(test::LogField(line, "conn"), test::LogField(lines.front(), "conn")) << line;
    }
    EXPECT_EQ(legs, expected);
  }
  unsetenv("KRB5CCNAME");
}

// A server of our own that challenges every answer, or sends a challenge that does not decode:
// two legs on one connection, the 401's body read through, then 151 with that 401's text.
TEST(SignOnLiveTest, ChallengesThatNeverEnd) {
  const std::string challenge = "TlRMTVNTUAACAAAAAAAAAAAAAAABAggAAQIDBAUGBwgAAAAAAAAAAAAAAAAAAAAA";
  // The challenge of the first answer (the second is a good one); whether the second leg carries
  // a Type 3 message.
  struct Row {
    const char* name;
    std::string first;
    bool proxy, answered;
  } rows[] = {
      {"every answer a new challenge", challenge, false, true},
      {"a challenge that does not decode", "!!!!", false, false},
      {"a proxy challenging every answer", challenge, true, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string status = row.proxy ? "407 Proxy Authentication Required" : "401 Unauthorized";
    const std::string field = row.proxy ? "Proxy-Authenticate: NTLM " : "WWW-Authenticate: NTLM ";
    const auto answer = [&](const std::string& token) {
      return "HTTP/1.1 " + status + "\r\n" + field + token + "\r\nContent-Length: 6\r\n\r\ndenied";
    };
    ScriptPeer peer;
    peer.Expect("GET {*}NTLM TlRMTVNTUAAB{*}\r\n\r\n").Send(answer(row.first));
    peer.Expect("GET {*}\r\n\r\n").Send(answer(challenge));
    peer.Start();
    const std::string port = std::to_string(peer.Port()), proxy = row.proxy ? "Proxy" : "";
    LiveHost host;
    ASSERT_TRUE(host.Set("Timeout=10;" + proxy + "AuthScheme=4;" + proxy + "User=DOM\\user" +
                         (row.proxy ? ";ProxyServer=127.0.0.1;ProxyPort=" + port : "")));
    EXPECT_EQ(host.q.CustomRequest("GET", "http://127.0.0.1:" + port + "/", ""), 151);
    EXPECT_EQ(host.q.ErrorDescription(), "HTTP protocol error. " + status + ".");
    EXPECT_TRUE(peer.Finished());
    EXPECT_TRUE(peer.Failures().empty()) << ScriptPeer::Printable(peer.Received());
    EXPECT_EQ(peer.Connections(), 1);
    EXPECT_EQ(peer.Received().find("NTLM TlRMTVNTUAAD") != std::string::npos, row.answered);
  }
}

// An answer on a TLS channel carries the channel's bindings: "tls-server-end-point:" and the
// SHA-256 of the server's certificate.
TEST(SignOnLiveTest, AnswerOnTlsCarriesTheChannelBindings) {
  const std::string pem = test::FileText(PeerValue("certs", "SERVER_CERT"));
  const size_t begin = pem.find('\n') + 1;
  BufStr der;
  der.Assign(pem.substr(begin, pem.find("-----END") - begin));
  Base64Decode(der, false);
  HashContext sha256;
  ASSERT_EQ(sha256.Init(digestSha256), errNone);
  sha256.Update(der.View());
  sha256.Final();

  QuillonCore core;
  core.KeepAlive = 1;
  core.sslSecurityFlags = 0xFFFFFFFFu; // the test CA is not the machine's
  const std::string url = PeerValue("nginx", "HTTPS_URL") + "/feeds/small.xml";
  ASSERT_EQ(core.SetURL(url.c_str(), 0), errNone);
  ASSERT_EQ(core.RunAction(actGet), errNone) << core.LastErrorText();
  core.AuthScheme = authNtlm;
  core.ServerToken.Assign("TlRMTVNTUAACAAAAAAAAAAAAAAABAggAAQIDBAUGBwgAAAAAAAAAAAAAAAAAAAAA");
  ASSERT_EQ(core.FormAuthorization(), errNone) << core.LastErrorText();
  EXPECT_EQ(core.serverSignOn.channelBindings.View(),
            "tls-server-end-point:" + std::string(sha256.result.View()));
  // A first leg, before any channel, has none.
  core.ServerToken.Clear();
  core.Disconnect();
  ASSERT_EQ(core.FormAuthorization(), errNone) << core.LastErrorText();
  EXPECT_TRUE(core.serverSignOn.channelBindings.IsEmpty());
}

} // namespace
} // namespace quillon
