// The provider over OpenSSL. Each context owns one SSL object between two memory BIOs: records
// that the engine hands in go into the read BIO whole (a record that has not fully arrived stays
// with the engine, which keeps it as the unused tail), and what OpenSSL writes into the write
// BIO comes back as the token. OpenSSL verifies nothing itself: security level 0 and no verify
// callback; the engine judges the server's certificate. A message callback watches the
// handshake messages that matter to the engine: a certificate request that finds no client
// certificate, and a server's hello request on an established channel.
#include "platform/TlsProvider.h"

#include "platform/TlsOpenSsl.h"
#include "platform/TlsRecords.h"

#include <openssl/err.h>
#include <openssl/pkcs12.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace quillon::platform {

const char* const kTlsPackageName = "Microsoft Unified Security Protocol Provider";

namespace {
constexpr int kMaximumMessage = 16384;
// Room behind a record for its MAC, padding and tag, and for an empty fragment in front of it.
constexpr int kTrailerRoom = 1024;
constexpr uint8_t kHelloRequest = 0;
constexpr uint8_t kCertificateRequest = 13;
} // namespace

namespace {

void WatchMessages(int writing, int, int contentType, const void* buffer, size_t length, SSL*,
                   void* arg) {
  auto* impl = static_cast<TlsContextImpl*>(arg);
  if (writing || contentType != 22 || length < 1) return;
  const uint8_t type = static_cast<const uint8_t*>(buffer)[0];
  if (type == kHelloRequest && impl->established) impl->helloRequested = true;
  if (type == kCertificateRequest && !impl->credentials->hasClientCertificate)
    impl->certificateRequested = true;
}

int KeepSession(SSL* ssl, SSL_SESSION* session) {
  auto* impl = static_cast<TlsContextImpl*>(SSL_get_app_data(ssl));
  if (!impl) return 0;
  TlsCredentials* credentials = impl->credentials;
  if (credentials->session) SSL_SESSION_free(credentials->session);
  credentials->session = session;
  std::snprintf(credentials->sessionHost, sizeof credentials->sessionHost, "%s", impl->serverName);
  return 1; // the session is ours now
}

int VersionOfBit(uint32_t protocols, bool lowest) {
  struct Row {
    uint32_t bits;
    int version;
  };
  static constexpr Row rows[] = {{kProtocolTls10, TLS1_VERSION},
                                 {kProtocolTls11, TLS1_1_VERSION},
                                 {kProtocolTls12, TLS1_2_VERSION},
                                 {kProtocolTls13, TLS1_3_VERSION}};
  int found = 0;
  for (const Row& row : rows) {
    if (!(protocols & row.bits)) continue;
    if (lowest) return row.version;
    found = row.version;
  }
  return found;
}

bool UseClientCertificate(SSL_CTX* ctx, const unsigned char* der, int length) {
  const unsigned char* p = der;
  PKCS12* p12 = d2i_PKCS12(nullptr, &p, length);
  if (!p12) return false;
  EVP_PKEY* key = nullptr;
  X509* cert = nullptr;
  STACK_OF(X509)* chain = nullptr;
  bool ok = PKCS12_parse(p12, "", &key, &cert, &chain) == 1 ||
            PKCS12_parse(p12, nullptr, &key, &cert, &chain) == 1;
  ok = ok && cert && key && SSL_CTX_use_certificate(ctx, cert) == 1 &&
       SSL_CTX_use_PrivateKey(ctx, key) == 1;
  for (int i = 0; ok && chain && i < sk_X509_num(chain); ++i)
    ok = SSL_CTX_add1_chain_cert(ctx, sk_X509_value(chain, i)) == 1;
  sk_X509_pop_free(chain, X509_free);
  X509_free(cert);
  EVP_PKEY_free(key);
  PKCS12_free(p12);
  return ok;
}

// Drops the TLS 1.2 and older suites whose bulk cipher is weaker than `bits`.
bool KeepStrongCiphers(SSL_CTX* ctx, int bits) {
  STACK_OF(SSL_CIPHER)* ciphers = SSL_CTX_get_ciphers(ctx);
  const int count = ciphers ? sk_SSL_CIPHER_num(ciphers) : 0;
  size_t room = 1;
  for (int i = 0; i < count; ++i)
    room += std::strlen(SSL_CIPHER_get_name(sk_SSL_CIPHER_value(ciphers, i))) + 1;
  char* list = static_cast<char*>(std::malloc(room));
  if (!list) return false;
  size_t length = 0;
  bool weakFound = false;
  for (int i = 0; i < count; ++i) {
    const SSL_CIPHER* cipher = sk_SSL_CIPHER_value(ciphers, i);
    if (std::strcmp(SSL_CIPHER_get_version(cipher), "TLSv1.3") == 0) continue;
    if (SSL_CIPHER_get_bits(cipher, nullptr) < bits) {
      weakFound = true;
      continue;
    }
    const char* name = SSL_CIPHER_get_name(cipher);
    if (length > 0) list[length++] = ':';
    std::memcpy(list + length, name, std::strlen(name));
    length += std::strlen(name);
  }
  list[length] = 0;
  const bool ok = !weakFound || (length > 0 && SSL_CTX_set_cipher_list(ctx, list) == 1);
  std::free(list);
  return ok;
}

// The status of a failed OpenSSL call, by the reason of its first queued error.
int32_t FailureStatus() {
  const unsigned long error = ERR_peek_error();
  ERR_clear_error();
  if (ERR_GET_LIB(error) != ERR_LIB_SSL) return tlsIllegalMessage;
  switch (ERR_GET_REASON(error)) {
  case SSL_R_NO_PROTOCOLS_AVAILABLE:
  case SSL_R_UNSUPPORTED_PROTOCOL:
  case SSL_R_TLSV1_ALERT_PROTOCOL_VERSION:
  case SSL_R_NO_SHARED_CIPHER:
  case SSL_R_SSLV3_ALERT_HANDSHAKE_FAILURE:
  case SSL_R_NO_CIPHERS_AVAILABLE:
  case SSL_R_WRONG_SSL_VERSION:
    return tlsAlgorithmMismatch;
  case SSL_R_DECRYPTION_FAILED_OR_BAD_RECORD_MAC:
    return tlsMessageAltered;
  default:
    return tlsIllegalMessage;
  }
}

} // namespace

int32_t TlsAcquireCredentials(const TlsCredentialSettings& settings, TlsCredentials*& out) {
  out = nullptr;
  if (!settings.package || std::strcmp(settings.package, kTlsPackageName) != 0)
    return tlsPackageNotFound;
  auto* credentials = new (std::nothrow) TlsCredentials;
  if (!credentials) return tlsInsufficientMemory;
  SSL_CTX* ctx = SSL_CTX_new(TLS_client_method());
  credentials->ctx = ctx;
  if (!ctx) {
    delete credentials;
    return tlsInsufficientMemory;
  }
  SSL_CTX_set_security_level(ctx, 0);
  SSL_CTX_set_verify(ctx, SSL_VERIFY_NONE, nullptr);
  SSL_CTX_set_mode(ctx, SSL_MODE_ENABLE_PARTIAL_WRITE);
  SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL_STORE);
  SSL_CTX_sess_set_new_cb(ctx, KeepSession);
  int32_t status = tlsOk;
  const int lowest = VersionOfBit(settings.protocols, true);
  const int highest = VersionOfBit(settings.protocols, false);
  if (settings.protocols != 0 && lowest == 0) status = tlsAlgorithmMismatch;
  if (status == tlsOk && lowest != 0 &&
      (!SSL_CTX_set_min_proto_version(ctx, lowest) || !SSL_CTX_set_max_proto_version(ctx, highest)))
    status = tlsAlgorithmMismatch;
  if (status == tlsOk && settings.cipherList && *settings.cipherList &&
      SSL_CTX_set_cipher_list(ctx, settings.cipherList) != 1)
    status = tlsAlgorithmMismatch;
  if (status == tlsOk && settings.minimumCipherStrength > 0 &&
      !KeepStrongCiphers(ctx, static_cast<int>(settings.minimumCipherStrength)))
    status = tlsAlgorithmMismatch;
  if (status == tlsOk && settings.clientPkcs12Length > 0) {
    if (!UseClientCertificate(ctx, settings.clientPkcs12, settings.clientPkcs12Length))
      status = tlsNoCredentials;
    credentials->hasClientCertificate = status == tlsOk;
  }
  ERR_clear_error();
  if (status != tlsOk) {
    TlsFreeCredentials(credentials);
    return status;
  }
  out = credentials;
  return tlsOk;
}

void TlsFreeCredentials(TlsCredentials* credentials) {
  if (!credentials) return;
  if (credentials->session) SSL_SESSION_free(credentials->session);
  SSL_CTX_free(credentials->ctx);
  delete credentials;
}

TlsContext* TlsContext::Create(TlsCredentials& credentials, const char* serverName,
                               const unsigned char* alpn, int alpnLength) {
  auto* context = new (std::nothrow) TlsContext;
  if (!context) return nullptr;
  auto* impl = new (std::nothrow) TlsContextImpl;
  context->impl = impl;
  if (!impl) {
    delete context;
    return nullptr;
  }
  impl->credentials = &credentials;
  impl->ssl = SSL_new(credentials.ctx);
  impl->in = BIO_new(BIO_s_mem());
  impl->out = BIO_new(BIO_s_mem());
  if (!impl->ssl || !impl->in || !impl->out) {
    BIO_free(impl->in);
    BIO_free(impl->out);
    impl->in = impl->out = nullptr;
    delete context;
    return nullptr;
  }
  BIO_set_mem_eof_return(impl->in, -1);
  SSL_set_bio(impl->ssl, impl->in, impl->out);
  SSL_set_app_data(impl->ssl, impl);
  SSL_set_msg_callback(impl->ssl, WatchMessages);
  SSL_set_msg_callback_arg(impl->ssl, impl);
  SSL_set_connect_state(impl->ssl);
  std::snprintf(impl->serverName, sizeof impl->serverName, "%s", serverName ? serverName : "");
  const bool isAddress = serverName && IsAddressText(serverName);
  if (serverName && *serverName && !isAddress) SSL_set_tlsext_host_name(impl->ssl, serverName);
  if (alpn && alpnLength > 0)
    SSL_set_alpn_protos(impl->ssl, alpn, static_cast<unsigned>(alpnLength));
  if (credentials.session && serverName && std::strcmp(credentials.sessionHost, serverName) == 0)
    SSL_set_session(impl->ssl, credentials.session);
  return context;
}

TlsContext::~TlsContext() {
  if (!impl) return;
  SSL_free(impl->ssl); // frees both BIOs
  std::free(impl->tokenBuffer);
  std::free(impl->held);
  OPENSSL_free(impl->derBuffer);
  delete impl;
}

namespace {

// Moves what OpenSSL wrote for the peer into the token buffer.
int32_t TakeOutput(TlsContextImpl& impl, TlsToken& token) {
  token = {};
  const int pending = static_cast<int>(BIO_ctrl_pending(impl.out));
  if (pending == 0) return tlsOk;
  if (pending > impl.tokenCapacity) {
    char* grown = static_cast<char*>(std::realloc(impl.tokenBuffer, static_cast<size_t>(pending)));
    if (!grown) return tlsInsufficientMemory;
    impl.tokenBuffer = grown;
    impl.tokenCapacity = pending;
  }
  token.bytes = impl.tokenBuffer;
  token.length = BIO_read(impl.out, impl.tokenBuffer, pending);
  if (token.length < 0) token.length = 0;
  return tlsOk;
}

} // namespace

namespace {

// A new handshake on an established channel runs inside SSL_read, which also takes the
// application data that the server sent before it saw our hello; that data is held for the
// next Decrypt. The answer is as SSL_do_handshake's: 1 done, else see SSL_get_error.
int ReadWhileRenegotiating(TlsContextImpl& impl) {
  for (;;) {
    if (impl.heldCapacity - impl.heldLength < kMaximumMessage) {
      const int grown = impl.heldCapacity + 2 * kMaximumMessage;
      char* bigger = static_cast<char*>(std::realloc(impl.held, static_cast<size_t>(grown)));
      if (!bigger) return -1;
      impl.held = bigger;
      impl.heldCapacity = grown;
    }
    const int n = SSL_read(impl.ssl, impl.held + impl.heldLength, kMaximumMessage);
    if (n <= 0) {
      if (SSL_get_error(impl.ssl, n) == SSL_ERROR_WANT_READ && SSL_is_init_finished(impl.ssl))
        return 1;
      return n;
    }
    impl.heldLength += n;
  }
}

} // namespace

int32_t TlsContext::Handshake(const char* input, int length, TlsToken& token, int& extra) {
  token = {};
  extra = 0;
  const RecordScan scan = ScanRecords(input, length);
  if (scan.malformed) {
    extra = 0;
    return tlsIllegalMessage;
  }
  if (length > 0 && scan.wholeLength == 0) {
    extra = length;
    return tlsIncompleteMessage;
  }
  if (scan.wholeLength > 0 && BIO_write(impl->in, input, scan.wholeLength) != scan.wholeLength)
    return tlsInsufficientMemory;
  const int rc = impl->established ? ReadWhileRenegotiating(*impl) : SSL_do_handshake(impl->ssl);
  // Records that followed the last handshake message stay unread in the BIO: they go back to
  // the engine as unused bytes, ahead of the incomplete tail.
  const int unread = static_cast<int>(BIO_ctrl_pending(impl->in));
  extra = length - scan.wholeLength + unread;
  (void)BIO_reset(impl->in);
  if (impl->certificateRequested) {
    impl->certificateRequested = false;
    if (rc == 1 || SSL_get_error(impl->ssl, rc) == SSL_ERROR_WANT_READ)
      return tlsIncompleteCredentials; // the token waits for the next round
  }
  if (const int32_t taken = TakeOutput(*impl, token); taken != tlsOk) return taken;
  if (rc == 1) {
    impl->helloRequested = false;
    impl->established = true;
    return tlsOk;
  }
  const int error = SSL_get_error(impl->ssl, rc);
  if (error == SSL_ERROR_WANT_READ) return tlsContinueNeeded;
  extra = 0;
  return FailureStatus();
}

int32_t TlsContext::Encrypt(char* buffer, int header, int length, int room, int& recordLength) {
  recordLength = 0;
  if (length <= 0) return tlsOk;
  if (length > kMaximumMessage) return tlsInvalidToken;
  const int written = SSL_write(impl->ssl, buffer + header, length);
  if (written != length) return FailureStatus();
  const int pending = static_cast<int>(BIO_ctrl_pending(impl->out));
  if (pending > room) return tlsInternalError;
  recordLength = BIO_read(impl->out, buffer, pending);
  return recordLength == pending ? tlsOk : tlsInternalError;
}

int32_t TlsContext::Decrypt(char* input, int length, const char*& plain, int& plainLength,
                            int& extra, TlsToken& token) {
  plain = input;
  plainLength = 0;
  extra = 0;
  token = {};
  if (impl->heldLength > 0) {
    plain = impl->held;
    plainLength = impl->heldLength;
    impl->heldLength = 0;
    extra = length;
    return tlsOk;
  }
  const RecordScan scan = ScanRecords(input, length);
  if (scan.malformed) return tlsDecryptFailure;
  if (scan.firstLength == 0) {
    extra = length;
    return tlsIncompleteMessage;
  }
  if (BIO_write(impl->in, input, scan.firstLength) != scan.firstLength)
    return tlsInsufficientMemory;
  extra = length - scan.firstLength;
  // The record's bytes are in the BIO now, so its place in `input` takes the plain text.
  const int n = SSL_read(impl->ssl, input, scan.firstLength);
  const int error = n > 0 ? SSL_ERROR_NONE : SSL_get_error(impl->ssl, n);
  (void)BIO_reset(impl->in);
  if (impl->helloRequested) {
    impl->helloRequested = false;
    // The answer (a new hello, or the refusal alert) stays for Handshake or Alert.
    impl->alertPending = (SSL_get_options(impl->ssl) & SSL_OP_NO_RENEGOTIATION) != 0;
    return tlsRenegotiate;
  }
  if (n > 0)
    plainLength = n;
  else if (error == SSL_ERROR_ZERO_RETURN)
    return tlsContextExpired;
  else if (error != SSL_ERROR_WANT_READ) {
    extra = 0;
    TakeOutput(*impl, token);
    const int32_t status = FailureStatus();
    return status == tlsIllegalMessage ? tlsDecryptFailure : status;
  }
  return TakeOutput(*impl, token);
}

void TlsContext::AllowRenegotiation(bool allow) {
  if (allow)
    SSL_clear_options(impl->ssl, SSL_OP_NO_RENEGOTIATION);
  else
    SSL_set_options(impl->ssl, SSL_OP_NO_RENEGOTIATION);
}

int32_t TlsContext::Shutdown(TlsToken& token) {
  token = {};
  if (SSL_get_shutdown(impl->ssl) & SSL_SENT_SHUTDOWN) return tlsOk;
  // A close before the handshake ended has no keys to protect the alert with.
  if (!SSL_is_init_finished(impl->ssl)) return tlsOk;
  SSL_shutdown(impl->ssl);
  ERR_clear_error();
  return TakeOutput(*impl, token);
}

int32_t TlsContext::Alert(int level, int number, TlsToken& token) {
  token = {};
  // OpenSSL writes the one alert that the engine sends by itself, when it refuses a new
  // handshake; that alert is what it holds.
  if (!impl->alertPending || level != 1 || number != SSL_AD_NO_RENEGOTIATION)
    return tlsUnsupportedFunction;
  impl->alertPending = false;
  return TakeOutput(*impl, token);
}

void TlsContext::StreamSizes(int& header, int& maximumMessage, int& trailer) const {
  header = kRecordHeaderLength;
  maximumMessage = kMaximumMessage;
  trailer = kTrailerRoom;
}

} // namespace quillon::platform
