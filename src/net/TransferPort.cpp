#include "net/TransferPort.h"

namespace quillon {

int TransferPort::Config(ConfigRequest& request, const char** result) {
  return SecurePort::Config(request, result);
}

} // namespace quillon
