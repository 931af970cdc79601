// Set-Cookie values, one per line, into one jar: the reader and the merge must keep the jar in
// whole records of seven strings, whatever the bytes.
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
    const std::string_view line = input.substr(0, end);
    if (core.ParseSetCookie(line) != 0) std::abort();
    input = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
  }
  if (core.Cookies.Count() % quillon::ckFieldCount != 0) std::abort();
  for (int i = 0; i < core.CookieCount(); ++i) {
    const std::string_view secure = core.Cookies.At(i * quillon::ckFieldCount + quillon::ckSecure);
    if (secure != "0" && secure != "1") std::abort();
  }
  return 0;
}
