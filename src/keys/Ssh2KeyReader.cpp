// The ssh.com private key file (magic, total length, key type, cipher, key data) and the SSH
// public key in its blob and one-line forms. An encrypted SSH2 key derives its key by the
// repeated MD5 with the password ahead of the previous block, no salt and a zero iv.
#include "crypto/Der.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyDerivation.h"
#include "keys/KeyErrors.h"
#include "keys/KeyReader.h"
#include "keys/SshBuffer.h"

namespace quillon {

namespace {
constexpr uint32_t kSsh2Magic = 0x3F6FF9EB;
constexpr const char* kSsh2Unreadable = "Could not read SSH2 encrypted key";

int AppendInteger(BufStrBase& out, std::string_view bytes) {
  return AppendTlv(out, bytes.data(), static_cast<int>(bytes.size()), derInteger);
}
} // namespace

int KeyReader::ReadSsh2PrivateKey(std::string_view data, std::string_view password,
                                  KeyMaterial& out) {
  SshBuffer reader(data);
  uint32_t magic = 0, total = 0;
  std::string_view keyType, cipher, keyData;
  int rc = reader.ReadU32(magic);
  if (rc == errNone) rc = reader.ReadU32(total);
  if (rc == errNone) rc = reader.ReadString(keyType);
  if (rc == errNone) rc = reader.ReadString(cipher);
  if (rc == errNone) rc = reader.ReadString(keyData);
  if (rc != errNone || magic != kSsh2Magic || total == 0)
    return Fail(errCertDecode, kSsh2Unreadable);

  BufStr inner;
  if (inner.Assign(keyData) != errNone) return errOutOfMemory;
  if (cipher == "DES-EDE3-CBC" || cipher == "3des-cbc" || cipher == "DES-EDE3-CFB" ||
      cipher == "AES-128-CBC") {
    KeyBodyCipher decrypt;
    decrypt.cipherName = cipher;
    decrypt.password = password;
    decrypt.zeroIv = true;
    if (DecryptKeyBody(decrypt, inner) != errNone) return Fail(errCertDecode, kSsh2Unreadable);
  } else if (cipher != "none") {
    return Fail(errCertDecode, kSsh2Unreadable);
  }
  if (keyType.starts_with("if-modn{sign{rsa"))
    rc = RsaSsh2ToBlob(inner.View(), out);
  else if (keyType.starts_with("dl-modp{sign{dsa"))
    rc = DsaSsh2ToBlob(inner.View(), out);
  else
    return Fail(errCertDecode, kSsh2Unreadable);
  return rc;
}

int KeyReader::ReadSsh2PublicKey(std::string_view data, PublicKeyInfo& info, bool& isDssOut) {
  SshBuffer probe(data);
  std::string_view keyType;
  BufStr decoded;
  if (probe.ReadString(keyType) != errNone) {
    // The one-line form: a key type of seven letters and a blank, then base64 and a comment,
    // which decodes behind the fields and is never read.
    if (decoded.Assign(data) != errNone) return errOutOfMemory;
    if (decoded.StartsWith("ssh-")) {
      decoded.DropFront(8);
      decoded.Trim();
    }
    Base64Decode(decoded, false);
    data = decoded.View();
  }
  SshBuffer reader(data);
  int rc = reader.ReadString(keyType);
  if (rc == errNone && keyType == "ssh-rsa") {
    std::string_view e, n;
    rc = reader.ReadString(e);
    if (rc == errNone) rc = reader.ReadString(n);
    if (rc == errNone) {
      info.algorithm = kOidRsa;
      info.parameters.Clear();
      info.publicKey.Clear();
      AppendEmpty(info.parameters, derNull);
      rc = AppendInteger(info.publicKey, n);
      if (rc == errNone) rc = AppendInteger(info.publicKey, e);
      if (rc == errNone) rc = WrapElement(info.publicKey, derSequence);
      return rc;
    }
  } else if (rc == errNone && keyType == "ssh-dss") {
    std::string_view p, q, g, y;
    rc = reader.ReadString(p);
    if (rc == errNone) rc = reader.ReadString(q);
    if (rc == errNone) rc = reader.ReadString(g);
    if (rc == errNone) rc = reader.ReadString(y);
    if (rc == errNone) {
      isDssOut = true;
      return DsaPublicKeyInfo(p, q, g, y, info);
    }
  }
  return Fail(errCertDecode, "Unknown SSH2 public key type");
}

} // namespace quillon
