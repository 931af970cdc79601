// Header lines, split and recorded as the response reader does: ParsedHeaders must stay in
// pairs, and a continuation must end the value before it.
#include "http/HttpClient.h"
#include "odata/QuillonCore.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quillon::QuillonCore core;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  while (!input.empty()) {
    const size_t end = input.find('\n');
    std::string_view line = input.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    std::string_view field, value;
    quillon::HttpClient::SplitHeaderLine(line, field, value);
    if (core.AddParsedHeader(field, value) != 0) std::abort();
    const int count = core.ParsedHeaders.Count();
    if (count % 2 != 0) std::abort();
    if (field.empty() && !value.empty() && count > 0 &&
        !core.ParsedHeaders.At(count - 1).ends_with(value))
      std::abort();
    input = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
  }
  return 0;
}
