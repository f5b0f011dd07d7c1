// Statistics whose value comes in several blocks.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "one_stats_response.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::TraceCapture;

std::string digits(size_t count) {
    std::string text(count, ' ');
    for (size_t index = 0; index < count; ++index) {
        text[index] = static_cast<char>('0' + index % 10);
    }
    return text;
}

// The statistic as the daemon's runtime writes it: blocks of 1024 bytes; one of up to 255 is a short one.
ReplyPayload& addStreamed(ReplyPayload& payload, const std::string& id, const std::string& value) {
    constexpr size_t kBlockSize = 1024;
    constexpr size_t kLargestShortBlock = 255;
    const size_t firstRoom = kBlockSize - id.size() - 4;
    const size_t whole = id.size() + value.size() + 4;
    if (whole <= kLargestShortBlock) {
        return payload.shortStat(id, value);
    }
    if (whole <= kBlockSize) {
        return payload.longStat(id, value);
    }
    payload.firstBlock(id, static_cast<uint32_t>(value.size()), kBlockSize, value.substr(0, firstRoom));
    for (size_t start = firstRoom; start < value.size(); start += kBlockSize) {
        const std::string part = value.substr(start, kBlockSize);
        if (part.size() <= kLargestShortBlock) {
            payload.shortBlock(part);
        } else {
            payload.longBlock(part);
        }
    }
    return payload.endOfStat();
}

class StreamedValue : public testing::TestWithParam<size_t> {};

TEST_P(StreamedValue, StandsWholeBehindItsLength) {
    const std::string value = digits(GetParam());
    ReplyPayload payload = oneResponse(3);
    payload.shortStat("before", "1");
    addStreamed(payload, "ID", value).shortStat("behind", "2");
    EXPECT_EQ(parsed(payload),
              oneElement(3).text("before").text("1").text("ID").text(value).text("behind").text("2").terminated());
}

INSTANTIATE_TEST_SUITE_P(ShortToLong, StreamedValue, testing::Range<size_t>(247, 258));
INSTANTIATE_TEST_SUITE_P(WholeToSplit, StreamedValue, testing::Range<size_t>(1015, 1029));
INSTANTIATE_TEST_SUITE_P(SecondBlockShortToLong, StreamedValue, testing::Range<size_t>(1270, 1276));
INSTANTIATE_TEST_SUITE_P(ThirdBlock, StreamedValue, testing::Range<size_t>(2040, 2046));
INSTANTIATE_TEST_SUITE_P(Greatest, StreamedValue, testing::Values(10000U, 32766U, 32767U));

TEST(SplitValue, AValueThatFitsExactlyComesFromTheFirstBlockAlone) {
    const TraceCapture trace(4);
    EXPECT_EQ(parsed(oneResponse(2).longStat("ID", "12345", 2 + 4 + 5).shortStat("b", "2")),
              oneElement(2).text("ID").text("12345").text("b").text("2").terminated());
    EXPECT_EQ(trace.count(2238), 1);
    EXPECT_EQ(trace.count(2234), 0);
}

TEST(SplitValue, AValueSmallerThanItsBlockIsNotSplit) {
    EXPECT_EQ(parsed(oneResponse(2).longStat("ID", "12345", 2 + 4 + 6).shortStat("b", "2")),
              oneElement(2).text("ID").text("12345").text("b").text("2").terminated());
}

TEST(SplitValue, AValueOneByteLongerThanItsBlockIsSplit) {
    const TraceCapture trace(4);
    EXPECT_EQ(
        parsed(oneResponse(2).firstBlock("ID", 5, 2 + 4 + 4, "1234").shortBlock("5").endOfStat().shortStat("b", "2")),
        oneElement(2).text("ID").text("12345").text("b").text("2").terminated());
    EXPECT_EQ(trace.count(2238), 0);
    EXPECT_EQ(trace.messages(2234),
              (std::vector<std::string>{"stapi_zul_statcomms.parseStatsData written 4 of 5 bytes. Remaining data = 1 "
                                        "bytes "}));
}

TEST(SplitValue, TheLastByteMayComeInALongBlock) {
    EXPECT_EQ(
        parsed(oneResponse(2).firstBlock("ID", 5, 2 + 4 + 4, "1234").longBlock("5").endOfStat().shortStat("b", "2")),
        oneElement(2).text("ID").text("12345").text("b").text("2").terminated());
}

TEST(SplitValue, AFirstBlockWithNothingOfTheValueIsAllowed) {
    EXPECT_EQ(parsed(oneResponse(2).firstBlock("ID", 3, 2 + 4, "").longBlock("123").endOfStat().shortStat("b", "2")),
              oneElement(2).text("ID").text("123").text("b").text("2").terminated());
}

TEST(SplitValue, AnEmptyValueThatJustFitsIsNotSplit) {
    EXPECT_EQ(parsed(oneResponse(2).longStat("ID", "", 2 + 4).shortStat("b", "2")),
              oneElement(2).text("ID").text("").text("b").text("2").terminated());
}

class ChunkTooShort : public testing::TestWithParam<uint32_t> {};

TEST_P(ChunkTooShort, ForItsIdIsMalformed) {
    EXPECT_EQ(parsed(oneResponse(1).firstBlock("ID", 3, GetParam(), "").longBlock("123").endOfStat(), -122).size(),
              oneElement(1).text("ID").word(3).terminated().size());
}

INSTANTIATE_TEST_SUITE_P(Lengths, ChunkTooShort, testing::Values(0U, 1U, 5U, 0x8000U, 0xFFFFU, 0x7FFF8000U));

TEST(SplitValue, OnlyTheLow16BitsOfAChunkLengthCount) {
    EXPECT_EQ(parsed(oneResponse(1)
                         .firstBlock("ID", 9, 0xABCD0000 + 2 + 4 + 3, "123")
                         .longBlockOfLength(0x12340003, "456")
                         .longBlockOfLength(0xFFFF0003, "789")
                         .endOfStat()),
              oneElement(1).text("ID").text("123456789").terminated());
}

TEST(SplitValue, ManyLongBlocksAndThenShortOnesArePutTogether) {
    const TraceCapture trace(4);
    EXPECT_EQ(parsed(oneResponse(2)
                         .firstBlock("ID", 12, 2 + 4 + 2, "ab")
                         .longBlock("cde")
                         .longBlock("f")
                         .shortBlock("gh")
                         .shortBlock("ijkl")
                         .endOfStat()
                         .shortStat("b", "2")),
              oneElement(2).text("ID").text("abcdefghijkl").text("b").text("2").terminated());
    const std::string start = "stapi_zul_statcomms.parseStatsData ";
    EXPECT_EQ(trace.messages(2234),
              (std::vector<std::string>{start + "written 2 of 12 bytes. Remaining data = 10 bytes "}));
    EXPECT_EQ(trace.messages(2235), (std::vector<std::string>{start + "written 3 bytes. Remaining data = 7 bytes ",
                                                              start + "written 1 bytes. Remaining data = 6 bytes "}));
    EXPECT_EQ(trace.messages(2236),
              (std::vector<std::string>{start + "block type=0000007A ", start + "block type=00000077 "}));
    EXPECT_EQ(trace.messages(2237), (std::vector<std::string>{start + "written 2 bytes. Remaining data = 4 bytes ",
                                                              start + "written 4 bytes. Remaining data = 0 bytes "}));
}

TEST(SplitValue, OnceShortBlocksBeginEveryBlockIsTakenAsShort) {
    EXPECT_EQ(parsed(oneResponse(2)
                         .firstBlock("ID", 8, 2 + 4 + 2, "ab")
                         .shortBlock("cd")
                         .shortBlock("ef", 'z')
                         .shortBlock("gh", 0)
                         .endOfStat()
                         .shortStat("b", "2")),
              oneElement(2).text("ID").text("abcdefgh").text("b").text("2").terminated());
}

TEST(SplitValue, TheShortBlockLengthIsUnsigned) {
    const std::string part = digits(255);
    EXPECT_EQ(parsed(oneResponse(1).firstBlock("ID", 257, 2 + 4 + 2, "ab").shortBlock(part).endOfStat()),
              oneElement(1).text("ID").text("ab" + part).terminated());
}

TEST(SplitValue, BlocksThatExceedTheRemainderAreWrittenWhole) {
    EXPECT_EQ(
        parsed(oneResponse(2).firstBlock("ID", 5, 2 + 4 + 2, "ab").longBlock("cdefgh").endOfStat().shortStat("b", "2")),
        oneElement(2).text("ID").word(5).raw("abcdefgh").text("b").text("2").terminated());
    EXPECT_EQ(parsed(oneResponse(2)
                         .firstBlock("ID", 5, 2 + 4 + 2, "ab")
                         .shortBlock("c")
                         .shortBlock("defgh")
                         .endOfStat()
                         .shortStat("b", "2")),
              oneElement(2).text("ID").word(5).raw("abcdefgh").text("b").text("2").terminated());
}

TEST(SplitValue, ALongValueThatIsWrittenLongerThanItSaysIsWalkedInsideTheBuffer) {
    ResultBuffer result(256);
    EXPECT_EQ(
        parse(stapi::parseStatsData,
              oneResponse(1).firstBlock("ID", 5, 2 + 4 + 2, "ab").longBlock("cdefgh").endOfStat().bytes(), &result),
        0);
    EXPECT_EQ(walk(&result, true), (std::vector<std::string>{"ID=abcde"}));
}

class UnknownContinuation : public testing::TestWithParam<int> {};

// The value stays shorter than its length, and the parse goes on two bytes behind the first block.
TEST_P(UnknownContinuation, LeavesTheValueAsItIs) {
    const Bytes twoBytes = BytesWriter().u8(static_cast<uint32_t>(GetParam())).u8(0xEE).bytes();
    EXPECT_EQ(parsed(oneResponse(2).firstBlock("ID", 5, 2 + 4 + 2, "ab").raw(twoBytes).shortStat("b", "2")),
              oneElement(2).text("ID").word(5).raw("ab").text("b").text("2").terminated());
}

INSTANTIATE_TEST_SUITE_P(Tags, UnknownContinuation, testing::Values(0, 'x', 'W', 0xFF));

TEST(SplitValue, AnUnknownTagAfterALongBlockEndsTheValueToo) {
    EXPECT_EQ(
        parsed(
            oneResponse(2).firstBlock("ID", 9, 2 + 4 + 2, "ab").longBlock("cd").raw(hex("78 EE")).shortStat("b", "2")),
        oneElement(2).text("ID").word(9).raw("abcd").text("b").text("2").terminated());
}

class NegativeContinuation : public testing::TestWithParam<uint32_t> {};

TEST_P(NegativeContinuation, LengthIsMalformed) {
    EXPECT_EQ(parsed(oneResponse(2)
                         .firstBlock("ID", 9, 2 + 4 + 2, "ab")
                         .longBlockOfLength(GetParam(), std::string(70000, 'c'))
                         .endOfStat(),
                     -122),
              oneElement(2).text("ID").word(9).raw("ab").terminated());
}

INSTANTIATE_TEST_SUITE_P(Lengths, NegativeContinuation, testing::Values(0x8000U, 0xFFFFU, 0x7FFF8000U));

TEST(SplitValue, ALongBlockOfTheGreatestLengthIsTaken) {
    const std::string part(0x7FFF, 'c');
    EXPECT_EQ(parsed(oneResponse(1).firstBlock("ID", 0x7FFF, 2 + 4, "").longBlock(part).endOfStat()),
              oneElement(1).text("ID").text(part).terminated());
}

TEST(SplitValue, TheGreatestChunkHoldsTheGreatestPart) {
    const std::string part(0x7FFF - 6, 'c');
    EXPECT_EQ(parsed(oneResponse(1).firstBlock("ID", 0x7FFF, 0x7FFF, part).shortBlock("123456").endOfStat()),
              oneElement(1).text("ID").text(part + "123456").terminated());
}

TEST(SplitValue, EmptyBlocksInBetweenAreReadOver) {
    EXPECT_EQ(parsed(oneResponse(1)
                         .firstBlock("ID", 6, 2 + 4 + 2, "ab")
                         .longBlock("")
                         .longBlock("cd")
                         .longBlock("")
                         .shortBlock("")
                         .shortBlock("ef")
                         .endOfStat()),
              oneElement(1).text("ID").text("abcdef").terminated());
}

TEST(SplitValue, AFittingLongBlockAfterASplitOneUsesItsOwnChunkLength) {
    EXPECT_EQ(parsed(oneResponse(4)
                         .firstBlock("a", 4, 1 + 4 + 2, "12")
                         .shortBlock("34")
                         .endOfStat()
                         .shortStat("b", "a longer value")
                         .longStat("c", "another value")
                         .firstBlock("d", 4, 1 + 4 + 1, "5")
                         .longBlock("678")
                         .endOfStat()),
              oneElement(4)
                  .text("a")
                  .text("1234")
                  .text("b")
                  .text("a longer value")
                  .text("c")
                  .text("another value")
                  .text("d")
                  .text("5678")
                  .terminated());
}

TEST(SplitValue, TheTwoBytesBehindTheLastBlockMayBeMissing) {
    EXPECT_EQ(parsed(oneResponse(1).firstBlock("ID", 4, 2 + 4 + 2, "ab").longBlock("cd")),
              oneElement(1).text("ID").text("abcd").terminated());
    EXPECT_EQ(parsed(oneResponse(1).firstBlock("ID", 4, 2 + 4 + 2, "ab").shortBlock("cd")),
              oneElement(1).text("ID").text("abcd").terminated());
}

TEST(SplitValue, AMissingContinuationIsMinus122) {
    EXPECT_EQ(parsed(oneResponse(1).firstBlock("ID", 4, 2 + 4 + 2, "ab"), -122),
              oneElement(1).text("ID").word(4).raw("ab").terminated());
}

}  // namespace

}  // namespace wire_test
