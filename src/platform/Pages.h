// Advice to the kernel about large blocks of memory.
#pragma once

#include <cstddef>

namespace quillon::platform {

// Asks for huge pages behind the 2 MiB-aligned part of a block that is about to be filled, so
// that filling it takes a few page faults instead of one per 4 KiB. Nothing happens for a small
// block or where the kernel declines.
void AdviseLargeBlock(void* block, size_t size);

} // namespace quillon::platform
