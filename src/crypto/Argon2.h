// Argon2 (RFC 9106) from the system's libargon2, for the key of PuTTY's version 3 files.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

enum Argon2Flavour : int { argon2d = 0, argon2i = 1, argon2id = 2 };

// `wantedBytes` of output in `out`, version 0x13; memory in KiB. 0, 200, or 2001 when the
// library refuses the parameters.
int Argon2Derive(int flavour, uint32_t memoryKiB, uint32_t passes, uint32_t parallelism,
                 std::string_view password, std::string_view salt, int wantedBytes,
                 BufStrBase& out);

} // namespace quillon
