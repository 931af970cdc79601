// SplitURL: a URL, or a reference relative to the parts passed in, broken into scheme, host,
// port, user, password and the path with its query as the request line carries it.
//
//   scheme ":" "//" [user [":" password] "@"] (host | "[" v6 "]") [":" port] path ["?" query]
//
// Only the parts the text names are written; a relative reference replaces the last step of
// the current path. With encoding on, the path keeps letters, digits and & * - . / @ _ and the
// query the same with = instead of /; every other byte becomes %XX.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

namespace {
constexpr UrlSafeTable MakeTable(std::string_view extra) {
  UrlSafeTable table{};
  for (int c = 32; c < 128; ++c) {
    const bool alnum = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    table[c - 32] = alnum || (c != 127 && extra.find(static_cast<char>(c)) != extra.npos);
  }
  return table;
}
constexpr UrlSafeTable kPathSafe = MakeTable("&*-./@_");
constexpr UrlSafeTable kQuerySafe = MakeTable("&*-.@_=");
constexpr UrlSafeTable kPrintable = MakeTable("!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~ ");

// Encodes the path of `path` and its query in place.
int EncodePath(BufStrBase& path, bool encodeQuery) {
  BufStr out;
  const std::string_view text = path.View();
  const size_t question = text.find('?');
  int rc = UrlEncodeTo(out, text.substr(0, question), kPathSafe);
  if (rc == errNone && question != text.npos && question + 1 < text.size()) {
    rc = out.AppendChar('?');
    // A query sent as it stands still has its controls and high bytes escaped.
    if (rc == errNone)
      rc = UrlEncodeTo(out, text.substr(question + 1), encodeQuery ? kQuerySafe : kPrintable);
  }
  return rc == errNone ? path.Assign(out) : rc;
}
} // namespace

int HttpClient::SplitURL(const char* url, BufStrBase& scheme, BufStrBase& host, BufStrBase& path,
                         int32_t& port, BufStrBase& user, BufStrBase& password, int isRedirect) {
  BufStr copy;
  if (copy.Assign(url) != errNone) return errOutOfMemory;
  std::string_view rest = copy.View();
  int rc = errNone;

  if (!rest.starts_with('/')) {
    if (const size_t colon = rest.find(':'); colon != rest.npos) {
      rc = scheme.Assign(rest.substr(0, colon));
      rest.remove_prefix(colon + 1);
      path.Clear();
      if (EqualsNoCase(scheme.View(), "http")) port = DefaultPort = 80;
      if (EqualsNoCase(scheme.View(), "https")) port = DefaultPort = 443;
    }
  }

  if (rest.starts_with("//")) {
    std::string_view authority = rest.substr(2);
    path.Clear();
    size_t cut = authority.find('/');
    const size_t question = authority.find('?');
    if (cut == authority.npos) {
      if (rc == errNone) rc = path.AppendChar('/');
      cut = question;
    } else if (question < cut) {
      cut = question;
    }
    if (cut != authority.npos) {
      if (rc == errNone) rc = path.Append(authority.substr(cut));
      authority = authority.substr(0, cut);
    }
    // The user part ends at the first '@'; the host part after it may be a bracketed literal.
    const size_t at = authority.find('@');
    std::string_view hostPart = at == authority.npos ? authority : authority.substr(at + 1);
    std::string_view portText;
    if (hostPart.starts_with('[')) {
      const size_t close = hostPart.find(']');
      if (close != hostPart.npos) {
        useIPv6 = true;
        portText = hostPart.substr(close + 1);
        hostPart = hostPart.substr(1, close - 1);
      } else {
        hostPart.remove_prefix(1);
      }
      portText = portText.starts_with(':') ? portText.substr(1) : std::string_view();
    } else if (const size_t colon = hostPart.find(':'); colon != hostPart.npos) {
      portText = hostPart.substr(colon + 1);
      hostPart = hostPart.substr(0, colon);
      port = 0;
    }
    if (!portText.empty()) {
      BufStr20 digits;
      if (digits.Assign(portText) != errNone) return errOutOfMemory;
      port = ParseDec32(digits.Data());
    }
    if (rc == errNone) rc = host.Assign(hostPart);
    if (at != authority.npos && rc == errNone) {
      const std::string_view userInfo = authority.substr(0, at);
      const size_t colon = userInfo.find(':');
      rc = user.Assign(userInfo.substr(0, colon));
      if (colon != userInfo.npos && rc == errNone) rc = password.Assign(userInfo.substr(colon + 1));
    }
  } else if (rest.starts_with('/')) {
    rc = path.Assign(rest);
  } else if (rc == errNone) {
    if (rest.starts_with("./")) rest.remove_prefix(2);
    int keep = path.Length();
    while (keep > 0 && path[keep - 1] != '/')
      --keep;
    rc = path.Resize(keep, nullptr);
    if (rc == errNone && path.IsEmpty()) rc = path.AppendChar('/');
    if (rc == errNone) rc = path.Append(rest);
  }

  const int32_t encode = isRedirect ? EncodeRedirectLocation : EncodeURL;
  if (rc == errNone && encode) rc = EncodePath(path, EncodeQueryString != 0);
  if (rc == errNone && path.IsEmpty()) rc = path.AppendChar('/');
  return rc == errNone ? errNone : errOutOfMemory;
}

} // namespace quillon
