// ParsedHeaders: two strings a header, the field as the server wrote it and the value. A folded
// header (a line starting with a blank) is joined to the value before it with a tab.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

void HttpClient::SplitHeaderLine(std::string_view line, std::string_view& field,
                                 std::string_view& value) {
  if (line.empty() || static_cast<signed char>(line[0]) <= 32) {
    field = {};
    value = line.empty() ? line : line.substr(1);
    return;
  }
  bool quoted = false;
  size_t colon = 0;
  while (colon < line.size() && (quoted || line[colon] != ':')) {
    if (line[colon] == '"') quoted = !quoted;
    ++colon;
  }
  field = line.substr(0, colon);
  size_t start = colon < line.size() ? colon + 1 : colon;
  while (start < line.size() && (line[start] == ' ' || line[start] == '\t'))
    ++start;
  value = line.substr(start);
}

std::string_view HttpClient::ParsedHeaderValue(std::string_view field) const {
  for (int i = 0; i < ParsedHeaderCount(); ++i) {
    const std::string_view value = ParsedHeaders.At(2 * i + 1);
    if (!value.empty() && SameNoCase(ParsedHeaders.At(2 * i), field)) return value;
  }
  return {};
}

int HttpClient::AddParsedHeader(std::string_view field, std::string_view value) {
  const int count = ParsedHeaders.Count();
  if (!field.empty()) {
    int rc = ParsedHeaders.Append(field);
    if (rc == errNone) rc = ParsedHeaders.Append(value);
    if (rc != errNone) ParsedHeaders.SetCount(count);
    return rc;
  }
  if (value.empty() || count < 2) return errNone;
  int rc = parsedScratch.Assign(ParsedHeaders.At(count - 1));
  if (rc == errNone && !parsedScratch.IsEmpty()) rc = parsedScratch.AppendChar('\t');
  if (rc == errNone) rc = parsedScratch.Append(value);
  if (rc == errNone)
    rc = ParsedHeaders.SetAt(count - 1, parsedScratch.Data(), parsedScratch.Length());
  return rc;
}

} // namespace quillon
