// The private and public key readers of every text format a user may hold: PEM and PKCS#8,
// legacy EC, OpenSSH, the ssh.com SSH2 file, PuTTY's PPK, the SSH public key and the XML key
// value. Each brings its input to a KeyMaterial or a PublicKeyInfo; making keys and
// certificates of them is left to the certificate front. Texts of failures go to the owner.
#pragma once

#include "frame/ComponentCore.h"
#include "keys/KeyBlob.h"

#include <string_view>

namespace quillon {

// What an XML key value turned into: a text for the key import of the certificate front.
enum XmlKeyForm : int {
  xmlCertificate = 1, // a PEM certificate
  xmlPublicKey = 2,   // an SSH2 public key armor
  xmlPrivateKey = 3,  // an SSH2 private key armor, not encrypted
};

class KeyReader {
public:
  explicit KeyReader(ComponentCore& errorOwner) : owner(errorOwner) {}

  // Tries every private key format in turn. 0, 1424 with "Failed to decode PEM file.", or the
  // code of the first format that recognised the text and failed.
  int ReadPrivateKey(std::string_view text, std::string_view password, KeyMaterial& out);
  // PKCS#8, plain or PBES2-encrypted; RSA and DSA give the privateKey content, EC and Ed25519
  // the whole PrivateKeyInfo (`kindOut` keyPkcs8). Every failure is 1424.
  int ReadPkcs8(BufStrBase& out, std::string_view text, std::string_view password, int& kindOut);
  // "EC PRIVATE KEY", plain or with "DEK-Info", made a PrivateKeyInfo. 0, 1424 or 280.
  int ReadEcPrivateKey(std::string_view text, std::string_view password, KeyMaterial& out);
  // "OPENSSH PRIVATE KEY": RSA, ECDSA and Ed25519 when not encrypted. 0, 1424 or 280.
  int ReadOpenSshKey(std::string_view text, KeyMaterial& out);
  // The decoded ssh.com private key file. 0 or 280.
  virtual int ReadSsh2PrivateKey(std::string_view data, std::string_view password,
                                 KeyMaterial& out);
  // The SSH public key: the bare blob, or "ssh-rsa BASE64 comment" text. 0 or 280.
  virtual int ReadSsh2PublicKey(std::string_view data, PublicKeyInfo& info, bool& isDssOut);
  // PuTTY's file, version 2 or 3. 0, 280, 1424 when the text is no PPK.
  int ReadPpkKey(std::string_view text, std::string_view password, KeyMaterial& out);
  int PpkToBlob(std::string_view publicBlob, std::string_view privateBlob, KeyMaterial& out);
  // The XML key value rewritten as a text that ImportKeyText or ImportPublicKey reads. 0, or 280
  // with "Could not read XML certificate.".
  int XmlKeyToText(std::string_view text, BufStrBase& out, int& formOut);
  virtual ~KeyReader() = default;

private:
  int Fail(int code, const char* text) { return owner.Fail(code, text); }

  ComponentCore& owner; // receives the texts of failures
};

// The content of the first element `name` (with or without a prefix), appended to `out`.
void FindXmlElement(std::string_view name, std::string_view xml, BufStrBase& out);

} // namespace quillon
