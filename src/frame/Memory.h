// Heap allocation for the engine: plain malloc/realloc/free that report failure by a null
// result instead of throwing, with a hook that lets tests make the n-th allocation fail.
#pragma once

#include <cstddef>

namespace quillon {

void* MemAlloc(size_t size);
void* MemRealloc(void* block, size_t size);
void MemFree(void* block);

// Test hook: the allocation after `count` more successful ones fails; -1 switches it off.
// Counts per thread, so a test affects only its own engine objects.
void SetAllocationFailureAfter(long count);

} // namespace quillon
