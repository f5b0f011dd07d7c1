// Dumps of result sets.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"

namespace {

using unit_test::at;
using unit_test::dashLine;
using unit_test::HeldSet;
using unit_test::Lines;
using unit_test::SetBytes;

class RsDump : public unit_test::TracedTest {
  protected:
    static std::string head(HeldSet& held, const std::string& owner) {
        return "Dump of ResultSet(" + at(held.token()) + ") owner(" + owner + ") head(" + at(held.buffer()) +
               ") next(" + at(held.token()->dataCursor) + ")\n" + dashLine();
    }
};

// 8 + 4 + (4 + 2) + 4 + 4 + (4 + 3) bytes: two whole lines and one byte.
SetBytes smallSet() {
    return SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("abc").end();
}

std::string smallSetDumped(const HeldSet& held) {
    return dumpLineStart(held.at(0)) + "5A554C49 44534554 01000000 02000000 : ZULIDSET........ \n" +  //
           dumpLineStart(held.at(16)) + "52470000 00000100 00000300 00006162 : RG............ab \n" +
           dumpLineStart(held.at(32)) + "63                                  : c\n";
}

TEST_F(RsDump, OfAConnectionsResultSetIsExact) {
    HeldSet held(smallSet());
    traceToFile(0);
    EXPECT_EQ(dumpResultSet(held.token()), 0);
    EXPECT_EQ(traced(), head(held, "8888") + smallSetDumped(held) + dashLine());
}

TEST_F(RsDump, OfACopyShowsItsOwner) {
    HeldSet held(smallSet(), unit_test::kUserOwner);
    traceToFile(0);
    EXPECT_EQ(dumpResultSet(held.token()), 0);
    EXPECT_EQ(traced(), head(held, "9999") + smallSetDumped(held) + dashLine());
}

TEST_F(RsDump, ShowsWhereTheWalkStandsAndDoesNotMoveIt) {
    HeldSet held(smallSet());
    IdData record = {};
    ASSERT_EQ(getFirstId(held.token(), &record), 0);
    ASSERT_EQ(held.token()->dataCursor, held.at(33));
    traceToFile(0);
    EXPECT_EQ(dumpResultSet(held.token()), 0);
    EXPECT_EQ(traced(), head(held, "8888") + smallSetDumped(held) + dashLine());
    EXPECT_EQ(getNextId(held.token(), &record), STAPI_RC_END_OF_DATA);
}

TEST_F(RsDump, TerminatorAtALineStartStillShowsThatLineInHex) {
    HeldSet held(SetBytes("ZULSTSET", 1).failedBlock("", -1).raw(std::string(12, 'q')).end().raw("behind the mark."));
    traceToFile(3);
    EXPECT_EQ(stapi::dumpResultSetInternal(held.token()), 0);
    const std::string dumped = dumpLineStart(held.at(0)) + "5A554C53 54534554 01000000 00000000 : ZULSTSET........ \n" +
                               dumpLineStart(held.at(16)) +
                               "FFFFFFFF 71717171 71717171 71717171 : ....qqqqqqqqqqqq \n" +
                               dumpLineStart(held.at(32)) + "0F0E0F0E 62656869 6E642074 6865206D : \n";
    EXPECT_NE(traced().find(dashLine() + dumped + dashLine()), std::string::npos) << traced();
    EXPECT_EQ(messages(2140), (Lines{"stapi_zul_resultsetbuffer.dumpResultSetInternal(rsPtr=" + at(held.token()) +
                                     ") bytes dumped=32 rc=0"}));
}

TEST_F(RsDump, EmptySetStopsBehindItsCount) {
    HeldSet held(SetBytes("ZULIDSET", 0).end());
    traceToFile(0);
    EXPECT_EQ(dumpResultSet(held.token()), 0);
    EXPECT_EQ(traced(), head(held, "8888") + dumpLineStart(held.at(0)) +
                            "5A554C49 44534554 00000000          : ZULIDSET....\n" + dashLine());
}

TEST_F(RsDump, BufferWithoutATerminatorEndsWithItsAllocation) {
    HeldSet held(SetBytes("ZULIDSET", 0).raw(std::string(21, 'q')), unit_test::kConnectionOwner, '\xFF');
    traceToFile(3);
    EXPECT_EQ(dumpResultSet(held.token()), 0);
    const Lines exits = messages(2140);
    ASSERT_EQ(exits.size(), 1U);
    const std::string text = exits.front();
    const std::string mark = "bytes dumped=";
    const int dumped = std::stoi(text.substr(text.find(mark) + mark.size()));
    EXPECT_GE(dumped, 33);
    EXPECT_LE(dumped, 33 + static_cast<int>(unit_test::kSlackBehindCapacity));
}

TEST_F(RsDump, WritesTheSameAtEveryLevel) {
    HeldSet held(smallSet());
    traceToFile(0);
    dumpResultSet(held.token());
    const std::string dumped = traced();
    for (const int32_t level : {1, 2}) {
        setLevelSilently(level);
        const size_t before = traced().size();
        dumpResultSet(held.token());
        EXPECT_EQ(traced().substr(before), dumped) << level;
    }
}

TEST_F(RsDump, TracesEntryAndExitAroundIt) {
    HeldSet held(smallSet());
    const std::string token = at(held.token());
    traceToFile(3);
    EXPECT_EQ(dumpResultSet(held.token()), 0);
    const std::string owner = "stapi_zul_resultsetbuffer.verifyAPIResultSetToken(rsPtr=" + token + ")";
    const std::string dump = "stapi_zul_resultsetbuffer.dumpResultSetInternal(rsPtr=" + token + ")";
    EXPECT_EQ(points(), (Lines{"1102 ENTRY API.dumpResultSet(rsPtr=" + token + ")", "2141 ENTRY " + owner,
                               "2144 EXIT " + owner + " rc=0", "2139 ENTRY " + dump,
                               "2140 EXIT " + dump + " bytes dumped=33 rc=0",
                               "1105 EXIT API.dumpResultSet(rsPtr=" + token + ") rc=0"}));
}

// ---- Refusals -------------------------------------------------------------------------------------------------------

class RsDumpRefusals : public RsDump {
  protected:
    // Nothing but the trace lines of level 1 is written.
    void expectRefusal(ResultSetToken* token, int32_t code, const Lines& exceptions) {
        traceToFile(1);
        EXPECT_EQ(dumpResultSet(token), code);
        EXPECT_EQ(points(), exceptions);
        EXPECT_EQ(test_support::splitLines(traced()).size(), exceptions.size());
    }
};

TEST_F(RsDumpRefusals, NullResultSet) {
    expectRefusal(nullptr, STAPI_RC_NULL_RESULT_SET, {});
}

TEST_F(RsDumpRefusals, NoBufferBeforeTheOwner) {
    HeldSet held(smallSet());
    held.token()->resultSetBuf = nullptr;
    stapi::keepContent(held.token());
    ++held.token()->owningPid;
    expectRefusal(
        held.token(), STAPI_RC_NO_RESULT_BUFFER,
        {"1103 *EXC* API.dumpResultSet(rsPtr=" + at(held.token()) + ") resultSetBuf is NULL - no data to dump"});
}

TEST_F(RsDumpRefusals, NoBufferIsRefusedWithoutAWordWhileNothingIsTraced) {
    HeldSet held(smallSet());
    held.token()->resultSetBuf = nullptr;
    stapi::keepContent(held.token());
    traceToFile(0);
    EXPECT_EQ(dumpResultSet(held.token()), STAPI_RC_NO_RESULT_BUFFER);
    EXPECT_EQ(traced(), "");
}

TEST_F(RsDumpRefusals, WrongContentBeforeTheOwner) {
    HeldSet held(SetBytes().end().raw("no content"));
    ++held.token()->owningTid;
    expectRefusal(held.token(), STAPI_RC_WRONG_CONTENT,
                  {"1104 *EXC* API.dumpResultSet Resultset does not contain recognised content"});
}

TEST_F(RsDumpRefusals, AnotherProcessOrThread) {
    HeldSet held(smallSet());
    traceToFile(0);
    ++held.token()->owningPid;
    EXPECT_EQ(dumpResultSet(held.token()), STAPI_RC_WRONG_PROCESS);
    --held.token()->owningPid;
    int32_t rc = 0;
    unit_test::onAnotherThread([&] { rc = dumpResultSet(held.token()); });
    EXPECT_EQ(rc, STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(traced(), "");
}

TEST_F(RsDumpRefusals, NullTokenOfTheInternalDumpIsNoData) {
    traceToFile(3);
    EXPECT_EQ(stapi::dumpResultSetInternal(nullptr), STAPI_RC_NO_DATA);
    const std::string dump = "stapi_zul_resultsetbuffer.dumpResultSetInternal(rsPtr=" + at(nullptr) + ")";
    EXPECT_EQ(points(), (Lines{"2139 ENTRY " + dump, "2140 EXIT " + dump + " bytes dumped=0 rc=-103"}));
    EXPECT_EQ(test_support::splitLines(traced()).size(), 2U);
}

TEST_F(RsDumpRefusals, InternalDumpOfATokenWithoutABufferShowsNoBytes) {
    HeldSet held(smallSet());
    held.token()->resultSetBuf = nullptr;
    stapi::keepContent(held.token());
    held.token()->dataCursor = nullptr;
    traceToFile(0);
    EXPECT_EQ(stapi::dumpResultSetInternal(held.token()), 0);
    EXPECT_EQ(traced(), "Dump of ResultSet(" + at(held.token()) + ") owner(8888) head(" + at(nullptr) + ") next(" +
                            at(nullptr) + ")\n" + dashLine() + dashLine());
}

}  // namespace
