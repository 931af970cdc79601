// The private key file that ssh-keygen writes by default: "openssh-key-v1\0", cipher, KDF and its
// options, the key count, the public blobs, then the private section of two check words and the
// key. RSA goes through the SSH2 inner form; ECDSA and Ed25519 keys become PKCS#8. Encrypted
// files are not read: the text says how to convert them.
#include "crypto/CryptoErrors.h"
#include "crypto/Der.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyErrors.h"
#include "keys/KeyReader.h"
#include "keys/PemReader.h"
#include "keys/SshBuffer.h"

#include <cstring>

namespace quillon {

namespace {
constexpr std::string_view kMagic{"openssh-key-v1\0", 15};
constexpr const char* kUnreadable = "Could not read OpenSSH private key";

struct Curve {
  std::string_view sshName;
  const char* oid;
  size_t scalarBytes;
};
constexpr Curve kCurves[] = {
    {"nistp256", "1.2.840.10045.3.1.7", 32},
    {"nistp384", "1.3.132.0.34", 48},
    {"nistp521", "1.3.132.0.35", 66},
};

// The inner RSA form from OpenSSH's n, e, d, iqmp, p, q: q goes fifth and p sixth, so that iqmp
// is the coefficient of the blob.
int RsaFromOpenSsh(SshBuffer& reader, KeyMaterial& out) {
  std::string_view n, e, d, iqmp, p, q;
  int rc = errNone;
  for (std::string_view* target : {&n, &e, &d, &iqmp, &p, &q})
    if (rc == errNone) rc = reader.ReadString(*target);
  BufStr inner;
  if (rc == errNone) rc = SshBuffer::WriteU32(inner, 0);
  for (std::string_view number : {e, d, n, iqmp, q, p})
    if (rc == errNone) rc = SshBuffer::WriteMpint(inner, StripLeadingZeros(number));
  return rc != errNone ? rc : RsaSsh2ToBlob(inner.View(), out);
}

int EcFromOpenSsh(SshBuffer& reader, std::string_view keyType, KeyMaterial& out) {
  std::string_view curveName, point, scalar;
  int rc = reader.ReadString(curveName);
  if (rc == errNone) rc = reader.ReadString(point);
  if (rc == errNone) rc = reader.ReadString(scalar);
  if (rc != errNone) return rc;
  const Curve* curve = nullptr;
  for (const Curve& row : kCurves)
    if (row.sshName == curveName && keyType.ends_with(row.sshName)) curve = &row;
  scalar = StripLeadingZeros(scalar);
  if (!curve || scalar.size() > curve->scalarBytes) return errDerMalformed;
  // ECPrivateKey { 1, d padded to the field, [0] curve, [1] BIT STRING of the point }.
  static const char kOne = 1;
  BufStr paddedScalar, oid, curveElement, bits, key;
  rc = paddedScalar.Resize(static_cast<int>(curve->scalarBytes - scalar.size()), nullptr);
  if (rc == errNone) {
    std::memset(paddedScalar.Data(), 0, static_cast<size_t>(paddedScalar.Length()));
    rc = paddedScalar.Append(scalar);
  }
  if (rc == errNone) rc = OidBytes(curve->oid, oid);
  if (rc == errNone) rc = AppendTlv(curveElement, oid.Data(), oid.Length(), derOid);
  if (rc == errNone) rc = bits.AppendChar(0);
  if (rc == errNone) rc = bits.Append(point);
  if (rc == errNone) rc = AppendTlv(key, &kOne, 1, derInteger);
  if (rc == errNone)
    rc = AppendTlv(key, paddedScalar.Data(), paddedScalar.Length(), derOctetString);
  if (rc == errNone) rc = AppendTlv(key, curveElement.Data(), curveElement.Length(), 0xA0);
  BufStr publicPart;
  if (rc == errNone) rc = AppendTlv(publicPart, bits.Data(), bits.Length(), derBitString);
  if (rc == errNone) rc = AppendTlv(key, publicPart.Data(), publicPart.Length(), 0xA1);
  if (rc == errNone) rc = WrapElement(key, derSequence);
  return rc != errNone ? rc : EcPkcs8FromSec1(curveElement.View(), key.View(), out);
}

// PKCS#8 of Ed25519: the algorithm alone, and the 32-byte seed as an OCTET STRING inside the key.
int Ed25519FromOpenSsh(SshBuffer& reader, KeyMaterial& out) {
  std::string_view publicKey, secret;
  int rc = reader.ReadString(publicKey);
  if (rc == errNone) rc = reader.ReadString(secret);
  if (rc != errNone) return rc;
  if (secret.size() != 64) return errDerMalformed;
  static const char kVersion = 0;
  BufStr algorithm, oid, seed, info;
  rc = OidBytes(kOidEd25519, oid);
  if (rc == errNone) rc = AppendTlv(algorithm, oid.Data(), oid.Length(), derOid);
  if (rc == errNone) rc = WrapElement(algorithm, derSequence);
  if (rc == errNone) rc = AppendTlv(seed, secret.data(), 32, derOctetString);
  if (rc == errNone) rc = AppendTlv(info, &kVersion, 1, derInteger);
  if (rc == errNone) rc = info.Append(algorithm);
  if (rc == errNone) rc = AppendTlv(info, seed.Data(), seed.Length(), derOctetString);
  if (rc == errNone) rc = WrapElement(info, derSequence);
  if (rc != errNone) return rc;
  out.kind = keyPkcs8;
  return out.bytes.Assign(info);
}
} // namespace

int KeyReader::ReadOpenSshKey(std::string_view text, KeyMaterial& out) {
  BufStr data;
  int rc = ReadArmorBody(data, "OPENSSH PRIVATE KEY", text);
  if (rc != errNone) return rc;
  Base64Decode(data, false);
  if (!data.StartsWith(kMagic)) return Fail(errCertDecode, kUnreadable);
  SshBuffer reader(data.View().substr(kMagic.size()));
  std::string_view cipher, kdf, kdfOptions, publicBlob, section, keyType;
  uint32_t count = 0, check1 = 0, check2 = 0;
  rc = reader.ReadString(cipher);
  if (rc == errNone) rc = reader.ReadString(kdf);
  if (rc == errNone) rc = reader.ReadString(kdfOptions);
  if (rc == errNone) rc = reader.ReadU32(count);
  if (rc == errNone) rc = reader.ReadString(publicBlob);
  if (rc == errNone) rc = reader.ReadString(section);
  if (rc != errNone || count != 1) return Fail(errCertDecode, kUnreadable);
  if (cipher != "none")
    return Fail(errCertDecode, "The OpenSSH private key is encrypted. Convert it with "
                               "\"ssh-keygen -p -m PKCS8 -f FILE\" and use the PKCS#8 file.");
  SshBuffer keyReader(section);
  rc = keyReader.ReadU32(check1);
  if (rc == errNone) rc = keyReader.ReadU32(check2);
  if (rc == errNone) rc = keyReader.ReadString(keyType);
  if (rc != errNone || check1 != check2) return Fail(errCertDecode, kUnreadable);
  if (keyType == "ssh-rsa")
    rc = RsaFromOpenSsh(keyReader, out);
  else if (keyType.starts_with("ecdsa-sha2-"))
    rc = EcFromOpenSsh(keyReader, keyType, out);
  else if (keyType == "ssh-ed25519")
    rc = Ed25519FromOpenSsh(keyReader, out);
  else
    return errNotThisFormat; // a kind no reader covers ends as no format at all
  if (rc != errNone) {
    out.Clear();
    return Fail(errCertDecode, kUnreadable);
  }
  return errNone;
}

} // namespace quillon
