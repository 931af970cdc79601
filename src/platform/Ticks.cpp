#include "platform/Ticks.h"

#include <ctime>

namespace quillon::platform {

namespace {
constexpr uint64_t kTickOffset = uint64_t{1} << 32;
// Milliseconds from 1601-01-01 to 1970-01-01.
constexpr int64_t kEpochDistanceMillis = 11644473600000;

int64_t ClockMillis(clockid_t clock) {
  struct timespec now;
  ::clock_gettime(clock, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}
} // namespace

uint64_t TickCount() {
  return kTickOffset + static_cast<uint64_t>(ClockMillis(CLOCK_MONOTONIC));
}

int64_t WallClockMillis() {
  return ClockMillis(CLOCK_REALTIME) + kEpochDistanceMillis;
}

} // namespace quillon::platform
