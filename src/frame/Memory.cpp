// Every allocation of the engine passes here, so one counter can fail any of them on purpose.
#include "frame/Memory.h"

#include <cstdlib>

namespace quillon {

namespace {
thread_local long allocationsBeforeFailure = -1;

bool ShouldFail() {
  if (allocationsBeforeFailure < 0) return false;
  if (allocationsBeforeFailure == 0) {
    allocationsBeforeFailure = -1;
    return true;
  }
  --allocationsBeforeFailure;
  return false;
}
} // namespace

void* MemAlloc(size_t size) {
  if (ShouldFail()) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

void* MemRealloc(void* block, size_t size) {
  if (ShouldFail()) return nullptr;
  return std::realloc(block, size == 0 ? 1 : size);
}

void MemFree(void* block) {
  std::free(block);
}

void SetAllocationFailureAfter(long count) {
  allocationsBeforeFailure = count;
}

} // namespace quillon
