// The certificate made for a key that came without one. It gives no trust: the TLS library only
// takes a key together with a signed certificate, so a fixed 512-bit RSA key of our own signs it.
#include "platform/CertLibrary.h"

#include "frame/Errors.h"
#include "frame/Text.h"

#include <openssl/err.h>

#include <cerrno>

namespace quillon::platform {

namespace {
// The signing key as base64 of its RSA key blob; nothing depends on its value.
constexpr const char* kSigningKey =
    "BwIAAACkAABSU0EyAAIAAAEAAQDjmCctoJRIIGne9KJgeZE89ML80hNLiCEYyxnfrjKqvRtODEPhoC4Q"
    "cjtdrgjpqMTYREyIUYvQ7+dcyEAFnIDZyds6FasqxUbADfl3RF8rEPIV7HvsLQzxjqDJ0HtM6vJLDcCZ"
    "BQCU76XixxEIsAH3g0Ddp9m1duwUhrbpwOA35SlY1xqFfgM8lI824UpdMMWyRwLH9ykS2cFLiUAGk885"
    "HwELB1sz4u01W7LMSwhxG6KUusS/tEKXU1H1j4pdQzJEYALhc1vNnT5d5Wj3R9MV8A2Bb7EHNzot/kU6"
    "w5LBBeHx5Wak8xxVYe7HuZXLuV9FUBMK4DO144jfALy0X8Q19X80suwAp1gdlX2Ma/rLy5QI86yoiqRh"
    "EtfBuvnKIL8=";
constexpr long kValiditySeconds = 24 * 60 * 60;
} // namespace

CertContext* MakeThrowAwayCert(KeyObject* key) {
  BufStr blob(kSigningKey);
  Base64Decode(blob, false);
  KeyObject* signer = KeyFromRsaBlob(blob.View());
  X509* x509 = signer && key ? X509_new_ex(KeyLibrary(), nullptr) : nullptr;
  X509_NAME* name = X509_NAME_new();
  EVP_MD_CTX* signing = EVP_MD_CTX_new();
  // The TLS library takes a SHA-1 signature only on a certificate it counts as self-signed, one
  // whose key has the signer's algorithm; for EC and Ed25519 keys the signature is SHA-256.
  const int keyType = key ? EVP_PKEY_get_base_id(Pkey(key)) : EVP_PKEY_NONE;
  const char* digest = keyType == EVP_PKEY_RSA || keyType == EVP_PKEY_DSA ? "SHA1" : "SHA256";
  bool ok =
      x509 && name && signing && X509_set_version(x509, X509_VERSION_3) &&
      ASN1_INTEGER_set(X509_get_serialNumber(x509), 1) &&
      X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                 reinterpret_cast<const unsigned char*>("pem_cert"), -1, -1, 0) &&
      X509_set_subject_name(x509, name) && X509_set_issuer_name(x509, name) &&
      X509_gmtime_adj(X509_getm_notBefore(x509), 0) &&
      X509_gmtime_adj(X509_getm_notAfter(x509), kValiditySeconds) &&
      X509_set_pubkey(x509, Pkey(key)) &&
      EVP_DigestSignInit_ex(signing, nullptr, digest, KeyLibrary(), nullptr, Pkey(signer),
                            nullptr) == 1 &&
      X509_sign_ctx(x509, signing) > 0;
  EVP_MD_CTX_free(signing);
  X509_NAME_free(name);
  KeyFree(signer);
  ERR_clear_error();
  if (!ok) {
    X509_free(x509);
    errno = EINVAL;
    return nullptr;
  }
  return ContextOf(x509);
}

} // namespace quillon::platform
