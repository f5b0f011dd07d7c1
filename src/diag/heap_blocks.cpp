#include "diag/heap_blocks.h"

#include <cstdlib>
#include <cstring>

namespace stapi {

void* allocateMemory(size_t size) {
    return std::calloc(1, size == 0 ? 1 : size);
}

void* enlargeMemory(void* block, size_t oldSize, size_t newSize) {
    // A new block instead of an enlarged one: the system's fresh pages are zero without being touched.
    void* const enlarged = std::calloc(1, newSize);
    if (enlarged != nullptr && block != nullptr) {
        std::memcpy(enlarged, block, oldSize);
        std::free(block);
    }
    return enlarged;
}

void releaseMemory(void* block) {
    std::free(block);
}

}  // namespace stapi
