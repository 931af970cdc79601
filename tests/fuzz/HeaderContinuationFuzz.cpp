// Header lines, split and recorded as the response reader does: ParsedHeaders must stay in
// pairs, and a continuation must end the value before it.
#include "FuzzSupport.h"
#include "http/HttpClient.h"
#include "odata/QuillonCore.h"

QUILLON_FUZZ_TARGET(input) {
  QuillonCore core;
  ForEachLine(input, [&](std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    std::string_view field, value;
    HttpClient::SplitHeaderLine(line, field, value);
    Check(core.AddParsedHeader(field, value) == 0);
    const int count = core.ParsedHeaders.Count();
    Check(count % 2 == 0);
    Check(!field.empty() || value.empty() || count <= 0 ||
          core.ParsedHeaders.At(count - 1).ends_with(value));
  });
}
