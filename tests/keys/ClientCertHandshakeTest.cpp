// The chosen certificate in a real handshake of our own channel: the peer `openssl s_server
// -Verify 1 -www` on 127.0.0.1 demands a client certificate, the HTTP link presents the PKCS#12
// that the front exports, and the server's status page shows the subject it was given.
#include "KeyFiles.h"

#include "http/HttpClient.h"
#include "support/Peers.h"

#include <cstdlib>

namespace quillon {
namespace {

using test::KeyPath;

// The user's store "MY" holds the client certificate with its key beside it.
class ClientCertHandshake : public test::FolderStore {};

TEST_F(ClientCertHandshake, ServerSeesTheChosenCertificate) {
  struct Row {
    const char* name;
    CertStoreTypes type;
    const char* file;
    const char* password;
    const char* subject;
  };
  const Row rows[] = {
      {"PFX", cstPFXFile, "rsa-aes.pfx", "secret", "CN=Quillon Client, O=Quillon Tests"},
      {"PEM key and certificate", cstPEMKeyFile, "rsa-with-cert.pem", "", "CN=Quillon Client"},
      {"PKCS#8 key alone", cstPEMKeyFile, "rsa-aes.p8", "secret", "CN=pem_cert"},
      {"PPK 3", cstPPKFile, "rsa-v3-secret.ppk", "secret", "CN=pem_cert"},
      {"EC PFX", cstPFXFile, "ec.pfx", "secret", "CN=Quillon EC Client"},
      {"OpenSSH Ed25519", cstPEMKeyFile, "openssh-ed25519", "", "CN=pem_cert"},
      {"OpenSSH ECDSA", cstPEMKeyFile, "openssh-ecdsa", "", "CN=pem_cert"},
      {"user store", cstUser, "MY", "", "CN=Quillon Client"},
  };
  ::setenv("SSL_CERT_FILE", test::PeerValue("sslserver_client_cert", "CA_FILE").c_str(), 1);
  const std::string url = test::PeerValue("sslserver_client_cert", "URL") + "/";
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    HttpClient client;
    client.DefaultScheme.Assign("https");
    const std::string store = row.type == cstUser ? row.file : KeyPath(row.file);
    ASSERT_EQ(test::Choose(client.certificates, row.type, store, row.password), 0)
        << client.LastErrorText();
    ASSERT_EQ(client.SetURL(url.c_str(), 0), 0);
    EXPECT_EQ(client.RunAction(actGet), 0) << client.LastErrorText();
    const std::string page(client.TransferredData.View());
    EXPECT_NE(page.find("Subject: " + std::string(row.subject)), std::string::npos)
        << page.substr(0, 400);
  }
}

} // namespace
} // namespace quillon
