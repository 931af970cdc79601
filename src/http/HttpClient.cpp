// The HTTP link's initialisation, its Config handler and the event carriers. The transfer driver
// that composes, sends and reads an exchange is not part of this build yet: RunAction refuses
// every action that needs the network, clearly, instead of pretending.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "http/HttpErrors.h"

namespace quillon {

HttpClient::HttpClient() {
  DefaultScheme.Assign("http");
  SchemeHttp.Assign("http");
  SchemeHttps.Assign("https");
  AcceptEncoding.Assign("gzip, deflate");
  UserAgent.Assign("Ambervale Tarnwick HTTP/S Component");
  HTTPVersion.Assign("1.1");
}

int HttpClient::Config(ConfigRequest& request, const char** result) {
  return TransferPort::Config(request, result);
}

int HttpClient::SetURL(const char* url, int isRedirect) {
  (void)isRedirect;
  if (!url || !*url) {
    URL.Resize(0, nullptr);
    URLPath.Resize(0, nullptr);
    User.Resize(0, nullptr);
    Password.Resize(0, nullptr);
    URLServer.Resize(0, nullptr);
    URLScheme.Assign(DefaultScheme);
    URLPort = DefaultPort;
    return errNone;
  }
  return URL.Assign(url) == errNone ? errNone : errOutOfMemory;
}

int HttpClient::RunAction(int action) {
  if (CurrentAction != 0 && action != actInterrupt)
    return Fail(errBusy, "Busy performing current action.");
  ClearLastError();
  StatusLine.Resize(0, nullptr);
  StatusCode = 0;
  StatusDescription.Resize(0, nullptr);
  ResponseVersion.Resize(0, nullptr);
  if (action == actInterrupt) return errNone;
  if (action == actReset) {
    TransferredData.Resize(0, nullptr);
    GetOn302Redirect = 0;
    return errNone;
  }
  return Fail(errNoTransport, "This build has no HTTP transport yet: the request was not sent.");
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
