// Properties of the HTTP link: credentials and schemes, whose writes go through the link's
// setters; the cookie jar and the parsed headers, indexed from 0.
#include "frame/ControlSurface.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
constexpr int64_t kAuthSchemeLimit = 256; // any byte value is taken; only the low 8 bits count

template <int (HttpClient::*Setter)(std::string_view)>
int SetThrough(QuillonCore& core, int, const PropertyValue& in) {
  return (core.*Setter)(in.text.View());
}

int GetAuthScheme(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.AuthScheme;
  return errNone;
}
int SetAuthScheme(QuillonCore& core, int, const PropertyValue& in) {
  return core.SetAuthScheme(static_cast<int>(in.number));
}
int GetProxyAuthScheme(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.ProxyAuthScheme;
  return errNone;
}
int SetProxyAuthScheme(QuillonCore& core, int, const PropertyValue& in) {
  return core.SetProxyAuthScheme(static_cast<int>(in.number));
}

int GetCookieCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.CookieCount());
  return errNone;
}
// Raising the count adds empty cookies; a negative count changes nothing.
int SetCookieCount(QuillonCore& core, int, const PropertyValue& in) {
  const int count = static_cast<int16_t>(in.number);
  return count < 0 ? errNone : core.Cookies.SetCount(count * ckFieldCount);
}

// A read outside the jar fails as an index of the surface; lastError keeps the jar's own text.
template <int Field> int GetCookieText(QuillonCore& core, int index, PropertyValue& out) {
  if (core.ValidateCookieIndex(index) != errNone) return errArrayIndex;
  return out.text.Assign(core.Cookies.At(index * ckFieldCount + Field));
}
int GetCookieSecure(QuillonCore& core, int index, PropertyValue& out) {
  if (core.ValidateCookieIndex(index) != errNone) return errArrayIndex;
  out.number = core.Cookies.AtInt(index * ckFieldCount + ckSecure) > 0;
  return errNone;
}
// A write outside the jar reports the jar's own code, 156.
template <int Field> int SetCookieText(QuillonCore& core, int index, const PropertyValue& in) {
  if (int rc = core.ValidateCookieIndex(index); rc != errNone) return rc;
  return core.Cookies.SetAt(index * ckFieldCount + Field, in.text.Data(), in.text.Length());
}

int GetParsedHeaderCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.ParsedHeaderCount());
  return errNone;
}
// `Slot` is 0 for the field and 1 for the value.
template <int Slot> int GetParsedHeader(QuillonCore& core, int index, PropertyValue& out) {
  if (index < 0 || index >= core.ParsedHeaderCount())
    return core.Fail(errArrayIndex, "Invalid array index.");
  return out.text.Assign(core.ParsedHeaders.At(2 * index + Slot));
}

int GetIdle(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.CurrentAction == 0;
  return errNone;
}

// A text property read as it stands and written through a setter of the HTTP link.
template <auto Member, int (HttpClient::*Setter)(std::string_view)>
constexpr PropertyRow SetterRow(int id, const char* name) {
  PropertyRow row{id, name, PropertyType::Text, false, nullptr, 0, nullptr, nullptr};
  row.get = &GetTextField<Member>;
  row.set = &SetThrough<Setter>;
  return row;
}

const PropertyRow kRows[] = {
    SetterRow<&QuillonCore::Authorization, &HttpClient::SetAuthorization>(1, "Authorization"),
    {2, "AuthScheme", PropertyType::Enumeration, false, nullptr, kAuthSchemeLimit, &GetAuthScheme,
     &SetAuthScheme},
    {29, "CookieCount", PropertyType::Integer, false, nullptr, 0, &GetCookieCount, &SetCookieCount},
    {30, "CookieDomain", PropertyType::Text, true, "CookieIndex", 0, &GetCookieText<ckDomain>,
     nullptr},
    {31, "CookieExpiration", PropertyType::Text, true, "CookieIndex", 0, &GetCookieText<ckExpires>,
     nullptr},
    {32, "CookieName", PropertyType::Text, false, "CookieIndex", 0, &GetCookieText<ckName>,
     &SetCookieText<ckName>},
    {33, "CookiePath", PropertyType::Text, true, "CookieIndex", 0, &GetCookieText<ckPath>, nullptr},
    {34, "CookieSecure", PropertyType::Boolean, true, "CookieIndex", 0, &GetCookieSecure, nullptr},
    {35, "CookieValue", PropertyType::Text, false, "CookieIndex", 0, &GetCookieText<ckValue>,
     &SetCookieText<ckValue>},
    {61, "Idle", PropertyType::Boolean, true, nullptr, 0, &GetIdle, nullptr},
    {65, "ParsedHeaderCount", PropertyType::Integer, true, nullptr, 0, &GetParsedHeaderCount,
     nullptr},
    {66, "ParsedHeaderField", PropertyType::Text, true, "ParsedHeaderIndex", 0, &GetParsedHeader<0>,
     nullptr},
    {67, "ParsedHeaderValue", PropertyType::Text, true, "ParsedHeaderIndex", 0, &GetParsedHeader<1>,
     nullptr},
    SetterRow<&QuillonCore::Password, &HttpClient::SetPassword>(68, "Password"),
    {69, "ProxyAuthScheme", PropertyType::Enumeration, false, nullptr, kAuthSchemeLimit,
     &GetProxyAuthScheme, &SetProxyAuthScheme},
    SetterRow<&QuillonCore::ProxyPassword, &HttpClient::SetProxyPassword>(71, "ProxyPassword"),
    SetterRow<&QuillonCore::ProxyUser, &HttpClient::SetProxyUser>(75, "ProxyUser"),
    {134, "TransferredData", PropertyType::Text, true, nullptr, 0,
     &GetTextField<&QuillonCore::TransferredData>, nullptr},
    SetterRow<&QuillonCore::User, &HttpClient::SetUser>(135, "User"),
    {157, "TransferredDataB", PropertyType::Bytes, true, nullptr, 0,
     &GetTextField<&QuillonCore::TransferredData>, nullptr},
};
} // namespace

std::span<const PropertyRow> HttpProperties() {
  return kRows;
}

} // namespace quillon
