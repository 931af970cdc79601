// Set-Cookie values, one per line, into one jar: the reader and the merge must keep the jar in
// whole records of seven strings, whatever the bytes.
#include "FuzzSupport.h"
#include "http/HttpClient.h"
#include "odata/QuillonCore.h"

QUILLON_FUZZ_TARGET(input) {
  QuillonCore core;
  ForEachLine(input, [&](std::string_view line) { Check(core.ParseSetCookie(line) == 0); });
  Check(core.Cookies.Count() % ckFieldCount == 0);
  for (int i = 0; i < core.CookieCount(); ++i) {
    const std::string_view secure = core.Cookies.At(i * ckFieldCount + ckSecure);
    Check(secure == "0" || secure == "1");
  }
}
