// The SSH forms of ECDSA and Ed25519 keys made PKCS#8 PrivateKeyInfo, for the OpenSSH and PuTTY
// readers alike: an ECDSA key through its SEC1 ECPrivateKey, an Ed25519 key from its seed.
#include "crypto/CryptoErrors.h"
#include "crypto/Der.h"
#include "frame/Errors.h"
#include "keys/KeyBlob.h"
#include "keys/SshBuffer.h"

#include <cstring>

namespace quillon {

namespace {
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
} // namespace

int SshEcKeyToPkcs8(std::string_view keyType, std::string_view curveName, std::string_view point,
                    std::string_view scalar, KeyMaterial& out) {
  const Curve* curve = nullptr;
  for (const Curve& row : kCurves)
    if (row.sshName == curveName && keyType.ends_with(row.sshName)) curve = &row;
  scalar = StripLeadingZeros(scalar);
  if (!curve || scalar.empty() || scalar.size() > curve->scalarBytes || point.empty())
    return errDerMalformed;
  // ECPrivateKey { 1, d padded to the field, [0] curve, [1] BIT STRING of the point }.
  static const char kOne = 1;
  BufStr paddedScalar, oid, curveElement, bits, key;
  int rc = paddedScalar.Resize(static_cast<int>(curve->scalarBytes - scalar.size()), nullptr);
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

// PKCS#8 of Ed25519: the algorithm alone, and the seed as an OCTET STRING inside the key.
int Ed25519SeedToPkcs8(std::string_view seed, KeyMaterial& out) {
  if (seed.size() != 32) return errDerMalformed;
  static const char kVersion = 0;
  BufStr algorithm, oid, wrappedSeed, info;
  int rc = OidBytes(kOidEd25519, oid);
  if (rc == errNone) rc = AppendTlv(algorithm, oid.Data(), oid.Length(), derOid);
  if (rc == errNone) rc = WrapElement(algorithm, derSequence);
  if (rc == errNone) rc = AppendTlv(wrappedSeed, seed.data(), 32, derOctetString);
  if (rc == errNone) rc = AppendTlv(info, &kVersion, 1, derInteger);
  if (rc == errNone) rc = info.Append(algorithm);
  if (rc == errNone) rc = AppendTlv(info, wrappedSeed.Data(), wrappedSeed.Length(), derOctetString);
  if (rc == errNone) rc = WrapElement(info, derSequence);
  if (rc != errNone) return rc;
  out.kind = keyPkcs8;
  return out.bytes.Assign(info);
}

} // namespace quillon
