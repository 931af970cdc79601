// Every store type of the public enumeration over files made by openssl, ssh-keygen and
// puttygen: the chosen certificate and its key, exported as the TLS channel takes them, must be
// what OpenSSL reads from the same key.
#include "KeyFiles.h"

#include "frame/Text.h"
#include "keys/CertificateFront.h"

#include <openssl/core_names.h>
#include <openssl/x509.h>

namespace quillon {
namespace {

using test::KeyFile;
using test::KeyPath;

// OpenSSL's reading of the reference: a PEM private key, a PEM public key (".pub.pem"), or the
// Ed25519 key of an OpenSSH ".pub" line.
EVP_PKEY* Reference(const std::string& name) {
  if (name.ends_with(".pub.pem")) {
    FILE* file = std::fopen(KeyPath(name).c_str(), "rb");
    EVP_PKEY* key = file ? PEM_read_PUBKEY(file, nullptr, nullptr, nullptr) : nullptr;
    if (file) std::fclose(file);
    return key;
  }
  if (name.ends_with(".pub")) {
    BufStr blob(KeyFile(name).substr(12));
    Base64Decode(blob, false);
    return EVP_PKEY_new_raw_public_key(
        EVP_PKEY_ED25519, nullptr, reinterpret_cast<const unsigned char*>(blob.Data()) + 19, 32);
  }
  return test::OpenSslKey(name);
}

// The RSA key value of XML tools, from OpenSSL's numbers of `name`.
std::string XmlKeyValue(const std::string& name, bool withPrivate) {
  EVP_PKEY* key = test::OpenSslKey(name);
  std::string xml = "<RSAKeyValue>";
  const std::pair<const char*, const char*> fields[] = {
      {"Modulus", OSSL_PKEY_PARAM_RSA_N},
      {"Exponent", OSSL_PKEY_PARAM_RSA_E},
      {"P", OSSL_PKEY_PARAM_RSA_FACTOR1},
      {"Q", OSSL_PKEY_PARAM_RSA_FACTOR2},
      {"DP", OSSL_PKEY_PARAM_RSA_EXPONENT1},
      {"DQ", OSSL_PKEY_PARAM_RSA_EXPONENT2},
      {"InverseQ", OSSL_PKEY_PARAM_RSA_COEFFICIENT1},
      {"D", OSSL_PKEY_PARAM_RSA_D}};
  for (const auto& [element, param] : fields) {
    if (!withPrivate && std::string_view(element) != "Modulus" &&
        std::string_view(element) != "Exponent")
      continue;
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
  const char* subject;   // the subject that the find leaves
  std::string reference; // the file OpenSSL reads the same key from
  bool hasKey;
};

// The chosen certificate and its key, exported as the TLS channel takes them, against OpenSSL's
// reading of the reference.
void ExpectCertificateAndKey(const Row& row) {
  SCOPED_TRACE(row.name);
  ComponentCore core;
  CertificateFront front(core);
  front.SetCertStoreType(row.type);
  front.SetCertStorePassword(row.password);
  front.SetCertStore(row.store);
  ASSERT_EQ(front.SetCertSubject("*"), 0) << core.LastErrorText();
  ASSERT_NE(front.clientCertContext, nullptr) << core.LastErrorText();
  EXPECT_EQ(front.certSubject.View(), row.subject);

  BufStr pfx;
  ASSERT_EQ(front.ExportChosenCertificate(pfx), 0);
  test::Pfx loaded{std::string(pfx.View())};
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
  const Row rows[] = {
      {"PKCS#1", cstPEMKeyFile, KeyPath("rsa.pem"), "", "CN=pem_cert", "rsa.p8", true},
      {"PKCS#8", cstPEMKeyBlob, KeyFile("rsa.p8"), "", "CN=pem_cert", "rsa.p8", true},
      {"PKCS#8 AES", cstPEMKeyFile, KeyPath("rsa-aes.p8"), "secret", "CN=pem_cert", "rsa.p8", true},
      {"PKCS#8 3DES", cstPEMKeyFile, KeyPath("rsa-des3.p8"), "secret", "CN=pem_cert", "rsa.p8",
       true},
      {"PKCS#8 SHA-512", cstPEMKeyFile, KeyPath("rsa-aes128-sha512.p8"), "secret", "CN=pem_cert",
       "rsa.p8", true},
      {"legacy 3DES", cstPEMKeyFile, KeyPath("rsa-legacy-des3.pem"), "secret", "CN=pem_cert",
       "rsa.p8", true},
      {"legacy AES", cstPEMKeyFile, KeyPath("rsa-legacy-aes128.pem"), "secret", "CN=pem_cert",
       "rsa.p8", true},
      {"key and cert", cstPEMKeyBlob, KeyFile("rsa-with-cert.pem"), "", kClient, "rsa.p8", true},
      {"DSA", cstPEMKeyFile, KeyPath("dsa.pem"), "", "CN=pem_cert", "dsa.p8", true},
      {"PPK DSA", cstPPKFile, KeyPath("dsa.ppk"), "", "CN=pem_cert", "dsa.p8", true},
      {"EC P-256", cstPEMKeyFile, KeyPath("ec-P-256.p8"), "", "CN=pem_cert", "ec-P-256.p8", true},
      {"EC P-384 SEC1", cstPEMKeyFile, KeyPath("ec-P-384.pem"), "", "CN=pem_cert", "ec-P-384.p8",
       true},
      {"EC P-521 AES", cstPEMKeyFile, KeyPath("ec-P-521-aes.p8"), "secret", "CN=pem_cert",
       "ec-P-521.p8", true},
      {"Ed25519", cstPEMKeyFile, KeyPath("ed25519.p8"), "", "CN=pem_cert", "ed25519.p8", true},
      {"OpenSSH RSA", cstPEMKeyFile, KeyPath("openssh-rsa"), "", "CN=pem_cert",
       "openssh-rsa.pub.pem", true},
      {"OpenSSH ECDSA", cstPEMKeyFile, KeyPath("openssh-ecdsa"), "", "CN=pem_cert",
       "openssh-ecdsa.pub.pem", true},
      {"OpenSSH Ed25519", cstPEMKeyFile, KeyPath("openssh-ed25519"), "", "CN=pem_cert",
       "openssh-ed25519.pub", true},
      {"PPK 2", cstPPKFile, KeyPath("rsa-v2.ppk"), "", "CN=pem_cert", "rsa.p8", true},
      {"PPK 2 secret", cstPPKFile, KeyPath("rsa-v2-secret.ppk"), "secret", "CN=pem_cert", "rsa.p8",
       true},
      {"PPK 3", cstPPKBlob, KeyFile("rsa-v3.ppk"), "", "CN=pem_cert", "rsa.p8", true},
      {"PPK 3 secret", cstPPKFile, KeyPath("rsa-v3-secret.ppk"), "secret", "CN=pem_cert", "rsa.p8",
       true},
      {"ssh.com", cstPEMKeyFile, KeyPath("rsa.sshcom"), "", "CN=pem_cert", "rsa.p8", true},
      {"ssh.com secret", cstPEMKeyFile, KeyPath("rsa-secret.sshcom"), "secret", "CN=pem_cert",
       "rsa.p8", true},
      {"PFX AES", cstPFXFile, KeyPath("rsa-aes.pfx"), "secret", kClient, "rsa.p8", true},
      {"PFX RC2", cstPFXFile, KeyPath("rsa-legacy.pfx"), "secret", kClient, "rsa.p8", true},
      {"PFX empty password", cstPFXBlob, KeyFile("rsa-empty.pfx"), "", kClient, "rsa.p8", true},
      {"PFX EC", cstPFXFile, KeyPath("ec.pfx"), "secret", "CN=Quillon EC Client", "ec-P-256.p8",
       true},
      {"P7B", cstP7BFile, KeyPath("bundle.p7b"), "", kClient, "rsa.p8", false},
      {"P7B blob", cstP7BBlob, KeyFile("bundle.p7b"), "", kClient, "rsa.p8", false},
      {"X.509 public", cstPublicKeyFile, KeyPath("rsa.pub.pem"), "", "CN=pem_cert", "rsa.p8",
       false},
      {"PKCS#1 public", cstPublicKeyBlob, KeyFile("rsa.rsapub.pem"), "", "CN=pem_cert", "rsa.p8",
       false},
      {"SSH line", cstSSHPublicKeyFile, KeyPath("openssh-rsa.pub"), "", "CN=pem_cert",
       "openssh-rsa.pub.pem", false},
      {"SSH RFC 4716", cstSSHPublicKeyFile, KeyPath("rsa.rfc4716.pub"), "", "CN=pem_cert",
       "openssh-rsa.pub.pem", false},
      {"SSH blob", cstSSHPublicKeyBlob, BareSshBlob("openssh-rsa.pub"), "", "CN=pem_cert",
       "openssh-rsa.pub.pem", false},
      {"XML private", cstXMLBlob, XmlKeyValue("rsa.p8", true), "", "CN=pem_cert", "rsa.p8", true},
      {"XML public", cstXMLBlob, XmlKeyValue("rsa.p8", false), "", "CN=pem_cert", "rsa.p8", false},
      {"XML certificate", cstXMLBlob, XmlCertificate(), "", kClient, "rsa.p8", false},
  };
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
        ExpectCertificateAndKey(
            {file, cstPPKFile, KeyPath(file), password, "CN=pem_cert", reference, true});
      }
}

// Where a certificate of pem_cert comes from: one day from now, serial 1, its own issuer.
TEST(StoreTypes, ThrowAwayCertificateHasItsNameValidityAndSerial) {
  ComponentCore core;
  CertificateFront front(core);
  front.SetCertStoreType(cstPEMKeyFile);
  front.SetCertStore(KeyPath("rsa.pem"));
  ASSERT_EQ(front.SetCertSubject("*"), 0);
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
