// Certificates, private keys and stores of them, over the TLS library: what the certificate front
// needs of a platform store. A context is one certificate, with its private key when it has one,
// counted by reference; a store is an ordered list of contexts. System stores are folders of PEM
// and DER files: the user's under $QUILLON_CERTSTORE_USER, else $XDG_DATA_HOME/quillon/certstores
// (~/.local/share/quillon/certstores), the machine's under /etc/quillon/certstores. Failures
// leave errno set for the error texts and give null or a non-zero code.
#pragma once

#include "frame/BufStr.h"

#include <string_view>

namespace quillon::platform {

struct CertContext; // a certificate, its private key if any, and a reference count
struct CertStore;   // an ordered list of contexts, each holding a reference
struct KeyObject;   // a private or public key of the TLS library

// Keys: from the RSA or DSS key blob, from PKCS#8 PrivateKeyInfo, from SubjectPublicKeyInfo.
// Null when the library refuses the numbers.
KeyObject* KeyFromRsaBlob(std::string_view blob);
KeyObject* KeyFromDssBlob(std::string_view blob);
KeyObject* KeyFromPkcs8(std::string_view der);
KeyObject* KeyFromPublicInfo(std::string_view der);
void KeyFree(KeyObject*& key);

// Contexts
CertContext* CertFromDer(std::string_view der); // null when it is no certificate
CertContext* CertDuplicate(CertContext* context);
void CertFree(CertContext*& context);
std::string_view CertEncoded(const CertContext* context);
// The subject as "CN=name, O=org": attributes in the order of the encoding, ", " between them,
// values with a comma, quote or other special character in double quotes. 0 or 200.
int CertSubjectText(const CertContext* context, BufStrBase& out);
// The key property: true when the certificate has its private key.
bool CertHasPrivateKey(const CertContext* context);
// Ties `key` to the certificate (a reference is taken); 0, or 280 when they don't belong together.
int CertSetPrivateKey(CertContext* context, KeyObject* key);
// A certificate for `key` with subject and issuer "CN=pem_cert", serial 1, valid from now for one
// day, signed by a built-in 512-bit RSA key with SHA-1 (SHA-256 for EC and Ed25519 keys); the
// key is not tied. Null on failure.
CertContext* MakeThrowAwayCert(KeyObject* key);

// Stores
CertStore* StoreOpenMemory();
// The folder named `name` (case ignored) of the user's or machine's stores. A well-known name
// without a folder opens empty; "ROOT" holds the system's trusted bundle too. Null, errno
// ENOENT, for another name without a folder.
CertStore* StoreOpenSystem(std::string_view name, bool machine);
// PKCS#12 DER; null `password` is the absent one. Null when the MAC or a bag does not open.
CertStore* StoreImportPfx(std::string_view der, const char* password);
// PKCS#7 certificates, DER or PEM.
CertStore* StoreOpenPkcs7(std::string_view data);
// Every certificate with its key, keys encrypted under `password`; 0, 271 or 200.
int StoreExportPfx(const CertStore* store, const char* password, BufStrBase& out);
int StoreAdd(CertStore* store, CertContext* context); // takes a reference; 0 or 200
int StoreCount(const CertStore* store);
CertContext* StoreAt(const CertStore* store, int index); // borrowed; null outside
// A duplicate of the first certificate whose subject encodes as `subject` does (as parsed from
// the text form of CertSubjectText), or null.
CertContext* StoreFindName(const CertStore* store, std::string_view subject);
// A duplicate of the first certificate whose subject text holds `text`, case ignored, or null.
CertContext* StoreFindText(const CertStore* store, std::string_view text);
void StoreClose(CertStore*& store);

// The one certificate with its key as PKCS#12 DER under `password`; 0, 271 or 200.
int CertExportPfx(const CertContext* context, const char* password, BufStrBase& out);

} // namespace quillon::platform
