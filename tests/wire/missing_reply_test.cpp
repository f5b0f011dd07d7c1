// Replies of which a part never arrived: what is merely announced reads as zero, and costs neither memory nor time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "reply_payload.h"
#include "result_buffer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using ArrivedParser = int32_t (*)(const uint8_t*, char**, int32_t*, size_t, const stapi::KnownZeros&);

struct MissingCase {
    const char* name;
    ArrivedParser parser;
    Bytes payload;
};

// Of both kinds, with several elements, entries of both kinds of blocks, and a value that is split.
std::vector<MissingCase> missingCases() {
    const Bytes ids = ReplyPayload()
                          .multi(3)
                          .idResponse("first", 0, {"one", "two", "three"})
                          .failedResponse("second", -5)
                          .idResponse("third", 0, {"four"})
                          .bytes();
    const Bytes statistics = ReplyPayload()
                                 .single()
                                 .statsResponse("Q", 0, 3)
                                 .shortStat("one", "1")
                                 .longStat("two", std::string(300, '2'))
                                 .shortStat("three", "3")
                                 .bytes();
    return {{"ids", stapi::parseArrivedIds, ids}, {"statistics", stapi::parseArrivedStats, statistics}};
}

struct Parsed {
    int32_t rc;
    int32_t capacity;
    Bytes buffer;
};

Parsed parsed(const MissingCase& missing, const Bytes& payload, const stapi::KnownZeros& known) {
    constexpr int32_t kSmall = 64;
    ResultBuffer result(kSmall);
    const int32_t rc = missing.parser(payload.data(), &result.buffer, &result.capacity, payload.size(), known);
    const size_t size = result.buffer == nullptr ? 0 : static_cast<size_t>(result.capacity);
    return {rc, result.capacity, bytesAt(result.buffer, size)};
}

class MissingReply : public testing::TestWithParam<MissingCase> {};

TEST_P(MissingReply, GivesTheSameWhetherItsZerosAreKnownOrNot) {
    constexpr size_t kAnnouncedBehind = 5000;
    const Bytes& whole = GetParam().payload;
    for (size_t arrived = 0; arrived <= whole.size(); ++arrived) {
        Bytes payload(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(arrived));
        payload.resize(whole.size() + kAnnouncedBehind);
        stapi::TouchedBytes touched = {sizeof stapi::kTerminator, 0};
        const Parsed known = parsed(GetParam(), payload, {.arrived = arrived, .touched = &touched});
        const Parsed unknown = parsed(GetParam(), payload, {});
        EXPECT_EQ(known.rc, unknown.rc) << "cut at " << arrived;
        EXPECT_EQ(known.capacity, unknown.capacity) << "cut at " << arrived;
        EXPECT_EQ(known.buffer, unknown.buffer) << "cut at " << arrived;
    }
}

// What an earlier reply has left in the buffer must not show through.
TEST_P(MissingReply, IsZeroAlsoWhereAnEarlierReplyWasLonger) {
    const Bytes& whole = GetParam().payload;
    Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(whole.size() / 2));
    const size_t arrived = cut.size();
    cut.resize(whole.size() + 40);
    ResultBuffer kept(4096);
    stapi::TouchedBytes touched = {sizeof stapi::kTerminator, 0};
    ASSERT_EQ(GetParam().parser(whole.data(), &kept.buffer, &kept.capacity, whole.size(),
                                {.arrived = whole.size(), .touched = &touched}),
              0);
    const int32_t rc = GetParam().parser(cut.data(), &kept.buffer, &kept.capacity, cut.size(),
                                         {.arrived = arrived, .touched = &touched});
    ResultBuffer fresh(4096);
    EXPECT_EQ(rc, GetParam().parser(cut.data(), &fresh.buffer, &fresh.capacity, cut.size(), {}));
    const Bytes expected = fresh.content();
    EXPECT_EQ(bytesAt(kept.buffer, expected.size()), expected);
}

INSTANTIATE_TEST_SUITE_P(Kinds, MissingReply, testing::ValuesIn(missingCases()),
                         [](const testing::TestParamInfo<MissingCase>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

// What a connection's buffer holds after a reply: the set, and behind what is known to be touched nothing but zeros,
// the terminator aside.
void expectAsFresh(const Bytes& payload, size_t arrived, ArrivedParser parser, ResultBuffer* kept,
                   stapi::TouchedBytes* touched) {
    const int32_t rc = parser(payload.data(), &kept->buffer, &kept->capacity, payload.size(),
                              {.arrived = arrived, .touched = touched});
    ResultBuffer fresh(kept->capacity);
    EXPECT_EQ(rc, parser(payload.data(), &fresh.buffer, &fresh.capacity, payload.size(), {}));
    const Bytes expected = fresh.content();
    EXPECT_EQ(bytesAt(kept->buffer, expected.size()), expected);
    const size_t terminator = touched->terminator;
    for (size_t index = touched->first; index < stapi::resultSetAllocation(kept->capacity); ++index) {
        const bool isOfTerminator = index >= terminator && index < terminator + sizeof stapi::kTerminator;
        ASSERT_TRUE(isOfTerminator || kept->buffer[index] == 0) << "byte " << index << " counts as untouched";
    }
}

Bytes idReplyOfSize(size_t idLength) {
    const std::string id(idLength, 'i');
    return ReplyPayload().single().idResponse("Q", 0, {id}).bytes();
}

// A terminator then stands across the end of what the longer set has touched.
TEST(KeptResultSet, IsAsOneOfAFreshBufferWhenItShrinksByAFewBytesAndEndsInZeros) {
    for (size_t shrunkBy = 1; shrunkBy <= 8; ++shrunkBy) {
        for (size_t emptyAfter = 0; emptyAfter <= 60; ++emptyAfter) {
            ResultBuffer kept(4096);
            stapi::TouchedBytes touched = {sizeof stapi::kTerminator, 0};
            for (const Bytes& payload :
                 {idReplyOfSize(60), idReplyOfSize(60 - shrunkBy),
                  ReplyPayload().single().idResponse("Q", 0, {std::string(emptyAfter, 'e'), "", ""}).bytes()}) {
                expectAsFresh(payload, payload.size(), stapi::parseArrivedIds, &kept, &touched);
            }
        }
    }
}

TEST(KeptResultSet, IsAsOneOfAFreshBufferWhateverCameBefore) {
    std::mt19937_64 random(20);
    const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    ResultBuffer kept(512);
    stapi::TouchedBytes touched = {sizeof stapi::kTerminator, 0};
    for (int round = 0; round < 3000 && !testing::Test::HasFailure(); ++round) {
        ReplyPayload reply;
        const uint32_t elements = 1 + below(4);
        const bool isStatistics = below(2) == 0;
        reply.multi(elements);
        for (uint32_t element = 0; element < elements; ++element) {
            const std::string text(below(12), 'q');
            const uint32_t entries = below(5);
            if (isStatistics && entries > 0) {
                reply.statsResponse(text, 0, entries);
                for (uint32_t entry = 0; entry < entries; ++entry) {
                    reply.shortStat(std::string(below(6), 'i'), std::string(below(9), 'v'));
                }
            } else if (isStatistics) {
                reply.failedResponse(text, -1);
            } else {
                const std::string id(below(9), 'i');
                reply.idResponse(text, 0, std::vector<std::string_view>(entries, id));
            }
        }
        Bytes payload = reply.bytes();
        const size_t arrived = below(3) == 0 ? below(static_cast<uint32_t>(payload.size())) : payload.size();
        std::fill(payload.begin() + static_cast<ptrdiff_t>(arrived), payload.end(), uint8_t{0});
        expectAsFresh(payload, arrived, isStatistics ? stapi::parseArrivedStats : stapi::parseArrivedIds, &kept,
                      &touched);
    }
}

// A payload of which nothing but the head of one query element has arrived, with that many entries announced.
Bytes headWithCount(uint32_t count, bool isStatistics) {
    Bytes head = isStatistics ? ReplyPayload().single().statsResponse("Q", 0, 0).bytes()
                              : ReplyPayload().single().idResponse("Q", 0, {}).bytes();
    const std::string code = {0, 0, 0, 0};
    const size_t place = std::string(head.begin(), head.end()).find(std::string("\0\1Q", 3) + code) + 3 + code.size();
    const Bytes digits = {static_cast<uint8_t>(count >> 24), static_cast<uint8_t>(count >> 16),
                          static_cast<uint8_t>(count >> 8), static_cast<uint8_t>(count)};
    head.resize(place);
    head.insert(head.end(), digits.begin(), digits.end());
    return head;
}

struct HugeCase {
    const char* name;
    ArrivedParser parser;
    bool isStatistics;
};

class HugeMissingReply : public testing::TestWithParam<HugeCase> {};

// The payload stays as untouched as the buffer, so that the test itself takes no memory either.
TEST_P(HugeMissingReply, WritesNoneOfItsMillionsOfEmptyEntries) {
    constexpr size_t kAnnounced = size_t{1} << 29;
    constexpr uint32_t kEntries = 1U << 25;
    const Bytes head = headWithCount(kEntries, GetParam().isStatistics);
    const stapi::MemoryHolder<uint8_t> payload(static_cast<uint8_t*>(stapi::allocateMemory(kAnnounced)));
    ASSERT_NE(payload, nullptr);
    std::memcpy(payload.get(), head.data(), head.size());
    ResultBuffer result(32768);
    stapi::TouchedBytes touched = {sizeof stapi::kTerminator, 0};
    EXPECT_EQ(GetParam().parser(payload.get(), &result.buffer, &result.capacity, kAnnounced,
                                {.arrived = head.size(), .touched = &touched}),
              0);
    const size_t entrySize = GetParam().isStatistics ? 8 : 4;
    constexpr size_t kBeforeEntries = 8 + 4 + 4 + 1 + 4 + 4;
    EXPECT_EQ(touched.first, kBeforeEntries);
    EXPECT_EQ(touched.terminator, kBeforeEntries + kEntries * entrySize);
    EXPECT_GE(static_cast<size_t>(result.capacity), kEntries * entrySize);
    uint32_t terminator = 0;
    std::memcpy(&terminator, result.buffer + touched.terminator, sizeof terminator);
    EXPECT_EQ(terminator, stapi::kTerminator);
    // A short reply behind it leaves zeros where the terminator stood.
    const Bytes next = ReplyPayload().single().idResponse("Q", 0, {"A"}).bytes();
    const size_t before = touched.terminator;
    EXPECT_EQ(stapi::parseArrivedIds(next.data(), &result.buffer, &result.capacity, next.size(),
                                     {.arrived = next.size(), .touched = &touched}),
              0);
    std::memcpy(&terminator, result.buffer + before, sizeof terminator);
    EXPECT_EQ(terminator, 0U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, HugeMissingReply,
                         testing::Values(HugeCase{"ids", stapi::parseArrivedIds, false},
                                         HugeCase{"statistics", stapi::parseArrivedStats, true}),
                         [](const testing::TestParamInfo<HugeCase>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

}  // namespace

}  // namespace wire_test
