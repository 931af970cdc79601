// The OpenSSL side of the provider's handles, shared by the provider's own files only.
#pragma once

#include "platform/TlsProvider.h"

#include <openssl/evp.h>
#include <openssl/ssl.h>

namespace quillon::platform {

class TlsCredentials {
public:
  SSL_CTX* ctx = nullptr;
  bool hasClientCertificate = false;
  SSL_SESSION* session = nullptr; // the latest session the server gave, for resumption
  char sessionHost[256] = {};     // the name it was given for
};

struct TlsContextImpl {
  SSL* ssl = nullptr;
  BIO* in = nullptr;  // records from the peer
  BIO* out = nullptr; // what goes to the peer
  TlsCredentials* credentials = nullptr;
  char* tokenBuffer = nullptr; // the latest token
  int tokenCapacity = 0;
  char* held = nullptr; // plain text read while a new handshake ran, for the next Decrypt
  int heldLength = 0;
  int heldCapacity = 0;
  unsigned char* derBuffer = nullptr; // the latest certificate that PeerCertificate encoded
  bool certificateRequested = false;  // a certificate request came and we have none to give
  bool established = false;           // the first handshake has ended
  bool helloRequested = false;        // a hello request came after the handshake
  bool alertPending = false;          // the write BIO holds a refusal of renegotiation
  char serverName[256] = {}; // the name the context was made for; an address goes without SNI
  unsigned char binding[32 + EVP_MAX_MD_SIZE] = {};
  int bindingLength = 0;
};

} // namespace quillon::platform
