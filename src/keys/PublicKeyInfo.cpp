// Public keys for the throw-away certificate: DSA parameters and key as DER INTEGERs written from
// the bytes as read, RSA keys as the PKCS#1 RSAPublicKey that both the "RSA PUBLIC KEY" armor and
// the BIT STRING of an X.509 key hold.
#include "crypto/Der.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyBlob.h"
#include "keys/KeyErrors.h"
#include "keys/PemReader.h"

namespace quillon {

namespace {
int AppendInteger(BufStrBase& out, std::string_view bytes) {
  return AppendTlv(out, bytes.data(), static_cast<int>(bytes.size()), derInteger);
}

// The BIT STRING content behind its byte of unused bits.
std::string_view BitStringBits(std::string_view content) {
  return content.empty() ? content : content.substr(1);
}
} // namespace

int DsaPublicKeyInfo(std::string_view p, std::string_view q, std::string_view g, std::string_view y,
                     PublicKeyInfo& info) {
  info.algorithm = kOidDsa;
  info.parameters.Clear();
  info.publicKey.Clear();
  int rc = AppendInteger(info.parameters, p);
  if (rc == errNone) rc = AppendInteger(info.parameters, q);
  if (rc == errNone) rc = AppendInteger(info.parameters, g);
  if (rc == errNone) rc = WrapElement(info.parameters, derSequence);
  if (rc == errNone) rc = AppendInteger(info.publicKey, y);
  return rc;
}

int ReadPublicKeyDer(BufStrBase& out, std::string_view text, bool& isDsaOut) {
  if (int rc = ReadArmorBody(out, "PUBLIC KEY", text); rc != errNone) return rc;
  Base64Decode(out, false);
  BufStr walk, oid;
  int rc = walk.Assign(out);
  if (rc == errNone) rc = EnterSequence(walk, nullptr);
  if (rc == errNone) rc = EnterSequence(walk, nullptr);
  if (rc == errNone) rc = GetOid(walk, 0, oid, nullptr);
  if (rc != errNone) return errNotThisFormat;
  if (oid.View() == kOidRsa)
    isDsaOut = false;
  else if (oid.View() == kOidDsa)
    isDsaOut = true;
  else
    return errNotThisFormat;
  return errNone;
}

int PublicKeyFromDer(std::string_view der, PublicKeyInfo& info, bool isDsa, bool isX509) {
  if (isDsa) {
    BufStr list;
    std::string_view parameters, bits, p, q, g, y;
    int rc = list.Assign(der);
    if (rc == errNone) rc = EnterSequence(list, nullptr);
    if (rc == errNone) rc = EnterSequence(list, nullptr);
    if (rc == errNone) rc = GetChild(list.View(), 1, parameters, nullptr);
    if (rc == errNone) rc = GetChild(parameters, 0, p, nullptr);
    if (rc == errNone) rc = GetChild(parameters, 1, q, nullptr);
    if (rc == errNone) rc = GetChild(parameters, 2, g, nullptr);
    if (rc == errNone) rc = GetChild(list.View(), 2, bits, nullptr);
    if (rc == errNone) rc = GetChild(BitStringBits(bits), 0, y, nullptr);
    return rc != errNone ? rc : DsaPublicKeyInfo(p, q, g, y, info);
  }
  info.algorithm = kOidRsa;
  info.parameters.Clear();
  if (!isX509) return info.publicKey.Assign(der);
  BufStr list;
  std::string_view bits;
  int rc = list.Assign(der);
  if (rc == errNone) rc = EnterSequence(list, nullptr);
  if (rc == errNone) rc = GetChild(list.View(), 1, bits, nullptr);
  return rc != errNone ? rc : info.publicKey.Assign(BitStringBits(bits));
}

int EncodePublicKeyInfo(const PublicKeyInfo& info, BufStrBase& der) {
  BufStr algorithm, oid, key;
  int rc = OidBytes(info.algorithm, oid);
  if (rc == errNone) rc = AppendTlv(algorithm, oid.Data(), oid.Length(), derOid);
  // An RSA key states its empty parameters as NULL, as X.509 writers do.
  if (rc == errNone && info.parameters.IsEmpty()) rc = AppendEmpty(algorithm, derNull);
  if (rc == errNone) rc = algorithm.Append(info.parameters);
  if (rc == errNone) rc = WrapElement(algorithm, derSequence);
  if (rc == errNone) rc = key.AppendChar(0);
  if (rc == errNone) rc = key.Append(info.publicKey);
  der.Clear();
  if (rc == errNone) rc = der.Append(algorithm);
  if (rc == errNone) rc = AppendTlv(der, key.Data(), key.Length(), derBitString);
  if (rc == errNone) rc = WrapElement(der, derSequence);
  return rc;
}

} // namespace quillon
