// Fourth link of the engine's chain: the TLS channel over the port, and the operations that carry
// connection events (Connected, Disconnected, Error, SSLStatus, SSLServerAuthentication) to the
// event sink.
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

  // Events to the host
  virtual void ConnectedEvent(int statusCode, const char* description);
  virtual void DisconnectedEvent(int statusCode, const char* description);
  virtual void ErrorEvent(int errorCode, const char* description);
  virtual void SSLStatusEvent(const char* message);
  // Returns the host's verdict; `accept` is what the engine proposes.
  virtual bool SSLServerAuthenticationEvent(const char* certEncoded, int certLength,
                                            const char* certSubject, const char* certIssuer,
                                            const char* status, bool accept);
};

} // namespace quillon
