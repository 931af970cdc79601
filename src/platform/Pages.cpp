#include "platform/Pages.h"

#include <cstdint>
#include <sys/mman.h>

namespace quillon::platform {

namespace {
constexpr uintptr_t kLargePage = uintptr_t{2} << 20;
} // namespace

void AdviseLargePages(void* block, size_t size) {
  const uintptr_t start = reinterpret_cast<uintptr_t>(block);
  const uintptr_t first = (start + kLargePage - 1) & ~(kLargePage - 1);
  const uintptr_t last = (start + size) & ~(kLargePage - 1);
  if (!block || last <= first) return;
  madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

} // namespace quillon::platform
