// Fourth link of the engine's chain: the TLS channel over the port, and the operations that carry
// connection events (Connected, Disconnected, Error, SSLStatus, SSLServerAuthentication) to the
// event sink. The channel itself is not built yet: every operation takes the plain path, straight
// between the port and the link above.
#pragma once

#include "net/PortClient.h"

#include <cstdint>

namespace quillon {

class SecurePort : public PortClient {
public:
  SecurePort() = default;
  ~SecurePort() override = default;

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
  // The connection entry of the links above: non-zero connects, zero disconnects.
  int SecureConnect(int connect, int errorCode);
  int Disconnect() { return SecureConnect(0, 0); }
  // Decides TLS for the next connection; the plain path only records the choice.
  int SetSecureEnabled(bool enable) {
    secureEnabled = enable;
    return 0;
  }
  int SecureSend(const char* bytes, int length, int flags);
  // Bytes of the caller's data that the latest SecureSend took.
  int LastSentCount() const { return lastSendCount; }

protected:
  // "OK" for 0; otherwise lastError, filled from the socket error table when it is empty.
  const char* StatusDescription(int code);
};

} // namespace quillon
