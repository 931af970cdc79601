// The plain path of the secure link: port events become OnConnected, OnData and OnDisconnected,
// and these the events of the component.
#include "tls/SecurePort.h"

#include "net/NetErrors.h"

namespace quillon {

int SecurePort::Config(ConfigRequest& request, const char** result) {
  return PortClient::Config(request, result);
}

void SecurePort::OnPortConnected(int status) {
  ReportStatus(status != 0 ? "Remote host connection failed." : "Remote host connection complete.",
               status);
  OnConnected(status);
}

void SecurePort::OnPortDisconnected(int status) {
  ReportStatus("Remote host disconnected.", status);
  OnDisconnected(status);
}

int SecurePort::OnPortData(char* bytes, int length, bool endOfRecord) {
  return OnData(bytes, length, endOfRecord);
}

void SecurePort::ReportError(int code, const char* text) {
  ErrorEvent(code, text);
}

void SecurePort::OnPortWritable() {
  ReadyToSendEvent();
}

void SecurePort::ReportStatus(const char* text, int code) {
  ConnectionStatusEvent(text, code, StatusDescription(code));
}

void SecurePort::OnConnected(int status) {
  ConnectedEvent(status, StatusDescription(status));
}

int SecurePort::OnData(char* bytes, int length, bool endOfRecord) {
  return OnDataEvent(bytes, length, endOfRecord);
}

void SecurePort::OnDisconnected(int status) {
  DisconnectedEvent(status, StatusDescription(status));
}

int SecurePort::SecureConnect(int connect, int) {
  return PortConnect(connect);
}

int SecurePort::SecureSend(const char* bytes, int length, int flags) {
  return PortSend(bytes, length, flags, true);
}

const char* SecurePort::StatusDescription(int code) {
  if (code == 0) return "OK";
  // A tunnel failure sets its own text where it happens.
  if (lastError.IsEmpty() && code != errTunnelFailed) SetSocketErrorText(code);
  return lastError.Data();
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
