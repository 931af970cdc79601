// The cookie jar: seven strings a cookie in Cookies (see CookieField). Set-Cookie is read the way
// this client always has, quirks included:
//   name=value; attribute=value; attribute ...
// the name runs to the first "=" and the value to the first ";", so "sid=abc=def" has the value
// "abc=def"; an attribute's name runs to the next "=" even across a ";", so "secure; path=/"
// reads as one unknown attribute and the secure flag counts only last or as "secure=". Expiry
// dates are kept as text and never acted on.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

namespace quillon {

namespace {
// The text up to `stop` (or the end) from `at`, which moves past the stop.
std::string_view TakeUntil(std::string_view text, size_t& at, char stop) {
  size_t end = text.find(stop, at);
  if (end == std::string_view::npos) end = text.size();
  const std::string_view part = text.substr(at, end - at);
  at = end < text.size() ? end + 1 : end;
  return part;
}

int AppendRecord(StrList& list, const std::string_view (&fields)[ckFieldCount]) {
  for (std::string_view field : fields)
    if (int rc = list.Append(field); rc != errNone) return rc;
  return errNone;
}
} // namespace

int HttpClient::ParseSetCookie(std::string_view header) {
  size_t at = 0;
  const std::string_view name = TakeUntil(header, at, '=');
  const std::string_view value = TakeUntil(header, at, ';');
  while (at < header.size() && (header[at] == ' ' || header[at] == '\t'))
    ++at;
  std::string_view expires, domain, path;
  bool secure = false;
  while (at < header.size()) {
    const std::string_view attribute = TakeUntil(header, at, '=');
    const std::string_view attributeValue = TakeUntil(header, at, ';');
    if (at < header.size() && header[at] == ' ') ++at;
    if (EqualsNoCase(attribute, "expires"))
      expires = attributeValue;
    else if (EqualsNoCase(attribute, "domain"))
      domain = attributeValue;
    else if (EqualsNoCase(attribute, "path"))
      path = attributeValue;
    else if (EqualsNoCase(attribute, "secure"))
      secure = true;
  }

  // The event takes terminated texts.
  BufStr nameText, valueText, expiresText, domainText, pathText;
  for (auto [text, part] : {std::pair<BufStrBase*, std::string_view>{&nameText, name},
                            {&valueText, value},
                            {&expiresText, expires},
                            {&domainText, domain},
                            {&pathText, path}})
    if (int rc = text->Assign(part); rc != errNone) return rc;
  FireSetCookie(nameText.Data(), valueText.Data(), expiresText.Data(), domainText.Data(),
                pathText.Data(), secure);
  return AddCookie(Cookies, name, value, expires, domain, path, secure, 0);
}

int HttpClient::AddCookie(StrList& list, std::string_view name, std::string_view value,
                          std::string_view expires, std::string_view domain, std::string_view path,
                          bool secure, int keep) {
  const int records = list.Count() / ckFieldCount;
  const std::string_view secureText = secure ? "1" : "0";
  for (int record = 0; record < records; ++record) {
    const int base = record * ckFieldCount;
    if (!SameNoCase(list.At(base + ckName), name) ||
        !SameNoCase(list.At(base + ckDomain), domain) || !SameNoCase(list.At(base + ckPath), path))
      continue;
    // The record keeps its place, its spelling of name, domain and path, and its keep flag.
    int rc = list.SetAt(base + ckExpires, expires.data(), static_cast<int>(expires.size()));
    if (rc == errNone)
      rc = list.SetAt(base + ckValue, value.data(), static_cast<int>(value.size()));
    if (rc == errNone) rc = list.SetAt(base + ckSecure, secureText.data(), 1);
    return rc;
  }

  BufStr20 keepText;
  int rc = keepText.AppendDecimal(keep);
  if (rc == errNone) rc = list.SetCount(records * ckFieldCount);
  if (rc == errNone)
    rc = AppendRecord(list, {domain, expires, name, path, secureText, value, keepText.View()});
  if (rc != errNone) list.SetCount(records * ckFieldCount);
  return rc;
}

int HttpClient::ClearCookiesOnUrlChange() {
  if (DontClearCookiesOnUrlChange || Cookies.Count() == 0) return errNone;
  StrList kept;
  const int records = CookieCount();
  for (int record = 0; record < records; ++record) {
    const int base = record * ckFieldCount;
    if (Cookies.AtInt(base + ckKeep) == 0) continue;
    for (int field = 0; field < ckFieldCount; ++field)
      if (int rc = kept.Append(Cookies.At(base + field)); rc != errNone) return rc;
  }
  Cookies.Clear();
  for (int base = 0; base < kept.Count(); base += ckFieldCount) {
    const int rc =
        AddCookie(Cookies, kept.At(base + ckName), kept.At(base + ckValue),
                  kept.At(base + ckExpires), kept.At(base + ckDomain), kept.At(base + ckPath),
                  kept.AtInt(base + ckSecure) > 0, kept.AtInt(base + ckKeep));
    if (rc != errNone) return rc;
  }
  return errNone;
}

int HttpClient::ValidateCookieIndex(int index) {
  lastError.Resize(0, nullptr);
  if (index >= 0 && index < CookieCount()) return errNone;
  return Fail(errCookieIndex, "Invalid cookie index (out of range).");
}

} // namespace quillon
