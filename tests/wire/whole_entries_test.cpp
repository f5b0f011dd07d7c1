// Where nothing is traced, a parser hands on whole ids and statistics at once; traced, it takes them field by field. A
// result set may not tell which of the two it was: for every reply, whole or damaged, both ways give the same code, the
// same capacity and the same bytes.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "comms/stapi_zul_statcomms.h"
#include "reply_payload.h"
#include "result_buffer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::AllocationFault;
using test_support::TraceCapture;

struct ReplyCase {
    Bytes payload;
    int32_t capacity;
    int64_t failingGrowth = 0;  // counted from 1; 0: none
};

struct Outcome {
    int32_t rc;
    int32_t capacity;
    Bytes content;  // of a buffer that is gone: none
    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    return stream << outcome.rc << ", capacity " << outcome.capacity << ": " << test_support::shown(outcome.content);
}

Outcome outcomeOf(Parser parser, const ReplyCase& reply) {
    constexpr int64_t kAllocationsBeforeGrowths = 1;  // the block for the payload
    ResultBuffer result(reply.capacity);
    int32_t rc = 0;
    if (reply.failingGrowth > 0) {
        const AllocationFault fault(kAllocationsBeforeGrowths + reply.failingGrowth);
        rc = parse(parser, reply.payload, &result);
    } else {
        rc = parse(parser, reply.payload, &result);
    }
    return {rc, result.capacity, result.buffer == nullptr ? Bytes() : result.content()};
}

std::vector<Outcome> outcomesOf(Parser parser, const std::vector<ReplyCase>& replies) {
    std::vector<Outcome> outcomes;
    outcomes.reserve(replies.size());
    for (const ReplyCase& reply : replies) {
        outcomes.push_back(outcomeOf(parser, reply));
    }
    return outcomes;
}

void expectTheSameTraced(Parser parser, const std::vector<ReplyCase>& replies) {
    ASSERT_FALSE(replies.empty());
    const std::vector<Outcome> silent = outcomesOf(parser, replies);
    const TraceCapture trace(4);
    const std::vector<Outcome> traced = outcomesOf(parser, replies);
    for (size_t index = 0; index < replies.size(); ++index) {
        ASSERT_EQ(silent[index], traced[index])
            << "capacity " << replies[index].capacity << ", growth that fails " << replies[index].failingGrowth
            << ", payload " << test_support::shown(replies[index].payload);
    }
}

// Every kind of statistic between whole ones, and every kind of response.
Bytes everyStatistic() {
    return ReplyPayload()
        .multi(4)
        .statsResponse("AB", 0, 9)
        .shortStat("a", "1")
        .longStat("bb", "value")
        .firstBlock("split", 12, 5 + 4 + 4, "left")
        .longBlock("half")
        .shortBlock("tail")
        .endOfStat()
        .shortStat("", "")
        .longStat("c", "exact", 1 + 4 + 5)
        .longStat("d", "a longer block", 200)
        .shortStat("other tag", "v", 'x')
        .shortStat(std::string(40, 'i'), std::string(70, 'v'))
        .shortStat("last", "9")
        .failedResponse("B", -3)
        .statsResponse("", 7, 0)
        .statsResponse("C", 1, 2)
        .longStat("c1", "")
        .shortStat("c2", "2")
        .bytes();
}

Bytes everyId() {
    return ReplyPayload()
        .multi(4)
        .idResponse("AB", 0, {"a", "", "an id", std::string_view("an id of more than thirty-two bytes"), "z"})
        .failedResponse("B", -3)
        .idResponse("", 7, {})
        .idResponse("C", 1, {"c1", "c2"})
        .bytes();
}

struct KindOfReply {
    const char* name;
    Parser parser;
    Bytes (*everything)();
};

class WholeEntries : public testing::TestWithParam<KindOfReply> {
  protected:
    static void expectTheSame(const std::vector<ReplyCase>& replies) {
        expectTheSameTraced(GetParam().parser, replies);
    }
};

TEST_P(WholeEntries, AreTheSameForBuffersOfEveryCapacity) {
    std::vector<ReplyCase> replies;
    for (int32_t capacity = 16; capacity < 600; ++capacity) {
        replies.push_back({GetParam().everything(), capacity});
    }
    expectTheSame(replies);
}

TEST_P(WholeEntries, AreTheSameWhereverAReplyIsCutOff) {
    std::vector<ReplyCase> replies;
    Bytes payload = GetParam().everything();
    while (!payload.empty()) {
        payload.pop_back();
        replies.push_back({payload, 16});
        replies.push_back({payload, 100});
        replies.push_back({payload, 4096});
    }
    expectTheSame(replies);
}

TEST_P(WholeEntries, AreTheSameWhicheverByteIsDamaged) {
    const Bytes payload = GetParam().everything();
    std::vector<ReplyCase> replies;
    for (size_t position = 0; position < payload.size(); ++position) {
        for (const uint8_t value : {uint8_t{0}, uint8_t{1}, uint8_t{0x7F}, uint8_t{0x80}, uint8_t{0xFF}}) {
            Bytes damaged = payload;
            damaged[position] = value;
            replies.push_back({damaged, 64});
        }
    }
    expectTheSame(replies);
}

TEST_P(WholeEntries, AreTheSameWhicheverGrowthFails) {
    std::vector<ReplyCase> replies;
    for (int64_t growth = 1; growth <= 8; ++growth) {
        for (const int32_t capacity : {16, 30, 100}) {
            replies.push_back({GetParam().everything(), capacity, growth});
        }
    }
    expectTheSame(replies);
}

INSTANTIATE_TEST_SUITE_P(Replies, WholeEntries,
                         testing::Values(KindOfReply{"Statistics", stapi::parseStatsData, everyStatistic},
                                         KindOfReply{"Ids", stapi::parseIdsData, everyId}),
                         [](const auto& instance) { return std::string(instance.param.name); });

// What a block says of its room may be negative, or end within the id: such a value is split before its first byte.
TEST(WholeStatistics, AreTheSameForEveryLengthOfTheirBlock) {
    std::vector<ReplyCase> replies;
    for (const uint32_t upperHalf : {0U, 0x10000U, 0xFFFF0000U}) {
        for (const uint32_t length :
             {0U, 1U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 0x7FFFU, 0x8000U, 0x8004U, 0xFFFFU}) {
            const Bytes payload = ReplyPayload()
                                      .single()
                                      .statsResponse("Q", 0, 3)
                                      .shortStat("a", "1")
                                      .longStat("id", "1234", upperHalf | length)
                                      .shortStat("z", "2")
                                      .bytes();
            replies.push_back({payload, 64});
            replies.push_back({payload, 16});
        }
    }
    expectTheSameTraced(stapi::parseStatsData, replies);
}

// What follows them is not theirs, also where a growth comes between them.
TEST(WholeStatistics, AreNoMoreThanTheirNumberSays) {
    const Bytes payload = ReplyPayload()
                              .single()
                              .statsResponse("Q", 0, 2)
                              .shortStat("a", "1")
                              .shortStat("b", "2")
                              .shortStat("c", "3")
                              .bytes();
    const Bytes expected = statSet(1).text("Q").word(0).word(2).text("a").text("1").text("b").text("2").terminated();
    for (const int32_t capacity : {16, 40, 4096}) {
        ResultBuffer result(capacity);
        EXPECT_EQ(parse(stapi::parseStatsData, payload, &result), 0);
        EXPECT_EQ(result.content(), expected) << capacity;
    }
}

// Behind a whole one that did not fit, the next ones are taken whole again.
TEST(WholeStatistics, GoOnBehindAGrowth) {
    ReplyPayload payload = ReplyPayload().single().statsResponse("Q", 0, 200);
    SetBytes expected = statSet(1).text("Q").word(0).word(200);
    for (int index = 0; index < 200; ++index) {
        const std::string id = "id" + std::to_string(index);
        const std::string value(static_cast<size_t>(index % 37), 'v');
        payload.shortStat(id, value);
        expected.text(id).text(value);
    }
    ResultBuffer result(16);
    EXPECT_EQ(parse(stapi::parseStatsData, payload.bytes(), &result), 0);
    EXPECT_EQ(result.content(), expected.terminated());
}

TEST(WholeIds, GoOnBehindAGrowth) {
    std::vector<std::string> ids;
    for (int index = 0; index < 200; ++index) {
        ids.push_back(std::string(static_cast<size_t>(index % 41), 'i'));
    }
    SetBytes expected = idSet(1).text("Q").word(0).word(200);
    for (const std::string& id : ids) {
        expected.text(id);
    }
    ResultBuffer result(16);
    const std::vector<std::string_view> views(ids.begin(), ids.end());
    EXPECT_EQ(parse(stapi::parseIdsData, ReplyPayload().single().idResponse("Q", 0, views).bytes(), &result), 0);
    EXPECT_EQ(result.content(), expected.terminated());
}

TEST(WholeIds, AreNoMoreThanTheirNumberSays) {
    const Bytes payload = ReplyPayload()
                              .single()
                              .responseHead()
                              .queryElement("Q", 0)
                              .raw(hex("00000003 0001 61 0001 62 0001 63 0001 64 0001 65"))
                              .bytes();
    const Bytes expected = idSet(1).text("Q").word(0).word(3).text("a").text("b").text("c").terminated();
    for (const int32_t capacity : {16, 32, 4096}) {
        ResultBuffer result(capacity);
        EXPECT_EQ(parse(stapi::parseIdsData, payload, &result), 0);
        EXPECT_EQ(result.content(), expected) << capacity;
    }
}

// Texts are copied in pieces by their length: none of them changes a byte beside it.
TEST(WholeIds, OfEveryLengthAreCopiedToTheirLastByte) {
    std::vector<std::string> ids;
    SetBytes expected = idSet(1).text("Q").word(0).word(70);
    for (size_t length = 0; length < 70; ++length) {
        std::string id;
        for (size_t index = 0; index < length; ++index) {
            id += static_cast<char>('0' + index);
        }
        ids.push_back(id);
        expected.text(id);
    }
    ResultBuffer result(8192);
    const std::vector<std::string_view> views(ids.begin(), ids.end());
    EXPECT_EQ(parse(stapi::parseIdsData, ReplyPayload().single().idResponse("Q", 0, views).bytes(), &result), 0);
    EXPECT_EQ(result.content(), expected.terminated());
}

}  // namespace

}  // namespace wire_test
