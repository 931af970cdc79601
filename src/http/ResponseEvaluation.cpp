// What a response means once the wait is over: the result, one more leg of a challenge
// exchange (401 for the server, 407 for the proxy), or a redirect. Both turns run the action
// again from the top, nested; its result travels up as this one's.
//
//   nothing yet -> 0 (an upload goes on)    no status line at the close -> 10057
//   cut short -> 10057                      2xx, 101 -> the wait's result
//   401/407 with a challenge scheme -> one retry, the second -> 151
//   3xx with Location, allowed by FollowRedirects -> SetURL(Location) and again; else 151
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

namespace quillon {

namespace {
bool IsChallengeScheme(AuthSchemes scheme) {
  return scheme == authDigest || scheme == authNtlm || scheme == authNegotiate;
}
} // namespace

int HttpClient::EvaluateResponse(int result) {
  int action = CurrentAction;
  if (result == errInterrupted) {
    BufStr reason;
    reason.Assign(lastError);
    Disconnect();
    lastError.Assign(reason);
    return errInterrupted;
  }
  if (interruptRequested) return errInterrupted;
  if (!ResponseDone && StatusLine.IsEmpty()) return result;
  if (StatusLine.IsEmpty()) return Fail(errResponseCut, "Connection closed.");
  if (responseCut)
    return Fail(errResponseCut, "Connection closed before the whole response arrived.");
  if ((StatusCode >= 200 && StatusCode <= 299) || StatusCode == 101) return result;

  lastError.Assign("HTTP protocol error. ");
  lastError.AppendDecimal(StatusCode);
  lastError.AppendChar(' ');
  lastError.Append(StatusDescription);
  if (!lastError.EndsWith(".")) lastError.AppendChar('.');

  // The challenge turns. A scheme that needs no challenge (Basic) sent its answer at once.
  const bool server = StatusCode == 401 && IsChallengeScheme(AuthScheme);
  const bool proxy = StatusCode == 407 && IsChallengeScheme(ProxyAuthScheme);
  if (server || proxy) {
    int32_t& attempts = server ? AuthAttempts : ProxyAuthAttempts;
    if (attempts > 0) {
      attempts = 0;
      return errHttpStatus;
    }
    CurrentAction = 0;
    ++attempts;
    server ? FormAuthorization() : FormProxyAuthorization();
    return RunAction(action);
  }

  if (FollowRedirects == 0) return errHttpStatus;
  if (action != actGet && action != actPost && action != actHead && FollowRedirects != 1)
    return errHttpStatus;
  if (StatusCode < 300 || StatusCode > 399 || StatusCode == 304 || StatusCode == 305)
    return errHttpStatus;

  BufStr target, statusText;
  if (target.Assign(Location) || statusText.Assign(lastError)) return DescribeError(errOutOfMemory);
  bool allowed = FollowRedirects == 1;
  if (FollowRedirects == 2) {
    BufStr20 scheme, host, user, password;
    BufStr path;
    int32_t port = URLPort;
    const int32_t defaultPort = DefaultPort;
    if (scheme.Assign(URLScheme) || host.Assign(URLServer) || path.Assign(URLPath))
      return DescribeError(errOutOfMemory);
    if (int rc = SplitURL(target.Data(), scheme, host, path, port, user, password, 1); rc)
      return DescribeError(rc);
    DefaultPort = defaultPort;
    allowed = SameNoCase(scheme.View(), URLScheme.View());
  }
  if (int rc = SetURL(target.Data(), 1); rc != errNone) return rc;
  FireRedirect(target.Data(), allowed);
  if (!allowed) {
    lastError.Assign(statusText);
    return errHttpStatus;
  }
  for (int i = 0; i < 10; ++i)
    WaitStep(0, windowHandle);
  CurrentAction = 0;
  if (action == actPost && (StatusCode == 303 || (StatusCode == 302 && GetOn302Redirect)))
    action = actGet;
  return RunAction(action);
}

} // namespace quillon
