// The engine's event sink of a Quillon object: it turns each event's texts from the engine's
// code page into UTF-8 and calls the host's handler. While Transfer or SSLServerAuthentication
// runs it holds the event's bytes, which TransferTextB and SSLServerAuthenticationCertEncodedB
// show.
#pragma once

#include "frame/EventSink.h"
#include "quillon/QuillonEvents.h"

#include <string_view>

namespace quillon {

class HostSink final : public EventSink {
public:
  void SetHandler(QuillonEvents* newHandler) { handler = newHandler; }
  // The bytes of the running event; empty outside it.
  std::string_view HeldCert() const { return heldCert; }
  std::string_view HeldText() const { return heldText; }

  void SetCodePage(int newCodePage) override { codePage = newCodePage; }
  void Connected(int16_t* statusCode, const char* description) override;
  void Disconnected(int16_t* statusCode, const char* description) override;
  void EndTransfer(int16_t* direction) override;
  void Entity(const char* name) override;
  void Entry(const char* id, const char* title, const char* summary, const char* etag) override;
  void Error(int16_t* errorCode, const char* description) override;
  void Header(const char* field, const char* value) override;
  void Property(const char* name, const char* typeName, int32_t* nullable) override;
  void SetCookie(const char* name, const char* value, const char* expires, const char* domain,
                 const char* path, int32_t* secure) override;
  void SSLServerAuthentication(const char* certEncoded, int32_t certLength, const char* certSubject,
                               const char* certIssuer, const char* status,
                               int32_t* accept) override;
  void SSLStatus(const char* message) override;
  void StartTransfer(int16_t* direction) override;
  void Status(const char* httpVersion, int16_t* statusCode, const char* description) override;
  void Transfer(int16_t* direction, int64_t* bytesTransferred, int16_t* percentDone,
                const char* text, int32_t textLength) override;

private:
  // Converts each NUL-terminated text; false when one cannot be converted, and then the event
  // does not reach the host.
  template <class... Texts> bool Convert(std::string* out, Texts... texts);

  QuillonEvents* handler = nullptr; // the host's handler, not owned; null when none
  int codePage = 0;                 // the engine's code page for the event under way
  std::string_view heldCert;        // the certificate of the running SSLServerAuthentication
  std::string_view heldText;        // the text of the running Transfer
};

} // namespace quillon
