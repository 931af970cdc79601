// The sign-on against real servers (tests/peers/signon.sh), through the component's own calls:
// Apache with mod_auth_gssapi checks NTLM through gss-ntlmssp and Negotiate against a KDC made at
// test time, and its second port is a forward proxy asking for NTLM; squid's NTLM helper sends a
// challenge that points outside itself. The server's access log tells which legs arrived, on
// which connection and with what Content-Length.
#include "frame/ConfigRequest.h"
#include "frame/Errors.h"
#include "odata/QuillonCore.h"
#include "quillon/Quillon.h"
#include "support/Peers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace quillon {
namespace {

using test::PeerValue;

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
  const std::string web = PeerValue("signon", "URL");
  const std::string ntlmUser =
      PeerValue("signon", "NTLM_DOMAIN") + "\\" + PeerValue("signon", "NTLM_USER");
  const std::string ntlmPassword = PeerValue("signon", "NTLM_PASSWORD");
  const std::string krbUser =
      PeerValue("signon", "KERBEROS_USER") + "@" + PeerValue("signon", "REALM");
  const std::string ticketCache = PeerValue("signon", "KRB5CCNAME");
  const std::string entry =
      "<entry xmlns=\"http://www.w3.org/2005/Atom\"><title>posted</title></entry>";
  struct Row {
    const char* name;
    const char* peer;  // whose log shows the legs
    const char* proxy; // the proxy's port key, "" for none
    int scheme;
    const char* config;
    std::string user, password, url, body;
    const char* cache; // KRB5CCNAME, "" to leave Negotiate out
    int code;
    const char* text; // the start of the failure's text
    const char* legs; // the statuses logged, with "0" for a first leg of Content-Length 0
  };
  const std::string v2only = PeerValue("signon_v2only", "URL");
  const std::string plain = web + "/plain/feed.xml";
  const std::string unauthorized = "HTTP protocol error. 401 Unauthorized.";
  const Row rows[] = {
      {"NTLMv2, the default", "signon", "", authNtlm, "", ntlmUser, ntlmPassword,
       web + "/ntlm/feed.xml", "", "", 0, "", "401 200"},
      {"NTLMv1 with extended security where allowed", "signon", "", authNtlm, "UseSystemSSPI=False",
       ntlmUser, ntlmPassword, web + "/ntlm/feed.xml", "", "", 0, "", "401 200"},
      {"NTLMv1 refused where only v2 passes", "signon_v2only", "", authNtlm, "UseSystemSSPI=False",
       ntlmUser, ntlmPassword, v2only + "/ntlm/feed.xml", "", "", 151, unauthorized.c_str(),
       "401 401"},
      {"UseNTLMv2 where only v2 passes", "signon_v2only", "", authNtlm, "UseNTLMv2=True", ntlmUser,
       ntlmPassword, v2only + "/ntlm/feed.xml", "", "", 0, "", "401 200"},
      {"NTLM with a wrong password", "signon", "", authNtlm, "", ntlmUser, "wrong",
       web + "/ntlm/feed.xml", "", "", 151, unauthorized.c_str(), "401 401"},
      {"POST through NTLM: the body goes with the answer", "signon", "", authNtlm, "", ntlmUser,
       ntlmPassword, web + "/ntlm/echo", entry, "", 0, "", "401/0 200"},
      {"Negotiate from a ticket cache made by kinit", "signon", "", authNegotiate, "", "", "",
       "http://localhost:" + PeerValue("signon", "PORT") + "/negotiate/feed.xml", "",
       ticketCache.c_str(), 0, "", "200"},
      {"Negotiate with user and password", "signon", "", authNegotiate, "", krbUser,
       PeerValue("signon", "KERBEROS_PASSWORD"),
       "http://localhost:" + PeerValue("signon", "PORT") + "/negotiate/feed.xml", "",
       "MEMORY:quillon-live", 0, "", "200"},
      {"Negotiate with a wrong password", "signon", "", authNegotiate, "", krbUser, "wrong",
       "http://localhost:" + PeerValue("signon", "PORT") + "/negotiate/feed.xml", "",
       "MEMORY:quillon-live", 880, "Could not acquire security credentials (0x", ""},
      {"proxy NTLM, the 407 turn", "signon", "PROXY_PORT", authNtlm, "", ntlmUser, ntlmPassword,
       plain, "", "", 0, "", "407 200"},
      {"proxy NTLM with a wrong password", "signon", "PROXY_PORT", authNtlm, "", ntlmUser, "wrong",
       plain, "", "", 151, "HTTP protocol error. 407 Proxy Authentication Required.", "407 407"},
      // squid's helper points its target name outside the message: no answer is made, the
      // retry goes without one and the second 407 ends the exchange.
      {"proxy challenge outside its message", "squid_ntlm", "AUTH_PORT", authNtlm, "", ntlmUser,
       ntlmPassword, plain, "", "", 151, "HTTP protocol error. 407 Proxy Authentication Required.",
       ""},
  };
  int number = 0;
  for (const Row& row : rows) {
    const std::string mark = "?row=" + std::to_string(getpid()) + "-" + std::to_string(++number);
    if (*row.cache) UseRealm(row.cache);
    // The row's own mark in the URL finds its lines in the log; a proxy's lines are those of
    // the absolute URL.
    const std::string marker =
        (*row.proxy ? "\"GET " + row.url : row.url.substr(row.url.find('/', 8))) + mark + " ";
    Quillon component;
    if (*row.config) {
      ASSERT_EQ(component.Config(row.config), errNone) << row.name;
    }
    if (*row.proxy) {
      component.SetProxyServer("127.0.0.1");
      component.SetProxyPort(std::stoi(PeerValue(row.peer, row.proxy)));
      component.SetProxyAuthScheme(static_cast<AuthSchemes>(row.scheme));
      component.SetProxyUser(row.user);
      component.SetProxyPassword(row.password);
    } else {
      component.SetAuthScheme(static_cast<AuthSchemes>(row.scheme));
      component.SetUser(row.user);
      component.SetPassword(row.password);
    }
    const int rc =
        component.CustomRequest(row.body.empty() ? "GET" : "POST", row.url + mark, row.body);
    EXPECT_EQ(rc, row.code) << row.name << ": " << component.ErrorDescription();
    if (rc != errNone) {
      EXPECT_TRUE(component.ErrorDescription().starts_with(row.text))
          << row.name << ": " << component.ErrorDescription();
    } else {
      EXPECT_TRUE(component.ChannelTitle().ends_with(" area") || component.EntryCount() == 1)
          << row.name;
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
    const char* password; // "" for the peer's own
    int code;
    const char* text;
  } rows[] = {
      {"NTLM tunnel", "signon", "PROXY_PORT", 4, "", "", 0, ""},
      {"NTLM tunnel, own NTLMv1", "signon", "PROXY_PORT", 4, "UseSystemSSPI=False", "", 0, ""},
      {"Negotiate tunnel carrying NTLM", "signon", "PROXY_PORT", 5, "UseSystemSSPI=False", "", 0,
       ""},
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
    QuillonCore core;
    core.SetTimeout(20, true);
    const std::string settings[] = {
        row.config,
        "FirewallType=" + std::to_string(row.type),
        "FirewallHost=127.0.0.1",
        "FirewallPort=" + PeerValue(row.peer, row.portKey),
        "FirewallUser=" + PeerValue("signon", "NTLM_DOMAIN") + "\\" +
            PeerValue("signon", "NTLM_USER"),
        std::string("FirewallPassword=") +
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

} // namespace
} // namespace quillon
