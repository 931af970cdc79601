// Fifth link of the engine's chain: connection timeout, sending whole blocks, and the text of the
// current transfer.
#pragma once

#include "tls/SecurePort.h"

namespace quillon {

class TransferPort : public SecurePort {
public:
  TransferPort() = default;
  ~TransferPort() override = default;

  // Config
  int Config(ConfigRequest& request, const char** result) override;
};

} // namespace quillon
