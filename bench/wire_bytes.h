// The bytes of the protocol, both ways: what a client sends, and what the replay server answers. Written from
// docs/protocol.md, and sharing nothing with the library, so that the bare exchanges are held against the protocol.
#ifndef ZULSTATS_BENCH_WIRE_BYTES_H
#define ZULSTATS_BENCH_WIRE_BYTES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "shape.h"

namespace bench {

using Bytes = std::vector<uint8_t>;

// One exchange: a whole request, and the sizes of the two parts in which its reply is received.
struct Exchange {
    Bytes request;
    size_t headerSize;
    size_t bodySize;
};

// Those that open a connection, those of a query, and the one that closes it.
std::vector<Exchange> openingExchanges();
std::vector<Exchange> queryExchanges(const Shape& shape);
Exchange closingExchange();

// The payload of the reply to a query, which is what the parsers read; it stands behind this much of the reply's body.
Bytes replyPayload(const Shape& shape);
constexpr size_t kPayloadOffset = 9;

// Length of the request at the beginning of what was received; none before that much of it is there.
std::optional<size_t> requestLength(const uint8_t* received, size_t size);

// What a request asks for. A query's shape is given, and its reply is that of queryReply; all else has one reply.
struct Request {
    bool isKnown;
    std::optional<Shape> query;
    Bytes reply;
};
Request readRequest(const uint8_t* request, size_t size);
Bytes queryReply(const Shape& shape);

}  // namespace bench

#endif
