#include "diag/stapi_zul_memory.h"

#include <cstdlib>
#include <cstring>

namespace stapi {

void* allocateMemory(size_t size) {
    return std::calloc(1, size == 0 ? 1 : size);
}

void* enlargeMemory(void* block, size_t oldSize, size_t newSize) {
    auto* const enlarged = static_cast<char*>(std::realloc(block, newSize));
    if (enlarged != nullptr) {
        const size_t kept = block == nullptr ? 0 : oldSize;
        std::memset(enlarged + kept, 0, newSize - kept);
    }
    return enlarged;
}

void releaseMemory(void* block) {
    std::free(block);
}

}  // namespace stapi
