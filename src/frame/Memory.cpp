// Every allocation of the engine passes here, so one counter can fail any of them on purpose.
#include "frame/Memory.h"

#include "platform/Pages.h"

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

// Blocks from this size on (the kept text and the records of a large document) are filled in
// large pages where the system allows it.
constexpr size_t kLargeBlock = size_t{4} << 20;

void* AdviseIfLarge(void* block, size_t size) {
  if (block && size >= kLargeBlock) platform::AdviseLargePages(block, size);
  return block;
}
} // namespace

void* MemAlloc(size_t size) {
  if (ShouldFail()) return nullptr;
  return AdviseIfLarge(std::malloc(size == 0 ? 1 : size), size);
}

void* MemRealloc(void* block, size_t size) {
  if (ShouldFail()) return nullptr;
  return AdviseIfLarge(std::realloc(block, size == 0 ? 1 : size), size);
}

void MemFree(void* block) {
  std::free(block);
}

void SetAllocationFailureAfter(long count) {
  allocationsBeforeFailure = count;
}

} // namespace quillon
