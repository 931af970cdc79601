// Authorization and Proxy-Authorization as the HTTP link forms them: Basic by RFC 7617, Digest
// from a challenge, and the setters' side effects.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "http/HttpErrors.h"
#include "odata/QuillonCore.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

const char* const kChallenge =
    "realm=\"testrealm@host.com\", qop=\"auth,auth-int\", "
    "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"";

TEST(HttpAuthTest, BasicHeaders) {
  struct Row {
    const char *user, *password, *expected;
  };
  const Row rows[] = {
      {"Aladdin", "open sesame", "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ=="}, // RFC 7617 section 2
      {"test", "123\xC2\xA3", "Basic dGVzdDoxMjPCow=="},                // RFC 7617 section 2.1
      {"u", "p:w", "Basic dTpwOnc="}, // a colon in the password goes along
      {"user", "", "Basic dXNlcjo="}, // an empty password keeps the colon
      {"", "", ""},                   // no credentials, no header
  };
  for (const Row& r : rows) {
    QuillonCore core;
    ASSERT_EQ(core.SetUser(r.user), errNone);
    ASSERT_EQ(core.SetPassword(r.password), errNone);
    EXPECT_EQ(core.Authorization.View(), r.expected) << "row: " << r.user << ":" << r.password;
    ASSERT_EQ(core.SetProxyUser(r.user), errNone);
    ASSERT_EQ(core.SetProxyPassword(r.password), errNone);
    EXPECT_EQ(core.ProxyAuthorization.View(), r.expected)
        << "proxy row: " << r.user << ":" << r.password;
  }
}

// The Digest retry: the first request goes without a header, the challenge comes in, the retry
// answers it for the request on the wire (URLPath, RequestMethod). auth-int hashes PostData; the
// proxy's header names no algorithm, and an unknown qop leaves it without a response.
TEST(HttpAuthTest, DigestFromAChallengeAtServerAndProxy) {
  struct Row {
    bool proxy;
    const char *method, *challenge, *expected;
  } rows[] = {
      {false, "POST",
       "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", realm=\"testrealm@host.com\", qop=auth-int",
       "qop=\"auth-int\", nc=00000001, cnonce=\"0a4f113b\", "
       "response=\"e60940bf05a037c395db4430c28f7c93\""},
      {true, "GET", kChallenge, "response=\"6629fae49393a05397450978507c4ef1\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.proxy ? "proxy" : "server");
    QuillonCore core;
    ASSERT_EQ(row.proxy ? core.SetProxyAuthScheme(authDigest) : core.SetAuthScheme(authDigest),
              errNone);
    ASSERT_EQ(row.proxy ? core.SetProxyUser("Mufasa") : core.SetUser("Mufasa"), errNone);
    ASSERT_EQ(row.proxy ? core.SetProxyPassword("Circle Of Life")
                        : core.SetPassword("Circle Of Life"),
              errNone);
    const BufStr20& header = row.proxy ? core.ProxyAuthorization : core.Authorization;
    DigestState& digest = row.proxy ? core.proxyDigest : core.serverDigest;
    EXPECT_TRUE(header.IsEmpty()) << "no nonce yet";
    core.URLPath.Assign("/dir/index.html");
    core.PostData.Assign("<entry/>");
    core.RequestMethod.Assign(row.method);
    ASSERT_EQ(ParseDigestChallenge(digest, row.challenge), errNone);
    digest.cnonce.Assign("0a4f113b");
    const auto form = [&] {
      return row.proxy ? core.FormProxyAuthorization() : core.FormAuthorization();
    };
    ASSERT_EQ(form(), errNone);
    EXPECT_NE(header.Find(row.expected), -1) << header.View();
    EXPECT_EQ(header.Find("algorithm") == -1, row.proxy) << header.View();

    ASSERT_EQ(ParseDigestChallenge(digest, "nonce=\"n\", qop=\"token\""), errNone);
    EXPECT_EQ(form(), errDigest);
    EXPECT_STREQ(core.LastErrorText(), "Digest authentication error: unknown qop value.");
    EXPECT_EQ(header.View(), std::string("Digest username=\"Mufasa\", realm=\"\", nonce=\"n\", "
                                         "uri=\"/dir/index.html\"") +
                                 (row.proxy ? "" : ", algorithm=\"md5\""));
  }
}

TEST(HttpAuthTest, SchemeSettersAndTheirEffects) {
  QuillonCore core;
  ASSERT_EQ(core.SetUser("u"), errNone);
  ASSERT_EQ(core.SetPassword("p"), errNone);
  core.ServerToken.Assign("token");
  // The same scheme again keeps the credentials; another one drops them.
  ASSERT_EQ(core.SetAuthScheme(authBasic), errNone);
  EXPECT_EQ(core.User.View(), "u");
  EXPECT_TRUE(core.ServerToken.IsEmpty());
  EXPECT_EQ(core.KeepAlive, 0);
  ASSERT_EQ(core.SetAuthScheme(authNtlm), errNone);
  EXPECT_TRUE(core.User.IsEmpty());
  EXPECT_TRUE(core.Password.IsEmpty());
  EXPECT_TRUE(core.Authorization.IsEmpty());
  EXPECT_EQ(core.KeepAlive, 1) << "NTLM needs one connection throughout";
  ASSERT_EQ(core.SetAuthScheme(0x1FF), errNone);
  EXPECT_EQ(static_cast<int>(core.AuthScheme), 0xFF) << "only the low 8 bits are kept";

  ASSERT_EQ(core.SetProxyUser("pu"), errNone);
  ASSERT_EQ(core.SetProxyPassword("pp"), errNone);
  EXPECT_FALSE(core.ProxyAuthorization.IsEmpty());
  ASSERT_EQ(core.SetProxyAuthScheme(authDigest), errNone);
  EXPECT_TRUE(core.ProxyAuthorization.IsEmpty());
  EXPECT_EQ(core.ProxyUser.View(), "pu") << "only authNone drops the proxy credentials";
  ASSERT_EQ(core.SetProxyAuthScheme(authNone), errNone);
  EXPECT_TRUE(core.ProxyUser.IsEmpty());
  EXPECT_TRUE(core.ProxyPassword.IsEmpty());

  // Under OAuth the caller's value goes out word for word, scheme word included, whatever user is
  // set. (The exchange test sends a caller's value on the wire; the surface test moves the
  // schemes.)
  ASSERT_EQ(core.SetAuthScheme(authOAuth), errNone);
  ASSERT_EQ(core.SetAuthorization("Bearer xyz"), errNone);
  ASSERT_EQ(core.SetUser("u"), errNone);
  EXPECT_EQ(core.Authorization.View(), "Bearer xyz");
}

TEST(HttpAuthTest, NewUrlStartsANewExchange) {
  QuillonCore core;
  ASSERT_EQ(ParseDigestChallenge(core.serverDigest, kChallenge), errNone);
  ASSERT_EQ(ParseDigestChallenge(core.proxyDigest, kChallenge), errNone);
  core.User.Assign("Aladdin");
  core.Password.Assign("open sesame");
  core.AuthAttempts = 1;
  ASSERT_EQ(core.SetURL("http://host/path", 0), errNone);
  EXPECT_TRUE(core.serverDigest.nonce.IsEmpty());
  EXPECT_TRUE(core.proxyDigest.nonce.IsEmpty());
  EXPECT_EQ(core.Authorization.View(), "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
  EXPECT_EQ(core.AuthAttempts, 0);
}

} // namespace
} // namespace quillon
