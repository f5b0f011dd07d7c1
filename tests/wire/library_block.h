// Blocks that belong to the library.
#ifndef ZULSTATS_TESTS_WIRE_LIBRARY_BLOCK_H
#define ZULSTATS_TESTS_WIRE_LIBRARY_BLOCK_H

#include <cstdint>
#include <cstring>

#include "diag/heap_blocks.h"
#include "gateway_frames.h"

namespace wire_test {

// A block as the exchanges want it: allocated by the library, and as large as what it holds.
inline uint8_t* libraryBlock(const Bytes& content) {
    auto* const block = static_cast<uint8_t*>(stapi::allocateMemory(content.size()));
    if (!content.empty()) {
        std::memcpy(block, content.data(), content.size());
    }
    return block;
}

}  // namespace wire_test

#endif
