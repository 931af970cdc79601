#include "platform/SystemError.h"

#include <cerrno>

namespace quillon::platform {

int LastSystemError() {
  return errno;
}

} // namespace quillon::platform
