#include "platform/Clock.h"

#include <ctime>
#include <sys/time.h>

namespace quillon::platform {

namespace {
LocalTime Convert(bool local) {
  struct timeval now;
  ::gettimeofday(&now, nullptr);
  struct tm parts;
  time_t seconds = now.tv_sec;
  if (local)
    ::localtime_r(&seconds, &parts);
  else
    ::gmtime_r(&seconds, &parts);
  return {parts.tm_year + 1900,
          parts.tm_mon + 1,
          parts.tm_mday,
          parts.tm_hour,
          parts.tm_min,
          parts.tm_sec,
          static_cast<int>(now.tv_usec / 1000)};
}
} // namespace

LocalTime GetLocalTime() {
  return Convert(true);
}
LocalTime GetUtcTime() {
  return Convert(false);
}

} // namespace quillon::platform
