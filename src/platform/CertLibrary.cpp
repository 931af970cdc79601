// Keys from the numbers of the key blobs (little-endian fields sized by the key, read back the
// way the blob writer laid them out) through EVP_PKEY_fromdata, certificate contexts, and the
// subject in its text form, both ways.
#include "platform/CertLibrary.h"

#include "frame/Errors.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/provider.h>

#include <cerrno>
#include <cstring>

namespace quillon::platform {

namespace {
constexpr int kBlobHeader = 8 + 4; // type, version, reserved, algorithm, magic

uint32_t U32Le(const unsigned char* bytes) {
  return bytes[0] | (bytes[1] << 8) | (bytes[2] << 16) | (static_cast<uint32_t>(bytes[3]) << 24);
}

// Reads little-endian fields one behind the other; fails once a field runs past the end.
class BlobFields {
public:
  explicit BlobFields(std::string_view blob) : data(blob) {}
  BIGNUM* Next(size_t bytes) {
    if (!ok || bytes > data.size() - at) {
      ok = false;
      return nullptr;
    }
    BIGNUM* number = BN_lebin2bn(reinterpret_cast<const unsigned char*>(data.data()) + at,
                                 static_cast<int>(bytes), nullptr);
    at += bytes;
    if (!number) ok = false;
    return number;
  }
  void Skip(size_t bytes) { at = bytes > data.size() - at ? (ok = false, at) : at + bytes; }
  size_t Left() const { return data.size() - at; }
  bool ok = true;

private:
  std::string_view data;
  size_t at = 0;
};

struct NamedParam {
  const char* name;
  BIGNUM* value;
};

KeyObject* KeyFromParams(const char* type, NamedParam* params, int count, bool allRead) {
  EVP_PKEY* key = nullptr;
  OSSL_PARAM_BLD* builder = OSSL_PARAM_BLD_new();
  bool ok = builder && allRead;
  for (int i = 0; i < count && ok; ++i)
    ok = OSSL_PARAM_BLD_push_BN(builder, params[i].name, params[i].value) == 1;
  OSSL_PARAM* built = ok ? OSSL_PARAM_BLD_to_param(builder) : nullptr;
  EVP_PKEY_CTX* context = built ? EVP_PKEY_CTX_new_from_name(KeyLibrary(), type, nullptr) : nullptr;
  if (!context || EVP_PKEY_fromdata_init(context) != 1 ||
      EVP_PKEY_fromdata(context, &key, EVP_PKEY_KEYPAIR, built) != 1)
    key = nullptr;
  EVP_PKEY_CTX_free(context);
  OSSL_PARAM_free(built);
  OSSL_PARAM_BLD_free(builder);
  for (int i = 0; i < count; ++i)
    BN_clear_free(params[i].value);
  if (!key) errno = EINVAL;
  return KeyOf(key);
}

struct AttributeName {
  int nid;
  const char* text;
};
constexpr AttributeName kAttributeNames[] = {
    {NID_commonName, "CN"},        {NID_localityName, "L"},
    {NID_organizationName, "O"},   {NID_organizationalUnitName, "OU"},
    {NID_countryName, "C"},        {NID_stateOrProvinceName, "S"},
    {NID_streetAddress, "STREET"}, {NID_title, "T"},
    {NID_givenName, "G"},          {NID_initials, "I"},
    {NID_surname, "SN"},           {NID_domainComponent, "DC"},
    {NID_pkcs9_emailAddress, "E"}, {NID_serialNumber, "SERIALNUMBER"},
};

bool NeedsQuotes(std::string_view value) {
  if (value.empty() || value.front() == ' ' || value.back() == ' ') return true;
  return value.find_first_of(",+=\"\r\n<>#;") != std::string_view::npos;
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
    text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
    text.remove_suffix(1);
  return text;
}

ASN1_OBJECT* AttributeOf(std::string_view key) {
  for (const AttributeName& row : kAttributeNames)
    if (key.size() == std::strlen(row.text) && strncasecmp(key.data(), row.text, key.size()) == 0)
      return OBJ_nid2obj(row.nid);
  if (key.size() > 4 && strncasecmp(key.data(), "OID.", 4) == 0) key.remove_prefix(4);
  const std::string dotted(key);
  return OBJ_txt2obj(dotted.c_str(), 1);
}
} // namespace

OSSL_LIB_CTX* KeyLibrary() {
  static OSSL_LIB_CTX* library = [] {
    OSSL_LIB_CTX* made = OSSL_LIB_CTX_new();
    if (made && (!OSSL_PROVIDER_load(made, "default") || !OSSL_PROVIDER_load(made, "legacy"))) {
      // Without the legacy provider only RC2 and single DES bags are lost.
    }
    return made;
  }();
  return library;
}

KeyObject* KeyFromRsaBlob(std::string_view blob) {
  if (blob.size() < kBlobHeader + 8 || std::memcmp(blob.data() + 8, "RSA2", 4) != 0) return nullptr;
  const auto* bytes = reinterpret_cast<const unsigned char*>(blob.data());
  const uint32_t bits = U32Le(bytes + kBlobHeader);
  BlobFields fields(blob);
  fields.Skip(kBlobHeader + 4);
  NamedParam params[] = {
      {OSSL_PKEY_PARAM_RSA_E, fields.Next(4)},
      {OSSL_PKEY_PARAM_RSA_N, fields.Next(bits / 8)},
      {OSSL_PKEY_PARAM_RSA_FACTOR1, fields.Next(bits / 16)},
      {OSSL_PKEY_PARAM_RSA_FACTOR2, fields.Next(bits / 16)},
      {OSSL_PKEY_PARAM_RSA_EXPONENT1, fields.Next(bits / 16)},
      {OSSL_PKEY_PARAM_RSA_EXPONENT2, fields.Next(bits / 16)},
      {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, fields.Next(bits / 16)},
      {OSSL_PKEY_PARAM_RSA_D, fields.Next(bits / 8)},
  };
  return KeyFromParams("RSA", params, 8, fields.ok && bits > 0);
}

KeyObject* KeyFromDssBlob(std::string_view blob) {
  constexpr size_t kFixed = kBlobHeader + 16 + 4 + 20; // bit lengths, seed counter, seed
  if (blob.size() < kFixed || std::memcmp(blob.data() + 8, "DSS4", 4) != 0) return nullptr;
  const auto* bytes = reinterpret_cast<const unsigned char*>(blob.data());
  const size_t pBytes = U32Le(bytes + kBlobHeader) / 8;
  const size_t qBytes = U32Le(bytes + kBlobHeader + 4) / 8;
  const size_t xBytes = U32Le(bytes + kBlobHeader + 12) / 8;
  BlobFields fields(blob);
  fields.Skip(kFixed);
  // g and y share the width that is left once p, q and x are counted.
  const size_t fixedNumbers = pBytes + qBytes + xBytes;
  const size_t width = fields.Left() >= fixedNumbers ? (fields.Left() - fixedNumbers) / 2 : 0;
  NamedParam params[] = {
      {OSSL_PKEY_PARAM_FFC_P, fields.Next(pBytes)},
      {OSSL_PKEY_PARAM_FFC_Q, fields.Next(qBytes)},
      {OSSL_PKEY_PARAM_FFC_G, fields.Next(width)},
      {OSSL_PKEY_PARAM_PUB_KEY, fields.Next(width)},
      {OSSL_PKEY_PARAM_PRIV_KEY, fields.Next(xBytes)},
  };
  return KeyFromParams("DSA", params, 5, fields.ok && pBytes > 0);
}

KeyObject* KeyFromPkcs8(std::string_view der) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  PKCS8_PRIV_KEY_INFO* info =
      d2i_PKCS8_PRIV_KEY_INFO(nullptr, &bytes, static_cast<long>(der.size()));
  EVP_PKEY* key = info ? EVP_PKCS82PKEY_ex(info, KeyLibrary(), nullptr) : nullptr;
  PKCS8_PRIV_KEY_INFO_free(info);
  if (!key) errno = EINVAL;
  return KeyOf(key);
}

KeyObject* KeyFromPublicInfo(std::string_view der) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  EVP_PKEY* key =
      d2i_PUBKEY_ex(nullptr, &bytes, static_cast<long>(der.size()), KeyLibrary(), nullptr);
  if (!key) errno = EINVAL;
  return KeyOf(key);
}

void KeyFree(KeyObject*& key) {
  EVP_PKEY_free(Pkey(key));
  key = nullptr;
}

CertContext* ContextOf(X509* x509) {
  if (!x509) return nullptr;
  auto* context = new (std::nothrow) CertContext;
  unsigned char* der = nullptr;
  const int length = context ? i2d_X509(x509, &der) : -1;
  if (length <= 0) {
    delete context;
    X509_free(x509);
    errno = ENOMEM;
    return nullptr;
  }
  context->x509 = x509;
  context->der.assign(reinterpret_cast<const char*>(der), static_cast<size_t>(length));
  OPENSSL_free(der);
  return context;
}

void TieKey(CertContext* context, EVP_PKEY* key) {
  EVP_PKEY_up_ref(key);
  EVP_PKEY_free(context->key);
  context->key = key;
}

CertContext* CertFromDer(std::string_view der) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  X509* x509 = X509_new_ex(KeyLibrary(), nullptr);
  if (x509 && !d2i_X509(&x509, &bytes, static_cast<long>(der.size()))) {
    X509_free(x509);
    errno = EINVAL;
    return nullptr;
  }
  return ContextOf(x509);
}

CertContext* CertDuplicate(CertContext* context) {
  if (context) ++context->references;
  return context;
}

void CertFree(CertContext*& context) {
  if (context && --context->references == 0) {
    X509_free(context->x509);
    EVP_PKEY_free(context->key);
    delete context;
  }
  context = nullptr;
}

std::string_view CertEncoded(const CertContext* context) {
  return context ? std::string_view(context->der) : std::string_view();
}

int CertSubjectText(const CertContext* context, BufStrBase& out) {
  out.Clear();
  const X509_NAME* name = context ? X509_get_subject_name(context->x509) : nullptr;
  const int count = name ? X509_NAME_entry_count(name) : 0;
  for (int i = 0; i < count; ++i) {
    const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
    const ASN1_OBJECT* object = X509_NAME_ENTRY_get_object(entry);
    const int nid = OBJ_obj2nid(object);
    const char* key = nullptr;
    for (const AttributeName& row : kAttributeNames)
      if (row.nid == nid) key = row.text;
    char oid[128] = "OID.";
    if (!key) {
      OBJ_obj2txt(oid + 4, sizeof oid - 4, object, 1);
      key = oid;
    }
    unsigned char* utf8 = nullptr;
    const int length = ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(entry));
    const std::string_view value(reinterpret_cast<const char*>(utf8),
                                 length > 0 ? static_cast<size_t>(length) : 0);
    int rc = i > 0 ? out.AppendText(", ") : errNone;
    if (rc == errNone) rc = out.AppendText(key);
    if (rc == errNone) rc = out.AppendChar('=');
    if (NeedsQuotes(value)) {
      if (rc == errNone) rc = out.AppendChar('"');
      for (char c : value)
        if (rc == errNone) rc = c == '"' ? out.AppendText("\"\"") : out.AppendChar(c);
      if (rc == errNone) rc = out.AppendChar('"');
    } else if (rc == errNone) {
      rc = out.Append(value);
    }
    OPENSSL_free(utf8);
    if (rc != errNone) return rc;
  }
  return errNone;
}

// The inverse of CertSubjectText: "KEY=value" parts split at ',' or ';' outside quotes.
X509_NAME* ParseSubjectText(std::string_view text) {
  X509_NAME* name = X509_NAME_new();
  size_t at = 0;
  while (name && at < text.size()) {
    const size_t equals = text.find('=', at);
    if (equals == std::string_view::npos) break;
    ASN1_OBJECT* object = AttributeOf(TrimBlanks(text.substr(at, equals - at)));
    std::string value;
    size_t i = equals + 1;
    while (i < text.size() && text[i] == ' ')
      ++i;
    if (i < text.size() && text[i] == '"') {
      for (++i; i < text.size(); ++i) {
        if (text[i] == '"' && i + 1 < text.size() && text[i + 1] == '"')
          value += text[i++];
        else if (text[i] == '"')
          break;
        else
          value += text[i];
      }
      while (i < text.size() && text[i] != ',' && text[i] != ';')
        ++i;
    } else {
      const size_t end = text.find_first_of(",;", i);
      value = TrimBlanks(text.substr(i, end == std::string_view::npos ? text.size() - i : end - i));
      i = end == std::string_view::npos ? text.size() : end;
    }
    if (!object || !X509_NAME_add_entry_by_OBJ(name, object, MBSTRING_UTF8,
                                               reinterpret_cast<const unsigned char*>(value.data()),
                                               static_cast<int>(value.size()), -1, 0)) {
      ASN1_OBJECT_free(object);
      X509_NAME_free(name);
      return nullptr;
    }
    ASN1_OBJECT_free(object);
    at = i + 1;
  }
  return name;
}

bool CertHasPrivateKey(const CertContext* context) {
  return context && context->key;
}

int CertSetPrivateKey(CertContext* context, KeyObject* key) {
  if (!context || !key || X509_check_private_key(context->x509, Pkey(key)) != 1) {
    errno = EINVAL;
    return 280;
  }
  TieKey(context, Pkey(key));
  return errNone;
}

} // namespace quillon::platform
