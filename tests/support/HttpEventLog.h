// An event sink that writes the HTTP exchange's events as one line each, in order:
//   Status(HTTP/1.1 200 OK) Header(Name: value) SetCookie(n=v) StartTransfer(1) Transfer(1, text)
//   EndTransfer(1) Connected(0) Disconnected(0) Error(302 text)
// Consecutive Transfer events of one direction become one line with their texts joined, so a log
// does not depend on how the bytes were cut into pieces.
#pragma once

#include "support/QuietSink.h"

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::test {

class HttpEventLog : public QuietSink {
public:
  void Status(const char* version, int16_t* code, const char* text) override {
    Add("Status(", version, " ", *code, " ", text, ")");
  }
  void Header(const char* field, const char* value) override {
    Add("Header(", field, ": ", value, ")");
  }
  void SetCookie(const char* name, const char* value, const char*, const char*, const char*,
                 int32_t*) override {
    Add("SetCookie(", name, "=", value, ")");
  }
  void StartTransfer(int16_t* direction) override { Add("StartTransfer(", *direction, ")"); }
  void EndTransfer(int16_t* direction) override { Add("EndTransfer(", *direction, ")"); }
  void Transfer(int16_t* direction, int64_t*, int16_t* percent, const char* text,
                int32_t length) override {
    lastPercent = *percent;
    const std::string head = "Transfer(" + std::to_string(*direction) + ", ";
    if (!lines.empty() && lines.back().rfind(head, 0) == 0) {
      lines.back().pop_back();
      lines.back().append(text, static_cast<size_t>(length)).push_back(')');
      return;
    }
    Add(head, std::string_view(text, static_cast<size_t>(length)), ")");
  }
  void Connected(int16_t* code, const char*) override { Add("Connected(", *code, ")"); }
  void Disconnected(int16_t* code, const char*) override { Add("Disconnected(", *code, ")"); }
  void Error(int16_t* code, const char* text) override { Add("Error(", *code, " ", text, ")"); }

  // The lines joined by " | ", for one comparison with a row's expectation.
  std::string Joined() const {
    std::string out;
    for (const std::string& line : lines)
      out += (out.empty() ? "" : " | ") + line;
    return out;
  }

  std::vector<std::string> lines;
  int lastPercent = 0;

private:
  template <typename... Parts> void Add(const Parts&... parts) {
    std::ostringstream line;
    (line << ... << parts);
    lines.push_back(line.str());
  }
};

} // namespace quillon::test
