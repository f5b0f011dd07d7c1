// Result-set buffers: those that parsers fill, and what a test expects in them.
#ifndef ZULSTATS_TESTS_WIRE_RESULT_BUFFER_H
#define ZULSTATS_TESTS_WIRE_RESULT_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "comms/gateway_token.h"
#include "diag/heap_blocks.h"
#include "gateway_frames.h"
#include "set_bytes.h"

namespace wire_test {

using test_support::idSet;
using test_support::SetBytes;
using test_support::statSet;

// A buffer as a connection has it: at the start it holds a terminator only.
struct ResultBuffer {
    explicit ResultBuffer(int32_t initialCapacity);
    ~ResultBuffer();
    ResultBuffer(const ResultBuffer&) = delete;
    ResultBuffer& operator=(const ResultBuffer&) = delete;

    // All up to and with the last terminator, behind which the buffer must hold zeros only.
    Bytes content() const;

    char* buffer;
    int32_t capacity;
};

// A token with what asking for the protocol version needs.
struct VersionToken {
    explicit VersionToken(int32_t socket);
    ~VersionToken();
    VersionToken(const VersionToken&) = delete;
    VersionToken& operator=(const VersionToken&) = delete;

    GatewayToken token = {};
};

using Parser = int32_t (*)(const uint8_t*, char**, int32_t*, size_t);

// Parses a payload from a block of exactly its size.
int32_t parse(Parser parser, const Bytes& payload, ResultBuffer* result);

// The entries of a buffer as a walk from first to next hands them out, "id" or "id=value"; an element with a negative
// code gives "(code)". Throws when the walk does not end.
std::vector<std::string> walk(ResultBuffer* result, bool isStatistics);

}  // namespace wire_test

#endif
