#include "tls/SecurePort.h"

namespace quillon {

int SecurePort::Config(ConfigRequest& request, const char** result) {
  return PortClient::Config(request, result);
}

void SecurePort::ConnectedEvent(int statusCode, const char* description) {
  if (EventSink* sink = SinkForEvent()) {
    int16_t code = static_cast<int16_t>(statusCode);
    sink->Connected(&code, EventText(description));
  }
}

void SecurePort::DisconnectedEvent(int statusCode, const char* description) {
  if (EventSink* sink = SinkForEvent()) {
    int16_t code = static_cast<int16_t>(statusCode);
    sink->Disconnected(&code, EventText(description));
  }
}

void SecurePort::ErrorEvent(int errorCode, const char* description) {
  if (EventSink* sink = SinkForEvent()) {
    int16_t code = static_cast<int16_t>(errorCode);
    sink->Error(&code, EventText(description));
  }
}

void SecurePort::SSLStatusEvent(const char* message) {
  if (EventSink* sink = SinkForEvent()) sink->SSLStatus(EventText(message));
}

bool SecurePort::SSLServerAuthenticationEvent(const char* certEncoded, int certLength,
                                              const char* certSubject, const char* certIssuer,
                                              const char* status, bool accept) {
  int32_t verdict = accept ? 1 : 0;
  if (EventSink* sink = SinkForEvent())
    sink->SSLServerAuthentication(EventText(certEncoded), certEncoded ? certLength : 0,
                                  EventText(certSubject), EventText(certIssuer), EventText(status),
                                  &verdict);
  return verdict != 0;
}

} // namespace quillon
