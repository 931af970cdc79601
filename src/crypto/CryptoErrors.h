// Result codes of the hashes, HMAC, PBKDF2 and the block cipher. Out of memory is the shared 200,
// which Pbkdf2 also gives for a request beyond its length limit.
#pragma once

namespace quillon {

enum CryptoError : int {
  errUnknownAlgorithm = 2001,  // a digest number or cipher algorithm that is not implemented
  errUnknownMode = 2002,       // a cipher mode, padding or feedback size that is not implemented
  errBlockLength = 2003,       // block-mode data whose length is no multiple of the block
  errPaddingLength = 2004,     // the padding named by the last byte is longer than the data
  errKeyLength = 2005,         // a key length the algorithm does not take
  errIvLength = 2006,          // an iv that is not exactly one block for CBC, CFB or OFB
  errDerHeader = 445,          // a DER header that did not fit the room reserved for it
  errDerMalformed = 446,       // a DER element with a bad header, or one reaching past its list
  errDerNoElement = 447,       // a DER list without an element at the index asked for
  errUnknownDigestName = 3001, // a digest name that key derivation does not know
};

} // namespace quillon
