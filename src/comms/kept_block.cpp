#include "comms/kept_block.h"

#include <cstring>

#include "diag/heap_blocks.h"

namespace stapi {

uint8_t* takeKeptBlock(KeptBlock* kept, size_t size) {
    if (kept->size < size) {
        releaseKeptBlock(kept);
        kept->bytes = static_cast<uint8_t*>(allocateMemory(size));
        kept->size = kept->bytes == nullptr ? 0 : size;
    }
    return kept->bytes;
}

void noteReceived(KeptBlock* kept, size_t arrived) {
    // Never more than an earlier reply has written: what was merely announced stays untouched.
    if (kept->written > arrived) {
        std::memset(kept->bytes + arrived, 0, kept->written - arrived);
    }
    kept->written = arrived;
}

bool isInKeptBlock(const KeptBlock* kept, const uint8_t* address) {
    const auto offset =
        reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(kept == nullptr ? nullptr : kept->bytes);
    return kept != nullptr && kept->bytes != nullptr && offset < kept->size;
}

void reviewKeptBlock(KeptBlock* kept, size_t needed) {
    // The heap serves a block below that from memory that it has, and one such serves all connections in turn.
    constexpr size_t kLeastWorthKeeping = 64 << 10;
    constexpr size_t kSmallShare = 4;
    constexpr int32_t kMostSmallReplies = 8;
    constexpr size_t kMostIdleBytes = 16 << 20;
    const bool isSmall = needed < kept->size / kSmallShare;
    kept->smallReplies = isSmall ? kept->smallReplies + 1 : 0;
    if (kept->size < kLeastWorthKeeping || kept->smallReplies >= kMostSmallReplies ||
        (isSmall && kept->size - needed > kMostIdleBytes)) {
        releaseKeptBlock(kept);
    }
}

void releaseKeptBlock(KeptBlock* kept) {
    releaseMemory(kept->bytes);
    *kept = {};
}

}  // namespace stapi
