// Third link of the engine's chain: a stream port on one socket, with its line buffer and the
// firewall settings.
#pragma once

#include "net/SocketCore.h"

namespace quillon {

class PortClient : public SocketCore {
public:
  PortClient() = default;
  ~PortClient() override = default;

  // Config
  int Config(ConfigRequest& request, const char** result) override;
};

} // namespace quillon
