// Every store type of the public enumeration over files made by openssl, ssh-keygen and
// puttygen: the chosen certificate and its key, exported as the TLS channel takes them, must be
// what OpenSSL reads from the same key.
#include "KeyFiles.h"

#include "frame/Text.h"
#include "keys/CertificateFront.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <cstdio>

namespace quillon {
namespace {

using test::KeyFile;
using test::KeyPath;

// OpenSSL's reading of the reference: the Ed25519 key of an OpenSSH ".pub" line, a PEM public
// key (".pub.pem"), or a PEM private key of any format it knows under the password "secret".
EVP_PKEY* Reference(const std::string& name) {
  if (name.ends_with(".pub")) {
    BufStr blob(KeyFile(name).substr(12));
    Base64Decode(blob, false);
    return EVP_PKEY_new_raw_public_key(
        EVP_PKEY_ED25519, nullptr, reinterpret_cast<const unsigned char*>(blob.Data()) + 19, 32);
  }
  FILE* file = std::fopen(KeyPath(name).c_str(), "rb");
  if (!file) return nullptr;
  EVP_PKEY* key = name.ends_with(".pub.pem")
                      ? PEM_read_PUBKEY(file, nullptr, nullptr, nullptr)
                      : PEM_read_PrivateKey(file, nullptr, nullptr, const_cast<char*>("secret"));
  std::fclose(file);
  return key;
}

// The key and certificate of a PKCS#12 file under an empty password, as OpenSSL reads them.
struct Pfx {
  EVP_PKEY* key = nullptr;
  X509* cert = nullptr;
  bool ok = false;
  explicit Pfx(const std::string& der) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
    PKCS12* pfx = d2i_PKCS12(nullptr, &bytes, static_cast<long>(der.size()));
    STACK_OF(X509)* others = nullptr;
    ok = pfx && PKCS12_parse(pfx, "", &key, &cert, &others) == 1;
    // Without a key the certificate comes among the others.
    if (!cert && sk_X509_num(others) > 0) cert = sk_X509_shift(others);
    sk_X509_pop_free(others, X509_free);
    PKCS12_free(pfx);
  }
  ~Pfx() {
    EVP_PKEY_free(key);
    X509_free(cert);
  }
};

// The RSA key value of XML tools, from OpenSSL's numbers of `name`.
std::string XmlKeyValue(const std::string& name, bool withPrivate) {
  EVP_PKEY* key = Reference(name);
  std::string xml = "<RSAKeyValue>";
  // The public key is the first two.
  const std::pair<const char*, const char*> fields[] = {
      {"Modulus", OSSL_PKEY_PARAM_RSA_N},
      {"Exponent", OSSL_PKEY_PARAM_RSA_E},
      {"P", OSSL_PKEY_PARAM_RSA_FACTOR1},
      {"Q", OSSL_PKEY_PARAM_RSA_FACTOR2},
      {"DP", OSSL_PKEY_PARAM_RSA_EXPONENT1},
      {"DQ", OSSL_PKEY_PARAM_RSA_EXPONENT2},
      {"InverseQ", OSSL_PKEY_PARAM_RSA_COEFFICIENT1},
      {"D", OSSL_PKEY_PARAM_RSA_D}};
  for (int i = 0; i < (withPrivate ? 8 : 2); ++i) {
    const auto& [element, param] = fields[i];
    BIGNUM* number = nullptr;
    EVP_PKEY_get_bn_param(key, param, &number);
    std::string bytes(static_cast<size_t>(BN_num_bytes(number)), '\0');
    BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
    BN_free(number);
    BufStr text;
    Base64Encode(text, bytes.data(), static_cast<int>(bytes.size()), false, 64, false);
    xml += "<" + std::string(element) + ">" + std::string(text.View()) + "</" + element + ">";
  }
  EVP_PKEY_free(key);
  return xml + "</RSAKeyValue>";
}

std::string XmlCertificate() {
  std::string pem = KeyFile("rsa.crt");
  pem = pem.substr(28, pem.find("-----END") - 28);
  return "<KeyInfo><X509Data><X509Certificate>" + pem + "</X509Certificate></X509Data>" +
         XmlKeyValue("rsa.p8", true) + "</KeyInfo>";
}

std::string BareSshBlob(const std::string& name) {
  BufStr blob(KeyFile(name).substr(8));
  Base64Decode(blob, false);
  return std::string(blob.View());
}

struct Row {
  std::string name;
  CertStoreTypes type;
  std::string store; // a path for the file types, bytes for the blob types
  const char* password;
  bool hasKey;
  std::string reference = "rsa.p8";    // the file OpenSSL reads the same key from
  const char* subject = "CN=pem_cert"; // the subject that the find leaves
};

// The chosen certificate and its key, exported as the TLS channel takes them, against OpenSSL's
// reading of the reference.
void ExpectCertificateAndKey(const Row& row) {
  SCOPED_TRACE(row.name);
  test::OwnFront front;
  ASSERT_EQ(test::Choose(front, row.type, row.store, row.password), 0)
      << front.core.LastErrorText();
  ASSERT_NE(front.clientCertContext, nullptr) << front.core.LastErrorText();
  EXPECT_EQ(front.certSubject.View(), row.subject);

  BufStr pfx;
  ASSERT_EQ(front.ExportChosenCertificate(pfx), 0);
  Pfx loaded{std::string(pfx.View())};
  ASSERT_TRUE(loaded.ok) << "the exported PFX does not load in OpenSSL";
  EVP_PKEY* reference = Reference(row.reference);
  ASSERT_NE(reference, nullptr);
  EXPECT_EQ(EVP_PKEY_eq(X509_get0_pubkey(loaded.cert), reference), 1);
  EXPECT_EQ(loaded.key != nullptr, row.hasKey);
  if (loaded.key) {
    EXPECT_EQ(EVP_PKEY_eq(loaded.key, reference), 1);
  }
  EVP_PKEY_free(reference);
}

TEST(StoreTypes, EachTypeGivesItsCertificateAndKey) {
  const char* kClient = "CN=Quillon Client, O=Quillon Tests";
  // clang-format off
  const Row rows[] = {
      {"PKCS#1", cstPEMKeyFile, KeyPath("rsa.pem"), "", true},
      {"PKCS#8", cstPEMKeyBlob, KeyFile("rsa.p8"), "", true},
      {"PKCS#8 AES", cstPEMKeyFile, KeyPath("rsa-aes.p8"), "secret", true},
      {"PKCS#8 3DES", cstPEMKeyFile, KeyPath("rsa-des3.p8"), "secret", true},
      {"PKCS#8 SHA-512", cstPEMKeyFile, KeyPath("rsa-aes128-sha512.p8"), "secret", true},
      {"legacy 3DES", cstPEMKeyFile, KeyPath("rsa-legacy-des3.pem"), "secret", true},
      {"legacy AES", cstPEMKeyFile, KeyPath("rsa-legacy-aes128.pem"), "secret", true},
      {"key and cert", cstPEMKeyBlob, KeyFile("rsa-with-cert.pem"), "", true, "rsa.p8", kClient},
      {"DSA", cstPEMKeyFile, KeyPath("dsa.pem"), "", true, "dsa.p8"},
      {"PPK DSA", cstPPKFile, KeyPath("dsa.ppk"), "", true, "dsa.p8"},
      {"EC P-256", cstPEMKeyFile, KeyPath("ec-P-256.p8"), "", true, "ec-P-256.p8"},
      {"EC P-384 SEC1", cstPEMKeyFile, KeyPath("ec-P-384.pem"), "", true, "ec-P-384.p8"},
      {"EC P-521 AES", cstPEMKeyFile, KeyPath("ec-P-521-aes.p8"), "secret", true, "ec-P-521.p8"},
      {"Ed25519", cstPEMKeyFile, KeyPath("ed25519.p8"), "", true, "ed25519.p8"},
      {"OpenSSH RSA", cstPEMKeyFile, KeyPath("openssh-rsa"), "", true, "openssh-rsa.pub.pem"},
      {"OpenSSH ECDSA", cstPEMKeyFile, KeyPath("openssh-ecdsa"), "", true, "openssh-ecdsa.pub.pem"},
      {"OpenSSH Ed25519", cstPEMKeyFile, KeyPath("openssh-ed25519"), "", true, "openssh-ed25519.pub"},
      {"PPK 2", cstPPKFile, KeyPath("rsa-v2.ppk"), "", true},
      {"PPK 2 secret", cstPPKFile, KeyPath("rsa-v2-secret.ppk"), "secret", true},
      {"PPK 3", cstPPKBlob, KeyFile("rsa-v3.ppk"), "", true},
      {"PPK 3 secret", cstPPKFile, KeyPath("rsa-v3-secret.ppk"), "secret", true},
      {"ssh.com", cstPEMKeyFile, KeyPath("rsa.sshcom"), "", true},
      {"ssh.com secret", cstPEMKeyFile, KeyPath("rsa-secret.sshcom"), "secret", true},
      {"PFX AES", cstPFXFile, KeyPath("rsa-aes.pfx"), "secret", true, "rsa.p8", kClient},
      {"PFX RC2", cstPFXFile, KeyPath("rsa-legacy.pfx"), "secret", true, "rsa.p8", kClient},
      {"PFX empty password", cstPFXBlob, KeyFile("rsa-empty.pfx"), "", true, "rsa.p8", kClient},
      {"PFX EC", cstPFXFile, KeyPath("ec.pfx"), "secret", true, "ec-P-256.p8", "CN=Quillon EC Client"},
      {"P7B", cstP7BFile, KeyPath("bundle.p7b"), "", false, "rsa.p8", kClient},
      {"P7B blob", cstP7BBlob, KeyFile("bundle.p7b"), "", false, "rsa.p8", kClient},
      {"X.509 public", cstPublicKeyFile, KeyPath("rsa.pub.pem"), "", false},
      {"PKCS#1 public", cstPublicKeyBlob, KeyFile("rsa.rsapub.pem"), "", false},
      {"SSH line", cstSSHPublicKeyFile, KeyPath("openssh-rsa.pub"), "", false, "openssh-rsa.pub.pem"},
      {"SSH RFC 4716", cstSSHPublicKeyFile, KeyPath("rsa.rfc4716.pub"), "", false, "openssh-rsa.pub.pem"},
      {"SSH blob", cstSSHPublicKeyBlob, BareSshBlob("openssh-rsa.pub"), "", false, "openssh-rsa.pub.pem"},
      {"XML private", cstXMLBlob, XmlKeyValue("rsa.p8", true), "", true},
      {"XML public", cstXMLBlob, XmlKeyValue("rsa.p8", false), "", false},
      {"XML certificate", cstXMLBlob, XmlCertificate(), "", false, "rsa.p8", kClient},
  };
  // clang-format on
  for (const Row& row : rows)
    ExpectCertificateAndKey(row);
}

// PuTTY's files of the curves' keys, versions 2 and 3, plain and with the password.
TEST(StoreTypes, PpkOfEveryCurveGivesItsKey) {
  for (const std::string key : {"ecdsa-256", "ecdsa-384", "ecdsa-521", "ed25519"})
    for (const std::string version : {"v2", "v3"})
      for (const char* password : {"", "secret"}) {
        const std::string file =
            "curve-" + key + "-" + version + (*password ? "-secret" : "") + ".ppk";
        const std::string reference = "curve-" + key + (key == "ed25519" ? ".pub" : ".pub.pem");
        ExpectCertificateAndKey({file, cstPPKFile, KeyPath(file), password, true, reference});
      }
}

// Where a certificate of pem_cert comes from: one day from now, serial 1, its own issuer.
TEST(StoreTypes, ThrowAwayCertificateHasItsNameValidityAndSerial) {
  test::OwnFront front;
  ASSERT_EQ(test::Choose(front, cstPEMKeyFile, KeyPath("rsa.pem")), 0);
  const std::string_view der = platform::CertEncoded(front.clientCertContext);
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  X509* cert = d2i_X509(nullptr, &bytes, static_cast<long>(der.size()));
  ASSERT_NE(cert, nullptr);
  EXPECT_EQ(ASN1_INTEGER_get(X509_get0_serialNumber(cert)), 1);
  EXPECT_EQ(X509_NAME_cmp(X509_get_subject_name(cert), X509_get_issuer_name(cert)), 0);
  int days = -1, seconds = -1;
  ASN1_TIME_diff(&days, &seconds, X509_get0_notBefore(cert), X509_get0_notAfter(cert));
  EXPECT_EQ(days * 86400 + seconds, 86400);
  EXPECT_EQ(X509_get_signature_nid(cert), NID_sha1WithRSAEncryption);
  X509_free(cert);
}

} // namespace
} // namespace quillon
