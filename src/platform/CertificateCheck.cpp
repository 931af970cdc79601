// The chain check. OpenSSL builds and verifies the chain with a callback that notes every
// problem and lets verification go on, so that each problem is known; the host name is compared
// as browsers do (alternative names first, a wildcard only as the whole left label, addresses
// against address entries). Problems that the flags let pass are dropped; of the rest the first
// in this order is the status: signature, revocation, untrusted root, broken chain, time, basic
// constraints, usage, name.
#include "platform/CertificateCheck.h"

#include "platform/TlsRecords.h"

#include <openssl/err.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace quillon::platform {

namespace {

// One bit per status that a chain can end with, in the order of precedence.
struct Problem {
  uint32_t status;
  uint32_t ignoredBy;
};
constexpr Problem kProblems[] = {
    {certSignatureInvalid, 0},
    {certRevoked, certIgnoreRevocation},
    {certUntrustedRoot, certAllowUnknownCA},
    {certChaining, certAllowUnknownCA},
    {certNotTimeValid, certIgnoreTimeValid},
    {certNotTimeNested, certIgnoreTimeNested},
    {certBasicConstraints, certIgnoreBasicConstraints},
    {certWrongUsage, certIgnoreWrongUsage},
    {certNameMismatch, certIgnoreName},
};
constexpr int kProblemCount = sizeof kProblems / sizeof kProblems[0];

int ProblemOf(int error) {
  switch (error) {
  case X509_V_ERR_CERT_SIGNATURE_FAILURE:
  case X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE:
  case X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY:
    return 0;
  case X509_V_ERR_CERT_REVOKED:
    return 1;
  case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
  case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
  case X509_V_ERR_CERT_UNTRUSTED:
  case X509_V_ERR_CERT_REJECTED:
    return 2;
  case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
  case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
  case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    return 3;
  case X509_V_ERR_CERT_HAS_EXPIRED:
  case X509_V_ERR_CERT_NOT_YET_VALID:
  case X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD:
  case X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD:
    return 4;
  case X509_V_ERR_INVALID_CA:
  case X509_V_ERR_PATH_LENGTH_EXCEEDED:
  case X509_V_ERR_INVALID_EXTENSION:
    return 6;
  case X509_V_ERR_INVALID_PURPOSE:
  case X509_V_ERR_KEYUSAGE_NO_CERTSIGN:
    return 7;
  case X509_V_ERR_HOSTNAME_MISMATCH:
  case X509_V_ERR_IP_ADDRESS_MISMATCH:
    return 8;
  default:
    return 3;
  }
}

// The ex_data slot of the problem bits in a store context.
int NoteSlot() {
  static const int slot = X509_STORE_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return slot;
}

int NoteProblem(int ok, X509_STORE_CTX* ctx) {
  if (!ok) {
    auto* bits = static_cast<uint32_t*>(X509_STORE_CTX_get_ex_data(ctx, NoteSlot()));
    if (bits) *bits |= 1u << ProblemOf(X509_STORE_CTX_get_error(ctx));
  }
  return 1;
}

X509* ParseCertificate(const unsigned char* der, int length) {
  const unsigned char* p = der;
  X509* cert = d2i_X509(nullptr, &p, length);
  if (cert && p != der + length) {
    X509_free(cert);
    return nullptr;
  }
  return cert;
}

// Trust: the system's folder and bundle, and the file and folder that the environment names.
// Reading the bundle costs more than a handshake, so the store is kept for the process and made
// anew only when the environment names other places.
X509_STORE* TrustStore() {
  static std::mutex guard;
  static X509_STORE* kept = nullptr;
  static char keptKey[2 * 4096 + 2] = {};
  const char* file = std::getenv(X509_get_default_cert_file_env());
  const char* dir = std::getenv(X509_get_default_cert_dir_env());
  char key[sizeof keptKey];
  std::snprintf(key, sizeof key, "%s\n%s", file ? file : "", dir ? dir : "");
  const std::lock_guard<std::mutex> lock(guard);
  if (kept && std::strcmp(key, keptKey) == 0) {
    X509_STORE_up_ref(kept);
    return kept;
  }
  X509_STORE* store = X509_STORE_new();
  if (!store) return nullptr;
  X509_STORE_load_path(store, X509_get_default_cert_dir());
  if (file && *file)
    X509_STORE_load_file(store, file);
  else
    X509_STORE_load_file(store, X509_get_default_cert_file());
  if (dir && *dir) X509_STORE_load_path(store, dir);
  ERR_clear_error();
  X509_STORE_free(kept);
  kept = store;
  std::snprintf(keptKey, sizeof keptKey, "%s", key);
  X509_STORE_up_ref(store);
  return store;
}

bool NameMatches(X509* leaf, const char* serverName) {
  if (IsAddressText(serverName)) return X509_check_ip_asc(leaf, serverName, 0) == 1;
  return X509_check_host(leaf, serverName, 0, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS, nullptr) == 1;
}

void KeepChain(X509_STORE_CTX* ctx, BuiltChain& chain) {
  STACK_OF(X509)* built = X509_STORE_CTX_get0_chain(ctx);
  for (int i = 0; built && i < sk_X509_num(built) && chain.count < BuiltChain::kMaximum; ++i) {
    unsigned char* der = nullptr;
    const int n = i2d_X509(sk_X509_value(built, i), &der);
    if (n <= 0) break;
    chain.certificates[chain.count++] = {der, n};
  }
}

} // namespace

BuiltChain::~BuiltChain() {
  for (int i = 0; i < count; ++i)
    OPENSSL_free(const_cast<unsigned char*>(certificates[i].bytes));
}

uint32_t CheckServerChain(const DerBytes* certificates, int count, const char* serverName,
                          uint32_t flags, BuiltChain* chain) {
  if (count < 1) return certChaining;
  X509* leaf = ParseCertificate(certificates[0].bytes, certificates[0].length);
  if (!leaf) return certChaining;
  STACK_OF(X509)* sent = sk_X509_new_null();
  for (int i = 1; sent && i < count; ++i)
    if (X509* cert = ParseCertificate(certificates[i].bytes, certificates[i].length))
      if (!sk_X509_push(sent, cert)) X509_free(cert);
  X509_STORE* store = TrustStore();
  X509_STORE_CTX* ctx = X509_STORE_CTX_new();
  uint32_t bits = 0;
  if (store && ctx && X509_STORE_CTX_init(ctx, store, leaf, sent) == 1) {
    X509_STORE_CTX_set_verify_cb(ctx, NoteProblem);
    X509_STORE_CTX_set_ex_data(ctx, NoteSlot(), &bits);
    X509_STORE_CTX_set_purpose(ctx, X509_PURPOSE_SSL_SERVER);
    if (X509_verify_cert(ctx) != 1 && bits == 0) bits |= 1u << 3;
    if (chain) KeepChain(ctx, *chain);
  } else {
    bits |= 1u << 3;
  }
  if (serverName && *serverName && !NameMatches(leaf, serverName)) bits |= 1u << 8;
  X509_STORE_CTX_free(ctx);
  X509_STORE_free(store);
  sk_X509_pop_free(sent, X509_free);
  X509_free(leaf);
  ERR_clear_error();
  for (int i = 0; i < kProblemCount; ++i)
    if ((bits & (1u << i)) && !(flags & kProblems[i].ignoredBy)) return kProblems[i].status;
  return certOk;
}

bool CertificateParses(const unsigned char* der, int length) {
  X509* cert = ParseCertificate(der, length);
  X509_free(cert);
  return cert != nullptr;
}

} // namespace quillon::platform
