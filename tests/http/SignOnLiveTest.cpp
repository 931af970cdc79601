// The sign-on against real servers (tests/peers/signon.sh): Apache with mod_auth_gssapi checks
// NTLM through gss-ntlmssp and Negotiate against a KDC made at test time. Until the HTTP exchange
// drives the legs, this test plays them on one kept connection itself: the header the link forms,
// the server's token from WWW-Authenticate, the next header, and a last request without one.
#include "http/HttpClient.h"

#include "frame/ConfigRequest.h"
#include "frame/Errors.h"
#include "odata/QuillonCore.h"
#include "support/LoopbackHttp.h"
#include "support/Peers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace quillon {
namespace {

using test::LoopbackHttp;
using test::PeerValue;

void Configure(QuillonCore& core, const std::string& text) {
  ConfigRequest request;
  request.Parse(text.c_str());
  const char* ignored = nullptr;
  ASSERT_EQ(core.ConfigSignOn(request, &ignored), errNone) << text;
}

// Plays the legs; returns the final status, and that of a further request on the connection.
int SignOn(QuillonCore& core, const std::string& peer, const std::string& path, int& next) {
  LoopbackHttp connection(std::stoi(PeerValue(peer, "PORT")));
  std::string challenge;
  int status = 0;
  for (int leg = 0; leg < 3; ++leg) {
    if (core.FormAuthorization() != errNone) {
      ADD_FAILURE() << core.LastErrorText();
      return -1;
    }
    status = connection.Get(path, std::string(core.Authorization.View()), challenge);
    if (status != 401 || challenge.find(' ') == std::string::npos) break;
    core.ServerToken.Assign(challenge.substr(challenge.find(' ') + 1));
  }
  std::string ignored;
  next = connection.Get(path, "", ignored);
  return status;
}

TEST(SignOnLiveTest, NtlmAgainstGssNtlmssp) {
  struct Row {
    const char* name;
    const char* peer;
    const char* useSystem;
    const char* useV2;
    bool rightPassword;
    int status;
  } rows[] = {
      {"NTLMv2, the default", "signon", "True", "False", true, 200},
      {"NTLMv1 with extended security where allowed", "signon", "False", "False", true, 200},
      {"NTLMv1 with extended security refused", "signon_v2only", "False", "False", true, 401},
      {"UseNTLMv2 where only v2 passes", "signon_v2only", "False", "True", true, 200},
      {"wrong password", "signon", "True", "False", false, 401},
  };
  for (const Row& row : rows) {
    QuillonCore core;
    Configure(core, std::string("UseSystemSSPI=") + row.useSystem);
    Configure(core, std::string("UseNTLMv2=") + row.useV2);
    core.SetAuthScheme(authNtlm);
    core.URLServer.Assign("localhost");
    core.User.Assign(PeerValue(row.peer, "NTLM_DOMAIN") + "\\" + PeerValue(row.peer, "NTLM_USER"));
    core.Password.Assign(row.rightPassword ? PeerValue(row.peer, "NTLM_PASSWORD") : "wrong");
    int next = 0;
    EXPECT_EQ(SignOn(core, row.peer, "/ntlm/index.txt", next), row.status) << row.name;
    // The connection stays signed on for the next request, which carries no header.
    if (row.status == 200) {
      EXPECT_EQ(next, 200) << row.name;
    }
  }
}

TEST(SignOnLiveTest, NegotiateWithKerberos) {
  setenv("KRB5_CONFIG", PeerValue("signon", "KRB5_CONFIG").c_str(), 1);
  // Kerberos alone: SPNEGO would load every mechanism the machine lists, and gss-ntlmssp reads
  // the password past its end under strict string checks and keeps digests to the end.
  setenv("GSS_MECH_CONFIG", "/dev/null", 1);
  struct Row {
    const char* name;
    bool fromCache;
  } rows[] = {{"ticket cache made by kinit", true}, {"user and password", false}};
  for (const Row& row : rows) {
    setenv("KRB5CCNAME",
           row.fromCache ? PeerValue("signon", "KRB5CCNAME").c_str() : "MEMORY:quillon-test", 1);
    QuillonCore core;
    core.SetAuthScheme(authNegotiate);
    core.URLServer.Assign("localhost");
    if (!row.fromCache) {
      core.User.Assign(PeerValue("signon", "KERBEROS_USER") + "@" + PeerValue("signon", "REALM"));
      core.Password.Assign(PeerValue("signon", "KERBEROS_PASSWORD"));
    }
    int next = 0;
    EXPECT_EQ(SignOn(core, "signon", "/negotiate/index.txt", next), 200) << row.name;
    EXPECT_EQ(core.KerberosFirstToken, 1) << row.name;
    EXPECT_EQ(next, 200) << row.name;
  }
  unsetenv("KRB5CCNAME");
  unsetenv("KRB5_CONFIG");
}

// squid's ntlm_fake_auth answers with a target name whose offset is garbage (0xaaaaaaae): the
// reader refuses it with a clear text instead of reading outside the message.
TEST(SignOnLiveTest, ProxyNtlmChallengeOutsideItsMessage) {
  QuillonCore core;
  core.SetProxyAuthScheme(authNtlm);
  core.ProxyServer.Assign("127.0.0.1");
  core.ProxyUser.Assign("DOMAIN\\proxy-user");
  core.ProxyPassword.Assign("any");
  LoopbackHttp connection(std::stoi(PeerValue("squid_ntlm", "AUTH_PORT")));
  ASSERT_EQ(core.FormProxyAuthorization(), errNone) << core.LastErrorText();
  std::string challenge;
  ASSERT_EQ(connection.Get("http://127.0.0.1:1/", std::string(core.ProxyAuthorization.View()),
                           challenge, "Proxy-Authenticate: ", "Proxy-Authorization"),
            407);
  ASSERT_TRUE(challenge.starts_with("NTLM ")) << challenge;
  core.ProxyServerToken.Assign(challenge.substr(5));
  EXPECT_EQ(core.FormProxyAuthorization(), errNtlmToken);
  EXPECT_STREQ(core.LastErrorText(),
               "Could not process server's NTLM authentication token: target name outside the "
               "message.");
  EXPECT_TRUE(core.ProxyAuthorization.IsEmpty());
}

} // namespace
} // namespace quillon
