// One action of the HTTP link from its start to its end:
//
//   RunAction -> SendBodilessRequest | SendRequestWithBody -> ComposeRequest (connect, head)
//             -> WaitForResponse (the response reader runs inside the wait steps)
//             -> EvaluateResponse -> result | RunAction again (auth leg, redirect)
//
// With a negative Timeout the action only starts the connection; OnConnected sends the request
// and the response arrives through events while the host pumps its loop.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

namespace quillon {

int HttpClient::SetURL(const char* url, int isRedirect) {
  const int32_t oldPort = URLPort;
  BufStr20 oldServer;
  BufStr20 scheme, host, user, password;
  BufStr path;
  if (oldServer.Assign(URLServer) != errNone) return DescribeError(errOutOfMemory);
  if (!url || !*url) {
    URL.Clear();
    URLPath.Clear();
    User.Clear();
    Password.Clear();
    URLServer.Clear();
    URLScheme.Assign(DefaultScheme);
    URLPort = DefaultPort;
    return errNone;
  }
  int32_t port;
  if (isRedirect) {
    if (scheme.Assign(URLScheme) || host.Assign(URLServer) || path.Assign(URLPath))
      return DescribeError(errOutOfMemory);
    port = URLPort;
    if (!AllowIdenticalRedirectURL && URL.View() == url) {
      Disconnect();
      return Fail(errHttpStatus, "Attempting to redirect to identical URL.  Aborting connection.");
    }
    if (RedirectsLeft <= 0) {
      Disconnect();
      return Fail(errTooManyRedirects, "There were too many redirects.");
    }
    --RedirectsLeft;
  } else {
    const std::string_view text(url);
    if (text.starts_with("http:")) DefaultPort = 80;
    if (text.starts_with("https:")) DefaultPort = 443;
    port = DefaultPort;
    if (scheme.Assign(DefaultScheme) != errNone) return DescribeError(errOutOfMemory);
    RedirectsLeft = MaxRedirectAttempts;
  }

  int rc = URL.Assign(url);
  if (rc == errNone) rc = SplitURL(url, scheme, host, path, port, user, password, isRedirect);
  if (rc == errNone) rc = URLPath.Assign(path);
  if (rc == errNone && scheme.IsEmpty()) rc = scheme.Assign(URLScheme);
  if (rc == errNone && host.IsEmpty()) rc = host.Assign(URLServer);
  if (port == 0) port = URLPort;
  if (rc == errNone) {
    if (!SameNoCase(scheme.View(), URLScheme.View()) ||
        !SameNoCase(host.View(), URLServer.View()) || port != URLPort)
      Disconnect();
    ResetDigestState(serverDigest);
    ResetDigestState(proxyDigest);
    ServerToken.Clear();
    ProxyServerToken.Clear();
    rc = URLScheme.Assign(scheme);
  }
  if (rc == errNone) rc = URLServer.Assign(host);
  URLPort = port;
  const bool named = !user.IsEmpty() || !password.IsEmpty();
  if (rc == errNone && (named || (isRedirect && FollowRedirects != 1))) {
    rc = User.Assign(user);
    if (rc == errNone) rc = Password.Assign(password);
  }
  if (rc == errNone) rc = FormAuthorization();
  if (rc == errNone) rc = FormProxyAuthorization();
  AuthAttempts = 0;
  ProxyAuthAttempts = 0;
  if (rc == errNone && !isRedirect &&
      (port != oldPort || !SameNoCase(URLServer.View(), oldServer.View())))
    rc = ClearCookiesOnUrlChange();
  if (rc != errNone) {
    BufStr text;
    DescribeError(rc);
    text.Assign(lastError);
    Disconnect();
    if (lastError.IsEmpty()) lastError.Assign(text);
  }
  return rc;
}

int HttpClient::RunAction(int action) {
  if (CurrentAction != 0 && action != actInterrupt)
    return Fail(errBusy, "Busy performing current action.");
  ArmDeadline();
  ResetDecoder();
  if (CurrentAction != 0) interruptRequested = false;
  ClearLastError();
  StatusLine.Clear();
  StatusCode = 0;
  ResponseVersion.Clear();
  StatusDescription.Clear();
  Location.Clear();
  RequestLength = 0;
  ResponseChunked = 0;
  ChunkRemaining = 0;
  ResponseDone = 0;
  if (action == actInterrupt) {
    if (CurrentAction != 0) {
      RequestInterrupt();
      CurrentAction = 0;
      Disconnect();
    }
    return errNone;
  }

  CurrentAction = static_cast<uint8_t>(action);
  // A close that the server sent while the connection was idle is taken in now, without
  // waiting, so that the request below connects anew instead of writing into a dead socket.
  if (KeepAlive && IsConnected()) {
    droppingEarlier = true;
    WaitStep(0, windowHandle);
    droppingEarlier = false;
  }
  int rc = DispatchAction(action);

  BufStr saved;
  saved.Assign(lastError);
  // Events still pending (a close after the response, say) run now; the steps end as soon as
  // one finds nothing to deliver.
  if (action != actReset && GetTimeout() >= 0)
    for (int i = 0; i < 100; ++i) {
      const uint32_t delivered = eventsDelivered;
      WaitStep(0, windowHandle);
      if (eventsDelivered == delivered) break;
    }
  if (wasInterrupted) {
    rc = errInterrupted;
    wasInterrupted = false;
  }
  CurrentAction = 0;
  if (lastError.IsEmpty() && !saved.IsEmpty()) lastError.Assign(saved);
  return rc;
}

int HttpClient::DispatchAction(int action) {
  const char* own = nullptr;
  switch (action) {
  case actGet:
    own = "GET";
    break;
  case actHead:
    own = "HEAD";
    break;
  case actDelete:
    own = "DELETE";
    break;
  case actPost:
    own = "POST";
    break;
  case actPut:
    own = "PUT";
    break;
  case actReset:
    TransferredData.Clear();
    GetOn302Redirect = 0;
    ResetHttpState();
    return errNone;
  default:
    return errNone;
  }
  const char* method = HTTPMethod.IsEmpty() ? own : HTTPMethod.Data();
  if (action == actPost || action == actPut) return SendRequestWithBody(method, 0);
  return SendBodilessRequest(method);
}

int HttpClient::WaitForResponse() {
  if (!IsConnected() || GetTimeout() < 0 || asyncSending) return errNone;
  lastDisconnectStatus = 0;
  // A response that was over before the wait started (the server answered during the upload)
  // is not waited for again.
  if (ResponseDone) return errNone;
  for (;;) {
    if (!WaitStep(static_cast<uint32_t>(selectWaitMillis), windowHandle)) return errInterrupted;
    if (ResponseDone) return errNone;
    if (responseError != 0) return responseError;
    if (!IsConnected() || lastDisconnectStatus != 0) return lastDisconnectStatus;
  }
}

void HttpClient::OnConnected(int status) {
  TransferPort::OnConnected(status);
  if (status != 0 || GetTimeout() >= 0 || CurrentAction != 0) return;
  // The asynchronous mode: the connection is up, the request goes now, with a limit of its own
  // on the sending.
  const int kept = GetTimeout();
  SetTimeout(10, false);
  ArmDeadline();
  asyncSending = true;
  BufStr20 method;
  method.Assign(RequestMethod);
  const int rc = PostData.IsEmpty() ? SendBodilessRequest(method.Data())
                                    : SendRequestWithBody(method.Data(), 0);
  asyncSending = false;
  if (rc != errNone) ErrorEvent(rc, lastError.Data());
  SetTimeout(kept, false);
}

void HttpClient::ResetHttpState() {
  for (BufStrBase* text : {static_cast<BufStrBase*>(&URL),
                           static_cast<BufStrBase*>(&URLServer),
                           static_cast<BufStrBase*>(&URLPath),
                           static_cast<BufStrBase*>(&PostData),
                           static_cast<BufStrBase*>(&ContentType),
                           static_cast<BufStrBase*>(&User),
                           static_cast<BufStrBase*>(&Password),
                           static_cast<BufStrBase*>(&Authorization),
                           static_cast<BufStrBase*>(&ProxyUser),
                           static_cast<BufStrBase*>(&ProxyPassword),
                           static_cast<BufStrBase*>(&ProxyAuthorization),
                           static_cast<BufStrBase*>(&ServerToken),
                           static_cast<BufStrBase*>(&ProxyServerToken),
                           static_cast<BufStrBase*>(&Accept),
                           static_cast<BufStrBase*>(&From),
                           static_cast<BufStrBase*>(&IfModifiedSince),
                           static_cast<BufStrBase*>(&Referer),
                           static_cast<BufStrBase*>(&Pragma),
                           static_cast<BufStrBase*>(&OtherHeaders),
                           static_cast<BufStrBase*>(&StatusLine)})
    text->Clear();
  ResetDigestState(serverDigest);
  ResetDigestState(proxyDigest);
  AttachedFile.Clear();
  LocalFile.Clear();
  ParsedHeaders.Clear();
  Cookies.Clear();
  URLScheme.Assign(DefaultScheme);
  URLPort = DefaultPort;
  ResetDecoder();
}

} // namespace quillon
