// An event sink for the HTTP tests: keeps the Header and SetCookie events as text lines.
#pragma once

#include "frame/EventSink.h"

#include <string>
#include <vector>

namespace quillon::test {

class RecordingSink final : public EventSink {
public:
  std::vector<std::string> events; // "Header field|value", "SetCookie name|value|...|secure"

  void SetCodePage(int) override {}
  void Header(const char* field, const char* value) override {
    events.push_back(std::string("Header ") + field + "|" + value);
  }
  void SetCookie(const char* name, const char* value, const char* expires, const char* domain,
                 const char* path, int32_t* secure) override {
    events.push_back(std::string("SetCookie ") + name + "|" + value + "|" + expires + "|" + domain +
                     "|" + path + "|" + std::to_string(*secure));
  }
  void Connected(int16_t*, const char*) override {}
  void Disconnected(int16_t*, const char*) override {}
  void EndTransfer(int16_t*) override {}
  void Entity(const char*) override {}
  void Entry(const char*, const char*, const char*, const char*) override {}
  void Error(int16_t*, const char*) override {}
  void Property(const char*, const char*, int32_t*) override {}
  void SSLServerAuthentication(const char*, int32_t, const char*, const char*, const char*,
                               int32_t*) override {}
  void SSLStatus(const char*) override {}
  void StartTransfer(int16_t*) override {}
  void Status(const char*, int16_t*, const char*) override {}
  void Transfer(int16_t*, int64_t*, int16_t*, const char*, int32_t) override {}
};

} // namespace quillon::test
