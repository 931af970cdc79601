// The process environment, for the settings that a Linux user keeps there (proxies above all).
#pragma once

namespace quillon::platform {

// The value of the variable `name`, or null when it is not set. The text stays valid until the
// environment changes.
const char* EnvironmentValue(const char* name);

} // namespace quillon::platform
