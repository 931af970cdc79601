// The search through the private key formats, in this order: "RSA PRIVATE KEY" (binary DER ends
// here, taken for RSA), "DSA PRIVATE KEY", "EC PRIVATE KEY", "OPENSSH PRIVATE KEY", PKCS#8, the
// SSH2 file, PPK. 1424 from a step means "not this format" and the search goes on; any other
// code ends it. The EC and OpenSSH steps stand ahead of PKCS#8 because its label "PRIVATE KEY"
// is a substring of theirs.
#include "keys/KeyReader.h"

#include "crypto/CryptoErrors.h"
#include "crypto/Der.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyDerivation.h"
#include "keys/KeyErrors.h"
#include "keys/PemReader.h"

namespace quillon {

namespace {
constexpr std::string_view kOidPbkdf2 = "1.2.840.113549.1.5.12";
constexpr std::string_view kOidPbes2 = "1.2.840.113549.1.5.13";

struct NamedOid {
  std::string_view oid;
  const char* name;
};
constexpr NamedOid kPbes2Ciphers[] = {
    {"1.2.840.113549.3.7", "DES-EDE3-CBC"},
    {"2.16.840.1.101.3.4.1.2", "AES-128-CBC"},
    {"2.16.840.1.101.3.4.1.22", "AES-192-CBC"},
    {"2.16.840.1.101.3.4.1.42", "AES-256-CBC"},
};
constexpr NamedOid kPbkdf2Digests[] = {
    {"1.2.840.113549.2.7", "HMAC-SHA1"},    {"1.2.840.113549.2.8", "HMAC-SHA224"},
    {"1.2.840.113549.2.9", "HMAC-SHA256"},  {"1.2.840.113549.2.10", "HMAC-SHA384"},
    {"1.2.840.113549.2.11", "HMAC-SHA512"},
};

const char* NameOf(const NamedOid* table, size_t count, std::string_view oid) {
  for (size_t i = 0; i < count; ++i)
    if (table[i].oid == oid) return table[i].name;
  return nullptr;
}

int OidAt(std::string_view list, int index, BufStrBase& out) {
  std::string_view content;
  int tag = 0;
  int rc = GetChild(list, index, content, &tag);
  if (rc == errNone && tag != derOid) rc = errDerMalformed;
  return rc != errNone ? rc : OidText(content, out);
}

int IntAt(std::string_view list, int index, int32_t& value) {
  BufStr copy;
  int rc = copy.Assign(list);
  return rc != errNone ? rc : GetInt(copy, index, value, nullptr);
}

// The first element of `der` with its header, without what stands behind it (padding).
std::string_view FirstElement(std::string_view der) {
  std::string_view content;
  if (GetChild(der, 0, content, nullptr) != errNone) return der;
  return der.substr(0, static_cast<size_t>(content.data() + content.size() - der.data()));
}

// Walks EncryptedPrivateKeyInfo and decrypts its data into `out`: PBES2 with PBKDF2 over HMAC
// of SHA-1 to SHA-512, and Triple DES or AES in CBC mode, with every byte of the salt.
int DecryptPkcs8(BufStrBase& out, std::string_view password) {
  BufStr list, oid;
  std::string_view algorithm, data, parameters, kdf, kdfParameters, scheme, salt, ivBytes;
  int32_t iterations = 0;
  int rc = list.Assign(out);
  if (rc == errNone) rc = EnterSequence(list, nullptr);
  if (rc == errNone) rc = GetChild(list.View(), 0, algorithm, nullptr);
  if (rc == errNone) rc = GetChild(list.View(), 1, data, nullptr);
  if (rc == errNone) rc = OidAt(algorithm, 0, oid);
  if (rc != errNone || oid.View() != kOidPbes2) return errNotThisFormat;
  rc = GetChild(algorithm, 1, parameters, nullptr);
  if (rc == errNone) rc = GetChild(parameters, 0, kdf, nullptr);
  if (rc == errNone) rc = GetChild(parameters, 1, scheme, nullptr);
  if (rc == errNone) rc = OidAt(kdf, 0, oid);
  if (rc != errNone || oid.View() != kOidPbkdf2) return errNotThisFormat;
  rc = GetChild(kdf, 1, kdfParameters, nullptr);
  if (rc == errNone) rc = GetChild(kdfParameters, 0, salt, nullptr);
  if (rc == errNone) rc = IntAt(kdfParameters, 1, iterations);
  if (rc != errNone) return errNotThisFormat;
  // Behind the count: an optional key length, then an optional digest, HMAC-SHA1 when absent.
  const char* hashName = "HMAC-SHA1";
  for (int index = 2; index < 4; ++index) {
    std::string_view element;
    int tag = 0;
    if (GetChild(kdfParameters, index, element, &tag) != errNone || tag != derSequence) continue;
    if (OidAt(element, 0, oid) != errNone) return errNotThisFormat;
    hashName = NameOf(kPbkdf2Digests, std::size(kPbkdf2Digests), oid.View());
    if (!hashName) return errNotThisFormat;
  }
  if (OidAt(scheme, 0, oid) != errNone) return errNotThisFormat;
  const char* cipherName = NameOf(kPbes2Ciphers, std::size(kPbes2Ciphers), oid.View());
  if (!cipherName || GetChild(scheme, 1, ivBytes, nullptr) != errNone) return errNotThisFormat;

  BufStr iv, body;
  if (iv.Assign(ivBytes) != errNone || body.Assign(data) != errNone) return errOutOfMemory;
  KeyBodyCipher cipher;
  cipher.cipherName = cipherName;
  cipher.password = password;
  cipher.salt = salt;
  cipher.hashName = hashName;
  cipher.iterations = iterations;
  cipher.iv = &iv;
  cipher.wholeSalt = true;
  if (DecryptKeyBody(cipher, body) != errNone) return errNotThisFormat;
  return out.Assign(body);
}
} // namespace

int KeyReader::ReadPrivateKey(std::string_view text, std::string_view password, KeyMaterial& out) {
  out.Clear();
  BufStr block;
  int rc = ReadPemBlock(block, "RSA PRIVATE KEY", text, password, true);
  if (rc == errNone) return RsaDerToBlob(block.View(), out);
  if (rc != errNotThisFormat) return rc;
  rc = ReadPemBlock(block, "DSA PRIVATE KEY", text, password, true);
  if (rc == errNone) return DsaDerToBlob(block.View(), out);
  if (rc != errNotThisFormat) return rc;
  if (rc = ReadEcPrivateKey(text, password, out); rc != errNotThisFormat) return rc;
  if (rc = ReadOpenSshKey(text, out); rc != errNotThisFormat) return rc;
  int kind = keyNone;
  if (ReadPkcs8(block, text, password, kind) == errNone) {
    if (kind == keyPkcs8) {
      out.kind = keyPkcs8;
      return out.bytes.Assign(block);
    }
    return kind == keyDssBlob ? DsaDerToBlob(block.View(), out) : RsaDerToBlob(block.View(), out);
  }
  rc = ReadPemBlock(block, "SSH2 ENCRYPTED PRIVATE KEY", text, password, true);
  if (rc == errNone) return ReadSsh2PrivateKey(block.View(), password, out);
  if (rc != errNotThisFormat) return rc;
  if (rc = ReadPpkKey(text, password, out); rc != errNotThisFormat) return rc;
  return Fail(errNotThisFormat, "Failed to decode PEM file.");
}

int KeyReader::ReadPkcs8(BufStrBase& out, std::string_view text, std::string_view password,
                         int& kindOut) {
  if (ReadArmorBody(out, "ENCRYPTED PRIVATE KEY", text) == errNone) {
    Base64Decode(out, false);
    if (DecryptPkcs8(out, password) != errNone) return errNotThisFormat;
  } else if (ReadArmorBody(out, "PRIVATE KEY", text) == errNone) {
    Base64Decode(out, false);
  } else {
    return errNotThisFormat;
  }
  BufStr list, oid;
  std::string_view algorithm, key;
  if (list.Assign(FirstElement(out.View())) != errNone || EnterSequence(list, nullptr) != errNone ||
      GetChild(list.View(), 1, algorithm, nullptr) != errNone ||
      GetChild(list.View(), 2, key, nullptr) != errNone || OidAt(algorithm, 0, oid) != errNone)
    return errNotThisFormat;
  if (oid.View() == kOidEcKey || oid.View() == kOidEd25519) {
    kindOut = keyPkcs8;
    return out.Assign(FirstElement(out.View()));
  }
  if (oid.View() == kOidRsa)
    kindOut = keyRsaBlob;
  else if (oid.View() == kOidDsa)
    kindOut = keyDssBlob;
  else
    return errNotThisFormat;
  BufStr content;
  if (content.Assign(key) != errNone) return errOutOfMemory;
  return out.Assign(content);
}

int KeyReader::ReadEcPrivateKey(std::string_view text, std::string_view password,
                                KeyMaterial& out) {
  BufStr sec1;
  int rc = ReadPemBlock(sec1, "EC PRIVATE KEY", text, password, true);
  if (rc != errNone) return rc;
  // ECPrivateKey { version, privateKey, [0] curve, [1] public key }: PKCS#8 names the curve in
  // its algorithm and carries the whole structure as the key.
  BufStr list;
  std::string_view curve;
  int tag = 0;
  const std::string_view element = FirstElement(sec1.View());
  rc = list.Assign(element);
  if (rc == errNone) rc = EnterSequence(list, nullptr);
  if (rc == errNone) rc = GetChild(list.View(), 2, curve, &tag);
  if (rc == errNone && tag != 0xA0) rc = errDerMalformed;
  if (rc != errNone) return rc;
  return EcPkcs8FromSec1(curve, element, out);
}

} // namespace quillon
