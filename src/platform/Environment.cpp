#include "platform/Environment.h"

#include <cstdlib>

namespace quillon::platform {

const char* EnvironmentValue(const char* name) {
  return std::getenv(name);
}

} // namespace quillon::platform
