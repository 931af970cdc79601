// The platform's last error number, as the error texts of the engine show it.
#pragma once

namespace quillon::platform {

int LastSystemError();

} // namespace quillon::platform
