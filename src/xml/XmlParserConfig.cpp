// The Config keys of XmlParser; anything else goes on to ComponentCore. Switches read as "True"
// or "False", except KeepOriginalText (also called CacheContent) and HTMLComments, which read
// as 1 or 0. AllowMoreThanOneRoot is kept and reported and changes nothing else.
#include "xml/XmlParser.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

namespace {
const char* TrueFalse(bool value) {
  return value ? "True" : "False";
}

struct FlagKey {
  const char* key;
  uint32_t bit;
};
constexpr FlagKey kFlagKeys[] = {
    {"IgnoreBadAttributePrefixes", xfIgnoreBadAttributePrefixes},
    {"IgnoreBadElementPrefixes", xfIgnoreBadElementPrefixes},
    {"AllowMoreThanOneRoot", xfAllowMoreThanOneRoot},
    {"AllowTextOutsideRoot", xfAllowTextOutsideRoot},
};

struct ByteKey {
  const char* key;
  uint8_t xmlpimpl::*field;
  bool numeric; // reads as 1 or 0
};
constexpr ByteKey kByteKeys[] = {
    {"IncludeUnknownPrefixes", &xmlpimpl::IncludeUnknownPrefixes, false},
    {"KeepOriginalText", &xmlpimpl::KeepOriginalText, true},
    {"CacheContent", &xmlpimpl::KeepOriginalText, true},
    {"HTMLComments", &xmlpimpl::HTMLComments, true},
    {"PreserveWhitespace", &xmlpimpl::PreserveWhitespace, false},
    {"AllowLeadingDigit", &xmlpimpl::AllowLeadingDigit, false},
};

struct EncodingName {
  int32_t encoding;
  const char* name;
};
constexpr EncodingName kEncodings[] = {
    {encUtf8, "UTF-8"}, {encUtf16LE, "UTF-16LE"}, {encUtf16BE, "UTF-16BE"}};
} // namespace

int XmlParser::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  const bool on = IsTrueText(request.value.View());

  for (const FlagKey& row : kFlagKeys) {
    if (!EqualsNoCase(name, row.key)) continue;
    if (request.isGet) return ReturnText(result, TrueFalse(impl.flags & row.bit));
    impl.flags = on ? impl.flags | row.bit : impl.flags & ~row.bit;
    return errNone;
  }
  for (const ByteKey& row : kByteKeys) {
    if (!EqualsNoCase(name, row.key)) continue;
    uint8_t& field = impl.*row.field;
    if (request.isGet)
      return row.numeric ? ReturnSigned(result, field) : ReturnText(result, TrueFalse(field));
    field = on;
    return errNone;
  }

  if (EqualsNoCase(name, "XSubTree") || EqualsNoCase(name, "XContents")) {
    if (!request.isGet) return errNone;
    std::string_view text;
    const int rc = EqualsNoCase(name, "XSubTree") ? XSubTree(&text) : XContents(&text);
    if (rc != errNone) return rc;
    const int copied = configResult.Assign(text);
    *result = configResult.Data();
    return copied;
  }
  if (EqualsNoCase(name, "AddSGMLTag")) {
    if (request.isGet) return ReturnText(result, impl.sgmlTags);
    return impl.AddSGMLTag(request.value.View());
  }
  if (EqualsNoCase(name, "UseEncoding")) {
    if (request.isGet) {
      for (const EncodingName& row : kEncodings)
        if (row.encoding == impl.encoding) return ReturnText(result, row.name);
      return ReturnText(result, "ASCII");
    }
    impl.encoding = encAscii;
    for (const EncodingName& row : kEncodings)
      if (EqualsNoCase(request.value.View(), row.name)) impl.encoding = row.encoding;
    return errNone;
  }
  if (EqualsNoCase(name, "ErrorOnEmptyAttr")) {
    if (request.isGet) return ReturnText(result, TrueFalse(ErrorOnEmptyAttr));
    ErrorOnEmptyAttr = on;
    return errNone;
  }
  if (EqualsNoCase(name, "CodePage") && !request.isGet)
    impl.codePage = static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
  return ComponentCore::Config(request, result);
}

} // namespace quillon
