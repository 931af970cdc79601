// Second link of the engine's chain: socket settings and the single-step wait that every
// blocking operation is made of.
#pragma once

#include "frame/ComponentCore.h"

namespace quillon {

class SocketCore : public ComponentCore {
public:
  SocketCore() = default;
  ~SocketCore() override = default;

  // Config
  int Config(ConfigRequest& request, const char** result) override;
};

} // namespace quillon
