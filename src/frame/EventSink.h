// The receiver of the component's events. The engine calls SetCodePage with its code page before
// every event, then the event's operation. Operations come in the order of the event ids (1 is
// Connected, 14 is Transfer). Numbers and flags come by address, so that the receiver can write
// back (the Accept flag of SSLServerAuthentication); a missing text comes as "".
#pragma once

#include <cstdint>

namespace quillon {

class EventSink {
public:
  virtual void SetCodePage(int codePage) = 0;
  virtual void Connected(int16_t* statusCode, const char* description) = 0;    // 1
  virtual void Disconnected(int16_t* statusCode, const char* description) = 0; // 2
  virtual void EndTransfer(int16_t* direction) = 0;                            // 3
  virtual void Entity(const char* name) = 0;                                   // 4
  virtual void Entry(const char* id, const char* title, const char* summary,
                     const char* etag) = 0;                                             // 5
  virtual void Error(int16_t* errorCode, const char* description) = 0;                  // 6
  virtual void Header(const char* field, const char* value) = 0;                        // 7
  virtual void Property(const char* name, const char* typeName, int32_t* nullable) = 0; // 8
  virtual void SetCookie(const char* name, const char* value, const char* expires,
                         const char* domain, const char* path, int32_t* secure) = 0; // 9
  virtual void SSLServerAuthentication(const char* certEncoded, int32_t certLength,
                                       const char* certSubject, const char* certIssuer,
                                       const char* status, int32_t* accept) = 0; // 10
  virtual void SSLStatus(const char* message) = 0;                               // 11
  virtual void StartTransfer(int16_t* direction) = 0;                            // 12
  virtual void Status(const char* httpVersion, int16_t* statusCode,
                      const char* description) = 0; // 13
  virtual void Transfer(int16_t* direction, int64_t* bytesTransferred, int16_t* percentDone,
                        const char* text, int32_t textLength) = 0; // 14

protected:
  ~EventSink() = default;
};

// A text argument of an event: null goes out as "".
inline const char* EventText(const char* text) {
  return text ? text : "";
}

} // namespace quillon
