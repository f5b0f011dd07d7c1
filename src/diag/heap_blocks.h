// Heap blocks. Every allocation of the library goes through here.
#ifndef ZULSTATS_DIAG_HEAP_BLOCKS_H
#define ZULSTATS_DIAG_HEAP_BLOCKS_H

#include <cstddef>
#include <memory>

namespace stapi {

// A zero-filled block, or null. A size of 0 is made as 1, so that null always means failure.
void* allocateMemory(size_t size);

// Enlarges a block (or makes one, when it is null); what is added is zero-filled. On failure null, and the old block
// stays as it was.
void* enlargeMemory(void* block, size_t oldSize, size_t newSize);

// Releases a block; null is allowed.
void releaseMemory(void* block);

struct MemoryReleaser {
    void operator()(void* block) const {
        releaseMemory(block);
    }
};

// A block that belongs to a scope.
template <typename T>
using MemoryHolder = std::unique_ptr<T, MemoryReleaser>;

}  // namespace stapi

#endif
