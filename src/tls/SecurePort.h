// Fourth link of the engine's chain: the TLS channel between the port and everything above it,
// and the operations that carry connection events (Connected, Disconnected, Error, SSLStatus,
// SSLServerAuthentication) to the event sink. With secureEnabled false every operation takes the
// plain path, straight between the port and the link above.
#pragma once

#include "net/PortClient.h"
#include "platform/CertificateCheck.h"
#include "platform/TlsProvider.h"

#include <cstdint>

namespace quillon {

enum SecureError : int {
  errSecurityLibrary = 270,   // an operation of the provider is missing
  errCredentials = 273,       // the provider refused the credentials
  errChainBuild = 274,        // the certificate chain could not be built
  errChainPolicy = 275,       // the chain policy could not be run
  errHandshake = 276,         // handshake failure, refused certificate, close in the handshake
  errVerifyCertificate = 280, // the server's certificate did not pass the check
  errServerCertificate = 281, // no server certificate, or none in the handshake bytes
  errEncrypt = 283,           // a record could not be protected
  errDecrypt = 284,           // a record could not be opened
  errServerNameConversion = 285,
};

class SecurePort : public PortClient {
public:
  SecurePort();
  ~SecurePort() override;

  // Config
  int Config(ConfigRequest& request, const char** result) override;

  // Virtual operations of PortClient
  void OnPortConnected(int status) override;
  void OnPortDisconnected(int status) override;
  int OnPortData(char* bytes, int length, bool endOfRecord) override;
  void ReportError(int code, const char* text) override;
  void OnPortWritable() override;
  // `text` with the code's description ("OK" for 0) to ConnectionStatusEvent.
  void ReportStatus(const char* text, int code) override;
  int SetMaxLineLength(uint32_t size) override;
  uint32_t GetMaxLineLength() override;
  int OnSocketClosed() override;
  int ReadSocket(int mode) override;
  LineBuffer& RecordBuffer() override { return secureEnabled ? plainBuffer : lineBuffer; }

  // Virtual operations
  virtual void OnConnected(int status);
  virtual int OnData(char* bytes, int length, bool endOfRecord);
  virtual void OnDisconnected(int status);
  virtual void ConnectedEvent(int statusCode, const char* description);
  // The data operation of the link above: records (endOfRecord set) or pieces, in place; the
  // bytes may be changed, and two bytes behind them may be written.
  virtual int OnDataEvent(char*, int, bool) { return 0; }
  virtual void DisconnectedEvent(int statusCode, const char* description);
  virtual void ErrorEvent(int errorCode, const char* description);
  virtual void ReadyToSendEvent() {}
  // Connection progress texts; no event of the component carries them.
  virtual void ConnectionStatusEvent(const char*, int, const char*) {}
  virtual void SSLStatusEvent(const char* message);
  // Returns the host's verdict; `accept` is what the engine proposes.
  virtual bool SSLServerAuthenticationEvent(const char* certEncoded, int certLength,
                                            const char* certSubject, const char* certIssuer,
                                            const char* status, bool accept);

  // Operations
  // Whether the next connection runs TLS; the upper link decides for each connection.
  int SetSecureEnabled(bool enable);
  // The connection entry of the links above: non-zero connects, zero disconnects; `errorCode`
  // names the failure that a disconnect reports.
  int SecureConnect(int connect, int errorCode);
  int Disconnect() { return SecureConnect(0, 0); }
  int SecureSend(const char* bytes, int length, int flags);
  // Protected bytes, in order behind those queued before.
  int SecureRawSend(const char* bytes, int length, int flags);
  int AcquireSecureCredentials(int direction);
  // With TLS on the channel is up only when the handshake has ended.
  bool IsConnected() const { return secureEnabled ? sslState == 2 : PortClient::IsConnected(); }
  // With TLS on this gates the delivery of plain text; the handshake reads on.
  int SetAcceptData(bool value);
  int SendCloseNotify(bool destroy);
  int SendAlert(int level, int number);
  // Without GracefullyShutDownSSL the channel just ends, with it close_notify goes out.
  void SecureShutdown();
  // Bytes of the caller's data that the latest SecureSend took.
  int LastSentCount() const {
    return secureEnabled && recordOutProtected ? secureSendCount : lastSendCount;
  }
  // The client certificate and its key, as DER PKCS#12 with an empty password; none clears.
  int SetClientCertificate(const char* pkcs12, int length);
  void* SecurityContextHandle() override { return contextHandle; }

  // Settings
  BufStr sslProvider;                  // SSLProvider: the package name
  BufStr sslAlgorithmList;             // SSLAlgorithmList: CALG_ names separated by ";"
  uint32_t sslEnabledProtocols = 4032; // SSLEnabledProtocols: protocol bits
  uint32_t sslCipherStrength = 40;     // SSLCipherStrength: minimum bits of the bulk cipher
  int32_t sslEnableRenegotiation = 1;  // SSLEnableRenegotiation
  uint32_t sslSecurityFlags = 0;       // SSLSecurityFlags: ignore bits; the top bit skips the name
  bool useDefaultCredentials = false;  // UseDefaultCredentials
  bool reuseSSLSession = false;        // ReuseSSLSession: keep the credentials across connections
  bool includeCertChain = false;       // SSLIncludeCertChain
  bool parseServerCert = false;        // ParseSSLServerCert: the early look at the certificate
  bool gracefullyShutDownSSL = false;  // GracefullyShutDownSSL: read by SecureShutdown only
  BufStr alpnList;                     // ALPNExtension: comma-separated protocol names
  BufStr clientCertificate;            // DER PKCS#12 of the client certificate; empty none
  BufStr serverName;                   // the host name the certificate is checked against

  // Channel state
  platform::TlsCredentials* credentialHandle = nullptr;
  platform::TlsContext* contextHandle = nullptr;
  struct SessionRecord {
    int direction = 0;
    BufStr clientCertificate;
    uint32_t protocols = 0;
    uint32_t strength = 0;
    BufStr algorithmList;
    BufStr provider;
    bool useDefaultCredentials = false;
    platform::TlsCredentials* handle = nullptr;
  } sessionRecord;             // what credentialHandle was acquired with
  BufStr secureInput;          // cipher text and handshake bytes not yet used
  BufStr secureOutQueue;       // protected bytes that send has not taken yet
  int32_t secureSendCount = 0; // plain bytes taken by the latest SecureSend
  uint32_t sslState = 0;       // 0 idle, 1 connecting, 2 established
  uint32_t handshaking = 0;    // the token loop runs (also during a renegotiation)
  int32_t handshakeError = 0;  // provider status of a failed handshake; -1 while unknown
  int streamHeaderSize = 0;
  int streamMaxMessage = 0;
  int streamTrailerSize = 0;
  char* sendBuffer = nullptr;      // header + maximum message + trailer; one record at a time
  int sendChunkSize = 0;           // largest plain chunk of one record
  LineBuffer plainBuffer;          // decrypted bytes, cut into records (the line buffer under TLS)
  BufStr plainOverflow;            // decrypted bytes waiting for room in plainBuffer
  bool acceptSecureData = true;    // the host takes plain text now
  bool recordOutProtected = false; // records to the peer are protected
  bool recordInProtected = false;  // records from the peer are protected
  bool secureWanted = false;       // TLS as the upper link asked for it
  BufStr serverCertEncoded;        // SSLServerCertEncoded: the certificate as the event saw it
  BufStr serverCertStatus;         // the event's Status text

protected:
  // "OK" for 0; otherwise lastError, filled from the socket error table when it is empty.
  const char* StatusDescription(int code);

private:
  // Moves the record rules between lineBuffer and plainBuffer; `secureEnabled` follows.
  int ApplySecureMode(bool enable);
  void FreeCredentials();
  void EndContext();
  int StartHandshake();
  // The steps of the read loop; non-zero when the loop should go round again.
  int HandshakeStep();
  int DecryptStep();
  // Ends the handshake: the judgement, the stream sizes, the channel up.
  int FinishHandshake();
  void DeliverPlain(const char* bytes, int length);
  // Sends a provider token and notes it in SSLStatus with `format` ("%d" the size).
  void SendToken(const platform::TlsToken& token, const char* format);
  // The judgement of the server's certificate at the end of the handshake; true to go on.
  bool JudgeServerCertificate();
  // The early look at a certificate in handshake bytes; false when the host refused it.
  bool EarlyLook(const char* token, int length);
  void RefuseCertificate();
  // Checks a certificate chain (DER, leaf first) and fills the texts of the event.
  int VerifyServerCertificate(const platform::DerBytes* chain, int count, BufStrBase& subject,
                              BufStrBase& issuer);
};

} // namespace quillon
