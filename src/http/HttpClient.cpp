// The HTTP link's initialisation, its Config handler and the event carriers. The transfer driver
// that composes, sends and reads an exchange is not part of this build yet: RunAction refuses
// every action that needs the network, clearly, instead of pretending.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
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

// The keys of authentication, cookies and decoding; the other settings of the link are still
// to come and pass down the chain.
int HttpClient::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  const std::string_view value = request.value.View();
  if (EqualsNoCase(name, "Authorization"))
    return request.isGet ? ReturnText(result, Authorization) : SetAuthorization(value);
  if (EqualsNoCase(name, "AllowHTTPCompression")) {
    if (request.isGet) return ReturnSigned(result, AllowHTTPCompression);
    AllowHTTPCompression = IsTrueText(value) ? 1 : 0;
    return errNone;
  }
  if (EqualsNoCase(name, "ProxyAuthScheme")) {
    if (request.isGet) return ReturnSigned(result, ProxyAuthScheme);
    return SetProxyAuthScheme(static_cast<int>(ParseConfigNumber(request.value.Data())));
  }
  if (EqualsNoCase(name, "ProxyUser"))
    return request.isGet ? ReturnText(result, ProxyUser) : SetProxyUser(value);
  if (EqualsNoCase(name, "ProxyPassword"))
    return request.isGet ? ReturnText(result, ProxyPassword) : SetProxyPassword(value);
  if (EqualsNoCase(name, "ProxyAuthorization"))
    return request.isGet ? ReturnText(result, ProxyAuthorization)
                         : ProxyAuthorization.Assign(value);
  if (EqualsNoCase(name, "DontClearCookiesOnUrlChange")) {
    if (request.isGet) return ReturnText(result, DontClearCookiesOnUrlChange ? "True" : "False");
    DontClearCookiesOnUrlChange = IsTrueText(value) ? 1 : 0;
    return errNone;
  }
  if (EqualsNoCase(name, "HttpCookies"))
    return request.isGet ? ReturnText(result, HttpCookies) : HttpCookies.Assign(value);
  if (int rc = ConfigSignOn(request, result); rc != errUnknownConfig) return rc;
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
  if (URL.Assign(url) != errNone) return errOutOfMemory;
  // Every new target starts a new authentication exchange. Splitting the URL, and with it the
  // clearing of cookies on a change of host or port, comes with the transfer driver.
  ResetDigestState(serverDigest);
  ResetDigestState(proxyDigest);
  ServerToken.Clear();
  ProxyServerToken.Clear();
  int rc = FormAuthorization();
  if (rc == errNone) rc = FormProxyAuthorization();
  AuthAttempts = 0;
  ProxyAuthAttempts = 0;
  return rc;
}

int HttpClient::RunAction(int action) {
  if (CurrentAction != 0 && action != actInterrupt)
    return Fail(errBusy, "Busy performing current action.");
  ClearLastError();
  ResetDecoder();
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
