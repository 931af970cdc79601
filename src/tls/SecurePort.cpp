// The secure link's settings, its Config keys, the switch between the plain and the secure mode
// of the record buffers, and the events of the component. With TLS on, records are cut from
// plainBuffer (the decrypted stream) and lineBuffer only collects what recv gives.
#include "tls/SecurePort.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "frame/Text.h"
#include "net/NetErrors.h"

namespace quillon {

namespace {
constexpr uint32_t kRawBufferSize = 2048;
// What one recv may bring under TLS: two records of the largest size, so that a record rarely
// needs more than one read.
constexpr uint32_t kSecureReadSize = 2 * (16384 + 2048 + 5);
} // namespace

SecurePort::SecurePort() {
  sslProvider.Assign(platform::kTlsPackageName);
  plainBuffer.Resize(kRawBufferSize);
}

SecurePort::~SecurePort() {
  EndContext();
  FreeCredentials();
}

int SecurePort::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  const bool get = request.isGet;
  const char* value = request.value.Data();
  struct FlagRow {
    const char* key;
    bool SecurePort::*field;
  };
  static constexpr FlagRow flags[] = {
      {"ParseSSLServerCert", &SecurePort::parseServerCert},
      {"UseDefaultCredentials", &SecurePort::useDefaultCredentials},
      {"ReuseSSLSession", &SecurePort::reuseSSLSession},
      {"SSLIncludeCertChain", &SecurePort::includeCertChain},
      {"GracefullyShutDownSSL", &SecurePort::gracefullyShutDownSSL},
  };
  for (const FlagRow& row : flags)
    if (EqualsNoCase(name, row.key)) {
      if (get) return ReturnFlag(result, this->*row.field);
      this->*row.field = IsTrueText(value);
      return errNone;
    }
  struct TextRow {
    const char* key;
    BufStr SecurePort::*field;
  };
  static constexpr TextRow texts[] = {
      {"ALPNExtension", &SecurePort::alpnList},
      {"SSLProvider", &SecurePort::sslProvider},
      {"SSLAlgorithmList", &SecurePort::sslAlgorithmList},
  };
  for (const TextRow& row : texts)
    if (EqualsNoCase(name, row.key)) {
      if (get) return ReturnText(result, this->*row.field);
      return (this->*row.field).Assign(value);
    }
  struct NumberRow {
    const char* key;
    uint32_t SecurePort::*field;
  };
  static constexpr NumberRow numbers[] = {
      {"SSLCipherStrength", &SecurePort::sslCipherStrength},
      {"SSLSecurityFlags", &SecurePort::sslSecurityFlags},
      {"SSLEnabledProtocols", &SecurePort::sslEnabledProtocols},
  };
  for (const NumberRow& row : numbers)
    if (EqualsNoCase(name, row.key)) {
      if (get) return ReturnUnsigned(result, this->*row.field);
      this->*row.field = static_cast<uint32_t>(ParseConfigNumber(value));
      return errNone;
    }
  if (EqualsNoCase(name, "SSLEnableRenegotiation")) {
    if (get) return ReturnFlag(result, sslEnableRenegotiation != 0);
    sslEnableRenegotiation = IsTrueText(value) ? 1 : 0;
    return errNone;
  }
  return PortClient::Config(request, result);
}

int SecurePort::SetSecureEnabled(bool enable) {
  secureWanted = enable;
  return ApplySecureMode(enable);
}

int SecurePort::ApplySecureMode(bool enable) {
  if (secureEnabled == enable) return errNone;
  LineBuffer& from = enable ? lineBuffer : plainBuffer;
  LineBuffer& to = enable ? plainBuffer : lineBuffer;
  if (to.Resize(from.capacity) != errNone ||
      to.SetTerminator(from.terminator, from.terminatorLength) != errNone)
    return Fail(errOutOfMemory, "Out of memory.");
  to.splitLines = from.splitLines;
  to.pendingLineEnd = 0;
  from.SetTerminator(nullptr, 0);
  from.splitLines = 0;
  from.Resize(enable ? kSecureReadSize : kRawBufferSize);
  secureEnabled = enable;
  recordOutProtected = recordInProtected = enable;
  if (!enable) sslState = 0;
  return errNone;
}

int SecurePort::SetMaxLineLength(uint32_t size) {
  if (!secureEnabled) return PortClient::SetMaxLineLength(size);
  ClearLastError();
  if (socketHandle != platform::kInvalidSocket)
    return Fail(errLineLengthBusy,
                "You cannot change MaxLineLength at this time. A connection is in progress.");
  return plainBuffer.Resize(size == 0 ? 1 : size);
}

uint32_t SecurePort::GetMaxLineLength() {
  return secureEnabled ? plainBuffer.capacity : lineBuffer.capacity;
}

int SecurePort::OnSocketClosed() {
  EndContext();
  sslState = 0;
  handshaking = 0;
  secureInput.Clear();
  secureOutQueue.Clear();
  plainOverflow.Clear();
  // The channel may have turned TLS off for the rest of its connection; the next one is as the
  // upper link asked.
  if (secureEnabled != secureWanted) ApplySecureMode(secureWanted);
  if (secureEnabled) recordOutProtected = recordInProtected = true;
  return PortClient::OnSocketClosed();
}

int SecurePort::SetClientCertificate(const char* pkcs12, int length) {
  if (!pkcs12 || length <= 0) {
    clientCertificate.Clear();
    return errNone;
  }
  return clientCertificate.Assign(pkcs12, length);
}

void SecurePort::ReportError(int code, const char* text) {
  ErrorEvent(code, text);
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
