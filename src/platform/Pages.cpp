#include "platform/Pages.h"

#include <cstdint>
#include <sys/mman.h>

namespace quillon::platform {

void AdviseLargeBlock(void* block, size_t size) {
  constexpr uintptr_t kHugePage = 2u << 20;
  const uintptr_t start = (reinterpret_cast<uintptr_t>(block) + kHugePage - 1) & ~(kHugePage - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + size) & ~(kHugePage - 1);
  if (end > start) ::madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

} // namespace quillon::platform
