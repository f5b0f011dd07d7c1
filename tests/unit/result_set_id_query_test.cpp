// Turning the ids of a result set into a query string.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using unit_test::at;
using unit_test::HeldSet;
using unit_test::Lines;
using unit_test::SetBytes;

char untouchedText[] = "untouched";

class RsIdQuery : public unit_test::TracedTest {
  protected:
    int32_t query(HeldSet& held) {
        text_ = untouchedText;
        return getIdQuery(held.token(), &text_);
    }
    // The string built from a set; "rc <code>" when there is none.
    std::string built(const SetBytes& bytes) {
        HeldSet held(bytes);
        const int32_t rc = query(held);
        EXPECT_EQ(text_ == untouchedText, rc != STAPI_RC_OK);
        return rc == STAPI_RC_OK ? text_ : "rc " + std::to_string(rc);
    }
    static SetBytes ids(const std::vector<std::string>& ids, int32_t code = 0) {
        SetBytes bytes("ZULIDSET", 1);
        bytes.block("RG", code, static_cast<uint32_t>(ids.size()));
        for (const std::string& id : ids) {
            bytes.id(id);
        }
        return bytes.end();
    }

    char* text_ = untouchedText;
};

TEST_F(RsIdQuery, JoinsThreeIdsOfOneBlock) {
    EXPECT_EQ(built(ids({"one", "two", "three"})), "one:two:three");
}

TEST_F(RsIdQuery, OneIdHasNoSeparator) {
    EXPECT_EQ(built(ids({"one"})), "one");
}

TEST_F(RsIdQuery, LeavesOutTheBlockWhoseCodeIsFour) {
    EXPECT_EQ(
        built(SetBytes("ZULIDSET", 2).block("A", 0, 3).id("a").id("b").id("c").block("B", 4, 2).id("d").id("e").end()),
        "a:b:c");
    EXPECT_EQ(built(SetBytes("ZULIDSET", 2).block("B", 4, 2).id("d").id("e").block("A", 0, 2).id("a").id("b").end()),
              "a:b");
}

TEST_F(RsIdQuery, LeavesOutFailedBlocksWhereverTheyStand) {
    EXPECT_EQ(built(SetBytes("ZULIDSET", 5)
                        .failedBlock("X", -1)
                        .block("A", 0, 1)
                        .id("a")
                        .failedBlock("Y", -2)
                        .block("B", 0, 1)
                        .id("b")
                        .failedBlock("Z", -3)
                        .end()),
              "a:b");
}

TEST_F(RsIdQuery, TakesAnIdOnceForEachTimeThatItOccurs) {
    EXPECT_EQ(built(SetBytes("ZULIDSET", 2).block("A", 0, 1).id("same").block("B", 0, 2).id("same").id("same").end()),
              "same:same:same");
}

TEST_F(RsIdQuery, KeepsSeparatorsAndBlanksInsideIds) {
    EXPECT_EQ(built(ids({"a:b", " c ", ":"})), "a:b: c ::");
}

TEST_F(RsIdQuery, TakesTheStatisticIdsOfAStatisticsSet) {
    EXPECT_EQ(built(SetBytes("ZULSTSET", 3)
                        .block("A", 0, 2)
                        .stat("s1", "value")
                        .stat("s2", "")
                        .block("B", 4, 1)
                        .stat("s3", "9")
                        .block("C", 0, 1)
                        .stat("s1", "other")
                        .end()),
              "s1:s2:s1");
}

TEST_F(RsIdQuery, NoBlockWithCodeZeroIsAFailure) {
    EXPECT_EQ(built(ids({"a", "b"}, 4)), "rc -131");
    EXPECT_EQ(built(SetBytes("ZULIDSET", 1).failedBlock("A", -1).end()), "rc -131");
    EXPECT_EQ(built(SetBytes("ZULSTSET", 1).failedBlock("A", -1).end()), "rc -131");
}

TEST_F(RsIdQuery, SetWithoutBlocksIsAFailure) {
    EXPECT_EQ(built(SetBytes("ZULIDSET", 0).end()), "rc -131");
    EXPECT_EQ(built(SetBytes("ZULSTSET", 0).end()), "rc -131");
}

TEST_F(RsIdQuery, OneEmptyIdIsAFailureAlthoughItCounts) {
    traceToFile(3);
    EXPECT_EQ(built(ids({""})), "rc -131");
    const Lines exits = messages(1042);
    ASSERT_EQ(exits.size(), 1U);
    EXPECT_TRUE(exits.front().ends_with(" goodIdCount=1 rc=-131")) << exits.front();
}

TEST_F(RsIdQuery, TwoEmptyIdsAreASeparator) {
    EXPECT_EQ(built(ids({"", ""})), ":");
    EXPECT_EQ(built(ids({"", "", ""})), "::");
    EXPECT_EQ(built(ids({"", "a", ""})), ":a:");
}

TEST_F(RsIdQuery, AppendsAnIdUpToItsNul) {
    EXPECT_EQ(built(ids({std::string("ab\0cd", 5), "ef"})), "ab:ef");
    EXPECT_EQ(built(ids({"a", std::string("\0b", 2), "c"})), "a::c");
}

TEST_F(RsIdQuery, IdOfNulsAloneGivesAnEmptyStringAndNoFailure) {
    EXPECT_EQ(built(ids({std::string(3, '\0')})), "");
}

TEST_F(RsIdQuery, BlockWithoutEntriesAddsNothingWhenItsBogusLengthIsTheMark) {
    EXPECT_EQ(built(SetBytes("ZULIDSET", 1).block("A", 0, 0).end()), "rc -131");
    EXPECT_EQ(built(SetBytes("ZULIDSET", 2).block("A", 0, 1).id("a").block("B", 0, 0).end()), "a");
    EXPECT_EQ(built(SetBytes("ZULSTSET", 2).block("A", 0, 1).stat("a", "1").block("B", 0, 0).end()), "a");
}

// ---- The string and the token ---------------------------------------------------------------------------------------

TEST_F(RsIdQuery, StringLiesInTheTokensArea) {
    HeldSet held(ids({"one", "two"}));
    ASSERT_EQ(query(held), 0);
    EXPECT_EQ(text_, held.token()->verifiedQueryString);
}

TEST_F(RsIdQuery, NextQueryOnTheTokenOverwritesTheString) {
    HeldSet held(ids({"a-long-first-id", "two"}));
    ASSERT_EQ(query(held), 0);
    HeldSet other(ids({"x"}));
    held.token()->resultSetBuf = other.buffer();
    held.token()->resultSetBufLen = static_cast<int32_t>(other.capacity());
    ASSERT_EQ(query(held), 0);
    EXPECT_STREQ(text_, "x");
    ASSERT_EQ(query(held), 0);
    EXPECT_STREQ(text_, "x");
}

TEST_F(RsIdQuery, FailureLeavesAnEarlierStringInTheArea) {
    HeldSet held(ids({"one"}));
    ASSERT_EQ(query(held), 0);
    HeldSet none(SetBytes("ZULIDSET", 0).end());
    held.token()->resultSetBuf = none.buffer();
    held.token()->resultSetBufLen = static_cast<int32_t>(none.capacity());
    ASSERT_EQ(query(held), STAPI_RC_QUERY_STRING_FAILED);
    EXPECT_STREQ(held.token()->verifiedQueryString, "one");
}

TEST_F(RsIdQuery, MovesTheWalkToItsEnd) {
    HeldSet held(ids({"one", "two", "three"}));
    IdData record = {};
    ASSERT_EQ(getFirstId(held.token(), &record), 0);
    ASSERT_EQ(query(held), 0);
    EXPECT_STREQ(text_, "one:two:three");
    EXPECT_EQ(getNextId(held.token(), &record), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getFirstId(held.token(), &record), 0);
    EXPECT_EQ(unit_test::IdWalkKind::entry(record), "one");
}

TEST_F(RsIdQuery, OnACopyWorksFromAnotherThread) {
    HeldSet held(ids({"one", "two"}), unit_test::kUserOwner);
    int32_t rc = 1;
    unit_test::onAnotherThread([&] { rc = query(held); });
    EXPECT_EQ(rc, 0);
    EXPECT_STREQ(text_, "one:two");
}

// ---- Refusals -------------------------------------------------------------------------------------------------------

TEST_F(RsIdQuery, NullResultSetIsRefusedBeforeANullTarget) {
    EXPECT_EQ(getIdQuery(nullptr, &text_), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(getIdQuery(nullptr, nullptr), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(text_, untouchedText);
}

TEST_F(RsIdQuery, NullTargetIsRefusedBeforeWrongContent) {
    HeldSet held(SetBytes("ZULNOSET", 0).end());
    EXPECT_EQ(getIdQuery(held.token(), nullptr), STAPI_RC_NULL_POINTER);
}

TEST_F(RsIdQuery, NoMemoryIsReportedBeforeAnythingElse) {
    HeldSet held(ids({"one"}));
    {
        const test_support::AllocationFault fault(1);
        EXPECT_EQ(query(held), STAPI_RC_NO_MEMORY);
        EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_EQ(text_, untouchedText);
    {
        const test_support::AllocationFault fault(1);
        EXPECT_EQ(getIdQuery(nullptr, nullptr), STAPI_RC_NO_MEMORY);
    }
    {
        const test_support::AllocationFault fault(1);
        EXPECT_EQ(getIdQuery(held.token(), nullptr), STAPI_RC_NO_MEMORY);
    }
}

TEST_F(RsIdQuery, NeedsOneAllocation) {
    HeldSet held(ids({"one", "two"}));
    test_support::takeAllocationCount();
    EXPECT_EQ(query(held), 0);
    EXPECT_EQ(test_support::takeAllocationCount(), 1);
}

TEST_F(RsIdQuery, WrongContentIsRefusedBeforeTheOwner) {
    HeldSet held(SetBytes("ZULNOSET", 0).end());
    ++held.token()->owningPid;
    traceToFile(1);
    EXPECT_EQ(query(held), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(text_, untouchedText);
    EXPECT_EQ(points(), (Lines{"1041 *EXC* API.getIdQuery Resultset does not contain recognised content"}));
}

TEST_F(RsIdQuery, NoBufferIsWrongContent) {
    HeldSet held(ids({"one"}));
    held.token()->resultSetBuf = nullptr;
    EXPECT_EQ(query(held), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(text_, untouchedText);
}

TEST_F(RsIdQuery, WrongProcessAndWrongThreadAreRefusedAndDoNotMoveTheWalk) {
    HeldSet held(ids({"one", "two"}));
    IdData record = {};
    ASSERT_EQ(getFirstId(held.token(), &record), 0);
    ++held.token()->owningPid;
    EXPECT_EQ(query(held), STAPI_RC_WRONG_PROCESS);
    --held.token()->owningPid;
    int32_t rc = 0;
    unit_test::onAnotherThread([&] { rc = query(held); });
    EXPECT_EQ(rc, STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(text_, untouchedText);
    EXPECT_EQ(getNextId(held.token(), &record), 0);
    EXPECT_EQ(unit_test::IdWalkKind::entry(record), "two");
}

// ---- What it writes -------------------------------------------------------------------------------------------------

TEST_F(RsIdQuery, TracesTheStringAndTheNumberOfIds) {
    HeldSet held(SetBytes("ZULIDSET", 2).block("A", 0, 3).id("a").id("b").id("c").block("B", 4, 1).id("d").end());
    traceToFile(3);
    ASSERT_EQ(query(held), 0);
    const Lines lines = points();
    EXPECT_EQ(lines.front(),
              "1040 ENTRY API.getIdQuery(rsPtr=" + at(held.token()) + ",idQueryStringPtr=" + at(&text_) + ")");
    EXPECT_EQ(messages(1141), (Lines{"API.getIdQuery Created query string a:b:c from results in result set token " +
                                     at(held.token())}));
    EXPECT_EQ(lines.back(), "1042 EXIT API.getIdQuery(rsPtr=" + at(held.token()) + ") goodIdCount=3 rc=0");
}

TEST_F(RsIdQuery, EmptyResultHasNoMessageOfItsOwn) {
    HeldSet held(ids({"a"}, 4));
    traceToFile(1);
    EXPECT_EQ(query(held), STAPI_RC_QUERY_STRING_FAILED);
    EXPECT_EQ(traced(), "");
}

TEST_F(RsIdQuery, RefusedArgumentsAreTracedOnEntryAndExitOnly) {
    HeldSet held(ids({"a"}));
    traceToFile(5);
    getIdQuery(nullptr, &text_);
    getIdQuery(held.token(), nullptr);
    EXPECT_EQ(points(),
              (Lines{"1040 ENTRY API.getIdQuery(rsPtr=" + at(nullptr) + ",idQueryStringPtr=" + at(&text_) + ")",
                     "1042 EXIT API.getIdQuery(rsPtr=" + at(nullptr) + ") goodIdCount=0 rc=-127",
                     "1040 ENTRY API.getIdQuery(rsPtr=" + at(held.token()) + ",idQueryStringPtr=" + at(nullptr) + ")",
                     "1042 EXIT API.getIdQuery(rsPtr=" + at(held.token()) + ") goodIdCount=0 rc=-109"}));
}

}  // namespace
