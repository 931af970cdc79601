// The chosen certificate in a real handshake: the peer `openssl s_server -Verify 1 -www` on
// 127.0.0.1 demands a client certificate, a plain OpenSSL client presents the PKCS#12 that the
// front exports for the TLS channel, and the server's status page shows the subject it was given.
#include "KeyFiles.h"

#include "keys/CertificateFront.h"
#include "support/Peers.h"

#include <openssl/ssl.h>

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>

namespace quillon {
namespace {

using test::KeyPath;

int Connect(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  for (int attempt = 0; attempt < 100; ++attempt) {
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(s, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return s;
    close(s);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return -1;
}

// The status page that s_server sends back after a handshake with the certificate and key of
// `pfxDer`.
std::string StatusPage(int port, const std::string& pfxDer) {
  test::Pfx pfx(pfxDer);
  SSL_CTX* context = SSL_CTX_new(TLS_client_method());
  std::string page;
  const int s = Connect(port);
  if (pfx.ok && context && s >= 0 && SSL_CTX_use_certificate(context, pfx.cert) == 1 &&
      SSL_CTX_use_PrivateKey(context, pfx.key) == 1) {
    SSL* ssl = SSL_new(context);
    SSL_set_fd(ssl, s);
    const char request[] = "GET / HTTP/1.0\r\n\r\n";
    if (SSL_connect(ssl) == 1 && SSL_write(ssl, request, sizeof request - 1) > 0) {
      char buffer[4096];
      for (int n; (n = SSL_read(ssl, buffer, sizeof buffer)) > 0;)
        page.append(buffer, n);
    }
    SSL_free(ssl);
  }
  if (s >= 0) close(s);
  SSL_CTX_free(context);
  return page;
}

// The user's store "MY" holds the client certificate with its key beside it.
class ClientCertHandshake : public test::FolderStore {};

TEST_F(ClientCertHandshake, ServerSeesTheChosenCertificate) {
  struct Row {
    const char* name;
    int type;
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
  const int port = std::atoi(test::PeerValue("sslserver_client_cert", "PORT").c_str());
  ASSERT_GT(port, 0);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ComponentCore core;
    CertificateFront front(core);
    const std::string store = row.type == cstUser ? row.file : KeyPath(row.file);
    ASSERT_EQ(test::Choose(front, row.type, store, row.password), 0) << core.LastErrorText();
    BufStr pfx;
    ASSERT_EQ(front.ExportChosenCertificate(pfx), 0);
    const std::string page = StatusPage(port, std::string(pfx.View()));
    EXPECT_NE(page.find("Subject: " + std::string(row.subject)), std::string::npos)
        << page.substr(0, 400);
  }
}

} // namespace
} // namespace quillon
