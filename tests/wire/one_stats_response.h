// Statistics replies of one response "Q" of code 0, and what the parser makes of them.
#ifndef ZULSTATS_TESTS_WIRE_ONE_STATS_RESPONSE_H
#define ZULSTATS_TESTS_WIRE_ONE_STATS_RESPONSE_H

#include <gtest/gtest.h>

#include <cstdint>

#include "comms/stapi_zul_statcomms.h"
#include "reply_payload.h"
#include "result_buffer.h"

namespace wire_test {

// Large enough for every reply that is parsed here.
constexpr int32_t kRoomyCapacity = 262144;

inline Bytes parsed(const ReplyPayload& payload, int32_t expectedRc = 0) {
    ResultBuffer result(kRoomyCapacity);
    EXPECT_EQ(parse(stapi::parseStatsData, payload.bytes(), &result), expectedRc);
    EXPECT_EQ(result.capacity, kRoomyCapacity);
    return result.content();
}

inline ReplyPayload oneResponse(uint32_t statistics) {
    return ReplyPayload().single().statsResponse("Q", 0, statistics);
}
inline SetBytes oneElement(uint32_t statistics) {
    return statSet(1).text("Q").word(0).word(statistics);
}

}  // namespace wire_test

#endif
