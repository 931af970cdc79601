// The HTTP link's Config keys. Flags answer "True"/"False", except the few that answer as
// numbers (AllowHTTPCompression, SingleLineMode, GetOn302Redirect); numbers take the 0x rule. A
// set of a read-only key, a get of a write-only one and every unknown key pass down the chain.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

namespace {
enum class Form { FlagWord, FlagNumber, Number, Text, ReadText };

// One key over a field of the link; `Field` is an integer type or a string.
template <typename Field> struct KeyRow {
  const char* name;
  Field HttpClient::*field;
  Form form;
};

template <typename Field> int64_t AsNumber(const Field& value) {
  return static_cast<int64_t>(value);
}
} // namespace

int HttpClient::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  const std::string_view value = request.value.View();
  const bool get = request.isGet;

  static constexpr KeyRow<int32_t> kInt32Keys[] = {
      {"AllowHTTPCompression", &HttpClient::AllowHTTPCompression, Form::FlagNumber},
      {"EncodeURL", &HttpClient::EncodeURL, Form::FlagWord},
      {"EncodeQueryString", &HttpClient::EncodeQueryString, Form::FlagWord},
      {"EncodeRedirectLocation", &HttpClient::EncodeRedirectLocation, Form::FlagWord},
      {"FireProxyTransfer", &HttpClient::FireProxyTransfer, Form::FlagWord},
      {"Append", &HttpClient::Append, Form::FlagWord},
      {"CreateLocalFileAttributes", &HttpClient::CreateLocalFileAttributes, Form::Number},
      {"GetOn302Redirect", &HttpClient::GetOn302Redirect, Form::FlagNumber},
      {"AbsoluteURI", &HttpClient::AbsoluteURI, Form::FlagWord},
      {"DebugTrace", &HttpClient::DebugTrace, Form::FlagWord},
      {"DontClearCookiesOnUrlChange", &HttpClient::DontClearCookiesOnUrlChange, Form::FlagWord},
      {"UsePlatformHTTPClient", &HttpClient::UsePlatformHTTPClient, Form::FlagWord},
      {"UseChunkedEncoding", &HttpClient::UseChunkedEncoding, Form::FlagWord},
      {"ChunkSize", &HttpClient::ChunkSize, Form::Number},
      {"PostDataAfterNegotiate", &HttpClient::PostDataAfterNegotiate, Form::FlagWord},
      {"AllowIdenticalRedirectURL", &HttpClient::AllowIdenticalRedirectURL, Form::FlagWord},
      {"ProxyPort", &HttpClient::ProxyPort, Form::Number},
  };
  static constexpr KeyRow<uint8_t> kByteKeys[] = {
      {"KeepAlive", &HttpClient::KeepAlive, Form::FlagWord},
      {"FollowRedirects", &HttpClient::FollowRedirects, Form::Number},
  };
  static constexpr KeyRow<int64_t> kInt64Keys[] = {
      {"MaxTransferredData", &HttpClient::MaxTransferredData, Form::Number},
      {"TransferredDataLimit", &HttpClient::MaxTransferredData, Form::Number},
      {"BytesTransferred", &HttpClient::BytesTransferred, Form::ReadText},
  };
  const auto numberKey = [&](const auto& row) -> int {
    auto& field = this->*row.field;
    using FieldType = std::remove_reference_t<decltype(field)>;
    if (get) {
      if (row.form == Form::FlagWord) return ReturnText(result, field ? "True" : "False");
      return ReturnInt64(result, AsNumber(field));
    }
    if (row.form == Form::FlagWord || row.form == Form::FlagNumber)
      field = IsTrueText(value) ? 1 : 0;
    else
      field = static_cast<FieldType>(ParseConfigNumber(request.value.Data()));
    return errNone;
  };
  for (const auto& row : kInt32Keys)
    if (EqualsNoCase(name, row.name)) return numberKey(row);
  for (const auto& row : kByteKeys)
    if (EqualsNoCase(name, row.name)) return numberKey(row);
  for (const auto& row : kInt64Keys)
    if (EqualsNoCase(name, row.name) && (get || row.form != Form::ReadText)) return numberKey(row);

  // Texts stored as they are given.
  struct TextRow {
    const char* name;
    BufStrBase& field;
    Form form;
  };
  const TextRow texts[] = {
      {"TransferredData", TransferredData, Form::ReadText},
      {"TransferredHeaders", TransferredHeaders, Form::ReadText},
      {"StatusLine", StatusLine, Form::ReadText},
      {"SentHeaders", SentHeaders, Form::ReadText},
      {"HTTPVersion", HTTPVersion, Form::Text},
      {"UserAgent", UserAgent, Form::Text},
      {"AcceptEncoding", AcceptEncoding, Form::Text},
      {"ProxyServer", ProxyServer, Form::Text},
      {"ProxyAuthorization", ProxyAuthorization, Form::Text},
      {"IfModifiedSince", IfModifiedSince, Form::Text},
      {"HttpCookies", HttpCookies, Form::Text},
      {"OtherHeaders", OtherHeaders, Form::Text},
  };
  for (const TextRow& row : texts) {
    if (!EqualsNoCase(name, row.name) || (!get && row.form == Form::ReadText)) continue;
    return get ? ReturnText(result, row.field) : row.field.Assign(value);
  }

  // Keys with effects of their own.
  if (EqualsNoCase(name, "MaxRedirectAttempts") && !get) {
    MaxRedirectAttempts = static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
    RedirectsLeft = MaxRedirectAttempts;
    return errNone;
  }
  if (EqualsNoCase(name, "MaxRedirectAttempts")) return ReturnSigned(result, MaxRedirectAttempts);
  if (EqualsNoCase(name, "TransferredRequest")) {
    if (get) return ReturnText(result, TransferredRequest);
    TransferredRequestOn = EqualsNoCase(value, "on") ? 1 : 0;
    return errNone;
  }
  if (EqualsNoCase(name, "SingleLineMode")) {
    if (get) return ReturnSigned(result, singleLineMode ? 1 : 0);
    singleLineMode = IsTrueText(value);
    return errNone;
  }
  if (EqualsNoCase(name, "LocalFile")) {
    if (get) return ReturnText(result, LocalFile.narrow);
    LocalFile.Clear();
    return LocalFile.narrow.Assign(value);
  }
  if (EqualsNoCase(name, "KerberosToken") && !get) return SetKerberosToken(value);
  if (EqualsNoCase(name, "Authorization"))
    return get ? ReturnText(result, Authorization) : SetAuthorization(value);
  if (EqualsNoCase(name, "ProxyAuthScheme")) {
    if (get) return ReturnSigned(result, static_cast<int32_t>(ProxyAuthScheme));
    return SetProxyAuthScheme(static_cast<int>(ParseConfigNumber(request.value.Data())));
  }
  if (EqualsNoCase(name, "ProxyUser"))
    return get ? ReturnText(result, ProxyUser) : SetProxyUser(value);
  if (EqualsNoCase(name, "ProxyPassword"))
    return get ? ReturnText(result, ProxyPassword) : SetProxyPassword(value);
  if (int rc = ConfigSignOn(request, result); rc != errUnknownConfig) return rc;
  return TransferPort::Config(request, result);
}

} // namespace quillon
