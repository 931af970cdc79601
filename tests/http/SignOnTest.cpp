// The sign-on front: which engine answers for each package and setting, the headers the HTTP
// link forms for the server and the proxy, the Config keys, and the failures of a missing
// library, a token that does not decode and a Kerberos set-up without credentials.
#include "http/HttpClient.h"

#include "frame/ConfigRequest.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "odata/QuillonCore.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace quillon {
namespace {

// A Type 2 message offering NTLM, extended security and Unicode, in base64.
std::string ChallengeToken() {
  std::string m("NTLMSSP\0\2\0\0\0\0\0\0\0\0\0\0\0\x01\x02\x08\0", 24);
  m += std::string("\1\2\3\4\5\6\7\x08", 8) + std::string(16, '\0');
  BufStr out;
  Base64Encode(out, m.data(), static_cast<int>(m.size()), false, 0, false);
  return std::string(out.View());
}

// The NT response length of the Type 3 message in a base64 token: 24 for NTLMv1.
int NtResponseLength(std::string_view base64) {
  BufStr bytes;
  bytes.Assign(base64);
  Base64Decode(bytes, false);
  return bytes.Length() < 72
             ? -1
             : static_cast<uint8_t>(bytes[20]) | static_cast<uint8_t>(bytes[21]) << 8;
}

int Configure(QuillonCore& core, const char* text, const char** result = nullptr) {
  ConfigRequest request;
  request.Parse(text);
  const char* ignored = nullptr;
  return core.ConfigSignOn(request, result ? result : &ignored);
}

TEST(SignOnTest, EngineAndResponsePerSetting) {
  struct Row {
    const char* name;
    int scheme;
    const char* useSystem;
    const char* useV2;
    bool proxy;
    const char* word;
    int ntLength; // 24 for NTLMv1 with extended security, more for NTLMv2
  } rows[] = {
      {"own Negotiate sends NTLM", authNegotiate, "False", "False", false, "Negotiate ", 24},
      {"proxy Negotiate, own engine", authNegotiate, "False", "True", true, "Negotiate ", 0},
  };
  for (const Row& row : rows) {
    QuillonCore core;
    ASSERT_EQ(Configure(core, (std::string("UseSystemSSPI=") + row.useSystem).c_str()), errNone);
    ASSERT_EQ(Configure(core, (std::string("UseNTLMv2=") + row.useV2).c_str()), errNone);
    core.URLServer.Assign("server.example");
    core.ProxyServer.Assign("proxy.example");
    BufStrBase& header = row.proxy ? core.ProxyAuthorization : core.Authorization;
    BufStrBase& serverToken = row.proxy ? core.ProxyServerToken : core.ServerToken;
    if (row.proxy) {
      core.SetProxyAuthScheme(row.scheme);
      core.ProxyUser.Assign("DOM\\user");
      core.ProxyPassword.Assign("pw");
      ASSERT_EQ(core.FormProxyAuthorization(), errNone) << row.name << core.LastErrorText();
    } else {
      core.SetAuthScheme(row.scheme);
      core.User.Assign("DOM\\user");
      core.Password.Assign("pw");
      ASSERT_EQ(core.FormAuthorization(), errNone) << row.name << core.LastErrorText();
    }
    // "NTLMSSP\0\1" and flags 0xA2089207 in base64.
    EXPECT_TRUE(header.StartsWith(std::string(row.word) + "TlRMTVNTUAABAAAAB5II")) << row.name;
    EXPECT_EQ(core.KerberosFirstToken, 0) << row.name;
    serverToken.Assign(ChallengeToken());
    ASSERT_EQ(row.proxy ? core.FormProxyAuthorization() : core.FormAuthorization(), errNone)
        << row.name << core.LastErrorText();
    ASSERT_TRUE(header.StartsWith(std::string(row.word) + "TlRMTVNTUAADAAAA")) << row.name;
    const int nt = NtResponseLength(header.View().substr(std::string_view(row.word).size()));
    if (row.ntLength) {
      EXPECT_EQ(nt, row.ntLength) << row.name;
    } else {
      EXPECT_GT(nt, 24) << row.name;
    }
  }
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
