// Key files into stores. ImportKeyText: the certificate of the text if it has one, the private
// key if it has one, a throw-away certificate ("CN=pem_cert", one day) for a key alone, the key
// tied to the certificate, and the pair carried through an in-memory PFX into the kept store
// with the subject "*" so that the find takes it. ImportPublicKey does the same with a
// certificate made for the public key, which then has no private key.
#include "frame/Errors.h"
#include "keys/CertificateFront.h"
#include "keys/KeyErrors.h"
#include "keys/PemReader.h"

namespace quillon {

namespace {
platform::KeyObject* KeyOfMaterial(const KeyMaterial& key) {
  switch (key.kind) {
  case keyRsaBlob:
    return platform::KeyFromRsaBlob(key.bytes.View());
  case keyDssBlob:
    return platform::KeyFromDssBlob(key.bytes.View());
  case keyPkcs8:
    return platform::KeyFromPkcs8(key.bytes.View());
  default:
    return nullptr;
  }
}

constexpr std::string_view kEncryptedOpenSsh = "The OpenSSH private key is encrypted.";
} // namespace

platform::CertStore* CertificateFront::ImportKeyText(std::string_view text,
                                                     std::string_view password) {
  int rc = ReadCertPem(clientCertContext, text, true);
  const bool hasCertificate = rc == errNone;
  if (rc != errNone && rc != errNotThisFormat) return nullptr;

  KeyMaterial key;
  rc = reader.ReadPrivateKey(text, password, key);
  if (rc == errNotThisFormat || key.bytes.IsEmpty()) {
    if (!hasCertificate) {
      // An encrypted OpenSSH key keeps the text that says how to convert it.
      if (!owner.lastError.View().starts_with(kEncryptedOpenSsh))
        owner.SetErrorSystem("The certificate could not be decoded");
      return nullptr;
    }
    return StoreOfCurrent();
  }
  if (rc != errNone) return nullptr;

  platform::KeyObject* keyObject = KeyOfMaterial(key);
  if (!keyObject) {
    owner.SetErrorSystem("Could not import key");
    return nullptr;
  }
  if (!hasCertificate) {
    platform::CertContext* made = platform::MakeThrowAwayCert(keyObject);
    if (!made) {
      owner.SetErrorSystem("Can't encode certificate");
      platform::KeyFree(keyObject);
      return nullptr;
    }
    const std::string_view der = platform::CertEncoded(made);
    rc = ReadCertPem(clientCertContext, der, false);
    platform::CertFree(made);
    if (rc != errNone) {
      platform::KeyFree(keyObject);
      return nullptr;
    }
  }
  rc = platform::CertSetPrivateKey(clientCertContext, keyObject);
  platform::KeyFree(keyObject);
  if (rc != errNone) {
    owner.SetErrorSystem("Can't set key provider info");
    return nullptr;
  }
  return StoreOfCurrent();
}

platform::CertStore* CertificateFront::ImportPublicKey(std::string_view text, bool isSsh) {
  PublicKeyInfo info;
  bool isDsa = false;
  BufStr der;
  int rc;
  if (isSsh) {
    rc = ReadPemBlock(der, "SSH2 PUBLIC KEY", text, "", true);
    if (rc == errNotThisFormat) rc = der.Assign(text);
    if (rc == errNone) rc = reader.ReadSsh2PublicKey(der.View(), info, isDsa);
  } else {
    rc = ReadPemBlock(der, "RSA PUBLIC KEY", text, "", true);
    bool isX509 = false;
    if (rc == errNotThisFormat) {
      rc = ReadPublicKeyDer(der, text, isDsa);
      isX509 = rc == errNone;
    }
    if (rc == errNotThisFormat) {
      rc = ReadPemBlock(der, "DSA PUBLIC KEY", text, "", false);
      isDsa = true;
    }
    if (rc == errNone) rc = PublicKeyFromDer(der.View(), info, isDsa, isX509);
  }
  if (rc == errNotThisFormat) owner.SetLastErrorText("Failed to decode PEM file.");
  if (rc != errNone) return nullptr;

  BufStr spki;
  platform::KeyObject* publicKey = nullptr;
  if (EncodePublicKeyInfo(info, spki) == errNone)
    publicKey = platform::KeyFromPublicInfo(spki.View());
  platform::CertContext* made = publicKey ? platform::MakeThrowAwayCert(publicKey) : nullptr;
  platform::KeyFree(publicKey);
  if (!made) {
    owner.SetErrorSystem("Can't export public key");
    return nullptr;
  }
  rc = ReadCertPem(clientCertContext, platform::CertEncoded(made), false);
  platform::CertFree(made);
  return rc == errNone ? StoreOfCurrent() : nullptr;
}

platform::CertStore* CertificateFront::ImportXmlKey(std::string_view text) {
  BufStr converted;
  int form = 0;
  platform::CertStore* store = nullptr;
  if (reader.XmlKeyToText(text, converted, form) == errNone)
    store = form == xmlPublicKey ? ImportPublicKey(converted.View(), true)
                                 : ImportKeyText(converted.View(), "");
  if (!store) owner.SetLastErrorText("Could not read XML certificate.");
  return store;
}

} // namespace quillon
