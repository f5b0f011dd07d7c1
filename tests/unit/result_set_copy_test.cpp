// Copies of result sets.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using test_support::AllocationFault;
using unit_test::at;
using unit_test::HeldSet;
using unit_test::Lines;
using unit_test::SetBytes;

class RsCopy : public unit_test::TracedTest {
  protected:
    static SetBytes twoIds() {
        return SetBytes("ZULIDSET", 1).block("RG", 0, 2).id("first").id("second").end();
    }
    // What a caller's pointer holds before a call that must leave it alone.
    ResultSetToken untouched_ = {};
    ResultSetToken* copy_ = &untouched_;
};

TEST_F(RsCopy, IsAUserTokenWithABufferOfItsOwn) {
    HeldSet held(twoIds());
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    EXPECT_EQ(std::string(copy_->eyecatcher, 8), "ZULRSUSR");
    EXPECT_EQ(copy_->owner, unit_test::kUserOwner);
    EXPECT_NE(copy_->resultSetBuf, held.buffer());
    EXPECT_NE(copy_->verifiedQueryString, held.token()->verifiedQueryString);
    EXPECT_EQ(copy_->asciiIdList, nullptr);
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, HoldsTheWholeCapacityNotOnlyTheUsedPart) {
    SetBytes bytes = twoIds();
    bytes.raw("what an earlier reply left behind");
    HeldSet held(bytes);
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    EXPECT_EQ(copy_->resultSetBufLen, static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(std::string(copy_->resultSetBuf, bytes.size()), bytes.bytes());
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, OfABufferThatItsResultFillsExactlyIsTerminated) {
    const SetBytes bytes = SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("only");
    HeldSet held(bytes.bytes() + "\x0F\x0E\x0F\x0E", unit_test::kConnectionOwner, '\0');
    held.token()->resultSetBufLen = static_cast<int32_t>(bytes.size());
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    EXPECT_EQ(std::string(copy_->resultSetBuf, bytes.size() + 4), bytes.bytes() + "\x0F\x0E\x0F\x0E");
    IdData record = {};
    EXPECT_EQ(getFirstId(copy_, &record), 0);
    EXPECT_EQ(unit_test::IdWalkKind::entry(record), "only");
    EXPECT_EQ(getNextId(copy_, &record), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, TakesOverTheStateWord) {
    HeldSet held(twoIds());
    held.token()->rsState = 0xCAFE;
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    EXPECT_EQ(copy_->rsState, 0xCAFEU);
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, WalkIsFreshWhereverTheSourcesStands) {
    HeldSet held(twoIds());
    IdData record = {};
    ASSERT_EQ(getFirstId(held.token(), &record), 0);
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    EXPECT_EQ(copy_->queryIndex, 0U);
    EXPECT_EQ(copy_->dataCursor, copy_->resultSetBuf);
    EXPECT_EQ(getNextId(copy_, &record), 0);
    EXPECT_EQ(unit_test::IdWalkKind::entry(record), "first");
    EXPECT_EQ(getNextId(held.token(), &record), 0);
    EXPECT_EQ(unit_test::IdWalkKind::entry(record), "second");
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, LeavesTheSourceAsItWas) {
    HeldSet held(twoIds());
    IdData record = {};
    ASSERT_EQ(getFirstId(held.token(), &record), 0);
    const std::string before = unit_test::bytesOf(*held.token());
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    EXPECT_EQ(unit_test::bytesOf(*held.token()), before);
    EXPECT_TRUE(held.bufferIsUnchanged());
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, StaysReadableWhenTheSourceIsOverwrittenAndGone) {
    auto held = std::make_unique<HeldSet>(SetBytes("ZULSTSET", 1).block("RG", 0, 1).stat("id", "value of id").end());
    ASSERT_EQ(copyResultSet(held->token(), &copy_), 0);
    std::memset(held->buffer(), 'x', held->capacity());
    held.reset();
    StatData record = {};
    EXPECT_EQ(getFirstStat(copy_, &record), 0);
    EXPECT_EQ(unit_test::StatWalkKind::entry(record), "id");
    char* text = nullptr;
    EXPECT_EQ(getIdQuery(copy_, &text), 0);
    EXPECT_STREQ(text, "id");
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, OfACopyIsACopy) {
    HeldSet held(twoIds());
    ResultSetToken* second = nullptr;
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    ASSERT_EQ(copyResultSet(copy_, &second), 0);
    EXPECT_EQ(freeResultSet(&copy_), 0);
    IdData record = {};
    EXPECT_EQ(getFirstId(second, &record), 0);
    EXPECT_EQ(unit_test::IdWalkKind::entry(record), "first");
    EXPECT_EQ(freeResultSet(&second), 0);
}

TEST_F(RsCopy, MayBeWalkedCopiedDumpedAndFreedByAnotherThread) {
    HeldSet held(twoIds());
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    traceToFile(0);
    std::vector<int32_t> codes;
    unit_test::onAnotherThread([&] {
        IdData record = {};
        ResultSetToken* second = nullptr;
        codes.push_back(getFirstId(copy_, &record));
        codes.push_back(copyResultSet(copy_, &second));
        codes.push_back(dumpResultSet(second));
        codes.push_back(freeResultSet(&second));
        codes.push_back(freeResultSet(&copy_));
    });
    EXPECT_EQ(codes, (std::vector<int32_t>(5, 0)));
    EXPECT_EQ(copy_, nullptr);
}

// ---- Refusals -------------------------------------------------------------------------------------------------------

class RsCopyRefusals : public RsCopy {
  protected:
    void expectRefusal(HeldSet& held, int32_t code) {
        test_support::takeAllocationCount();
        EXPECT_EQ(copyResultSet(held.token(), &copy_), code);
        EXPECT_EQ(copy_, &untouched_);
        EXPECT_EQ(test_support::takeAllocationCount(), 0);
    }
};

TEST_F(RsCopyRefusals, NullSourceBeforeNullTarget) {
    EXPECT_EQ(copyResultSet(nullptr, nullptr), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(copyResultSet(nullptr, &copy_), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(copy_, &untouched_);
}

TEST_F(RsCopyRefusals, NullTargetBeforeASourceWithoutABuffer) {
    HeldSet held(twoIds());
    held.token()->resultSetBuf = nullptr;
    stapi::keepContent(held.token());
    EXPECT_EQ(copyResultSet(held.token(), nullptr), STAPI_RC_NULL_RESULT_SET_POINTER);
}

TEST_F(RsCopyRefusals, SourceWithoutABufferBeforeItsOwner) {
    HeldSet held(twoIds());
    held.token()->resultSetBuf = nullptr;
    stapi::keepContent(held.token());
    ++held.token()->owningPid;
    traceToFile(1);
    expectRefusal(held, STAPI_RC_NO_RESULT_BUFFER);
    EXPECT_EQ(points(), (Lines{"1073 *EXC* API.copyResultSet(srcRs=" + at(held.token()) +
                               ") resultSetBuf is NULL - no data to copy"}));
}

TEST_F(RsCopyRefusals, SourceWithoutABufferIsRefusedWithoutAWordWhileNothingIsTraced) {
    HeldSet held(twoIds());
    held.token()->resultSetBuf = nullptr;
    stapi::keepContent(held.token());
    traceToFile(0);
    expectRefusal(held, STAPI_RC_NO_RESULT_BUFFER);
    EXPECT_EQ(traced(), "");
}

TEST_F(RsCopyRefusals, WrongContentBeforeTheOwner) {
    HeldSet held(SetBytes().end().raw("no content"));
    ++held.token()->owningPid;
    traceToFile(1);
    expectRefusal(held, STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(points(), (Lines{"1074 *EXC* API.copyResultSet Resultset does not contain recognised content"}));
}

TEST_F(RsCopyRefusals, AnotherProcessOrThreadIdOfAConnection) {
    HeldSet held(twoIds());
    ++held.token()->owningPid;
    expectRefusal(held, STAPI_RC_WRONG_PROCESS);
    --held.token()->owningPid;
    ++held.token()->owningTid;
    expectRefusal(held, STAPI_RC_WRONG_THREAD);
}

TEST_F(RsCopyRefusals, ARealOtherThreadCreatesNothing) {
    HeldSet held(twoIds());
    unit_test::onAnotherThread([&] { expectRefusal(held, STAPI_RC_WRONG_THREAD); });
}

// ---- Failed allocations ---------------------------------------------------------------------------------------------

constexpr const char* kInvalidSource = "1078 *EXC* API.copyResultSet() Invalid source resultset zulStatRc=d";

class RsCopyWithoutMemory : public RsCopy {
  protected:
    void SetUp() override {
        RsCopy::SetUp();
        held_ = std::make_unique<HeldSet>(twoIds());
        traceToFile(1);
    }
    int32_t copyWithFault(int64_t allocation) {
        const AllocationFault fault(allocation);
        const int32_t rc = copyResultSet(held_->token(), &copy_);
        EXPECT_TRUE(fault.hasStruck());
        return rc;
    }
    std::unique_ptr<HeldSet> held_;
};

TEST_F(RsCopyWithoutMemory, NeedsThreeAllocations) {
    test_support::takeAllocationCount();
    ASSERT_EQ(copyResultSet(held_->token(), &copy_), 0);
    EXPECT_EQ(test_support::takeAllocationCount(), 3);
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopyWithoutMemory, ForTheTokenGivesANullPointer) {
    EXPECT_EQ(copyWithFault(1), STAPI_RC_NO_MEMORY);
    EXPECT_EQ(copy_, nullptr);
    ASSERT_EQ(ids(), (std::vector<int>{2129, 1078}));
    EXPECT_EQ(points().back(), kInvalidSource);
}

TEST_F(RsCopyWithoutMemory, ForTheQueryStringAreaLeavesThePointerAlone) {
    EXPECT_EQ(copyWithFault(2), STAPI_RC_NO_MEMORY);
    EXPECT_EQ(copy_, &untouched_);
    ASSERT_EQ(ids(), (std::vector<int>{2131, 1078}));
    EXPECT_EQ(points().back(), kInvalidSource);
}

TEST_F(RsCopyWithoutMemory, ForTheBufferLeavesATokenWithoutOne) {
    const std::string size = std::to_string(held_->capacity());
    EXPECT_EQ(copyWithFault(3), STAPI_RC_NO_MEMORY);
    EXPECT_EQ(points(), (Lines{"1077 *EXC* API.copyResultSet() Malloc failed for " + size + " bytes"}));
    ASSERT_NE(copy_, nullptr);
    ASSERT_NE(copy_, &untouched_);
    EXPECT_EQ(copy_->resultSetBuf, nullptr);
    EXPECT_EQ(copy_->resultSetBufLen, 0);
    EXPECT_EQ(copy_->dataCursor, nullptr);
    EXPECT_EQ(copy_->owner, unit_test::kUserOwner);
    EXPECT_EQ(freeResultSet(&copy_), 0);
    EXPECT_EQ(copy_, nullptr);
}

TEST_F(RsCopyWithoutMemory, ForTheBufferGivesATokenThatEveryOtherOperationRefuses) {
    ASSERT_EQ(copyWithFault(3), STAPI_RC_NO_MEMORY);
    IdData id = {};
    StatData stat = {};
    char* text = nullptr;
    ResultSetToken* second = nullptr;
    EXPECT_EQ(getFirstId(copy_, &id), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextId(copy_, &id), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getFirstStat(copy_, &stat), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextStat(copy_, &stat), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getIdQuery(copy_, &text), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(copyResultSet(copy_, &second), STAPI_RC_NO_RESULT_BUFFER);
    EXPECT_EQ(dumpResultSet(copy_), STAPI_RC_NO_RESULT_BUFFER);
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopyWithoutMemory, AtAllTouchesNeitherSourceNorItsWalk) {
    IdData record = {};
    ASSERT_EQ(getFirstId(held_->token(), &record), 0);
    const std::string before = unit_test::bytesOf(*held_->token());
    for (int64_t allocation = 1; allocation <= 3; ++allocation) {
        copyWithFault(allocation);
    }
    EXPECT_EQ(unit_test::bytesOf(*held_->token()), before);
    EXPECT_TRUE(held_->bufferIsUnchanged());
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

// ---- What it writes -------------------------------------------------------------------------------------------------

TEST_F(RsCopy, TracesTokenBufferAndCopy) {
    HeldSet held(twoIds());
    const std::string source = at(held.token());
    traceToFile(5);
    ASSERT_EQ(copyResultSet(held.token(), &copy_), 0);
    setLevelSilently(0);
    Lines own;
    for (const std::string& line : points()) {
        if (line.starts_with("1")) {
            own.push_back(line);
        }
    }
    EXPECT_EQ(own, (Lines{"1072 ENTRY API.copyResultSet(srcRsPtr=" + source + ",&tarRsPtr=" + at(&copy_) + ")",
                          "1075 EVENT API.copyResultSet(srcRs=" + source + ",&tarRsPtr=" + at(&copy_) +
                              ") Created result set token(" + at(copy_) + ")",
                          "1076 DEBUG API.copyResultSet Called malloc for " + std::to_string(held.capacity()) +
                              " bytes. rc=" + at(copy_->resultSetBuf),
                          "1135 EVENT API.copyResultSet Copied resultsetbuffer from " + source + " to " + at(&copy_),
                          "1079 EXIT API.copyResultSet(srcRs=" + source + ",tarRsPtr=" + at(&copy_) + ") rc=0"}));
    EXPECT_EQ(ids(), (std::vector<int>{1072, 2141, 2144, 2127, 2128, 2130, 2132, 1075, 1076, 1135, 1079}));
    EXPECT_EQ(freeResultSet(&copy_), 0);
}

TEST_F(RsCopy, RefusedArgumentsAreTracedOnEntryAndExitOnly) {
    HeldSet held(twoIds());
    traceToFile(5);
    copyResultSet(nullptr, &copy_);
    copyResultSet(held.token(), nullptr);
    EXPECT_EQ(ids(), (std::vector<int>{1072, 1079, 1072, 1079}));
    EXPECT_EQ(points().back(),
              "1079 EXIT API.copyResultSet(srcRs=" + at(held.token()) + ",tarRsPtr=" + at(nullptr) + ") rc=-125");
}

}  // namespace
