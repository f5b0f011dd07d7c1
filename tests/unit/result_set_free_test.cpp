// Releasing copies of result sets.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "hand_built_set.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using unit_test::at;
using unit_test::HeldSet;
using unit_test::Lines;
using unit_test::SetBytes;

class RsFree : public unit_test::TracedTest {
  protected:
    ResultSetToken* newCopy() {
        ResultSetToken* copy = nullptr;
        EXPECT_EQ(copyResultSet(source_.token(), &copy), 0);
        return copy;
    }
    // A copy whose buffer could not be allocated.
    ResultSetToken* newCopyWithoutBuffer() {
        const test_support::AllocationFault fault(3);
        ResultSetToken* copy = nullptr;
        EXPECT_EQ(copyResultSet(source_.token(), &copy), STAPI_RC_NO_MEMORY);
        return copy;
    }

    HeldSet source_{SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("only").end()};
};

TEST_F(RsFree, ReleasesACopyAndNullsThePointer) {
    ResultSetToken* copy = newCopy();
    EXPECT_EQ(freeResultSet(&copy), 0);
    EXPECT_EQ(copy, nullptr);
}

TEST_F(RsFree, ReleasesTheIdListOfACopyThatHasOne) {
    ResultSetToken* copy = newCopy();
    copy->asciiIdList = static_cast<char*>(stapi::allocateMemory(10));
    EXPECT_EQ(freeResultSet(&copy), 0);
}

TEST_F(RsFree, SecondTimeThroughThePointerIsRefused) {
    ResultSetToken* copy = newCopy();
    EXPECT_EQ(freeResultSet(&copy), 0);
    EXPECT_EQ(freeResultSet(&copy), STAPI_RC_NULL_RESULT_SET);
}

TEST_F(RsFree, NullPointerToATokenIsRefused) {
    traceToFile(1);
    EXPECT_EQ(freeResultSet(nullptr), STAPI_RC_NULL_RESULT_SET_POINTER);
    EXPECT_EQ(points(),
              (Lines{"1081 *EXC* API.freeResultSet(&rsPtr=" + at(nullptr) + ") Supplied result set pointer is NULL"}));
}

TEST_F(RsFree, NullTokenIsRefused) {
    ResultSetToken* none = nullptr;
    traceToFile(1);
    EXPECT_EQ(freeResultSet(&none), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(points(),
              (Lines{"1082 *EXC* API.freeResultSet(&rsPtr=" + at(&none) + ") Supplied result set token is NULL"}));
}

TEST_F(RsFree, ConnectionsTokenIsRefusedAndStaysUsable) {
    ResultSetToken* token = source_.token();
    const std::string before = unit_test::bytesOf(*token);
    traceToFile(1);
    EXPECT_EQ(freeResultSet(&token), STAPI_RC_NOT_USER_RESULT_SET);
    EXPECT_EQ(points(), (Lines{"1083 *EXC* API.freeResultSet(rsPtr=" + at(source_.token()) +
                               ") Cannot free result sets with owner=34952"}));
    EXPECT_EQ(token, source_.token());
    EXPECT_EQ(unit_test::bytesOf(*token), before);
    IdData record = {};
    EXPECT_EQ(getFirstId(token, &record), 0);
}

TEST_F(RsFree, ConnectionsTokenIsRefusedInAnotherThreadWithTheSameCode) {
    ResultSetToken* token = source_.token();
    int32_t rc = 0;
    unit_test::onAnotherThread([&] { rc = freeResultSet(&token); });
    EXPECT_EQ(rc, STAPI_RC_NOT_USER_RESULT_SET);
}

TEST_F(RsFree, UnknownOwnerIsRefusedBeforeTheRestOfTheTokenIsRead) {
    ResultSetToken foreign = {};
    foreign.owner = 0x7777;
    foreign.resultSetBuf = reinterpret_cast<char*>(uintptr_t{16});
    foreign.verifiedQueryString = foreign.resultSetBuf;
    ResultSetToken* token = &foreign;
    traceToFile(1);
    EXPECT_EQ(freeResultSet(&token), STAPI_RC_NOT_USER_RESULT_SET);
    EXPECT_EQ(token, &foreign);
    EXPECT_EQ(messages(1083),
              (Lines{"API.freeResultSet(rsPtr=" + at(&foreign) + ") Cannot free result sets with owner=30583"}));
}

TEST_F(RsFree, CopyWithoutABufferIsReleasedWithAMessageAndWithoutAFailure) {
    ResultSetToken* copy = newCopyWithoutBuffer();
    ASSERT_NE(copy, nullptr);
    const std::string address = at(copy);
    traceToFile(2);
    EXPECT_EQ(freeResultSet(&copy), 0);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(points(),
              (Lines{"1086 *EXC* API.freeResultSet(rsPtr=" + address + ") Result set buffer pointer was already null",
                     "1136 EVENT API.freeResultSetFreed result set " + address}));
}

TEST_F(RsFree, CopyWithAStrangeEyecatcherIsReleased) {
    ResultSetToken* copy = newCopy();
    copy->eyecatcher[0] = '?';
    EXPECT_EQ(freeResultSet(&copy), 0);
}

TEST_F(RsFree, TracesBufferTokenAndEvent) {
    ResultSetToken* copy = newCopy();
    const std::string address = at(copy);
    const std::string buffer = at(copy->resultSetBuf);
    traceToFile(5);
    EXPECT_EQ(freeResultSet(&copy), 0);
    setLevelSilently(0);
    const Lines lines = points();
    ASSERT_EQ(ids(), (std::vector<int>{1080, 1085, 2133, 2134, 2135, 2136, 2137, 2138, 1136, 1087}));
    EXPECT_EQ(lines[0], "1080 ENTRY API.freeResultSet(&rsPtr=" + at(&copy) + ")");
    EXPECT_EQ(lines[1], "1085 DEBUG API.freeResultSet() free result set buffer storage (" + buffer + ")");
    EXPECT_EQ(lines[8], "1136 EVENT API.freeResultSetFreed result set " + address);
    EXPECT_EQ(lines[9], "1087 EXIT API.freeResultSet(&rsPtr=" + at(&copy) + ") rc=0");
}

TEST_F(RsFree, RefusalIsTracedOnExit) {
    ResultSetToken* token = source_.token();
    traceToFile(5);
    freeResultSet(&token);
    EXPECT_EQ(ids(), (std::vector<int>{1080, 1083, 1087}));
    EXPECT_EQ(points().back(), "1087 EXIT API.freeResultSet(&rsPtr=" + at(&token) + ") rc=-106");
}

}  // namespace
