// The keys of password-protected key files: the legacy repeated hash of PEM and SSH2 files,
// PBKDF2 of PKCS#8, and the decryption of a key body with the key derived from the password.
#pragma once

#include "frame/BufStr.h"

#include <string_view>

namespace quillon {

// The working record of one derivation.
struct KeyDeriver {
  BufStr hashName{"MD5"}; // digest name; an "hmac" in it selects PBKDF2
  BufStr password;        // bytes as given, no conversion
  BufStr salt;            // at most 8 bytes, unless the caller asked for the whole salt
};

// `wantedBytes` of key from the deriver's password and digest into `out`. 3001 for a digest name
// that neither form knows, 200. With `passwordBeforePrevious` each legacy block hashes the
// password ahead of the block before it, as SSH2 files do; PEM files put the block first.
int DeriveKeyBytes(KeyDeriver& deriver, int iterations, std::string_view salt, int wantedBytes,
                   bool passwordBeforePrevious, BufStrBase& out);

// What DecryptKeyBody needs besides the data. Cipher names: "DES-EDE3-CBC", "3des-cbc",
// "DES-EDE3-CFB", "AES-128-CBC", and for PKCS#8 also "AES-192-CBC" and "AES-256-CBC".
struct KeyBodyCipher {
  std::string_view cipherName;
  std::string_view password;
  std::string_view salt;
  bool zeroIv = false;            // an iv of 8 zero bytes, as SSH2 files have
  const char* hashName = nullptr; // null keeps "MD5"
  int iterations = 0;
  const BufStrBase* iv = nullptr; // null takes the whole salt as iv, as PEM's DEK-Info has it
  bool wholeSalt = false;         // PKCS#8 keys derive from every byte of their salt
};

// Decrypts `data` in place; the padding stays. 2001 for an unknown cipher name, a code of the
// cipher (2003, 2006) or of DeriveKeyBytes.
int DecryptKeyBody(const KeyBodyCipher& cipher, BufStrBase& data);

} // namespace quillon
