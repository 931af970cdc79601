// The private key file that ssh-keygen writes by default: "openssh-key-v1\0", cipher, KDF and its
// options, the key count, the public blobs, then the private section of two check words and the
// key. RSA goes through the SSH2 inner form; ECDSA and Ed25519 keys become PKCS#8. Encrypted
// files are not read: the text says how to convert them.
#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyErrors.h"
#include "keys/KeyReader.h"
#include "keys/PemReader.h"
#include "keys/SshBuffer.h"

namespace quillon {

namespace {
constexpr std::string_view kMagic{"openssh-key-v1\0", 15};
constexpr const char* kUnreadable = "Could not read OpenSSH private key";

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
  return rc != errNone ? rc : SshEcKeyToPkcs8(keyType, curveName, point, scalar, out);
}

// The public key, then the 64-byte secret: the seed and the public key again.
int Ed25519FromOpenSsh(SshBuffer& reader, KeyMaterial& out) {
  std::string_view publicKey, secret;
  int rc = reader.ReadString(publicKey);
  if (rc == errNone) rc = reader.ReadString(secret);
  if (rc != errNone) return rc;
  return secret.size() != 64 ? errDerMalformed : Ed25519SeedToPkcs8(secret.substr(0, 32), out);
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
