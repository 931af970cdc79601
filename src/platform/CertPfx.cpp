// PKCS#12 in and out, bag by bag, so that a store keeps its order and every certificate finds
// its own key (by local key id, else by matching the key). The file is read inside the layer's
// own library context, where the legacy provider opens RC2 and Triple DES bags. PKCS#7 bundles
// give their certificates in order.
#include "platform/CertLibrary.h"

#include "frame/Errors.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/pkcs7.h>

#include <cerrno>
#include <cstring>

namespace quillon::platform {

namespace {
struct KeyEntry {
  EVP_PKEY* key;
  std::string id; // the local key id; empty when the bag has none
};
struct CertEntry {
  X509* x509;
  std::string id;
};

std::string LocalKeyId(const PKCS12_SAFEBAG* bag) {
  const ASN1_TYPE* id = PKCS12_SAFEBAG_get0_attr(bag, NID_localKeyID);
  if (!id || id->type != V_ASN1_OCTET_STRING) return {};
  return std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(id->value.octet_string)),
                     static_cast<size_t>(ASN1_STRING_length(id->value.octet_string)));
}

bool ReadBags(const STACK_OF(PKCS12_SAFEBAG) * bags, const char* password, int passwordLength,
              std::vector<KeyEntry>& keys, std::vector<CertEntry>& certs, int depth) {
  for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
    const PKCS12_SAFEBAG* bag = sk_PKCS12_SAFEBAG_value(bags, i);
    switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag:
    case NID_pkcs8ShroudedKeyBag: {
      PKCS8_PRIV_KEY_INFO* info =
          PKCS12_SAFEBAG_get_nid(bag) == NID_keyBag
              ? nullptr
              : PKCS12_decrypt_skey_ex(bag, password, passwordLength, KeyLibrary(), nullptr);
      const PKCS8_PRIV_KEY_INFO* plain = info ? info : PKCS12_SAFEBAG_get0_p8inf(bag);
      EVP_PKEY* key = plain ? EVP_PKCS82PKEY_ex(plain, KeyLibrary(), nullptr) : nullptr;
      PKCS8_PRIV_KEY_INFO_free(info);
      if (!key) return false;
      keys.push_back({key, LocalKeyId(bag)});
      break;
    }
    case NID_certBag:
      if (PKCS12_SAFEBAG_get_bag_nid(bag) == NID_x509Certificate) {
        X509* x509 = PKCS12_SAFEBAG_get1_cert(bag);
        if (!x509) return false;
        certs.push_back({x509, LocalKeyId(bag)});
      }
      break;
    case NID_safeContentsBag:
      if (depth > 3 || !ReadBags(PKCS12_SAFEBAG_get0_safes(bag), password, passwordLength, keys,
                                 certs, depth + 1))
        return false;
      break;
    default:
      break;
    }
  }
  return true;
}

CertStore* ImportWith(PKCS12* pfx, const char* password) {
  const int passwordLength = password ? static_cast<int>(std::strlen(password)) : 0;
  if (PKCS12_mac_present(pfx) && PKCS12_verify_mac(pfx, password, passwordLength) != 1)
    return nullptr;
  STACK_OF(PKCS7)* safes = PKCS12_unpack_authsafes(pfx);
  if (!safes) return nullptr;
  std::vector<KeyEntry> keys;
  std::vector<CertEntry> certs;
  bool ok = true;
  for (int i = 0; ok && i < sk_PKCS7_num(safes); ++i) {
    PKCS7* safe = sk_PKCS7_value(safes, i);
    const int type = OBJ_obj2nid(safe->type);
    STACK_OF(PKCS12_SAFEBAG)* bags = type == NID_pkcs7_data ? PKCS12_unpack_p7data(safe)
                                     : type == NID_pkcs7_encrypted
                                         ? PKCS12_unpack_p7encdata(safe, password, passwordLength)
                                         : nullptr;
    ok = bags && ReadBags(bags, password, passwordLength, keys, certs, 0);
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
  }
  sk_PKCS7_pop_free(safes, PKCS7_free);
  CertStore* store = ok ? StoreOpenMemory() : nullptr;
  for (CertEntry& entry : certs) {
    CertContext* context = store ? ContextOf(entry.x509) : (X509_free(entry.x509), nullptr);
    if (!context) continue;
    for (const KeyEntry& key : keys)
      if (!context->key && !entry.id.empty() && key.id == entry.id) TieKey(context, key.key);
    for (const KeyEntry& key : keys)
      if (!context->key && X509_check_private_key(context->x509, key.key) == 1)
        TieKey(context, key.key);
    store->items.push_back(context);
  }
  for (KeyEntry& key : keys)
    EVP_PKEY_free(key.key);
  ERR_clear_error();
  return store;
}

// The bags of `contexts` as one PKCS#12 file: certificates in an encrypted safe, keys shrouded,
// each pair joined by a local key id.
int ExportContexts(const std::vector<CertContext*>& contexts, const char* password,
                   BufStrBase& out) {
  constexpr int kIterations = 2048;
  STACK_OF(PKCS12_SAFEBAG)* certBags = nullptr;
  STACK_OF(PKCS12_SAFEBAG)* keyBags = nullptr;
  STACK_OF(PKCS7)* safes = nullptr;
  PKCS12* pfx = nullptr;
  bool ok = true;
  unsigned char id = 0;
  for (CertContext* context : contexts) {
    PKCS12_SAFEBAG* bag = PKCS12_add_cert(&certBags, context->x509);
    ok = ok && bag;
    if (ok && context->key) {
      ++id;
      PKCS12_SAFEBAG* keyBag = PKCS12_add_key_ex(&keyBags, context->key, 0, kIterations,
                                                 NID_aes_256_cbc, password, KeyLibrary(), nullptr);
      ok = keyBag && PKCS12_add_localkeyid(bag, &id, 1) && PKCS12_add_localkeyid(keyBag, &id, 1);
    }
  }
  if (ok && certBags)
    ok = PKCS12_add_safe_ex(&safes, certBags, NID_aes_256_cbc, kIterations, password, KeyLibrary(),
                            nullptr) != 0;
  if (ok && keyBags)
    ok = PKCS12_add_safe_ex(&safes, keyBags, -1, 0, nullptr, KeyLibrary(), nullptr) != 0;
  if (ok) pfx = PKCS12_add_safes_ex(safes, 0, KeyLibrary(), nullptr);
  ok = pfx && PKCS12_set_mac(pfx, password, -1, nullptr, 0, kIterations, EVP_sha256()) == 1;
  unsigned char* der = nullptr;
  const int length = ok ? i2d_PKCS12(pfx, &der) : -1;
  int rc = length > 0 ? out.Assign(reinterpret_cast<const char*>(der), length) : 271;
  OPENSSL_free(der);
  PKCS12_free(pfx);
  sk_PKCS7_pop_free(safes, PKCS7_free);
  sk_PKCS12_SAFEBAG_pop_free(certBags, PKCS12_SAFEBAG_free);
  sk_PKCS12_SAFEBAG_pop_free(keyBags, PKCS12_SAFEBAG_free);
  ERR_clear_error();
  if (rc != errNone) errno = EINVAL;
  return rc;
}
} // namespace

CertStore* StoreImportPfx(std::string_view der, const char* password) {
  PKCS12* pfx = PKCS12_init_ex(NID_pkcs7_data, KeyLibrary(), nullptr);
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  CertStore* store = nullptr;
  if (pfx && d2i_PKCS12(&pfx, &bytes, static_cast<long>(der.size())))
    store = ImportWith(pfx, password);
  PKCS12_free(pfx);
  ERR_clear_error();
  if (!store) errno = EINVAL;
  return store;
}

CertStore* StoreOpenPkcs7(std::string_view data) {
  BIO* bio = BIO_new_mem_buf(data.data(), static_cast<int>(data.size()));
  PKCS7* bundle = nullptr;
  if (bio && data.find("-----BEGIN") != std::string_view::npos)
    bundle = PEM_read_bio_PKCS7(bio, nullptr, nullptr, nullptr);
  else if (bio)
    bundle = d2i_PKCS7_bio(bio, nullptr);
  BIO_free(bio);
  STACK_OF(X509)* certs = nullptr;
  if (bundle && OBJ_obj2nid(bundle->type) == NID_pkcs7_signed && bundle->d.sign)
    certs = bundle->d.sign->cert;
  CertStore* store = certs ? StoreOpenMemory() : nullptr;
  for (int i = 0; store && i < sk_X509_num(certs); ++i) {
    X509* x509 = sk_X509_value(certs, i);
    X509_up_ref(x509);
    if (CertContext* context = ContextOf(x509)) store->items.push_back(context);
  }
  PKCS7_free(bundle);
  ERR_clear_error();
  if (!store) errno = EINVAL;
  return store;
}

int StoreExportPfx(const CertStore* store, const char* password, BufStrBase& out) {
  return store ? ExportContexts(store->items, password, out) : 271;
}

int CertExportPfx(const CertContext* context, const char* password, BufStrBase& out) {
  if (!context) return 271;
  return ExportContexts({const_cast<CertContext*>(context)}, password, out);
}

} // namespace quillon::platform
