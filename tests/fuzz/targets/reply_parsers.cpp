// The two parsers. Behind the circumstances one byte chooses the capacity of the result-set buffer; the rest is the
// payload.
#include <cstring>

#include "api/zulstats64.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "target_list.h"
#include "walking.h"
#include "world.h"

namespace fuzz_test {

namespace {

using Parser = int32_t (*)(const uint8_t*, char**, int32_t*, size_t);
using Walk = size_t (*)(ResultSetToken*);

constexpr int32_t kSmallestCapacity = 16;

// What every buffer that a parser has written ends with: the terminator, right behind the capacity at the latest, and
// zeros up to its very end.
void judgeEnd(const char* buffer, int32_t capacity) {
    size_t size = stapi::resultSetAllocation(capacity);
    touch(buffer, size);
    while (size > 0 && buffer[size - 1] == 0) {
        --size;
    }
    const bool isTerminated =
        size >= sizeof stapi::kTerminator &&
        std::memcmp(buffer + size - sizeof stapi::kTerminator, &stapi::kTerminator, sizeof stapi::kTerminator) == 0;
    require(isTerminated, "a parser does not end its buffer with a terminator");
    require(size <= static_cast<size_t>(capacity) + sizeof stapi::kTerminator, "a parser writes into the slack");
}

int judgeBuffer(char* buffer, int32_t capacity, int32_t rc, Walk walk) {
    judgeEnd(buffer, capacity);
    ResultSetToken token = {};
    token.owner = stapi::OWNER_USER;
    token.resultSetBuf = buffer;
    token.resultSetBufLen = capacity;
    const size_t steps = walk(&token);
    if (rc != STAPI_RC_OK) {
        return 0;
    }
    return steps > 0 ? 2 : 1;
}

int fuzzParser(Parser parser, Walk walk, const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    World world(&input);
    int32_t capacity = kSmallestCapacity + input.next();
    const ExactBlock payload(input.rest(), input.restSize());
    auto* buffer = static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(capacity)));
    if (buffer == nullptr) {
        return 0;
    }
    const int32_t rc = parser(payload.data(), &buffer, &capacity, payload.size());
    world.calmDown();
    const stapi::MemoryHolder<char> holder(buffer);
    require(rc == STAPI_RC_OK || rc == STAPI_RC_NO_MEMORY || rc == STAPI_RC_BAD_EYECATCHER,
            "a parser's code is none of its own");
    require(buffer != nullptr || rc == STAPI_RC_NO_MEMORY, "a parser has lost its buffer");
    return buffer == nullptr ? 0 : judgeBuffer(buffer, capacity, rc, walk);
}

}  // namespace

int fuzzIdsParser(const uint8_t* data, size_t size) {
    return fuzzParser(stapi::parseIdsData, walkIds, data, size);
}

int fuzzStatsParser(const uint8_t* data, size_t size) {
    return fuzzParser(stapi::parseStatsData, walkStats, data, size);
}

}  // namespace fuzz_test
