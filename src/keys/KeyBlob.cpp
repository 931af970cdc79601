// Blob layout. RSA: the 8-byte header, "RSA2", bitLength, publicExponent, then modulus and
// privateExponent of bitLength / 8 bytes and the five CRT numbers of bitLength / 16, each
// little-endian. bitLength is 8 per modulus byte plus 8, rounded down to 512, which hides a
// leading zero byte. DSS: header, "DSS4", the bit lengths of p, q, 0 and x, a seed counter of
// all ones and 20 zero bytes of seed, then p, q, g, y, x.
#include "keys/KeyBlob.h"

#include "crypto/BigNumber.h"
#include "crypto/CryptoErrors.h"
#include "crypto/Der.h"
#include "frame/Errors.h"
#include "keys/SshBuffer.h"

namespace quillon {

namespace {
// Keys beyond this are refused rather than carried to the library.
constexpr int kMaxKeyBits = 16384;

int AppendU32Le(BufStrBase& out, uint32_t value) {
  const char bytes[4] = {static_cast<char>(value), static_cast<char>(value >> 8),
                         static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
  return out.Append(bytes, 4);
}

// The low `width` bytes of big-endian `number`, from the last byte, zero-filled at the high end.
int AppendLittleEndian(BufStrBase& out, std::string_view number, int width) {
  for (int i = 0; i < width; ++i) {
    const int from = static_cast<int>(number.size()) - 1 - i;
    if (int rc = out.AppendChar(from >= 0 ? number[static_cast<size_t>(from)] : 0); rc != errNone)
      return rc;
  }
  return errNone;
}

// A DSS number without its leading zero byte, and its bit length.
std::string_view DssField(std::string_view number, uint32_t& bits) {
  if (!number.empty() && number.front() == 0) number.remove_prefix(1);
  bits = static_cast<uint32_t>(number.size() * 8);
  return number;
}

int Element(std::string_view list, int index, std::string_view& out) {
  return GetChild(list, index, out, nullptr);
}
} // namespace

int WriteRsaKeyBlob(const RsaNumbers& numbers, KeyMaterial& out) {
  const int bitLength = (static_cast<int>(numbers.modulus.size()) * 8 + 8) / 512 * 512;
  if (numbers.modulus.size() > kMaxKeyBits / 8 + 1) return errDerMalformed;
  static const char kHeader[12] = {7, 2, 0,   0,   0,   static_cast<char>(0xA4),
                                   0, 0, 'R', 'S', 'A', '2'};
  out.Clear();
  out.kind = keyRsaBlob;
  int rc = out.bytes.Append(kHeader, 12);
  if (rc == errNone) rc = AppendU32Le(out.bytes, static_cast<uint32_t>(bitLength));
  if (rc == errNone) rc = AppendU32Le(out.bytes, numbers.publicExponent);
  const std::string_view fields[] = {numbers.modulus,        numbers.prime1,    numbers.prime2,
                                     numbers.exponent1,      numbers.exponent2, numbers.coefficient,
                                     numbers.privateExponent};
  for (int i = 0; i < 7 && rc == errNone; ++i)
    rc =
        AppendLittleEndian(out.bytes, fields[i], i == 0 || i == 6 ? bitLength / 8 : bitLength / 16);
  if (rc != errNone) out.Clear();
  return rc;
}

int WriteDssKeyBlob(const DsaNumbers& numbers, KeyMaterial& out) {
  if (numbers.p.size() > kMaxKeyBits / 8 + 1) return errDerMalformed;
  uint32_t bitsP = 0, bitsQ = 0, bitsX = 0, unused = 0;
  const std::string_view p = DssField(numbers.p, bitsP);
  const std::string_view q = DssField(numbers.q, bitsQ);
  const std::string_view x = DssField(numbers.x, bitsX);
  const int width = (static_cast<int>(numbers.p.size()) * 8 + 8) / 64 * 64 / 8;
  static const char kHeader[12] = {7, 3, 0, 0, 0, 0x22, 0, 0, 'D', 'S', 'S', '4'};
  static const char kSeed[24] = {-1, -1, -1, -1};
  out.Clear();
  out.kind = keyDssBlob;
  int rc = out.bytes.Append(kHeader, 12);
  for (uint32_t bits : {bitsP, bitsQ, 0u, bitsX})
    if (rc == errNone) rc = AppendU32Le(out.bytes, bits);
  if (rc == errNone) rc = out.bytes.Append(kSeed, 24);
  if (rc == errNone) rc = AppendLittleEndian(out.bytes, p, static_cast<int>(bitsP / 8));
  if (rc == errNone) rc = AppendLittleEndian(out.bytes, q, static_cast<int>(bitsQ / 8));
  if (rc == errNone) rc = AppendLittleEndian(out.bytes, DssField(numbers.g, unused), width);
  if (rc == errNone) rc = AppendLittleEndian(out.bytes, DssField(numbers.y, unused), width);
  if (rc == errNone) rc = AppendLittleEndian(out.bytes, x, static_cast<int>(bitsX / 8));
  if (rc != errNone) out.Clear();
  return rc;
}

int RsaDerToBlob(std::string_view der, KeyMaterial& out) {
  BufStr list;
  int rc = list.Assign(der);
  if (rc == errNone) rc = EnterSequence(list, nullptr);
  RsaNumbers numbers;
  std::string_view* targets[] = {&numbers.modulus,         nullptr,
                                 &numbers.privateExponent, &numbers.prime1,
                                 &numbers.prime2,          &numbers.exponent1,
                                 &numbers.exponent2,       &numbers.coefficient};
  for (int i = 0; i < 8 && rc == errNone; ++i)
    rc = targets[i] ? Element(list.View(), i + 1, *targets[i])
                    : GetUnsigned(list, i + 1, numbers.publicExponent, nullptr);
  return rc != errNone ? rc : WriteRsaKeyBlob(numbers, out);
}

int DsaDerToBlob(std::string_view der, KeyMaterial& out) {
  BufStr list;
  int rc = list.Assign(der);
  if (rc == errNone) rc = EnterSequence(list, nullptr);
  int tag = 0;
  std::string_view first;
  if (rc == errNone) rc = GetChild(list.View(), 1, first, &tag);
  if (rc != errNone) return rc;
  DsaNumbers numbers;
  if (tag == derSequence) {
    // PKCS#8 shape: algorithm { oid, { p, q, g } }, then the key.
    std::string_view parameters, key;
    rc = Element(first, 1, parameters);
    if (rc == errNone) rc = Element(parameters, 0, numbers.p);
    if (rc == errNone) rc = Element(parameters, 1, numbers.q);
    if (rc == errNone) rc = Element(parameters, 2, numbers.g);
    if (rc == errNone) rc = GetChild(list.View(), 2, key, &tag);
    if (rc == errNone && tag == derOctetString) {
      rc = Element(key, 0, numbers.y);
      if (rc == errNone) rc = Element(key, 1, numbers.x);
    } else if (rc == errNone) {
      numbers.y = key;
      rc = Element(list.View(), 3, numbers.x);
    }
  } else {
    std::string_view* targets[] = {&numbers.p, &numbers.q, &numbers.g, &numbers.y, &numbers.x};
    for (int i = 0; i < 5 && rc == errNone; ++i)
      rc = Element(list.View(), i + 1, *targets[i]);
  }
  return rc != errNone ? rc : WriteDssKeyBlob(numbers, out);
}

int RsaSsh2ToBlob(std::string_view data, KeyMaterial& out) {
  SshBuffer reader(data);
  uint32_t ignored = 0;
  std::string_view e, d, n, u, fifth, sixth;
  int rc = reader.ReadU32(ignored);
  for (std::string_view* target : {&e, &d, &n, &u, &fifth, &sixth})
    if (rc == errNone) rc = reader.ReadMpint(*target);
  if (rc != errNone) return rc;

  RsaNumbers numbers;
  for (size_t i = 0; i < e.size() && i < 4; ++i)
    numbers.publicExponent = (numbers.publicExponent << 8) | static_cast<uint8_t>(e[i]);
  BigNumber bigD, bigU, bigFifth, bigSixth, one, fifthLess, sixthLess, exp1, exp2, coefficient;
  BufStr exp1Bytes, exp2Bytes, coefficientBytes;
  static const char kOne = 1;
  rc = BigFromBytes(bigD, d.data(), static_cast<int>(d.size()), 1);
  if (rc == errNone) rc = BigFromBytes(bigU, u.data(), static_cast<int>(u.size()), 1);
  if (rc == errNone) rc = BigFromBytes(bigFifth, fifth.data(), static_cast<int>(fifth.size()), 1);
  if (rc == errNone) rc = BigFromBytes(bigSixth, sixth.data(), static_cast<int>(sixth.size()), 1);
  if (rc == errNone) rc = BigFromBytes(one, &kOne, 1, 1);
  if (rc == errNone) rc = BigSubtract(bigSixth, one, sixthLess);
  if (rc == errNone) rc = BigSubtract(bigFifth, one, fifthLess);
  if (rc == errNone) rc = BigMod(bigD, sixthLess, exp1);
  if (rc == errNone) rc = BigMod(bigD, fifthLess, exp2);
  if (rc == errNone) rc = BigMod(bigU, bigSixth, coefficient);
  if (rc == errNone) rc = BigToBytes(exp1, exp1Bytes);
  if (rc == errNone) rc = BigToBytes(exp2, exp2Bytes);
  if (rc == errNone) rc = BigToBytes(coefficient, coefficientBytes);
  if (rc != errNone) return rc;
  numbers.modulus = n;
  numbers.prime1 = sixth;
  numbers.prime2 = fifth;
  numbers.exponent1 = exp1Bytes.View();
  numbers.exponent2 = exp2Bytes.View();
  numbers.coefficient = coefficientBytes.View();
  numbers.privateExponent = d;
  return WriteRsaKeyBlob(numbers, out);
}

int DsaSsh2ToBlob(std::string_view data, KeyMaterial& out) {
  SshBuffer reader(data);
  uint32_t ignored = 0;
  DsaNumbers numbers;
  int rc = reader.ReadU32(ignored);
  if (rc == errNone) rc = reader.ReadU32(ignored);
  for (std::string_view* target : {&numbers.p, &numbers.g, &numbers.q, &numbers.y, &numbers.x})
    if (rc == errNone) rc = reader.ReadMpint(*target);
  return rc != errNone ? rc : WriteDssKeyBlob(numbers, out);
}

int EcPkcs8FromSec1(std::string_view curveOid, std::string_view sec1, KeyMaterial& out) {
  static const char kVersion = 0;
  BufStr algorithm, oid, info;
  int rc = OidBytes(kOidEcKey, oid);
  if (rc == errNone) rc = AppendTlv(algorithm, oid.Data(), oid.Length(), derOid);
  if (rc == errNone) rc = algorithm.Append(curveOid);
  if (rc == errNone) rc = WrapElement(algorithm, derSequence);
  if (rc == errNone) rc = AppendTlv(info, &kVersion, 1, derInteger);
  if (rc == errNone) rc = info.Append(algorithm);
  if (rc == errNone)
    rc = AppendTlv(info, sec1.data(), static_cast<int>(sec1.size()), derOctetString);
  if (rc == errNone) rc = WrapElement(info, derSequence);
  if (rc != errNone) return rc;
  out.kind = keyPkcs8;
  return out.bytes.Assign(info);
}

} // namespace quillon
