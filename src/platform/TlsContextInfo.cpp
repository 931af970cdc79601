// What a context tells after its handshake: the server's certificates, the channel binding, the
// chosen application protocol, and the negotiated algorithms in the numbers of the connection
// info (the algorithm identifiers of the platform the engine was written for).
#include "platform/TlsOpenSsl.h"

#include <openssl/x509.h>

#include <cstring>

namespace quillon::platform {

namespace {

uint32_t ProtocolBit(int version) {
  switch (version) {
  case TLS1_VERSION:
    return 0x80;
  case TLS1_1_VERSION:
    return 0x200;
  case TLS1_2_VERSION:
    return 0x800;
  case TLS1_3_VERSION:
    return 0x2000;
  default:
    return 0;
  }
}

uint32_t CipherId(int nid) {
  switch (nid) {
  case NID_aes_128_gcm:
  case NID_aes_128_cbc:
  case NID_aes_128_ccm:
    return 0x660E;
  case NID_aes_192_cbc:
    return 0x660F;
  case NID_aes_256_gcm:
  case NID_aes_256_cbc:
  case NID_aes_256_ccm:
    return 0x6610;
  case NID_des_ede3_cbc:
    return 0x6603;
  case NID_des_cbc:
    return 0x6601;
  case NID_rc4:
    return 0x6801;
  case NID_rc2_cbc:
    return 0x6602;
  default:
    return 0;
  }
}

uint32_t HashId(int nid) {
  switch (nid) {
  case NID_md5:
    return 0x8003;
  case NID_sha1:
    return 0x8004;
  case NID_sha256:
    return 0x800C;
  case NID_sha384:
    return 0x800D;
  case NID_sha512:
    return 0x800E;
  default:
    return 0;
  }
}

} // namespace

int32_t TlsContext::ConnectionInfo(TlsConnectionInfo& info) const {
  info = {};
  const SSL_CIPHER* cipher = SSL_get_current_cipher(impl->ssl);
  if (!cipher) return tlsInvalidToken;
  info.protocol = ProtocolBit(SSL_version(impl->ssl));
  info.cipher = CipherId(SSL_CIPHER_get_cipher_nid(cipher));
  info.cipherStrength = SSL_CIPHER_get_bits(cipher, nullptr);
  // An AEAD suite has no MAC; its handshake digest stands in.
  int digest = SSL_CIPHER_get_digest_nid(cipher);
  if (digest == NID_undef) {
    const EVP_MD* md = SSL_CIPHER_get_handshake_digest(cipher);
    digest = md ? EVP_MD_get_type(md) : NID_undef;
  }
  info.hash = HashId(digest);
  if (const EVP_MD* md = EVP_get_digestbynid(digest)) info.hashStrength = EVP_MD_get_size(md) * 8;
  EVP_PKEY* ephemeral = nullptr;
  const bool haveEphemeral = SSL_get_peer_tmp_key(impl->ssl, &ephemeral) == 1;
  switch (SSL_CIPHER_get_kx_nid(cipher)) {
  case NID_kx_rsa:
    info.exchange = 0xA400;
    if (EVP_PKEY* key = X509_get0_pubkey(SSL_get0_peer_certificate(impl->ssl)))
      info.exchangeStrength = EVP_PKEY_get_bits(key);
    break;
  case NID_kx_dhe:
    info.exchange = 0xAA02;
    break;
  default: // ECDHE, and TLS 1.3, where the ephemeral key says which
    info.exchange =
        haveEphemeral && EVP_PKEY_get_base_id(ephemeral) == EVP_PKEY_DH ? 0xAA02 : 0xAE06;
    break;
  }
  if (haveEphemeral) {
    if (info.exchangeStrength == 0) info.exchangeStrength = EVP_PKEY_get_bits(ephemeral);
    EVP_PKEY_free(ephemeral);
  }
  return tlsOk;
}

bool TlsContext::HoldsPlain() const {
  return impl->heldLength > 0;
}

int TlsContext::PeerCertificateCount() const {
  STACK_OF(X509)* chain = SSL_get_peer_cert_chain(impl->ssl);
  return chain ? sk_X509_num(chain) : 0;
}

bool TlsContext::PeerCertificate(int index, const unsigned char*& der, int& length) const {
  der = nullptr;
  length = 0;
  STACK_OF(X509)* chain = SSL_get_peer_cert_chain(impl->ssl);
  if (!chain || index < 0 || index >= sk_X509_num(chain)) return false;
  unsigned char* encoded = nullptr;
  const int n = i2d_X509(sk_X509_value(chain, index), &encoded);
  if (n <= 0) return false;
  OPENSSL_free(impl->derBuffer);
  impl->derBuffer = encoded;
  der = encoded;
  length = n;
  return true;
}

bool TlsContext::ChannelBinding(const unsigned char*& bytes, int& length) const {
  bytes = nullptr;
  length = 0;
  X509* leaf = SSL_get0_peer_certificate(impl->ssl);
  if (!leaf) return false;
  // tls-server-end-point: the certificate's hash by its signature's digest, SHA-256 at least.
  int digestNid = NID_sha256;
  int signatureDigest = 0;
  if (X509_get_signature_info(leaf, &signatureDigest, nullptr, nullptr, nullptr) == 1 &&
      (signatureDigest == NID_sha384 || signatureDigest == NID_sha512))
    digestNid = signatureDigest;
  static const char kPrefix[] = "tls-server-end-point:";
  constexpr int prefixLength = sizeof kPrefix - 1;
  std::memcpy(impl->binding, kPrefix, prefixLength);
  unsigned int hashLength = 0;
  if (X509_digest(leaf, EVP_get_digestbynid(digestNid), impl->binding + prefixLength,
                  &hashLength) != 1)
    return false;
  impl->bindingLength = prefixLength + static_cast<int>(hashLength);
  bytes = impl->binding;
  length = impl->bindingLength;
  return true;
}

void TlsContext::SelectedProtocol(const unsigned char*& name, int& length) const {
  unsigned int size = 0;
  name = nullptr;
  SSL_get0_alpn_selected(impl->ssl, &name, &size);
  length = static_cast<int>(size);
}

} // namespace quillon::platform
