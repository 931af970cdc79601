// The header fields of an answer as the HTTP link keeps them. Header lines into ParsedHeaders: the
// split of a line, folding of continuations with a tab, and the indexed ParsedHeader properties.
// The cookie jar: the Set-Cookie reader with its long-standing quirks, the merge by name, domain
// and path, clearing on a change of host, and the indexed Cookie properties.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "http/HttpErrors.h"
#include "odata/QuillonCore.h"
#include "quillon/Quillon.h"
#include "support/QuietSink.h"
#include "surface/ControlSurface.h"
#include "surface/SurfaceErrors.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillon {
namespace {

TEST(HttpHeadersTest, SplitHeaderLine) {
  // The line, and the field and value split from it as "field|value".
  const std::pair<std::string, const char*> rows[] = {
      {"Content-Type: text/xml", "Content-Type|text/xml"},
      {"X:\t \tspaced  ", "X|spaced  "}, // trailing blanks stay
      {"X:", "X|"},
      {"NoColon", "NoColon|"},
      {"\"a:b\": c", "\"a:b\"|c"},        // a colon inside quotes is no separator
      {"\"open:quote", "\"open:quote|"},  // an unterminated quote hides every colon
      {" folded  part", "|folded  part"}, // one byte of the continuation is skipped
      {"\t\tmore", "|\tmore"},
      {"\x80high: byte", "|high: byte"}, // bytes from 0x80 count as blanks
      {std::string("\0x: y", 5), "|x: y"},
      {"", "|"},
  };
  for (const auto& [line, expected] : rows) {
    std::string_view field, value;
    HttpClient::SplitHeaderLine(line, field, value);
    EXPECT_EQ(std::string(field) + "|" + std::string(value), expected) << "row: " << line;
  }
}

// A continuation before any header is dropped, an empty one adds nothing, and an empty value
// takes a continuation without a tab in front.
TEST(HttpHeadersTest, ContinuationsFoldWithATab) {
  QuillonCore core;
  // clang-format off
  const char* lines[][2] = {{"", "dropped"}, {"X-Long", "first"}, {"", "second"}, {"", ""}, {"", "third"}, {"Empty", ""}, {"", "only"}, {"x-long", "again"}};
  // clang-format on
  for (const auto& [field, value] : lines)
    ASSERT_EQ(core.AddParsedHeader(field, value), errNone) << field << ": " << value;
  ASSERT_EQ(core.ParsedHeaderCount(), 3);
  EXPECT_EQ(core.ParsedHeaders.At(0), "X-Long");
  EXPECT_EQ(core.ParsedHeaders.At(1), "first\tsecond\tthird");
  EXPECT_EQ(core.ParsedHeaders.At(3), "only");
  EXPECT_EQ(core.ParsedHeaders.At(4), "x-long") << "fields stay as the server wrote them";
}

// Keeps the SetCookie events as "name|value|expires|domain|path|secure".
class CookieEvents final : public test::QuietSink {
public:
  std::vector<std::string> events;
  void SetCookie(const char* name, const char* value, const char* expires, const char* domain,
                 const char* path, int32_t* secure) override {
    events.push_back(std::string(name) + "|" + value + "|" + expires + "|" + domain + "|" + path +
                     "|" + std::to_string(*secure));
  }
};

// The jar, each cookie as "name|value|expires|domain|path|secure" (the form of the events),
// joined by "; ".
std::string Jar(const HttpClient& client) {
  std::string out;
  for (int i = 0; i < client.CookieCount(); ++i) {
    auto field = [&](int f) { return std::string(client.Cookies.At(i * ckFieldCount + f)); };
    out += (i ? "; " : "") + field(ckName) + "|" + field(ckValue) + "|" + field(ckExpires) + "|" +
           field(ckDomain) + "|" + field(ckPath) + "|" + field(ckSecure);
  }
  return out;
}

TEST(HttpCookiesTest, SetCookieHeaders) {
  // The header, and the cookie as name|value|expires|domain|path|secure.
  const std::pair<const char*, const char*> rows[] = {
      {"sid=abc=def", "sid|abc=def||||0"},
      {"id=a3fWa; Expires=Wed, 21 Oct 2015 07:28:00 GMT; Path=/docs; Domain=example.com",
       "id|a3fWa|Wed, 21 Oct 2015 07:28:00 GMT|example.com|/docs|0"},
      {"x=1; secure", "x|1||||1"},
      {"x=1; SeCuRe", "x|1||||1"},
      {"x=1; secure=", "x|1||||1"},
      // A ";" does not end an attribute's name: the flag and the path read as one unknown name.
      {"x=1; secure; path=/", "x|1||||0"},
      {"x=1; path=/; secure", "x|1|||/|1"},
      {"flag", "flag|||||0"},
      {"=nameless", "|nameless||||0"},
      // The name runs to the first "=", even across a ";".
      {"a; b=c", "a; b|c||||0"},
      {"t=v;\t \tpath=/p", "t|v|||/p|0"},
      // Only one blank after an attribute's ";" is skipped.
      {"t=v; path=/a;  domain=d", "t|v|||/a|0"},
      {"t=v; HttpOnly; SameSite=Lax; Max-Age=10", "t|v||||0"},
  };
  for (const auto& [header, cookie] : rows) {
    SCOPED_TRACE(header);
    QuillonCore core;
    CookieEvents sink;
    core.SetEventSink(&sink);
    ASSERT_EQ(core.ParseSetCookie(header), errNone);
    EXPECT_EQ(Jar(core), cookie);
    EXPECT_EQ(sink.events, std::vector<std::string>{cookie});
    EXPECT_EQ(core.Cookies.At(ckKeep), "0");
  }
}

TEST(HttpCookiesTest, MergeByNameDomainAndPath) {
  QuillonCore core;
  ASSERT_EQ(core.ParseSetCookie("sid=1; path=/; domain=example.com"), errNone);
  ASSERT_EQ(core.ParseSetCookie("lang=en"), errNone);
  // The same cookie in other case replaces value, expiry and flag in place, keeping its spelling.
  ASSERT_EQ(core.ParseSetCookie("SID=2; Path=/; Domain=EXAMPLE.com; expires=never; secure"),
            errNone);
  EXPECT_EQ(Jar(core), "sid|2|never|example.com|/|1; lang|en||||0");
  // Another path, or no domain, is another cookie.
  ASSERT_EQ(core.ParseSetCookie("sid=3; path=/docs; domain=example.com"), errNone);
  ASSERT_EQ(core.ParseSetCookie("sid=4; path=/"), errNone);
  EXPECT_EQ(Jar(core), "sid|2|never|example.com|/|1; lang|en||||0; sid|3||example.com|/docs|0; "
                       "sid|4|||/|0");
  // A record the host added by raising the count merges like any other.
  ASSERT_EQ(core.Cookies.SetCount(5 * ckFieldCount), errNone);
  ASSERT_EQ(core.ParseSetCookie("="), errNone);
  EXPECT_EQ(core.CookieCount(), 5);
}

TEST(HttpCookiesTest, ClearingOnAnotherHost) {
  QuillonCore core;
  ASSERT_EQ(core.ClearCookiesOnUrlChange(), errNone);
  ASSERT_EQ(core.ParseSetCookie("a=1"), errNone);
  ASSERT_EQ(HttpClient::AddCookie(core.Cookies, "b", "2", "", "d", "/", true, 1), errNone);
  ASSERT_EQ(core.ParseSetCookie("c=3"), errNone);

  core.DontClearCookiesOnUrlChange = 1;
  ASSERT_EQ(core.ClearCookiesOnUrlChange(), errNone);
  EXPECT_EQ(core.CookieCount(), 3);

  // Only records with a keep flag stay; cookies read from headers never have one.
  core.DontClearCookiesOnUrlChange = 0;
  ASSERT_EQ(core.ClearCookiesOnUrlChange(), errNone);
  EXPECT_EQ(Jar(core), "b|2||d|/|1");
  EXPECT_EQ(core.Cookies.At(ckKeep), "1");
}

// The indexed ParsedHeader rows over the field and value pairs, and the indexed Cookie rows.
TEST(HttpHeadersTest, IndexedPropertiesOfHeadersAndCookies) {
  QuillonCore core;
  ASSERT_EQ(core.AddParsedHeader("Server", "test"), errNone);
  ASSERT_EQ(core.AddParsedHeader("WWW-Authenticate", "Digest"), errNone);
  PropertyValue read;
  ASSERT_EQ(FindProperty("ParsedHeaderCount")->get(core, -1, read), errNone);
  EXPECT_EQ(read.number, 2);
  ASSERT_EQ(FindProperty("ParsedHeaderField")->get(core, 1, read), errNone);
  EXPECT_EQ(read.text.View(), "WWW-Authenticate");
  ASSERT_EQ(FindProperty("ParsedHeaderValue")->get(core, 0, read), errNone);
  EXPECT_EQ(read.text.View(), "test");
  EXPECT_EQ(FindProperty("ParsedHeaderField")->get(core, 2, read), errArrayIndex);
  // A valid cookie index empties the last error.
  ASSERT_EQ(core.ParseSetCookie("a=1"), errNone);
  EXPECT_EQ(core.ValidateCookieIndex(1), errCookieIndex);
  EXPECT_EQ(core.ValidateCookieIndex(0), errNone);
  EXPECT_STREQ(core.LastErrorText(), "");

  Quillon component;
  std::string value;
  // Raising the count on an empty jar gives empty cookies; zero empties it.
  ASSERT_EQ(component.SetProperty("CookieCount", "2"), errNone);
  ASSERT_EQ(component.SetProperty("CookieValue", 1, "v"), errNone);
  // Writes outside the jar give the jar's own code; reads give the surface's.
  for (int index : {-1, 2}) {
    EXPECT_EQ(component.SetProperty("CookieValue", index, "x"), errCookieIndex) << index;
    EXPECT_EQ(component.ErrorDescription(), "Invalid cookie index (out of range).");
    EXPECT_EQ(component.GetProperty("CookiePath", index, value), errArrayIndex) << index;
  }
  ASSERT_EQ(component.SetProperty("CookieCount", "0"), errNone);
  EXPECT_EQ(component.GetProperty("CookieName", 0, value), errArrayIndex);
}

} // namespace
} // namespace quillon
