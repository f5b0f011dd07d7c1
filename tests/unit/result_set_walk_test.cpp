// Walking a result set entry by entry: what holds for ids and for statistics alike.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using unit_test::HeldSet;
using unit_test::SetBytes;

template <typename Kind>
class RsWalk : public unit_test::TracedTest {
  protected:
    using Record = typename Kind::Record;

    static SetBytes set(uint32_t blockCount) {
        return SetBytes(Kind::kEyecatcher, blockCount);
    }
    // A query element that was answered, with its entries.
    static void addBlock(SetBytes& bytes, const std::string& queryElement, int32_t code,
                         const std::vector<std::string>& entries) {
        bytes.block(queryElement, code, static_cast<uint32_t>(entries.size()));
        for (const std::string& entry : entries) {
            Kind::addEntry(bytes, entry);
        }
    }
    static SetBytes oneBlockOfTwo() {
        SetBytes bytes = set(1);
        addBlock(bytes, "RG", 0, {"first", "second"});
        return bytes.end();
    }

    int32_t first(HeldSet& held) {
        return Kind::first(held.token(), &record_);
    }
    int32_t next(HeldSet& held) {
        return Kind::next(held.token(), &record_);
    }
    // "queryElement code entry" of every further step, until one does not give 0; that code stands at the end.
    std::vector<std::string> restOf(HeldSet& held) {
        std::vector<std::string> steps;
        int32_t rc = next(held);
        while (rc == STAPI_RC_OK) {
            steps.push_back(described());
            rc = next(held);
        }
        steps.push_back(std::to_string(rc));
        return steps;
    }
    std::vector<std::string> wholeOf(HeldSet& held) {
        std::vector<std::string> steps;
        const int32_t rc = first(held);
        if (rc == STAPI_RC_OK) {
            steps.push_back(described());
            const std::vector<std::string> rest = restOf(held);
            steps.insert(steps.end(), rest.begin(), rest.end());
        } else {
            steps.push_back(std::to_string(rc));
        }
        return steps;
    }
    std::string described() const {
        const std::string head = unit_test::queryElementOf(record_) + " " + std::to_string(record_.queryElementRC);
        return record_.queryElementRC < 0 ? head : head + " " + Kind::entry(record_);
    }

    Record record_ = unit_test::unusedRecord<Record>();
};

TYPED_TEST_SUITE(RsWalk, unit_test::WalkKinds, unit_test::WalkKindName);

using Steps = std::vector<std::string>;

TYPED_TEST(RsWalk, BlockOfTwoGivesFirstSecondAndEnd) {
    HeldSet held(this->oneBlockOfTwo());
    EXPECT_EQ(this->first(held), 0);
    EXPECT_EQ(this->described(), "RG 0 first");
    EXPECT_EQ(held.token()->queryIndex, 1U);
    EXPECT_EQ(held.token()->elementResultIndex, 2);
    EXPECT_EQ(held.token()->elementResultCount, 2);
    EXPECT_EQ(this->next(held), 0);
    EXPECT_EQ(this->described(), "RG 0 second");
    EXPECT_EQ(held.token()->queryIndex, 2U);
    EXPECT_EQ(held.token()->elementResultIndex, 0);
    EXPECT_EQ(this->next(held), STAPI_RC_END_OF_DATA);
}

TYPED_TEST(RsWalk, RecordPointsIntoTheBufferAndNothingIsCopied) {
    HeldSet held(this->oneBlockOfTwo());
    ASSERT_EQ(this->first(held), 0);
    EXPECT_EQ(this->record_.queryElementPtr, held.at(16));
    EXPECT_EQ(this->record_.queryElementLen, 2U);
    EXPECT_TRUE(TypeParam::entryLiesIn(held, this->record_));
    EXPECT_EQ(std::string(this->record_.eyecatcher, 8), TypeParam::kEyecatcher);
    EXPECT_TRUE(held.bufferIsUnchanged());
}

TYPED_TEST(RsWalk, FailedFirstBlockGivesItsCodeAndNoEntry) {
    SetBytes bytes = this->set(2).failedBlock("RX", -7);
    this->addBlock(bytes, "RG", 0, {"only"});
    HeldSet held(bytes.end());
    const auto before = unit_test::unusedRecord<typename TypeParam::Record>();
    EXPECT_EQ(this->first(held), 0);
    EXPECT_EQ(this->described(), "RX -7");
    EXPECT_TRUE(TypeParam::hasSameEntry(this->record_, before));
    EXPECT_EQ(held.token()->queryIndex, 2U);
    EXPECT_EQ(held.token()->elementResultIndex, 0);
    EXPECT_EQ(this->next(held), 0);
    EXPECT_EQ(this->described(), "RG 0 only");
    EXPECT_EQ(this->next(held), STAPI_RC_END_OF_DATA);
}

TYPED_TEST(RsWalk, FailedFirstBlockIsMetByANextCallToo) {
    SetBytes bytes = this->set(2).failedBlock("RX", -7);
    this->addBlock(bytes, "RG", 0, {"only"});
    HeldSet held(bytes.end());
    EXPECT_EQ(this->restOf(held), (Steps{"RX -7", "RG 0 only", "-113"}));
}

TYPED_TEST(RsWalk, FailedMiddleBlockKeepsThePreviousStepsEntryInTheRecord) {
    SetBytes bytes = this->set(3);
    this->addBlock(bytes, "RA", 0, {"a"});
    bytes.failedBlock("RX", -1);
    this->addBlock(bytes, "RB", 0, {"b"});
    HeldSet held(bytes.end());
    ASSERT_EQ(this->first(held), 0);
    const auto previous = this->record_;
    EXPECT_EQ(this->next(held), 0);
    EXPECT_EQ(this->described(), "RX -1");
    EXPECT_TRUE(TypeParam::hasSameEntry(this->record_, previous));
    EXPECT_EQ(this->restOf(held), (Steps{"RB 0 b", "-113"}));
}

TYPED_TEST(RsWalk, FailedLastBlockIsAStepBeforeTheEnd) {
    SetBytes bytes = this->set(2);
    this->addBlock(bytes, "RA", 0, {"a", "b"});
    HeldSet held(bytes.failedBlock("RX", INT32_MIN).end());
    EXPECT_EQ(this->wholeOf(held), (Steps{"RA 0 a", "RA 0 b", "RX -2147483648", "-113"}));
}

TYPED_TEST(RsWalk, OnlyFailedBlocksGiveOneStepEach) {
    HeldSet held(this->set(3).failedBlock("A", -1).failedBlock("", -2).failedBlock("C", -3).end());
    EXPECT_EQ(this->wholeOf(held), (Steps{"A -1", " -2", "C -3", "-113"}));
}

TYPED_TEST(RsWalk, BlockWithAPositiveCodeHandsOutItsEntries) {
    SetBytes bytes = this->set(1);
    this->addBlock(bytes, "RG", 4, {"a", "b"});
    HeldSet held(bytes.end());
    EXPECT_EQ(this->wholeOf(held), (Steps{"RG 4 a", "RG 4 b", "-113"}));
}

TYPED_TEST(RsWalk, EveryEntryOfABlockCarriesItsQueryElement) {
    SetBytes bytes = this->set(2);
    this->addBlock(bytes, "RA", 0, {"a", "b", "c"});
    this->addBlock(bytes, "LONGER", 8, {"d", "e"});
    HeldSet held(bytes.end());
    EXPECT_EQ(this->wholeOf(held), (Steps{"RA 0 a", "RA 0 b", "RA 0 c", "LONGER 8 d", "LONGER 8 e", "-113"}));
}

TYPED_TEST(RsWalk, EmptyTextsAndTextsWithNulsAreHandedOutInTheirLength) {
    SetBytes bytes = this->set(2);
    this->addBlock(bytes, "", 0, {"", std::string("a\0b", 3), ""});
    this->addBlock(bytes, std::string("R\0G", 3), 0, {std::string(1, '\0')});
    HeldSet held(bytes.end());
    EXPECT_EQ(this->wholeOf(held),
              (Steps{" 0 ", std::string(" 0 a\0b", 6), " 0 ", std::string("R\0G 0 \0", 7), "-113"}));
}

TYPED_TEST(RsWalk, LongTextsAreHandedOutWhole) {
    const std::string longText(70000, 'q');
    SetBytes bytes = this->set(1);
    this->addBlock(bytes, longText, 0, {longText});
    HeldSet held(bytes.end());
    EXPECT_EQ(this->wholeOf(held), (Steps{longText + " 0 " + longText, "-113"}));
}

TYPED_TEST(RsWalk, TheMarkInsideATextIsNotTheEnd) {
    const std::string mark = "\x0F\x0E\x0F\x0E";
    SetBytes bytes = this->set(1);
    this->addBlock(bytes, mark, 0, {mark, "b"});
    HeldSet held(bytes.end());
    EXPECT_EQ(this->wholeOf(held), (Steps{mark + " 0 " + mark, mark + " 0 b", "-113"}));
}

TYPED_TEST(RsWalk, EntryLengthOfTheMarksValueIsTakenForTheEnd) {
    SetBytes bytes = this->set(1).block("RG", 0, 2);
    TypeParam::addEntry(bytes, "first");
    HeldSet held(bytes.word(unit_test::kEndMark).raw("second").end());
    EXPECT_EQ(this->wholeOf(held), (Steps{"RG 0 first", "-113"}));
}

TYPED_TEST(RsWalk, EntryCountBeyondTheMarkEndsAtTheMark) {
    SetBytes bytes = this->set(1).block("RG", 0, 5);
    TypeParam::addEntry(bytes, "first");
    HeldSet held(bytes.end());
    EXPECT_EQ(this->wholeOf(held), (Steps{"RG 0 first", "-113"}));
}

TYPED_TEST(RsWalk, NegativeEntryCountIsReadAsOneEntry) {
    SetBytes bytes = this->set(2).block("RG", 0, 0xFFFFFFFF);
    TypeParam::addEntry(bytes, "a");
    this->addBlock(bytes, "RH", 0, {"b"});
    HeldSet held(bytes.end());
    EXPECT_EQ(this->wholeOf(held), (Steps{"RG 0 a", "RH 0 b", "-113"}));
}

TYPED_TEST(RsWalk, BlockCountOfTheHeaderIsNotWhatEndsTheWalk) {
    for (const uint32_t blockCount : {1U, 2U, 3U, 0xFFFFFFFFU}) {
        SetBytes bytes = this->set(blockCount);
        this->addBlock(bytes, "RA", 0, {"a"});
        this->addBlock(bytes, "RB", 0, {"b"});
        HeldSet held(bytes.end());
        EXPECT_EQ(this->wholeOf(held), (Steps{"RA 0 a", "RB 0 b", "-113"})) << blockCount;
        EXPECT_EQ(held.token()->queryHeaderCount, blockCount);
    }
}

// ---- First and next -------------------------------------------------------------------------------------------------

TYPED_TEST(RsWalk, NextOnAFreshTokenGivesTheFirstEntry) {
    HeldSet held(this->oneBlockOfTwo());
    EXPECT_EQ(this->next(held), 0);
    EXPECT_EQ(this->described(), "RG 0 first");
    EXPECT_EQ(std::string(this->record_.eyecatcher, 8), TypeParam::kEyecatcher);
    EXPECT_EQ(held.token()->queryHeaderCount, 1U);
    EXPECT_EQ(this->restOf(held), (Steps{"RG 0 second", "-113"}));
}

TYPED_TEST(RsWalk, FirstStartsAnewAtAnyPoint) {
    SetBytes bytes = this->set(2);
    this->addBlock(bytes, "RA", 0, {"a", "b"});
    bytes.failedBlock("RX", -1);
    HeldSet held(bytes.end());
    const Steps whole = {"RA 0 a", "RA 0 b", "RX -1", "-113"};
    for (size_t steps = 0; steps < 5; ++steps) {
        for (size_t step = 0; step < steps; ++step) {
            this->next(held);
        }
        EXPECT_EQ(this->wholeOf(held), whole) << "after " << steps << " steps";
    }
}

TYPED_TEST(RsWalk, FirstTwiceGivesTheFirstEntryTwice) {
    HeldSet held(this->oneBlockOfTwo());
    EXPECT_EQ(this->first(held), 0);
    EXPECT_EQ(this->first(held), 0);
    EXPECT_EQ(this->described(), "RG 0 first");
    EXPECT_EQ(this->restOf(held), (Steps{"RG 0 second", "-113"}));
}

TYPED_TEST(RsWalk, NextAfterTheEndStaysAtTheEnd) {
    HeldSet held(this->oneBlockOfTwo());
    EXPECT_EQ(this->wholeOf(held).size(), 3U);
    EXPECT_EQ(this->next(held), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(this->next(held), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(this->first(held), 0);
    EXPECT_EQ(this->described(), "RG 0 first");
}

TYPED_TEST(RsWalk, EndLeavesRecordAndTokenAsTheyWere) {
    HeldSet held(this->oneBlockOfTwo());
    ASSERT_EQ(this->wholeOf(held).back(), "-113");
    this->record_ = unit_test::unusedRecord<typename TypeParam::Record>();
    const std::string record = unit_test::bytesOf(this->record_);
    const std::string token = unit_test::bytesOf(*held.token());
    EXPECT_EQ(this->next(held), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(unit_test::bytesOf(this->record_), record);
    EXPECT_EQ(unit_test::bytesOf(*held.token()), token);
}

TYPED_TEST(RsWalk, EyecatcherOfTheRecordIsFilledOnlyByTheStepThatStartsTheWalk) {
    HeldSet held(this->oneBlockOfTwo());
    ASSERT_EQ(this->first(held), 0);
    this->record_ = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_EQ(this->next(held), 0);
    EXPECT_EQ(this->described(), "RG 0 second");
    EXPECT_EQ(std::string(this->record_.eyecatcher, 8), std::string(8, '\x5A'));
}

TYPED_TEST(RsWalk, StartsOverWhenAQueryHasResetTheWalk) {
    HeldSet held(this->oneBlockOfTwo());
    ASSERT_EQ(this->wholeOf(held).back(), "-113");
    held.token()->dataCursor = held.buffer();
    held.token()->queryIndex = 0;
    EXPECT_EQ(this->restOf(held), (Steps{"RG 0 first", "RG 0 second", "-113"}));
}

TYPED_TEST(RsWalk, WhatAnOlderWalkLeftBehindDoesNotEnterANewOne) {
    HeldSet held(this->oneBlockOfTwo());
    ResultSetToken* const token = held.token();
    token->queryHeaderCount = 99;
    token->elementResultCount = 77;
    token->elementResultIndex = 5;
    token->queryElementPtr = "stale";
    token->queryElementLen = 5;
    token->queryElementRC = -9;
    EXPECT_EQ(this->restOf(held), (Steps{"RG 0 first", "RG 0 second", "-113"}));
}

TYPED_TEST(RsWalk, WalksOfTwoTokensDoNotDisturbEachOther) {
    HeldSet one(this->oneBlockOfTwo());
    HeldSet other(this->oneBlockOfTwo());
    ASSERT_EQ(this->first(one), 0);
    ASSERT_EQ(this->first(other), 0);
    ASSERT_EQ(this->next(one), 0);
    EXPECT_EQ(this->next(other), 0);
    EXPECT_EQ(this->described(), "RG 0 second");
    EXPECT_EQ(this->next(one), STAPI_RC_END_OF_DATA);
}

}  // namespace
