// The sign-on front: the shapes of tokens and service names, and the failures of a missing
// library, a token that does not decode and a Kerberos set-up without credentials. Which engine
// and NTLM version answer is proved by the real servers (SignOnLiveTest).
#include "http/HttpClient.h"

#include "frame/ConfigRequest.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "odata/QuillonCore.h"
#include "quillon/Quillon.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace quillon {
namespace {

int Configure(QuillonCore& core, const char* text) {
  ConfigRequest request;
  request.Parse(text);
  const char* ignored = nullptr;
  return core.ConfigSignOn(request, &ignored);
}

TEST(SignOnTest, TokenShapes) {
  struct Row {
    const char* base64;
    bool kerberos;
  } rows[] = {
      {"YIIBBgYGKwYBBQUCoIH7MIH4oDAwLgYJKoZIgvcSAQICBgkqhkiG9xIBAgI=", true}, // SPNEGO, krb5
      {"TlRMTVNTUAABAAAAB4II", false},                                        // NTLM Type 1
      {"", false},
      {"KoZIhvcSAQIC", true},  // the identifier alone
      {"KoZIhvcSAQI=", false}, // cut one byte short
  };
  for (const Row& row : rows)
    EXPECT_EQ(SspiContext::TokenIsKerberos(row.base64), row.kerberos) << row.base64;
  struct Name {
    const char* target;
    const char* service;
  } names[] = {{"HTTP/web.example", "HTTP@web.example"},
               {"HTTP@web.example", "HTTP@web.example"},
               {"HTTP/web@REALM", "HTTP/web@REALM"},
               {"web.example", "web.example"}};
  for (const Name& name : names) {
    BufStr out;
    ASSERT_EQ(SspiContext::ServiceName(out, name.target), errNone);
    EXPECT_EQ(out.View(), name.service) << name.target;
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
  Configure(core, "UseSystemSSPI=False");
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
  EXPECT_TRUE(rc == errAcquireCredentials || rc == errInitializeContext) << rc;
  const std::string text = kerberos.LastErrorText();
  EXPECT_TRUE(text.starts_with("Could not acquire security credentials (0x") ||
              text.starts_with("Could not initialize security context (0x"))
      << text;
  EXPECT_GT(text.find("): "), 0u) << text;

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

} // namespace
} // namespace quillon
