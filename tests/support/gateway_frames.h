// The frames of a gateway, in bytes.
#ifndef ZULSTATS_TESTS_SUPPORT_GATEWAY_FRAMES_H
#define ZULSTATS_TESTS_SUPPORT_GATEWAY_FRAMES_H

#include <cstdint>
#include <string_view>

#include "bytes.h"

namespace wire_test {

using test_support::Bytes;
using test_support::bytesAt;
using test_support::BytesWriter;
using test_support::hex;
using test_support::operator+;

// A reply's header with an announced length of its own, and a whole reply.
Bytes replyHeader(std::string_view name, uint32_t returnCode, uint32_t dataLength);
Bytes reply(std::string_view name, const Bytes& body, uint32_t returnCode = 0);

}  // namespace wire_test

#endif
