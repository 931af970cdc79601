// An event sink for the HTTP tests: keeps the Header and SetCookie events as text lines.
#pragma once

#include "support/QuietSink.h"

#include <string>
#include <vector>

namespace quillon::test {

class RecordingSink final : public QuietSink {
public:
  std::vector<std::string> events; // "Header field|value", "SetCookie name|value|...|secure"

  void Header(const char* field, const char* value) override {
    events.push_back(std::string("Header ") + field + "|" + value);
  }
  void SetCookie(const char* name, const char* value, const char* expires, const char* domain,
                 const char* path, int32_t* secure) override {
    events.push_back(std::string("SetCookie ") + name + "|" + value + "|" + expires + "|" + domain +
                     "|" + path + "|" + std::to_string(*secure));
  }
};

} // namespace quillon::test
