#include "net/SocketCore.h"

namespace quillon {

int SocketCore::Config(ConfigRequest& request, const char** result) {
  return ComponentCore::Config(request, result);
}

} // namespace quillon
