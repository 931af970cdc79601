// Clocks of the wait loop: a monotonic tick for deadlines, and the wall clock in milliseconds
// for rates and receive time limits.
#pragma once

#include <cstdint>

namespace quillon::platform {

// Milliseconds of a monotonic clock, shifted by 2^32 so that no tick is 0 and a tick plus any
// 32-bit signed number of milliseconds stays above 0: a negative timeout yields a deadline that
// already lies in the past, never "no deadline".
uint64_t TickCount();

// Milliseconds of the system's wall clock since 1601-01-01 UTC.
int64_t WallClockMillis();

} // namespace quillon::platform
