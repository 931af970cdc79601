#include "net/PortClient.h"

namespace quillon {

int PortClient::Config(ConfigRequest& request, const char** result) {
  return SocketCore::Config(request, result);
}

} // namespace quillon
