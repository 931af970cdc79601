// The reading operations and the one exchange they share.
//
//   QueryService: root [/ResourcePath] [?OtherQueryOptions] [&$filter=..] [&$orderby=..]
//                 [&$select=..] [&$skip=..] [&$top=..] [&$skiptoken=..]
//   GetSchema:    root [/$metadata] [?OtherQueryOptions]
//   CustomRequest: the caller's URL exactly
//
// A ResourcePath that is itself an absolute URL (an edit link as services give them) is the
// whole request URL, sent as it stands.
//
// Option values are percent-encoded with the value table (a blank is %20, a quote %27), while
// OtherQueryOptions keeps its '=', '&', '$' and '/'. RunRequest hands the URL to the HTTP link,
// then reads the body: a failed status becomes 151 or 902, a good one goes to DispatchResponse.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"
#include "http/HttpErrors.h"
#include "odata/ODataErrors.h"

#include <cctype>

namespace quillon {

int QuillonCore::AppendPath(BufStrBase& url, std::string_view text, bool encode) {
  if (text.empty()) return errNone;
  if (!url.EndsWith("/"))
    if (int rc = url.AppendChar('/'); rc != errNone) return rc;
  return encode ? UrlEncodeTo(url, text, UrlSafeValue) : url.Append(text);
}

int QuillonCore::AppendQuery(BufStrBase& url, std::string_view text, bool encode) {
  if (text.empty()) return errNone;
  if (int rc = url.AppendChar(url.Find("?") < 0 ? '?' : '&'); rc != errNone) return rc;
  return encode ? UrlEncodeTo(url, text, UrlSafeQuery) : url.Append(text);
}

bool QuillonCore::IsAbsoluteUrl(std::string_view text) {
  size_t i = 0;
  for (; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    const bool schemeChar =
        std::isalpha(c) || (i > 0 && (std::isdigit(c) || c == '+' || c == '-' || c == '.'));
    if (!schemeChar) break;
  }
  return i > 0 && text.substr(i).starts_with("://");
}

int QuillonCore::ComposeResourceUrl(BufStrBase& url, bool& absolute) {
  absolute = IsAbsoluteUrl(ResourcePath.View());
  if (absolute) return url.Assign(ResourcePath);
  const int rc = url.Assign(ServiceRootURI);
  return rc ? rc : AppendPath(url, ResourcePath.View(), encodeResourcePath != 0);
}

int QuillonCore::QueryService() {
  if (ServiceRootURI.IsEmpty())
    return Fail(errNoServiceRoot, "The ServiceRootURI must be set before do action.");
  struct Option {
    const char* name;
    const BufStrBase& value;
  };
  const Option options[] = {
      {"$filter=", QueryFilter}, {"$orderby=", QueryOrderBy}, {"$select=", QuerySelect},
      {"$skip=", QuerySkip},     {"$top=", QueryTop},         {"$skiptoken=", QuerySkipToken},
  };
  BufStr url;
  bool absolute = false;
  int rc = ComposeResourceUrl(url, absolute);
  if (!absolute) rc = rc ? rc : AppendQuery(url, OtherQueryOptions.View(), true);
  for (const Option& option : options) {
    if (rc || absolute || option.value.IsEmpty()) continue;
    rc = AppendQuery(url, option.name, false);
    rc = rc ? rc : UrlEncodeTo(url, option.value.View(), UrlSafeValue);
  }
  if (rc) return DescribeError(rc);
  return RunRequest(actGet, url.Data(), nullptr, 0);
}

int QuillonCore::GetSchema() {
  if (ServiceRootURI.IsEmpty())
    return Fail(errNoServiceRoot, "The ServiceRootURI must be set before get schema.");
  BufStr url;
  int rc = url.Assign(ServiceRootURI);
  if (!rc && url.Find("$metadata") < 0) rc = AppendPath(url, "$metadata", false);
  rc = rc ? rc : AppendQuery(url, OtherQueryOptions.View(), true);
  if (rc) return DescribeError(rc);
  return RunRequest(actGet, url.Data(), nullptr, 0);
}

int QuillonCore::CustomRequest(const char* httpMethod, const char* url, const char* postData) {
  BufStr20 method;
  if (method.Assign(httpMethod && *httpMethod ? httpMethod : "GET") != errNone)
    return DescribeError(errOutOfMemory);
  method.ToUpper();

  struct MethodRow {
    const char* name;
    int action;
  };
  static constexpr MethodRow kMethods[] = {
      {"GET", actGet}, {"DELETE", actDelete}, {"HEAD", actHead}, {"POST", actPost}, {"PUT", actPut},
  };
  int action = -1;
  for (const MethodRow& row : kMethods)
    if (method.View() == row.name) action = row.action;
  if (action < 0) {
    // MERGE travels with its body by the PUT path; any other method without one by the GET
    // path. Either way the method's name goes out through HTTPMethod, which stays set.
    action = method.View() == "MERGE" ? actPut : actGet;
    if (HTTPMethod.Assign(method) != errNone) return DescribeError(errOutOfMemory);
  }
  const int bodyLength = postData ? static_cast<int>(std::strlen(postData)) : 0;
  return RunRequest(action, url, postData, bodyLength);
}

int QuillonCore::RunRequest(int action, const char* url, const char* body, int bodyLength) {
  FollowRedirects = 1;
  if (int rc = SetURL(url, 0); rc != errNone) return rc;
  if (PostData.Assign(body, body ? bodyLength : 0) != errNone) return DescribeError(errOutOfMemory);
  if (!userHeaders.IsEmpty() && OtherHeaders.Append(userHeaders) != errNone)
    return DescribeError(errOutOfMemory);

  const int rc = RunAction(action);
  OtherHeaders.Resize(0, nullptr);
  // A response cut short is never read, nor taken for the service's words.
  if (rc != errNone && responseCut) return rc;

  // The body is read where it lies: three leading bytes EF BB BF and the blanks and controls at
  // both ends (bytes from 0x80 up among them) are not part of it.
  std::string_view reply = TransferredData.View();
  if (reply.starts_with("\xEF\xBB\xBF")) reply.remove_prefix(3);
  while (!reply.empty() && static_cast<signed char>(reply.front()) <= 32)
    reply.remove_prefix(1);
  while (!reply.empty() && static_cast<signed char>(reply.back()) <= 32)
    reply.remove_suffix(1);

  if (rc != errNone) {
    if (reply.empty()) return rc;
    if (rc == errHttpStatus && StatusCode >= 400 && StatusCode <= 499) return rc;
    lastError.Assign(reply);
    return errServiceError;
  }
  if (reply.empty()) return errNone;
  if (int begin = BeginResponse(); begin != errNone) return begin;
  return ReadResponse(parser.Parse(reply));
}

} // namespace quillon
