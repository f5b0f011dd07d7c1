#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "comms/stapi_zul_statcomms.h"
#include "reply_payload.h"
#include "result_buffer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::TraceCapture;

using Entries = std::vector<std::string>;

constexpr int32_t kCapacity = 32768;

// Parses a payload into a fresh buffer and gives its content.
Bytes parsed(const ReplyPayload& payload, int32_t expectedRc = 0) {
    ResultBuffer result(kCapacity);
    EXPECT_EQ(parse(stapi::parseIdsData, payload.bytes(), &result), expectedRc);
    EXPECT_EQ(result.capacity, kCapacity);
    return result.content();
}

TEST(IdReply, ASingleResponseBecomesOneElementWithItsIds) {
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse("CS", 0, {"CS_A", "CS_LONGER", "C"})),
              idSet(1).text("CS").word(0).word(3).text("CS_A").text("CS_LONGER").text("C").terminated());
}

TEST(IdReply, SeveralResponsesBecomeElementsBackToBack) {
    EXPECT_EQ(parsed(ReplyPayload()
                         .multi(3)
                         .idResponse("A", 0, {"a"})
                         .idResponse("BB", 7, {})
                         .idResponse("CCC", 0, {"c1", "c2"})),
              idSet(3)
                  .text("A")
                  .word(0)
                  .word(1)
                  .text("a")
                  .text("BB")
                  .word(7)
                  .word(0)
                  .text("CCC")
                  .word(0)
                  .word(2)
                  .text("c1")
                  .text("c2")
                  .terminated());
}

class SingleFlag : public testing::TestWithParam<int> {};

TEST_P(SingleFlag, OtherThanOneMeansOneResponseAndNoCountIsRead) {
    EXPECT_EQ(parsed(ReplyPayload().single(static_cast<uint8_t>(GetParam())).idResponse("A", 0, {"a"})),
              idSet(1).text("A").word(0).word(1).text("a").terminated());
}

INSTANTIATE_TEST_SUITE_P(Flags, SingleFlag, testing::Values(0, 2, 0x77, 0x80, 0xFF));

TEST(IdReply, NoResponsesLeaveTheCountAndTheTerminator) {
    const Bytes content = parsed(ReplyPayload().multi(0));
    EXPECT_EQ(content, idSet(0).terminated());
    EXPECT_EQ(content.size(), 16U);
}

class NegativeCode : public testing::TestWithParam<int32_t> {};

TEST_P(NegativeCode, ContributesLengthQueryIdAndCodeAndTheNextResponseStartsOneByteBehind) {
    EXPECT_EQ(
        parsed(ReplyPayload().multi(2).failedResponse("BAD", GetParam()).idResponse("A", 0, {"a"})),
        idSet(2).text("BAD").word(static_cast<uint32_t>(GetParam())).text("A").word(0).word(1).text("a").terminated());
}

INSTANTIATE_TEST_SUITE_P(Codes, NegativeCode, testing::Values(-1, -3001, INT_MIN));

class PositiveCode : public testing::TestWithParam<int32_t> {};

TEST_P(PositiveCode, IsFollowedByIdsAsZeroIs) {
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse("A", GetParam(), {"a"})),
              idSet(1).text("A").word(static_cast<uint32_t>(GetParam())).word(1).text("a").terminated());
}

INSTANTIATE_TEST_SUITE_P(Codes, PositiveCode, testing::Values(1, INT_MAX));

TEST(IdReply, AResponseWithoutIdsContributesTheCountZero) {
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse("A", 0, {})), idSet(1).text("A").word(0).word(0).terminated());
}

TEST(IdReply, AnEmptyIdContributesTheLengthZeroAndNoBytes) {
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse("A", 0, {"", "b", ""})),
              idSet(1).text("A").word(0).word(3).word(0).text("b").word(0).terminated());
}

TEST(IdReply, AnEmptyQueryIdContributesTheLengthZero) {
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse("", 0, {"a"})),
              idSet(1).word(0).word(0).word(1).text("a").terminated());
}

class BlockTag : public testing::TestWithParam<int> {};

TEST_P(BlockTag, OtherThanShortIsFollowedByFourLengthBytes) {
    const auto tag = static_cast<uint8_t>(GetParam());
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse("A", 0, {"a"}, tag)),
              idSet(1).text("A").word(0).word(1).text("a").terminated());
}

INSTANTIATE_TEST_SUITE_P(Tags, BlockTag, testing::Values('w', 'z', 'x', 0, 0xFF));

TEST(IdReply, TextsAreCopiedAsReceived) {
    const std::string odd("\0\x0F\x0E\x0F\x0E\xFF\x80:", 8);
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse(odd, 0, {odd})),
              idSet(1).text(odd).word(0).word(1).text(odd).terminated());
}

TEST(IdReply, LengthsAreUnsigned) {
    const std::string longest(65535, 'x');
    ResultBuffer result(262144);
    EXPECT_EQ(parse(stapi::parseIdsData, ReplyPayload().single().idResponse(longest, 0, {longest}).bytes(), &result),
              0);
    EXPECT_EQ(result.content(), idSet(1).text(longest).word(0).word(1).text(longest).terminated());
}

TEST(IdReply, SkippedTextsMayHaveAnyLength) {
    const Bytes payload = BytesWriter()
                              .u8(0)
                              .fill(6, 0xFF)
                              .text(std::string(65535, 'x'))
                              .fill(13, 0xFF)
                              .text("")
                              .fill(13, 0xFF)
                              .raw("w")
                              .u8(0)
                              .text("A")
                              .u32(0)
                              .u32(1)
                              .text("a")
                              .bytes();
    ResultBuffer result(kCapacity);
    EXPECT_EQ(parse(stapi::parseIdsData, payload, &result), 0);
    EXPECT_EQ(result.content(), idSet(1).text("A").word(0).word(1).text("a").terminated());
}

TEST(IdReply, TheByteBehindTheLastResponseMayBeMissing) {
    for (const ReplyPayload& whole :
         {ReplyPayload().single().idResponse("A", 0, {"a"}), ReplyPayload().single().failedResponse("A", -1)}) {
        Bytes cut = whole.bytes();
        cut.pop_back();
        ResultBuffer withIt(kCapacity);
        ResultBuffer withoutIt(kCapacity);
        EXPECT_EQ(parse(stapi::parseIdsData, whole.bytes(), &withIt), 0);
        EXPECT_EQ(parse(stapi::parseIdsData, cut, &withoutIt), 0);
        EXPECT_EQ(withoutIt.content(), withIt.content());
    }
}

TEST(IdReply, BytesBehindTheLastResponseMeanNothing) {
    EXPECT_EQ(parsed(ReplyPayload().single().idResponse("A", 0, {"a"}).idResponse("B", 0, {"b"})),
              idSet(1).text("A").word(0).word(1).text("a").terminated());
}

TEST(IdReply, OverwritesTheResultBefore) {
    ResultBuffer result(kCapacity);
    EXPECT_EQ(
        parse(stapi::parseIdsData,
              ReplyPayload().single().idResponse("FIRST", 0, {"a rather long id of the first reply"}).bytes(), &result),
        0);
    EXPECT_EQ(parse(stapi::parseIdsData, ReplyPayload().single().idResponse("B", 0, {"b"}).bytes(), &result), 0);
    const Bytes expected = idSet(1).text("B").word(0).word(1).text("b").terminated();
    EXPECT_EQ(bytesAt(result.buffer, expected.size()), expected);
    EXPECT_EQ(walk(&result, false), (Entries{"b"}));
}

TEST(IdReply, IsWalkedEntryByEntry) {
    ResultBuffer result(kCapacity);
    EXPECT_EQ(parse(stapi::parseIdsData,
                    ReplyPayload()
                        .multi(3)
                        .idResponse("A", 0, {"a1", "a2"})
                        .failedResponse("B", -5)
                        .idResponse("C", 0, {"c1"})
                        .bytes(),
                    &result),
              0);
    EXPECT_EQ(walk(&result, false), (Entries{"a1", "a2", "(-5)", "c1"}));
}

TEST(IdReply, TracesItsCountsAndCodes) {
    const TraceCapture trace(4);
    parsed(ReplyPayload().multi(3).idResponse("A", 0, {"a1", "a2"}).failedResponse("B", -5).idResponse("C", 7, {}));
    std::vector<std::string> lines;
    for (const std::string& line : trace.lines()) {
        if (line.rfind("22", 0) == 0) {
            lines.push_back(line);
        }
    }
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "2224 ENTRY stapi_zul_statcomms.parseIdsData(rawData=AAAAAAAAAAAAAAAA, "
                         "*resultSetBuffer=AAAAAAAAAAAAAAAA, *resultSetBufferLen=32768)",
                         "2225 DEBUG stapi_zul_statcomms.parseIdsData received 3 responses from the Gateway",
                         "2226 DEBUG stapi_zul_statcomms.parseIdsData Query rc=0 or (hex=00000000)",
                         "2227 DEBUG stapi_zul_statcomms.parseIdsData reading 2 IDs for result 0",
                         "2226 DEBUG stapi_zul_statcomms.parseIdsData Query rc=-5 or (hex=FFFFFFFB)",
                         "2228 DEBUG stapi_zul_statcomms.parseIdsData Bad query id element(1), move on to next one",
                         "2226 DEBUG stapi_zul_statcomms.parseIdsData Query rc=7 or (hex=00000007)",
                         "2227 DEBUG stapi_zul_statcomms.parseIdsData reading 0 IDs for result 2",
                         "2229 EXIT stapi_zul_statcomms.parseIdsData(rawData=AAAAAAAAAAAAAAAA, "
                         "*resultSetBuffer=AAAAAAAAAAAAAAAA, *resultSetBufferLen=32768) rc=0"}));
}

}  // namespace

}  // namespace wire_test
