// The HTTP link's initialisation and the carriers of its events.
#include "http/HttpClient.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
constexpr int kSocketBufferSize = 262144;
constexpr uint32_t kMaxLineLength = 4000;
} // namespace

HttpClient::HttpClient() {
  DefaultScheme.Assign("http");
  SchemeHttp.Assign("http");
  SchemeHttps.Assign("https");
  AcceptEncoding.Assign("gzip, deflate");
  UserAgent.Assign("Ambervale Tarnwick HTTP/S Component");
  HTTPVersion.Assign("1.1");
  SetBufferSize(true, kSocketBufferSize);
  SetBufferSize(false, kSocketBufferSize);
  SetMaxLineLength(kMaxLineLength);
}

void HttpClient::FireHeader(const char* field, const char* value) {
  if (EventSink* sink = SinkForEvent()) sink->Header(EventText(field), EventText(value));
}

void HttpClient::FireSetCookie(const char* name, const char* value, const char* expires,
                               const char* domain, const char* path, bool secure) {
  if (EventSink* sink = SinkForEvent()) {
    int32_t flag = secure ? 1 : 0;
    sink->SetCookie(EventText(name), EventText(value), EventText(expires), EventText(domain),
                    EventText(path), &flag);
  }
}

void HttpClient::FireStatus(const char* httpVersion, int statusCode, const char* description) {
  if (EventSink* sink = SinkForEvent()) {
    int16_t code = static_cast<int16_t>(statusCode);
    sink->Status(EventText(httpVersion), &code, EventText(description));
  }
}

void HttpClient::FireStartTransfer(int direction) {
  if (EventSink* sink = SinkForEvent()) {
    int16_t value = static_cast<int16_t>(direction);
    sink->StartTransfer(&value);
  }
}

void HttpClient::FireTransfer(int direction, int64_t bytesTransferred, int percentDone,
                              const char* text, int textLength) {
  if (EventSink* sink = SinkForEvent()) {
    int16_t dir = static_cast<int16_t>(direction);
    int64_t bytes = bytesTransferred;
    int16_t percent = static_cast<int16_t>(percentDone);
    sink->Transfer(&dir, &bytes, &percent, EventText(text), text ? textLength : 0);
  }
}

void HttpClient::FireEndTransfer(int direction) {
  if (EventSink* sink = SinkForEvent()) {
    int16_t value = static_cast<int16_t>(direction);
    sink->EndTransfer(&value);
  }
}

} // namespace quillon
