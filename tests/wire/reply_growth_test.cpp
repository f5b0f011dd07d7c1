// How a result-set buffer grows while a reply is parsed into it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "allocation_faults.h"
#include "comms/stapi_zul_statcomms.h"
#include "reply_payload.h"
#include "result_buffer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::AllocationFault;
using test_support::TraceCapture;

// The capacity after writing these pieces behind the first 12 bytes: one doubling whenever a piece does not fit, and
// more only for a piece that one is not enough for.
int32_t capacityAfter(int32_t capacity, const std::vector<size_t>& pieces, bool checksTerminator) {
    int32_t written = 12;
    for (const size_t piece : pieces) {
        written += static_cast<int32_t>(piece);
        while (written > capacity) {
            capacity *= 2;
        }
    }
    return checksTerminator && capacity < written + 4 ? capacity * 2 : capacity;
}

struct GrowthCase {
    int32_t capacity;
    size_t textLength;
};

std::ostream& operator<<(std::ostream& stream, const GrowthCase& growth) {
    return stream << growth.capacity << " and a text of " << growth.textLength;
}

class GrowthAroundCapacity : public testing::TestWithParam<GrowthCase> {};

TEST_P(GrowthAroundCapacity, OfAnIdReplyDoublesWhenAPieceDoesNotFit) {
    const std::string id(GetParam().textLength, 'i');
    ResultBuffer result(GetParam().capacity);
    EXPECT_EQ(parse(stapi::parseIdsData, ReplyPayload().single().idResponse("Q", 0, {id}).bytes(), &result), 0);
    EXPECT_EQ(result.capacity, capacityAfter(GetParam().capacity, {4, 1, 4, 4, 4, id.size()}, false));
    EXPECT_EQ(result.content(), idSet(1).text("Q").word(0).word(1).text(id).terminated());
}

TEST_P(GrowthAroundCapacity, OfAStatsReplyMakesRoomForTheTerminatorToo) {
    const std::string value(GetParam().textLength, 'v');
    ResultBuffer result(GetParam().capacity);
    EXPECT_EQ(parse(stapi::parseStatsData,
                    ReplyPayload().single().statsResponse("Q", 0, 1).shortStat("I", value).bytes(), &result),
              0);
    EXPECT_EQ(result.capacity, capacityAfter(GetParam().capacity, {4, 1, 4, 4, 4, 1, 4, value.size()}, true));
    EXPECT_EQ(result.content(), statSet(1).text("Q").word(0).word(1).text("I").text(value).terminated());
}

std::vector<GrowthCase> aroundCapacity() {
    std::vector<GrowthCase> cases;
    for (const int32_t capacity : {16, 64, 128}) {
        for (size_t length = 0; length <= 110; ++length) {
            cases.push_back({capacity, length});
        }
    }
    for (const size_t length : {1000U, 4096U, 32767U}) {
        cases.push_back({16, length});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Lengths, GrowthAroundCapacity, testing::ValuesIn(aroundCapacity()));

TEST(ReplyGrowth, ABufferFilledToItsLastByteByIdsStaysAsLargeAsItIs) {
    const std::string id(32768 - 12 - 17, 'i');
    ResultBuffer result(32768);
    EXPECT_EQ(parse(stapi::parseIdsData, ReplyPayload().single().idResponse("Q", 0, {id}).bytes(), &result), 0);
    EXPECT_EQ(result.capacity, 32768);
    EXPECT_EQ(result.content().size(), 32768U + 4);
    EXPECT_EQ(walk(&result, false), (std::vector<std::string>{id}));
}

std::string reallocEntry(int32_t capacity, int32_t written) {
    return "2244 ENTRY stapi_zul_statcomms.reallocResultsSetBuffer(*resultSetBuffer=AAAAAAAAAAAAAAAA, "
           "*resultSetBufferLen=" +
           std::to_string(capacity) + ", *buffer=AAAAAAAAAAAAAAAA, totaldatawritten=" + std::to_string(written) + ")";
}

std::string reallocExit(int32_t capacity) {
    return "2245 EXIT stapi_zul_statcomms.reallocResultsSetBuffer(*resultSetBuffer=AAAAAAAAAAAAAAAA, "
           "*resultSetBufferLen=" +
           std::to_string(capacity) + ", *buffer=AAAAAAAAAAAAAAAA) rc=0)";
}

std::vector<std::string> reallocLines(const TraceCapture& trace) {
    std::vector<std::string> lines;
    for (const std::string& line : trace.lines()) {
        if (line.rfind("2244", 0) == 0 || line.rfind("2245", 0) == 0) {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(ReplyGrowth, EachCheckThatFindsTheSpaceShortIsOneDoubling) {
    const TraceCapture trace(3);
    ResultBuffer result(16);
    // 12; length 16; element 20; code 24; count 28; length 32; id 44; length 48; id 60; length 64; id 68
    EXPECT_EQ(
        parse(stapi::parseIdsData,
              ReplyPayload().single().idResponse("ABCD", 0, {"twelve bytes", "twelve bytes", "four"}).bytes(), &result),
        0);
    EXPECT_EQ(reallocLines(trace),
              (std::vector<std::string>{reallocEntry(16, 16), reallocExit(32), reallocEntry(32, 32), reallocExit(64),
                                        reallocEntry(64, 64), reallocExit(128)}));
}

TEST(ReplyGrowth, ATextLongerThanOneDoublingDoublesUntilItFits) {
    const TraceCapture trace(3);
    ResultBuffer result(16);
    EXPECT_EQ(
        parse(stapi::parseIdsData, ReplyPayload().single().idResponse(std::string(100, 'q'), 0, {}).bytes(), &result),
        0);
    EXPECT_EQ(reallocLines(trace),
              (std::vector<std::string>{reallocEntry(16, 16), reallocExit(32), reallocEntry(32, 16), reallocExit(64),
                                        reallocEntry(64, 16), reallocExit(128)}));
    EXPECT_EQ(result.content(), idSet(1).text(std::string(100, 'q')).word(0).word(0).terminated());
}

TEST(ReplyGrowth, MakesNoRoomForTheTerminatorOfAMalformedStatsReply) {
    ResultBuffer result(26);
    EXPECT_EQ(parse(stapi::parseStatsData, ReplyPayload().single().statsResponse("Q", 0, 1).bytes(), &result), -122);
    EXPECT_EQ(result.capacity, 26);
    EXPECT_EQ(result.content(), statSet(1).text("Q").word(0).word(1).terminated());
}

TEST(ReplyGrowth, GoesOnBetweenTheBlocksOfASplitValue) {
    const std::string part(50, 'p');
    ResultBuffer result(32);
    EXPECT_EQ(parse(stapi::parseStatsData,
                    ReplyPayload()
                        .single()
                        .statsResponse("Q", 0, 1)
                        .firstBlock("I", 150, 1 + 4 + 50, part)
                        .longBlock(part)
                        .shortBlock(part)
                        .endOfStat()
                        .bytes(),
                    &result),
              0);
    EXPECT_EQ(result.capacity, 256);
    EXPECT_EQ(result.content(), statSet(1).text("Q").word(0).word(1).text("I").text(part + part + part).terminated());
}

// The parse helper makes a block for the payload first; the allocations behind it are the growths.
constexpr int64_t kFirstGrowth = 2;

ReplyPayload threeIdResponses() {
    return ReplyPayload()
        .multi(3)
        .idResponse("A", 0, {std::string_view("a text that needs a larger buffer")})
        .failedResponse("B", -1)
        .idResponse("C", 0, {"c"});
}

TEST(ReplyGrowth, AFailedOneInAnIdReplyIsMinus111AndTheBufferIsGone) {
    const TraceCapture trace(4);
    ResultBuffer result(48);
    const AllocationFault fault(kFirstGrowth);
    EXPECT_EQ(parse(stapi::parseIdsData, threeIdResponses().bytes(), &result), -111);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(result.buffer, nullptr);
    EXPECT_EQ(result.capacity, 48);
    // The reading goes on to the end.
    EXPECT_EQ(trace.count(2226), 3);
    EXPECT_EQ(trace.count(2227), 2);
    EXPECT_EQ(trace.count(2228), 1);
    EXPECT_EQ(trace.count(2244), 1);
}

TEST(ReplyGrowth, AFailedOneInAnIdReplyIsNotTriedAgain) {
    ResultBuffer result(48);
    {
        const AllocationFault fault(kFirstGrowth);
        EXPECT_EQ(parse(stapi::parseIdsData, threeIdResponses().bytes(), &result), -111);
    }
    EXPECT_EQ(result.buffer, nullptr);
}

TEST(ReplyGrowth, AFailedSecondOneInAnIdReplyLosesTheEnlargedBuffer) {
    ResultBuffer result(16);
    const AllocationFault fault(kFirstGrowth + 1);
    EXPECT_EQ(parse(stapi::parseIdsData, threeIdResponses().bytes(), &result), -111);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(result.buffer, nullptr);
    EXPECT_EQ(result.capacity, 32);
}

TEST(ReplyGrowth, AFailedOneInAStatsReplyEndsItsReading) {
    const TraceCapture trace(4);
    ResultBuffer result(64);
    const AllocationFault fault(kFirstGrowth);
    EXPECT_EQ(parse(stapi::parseStatsData,
                    ReplyPayload()
                        .multi(2)
                        .statsResponse("A", 0, 2)
                        .shortStat("a", std::string(100, 'v'))
                        .shortStat("b", "2")
                        .statsResponse("C", 0, 1)
                        .shortStat("c", "3")
                        .bytes(),
                    &result),
              -111);
    EXPECT_EQ(result.buffer, nullptr);
    EXPECT_EQ(result.capacity, 64);
    EXPECT_EQ(trace.count(2222), 1);
    EXPECT_EQ(trace.count(2231), 1);
    EXPECT_EQ(trace.count(2244), 1);
    EXPECT_EQ(trace.count(2241), 1);
}

// Three statistics of 13 bytes fill 12 + 5 + 8 + 39 = 64 bytes; the next length does not fit, and neither does the
// terminator, so that the last growth is tried after the failed one.
ReplyPayload fullAtALength() {
    return ReplyPayload()
        .single()
        .statsResponse("Q", 0, 4)
        .shortStat("a", "1234")
        .shortStat("b", "1234")
        .shortStat("c", "1234")
        .shortStat("d", "1");
}

TEST(ReplyGrowth, TheLastOneOfAStatsReplyDecidesWhateverCameBefore) {
    ResultBuffer result(64);
    const AllocationFault fault(kFirstGrowth);
    EXPECT_EQ(parse(stapi::parseStatsData, fullAtALength().bytes(), &result), 0);
    EXPECT_TRUE(fault.hasStruck());
    ASSERT_NE(result.buffer, nullptr);
    EXPECT_EQ(result.capacity, 128);
    EXPECT_EQ(bytesAt(result.buffer, 12), Bytes(12, 0));
    ResultSetToken token = {};
    token.resultSetBuf = result.buffer;
    token.resultSetBufLen = result.capacity;
    EXPECT_EQ(stapi::resultSetContent(&token), stapi::ResultSetContent::none);
}

TEST(ReplyGrowth, WhenTheLastOneOfAStatsReplyFailsTooItIsMinus111) {
    ResultBuffer result(64);
    const AllocationFault fault(kFirstGrowth, true);
    EXPECT_EQ(parse(stapi::parseStatsData, fullAtALength().bytes(), &result), -111);
    EXPECT_EQ(result.buffer, nullptr);
    EXPECT_EQ(result.capacity, 64);
}

TEST(ReplyGrowth, AFailedOneForTheTerminatorAloneIsMinus111) {
    ResultBuffer result(64);
    const AllocationFault fault(kFirstGrowth);
    EXPECT_EQ(parse(stapi::parseStatsData,
                    ReplyPayload()
                        .single()
                        .statsResponse("Q", 0, 1)
                        .shortStat("abc", std::string(64 - 12 - 13 - 11 - 3, 'v'))
                        .bytes(),
                    &result),
              -111);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(result.buffer, nullptr);
}

TEST(ReallocResultsSetBuffer, KeepsTheContentMovesTheCursorAndZeroesTheRest) {
    ResultBuffer result(16);
    std::fill_n(result.buffer, 16, 'x');
    char* cursor = result.buffer + 10;
    EXPECT_EQ(stapi::reallocResultsSetBuffer(&result.buffer, &result.capacity, &cursor, 10), 0);
    EXPECT_EQ(result.capacity, 32);
    EXPECT_EQ(cursor, result.buffer + 10);
    EXPECT_EQ(bytesAt(result.buffer, 16), Bytes(16, 'x'));
    EXPECT_EQ(bytesAt(result.buffer + 32, 4), Bytes(4, 0));
}

TEST(ReallocResultsSetBuffer, OfNoBufferMakesAZeroedOne) {
    char* buffer = nullptr;
    int32_t capacity = 16;
    char* cursor = nullptr;
    EXPECT_EQ(stapi::reallocResultsSetBuffer(&buffer, &capacity, &cursor, 12), 0);
    EXPECT_EQ(capacity, 32);
    EXPECT_EQ(cursor, buffer + 12);
    EXPECT_EQ(bytesAt(buffer, 36), Bytes(36, 0));
    stapi::releaseMemory(buffer);
}

class ImpossibleDoubling : public testing::TestWithParam<int32_t> {};

TEST_P(ImpossibleDoubling, IsAFailedGrowth) {
    ResultBuffer result(16);
    int32_t capacity = GetParam();
    char* cursor = result.buffer;
    EXPECT_EQ(stapi::reallocResultsSetBuffer(&result.buffer, &capacity, &cursor, 12), -111);
    EXPECT_EQ(result.buffer, nullptr);
    EXPECT_EQ(capacity, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Capacities, ImpossibleDoubling, testing::Values(0, -1, 0x40000000, 0x40000001, 0x7FFFFFFF));

TEST(ReallocResultsSetBuffer, FailsByMemoryAtTheLargestCapacityThatCanBeDoubled) {
    ResultBuffer result(16);
    int32_t capacity = 0x3FFFFFFF;
    char* const old = result.buffer;
    char* cursor = old;
    const AllocationFault fault(1);
    EXPECT_EQ(stapi::reallocResultsSetBuffer(&result.buffer, &capacity, &cursor, 12), -111);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(result.buffer, nullptr);
    EXPECT_EQ(capacity, 0x3FFFFFFF);
}

}  // namespace

}  // namespace wire_test
