// The responses of the Type 3 message.
//   NTLMv1 with extended security: NT = DES(NT hash, MD5(challenge | nonce)[0..8]),
//                                  LM = nonce | 16 zeros
//   NTLMv1 without it:             NT = DES(NT hash, challenge), LM = DES(LM hash, challenge)
//                                  or a copy of NT under flag 0x400
//   NTLMv2: hash = HMAC-MD5(NT hash, UPPER(user) | domain), blob = 0x101, 0, time, nonce, 0,
//           pairs, 0, 0; NT = HMAC-MD5(hash, challenge | blob) | blob; LM empty with target info
//           else HMAC-MD5(hash, challenge | nonce) | nonce
#include "http/NtlmContext.h"

#include "crypto/Des.h"
#include "crypto/HashContext.h"
#include "crypto/HmacContext.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "platform/CodePage.h"
#include "platform/Ticks.h"

#include <cstring>
#include <cwctype>
#include <random>

namespace quillon {

namespace {
void AppendLe(BufStrBase& out, uint64_t value, int bytes, int& rc) {
  for (int i = 0; i < bytes && rc == errNone; ++i)
    rc = out.AppendChar(i < 8 ? static_cast<char>((value >> (8 * i)) & 0xFF) : '\0');
}
std::string_view Bytes(const uint8_t* bytes, int count) {
  return {reinterpret_cast<const char*>(bytes), static_cast<size_t>(count)};
}
} // namespace

int AppendUtf16Le(BufStrBase& out, std::string_view text, bool upperCase) {
  if (text.empty()) return errNone;
  WidePair pair;
  if (int rc = pair.bytes.Assign(text); rc != errNone) return rc;
  const WideChar* wide = BytesToWide(pair, kUtf8CodePage);
  // The wide text ends in two NUL bytes; its real UTF-16 length is what goes out.
  const int units = (pair.wide.Length() - 2) / 2;
  int rc = errNone;
  for (int i = 0; i < units && rc == errNone; ++i) {
    uint32_t unit = wide[i];
    if (upperCase && (unit < 0xD800 || unit > 0xDFFF))
      unit = static_cast<uint32_t>(std::towupper(static_cast<wint_t>(unit))) & 0xFFFF;
    AppendLe(out, unit, 2, rc);
  }
  return rc;
}

int NtlmNtHash(BufStrBase& out, std::string_view password) {
  BufStr wide;
  if (int rc = AppendUtf16Le(wide, password, false); rc != errNone) return rc;
  return Md4Digest(out, wide.Data(), wide.Length());
}

int NtlmLmHash(BufStrBase& out, std::string_view password) {
  uint8_t key14[14] = {};
  for (size_t i = 0; i < password.size() && i < 14; ++i) {
    const char c = password[i];
    key14[i] = static_cast<uint8_t>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  }
  if (int rc = out.Resize(16, nullptr); rc != errNone) return rc;
  for (int half = 0; half < 2; ++half) {
    uint8_t key[8];
    uint8_t block[8] = {'K', 'G', 'S', '!', '@', '#', '$', '%'};
    DesKeyFrom7(key14 + 7 * half, key);
    DesEncryptBlock(block, key);
    std::memcpy(out.Data() + 8 * half, block, 8);
  }
  return errNone;
}

void NtlmDesResponse(BufStrBase& out, std::string_view keyMaterial, const uint8_t data[8]) {
  uint8_t key21[21] = {};
  std::memcpy(key21, keyMaterial.data(), std::min<size_t>(16, keyMaterial.size()));
  for (int third = 0; third < 3; ++third) {
    uint8_t key[8];
    uint8_t block[8];
    std::memcpy(block, data, 8);
    DesKeyFrom7(key21 + 7 * third, key);
    DesEncryptBlock(block, key);
    out.Append(reinterpret_cast<const char*>(block), 8);
  }
}

int NtlmChannelBinding(BufStrBase& out, std::string_view certificate) {
  BufStr der;
  int rc = der.Assign(certificate);
  bool narrow = true;
  for (char c : certificate)
    narrow = narrow && static_cast<uint8_t>(c) < 128;
  if (rc == errNone && narrow) {
    // PEM: the base64 between the CERTIFICATE markers.
    const int begin = der.Find("-----BEGIN CERTIFICATE-----");
    const int end = der.Find("-----END CERTIFICATE-----");
    if (begin >= 0 && end > begin) rc = der.Mid(begin + 27, end);
    if (rc == errNone) Base64Decode(der, false);
  }
  BufStr hash;
  if (rc == errNone) rc = Sha256Digest(hash, der.Data(), der.Length());
  BufStr bindings;
  AppendLe(bindings, 0, 16, rc);
  AppendLe(bindings, 21 + 32, 4, rc);
  if (rc == errNone) rc = bindings.Append("tls-server-end-point:");
  if (rc == errNone) rc = bindings.Append(hash);
  if (rc == errNone) rc = Md5Digest(out, bindings.Data(), bindings.Length());
  return rc;
}

int NtlmContext::MakeClientNonce(uint8_t nonce[8]) {
  if (fixedClientNonce.Length() == 8) {
    std::memcpy(nonce, fixedClientNonce.Data(), 8);
    return errNone;
  }
  // Any source of eight non-zero bytes serves: the server only echoes them into its hashes.
  std::minstd_rand generator(
      static_cast<uint32_t>(platform::TickCount() ^ reinterpret_cast<uintptr_t>(this)));
  for (int i = 0; i < 8; ++i)
    nonce[i] = static_cast<uint8_t>(generator() % 255 + 1);
  return errNone;
}

int NtlmContext::NtlmV1Responses(const NtlmChallenge& challenge, BufStrBase& lm, BufStrBase& nt) {
  BufStr20 ntHash;
  if (NtlmNtHash(ntHash, password.View()) != errNone)
    return Fail(errOutOfMemory, "error creating NT challenge response.");
  if (flags & ntlmExtendedSecurity) {
    uint8_t nonce[8];
    MakeClientNonce(nonce);
    BufStr sessionInput;
    BufStr20 sessionHash;
    int rc = sessionInput.Append(Bytes(challenge.challenge, 8));
    if (rc == errNone) rc = sessionInput.Append(Bytes(nonce, 8));
    if (rc == errNone) rc = Md5Digest(sessionHash, sessionInput.Data(), sessionInput.Length());
    if (rc != errNone) return Fail(rc, "error creating NT challenge response.");
    NtlmDesResponse(nt, ntHash.View(), reinterpret_cast<const uint8_t*>(sessionHash.Data()));
    rc = lm.Append(Bytes(nonce, 8));
    AppendLe(lm, 0, 16, rc);
    return rc == errNone ? errNone : Fail(rc, "error creating LM response.");
  }
  NtlmDesResponse(nt, ntHash.View(), challenge.challenge);
  if (flags & ntlmLmCopiesNt) return lm.Assign(nt);
  BufStr20 lmHash;
  if (NtlmLmHash(lmHash, password.View()) != errNone)
    return Fail(errOutOfMemory, "error creating LM response.");
  NtlmDesResponse(lm, lmHash.View(), challenge.challenge);
  return errNone;
}

int NtlmContext::AppendBlob(BufStrBase& blob, const NtlmChallenge& challenge,
                            const uint8_t nonce[8]) {
  uint64_t time = fixedTime;
  if (!useFixedTime) {
    // The server's own time keeps clock skew out of the check; else our clock, to the ms.
    time = challenge.timestamp;
    if (time == 0) time = static_cast<uint64_t>(platform::WallClockMillis()) * 10000;
  }
  int rc = errNone;
  AppendLe(blob, 0x00000101, 4, rc);
  AppendLe(blob, 0, 4, rc);
  AppendLe(blob, time, 8, rc);
  if (rc == errNone) rc = blob.Append(Bytes(nonce, 8));
  AppendLe(blob, 0, 4, rc);
  for (int i = 0; i < challenge.pairIds.Count() && rc == errNone; ++i) {
    const std::string_view value = challenge.pairValues.At(i);
    AppendLe(blob, static_cast<uint32_t>(challenge.pairIds.AtInt(i)), 2, rc);
    AppendLe(blob, value.size(), 2, rc);
    if (rc == errNone) rc = blob.Append(value);
  }
  if (rc == errNone && !serverCertificate.IsEmpty()) {
    BufStr20 binding;
    if (NtlmChannelBinding(binding, serverCertificate.View()) != errNone)
      return Fail(errOutOfMemory, "error creating channelbinding.");
    AppendLe(blob, kNtlmPairChannelBindings, 2, rc);
    AppendLe(blob, 16, 2, rc);
    if (rc == errNone) rc = blob.Append(binding);
  }
  AppendLe(blob, 0, 8, rc);
  return rc == errNone ? errNone : Fail(rc, "error creating blob.");
}

int NtlmContext::NtlmV2Responses(const NtlmChallenge& challenge, BufStrBase& lm, BufStrBase& nt) {
  uint8_t nonce[8];
  MakeClientNonce(nonce);
  BufStr20 ntHash;
  BufStr identity;
  BufStr20 v2Hash;
  int rc = NtlmNtHash(ntHash, password.View());
  if (rc == errNone) rc = AppendUtf16Le(identity, user.View(), true);
  if (rc == errNone) rc = AppendUtf16Le(identity, domain.View(), false);
  if (rc == errNone) rc = HmacMd5(v2Hash, ntHash.View(), identity.View());
  if (rc != errNone) return Fail(rc, "HmacMd5 error.");
  const std::string_view serverChallenge = Bytes(challenge.challenge, 8);
  if (!(flags & ntlmTargetInfo)) {
    BufStr data;
    rc = data.Append(serverChallenge);
    if (rc == errNone) rc = data.Append(Bytes(nonce, 8));
    if (rc == errNone) rc = HmacMd5(lm, v2Hash.View(), data.View());
    if (rc == errNone) rc = lm.Append(Bytes(nonce, 8));
    if (rc != errNone) return Fail(rc, "error creating LM response.");
  }
  BufStr blob;
  if (rc = AppendBlob(blob, challenge, nonce); rc != errNone) return rc;
  BufStr data;
  rc = data.Append(serverChallenge);
  if (rc == errNone) rc = data.Append(blob);
  if (rc == errNone) rc = HmacMd5(nt, v2Hash.View(), data.View());
  if (rc == errNone) rc = nt.Append(blob);
  return rc == errNone ? errNone : Fail(rc, "error creating NT challenge response.");
}

} // namespace quillon
