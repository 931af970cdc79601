// HTTPS through the public object against nginx and openssl s_server on 127.0.0.1: the judgement
// of the server's certificate and its name, the OData methods on a kept TLS connection with
// chunked and gzip bodies and its session script, and a client certificate that nginx demands,
// taken from the SSLCert settings (the user's store in a handshake: keys ClientCertHandshake).
#include "support/Corpus.h"
#include "support/LiveHost.h"
#include "support/Peers.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace quillon {
namespace {

using test::FileText;
using test::PeerValue;

class HttpsSurface : public ::testing::Test, public test::LiveHost {
protected:
  static void SetUpTestSuite() {
    ::setenv("SSL_CERT_FILE", PeerValue("certs", "CA_FILE").c_str(), 1);
  }
};

TEST_F(HttpsSurface, ServerCertificateIsJudgedByNameAndTrust) {
  const std::string nginx = PeerValue("nginx", "HTTPS_URL") + "/odata/";
  const std::string wrongHost = PeerValue("sslserver_wrong_host", "URL") + "/";
  const std::string wrongPem = FileText(PeerValue("certs", "WRONG_HOST_CERT"));
  const std::string wrongStatus =
      "[0x800b010f] The certificate's CN name does not match the passed value.";
  struct Row {
    const char* name;
    std::string root;
    std::string acceptPem; // SSLAcceptServerCertEncoded
    bool flip;             // the handler turns the verdict round
    int result;
    std::vector<std::string> judged;
  };
  const std::string nameError = "280 error verifying server certificate: 0x800b010f;";
  // clang-format off
  const Row rows[] = {
      {"trusted by IP", nginx, "", false, 0, {"OK (accept)"}},
      {"trusted by name", PeerValue("nginx", "HTTPS_LOCALHOST_URL") + "/odata/", "", false, 0, {"OK (accept)"}},
      {"trusted, refused by the host", nginx, "", true, 276, {"OK (accept)"}},
      {"wrong host", wrongHost, "", false, 276, {wrongStatus + " (refuse)"}},
      // s_server's status page is read as a document of no known kind.
      {"wrong host, taken by the host", wrongHost, "", true, 0, {wrongStatus + " (refuse)"}},
      {"wrong host, its bytes accepted", wrongHost, wrongPem, false, 0, {}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    test::LiveHost host;
    host.events.flip = row.flip;
    ASSERT_EQ(host.q.SetSSLAcceptServerCertEncoded(row.acceptPem), 0);
    EXPECT_EQ(host.Query(row.root, "Items"), row.result) << host.q.ErrorDescription();
    EXPECT_EQ(host.events.judged, row.judged);
    EXPECT_EQ(host.events.errors, row.root == wrongHost && row.acceptPem.empty() ? nameError : "");
    if (row.result == 276) {
      EXPECT_EQ(host.q.ErrorDescription(),
                "Server certificate verification failed. Connection aborted.");
    }
    if (row.judged.empty()) continue;
    // The certificate of the event stays readable after the connection, in both forms.
    EXPECT_EQ(host.q.SSLServerCertEncoded(), host.events.certificate);
    EXPECT_EQ(host.q.SSLServerCertEncodedB(), host.events.certificate);
    EXPECT_TRUE(host.events.certificate.starts_with("-----BEGIN CERTIFICATE-----"));
  }
}

// The session script of the connection holds the plain requests and answers.
TEST_F(HttpsSurface, OneKeptConnectionCarriesEveryKindOfBodyAndIsRecordedPlain) {
  const std::string https = PeerValue("nginx", "HTTPS_URL");
  const std::string script = ::testing::TempDir() + "https-session.exp";
  ASSERT_TRUE(Set("KeepAlive=true;RecordToFile=" + script));
  struct Row {
    const char* name;
    std::string root;
    const char* path; // empty: GetSchema
    bool compression;
    int entries;
    const char* header; // a header the body must have come with
  };
  const Row rows[] = {
      {"feed", https + "/odata/", "Items", false, 200, "Content-Length: "},
      {"schema", https + "/odata/", "", false, 1, "Content-Length: "},
      {"entry", https + "/odata/", "Items(1)", false, 1, "Content-Length: "},
      {"chunked", https + "/chunked/", "large.xml", false, 5000, "Transfer-Encoding: chunked"},
      {"gzip", https + "/feeds/", "medium.xml", true, 200, "Content-Encoding: gzip"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    events.headers.clear();
    ASSERT_TRUE(Set(std::string("AllowHTTPCompression=") + (row.compression ? "1" : "0") +
                    ";ServiceRootURI=" + row.root + ";ResourcePath=" + row.path));
    EXPECT_EQ(*row.path ? q.QueryService() : q.GetSchema(), 0) << q.ErrorDescription();
    EXPECT_NE(events.headers.find(row.header), std::string::npos) << events.headers;
    EXPECT_EQ(*row.path ? q.EntryCount() : q.SchemaEntityCount(), row.entries);
  }
  EXPECT_EQ(events.connections, 1);
  EXPECT_EQ(events.judged.size(), 1u);
  const std::string text = FileText(script);
  for (const char* command : {"expect -exact \"GET /odata/Items HTTP/1.1\r\n",
                              "expect -exact \"GET /chunked/large.xml HTTP/1.1\r\n",
                              "send -nonewline \"HTTP/1.1 200 OK\r\n"})
    EXPECT_NE(text.find(command), std::string::npos) << command << text.substr(0, 300);
  // A TLS record would start with the byte 22 or 23 and the version 3.
  EXPECT_EQ(text.find("\\026\\003"), std::string::npos);
  EXPECT_EQ(text.find("\\027\\003"), std::string::npos);
}

TEST_F(HttpsSurface, ClientCertificateOfTheSettingsReachesTheServer) {
  const std::string root = PeerValue("nginx_client_cert", "HTTPS_URL") + "/odata/";
  const std::string pemFile = ::testing::TempDir() + "client-key-and-cert.pem";
  std::ofstream(pemFile) << FileText(PeerValue("certs", "CLIENT_KEY"))
                         << FileText(PeerValue("certs", "CLIENT_CERT"));
  ASSERT_TRUE(Set("KeepAlive=true"));
  struct Row {
    const char* name;
    CertStoreTypes type;
    std::string store;
    const char* password;
    const char* subject; // empty: no certificate
    int result;
    int connections; // counted from the first row
  };
  // clang-format off
  const Row rows[] = {
      {"PFX file", CertStoreTypes::cstPFXFile, PeerValue("certs", "CLIENT_PFX"), "quillon", "*", 0, 1},
      {"same again, kept", CertStoreTypes::cstPFXFile, PeerValue("certs", "CLIENT_PFX"), "quillon", "*", 0, 1},
      {"none: the kept connection goes", CertStoreTypes::cstPFXFile, "", "", "", 151, 2},
      {"PEM key and certificate", CertStoreTypes::cstPEMKeyFile, pemFile, "", "*", 0, 3},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ASSERT_EQ(q.SetSSLCertStoreType(row.type), 0);
    ASSERT_EQ(q.SetSSLCertStorePassword(row.password), 0);
    ASSERT_EQ(q.SetSSLCertStore(row.store), 0) << q.ErrorDescription();
    ASSERT_EQ(q.SetSSLCertSubject(row.subject), 0) << q.ErrorDescription();
    if (*row.subject) {
      EXPECT_EQ(q.SSLCertSubject(), "CN=quillon-client");
    }
    EXPECT_EQ(Query(root, "Items"), row.result) << q.ErrorDescription();
    if (row.result != 0) {
      EXPECT_EQ(q.ErrorDescription(), "HTTP protocol error. 400 Bad Request.");
      EXPECT_NE(q.TransferredData().find("No required SSL certificate was sent"),
                std::string::npos);
    } else {
      EXPECT_EQ(q.EntryCount(), 200);
    }
    EXPECT_EQ(events.connections, row.connections);
  }
}

} // namespace
} // namespace quillon
