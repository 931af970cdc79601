// Result codes of the certificate and key readers. The DER codes 445 to 447 and the cipher codes
// 2001 to 2006 and 3001 come from crypto/CryptoErrors.h and pass through unchanged.
#pragma once

namespace quillon {

enum KeyError : int {
  errNoKeyProvider = 221,     // no key container could be had
  errCertStore = 271,         // the certificate store could not be opened, or no certificate made
  errCertDecode = 280,        // a certificate or key that does not read
  errStoreTypeRange = 380,    // "Value is out of range.": a store type from 18 up
  errKeyImportFallback = 306, // the key blob was refused and no other way was found
  errSshBufferEnd = 1080,     // a read past the end of an SSH buffer
  errNotThisFormat = 1424,    // the text is not in the format asked for; internal to the readers
};

} // namespace quillon
