// Feeds arbitrary records into an established channel: the provider's client context finishes a
// handshake with an OpenSSL server in memory (a throw-away key and certificate made once), then
// every input is cut and opened as the engine does, record by record, until the provider asks
// for more or fails. A failure is fine; a crash, a read outside the input, or a plain text
// longer than its record is not.
#include "FuzzSupport.h"
#include "platform/TlsProvider.h"

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <string>

namespace {

SSL_CTX* ServerContext() {
  static SSL_CTX* ctx = [] {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* cert = X509_new();
    X509_set_version(cert, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert), 0);
    X509_gmtime_adj(X509_getm_notAfter(cert), 86400);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(cert), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("fuzz"), -1, -1, 0);
    X509_set_issuer_name(cert, X509_get_subject_name(cert));
    X509_set_pubkey(cert, key);
    X509_sign(cert, key, EVP_sha256());
    SSL_CTX* made = SSL_CTX_new(TLS_server_method());
    SSL_CTX_use_certificate(made, cert);
    SSL_CTX_use_PrivateKey(made, key);
    SSL_CTX_set_max_proto_version(made, TLS1_2_VERSION);
    return made;
  }();
  return ctx;
}

// Moves what one side wrote to the other.
std::string Drain(BIO* out) {
  std::string bytes(BIO_ctrl_pending(out), '\0');
  if (!bytes.empty()) BIO_read(out, bytes.data(), static_cast<int>(bytes.size()));
  return bytes;
}

} // namespace

QUILLON_FUZZ_TARGET(data) {
  using namespace platform;
  TlsCredentialSettings settings;
  settings.package = kTlsPackageName;
  settings.protocols = 0xC00;
  TlsCredentials* credentials = nullptr;
  Check(TlsAcquireCredentials(settings, credentials) == 0);
  TlsContext* client = TlsContext::Create(*credentials, "fuzz", nullptr, 0);
  SSL* server = SSL_new(ServerContext());
  BIO* serverIn = BIO_new(BIO_s_mem());
  BIO* serverOut = BIO_new(BIO_s_mem());
  SSL_set_bio(server, serverIn, serverOut);
  SSL_set_accept_state(server);
  std::string toServer, toClient;
  int32_t status = tlsContinueNeeded;
  for (int round = 0; round < 10 && status == tlsContinueNeeded; ++round) {
    TlsToken token;
    int extra = 0;
    status = client->Handshake(toClient.data(), static_cast<int>(toClient.size()), token, extra);
    toClient.erase(0, toClient.size() - static_cast<size_t>(extra));
    BIO_write(serverIn, token.bytes, token.length);
    SSL_do_handshake(server);
    toClient += Drain(serverOut);
  }
  Check(status == tlsOk);
  std::string input(data);
  int length = static_cast<int>(input.size());
  char* at = input.data();
  for (int step = 0; step < 1000; ++step) {
    const char* plain = nullptr;
    int plainLength = 0, extra = 0;
    TlsToken token;
    status = client->Decrypt(at, length, plain, plainLength, extra, token);
    if (status < 0 || status == tlsContextExpired) break;
    Check(extra >= 0 && extra <= length && plainLength >= 0);
    Check(plain != at || plainLength <= length - extra);
    if (extra == length && !client->HoldsPlain()) break;
    at += length - extra;
    length = extra;
  }
  SSL_free(server);
  delete client;
  TlsFreeCredentials(credentials);
}
