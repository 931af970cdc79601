// The sign-on against real servers (tests/peers/signon.sh), through the component's own calls:
// Apache with mod_auth_gssapi checks NTLM through gss-ntlmssp and Negotiate against a KDC made at
// test time, and its second port is a forward proxy asking for NTLM; squid's NTLM helper sends a
// challenge that points outside itself. The server's access log tells which legs arrived, on
// which connection and with what Content-Length.
#include "crypto/HashContext.h"
#include "frame/ConfigRequest.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "odata/QuillonCore.h"
#include "quillon/Quillon.h"
#include "support/Peers.h"
#include "support/ScriptPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace quillon {
namespace {

using test::PeerValue;
using test::ScriptPeer;

// The request lines of the peer's access log that carry `marker`, once `count` have come (the
// log is written after the answer, so it may lag behind it).
std::vector<std::string> Logged(const std::string& peer, const std::string& marker, size_t count) {
  std::vector<std::string> lines;
  for (int wait = 0; wait < 40 && lines.size() < count; ++wait) {
    if (wait) usleep(50000);
    lines.clear();
    std::ifstream file(PeerValue(peer, "ACCESS_LOG"));
    for (std::string line; std::getline(file, line);)
      if (line.find(marker) != std::string::npos) lines.push_back(line);
  }
  return lines;
}
std::string Field(const std::string& line, const std::string& name) {
  const size_t at = line.find(" " + name + "=");
  if (at == std::string::npos) return "";
  const size_t from = at + name.size() + 2;
  return line.substr(from, line.find(' ', from) - from);
}

// Negotiate reads the realm's files; SPNEGO offers Kerberos alone (gss-ntlmssp, loaded as a
// mechanism, reads past its strings under the address checker).
void UseRealm(const char* cache) {
  setenv("KRB5_CONFIG", PeerValue("signon", "KRB5_CONFIG").c_str(), 1);
  setenv("GSS_MECH_CONFIG", "/dev/null", 1);
  setenv("KRB5CCNAME", cache, 1);
}

TEST(SignOnLiveTest, ServerAndProxySignOn) {
  const std::string ntlmUser =
      PeerValue("signon", "NTLM_DOMAIN") + "\\" + PeerValue("signon", "NTLM_USER");
  const std::string krbUser =
      PeerValue("signon", "KERBEROS_USER") + "@" + PeerValue("signon", "REALM");
  const std::string ticketCache = PeerValue("signon", "KRB5CCNAME");
  const char* unauthorized = "HTTP protocol error. 401 Unauthorized.";
  const char* proxyUnauthorized = "HTTP protocol error. 407 Proxy Authentication Required.";
  struct Row {
    const char* name;
    const char* peer;  // the server, or the proxy; its log shows the legs
    const char* proxy; // the proxy's port key, "" for none
    int scheme;
    const char* config;
    char credentials; // N NTLM, K Kerberos, C the ticket cache; lower case: a wrong password
    const char* path; // "echo" is posted to
    int code;
    const char* text; // the start of the failure's text
    const char* legs; // the statuses logged, "/0" marking a leg of Content-Length 0
  } rows[] = {
      {"NTLMv2, the default, where only v2 passes", "signon_v2only", "", authNtlm, "", 'N',
       "/ntlm/feed.xml", 0, "", "401 200"},
      {"NTLMv1 with extended security where allowed", "signon", "", authNtlm, "UseSystemSSPI=False",
       'N', "/ntlm/feed.xml", 0, "", "401 200"},
      {"NTLMv1 refused where only v2 passes", "signon_v2only", "", authNtlm, "UseSystemSSPI=False",
       'N', "/ntlm/feed.xml", 151, unauthorized, "401 401"},
      {"UseNTLMv2 where only v2 passes", "signon_v2only", "", authNtlm, "UseNTLMv2=True", 'N',
       "/ntlm/feed.xml", 0, "", "401 200"},
      {"NTLM with a wrong password", "signon", "", authNtlm, "", 'n', "/ntlm/feed.xml", 151,
       unauthorized, "401 401"},
      {"POST through NTLM: the body goes with the answer", "signon", "", authNtlm, "", 'N',
       "/ntlm/echo", 0, "", "401/0 200"},
      {"Negotiate carrying NTLM: the POST's body waits for the answer", "signon", "", authNegotiate,
       "UseSystemSSPI=False", 'N', "/ntlm/echo", 0, "", "401/0 200"},
      {"Negotiate from a ticket cache made by kinit", "signon", "", authNegotiate, "", 'C',
       "/negotiate/feed.xml", 0, "", "200 200"},
      {"POST through Negotiate with Kerberos: the body goes at once", "signon", "", authNegotiate,
       "", 'C', "/negotiate/echo", 0, "", "200 200"},
      {"Negotiate with user and password", "signon", "", authNegotiate, "", 'K',
       "/negotiate/feed.xml", 0, "", "200 200"},
      {"proxy Negotiate with Kerberos", "signon", "KERBEROS_PROXY_PORT", authNegotiate, "", 'C',
       "/plain/feed.xml", 0, "", "200"},
      {"Negotiate with a wrong password", "signon", "", authNegotiate, "", 'k',
       "/negotiate/feed.xml", 880, "Could not acquire security credentials (0x", ""},
      {"proxy NTLM, the 407 turn", "signon", "PROXY_PORT", authNtlm, "", 'N', "/plain/feed.xml", 0,
       "", "407 200"},
      {"proxy NTLM with a wrong password", "signon", "PROXY_PORT", authNtlm, "", 'n',
       "/plain/feed.xml", 151, proxyUnauthorized, "407 407"},
      // squid's helper points its target name outside the message: no answer is made, the
      // retry goes without one and the second 407 ends the exchange.
      {"proxy challenge outside its message", "squid_ntlm", "AUTH_PORT", authNtlm, "", 'N',
       "/plain/feed.xml", 151, proxyUnauthorized, ""},
  };
  int number = 0;
  for (const Row& row : rows) {
    const std::string mark = "?row=" + std::to_string(getpid()) + "-" + std::to_string(++number);
    const char kind = static_cast<char>(std::toupper(row.credentials));
    const bool kerberos = kind != 'N';
    if (kerberos) UseRealm(kind == 'C' ? ticketCache.c_str() : "MEMORY:quillon-live");
    // Kerberos knows the server and the proxy as localhost; a proxy forwards to the sign-on
    // server.
    const std::string server = *row.proxy ? "signon" : row.peer;
    const std::string url =
        (kerberos ? "http://localhost:" + PeerValue(server, "PORT") : PeerValue(server, "URL")) +
        row.path + mark;
    const std::string user = kind == 'N' ? ntlmUser : kind == 'K' ? krbUser : "";
    const std::string password = std::islower(row.credentials) ? "wrong"
                                 : kind == 'N' ? PeerValue("signon", "NTLM_PASSWORD")
                                 : kind == 'K' ? PeerValue("signon", "KERBEROS_PASSWORD")
                                               : "";
    const bool post = std::string_view(row.path).ends_with("echo");
    const std::string body =
        post ? "<entry xmlns=\"http://www.w3.org/2005/Atom\"><title>posted</title></entry>" : "";
    // The row's own mark finds its lines in the log; a proxy's lines carry the absolute URL.
    const std::string marker = (*row.proxy ? "\"GET " + url : row.path + mark) + " ";
    Quillon component;
    if (*row.config) {
      ASSERT_EQ(component.Config(row.config), errNone) << row.name;
    }
    if (*row.proxy) {
      component.SetProxyServer(kerberos ? "localhost" : "127.0.0.1");
      component.SetProxyPort(std::stoi(PeerValue(row.peer, row.proxy)));
      component.SetProxyAuthScheme(static_cast<AuthSchemes>(row.scheme));
      component.SetProxyUser(user);
      component.SetProxyPassword(password);
    } else {
      component.SetAuthScheme(static_cast<AuthSchemes>(row.scheme));
      component.SetUser(user);
      component.SetPassword(password);
    }
    const int rc = component.CustomRequest(post ? "POST" : "GET", url, body);
    EXPECT_EQ(rc, row.code) << row.name << ": " << component.ErrorDescription();
    if (rc != errNone) {
      EXPECT_TRUE(component.ErrorDescription().starts_with(row.text))
          << row.name << ": " << component.ErrorDescription();
    } else {
      EXPECT_TRUE(component.ChannelTitle().ends_with(" area") || component.EntryCount() == 1)
          << row.name;
      // A Kerberos token is whole in itself: the next request goes on the kept connection
      // with a token of its own.
      if (kerberos && !*row.proxy) {
        EXPECT_EQ(component.CustomRequest(post ? "POST" : "GET", url, body), errNone) << row.name;
      }
    }
    if (!*row.legs) continue;
    // Every leg on one connection; a POST's first leg without its body.
    const std::string expected = row.legs;
    const auto lines =
        Logged(row.peer, marker,
               static_cast<size_t>(std::count(expected.begin(), expected.end(), ' ') + 1));
    std::string legs;
    for (const std::string& line : lines) {
      legs += (legs.empty() ? "" : " ") + line.substr(line.find(' ') + 1, 3);
      if (Field(line, "length") == "\"0\"") legs += "/0";
      EXPECT_EQ(Field(line, "conn"), Field(lines.front(), "conn")) << row.name << ": " << line;
    }
    EXPECT_EQ(legs, expected) << row.name;
  }
  unsetenv("KRB5CCNAME");
}

TEST(SignOnLiveTest, TunnelsThatSignOn) {
  struct Row {
    const char* name;
    const char* peer; // the proxy
    const char* portKey;
    int type;
    const char* config;
    const char* password; // "" for the peer's own; "-": no credentials, the ticket cache
    int code;
    const char* text;
  } rows[] = {
      {"NTLM tunnel", "signon", "PROXY_PORT", 4, "", "", 0, ""},
      {"NTLM tunnel, own NTLMv1", "signon", "PROXY_PORT", 4, "UseSystemSSPI=False", "", 0, ""},
      {"Negotiate tunnel carrying NTLM", "signon", "PROXY_PORT", 5, "UseSystemSSPI=False", "", 0,
       ""},
      {"Negotiate tunnel with Kerberos from the cache", "signon", "KERBEROS_PROXY_PORT", 5,
       "KerberosSPN=HTTP/localhost", "-", 0, ""},
      {"NTLM tunnel with a wrong password", "signon", "PROXY_PORT", 4, "", "wrong", 118,
       "Firewall error after NTLM authentication. Expected a status code beginning with 2 but "
       "got: 407 Proxy Authentication Required"},
      {"NTLM tunnel given a challenge outside its message", "squid_ntlm", "AUTH_PORT", 4, "", "",
       118,
       "Could not process server's NTLM authentication token: target name outside the "
       "message."},
  };
  const std::string url = PeerValue("signon", "URL") + "/plain/feed.xml";
  for (const Row& row : rows) {
    const bool cache = std::string_view(row.password) == "-";
    if (cache) UseRealm(PeerValue("signon", "KRB5CCNAME").c_str());
    QuillonCore core;
    core.SetTimeout(20, true);
    const std::string settings[] = {
        row.config,
        "FirewallType=" + std::to_string(row.type),
        "FirewallHost=127.0.0.1",
        "FirewallPort=" + PeerValue(row.peer, row.portKey),
        cache ? ""
              : "FirewallUser=" + PeerValue("signon", "NTLM_DOMAIN") + "\\" +
                    PeerValue("signon", "NTLM_USER"),
        cache ? ""
              : std::string("FirewallPassword=") +
                    (*row.password ? row.password : PeerValue("signon", "NTLM_PASSWORD").c_str()),
    };
    for (const std::string& setting : settings) {
      if (setting.empty()) continue;
      ConfigRequest request;
      request.Parse(setting.c_str());
      const char* ignored = nullptr;
      ASSERT_EQ(core.Config(request, &ignored), errNone) << row.name << ": " << setting;
    }
    ASSERT_EQ(core.SetURL(url.c_str(), 0), errNone);
    EXPECT_EQ(core.RunAction(actGet), row.code) << row.name << ": " << core.LastErrorText();
    if (row.code == errNone) {
      EXPECT_NE(core.TransferredData.Find("plain area"), -1) << row.name;
    } else {
      EXPECT_STREQ(core.LastErrorText(), row.text) << row.name;
    }
  }
}

// A server of our own that challenges every answer, or sends a challenge that does not decode:
// two legs on one connection, the 401's body read through, then 151 with that 401's text.
TEST(SignOnLiveTest, ChallengesThatNeverEnd) {
  const std::string challenge = "TlRMTVNTUAACAAAAAAAAAAAAAAABAggAAQIDBAUGBwgAAAAAAAAAAAAAAAAAAAAA";
  struct Row {
    const char* name;
    bool proxy;
    std::string first; // the challenge of the first answer; the second is a good one
    bool answered;     // whether the second leg carries a Type 3 message
  } rows[] = {
      {"every answer a new challenge", false, challenge, true},
      {"a challenge that does not decode", false, "!!!!", false},
      {"a proxy challenging every answer", true, challenge, true},
  };
  for (const Row& row : rows) {
    const std::string status = row.proxy ? "407 Proxy Authentication Required" : "401 Unauthorized";
    const std::string field = row.proxy ? "Proxy-Authenticate: NTLM " : "WWW-Authenticate: NTLM ";
    const auto answer = [&](const std::string& token) {
      return "HTTP/1.1 " + status + "\r\n" + field + token + "\r\nContent-Length: 6\r\n\r\ndenied";
    };
    ScriptPeer peer;
    peer.Expect("GET {*}NTLM TlRMTVNTUAAB{*}\r\n\r\n").Send(answer(row.first));
    peer.Expect("GET {*}\r\n\r\n").Send(answer(challenge));
    peer.Start();
    QuillonCore core;
    core.SetTimeout(10, true);
    if (row.proxy) {
      core.ProxyServer.Assign(peer.Host());
      core.ProxyPort = peer.Port();
      core.SetProxyAuthScheme(authNtlm);
      core.SetProxyUser("DOM\\user");
    } else {
      core.SetAuthScheme(authNtlm);
      core.SetUser("DOM\\user");
    }
    const std::string url =
        std::string("http://") + peer.Host() + ":" + std::to_string(peer.Port()) + "/";
    ASSERT_EQ(core.SetURL(url.c_str(), 0), errNone) << row.name;
    EXPECT_EQ(core.RunAction(actGet), 151) << row.name;
    EXPECT_EQ(std::string(core.LastErrorText()), "HTTP protocol error. " + status + ".")
        << row.name;
    EXPECT_TRUE(peer.Finished()) << row.name;
    EXPECT_TRUE(peer.Failures().empty())
        << row.name << ": " << ScriptPeer::Printable(peer.Received());
    EXPECT_EQ(peer.Connections(), 1) << row.name;
    EXPECT_EQ(peer.Received().find("NTLM TlRMTVNTUAAD") != std::string::npos, row.answered)
        << row.name;
  }
}

// An answer on a TLS channel carries the channel's bindings: "tls-server-end-point:" and the
// SHA-256 of the server's certificate.
TEST(SignOnLiveTest, AnswerOnTlsCarriesTheChannelBindings) {
  std::ifstream file(PeerValue("certs", "SERVER_CERT"));
  std::string pem((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
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
