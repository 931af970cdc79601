// Hints to the system about the pages of large heap blocks.
#pragma once

#include <cstddef>

namespace quillon::platform {

// Asks for the block to be backed by large pages where the system offers them on request, so
// that filling a block of many megabytes takes a few page faults instead of thousands. Only the
// whole large pages inside the block are named; a small block, or a refusal, changes nothing.
void AdviseLargePages(void* block, size_t size);

} // namespace quillon::platform
