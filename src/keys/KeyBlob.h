// Private keys as the readers hand them on: the RSA and DSS key blobs (numbers little-endian in
// fields sized by the key), or, for EC and Ed25519 keys, a PKCS#8 PrivateKeyInfo. The converters
// here turn DER keys and the SSH2 inner forms into blobs; public keys become a PublicKeyInfo.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

enum KeyKind : int {
  keyNone = 0,
  keyRsaBlob = 1, // 07 02 00 00 00 A4 00 00 "RSA2" ...
  keyDssBlob = 2, // 07 03 00 00 00 22 00 00 "DSS4" ...
  keyPkcs8 = 3,   // the DER of a PrivateKeyInfo: EC and Ed25519 keys
};

struct KeyMaterial {
  int kind = keyNone;
  BufStr bytes; // the blob or the DER; empty when no key was read
  bool IsDss() const { return kind == keyDssBlob; }
  void Clear() {
    kind = keyNone;
    bytes.Clear();
  }
};

// Big-endian numbers, as read; a leading zero byte is allowed.
struct RsaNumbers {
  uint32_t publicExponent = 0;
  std::string_view modulus, prime1, prime2, exponent1, exponent2, coefficient, privateExponent;
};
struct DsaNumbers {
  std::string_view p, q, g, y, x;
};

// 0, 200, or 446 for a modulus or prime beyond the largest key taken.
int WriteRsaKeyBlob(const RsaNumbers& numbers, KeyMaterial& out);
int WriteDssKeyBlob(const DsaNumbers& numbers, KeyMaterial& out);

// PKCS#1 RSAPrivateKey, and the DSA forms of "DSA PRIVATE KEY" and of PKCS#8; 0 or a DER code.
int RsaDerToBlob(std::string_view der, KeyMaterial& out);
int DsaDerToBlob(std::string_view der, KeyMaterial& out);
// The SSH2 inner forms: u32, mpints e, d, n, u, fifth, sixth (the sixth is prime1), or u32, u32,
// mpints p, g, q, y, x. 0, 1080, or a code of the numbers.
int RsaSsh2ToBlob(std::string_view data, KeyMaterial& out);
int DsaSsh2ToBlob(std::string_view data, KeyMaterial& out);

// An EC key as PKCS#8: the curve's OID element (tag 06 and all) goes into the algorithm and
// the SEC1 ECPrivateKey `sec1` becomes the key. 0 or 200.
int EcPkcs8FromSec1(std::string_view curveOid, std::string_view sec1, KeyMaterial& out);
constexpr const char* kOidEcKey = "1.2.840.10045.2.1";
constexpr const char* kOidEd25519 = "1.3.101.112";
// The SSH forms of the curves' keys as PKCS#8: an ECDSA key of type `keyType`
// ("ecdsa-sha2-nistp384") from its curve name, public point and private scalar, and an Ed25519
// key from its 32-byte seed. 0, 200, or 446 for a curve or size that does not fit.
int SshEcKeyToPkcs8(std::string_view keyType, std::string_view curveName, std::string_view point,
                    std::string_view scalar, KeyMaterial& out);
int Ed25519SeedToPkcs8(std::string_view seed, KeyMaterial& out);

// A public key as the certificate of a key without one takes it.
struct PublicKeyInfo {
  const char* algorithm = ""; // dotted object identifier
  BufStr parameters;          // DER; empty for none
  BufStr publicKey;           // the content of the BIT STRING, without its unused-bits byte
};
constexpr const char* kOidRsa = "1.2.840.113549.1.1.1";
constexpr const char* kOidDsa = "1.2.840.10040.4.1";

// 0 or 200.
int DsaPublicKeyInfo(std::string_view p, std::string_view q, std::string_view g, std::string_view y,
                     PublicKeyInfo& info);
// The X.509 "PUBLIC KEY" armor: its DER in `out`; 0, 1424.
int ReadPublicKeyDer(BufStrBase& out, std::string_view text, bool& isDsaOut);
// 0, 200 or a DER code.
int PublicKeyFromDer(std::string_view der, PublicKeyInfo& info, bool isDsa, bool isX509);
// The SubjectPublicKeyInfo DER of `info`; 0 or 200.
int EncodePublicKeyInfo(const PublicKeyInfo& info, BufStrBase& der);

} // namespace quillon
