// The block into which a connection receives the bodies of its long replies. A large one stays with the connection
// while its replies stay large, so that a query that is made every few seconds has no pages made, zeroed and given back
// for it each time; a small one, for which the heap does no such thing, lives as long as the query.
#ifndef ZULSTATS_COMMS_KEPT_BLOCK_H
#define ZULSTATS_COMMS_KEPT_BLOCK_H

#include <cstddef>
#include <cstdint>

namespace stapi {

// Zero-initialised it is a block of nothing. Only the thread that holds the connection touches it.
struct KeptBlock {
    uint8_t* bytes;
    size_t size;
    size_t written;        // bytes at its start that may be other than zero
    int32_t smallReplies;  // in a row, each of which needed a small part of it only
};

// What of a result-set buffer may be other than zero: its first bytes, and a terminator behind them.
struct TouchedBytes {
    size_t first;
    size_t terminator;  // its offset; below first there is none behind them
};

// What a connection keeps for its queries.
struct ConnectionMemory {
    KeptBlock reply;
    TouchedBytes resultSet;
};

// Smaller bodies get blocks of their own: those cost next to nothing.
constexpr size_t kLeastKeptBody = 4096;

// The block, enlarged when it is smaller than size; null when there is no memory for it. What it holds is to be told by
// noteReceived.
uint8_t* takeKeptBlock(KeptBlock* kept, size_t size);

// Notes how many bytes have been received into the block; what stood behind them is zero from now on.
void noteReceived(KeptBlock* kept, size_t arrived);

// Whether an address is that of the block, or lies in it. kept may be null.
bool isInKeptBlock(const KeptBlock* kept, const uint8_t* address);

// Looks after a query whether the block is worth keeping: a small one is given back, and one of which the replies have
// needed little for a while, or at once when what lies idle is a lot.
void reviewKeptBlock(KeptBlock* kept, size_t needed);

void releaseKeptBlock(KeptBlock* kept);

}  // namespace stapi

#endif
