// The plain step of a walk: when it is taken, and that what it leaves to the full step is untouched. Over any bytes the
// plain and the full step come to the same.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "impl/plain_step.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using stapi::ResultSetContent;
using unit_test::HeldSet;
using unit_test::kEndMark;
using unit_test::SetBytes;

template <typename Kind>
class PlainStep : public unit_test::TracedTest {
  protected:
    using Record = typename Kind::Record;
    static constexpr ResultSetContent kContent =
        std::is_same_v<Record, IdData> ? ResultSetContent::ids : ResultSetContent::statistics;

    static bool first(ResultSetToken* token, Record* record) {
        return stapi::takePlainFirstStep<kContent>(token, record);
    }
    static bool next(ResultSetToken* token, Record* record) {
        return stapi::takePlainNextStep<kContent>(token, record);
    }

    static SetBytes set(uint32_t blockCount) {
        return SetBytes(Kind::kEyecatcher, blockCount);
    }
    static SetBytes& add(SetBytes& bytes, const std::string& queryElement, int32_t code,
                         const std::vector<std::string>& entries) {
        bytes.block(queryElement, code, static_cast<uint32_t>(entries.size()));
        for (const std::string& entry : entries) {
            Kind::addEntry(bytes, entry);
        }
        return bytes;
    }
    static SetBytes twoElements() {
        SetBytes bytes = set(2);
        add(bytes, "RG", 0, {"first", "second"});
        add(bytes, "RH", 4, {"third"});
        return bytes.end();
    }

    // The step is not taken, and neither token nor record has changed.
    static void expectLeft(bool (*step)(ResultSetToken*, Record*), ResultSetToken* token) {
        auto record = unit_test::unusedRecord<Record>();
        const std::string recordBefore = unit_test::bytesOf(record);
        const std::string tokenBefore = unit_test::bytesOf(*token);
        EXPECT_FALSE(step(token, &record));
        EXPECT_EQ(unit_test::bytesOf(record), recordBefore);
        EXPECT_EQ(unit_test::bytesOf(*token), tokenBefore);
    }

    // What the exported functions make of a set, step by step: the code, the record and the token.
    static std::vector<std::string> walked(HeldSet& held, bool beginsWithFirst) {
        std::vector<std::string> steps;
        auto record = unit_test::unusedRecord<Record>();
        int32_t rc = beginsWithFirst ? Kind::first(held.token(), &record) : Kind::next(held.token(), &record);
        size_t behindTheEnd = 0;
        while (behindTheEnd < 2 && steps.size() < held.capacity() + 4) {
            steps.push_back(std::to_string(rc) + unit_test::bytesOf(record) + unit_test::bytesOf(*held.token()));
            behindTheEnd += rc == STAPI_RC_OK ? 0 : 1;
            rc = Kind::next(held.token(), &record);
        }
        return steps;
    }
    void expectTheSameTraced(const std::string& bytes) {
        HeldSet held(bytes, unit_test::kConnectionOwner, '\0');
        const ResultSetToken fresh = *held.token();
        for (const bool beginsWithFirst : {true, false}) {
            setLevelSilently(0);
            *held.token() = fresh;
            const std::vector<std::string> silent = walked(held, beginsWithFirst);
            setLevelSilently(4);
            *held.token() = fresh;
            EXPECT_EQ(silent, walked(held, beginsWithFirst)) << unit_test::bytesOf(bytes[0]) << bytes.size();
        }
    }
};

TYPED_TEST_SUITE(PlainStep, unit_test::WalkKinds, unit_test::WalkKindName);

// ---- Taken ----------------------------------------------------------------------------------------------------------

TYPED_TEST(PlainStep, WalksOverAnsweredElementsToTheEnd) {
    HeldSet held(this->twoElements());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_TRUE(this->first(held.token(), &record));
    EXPECT_EQ(std::string(record.eyecatcher, 8), TypeParam::kEyecatcher);
    EXPECT_EQ(unit_test::queryElementOf(record), "RG");
    EXPECT_EQ(TypeParam::entry(record), "first");
    EXPECT_EQ(held.token()->queryHeaderCount, 2U);
    EXPECT_EQ(held.token()->queryIndex, 1U);
    EXPECT_EQ(held.token()->elementResultIndex, 2);
    ASSERT_TRUE(this->next(held.token(), &record));
    EXPECT_EQ(TypeParam::entry(record), "second");
    EXPECT_EQ(held.token()->queryIndex, 2U);
    EXPECT_EQ(held.token()->elementResultIndex, 0);
    ASSERT_TRUE(this->next(held.token(), &record));
    EXPECT_EQ(unit_test::queryElementOf(record), "RH");
    EXPECT_EQ(record.queryElementRC, 4);
    EXPECT_EQ(TypeParam::entry(record), "third");
    EXPECT_EQ(held.token()->queryIndex, 3U);
    this->expectLeft(this->next, held.token());
}

TYPED_TEST(PlainStep, IsTakenAtLevelOneAndLeftFromLevelTwoOn) {
    HeldSet held(this->twoElements());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    this->setLevelSilently(1);
    EXPECT_TRUE(this->first(held.token(), &record));
    for (const int32_t level : {2, 3, 4, 5}) {
        this->setLevelSilently(level);
        this->expectLeft(this->first, held.token());
        this->expectLeft(this->next, held.token());
    }
}

TYPED_TEST(PlainStep, OverACopyIsAnyThreadsAndOverAConnectionsSetItsOwnersOnly) {
    HeldSet connections(this->twoElements());
    HeldSet copy(this->twoElements(), unit_test::kUserOwner);
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    unit_test::onAnotherThread([&] {
        this->expectLeft(this->first, connections.token());
        EXPECT_TRUE(this->first(copy.token(), &record));
        EXPECT_TRUE(this->next(copy.token(), &record));
    });
    EXPECT_TRUE(this->first(connections.token(), &record));
    unit_test::onAnotherThread([&] { this->expectLeft(this->next, connections.token()); });
    EXPECT_TRUE(this->next(connections.token(), &record));
}

// ---- Left to the full step ------------------------------------------------------------------------------------------

TYPED_TEST(PlainStep, IsLeftWhileTheLibraryIsNotSetUp) {
    HeldSet held(this->twoElements());
    const int32_t before = stapi::stapiInitialised.exchange(0);
    this->expectLeft(this->first, held.token());
    this->expectLeft(this->next, held.token());
    stapi::stapiInitialised.store(before);
}

TYPED_TEST(PlainStep, IsLeftWithoutAResultSetOrARecord) {
    HeldSet held(this->twoElements());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    EXPECT_FALSE(this->first(nullptr, &record));
    EXPECT_FALSE(this->next(nullptr, &record));
    const std::string before = unit_test::bytesOf(*held.token());
    EXPECT_FALSE(this->first(held.token(), nullptr));
    EXPECT_FALSE(this->next(held.token(), nullptr));
    EXPECT_EQ(unit_test::bytesOf(*held.token()), before);
}

TYPED_TEST(PlainStep, IsLeftForASetOfTheOtherContent) {
    SetBytes bytes(TypeParam::kOtherEyecatcher, 1);
    HeldSet held(this->add(bytes, "RG", 0, {"first"}).end());
    held.token()->queryIndex = 1;
    this->expectLeft(this->first, held.token());
    this->expectLeft(this->next, held.token());
}

TYPED_TEST(PlainStep, IsLeftWhenANextCallBeginsTheWalk) {
    HeldSet held(this->twoElements());
    this->expectLeft(this->next, held.token());
    // Wherever an earlier walk has left the position.
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_TRUE(this->first(held.token(), &record));
    held.token()->queryIndex = 0;
    this->expectLeft(this->next, held.token());
}

TYPED_TEST(PlainStep, IsLeftAtAFailedElement) {
    SetBytes bytes = this->set(2).failedBlock("RX", -1);
    HeldSet failedFirst(this->add(bytes, "RG", 0, {"first"}).end());
    this->expectLeft(this->first, failedFirst.token());

    SetBytes others = this->set(2);
    HeldSet failedSecond(this->add(others, "RG", 0, {"first"}).failedBlock("RX", -1).end());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_TRUE(this->first(failedSecond.token(), &record));
    this->expectLeft(this->next, failedSecond.token());
}

TYPED_TEST(PlainStep, IsLeftAtAnElementWithoutEntriesWhateverFollows) {
    SetBytes bytes = this->set(2).block("NONE", 0, 0);
    TypeParam::addEntry(bytes, "stray");
    HeldSet held(bytes.end());
    this->expectLeft(this->first, held.token());
}

TYPED_TEST(PlainStep, WithinAnElementIsLeftWhenTheTokenSaysThatItFailedOrHasNoEntries) {
    HeldSet held(this->twoElements());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_TRUE(this->first(held.token(), &record));
    held.token()->queryElementRC = -1;
    this->expectLeft(this->next, held.token());
    held.token()->queryElementRC = 0;
    held.token()->elementResultCount = 0;
    this->expectLeft(this->next, held.token());
    held.token()->elementResultCount = 2;
    EXPECT_TRUE(this->next(held.token(), &record));
}

TYPED_TEST(PlainStep, IsLeftForANumberOfElementsThatIsZeroOrTheMark) {
    for (const uint32_t elements : {uint32_t{0}, kEndMark}) {
        SetBytes bytes = this->set(elements);
        HeldSet held(this->add(bytes, "RG", 0, {"first"}).end());
        this->expectLeft(this->first, held.token());
        EXPECT_EQ(held.token()->queryIndex, 0U);
    }
}

TYPED_TEST(PlainStep, IsLeftWhereTheMarkStandsForAnElementOrAnEntry) {
    const std::string behind(64, 'x');
    HeldSet element(this->set(1).word(kEndMark).raw(behind));
    this->expectLeft(this->first, element.token());
    HeldSet entry(this->set(1).block("RG", 0, 1).word(kEndMark).raw(behind));
    this->expectLeft(this->first, entry.token());
}

TYPED_TEST(PlainStep, IsLeftForABufferThatIsGoneAndAPositionThatIsNotInIt) {
    HeldSet held(this->twoElements());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_TRUE(this->first(held.token(), &record));
    char* const position = held.token()->dataCursor;
    for (char* const outside : {held.buffer() - 1, held.at(held.capacity() + 5), static_cast<char*>(nullptr)}) {
        held.token()->dataCursor = outside;
        this->expectLeft(this->next, held.token());
    }
    held.token()->dataCursor = position;
    char* const buffer = held.token()->resultSetBuf;
    held.token()->resultSetBuf = nullptr;
    this->expectLeft(this->first, held.token());
    this->expectLeft(this->next, held.token());
    held.token()->resultSetBuf = buffer;
    held.token()->resultSetBufLen = -1;
    this->expectLeft(this->first, held.token());
}

// A step needs all of its bytes; the four places behind the capacity count as the buffer's.
TYPED_TEST(PlainStep, IsTakenWithTheLastOfItsBytesAndLeftWithOneLess) {
    SetBytes bytes = this->set(1);
    this->add(bytes, "RG", 0, {"first"});
    for (size_t size = 12; size <= bytes.size(); ++size) {
        HeldSet held(bytes);
        held.token()->resultSetBufLen = static_cast<int32_t>(size - sizeof kEndMark);
        auto record = unit_test::unusedRecord<typename TypeParam::Record>();
        if (size == bytes.size()) {
            EXPECT_TRUE(this->first(held.token(), &record));
        } else {
            this->expectLeft(this->first, held.token());
        }
    }
}

// ---- The same as the full step --------------------------------------------------------------------------------------

TYPED_TEST(PlainStep, ComesToTheSameAsTheFullStepWhereverTheBufferEnds) {
    this->traceToFile(0);
    SetBytes bytes = this->set(4);
    this->add(bytes, "RG", 0, {"alpha", "", "b"});
    bytes.failedBlock("RX", -5);
    this->add(bytes, "", 3, {"delta"});
    bytes.block("NONE", 0, 0).end();
    for (size_t size = 0; size <= bytes.size(); ++size) {
        this->expectTheSameTraced(bytes.bytes().substr(0, size));
    }
}

TYPED_TEST(PlainStep, ComesToTheSameAsTheFullStepWhicheverWordIsDamaged) {
    this->traceToFile(0);
    SetBytes bytes = this->set(3);
    this->add(bytes, "RG", 0, {"alpha", "", "b"});
    bytes.failedBlock("RX", -5);
    this->add(bytes, "RH", 3, {"delta"});
    bytes.end();
    for (size_t position = 0; position + sizeof kEndMark <= bytes.size(); ++position) {
        for (const uint32_t word : {0U, 1U, 2U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, kEndMark}) {
            std::string damaged = bytes.bytes();
            std::memcpy(damaged.data() + position, &word, sizeof word);
            this->expectTheSameTraced(damaged);
        }
    }
}

}  // namespace
