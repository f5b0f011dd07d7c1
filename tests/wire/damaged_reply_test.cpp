// Replies cut off at every byte, and replies with random damage: no read outside, and a buffer that can be walked.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "comms/stapi_zul_statcomms.h"
#include "reply_payload.h"
#include "result_buffer.h"

namespace wire_test {

namespace {

constexpr int32_t kCapacity = 512;

struct Reply {
    const char* name;
    bool isStatistics;
    Bytes payload;
    size_t skippedAtEnd;  // bytes that only a skip would take
};

std::ostream& operator<<(std::ostream& stream, const Reply& damaged) {
    return stream << damaged.name;
}

Parser parserOf(const Reply& damaged) {
    return damaged.isStatistics ? stapi::parseStatsData : stapi::parseIdsData;
}

ReplyPayload oneStatsResponse(uint32_t count) {
    return ReplyPayload().single().statsResponse("QUERY", 0, count);
}

std::vector<Reply> replies() {
    const std::string filler(300, 'f');
    return {
        {"SingleIds", false, ReplyPayload().single().idResponse("QUERY", 0, {"one", "", "three"}).bytes(), 1},
        {"LongBlockIds", false, ReplyPayload().single().idResponse("QUERY", 0, {"one"}, 'z').bytes(), 1},
        {"NoIds", false, ReplyPayload().single().idResponse("QUERY", 0, {}).bytes(), 1},
        {"FailedIds", false, ReplyPayload().single().failedResponse("QUERY", -1).bytes(), 1},
        {"SeveralIds", false,
         ReplyPayload()
             .multi(3)
             .idResponse("A", 0, {"one", "two"})
             .failedResponse("B", -7)
             .idResponse("C", 3, {filler, "last"})
             .bytes(),
         1},
        {"ShortStats", true, oneStatsResponse(2).shortStat("one", "1").shortStat("two", "").bytes(), 2},
        {"LongStats", true, oneStatsResponse(2).longStat("one", "1").longStat("two", filler).bytes(), 2},
        {"NoStats", true, oneStatsResponse(0).bytes(), 2 + 2 + 11 + 8},
        {"FailedStats", true, ReplyPayload().single().failedResponse("QUERY", -1).bytes(), 1},
        {"SplitStats", true,
         oneStatsResponse(2)
             .firstBlock("one", 12, 3 + 4 + 2, "ab")
             .longBlock("cdef")
             .shortBlock("ghi")
             .shortBlock("jkl")
             .endOfStat()
             .firstBlock("two", 9, 3 + 4 + 2, "ab")
             .longBlock("cdefghi")
             .endOfStat()
             .bytes(),
         2},
        {"SeveralStats", true,
         ReplyPayload()
             .multi(3)
             .statsResponse("A", 0, 1)
             .shortStat("a", filler)
             .failedResponse("B", -7)
             .statsResponse("C", 0, 2, 'z')
             .longStat("c", "1")
             .shortStat("d", "2", 'x')
             .bytes(),
         2},
    };
}

class DamagedReply : public testing::TestWithParam<Reply> {};

// Whether the content is a beginning of the whole one: the same pieces up to some place, and then the terminator.
bool isBeginningOf(const Bytes& content, const Bytes& whole) {
    const size_t common = content.size() - 4;
    return content.size() >= 16 && content.size() <= whole.size() &&
           std::equal(content.begin(), content.begin() + static_cast<ptrdiff_t>(common), whole.begin()) &&
           std::equal(content.end() - 4, content.end(), whole.end() - 4);
}

TEST_P(DamagedReply, CutOffAnywhereIsMinus122UnlessOnlySkippedBytesAreMissing) {
    const Reply& damaged = GetParam();
    ResultBuffer whole(kCapacity);
    ASSERT_EQ(parse(parserOf(damaged), damaged.payload, &whole), 0);
    const Bytes wholeContent = whole.content();
    const size_t responseCountEnd = damaged.payload[0] == 1 ? 5 : 0;
    for (size_t size = 0; size < damaged.payload.size(); ++size) {
        const Bytes cut(damaged.payload.begin(), damaged.payload.begin() + static_cast<ptrdiff_t>(size));
        ResultBuffer result(kCapacity);
        const int32_t rc = parse(parserOf(damaged), cut, &result);
        EXPECT_EQ(rc, size + damaged.skippedAtEnd >= damaged.payload.size() ? 0 : -122) << size << " bytes";
        const Bytes content = result.content();
        if (rc == 0) {
            EXPECT_EQ(content, wholeContent);
        } else if (size < responseCountEnd) {
            EXPECT_EQ(content.size(), 16U) << size << " bytes";
        } else {
            EXPECT_TRUE(isBeginningOf(content, wholeContent)) << size << " bytes";
        }
        EXPECT_NO_THROW(walk(&result, damaged.isStatistics)) << size << " bytes";
    }
}

// A small buffer, so that the growth is part of it.
TEST_P(DamagedReply, WithRandomBytesEndsWithACodeAndABufferThatCanBeWalked) {
    const Reply& damaged = GetParam();
    std::mt19937 random(20250408);
    for (int round = 0; round < 2000; ++round) {
        Bytes payload = damaged.payload;
        const size_t changes = 1 + random() % 4;
        for (size_t change = 0; change < changes; ++change) {
            payload[random() % payload.size()] = static_cast<uint8_t>(random());
        }
        if (random() % 4 == 0) {
            payload.resize(random() % payload.size());
        }
        ResultBuffer result(32);
        const int32_t rc = parse(parserOf(damaged), payload, &result);
        ASSERT_TRUE(rc == 0 || rc == -122) << "round " << round << ": " << rc;
        ASSERT_NO_THROW(walk(&result, damaged.isStatistics)) << "round " << round;
    }
}

constexpr uint8_t kExtremes[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, 0x77, 0x7A};

// Lengths that matter are those with the highest bits; random bytes seldom hit them.
TEST_P(DamagedReply, WithAnExtremeByteAnywhereEndsWithACodeAndABufferThatCanBeWalked) {
    const Reply& damaged = GetParam();
    for (size_t place = 0; place < damaged.payload.size(); ++place) {
        for (const uint8_t value : kExtremes) {
            Bytes payload = damaged.payload;
            payload[place] = value;
            ResultBuffer result(32);
            const int32_t rc = parse(parserOf(damaged), payload, &result);
            ASSERT_TRUE(rc == 0 || rc == -122) << "byte " << place << ": " << rc;
            ASSERT_NO_THROW(walk(&result, damaged.isStatistics)) << "byte " << place;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Replies, DamagedReply, testing::ValuesIn(replies()),
                         [](const testing::TestParamInfo<Reply>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

class HugeCount : public testing::TestWithParam<uint32_t> {};

TEST_P(HugeCount, OfResponsesEndsAtThePayloadsEnd) {
    for (const bool isStatistics : {false, true}) {
        ResultBuffer result(kCapacity);
        const Bytes payload = ReplyPayload().multi(GetParam()).failedResponse("A", -1).bytes();
        EXPECT_EQ(parse(isStatistics ? stapi::parseStatsData : stapi::parseIdsData, payload, &result), -122);
        EXPECT_NO_THROW(walk(&result, isStatistics));
    }
}

TEST_P(HugeCount, OfIdsEndsAtThePayloadsEnd) {
    ResultBuffer result(kCapacity);
    const Bytes payload = ReplyPayload()
                              .single()
                              .responseHead()
                              .queryElement("A", 0)
                              .raw(BytesWriter().u32(GetParam()).text("one").bytes())
                              .bytes();
    EXPECT_EQ(parse(stapi::parseIdsData, payload, &result), -122);
    EXPECT_EQ(result.content(), idSet(1).text("A").word(0).word(GetParam()).text("one").terminated());
}

TEST_P(HugeCount, OfStatisticsEndsAtThePayloadsEnd) {
    ResultBuffer result(kCapacity);
    EXPECT_EQ(parse(stapi::parseStatsData, oneStatsResponse(GetParam()).shortStat("a", "1").bytes(), &result), -122);
    EXPECT_EQ(result.content(), statSet(1).text("QUERY").word(0).word(GetParam()).text("a").text("1").terminated());
    EXPECT_NO_THROW(walk(&result, true));
}

INSTANTIATE_TEST_SUITE_P(Counts, HugeCount, testing::Values(1000000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU));

TEST(DamagedReplies, AnEmptyPayloadIsMinus122) {
    for (const bool isStatistics : {false, true}) {
        ResultBuffer result(kCapacity);
        EXPECT_EQ(parse(isStatistics ? stapi::parseStatsData : stapi::parseIdsData, {}, &result), -122);
        EXPECT_EQ(result.content(), (isStatistics ? statSet(1) : idSet(1)).terminated());
    }
}

TEST(DamagedReplies, AResponseCountCutOffIsMinus122EvenIfWhatIsThereOfItIsZero) {
    for (const bool isStatistics : {false, true}) {
        for (const char* const payload : {"01", "01 00", "01 00 00", "01 00 00 00"}) {
            ResultBuffer result(kCapacity);
            EXPECT_EQ(parse(isStatistics ? stapi::parseStatsData : stapi::parseIdsData, hex(payload), &result), -122)
                << (isStatistics ? "statistics " : "ids ") << payload;
        }
    }
}

TEST(DamagedReplies, RandomPayloadsEndWithACodeAndABufferThatCanBeWalked) {
    std::mt19937 random(1235);
    for (int round = 0; round < 4000; ++round) {
        Bytes payload(random() % 200);
        std::generate(payload.begin(), payload.end(), [&random] {
            constexpr uint8_t kLikely[] = {0, 0, 0, 0, 1, 2, 'w', 'z'};
            return random() % 4 == 0 ? static_cast<uint8_t>(random()) : kLikely[random() % sizeof kLikely];
        });
        for (const bool isStatistics : {false, true}) {
            ResultBuffer result(16);
            const int32_t rc = parse(isStatistics ? stapi::parseStatsData : stapi::parseIdsData, payload, &result);
            ASSERT_TRUE(rc == 0 || rc == -122) << "round " << round << ": " << rc;
            ASSERT_NO_THROW(walk(&result, isStatistics)) << "round " << round;
        }
    }
}

}  // namespace

}  // namespace wire_test
