// PuTTY's key file. Version 2: lines by their beginning; "Public-Lines" runs up to
// "Private-Lines", which runs up to "Private-MAC"; the key of "aes256-cbc" is two SHA-1 digests of
// a counter and the passphrase; the MAC is not checked, so a wrong passphrase shows only as a
// private blob that does not read. Version 3: the line counts hold, the key, iv and MAC key come
// from Argon2 with the file's parameters, and the HMAC-SHA-256 over the key's fields is checked.
// RSA and DSA keys become blobs; ECDSA (P-256, P-384, P-521) and Ed25519 keys become PKCS#8.
#include "crypto/Argon2.h"
#include "crypto/CipherContext.h"
#include "crypto/HashContext.h"
#include "crypto/HmacContext.h"
#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyErrors.h"
#include "keys/KeyReader.h"
#include "keys/SshBuffer.h"

namespace quillon {

namespace {
constexpr const char* kPpkUnreadable = "Could not read PPK key";
constexpr const char* kPpkPassword = "Could not read PPK key, password incorrect";
// Argon2 costs beyond these are refused: a file must not make the reader take a gigabyte.
constexpr uint32_t kMaxArgon2MemoryKiB = 1u << 20;
constexpr uint32_t kMaxArgon2Passes = 1000;
constexpr uint32_t kMaxArgon2Lanes = 64;
constexpr int kMaxBlobLines = 4096;

struct PpkFile {
  bool version3 = false;
  BufStr algorithm;  // behind the colon of the first line (version 3 MAC)
  BufStr scheme;     // "none" or "aes256-cbc"
  BufStr comment;    // version 3 MAC
  BufStr publicBlob; // base64 until decoded
  BufStr privateBlob;
  BufStr mac; // hex
  BufStr kdf; // "Argon2id", "Argon2i" or "Argon2d"
  uint32_t memory = 0, passes = 0, lanes = 0;
  BufStr salt; // hex
  bool havePublic = false, havePrivate = false, haveScheme = false;
};

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && static_cast<signed char>(text.front()) <= 32)
    text.remove_prefix(1);
  while (!text.empty() && static_cast<signed char>(text.back()) <= 32)
    text.remove_suffix(1);
  return text;
}

std::string_view TakeLine(std::string_view& rest) {
  const size_t lf = rest.find('\n');
  const std::string_view line = rest.substr(0, lf);
  rest.remove_prefix(lf == std::string_view::npos ? rest.size() : lf + 1);
  return line;
}

std::string_view AfterColon(std::string_view line) {
  const size_t colon = line.find(':');
  return Trimmed(colon == std::string_view::npos ? line : line.substr(colon + 1));
}

uint32_t Decimal(std::string_view text) {
  BufStr20 copy(text);
  return static_cast<uint32_t>(ParseDec64(copy.c_str()));
}

// Version 3 counts its lines; false when fewer stand in the text.
bool TakeLines(std::string_view& rest, uint32_t count, BufStrBase& out) {
  if (count > kMaxBlobLines) return false;
  for (uint32_t i = 0; i < count; ++i) {
    if (rest.empty()) return false;
    out.Append(Trimmed(TakeLine(rest)));
  }
  return true;
}

// Fills `file`; false when a part is missing.
bool ParsePpk(std::string_view rest, PpkFile& file) {
  const std::string_view first = Trimmed(TakeLine(rest));
  file.version3 = first.starts_with("PuTTY-User-Key-File-3:");
  file.algorithm.Assign(AfterColon(first));
  while (!rest.empty()) {
    const std::string_view raw = TakeLine(rest);
    const std::string_view line = Trimmed(raw);
    if (line.starts_with("Encryption")) {
      file.scheme.Assign(AfterColon(line));
      file.haveScheme = true;
    } else if (line.starts_with("Public-Lines") || line.starts_with("Private-Lines")) {
      const bool isPublic = line.starts_with("Public-Lines");
      BufStr& blob = isPublic ? file.publicBlob : file.privateBlob;
      if (file.version3) {
        if (!TakeLines(rest, Decimal(AfterColon(line)), blob)) return false;
      } else {
        const size_t end = rest.find(isPublic ? "Private-Lines" : "Private-MAC");
        if (end == std::string_view::npos) break;
        blob.Assign(rest.substr(0, end));
        rest.remove_prefix(end);
      }
      (isPublic ? file.havePublic : file.havePrivate) = true;
    } else if (file.version3) {
      const std::string_view value = AfterColon(line);
      if (line.starts_with("Comment:")) {
        // The MAC covers the comment as written, blanks inside and at the end included.
        std::string_view exact = raw.substr(raw.find(':') + 1);
        if (exact.starts_with(" ")) exact.remove_prefix(1);
        if (exact.ends_with("\r")) exact.remove_suffix(1);
        file.comment.Assign(exact);
      } else if (line.starts_with("Private-MAC"))
        file.mac.Assign(value);
      else if (line.starts_with("Key-Derivation"))
        file.kdf.Assign(value);
      else if (line.starts_with("Argon2-Memory"))
        file.memory = Decimal(value);
      else if (line.starts_with("Argon2-Passes"))
        file.passes = Decimal(value);
      else if (line.starts_with("Argon2-Parallelism"))
        file.lanes = Decimal(value);
      else if (line.starts_with("Argon2-Salt"))
        file.salt.Assign(value);
    }
    if (!file.version3 && file.haveScheme && file.havePublic && file.havePrivate) break;
  }
  return file.haveScheme && file.havePublic && file.havePrivate;
}

int Aes256CbcDecrypt(std::string_view key, std::string_view iv, BufStrBase& blob) {
  CipherContext cipher;
  cipher.algorithm = cipherAes;
  cipher.mode = modeCbc;
  cipher.padding = padNone;
  cipher.feedbackBits = 128;
  BufStr plain;
  int rc = cipher.SetKey(key.data(), static_cast<int>(key.size()), iv.data(),
                         static_cast<int>(iv.size()));
  if (rc == errNone) rc = cipher.Transform(blob.Data(), 0, blob.Length(), plain);
  return rc == errNone ? blob.Assign(plain) : rc;
}

// Version 2: SHA-1 of 00 00 00 00 and the passphrase, then of 00 00 00 01 and it, 32 bytes.
int Version2Key(std::string_view password, BufStrBase& key) {
  HashContext sha1;
  key.Clear();
  for (char counter = 0; counter < 2; ++counter) {
    const char prefix[4] = {0, 0, 0, counter};
    int rc = sha1.Init(digestSha1);
    if (rc == errNone) rc = sha1.Update(prefix, 4);
    if (rc == errNone) rc = sha1.Update(password);
    if (rc == errNone) rc = sha1.Final();
    if (rc == errNone) rc = key.Append(sha1.result);
    if (rc != errNone) return rc;
  }
  return key.Resize(32, nullptr);
}

int Argon2FlavourOf(std::string_view name) {
  if (name == "Argon2id") return argon2id;
  if (name == "Argon2i") return argon2i;
  if (name == "Argon2d") return argon2d;
  return -1;
}

// HMAC-SHA-256 over the fields as SSH strings, compared with the file's hex.
bool Version3MacMatches(const PpkFile& file, std::string_view macKey) {
  BufStr data, hex;
  for (const BufStr* field :
       {&file.algorithm, &file.scheme, &file.comment, &file.publicBlob, &file.privateBlob})
    if (SshBuffer::WriteString(data, field->View()) != errNone) return false;
  HmacContext mac;
  if (mac.SetKey(digestSha256, macKey.data(), static_cast<int>(macKey.size())) != errNone ||
      mac.Update(data.View()) != errNone || mac.Final() != errNone)
    return false;
  HexEncode(hex, mac.result.Data(), mac.result.Length());
  return SameNoCase(hex.View(), file.mac.View());
}
} // namespace

int KeyReader::ReadPpkKey(std::string_view text, std::string_view password, KeyMaterial& out) {
  BufStr copy;
  if (copy.Assign(text) != errNone) return errOutOfMemory;
  copy.Trim();
  if (!copy.StartsWith("PuTTY-User-Key-File-")) return errNotThisFormat;
  PpkFile file;
  if (!ParsePpk(copy.View(), file)) return Fail(errCertDecode, kPpkUnreadable);
  Base64Decode(file.publicBlob, false);
  Base64Decode(file.privateBlob, false);

  const bool encrypted = SameNoCase(file.scheme.View(), "aes256-cbc");
  if (!encrypted && !SameNoCase(file.scheme.View(), "none"))
    return Fail(errCertDecode, kPpkUnreadable);
  if (file.version3) {
    BufStr derived, salt;
    std::string_view macKey;
    if (encrypted) {
      const int flavour = Argon2FlavourOf(file.kdf.View());
      HexDecode(salt, file.salt.View());
      if (flavour < 0 || file.memory > kMaxArgon2MemoryKiB || file.passes > kMaxArgon2Passes ||
          file.lanes > kMaxArgon2Lanes ||
          Argon2Derive(flavour, file.memory, file.passes, file.lanes, password, salt.View(), 80,
                       derived) != errNone)
        return Fail(errCertDecode, kPpkUnreadable);
      if (Aes256CbcDecrypt(derived.View().substr(0, 32), derived.View().substr(32, 16),
                           file.privateBlob) != errNone)
        return Fail(errCertDecode, kPpkUnreadable);
      macKey = derived.View().substr(48, 32);
    }
    if (!Version3MacMatches(file, macKey)) return Fail(errCertDecode, kPpkPassword);
  } else if (encrypted) {
    static const char kZeroIv[16] = {};
    BufStr key;
    if (Version2Key(password, key) != errNone ||
        Aes256CbcDecrypt(key.View(), std::string_view(kZeroIv, 16), file.privateBlob) != errNone)
      return Fail(errCertDecode, kPpkUnreadable);
  }
  return PpkToBlob(file.publicBlob.View(), file.privateBlob.View(), out);
}

int KeyReader::PpkToBlob(std::string_view publicBlob, std::string_view privateBlob,
                         KeyMaterial& out) {
  SshBuffer publicReader(publicBlob);
  SshBuffer privateReader(privateBlob);
  std::string_view keyType;
  BufStr inner;
  int rc = publicReader.ReadString(keyType);
  if (rc == errNone && keyType == "ssh-rsa") {
    std::string_view e, n, d, p, q, iqmp;
    rc = publicReader.ReadString(e);
    if (rc == errNone) rc = publicReader.ReadString(n);
    for (std::string_view* target : {&d, &p, &q, &iqmp})
      if (rc == errNone) rc = privateReader.ReadString(*target);
    if (rc == errNone) rc = SshBuffer::WriteU32(inner, 0);
    if (rc == errNone) rc = SshBuffer::WriteMpint(inner, e);
    for (std::string_view number : {d, n, iqmp, q, p})
      if (rc == errNone) rc = SshBuffer::WriteMpint(inner, StripLeadingZeros(number));
    if (rc == errNone) rc = RsaSsh2ToBlob(inner.View(), out);
  } else if (rc == errNone && keyType == "ssh-dss") {
    out.kind = keyDssBlob;
    std::string_view p, q, g, y, x;
    for (std::string_view* target : {&p, &q, &g, &y})
      if (rc == errNone) rc = publicReader.ReadString(*target);
    if (rc == errNone) rc = privateReader.ReadString(x);
    if (rc == errNone) rc = SshBuffer::WriteU32(inner, 0);
    if (rc == errNone) rc = SshBuffer::WriteU32(inner, 0);
    for (std::string_view number : {p, g, q, y, x})
      if (rc == errNone) rc = SshBuffer::WriteMpint(inner, StripLeadingZeros(number));
    if (rc == errNone) rc = DsaSsh2ToBlob(inner.View(), out);
  } else if (rc == errNone && keyType.starts_with("ecdsa-sha2-")) {
    // Public: the curve's name and the point; private: the scalar as an mpint.
    std::string_view curveName, point, scalar;
    rc = publicReader.ReadString(curveName);
    if (rc == errNone) rc = publicReader.ReadString(point);
    if (rc == errNone) rc = privateReader.ReadString(scalar);
    if (rc == errNone) rc = SshEcKeyToPkcs8(keyType, curveName, point, scalar, out);
  } else if (rc == errNone && keyType == "ssh-ed25519") {
    // Private: the 32-byte seed as a string.
    std::string_view seed;
    rc = privateReader.ReadString(seed);
    if (rc == errNone) rc = Ed25519SeedToPkcs8(seed, out);
  } else {
    rc = errCertDecode;
  }
  if (rc == errNone) return errNone;
  out.Clear();
  return Fail(errCertDecode, kPpkPassword);
}

} // namespace quillon
