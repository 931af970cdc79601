// Wall-clock time for log records and time stamps.
#pragma once

namespace quillon::platform {

struct LocalTime {
  int year, month, day, hour, minute, second, milliseconds;
};

LocalTime GetLocalTime();
LocalTime GetUtcTime();

} // namespace quillon::platform
