// An event sink that writes the HTTP exchange's events as one line each, in order:
//   Status(HTTP/1.1 200 OK) Header(Name: value) SetCookie(n=v) StartTransfer(1) Transfer(1, text)
//   EndTransfer(1) Connected(0) Disconnected(0) Error(302 text)
// With `mergeTransfers` consecutive Transfer events of one direction become one line with their
// texts joined, so a log does not depend on how the bytes were cut into pieces.
#pragma once

#include "support/QuietSink.h"

#include <string>
#include <vector>

namespace quillon::test {

class HttpEventLog : public QuietSink {
public:
  explicit HttpEventLog(bool mergeTransfers = true) : merge(mergeTransfers) {}

  void Status(const char* version, int16_t* code, const char* text) override {
    Add("Status(" + std::string(version) + " " + std::to_string(*code) + " " + text + ")");
  }
  void Header(const char* field, const char* value) override {
    Add("Header(" + std::string(field) + ": " + value + ")");
  }
  void SetCookie(const char* name, const char* value, const char*, const char*, const char*,
                 int32_t*) override {
    Add("SetCookie(" + std::string(name) + "=" + value + ")");
  }
  void StartTransfer(int16_t* direction) override {
    Add("StartTransfer(" + std::to_string(*direction) + ")");
  }
  void EndTransfer(int16_t* direction) override {
    Add("EndTransfer(" + std::to_string(*direction) + ")");
  }
  void Transfer(int16_t* direction, int64_t* bytes, int16_t* percent, const char* text,
                int32_t length) override {
    lastBytes = *bytes;
    lastPercent = *percent;
    const std::string head = "Transfer(" + std::to_string(*direction) + ", ";
    if (merge && !lines.empty() && lines.back().rfind(head, 0) == 0) {
      lines.back().pop_back();
      lines.back().append(text, static_cast<size_t>(length)).push_back(')');
      return;
    }
    Add(head + std::string(text, static_cast<size_t>(length)) + ")");
  }
  void Connected(int16_t* code, const char*) override {
    Add("Connected(" + std::to_string(*code) + ")");
  }
  void Disconnected(int16_t* code, const char*) override {
    Add("Disconnected(" + std::to_string(*code) + ")");
  }
  void Error(int16_t* code, const char* text) override {
    Add("Error(" + std::to_string(*code) + " " + text + ")");
  }

  // The lines joined by " | ", for one comparison with a row's expectation.
  std::string Joined() const {
    std::string out;
    for (const std::string& line : lines)
      out += (out.empty() ? "" : " | ") + line;
    return out;
  }
  // The joined lines without Header events, for rows that do not care about them.
  std::string WithoutHeaders() const {
    std::string out;
    for (const std::string& line : lines)
      if (line.rfind("Header(", 0) != 0) out += (out.empty() ? "" : " | ") + line;
    return out;
  }

  std::vector<std::string> lines;
  int64_t lastBytes = 0;
  int lastPercent = 0;

private:
  void Add(std::string line) { lines.push_back(std::move(line)); }
  bool merge;
};

} // namespace quillon::test
