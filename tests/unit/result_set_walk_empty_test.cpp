// Walks over sets without blocks, and over blocks without entries.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using unit_test::HeldSet;
using unit_test::SetBytes;

template <typename Kind>
class RsEmptyWalk : public unit_test::TracedTest {
  protected:
    // Both kinds of step leave record and token alone and give the end.
    void expectEnd(HeldSet& held, int32_t (*step)(ResultSetToken*, typename Kind::Record*)) {
        auto record = unit_test::unusedRecord<typename Kind::Record>();
        const std::string recordBefore = unit_test::bytesOf(record);
        const std::string tokenBefore = unit_test::bytesOf(*held.token());
        EXPECT_EQ(step(held.token(), &record), STAPI_RC_END_OF_DATA);
        EXPECT_EQ(unit_test::bytesOf(record), recordBefore);
        EXPECT_EQ(unit_test::bytesOf(*held.token()), tokenBefore);
    }

    static SetBytes noBlocks() {
        return SetBytes(Kind::kEyecatcher, 0).end();
    }
};

TYPED_TEST_SUITE(RsEmptyWalk, unit_test::WalkKinds, unit_test::WalkKindName);

TYPED_TEST(RsEmptyWalk, FirstOnASetWithoutBlocksIsTheEnd) {
    HeldSet held(this->noBlocks());
    this->expectEnd(held, &TypeParam::first);
    this->expectEnd(held, &TypeParam::first);
}

TYPED_TEST(RsEmptyWalk, NextOnASetWithoutBlocksIsTheEndAtOnceAndEveryTime) {
    HeldSet held(this->noBlocks());
    this->expectEnd(held, &TypeParam::next);
    this->expectEnd(held, &TypeParam::next);
    this->expectEnd(held, &TypeParam::next);
}

TYPED_TEST(RsEmptyWalk, FirstAndNextMayAlternateOnASetWithoutBlocks) {
    HeldSet held(this->noBlocks());
    this->expectEnd(held, &TypeParam::next);
    this->expectEnd(held, &TypeParam::first);
    this->expectEnd(held, &TypeParam::next);
}

TYPED_TEST(RsEmptyWalk, FirstOnASetWithoutBlocksInALargerBufferIsTheEnd) {
    SetBytes bytes = this->noBlocks();
    bytes.raw(std::string(4096, '\0'));
    HeldSet held(bytes);
    this->expectEnd(held, &TypeParam::first);
    this->expectEnd(held, &TypeParam::next);
}

TYPED_TEST(RsEmptyWalk, FirstOnACountOfZeroIsTheEndWhateverStandsBehindIt) {
    SetBytes bytes(TypeParam::kEyecatcher, 0);
    bytes.block("RG", 0, 1);
    TypeParam::addEntry(bytes, "left behind");
    HeldSet held(bytes.end());
    this->expectEnd(held, &TypeParam::first);
}

TYPED_TEST(RsEmptyWalk, FirstFindsTheMarkWhereTheCountShouldStand) {
    HeldSet held(SetBytes().raw(TypeParam::kEyecatcher).end().raw("rubbish"));
    this->traceToFile(3);
    this->expectEnd(held, &TypeParam::first);
    const bool ids = std::string(TypeParam::kEyecatcher) == "ZULIDSET";
    EXPECT_EQ(this->messages(ids ? 1049 : 1063),
              (unit_test::Lines{ids ? "stapi_zul_impl.getFirstIdInternal() endOfResults=1 zulStatRc=-113"
                                    : "stapi_zul_impl.getFirstStatInternal() last=1 rc=-113"}));
}

TYPED_TEST(RsEmptyWalk, FirstDoesNotSeeTheMarkBehindACountOfZero) {
    HeldSet held(this->noBlocks());
    this->traceToFile(3);
    this->expectEnd(held, &TypeParam::first);
    const bool ids = std::string(TypeParam::kEyecatcher) == "ZULIDSET";
    EXPECT_EQ(this->messages(ids ? 1049 : 1063),
              (unit_test::Lines{ids ? "stapi_zul_impl.getFirstIdInternal() endOfResults=0 zulStatRc=-113"
                                    : "stapi_zul_impl.getFirstStatInternal() last=0 rc=-113"}));
}

TYPED_TEST(RsEmptyWalk, EmptySetBehindAWalkedOneEndsTheOldWalk) {
    SetBytes full(TypeParam::kEyecatcher, 1);
    full.block("RG", 0, 1);
    TypeParam::addEntry(full, "only");
    HeldSet held(full.end());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_EQ(TypeParam::first(held.token(), &record), 0);
    HeldSet empty(this->noBlocks());
    held.token()->resultSetBuf = empty.buffer();
    stapi::keepContent(held.token());
    held.token()->resultSetBufLen = static_cast<int32_t>(empty.capacity());
    held.token()->dataCursor = empty.buffer();
    held.token()->queryIndex = 0;
    this->expectEnd(held, &TypeParam::next);
    this->expectEnd(held, &TypeParam::first);
}

// ---- A block without entries is read as if it had one ---------------------------------------------------------------

class RsBlockWithoutEntries : public unit_test::TracedTest {
  protected:
    IdData id_ = unit_test::unusedRecord<IdData>();
    StatData stat_ = unit_test::unusedRecord<StatData>();
};

TEST_F(RsBlockWithoutEntries, LastInAnIdSetHandsOutTheMarkAsLengthThenEnds) {
    const SetBytes bytes = SetBytes("ZULIDSET", 1).block("RG", 0, 0).end();
    HeldSet held(bytes);
    EXPECT_EQ(getFirstId(held.token(), &id_), 0);
    EXPECT_EQ(unit_test::queryElementOf(id_), "RG");
    EXPECT_EQ(id_.queryElementRC, 0);
    EXPECT_EQ(id_.idLen, unit_test::kEndMark);
    EXPECT_EQ(id_.idPtr, held.at(bytes.size()));
    EXPECT_EQ(held.token()->elementResultIndex, 0);
    EXPECT_EQ(held.token()->queryIndex, 2U);
    EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getFirstId(held.token(), &id_), 0);
    EXPECT_TRUE(held.bufferIsUnchanged());
}

TEST_F(RsBlockWithoutEntries, WithACursorThatIsNotInTheBufferIsTheEnd) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 0).end());
    char elsewhere = 0;
    for (char* const cursor : {static_cast<char*>(nullptr), &elsewhere}) {
        held.token()->queryIndex = 1;
        held.token()->elementResultIndex = 1;
        held.token()->elementResultCount = 0;
        held.token()->dataCursor = cursor;
        EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    }
}

TEST_F(RsBlockWithoutEntries, LastInAnIdSetIsMetTheSameWayByNext) {
    const SetBytes bytes = SetBytes("ZULIDSET", 2).block("RA", 0, 1).id("a").block("RG", 4, 0).end();
    HeldSet held(bytes);
    ASSERT_EQ(getNextId(held.token(), &id_), 0);
    EXPECT_EQ(getNextId(held.token(), &id_), 0);
    EXPECT_EQ(unit_test::queryElementOf(id_), "RG");
    EXPECT_EQ(id_.queryElementRC, 4);
    EXPECT_EQ(id_.idLen, unit_test::kEndMark);
    EXPECT_EQ(id_.idPtr, held.at(bytes.size()));
    const std::string before = unit_test::bytesOf(id_);
    EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(unit_test::bytesOf(id_), before);
}

TEST_F(RsBlockWithoutEntries, LastInAnIdSetEndsAlsoWhenTheBufferIsLarger) {
    for (const char fill : {'\0', '\1', 'x'}) {
        HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 0).end().raw(std::string(4096, fill)));
        EXPECT_EQ(getFirstId(held.token(), &id_), 0);
        EXPECT_EQ(id_.idLen, unit_test::kEndMark);
        EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
        held.token()->queryIndex = 0;
        EXPECT_EQ(getNextId(held.token(), &id_), 0);
        EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    }
}

TEST_F(RsBlockWithoutEntries, BeforeAnotherInAnIdSetTakesTheNextQueryElementForItsId) {
    HeldSet held(SetBytes("ZULIDSET", 2).block("RA", 0, 0).block("RB", 0, 1).id({"\1\0\0\0c", 5}).end());
    EXPECT_EQ(getFirstId(held.token(), &id_), 0);
    EXPECT_EQ(unit_test::queryElementOf(id_), "RA");
    EXPECT_EQ(unit_test::IdWalkKind::entry(id_), "RB");
    // The walk goes on behind that text: the code 0 is now the length of a query element, the count its code, the id's
    // length its count, and the id an entry.
    EXPECT_EQ(getNextId(held.token(), &id_), 0);
    EXPECT_EQ(unit_test::queryElementOf(id_), "");
    EXPECT_EQ(id_.queryElementRC, 1);
    EXPECT_EQ(unit_test::IdWalkKind::entry(id_), "c");
    EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
}

TEST_F(RsBlockWithoutEntries, LastInAStatisticsSetIsTheEndAtOnce) {
    HeldSet held(SetBytes("ZULSTSET", 1).block("RG", 0, 0).end());
    const std::string record = unit_test::bytesOf(stat_);
    const std::string token = unit_test::bytesOf(*held.token());
    EXPECT_EQ(getFirstStat(held.token(), &stat_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getNextStat(held.token(), &stat_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(unit_test::bytesOf(stat_), record);
    EXPECT_EQ(unit_test::bytesOf(*held.token()), token);
}

TEST_F(RsBlockWithoutEntries, LastInAStatisticsSetEndsAWalkThatHasBegun) {
    HeldSet held(SetBytes("ZULSTSET", 2).block("RA", 0, 1).stat("a", "1").block("RG", 0, 0).end());
    ASSERT_EQ(getFirstStat(held.token(), &stat_), 0);
    const std::string record = unit_test::bytesOf(stat_);
    EXPECT_EQ(getNextStat(held.token(), &stat_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getNextStat(held.token(), &stat_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(unit_test::bytesOf(stat_), record);
    EXPECT_EQ(getFirstStat(held.token(), &stat_), 0);
    EXPECT_EQ(std::string(stat_.statIdPtr, stat_.statIdLen), "a");
}

TEST_F(RsBlockWithoutEntries, BeforeAnotherInAStatisticsSetTakesQueryElementAndCodeForItsEntry) {
    HeldSet held(SetBytes("ZULSTSET", 2).block("RA", 0, 0).block("RB", 0, 1).stat("b", "2").end());
    EXPECT_EQ(getFirstStat(held.token(), &stat_), 0);
    EXPECT_EQ(unit_test::queryElementOf(stat_), "RA");
    EXPECT_EQ(std::string(stat_.statIdPtr, stat_.statIdLen), "RB");
    EXPECT_EQ(stat_.statValueLen, 0U);
}

TEST_F(RsBlockWithoutEntries, ThatFailedHasNoCountAndNoBogusEntry) {
    HeldSet held(SetBytes("ZULIDSET", 1).failedBlock("RG", -1).end());
    const IdData before = id_;
    EXPECT_EQ(getFirstId(held.token(), &id_), 0);
    EXPECT_TRUE(unit_test::IdWalkKind::hasSameEntry(id_, before));
    EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
}

}  // namespace
