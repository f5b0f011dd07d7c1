#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>

#include "one_stats_response.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::TraceCapture;

using Entries = std::vector<std::string>;

TEST(StatsReply, ShortBlocksBecomeIdsAndValues) {
    EXPECT_EQ(parsed(oneResponse(2).shortStat("GW_S", "17").shortStat("GW_LONG", "a text")),
              oneElement(2).text("GW_S").text("17").text("GW_LONG").text("a text").terminated());
}

TEST(StatsReply, ALongBlockThatHoldsItsValueBecomesAnIdAndAValue) {
    EXPECT_EQ(parsed(oneResponse(1).longStat("GW_S", std::string(300, 'v'))),
              oneElement(1).text("GW_S").text(std::string(300, 'v')).terminated());
}

TEST(StatsReply, SeveralResponsesBecomeElementsBackToBack) {
    EXPECT_EQ(parsed(ReplyPayload()
                         .multi(3)
                         .statsResponse("A", 0, 1)
                         .shortStat("a", "1")
                         .failedResponse("BAD", -12)
                         .statsResponse("CC", 5, 1)
                         .longStat("c", "3")),
              statSet(3)
                  .text("A")
                  .word(0)
                  .word(1)
                  .text("a")
                  .text("1")
                  .text("BAD")
                  .word(static_cast<uint32_t>(-12))
                  .text("CC")
                  .word(5)
                  .word(1)
                  .text("c")
                  .text("3")
                  .terminated());
}

class StatsFlag : public testing::TestWithParam<int> {};

TEST_P(StatsFlag, OtherThanOneMeansOneResponseAndNoCountIsRead) {
    EXPECT_EQ(
        parsed(ReplyPayload().single(static_cast<uint8_t>(GetParam())).statsResponse("Q", 0, 1).shortStat("a", "1")),
        oneElement(1).text("a").text("1").terminated());
}

INSTANTIATE_TEST_SUITE_P(StatsFlags, StatsFlag, testing::Values(0, 2, 0x77, 0xFF));

TEST(StatsReply, NoResponsesLeaveTheCountAndTheTerminator) {
    EXPECT_EQ(parsed(ReplyPayload().multi(0)), statSet(0).terminated());
}

TEST(StatsReply, NoStatisticsLeaveTheCountZero) {
    EXPECT_EQ(parsed(oneResponse(0)), oneElement(0).terminated());
}

TEST(StatsReply, AResponseWithANegativeCodeAddsLengthIdAndCodeAndTheNextStartsOneByteBehind) {
    for (const int32_t code : {-1, INT_MIN}) {
        EXPECT_EQ(
            parsed(ReplyPayload().multi(2).failedResponse("B", code).statsResponse("C", 0, 1).shortStat("c", "3")),
            statSet(2)
                .text("B")
                .word(static_cast<uint32_t>(code))
                .text("C")
                .word(0)
                .word(1)
                .text("c")
                .text("3")
                .terminated());
    }
}

TEST(StatsReply, EmptyIdsAndValuesAreLengthsOfZero) {
    EXPECT_EQ(parsed(oneResponse(3).shortStat("", "").longStat("", "").shortStat("a", "")),
              oneElement(3).word(0).word(0).word(0).word(0).text("a").word(0).terminated());
}

class HeadTag : public testing::TestWithParam<int> {};

TEST_P(HeadTag, OtherThanShortIsFollowedByFourLengthBytes) {
    const auto tag = static_cast<uint8_t>(GetParam());
    EXPECT_EQ(parsed(ReplyPayload().single().statsResponse("Q", 0, 1, tag).shortStat("a", "1")),
              oneElement(1).text("a").text("1").terminated());
}

INSTANTIATE_TEST_SUITE_P(Tags, HeadTag, testing::Values('w', 'z', 'x', 0, 0xFF));

class StatTag : public testing::TestWithParam<int> {};

TEST_P(StatTag, OtherThanShortOrLongIsReadAsShort) {
    const auto tag = static_cast<uint8_t>(GetParam());
    EXPECT_EQ(parsed(oneResponse(2).shortStat("a", "1", tag).shortStat("b", "2")),
              oneElement(2).text("a").text("1").text("b").text("2").terminated());
}

INSTANTIATE_TEST_SUITE_P(Tags, StatTag, testing::Values(0, 'x', 'W', 'Z', 0x70, 0xFF));

TEST(StatsReply, AShortBlockAfterALongOneDoesNotUseTheChunkLength) {
    const std::string value(400, 'v');
    EXPECT_EQ(parsed(oneResponse(3).longStat("a", "1").shortStat("b", value).longStat("c", value)),
              oneElement(3).text("a").text("1").text("b").text(value).text("c").text(value).terminated());
}

struct LengthCase {
    size_t id;
    size_t value;
    bool isLong;
};

class GreatLengths : public testing::TestWithParam<LengthCase> {};

TEST_P(GreatLengths, UpToTheSignedLimitAreTaken) {
    const std::string id(GetParam().id, 'i');
    const std::string value(GetParam().value, 'v');
    const ReplyPayload payload =
        GetParam().isLong ? oneResponse(1).longStat(id, value) : oneResponse(1).shortStat(id, value);
    EXPECT_EQ(parsed(payload), oneElement(1).text(id).text(value).terminated());
}

INSTANTIATE_TEST_SUITE_P(Limits, GreatLengths,
                         testing::Values(LengthCase{0x7FFF, 2, false}, LengthCase{2, 0x7FFF, false},
                                         LengthCase{0x7FFF, 0x7FFF, false}, LengthCase{2, 0x7FFF - 6, true},
                                         LengthCase{0x7FFF - 6, 2, true}));

class NegativeLength : public testing::TestWithParam<uint32_t> {};

TEST_P(NegativeLength, OfAnIdIsMalformed) {
    for (const bool isLong : {false, true}) {
        const ReplyPayload payload = oneResponse(1).raw(BytesWriter()
                                                            .fill(5, 0)
                                                            .u8(isLong ? 'z' : 'w')
                                                            .fill(isLong ? 4 : 1, 0x20)
                                                            .u16(GetParam())
                                                            .fill(70000, 0x41)
                                                            .bytes());
        EXPECT_EQ(parsed(payload, -122), oneElement(1).terminated());
    }
}

TEST_P(NegativeLength, OfAShortBlocksValueIsMalformed) {
    const ReplyPayload payload = oneResponse(1).raw(
        BytesWriter().fill(5, 0).raw("w").u8(0x20).text("a").u16(GetParam()).fill(70000, 0x41).bytes());
    EXPECT_EQ(parsed(payload, -122), oneElement(1).text("a").terminated());
}

TEST_P(NegativeLength, OfALongBlocksValueIsMalformed) {
    const ReplyPayload payload = oneResponse(1).raw(
        BytesWriter().fill(5, 0).raw("z").u32(0x20).text("a").u16(GetParam()).fill(70000, 0x41).bytes());
    EXPECT_EQ(parsed(payload, -122), oneElement(1).text("a").terminated());
}

INSTANTIATE_TEST_SUITE_P(Values, NegativeLength, testing::Values(0x8000U, 0xFFFFU, 0xFF00U));

TEST(StatsReply, WhatStandsBeforeAMalformedLengthIsKeptAndTerminated) {
    const ReplyPayload payload = oneResponse(3).shortStat("a", "1").raw(
        BytesWriter().fill(5, 0).raw("w").u8(0x20).u16(0x8000).fill(100, 0x41).bytes());
    ResultBuffer result(kRoomyCapacity);
    EXPECT_EQ(parse(stapi::parseStatsData, payload.bytes(), &result), -122);
    EXPECT_EQ(result.content(), oneElement(3).text("a").text("1").terminated());
    // The count promises more than there is: the walk ends at the terminator, inside the buffer.
    walk(&result, true);
}

TEST(StatsReply, TheTwoBytesBehindTheLastStatisticMayBeMissing) {
    for (const size_t missing : {1U, 2U}) {
        Bytes cut = oneResponse(1).shortStat("a", "1").bytes();
        cut.resize(cut.size() - missing);
        ResultBuffer result(kRoomyCapacity);
        EXPECT_EQ(parse(stapi::parseStatsData, cut, &result), 0);
        EXPECT_EQ(result.content(), oneElement(1).text("a").text("1").terminated());
    }
}

TEST(StatsReply, WhatIsSkippedBehindACountOfZeroMayBeMissing) {
    const Bytes whole = oneResponse(0).bytes();
    const size_t skipped = 2 + 2 + std::string("description").size() + 8;
    for (size_t missing = 1; missing <= skipped; ++missing) {
        Bytes cut = whole;
        cut.resize(cut.size() - missing);
        ResultBuffer result(kRoomyCapacity);
        EXPECT_EQ(parse(stapi::parseStatsData, cut, &result), 0) << missing << " bytes missing";
        EXPECT_EQ(result.content(), oneElement(0).terminated());
    }
}

TEST(StatsReply, IsWalkedStatisticByStatistic) {
    ResultBuffer result(kRoomyCapacity);
    EXPECT_EQ(parse(stapi::parseStatsData,
                    ReplyPayload()
                        .multi(3)
                        .statsResponse("A", 0, 2)
                        .shortStat("a1", "1")
                        .longStat("a2", "")
                        .failedResponse("B", -5)
                        .statsResponse("C", 0, 1)
                        .shortStat("c", "3")
                        .bytes(),
                    &result),
              0);
    EXPECT_EQ(walk(&result, true), (Entries{"a1=1", "a2=", "(-5)", "c=3"}));
}

TEST(StatsReply, TracesItsCountsTagsAndLengths) {
    const TraceCapture trace(4);
    parsed(ReplyPayload()
               .multi(2)
               .statsResponse("A", 0, 2)
               .shortStat("a1", "value", 0xFF)
               .longStat("a22", "longer")
               .failedResponse("B", -5));
    std::vector<std::string> lines;
    for (const std::string& line : trace.lines()) {
        if (line.rfind("22", 0) == 0) {
            lines.push_back(line);
        }
    }
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "2220 ENTRY stapi_zul_statcomms.parseStatsData(rawData=AAAAAAAAAAAAAAAA, "
                         "*resultSetBuffer=AAAAAAAAAAAAAAAA, *resultSetBufferLen=262144)",
                         "2221 DEBUG stapi_zul_statcomms.parseStatsData received 2 responses from the Gateway",
                         "2222 DEBUG stapi_zul_statcomms.parseStatsData reading 2 stats for result 0",
                         "2231 DEBUG stapi_zul_statcomms.parseStatsData block type=000000FF ",
                         "2233 DEBUG stapi_zul_statcomms.parseStatsData statistic ID length=2 ",
                         "2239 DEBUG stapi_zul_statcomms.parseStatsData statistic data length=5 ",
                         "2231 DEBUG stapi_zul_statcomms.parseStatsData block type=0000007A ",
                         "2232 DEBUG stapi_zul_statcomms.parseStatsData chunklength=13 ",
                         "2233 DEBUG stapi_zul_statcomms.parseStatsData statistic ID length=3 ",
                         "2238 DEBUG stapi_zul_statcomms.parseStatsData written 6 bytes.  ",
                         "2240 DEBUG stapi_zul_statcomms.parseStatsData running total of parsed data = 57 bytes ",
                         "2241 DEBUG stapi_zul_statcomms.parseStatsData parsed data total = 66 bytes ",
                         "2223 EXIT stapi_zul_statcomms.parseStatsData(rawData=AAAAAAAAAAAAAAAA, "
                         "*resultSetBuffer=AAAAAAAAAAAAAAAA, *resultSetBufferLen=262144) rc=0"}));
}

}  // namespace

}  // namespace wire_test
