// Inside the certificate store layer only: the records behind its opaque types, and the TLS
// library's context of our own in which keys, certificates and PKCS#12 files are handled. That
// context has the legacy provider loaded beside the default one, for RC2 and Triple DES bags,
// without touching the host's own set-up of the library.
#pragma once

#include "platform/CertStore.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <string>
#include <vector>

namespace quillon::platform {

struct CertContext {
  int references = 1;
  X509* x509 = nullptr;    // owned
  EVP_PKEY* key = nullptr; // owned reference; null without a private key
  std::string der;         // the encoded certificate
};

struct CertStore {
  std::vector<CertContext*> items; // each holds a reference
};

// The library context of the layer; null when it cannot be made.
OSSL_LIB_CTX* KeyLibrary();
// A context for `x509`, which it takes over; null (and `x509` freed) on failure.
CertContext* ContextOf(X509* x509);
// `key` tied without a check; a reference is taken.
void TieKey(CertContext* context, EVP_PKEY* key);
// The subject text of CertSubjectText read back into a name; null when it does not parse.
X509_NAME* ParseSubjectText(std::string_view text);
inline EVP_PKEY* Pkey(KeyObject* key) {
  return reinterpret_cast<EVP_PKEY*>(key);
}
inline KeyObject* KeyOf(EVP_PKEY* key) {
  return reinterpret_cast<KeyObject*>(key);
}

} // namespace quillon::platform
