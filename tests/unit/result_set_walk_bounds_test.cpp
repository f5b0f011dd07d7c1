// Walks over damaged buffers: whatever the bytes are, no step leaves the buffer and every walk ends.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using unit_test::HeldSet;
using unit_test::SetBytes;

constexpr size_t kWordSize = 4;

template <typename Kind>
class RsWalkBounds : public unit_test::TracedTest {
  protected:
    using Record = typename Kind::Record;
    using Step = int32_t (*)(ResultSetToken*, Record*);

    // All that a set can hold: answered and failed blocks, long, short and empty texts, a block without entries.
    static std::string everything() {
        SetBytes bytes(Kind::kEyecatcher, 6);
        addBlock(bytes, "RG-ONE", 0, {"alpha", "b", ""});
        bytes.failedBlock("RX", -5);
        addBlock(bytes, "", 0, {std::string(40, 'l')});
        addBlock(bytes, "RG4", 4, {"delta", "epsilon"});
        bytes.failedBlock("", -1);
        addBlock(bytes, "RG-LAST", 0, {"z"});
        bytes.block("NONE", 0, 0);
        return bytes.end().bytes();
    }
    static void addBlock(SetBytes& bytes, const std::string& queryElement, int32_t code,
                         const std::vector<std::string>& entries) {
        bytes.block(queryElement, code, static_cast<uint32_t>(entries.size()));
        for (const std::string& entry : entries) {
            Kind::addEntry(bytes, entry);
        }
    }

    // Walks to the end, and checks every step on the way.
    static void expectBoundedWalk(HeldSet& held, Step firstStep) {
        Record record = unit_test::unusedRecord<Record>();
        size_t steps = 0;
        int32_t rc = firstStep(held.token(), &record);
        while (rc == STAPI_RC_OK && steps <= mostSteps(held)) {
            ++steps;
            expectInside(held, record);
            rc = Kind::next(held.token(), &record);
        }
        EXPECT_EQ(rc, expectedEnd(held)) << "after " << steps << " steps";
        EXPECT_TRUE(held.bufferIsUnchanged());
    }
    // Every step but the last takes 4 bytes or more.
    static size_t mostSteps(const HeldSet& held) {
        return held.capacity() / kWordSize + 2;
    }
    static int32_t expectedEnd(const HeldSet& held) {
        return std::memcmp(held.buffer(), Kind::kEyecatcher, 8) == 0 ? STAPI_RC_END_OF_DATA : STAPI_RC_WRONG_CONTENT;
    }
    static void expectInside(HeldSet& held, const Record& record) {
        const ResultSetToken* const token = held.token();
        EXPECT_TRUE(held.holds(record.queryElementPtr, record.queryElementLen));
        EXPECT_TRUE(held.holds(token->dataCursor, 0));
        // The one length that may lead outside is that of the bogus entry of a block without entries.
        const bool hasRealEntry = record.queryElementRC >= 0 && token->elementResultCount != 0;
        EXPECT_TRUE(!hasRealEntry || Kind::entryLiesIn(held, record));
    }

    static void expectBounded(const std::string& bytes, char slackFill) {
        for (const Step firstStep : {Step{&Kind::first}, Step{&Kind::next}}) {
            HeldSet held(bytes, unit_test::kUserOwner, slackFill);
            expectBoundedWalk(held, firstStep);
        }
    }
};

TYPED_TEST_SUITE(RsWalkBounds, unit_test::WalkKinds, unit_test::WalkKindName);

constexpr char kSlackFills[] = {'\0', '\xFF', '\x01', '\x0F'};

TYPED_TEST(RsWalkBounds, TheUndamagedSetIsWalkedToItsEnd) {
    HeldSet held(this->everything(), unit_test::kUserOwner, '\0');
    typename TypeParam::Record record = {};
    size_t steps = 0;
    int32_t rc = TypeParam::first(held.token(), &record);
    for (; rc == STAPI_RC_OK; rc = TypeParam::next(held.token(), &record)) {
        ++steps;
    }
    EXPECT_EQ(rc, STAPI_RC_END_OF_DATA);
    const bool hasBogusEntry = std::string(TypeParam::kEyecatcher) == "ZULIDSET";
    EXPECT_EQ(steps, hasBogusEntry ? 10U : 9U);
}

TYPED_TEST(RsWalkBounds, BufferCutOffAtEveryByteEndsTheWalk) {
    const std::string whole = this->everything();
    for (size_t length = 8; length <= whole.size(); ++length) {
        for (const char slackFill : kSlackFills) {
            SCOPED_TRACE("cut off at " + std::to_string(length) + ", then " + std::to_string(slackFill));
            this->expectBounded(whole.substr(0, length), slackFill);
        }
    }
}

TYPED_TEST(RsWalkBounds, BufferCutOffWithTheTerminatorBehindItsCapacityEndsTheWalk) {
    const std::string whole = this->everything();
    const std::string mark = "\x0F\x0E\x0F\x0E";
    for (size_t length = 8; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        // As a parser leaves it: the mark in the place that is always there behind the capacity.
        HeldSet held(whole.substr(0, length) + mark, unit_test::kUserOwner, '\x55');
        held.token()->resultSetBufLen = static_cast<int32_t>(length);
        this->expectBoundedWalk(held, &TypeParam::first);
    }
}

TYPED_TEST(RsWalkBounds, EveryWordReplacedByEveryAwkwardValueEndsTheWalk) {
    const std::string whole = this->everything();
    const auto size = static_cast<uint32_t>(whole.size());
    const std::vector<uint32_t> values = {0,          1,          2,          size - 1,   size,
                                          size + 16,  0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFC,
                                          0xFFFFFFF0, 0x0E0F0E0F, 0x00010000, 0xFFFF0000};
    for (size_t position = 8; position + kWordSize <= whole.size(); ++position) {
        for (const uint32_t value : values) {
            SCOPED_TRACE(std::to_string(value) + " at " + std::to_string(position));
            std::string damaged = whole;
            damaged.replace(position, kWordSize, SetBytes().word(value).bytes());
            this->expectBounded(damaged, '\0');
        }
    }
}

TYPED_TEST(RsWalkBounds, RandomDamageEndsTheWalk) {
    const std::string whole = this->everything();
    std::mt19937 random(20240607);
    for (int round = 0; round < 4000; ++round) {
        SCOPED_TRACE(round);
        std::string damaged = whole;
        const size_t changes = 1 + random() % 6;
        for (size_t change = 0; change < changes; ++change) {
            damaged[8 + random() % (damaged.size() - 8)] = static_cast<char>(random() % 256);
        }
        this->expectBounded(damaged, static_cast<char>(random() % 256));
    }
}

TYPED_TEST(RsWalkBounds, RandomSmallWordsEndTheWalk) {
    std::mt19937 random(4711);
    for (int round = 0; round < 4000; ++round) {
        SCOPED_TRACE(round);
        SetBytes bytes;
        bytes.raw(TypeParam::kEyecatcher);
        const size_t words = random() % 40;
        for (size_t word = 0; word < words; ++word) {
            bytes.word(static_cast<uint32_t>(random() % 10) - 2);
        }
        this->expectBounded(bytes.bytes(), '\0');
    }
}

TYPED_TEST(RsWalkBounds, HugeLengthsEndTheWalkWithoutAStep) {
    for (const uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, 0xFFFFFFF0U, 65U}) {
        SCOPED_TRACE(length);
        typename TypeParam::Record record = {};
        HeldSet queryElement(SetBytes(TypeParam::kEyecatcher, 1).word(length).raw(std::string(60, 'x')));
        EXPECT_EQ(TypeParam::first(queryElement.token(), &record), STAPI_RC_END_OF_DATA);
        EXPECT_EQ(TypeParam::next(queryElement.token(), &record), STAPI_RC_END_OF_DATA);
        HeldSet entry(SetBytes(TypeParam::kEyecatcher, 1).block("RG", 0, 1).word(length).raw(std::string(60, 'x')));
        EXPECT_EQ(TypeParam::first(entry.token(), &record), STAPI_RC_END_OF_DATA);
        EXPECT_EQ(TypeParam::next(entry.token(), &record), STAPI_RC_END_OF_DATA);
    }
}

TYPED_TEST(RsWalkBounds, EntryThatEndsWithTheLastReadableByteIsHandedOut) {
    SetBytes bytes(TypeParam::kEyecatcher, 1);
    bytes.block("RG", 0, 1);
    TypeParam::addEntry(bytes, "last");
    HeldSet held(bytes);
    // What can be read ends with the place of a terminator behind the capacity.
    held.token()->resultSetBufLen = static_cast<int32_t>(bytes.size() - sizeof unit_test::kEndMark);
    typename TypeParam::Record record = {};
    EXPECT_EQ(TypeParam::first(held.token(), &record), 0);
    EXPECT_EQ(held.token()->dataCursor, held.at(bytes.size()));
    EXPECT_EQ(TypeParam::next(held.token(), &record), STAPI_RC_END_OF_DATA);
}

TYPED_TEST(RsWalkBounds, StepThatWouldLeaveTheBufferLeavesRecordAndTokenAlone) {
    SetBytes bytes(TypeParam::kEyecatcher, 1);
    bytes.block("RG", 0, 2);
    TypeParam::addEntry(bytes, "first");
    HeldSet held(bytes.word(1000).raw("cut"));
    typename TypeParam::Record record = {};
    ASSERT_EQ(TypeParam::first(held.token(), &record), 0);
    record = unit_test::unusedRecord<typename TypeParam::Record>();
    const std::string recordBefore = unit_test::bytesOf(record);
    const std::string tokenBefore = unit_test::bytesOf(*held.token());
    EXPECT_EQ(TypeParam::next(held.token(), &record), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(unit_test::bytesOf(record), recordBefore);
    EXPECT_EQ(unit_test::bytesOf(*held.token()), tokenBefore);
}

TEST(RsWalkBoundsOfStatistics, ValueOfAStatisticThatIsCutOffEndsTheWalkBeforeItsId) {
    HeldSet held(SetBytes("ZULSTSET", 1).block("RG", 0, 1).text("id").word(500).raw("12"));
    StatData record = unit_test::unusedRecord<StatData>();
    const std::string before = unit_test::bytesOf(record);
    EXPECT_EQ(getFirstStat(held.token(), &record), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(unit_test::bytesOf(record), before);
}

TYPED_TEST(RsWalkBounds, AnyMixtureOfCallsOnDamagedBuffersStaysInside) {
    const std::string whole = this->everything();
    std::mt19937 random(99);
    for (int round = 0; round < 1000; ++round) {
        SCOPED_TRACE(round);
        std::string damaged = whole;
        damaged[8 + random() % (damaged.size() - 8)] = static_cast<char>(random() % 256);
        HeldSet held(damaged, unit_test::kConnectionOwner, '\0');
        typename TypeParam::Record record = {};
        for (int call = 0; call < 12; ++call) {
            char* query = nullptr;
            ResultSetToken* copy = nullptr;
            switch (random() % 6) {
                case 0:
                    TypeParam::first(held.token(), &record);
                    break;
                case 1:
                    getIdQuery(held.token(), &query);
                    break;
                case 2:
                    ASSERT_EQ(copyResultSet(held.token(), &copy), 0);
                    getIdQuery(copy, &query);
                    ASSERT_EQ(freeResultSet(&copy), 0);
                    break;
                default:
                    TypeParam::next(held.token(), &record);
                    break;
            }
        }
        EXPECT_TRUE(held.bufferIsUnchanged());
    }
}

// The terminator's number is also a length: in a buffer larger than that, what follows could be taken for a text.
template <typename Kind>
class RsHugeBuffer : public unit_test::TracedTest {
  protected:
    static constexpr size_t kCapacity = unit_test::kEndMark + size_t{4096};

    explicit RsHugeBuffer() : block_(static_cast<char*>(std::calloc(kCapacity + unit_test::kSlackBehindCapacity, 1))) {}
    ~RsHugeBuffer() override {
        std::free(block_);
    }

    // What two steps over these bytes return, the first one by the function given.
    std::vector<int32_t> steps(const SetBytes& set, int32_t (*first)(ResultSetToken*, typename Kind::Record*)) {
        std::memcpy(block_, set.bytes().data(), set.size());
        ResultSetToken token = {};
        token.owner = unit_test::kUserOwner;
        token.resultSetBuf = block_;
        token.resultSetBufLen = static_cast<int32_t>(kCapacity);
        token.dataCursor = block_;
        auto record = unit_test::unusedRecord<typename Kind::Record>();
        const int32_t firstRc = first(&token, &record);
        return {firstRc, Kind::next(&token, &record)};
    }

  private:
    char* const block_;
};

TYPED_TEST_SUITE(RsHugeBuffer, unit_test::WalkKinds, unit_test::WalkKindName);

TYPED_TEST(RsHugeBuffer, OfAnEmptySetIsAtItsEndAtOnce) {
    SetBytes withoutCount;
    withoutCount.raw(TypeParam::kEyecatcher).end();
    EXPECT_EQ(this->steps(withoutCount, &TypeParam::first).front(), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(this->steps(SetBytes(TypeParam::kEyecatcher, 1).end(), &TypeParam::next).front(), STAPI_RC_END_OF_DATA);
}

TYPED_TEST(RsHugeBuffer, EndsWhereATerminatorStandsInThePlaceOfABlock) {
    SetBytes set(TypeParam::kEyecatcher, 2);
    TypeParam::addEntry(set.block("Q", 0, 1), "one");
    const std::vector<int32_t> endedAfterOne = {STAPI_RC_OK, STAPI_RC_END_OF_DATA};
    EXPECT_EQ(this->steps(set.end(), &TypeParam::first), endedAfterOne);
    EXPECT_EQ(this->steps(set, &TypeParam::next), endedAfterOne);
}

TYPED_TEST(RsHugeBuffer, EndsWhereATerminatorStandsInThePlaceOfAnEntry) {
    SetBytes set(TypeParam::kEyecatcher, 1);
    TypeParam::addEntry(set.block("Q", 0, 2), "one");
    const std::vector<int32_t> endedAfterOne = {STAPI_RC_OK, STAPI_RC_END_OF_DATA};
    EXPECT_EQ(this->steps(set.end(), &TypeParam::first), endedAfterOne);
    EXPECT_EQ(this->steps(set, &TypeParam::next), endedAfterOne);
}

}  // namespace
