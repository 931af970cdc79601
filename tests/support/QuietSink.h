// An event sink that ignores every event: test sinks derive from it and override only the events
// they record or act on.
#pragma once

#include "frame/EventSink.h"

namespace quillon::test {

class QuietSink : public EventSink {
public:
  void SetCodePage(int) override {}
  void Connected(int16_t*, const char*) override {}
  void Disconnected(int16_t*, const char*) override {}
  void EndTransfer(int16_t*) override {}
  void Entity(const char*) override {}
  void Entry(const char*, const char*, const char*, const char*) override {}
  void Error(int16_t*, const char*) override {}
  void Header(const char*, const char*) override {}
  void Property(const char*, const char*, int32_t*) override {}
  void SetCookie(const char*, const char*, const char*, const char*, const char*,
                 int32_t*) override {}
  void SSLServerAuthentication(const char*, int32_t, const char*, const char*, const char*,
                               int32_t*) override {}
  void SSLStatus(const char*) override {}
  void StartTransfer(int16_t*) override {}
  void Status(const char*, int16_t*, const char*) override {}
  void Transfer(int16_t*, int64_t*, int16_t*, const char*, int32_t) override {}
};

} // namespace quillon::test
