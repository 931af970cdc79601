// Each event: convert the texts (an event whose text cannot be converted is dropped), call the
// host, and for SSLServerAuthentication read back its verdict. Nothing else is read back.
#include "surface/HostSink.h"

#include "frame/Errors.h"
#include "surface/ControlSurface.h"

#include <cstring>

namespace quillon {

template <class... Texts> bool HostSink::Convert(std::string* out, Texts... texts) {
  const char* list[] = {texts...};
  for (size_t i = 0; i < sizeof...(Texts); ++i)
    if (EngineToHost(out[i], list[i], codePage) != errNone) return false;
  return true;
}

void HostSink::Connected(int16_t* statusCode, const char* description) {
  std::string t[1];
  if (handler && Convert(t, description)) handler->Connected(*statusCode, t[0]);
}

void HostSink::Disconnected(int16_t* statusCode, const char* description) {
  std::string t[1];
  if (handler && Convert(t, description)) handler->Disconnected(*statusCode, t[0]);
}

void HostSink::EndTransfer(int16_t* direction) {
  if (handler) handler->EndTransfer(*direction);
}

void HostSink::Entity(const char* name) {
  std::string t[1];
  if (handler && Convert(t, name)) handler->Entity(t[0]);
}

void HostSink::Entry(const char* id, const char* title, const char* summary, const char* etag) {
  std::string t[4];
  if (handler && Convert(t, id, title, summary, etag)) handler->Entry(t[0], t[1], t[2], t[3]);
}

void HostSink::Error(int16_t* errorCode, const char* description) {
  std::string t[1];
  if (handler && Convert(t, description)) handler->Error(*errorCode, t[0]);
}

void HostSink::Header(const char* field, const char* value) {
  std::string t[2];
  if (handler && Convert(t, field, value)) handler->Header(t[0], t[1]);
}

void HostSink::Property(const char* name, const char* typeName, int32_t* nullable) {
  std::string t[2];
  if (handler && Convert(t, name, typeName)) handler->Property(t[0], t[1], *nullable != 0);
}

void HostSink::SetCookie(const char* name, const char* value, const char* expires,
                         const char* domain, const char* path, int32_t* secure) {
  std::string t[5];
  if (handler && Convert(t, name, value, expires, domain, path))
    handler->SetCookie(t[0], t[1], t[2], t[3], t[4], *secure != 0);
}

void HostSink::SSLServerAuthentication(const char* certEncoded, int32_t certLength,
                                       const char* certSubject, const char* certIssuer,
                                       const char* status, int32_t* accept) {
  std::string t[3];
  if (!handler || !Convert(t, certSubject, certIssuer, status)) return;
  const std::string cert(certEncoded, certLength > 0 ? static_cast<size_t>(certLength) : 0);
  bool verdict = *accept != 0;
  heldCert = cert;
  handler->SSLServerAuthentication(cert, t[0], t[1], t[2], verdict);
  heldCert = {};
  *accept = verdict ? 1 : 0;
}

void HostSink::SSLStatus(const char* message) {
  std::string t[1];
  if (handler && Convert(t, message)) handler->SSLStatus(t[0]);
}

void HostSink::StartTransfer(int16_t* direction) {
  if (handler) handler->StartTransfer(*direction);
}

void HostSink::Status(const char* httpVersion, int16_t* statusCode, const char* description) {
  std::string t[2];
  if (handler && Convert(t, httpVersion, description)) handler->Status(t[0], *statusCode, t[1]);
}

void HostSink::Transfer(int16_t* direction, int64_t* bytesTransferred, int16_t* percentDone,
                        const char* text, int32_t textLength) {
  if (!handler) return;
  const std::string piece(text, textLength > 0 ? static_cast<size_t>(textLength) : 0);
  heldText = piece;
  handler->Transfer(*direction, *bytesTransferred, *percentDone, piece);
  heldText = {};
}

} // namespace quillon
