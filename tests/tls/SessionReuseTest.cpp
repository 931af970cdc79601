// ReuseSSLSession over the HTTP link against openssl s_server -www, whose status page says
// whether the session was new or resumed: the second connection resumes the first one's
// session for a host given by name and by address alike, and never with the setting off.
#include "TlsPeer.h"

#include "http/HttpClient.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace quillon::test {
namespace {

TEST(SessionReuseTest, SecondConnectionResumesTheSessionWhenAsked) {
  ::setenv("SSL_CERT_FILE", CertFile("CA_FILE").c_str(), 1);
  SslServer server("SERVER_CERT", {"-www", "-cert_chain", CertFile("CA_FILE")});
  ASSERT_TRUE(server.Ready());
  struct Row {
    const char* host;
    bool reuse;
    const char* second; // how the status page starts the second session's line
  };
  const Row rows[] = {{"127.0.0.1", true, "Reused, "},
                      {"localhost", true, "Reused, "},
                      {"127.0.0.1", false, "New, "}};
  for (const Row& row : rows) {
    HttpClient client;
    client.SetTimeout(10, true);
    client.DefaultScheme.Assign("https");
    client.reuseSSLSession = row.reuse;
    const std::string url =
        "https://" + std::string(row.host) + ":" + std::to_string(server.Port()) + "/";
    for (const char* expected : {"New, ", row.second}) {
      ASSERT_EQ(client.SetURL(url.c_str(), 0), 0);
      ASSERT_EQ(client.RunAction(actGet), 0) << row.host << ": " << client.lastError.Data();
      EXPECT_NE(client.TransferredData.Find(expected), -1)
          << row.host << (row.reuse ? " reusing: " : ": ") << client.TransferredData.Data();
    }
  }
}

} // namespace
} // namespace quillon::test
