// The TLS provider of the secure channel, over OpenSSL with memory BIOs: credentials, the
// handshake token loop, record protection, and what the provider knows of a connection. The
// engine hands cipher text in and takes tokens out; nothing here touches a socket.
#pragma once

#include <cstdint>

namespace quillon::platform {

// Provider statuses, with the numbers that the engine's texts and tests show.
enum TlsStatus : int32_t {
  tlsOk = 0,
  tlsContinueNeeded = 0x90312,        // the handshake needs another round
  tlsContextExpired = 0x90317,        // the peer closed its side (close_notify)
  tlsIncompleteCredentials = 0x90320, // the server asked for a certificate that we lack
  tlsRenegotiate = 0x90321,           // the server asked for a new handshake
  tlsIncompleteMessage = static_cast<int32_t>(0x80090318), // no whole record yet
  tlsInsufficientMemory = static_cast<int32_t>(0x80090300),
  tlsInternalError = static_cast<int32_t>(0x80090304),
  tlsPackageNotFound = static_cast<int32_t>(0x80090305),
  tlsInvalidToken = static_cast<int32_t>(0x80090308),
  tlsMessageAltered = static_cast<int32_t>(0x8009030F),
  tlsNoCredentials = static_cast<int32_t>(0x8009030E),
  tlsIllegalMessage = static_cast<int32_t>(0x80090326), // a peer's alert, or garbage
  tlsDecryptFailure = static_cast<int32_t>(0x80090330),
  tlsAlgorithmMismatch = static_cast<int32_t>(0x80090331), // nothing in common with the peer
  tlsUnsupportedFunction = static_cast<int32_t>(0x80090302),
};

// The protocol bits of the enabled-protocols mask (server and client bit of each version).
constexpr uint32_t kProtocolTls10 = 0xC0;
constexpr uint32_t kProtocolTls11 = 0x300;
constexpr uint32_t kProtocolTls12 = 0xC00;
constexpr uint32_t kProtocolTls13 = 0x3000;

// The provider's one package name; any other is unknown.
extern const char* const kTlsPackageName;

// What the credentials are acquired with.
struct TlsCredentialSettings {
  const char* package = nullptr; // must be kTlsPackageName
  uint32_t protocols = 0;        // mask of the protocol bits; 0 lets the provider choose
  uint32_t minimumCipherStrength = 0;
  const char* cipherList = nullptr; // an OpenSSL cipher list; null or "" the provider's own
  const unsigned char* clientPkcs12 = nullptr; // a client certificate and key, DER PKCS#12
  int clientPkcs12Length = 0;                  // with an empty password
};

class TlsCredentials;
// Acquires credentials; tlsOk with `out` set, or a failure status with `out` null.
int32_t TlsAcquireCredentials(const TlsCredentialSettings& settings, TlsCredentials*& out);
void TlsFreeCredentials(TlsCredentials* credentials);

// One output token of the provider: valid until the next call on the context.
struct TlsToken {
  const char* bytes = nullptr;
  int length = 0;
};

// What the provider tells of a connection, in the algorithm numbers of the connection info.
struct TlsConnectionInfo {
  uint32_t protocol = 0; // client bit of the negotiated version (0x800 TLS 1.2, 0x2000 TLS 1.3)
  uint32_t cipher = 0;
  int cipherStrength = 0;
  uint32_t hash = 0;
  int hashStrength = 0;
  uint32_t exchange = 0;
  int exchangeStrength = 0;
};

struct TlsContextImpl;

class TlsContext {
public:
  // A client context on `credentials`; `serverName` goes out in the name extension (not for an
  // address); `alpn` is the protocol list in its wire form. Null when out of memory.
  static TlsContext* Create(TlsCredentials& credentials, const char* serverName,
                            const unsigned char* alpn, int alpnLength);
  ~TlsContext();
  TlsContext(const TlsContext&) = delete;
  TlsContext& operator=(const TlsContext&) = delete;

  // One round of the handshake. The complete records at the head of `input` go in; `extra`
  // counts the bytes at its end that were not used. `token`, when not empty, goes to the peer.
  // tlsOk when the handshake is done, tlsContinueNeeded, tlsIncompleteMessage (nothing used),
  // or a failure; a failure may still leave an alert in `token`.
  int32_t Handshake(const char* input, int length, TlsToken& token, int& extra);
  // Protects the `length` plain bytes at `buffer + header` (at most maximum message) and writes
  // the record at `buffer`, `room` bytes at most; `recordLength` is its size.
  int32_t Encrypt(char* buffer, int header, int length, int room, int& recordLength);
  // Opens the record at the head of `input`, in place: `plain` is `input` on return, with
  // `plainLength` bytes, unless data held from a new handshake comes first (then nothing of
  // `input` is used). `extra` counts the bytes after what was used. `token`, when not empty,
  // goes to the peer (an answer to a key update, or an alert).
  int32_t Decrypt(char* input, int length, const char*& plain, int& plainLength, int& extra,
                  TlsToken& token);
  // Whether plain text waits in the provider for Decrypt.
  bool HoldsPlain() const;
  // Whether a server's request for a new handshake is followed (TLS 1.2).
  void AllowRenegotiation(bool allow);
  // close_notify, or the alert that the provider holds for a refused renegotiation, into
  // `token`. An alert that the provider does not hold gives tlsUnsupportedFunction.
  int32_t Shutdown(TlsToken& token);
  int32_t Alert(int level, int number, TlsToken& token);

  void StreamSizes(int& header, int& maximumMessage, int& trailer) const;
  int32_t ConnectionInfo(TlsConnectionInfo& info) const;
  // The server's certificates in DER, leaf first; 0 before the server sent them.
  int PeerCertificateCount() const;
  bool PeerCertificate(int index, const unsigned char*& der, int& length) const;
  // The "tls-unique" channel binding; false when there is none.
  bool ChannelBinding(const unsigned char*& bytes, int& length) const;
  // The protocol that ALPN chose, empty when none.
  void SelectedProtocol(const unsigned char*& name, int& length) const;

  TlsContextImpl* impl = nullptr;

private:
  TlsContext() = default;
};

} // namespace quillon::platform
