// Releasing result-set tokens, and holding them against the process and thread that made them.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "platform/platform.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"

namespace {

using stapi::createResultSet;
using stapi::deleteResultSet;
using stapi::verifyAPIResultSetToken;
using unit_test::at;
using unit_test::Lines;

const std::string kPrefix = "stapi_zul_resultsetbuffer.";

class RsDelete : public unit_test::TracedTest {
  protected:
    static ResultSetToken* newToken() {
        ResultSetToken* token = nullptr;
        EXPECT_EQ(createResultSet(&token, "ZULRSROB", 0x8888), 0);
        return token;
    }
};

TEST_F(RsDelete, ReleasesTokenAreaAndIdListAndNullsThePointer) {
    ResultSetToken* token = newToken();
    token->asciiIdList = static_cast<char*>(stapi::allocateMemory(100));
    EXPECT_EQ(deleteResultSet(&token), 0);
    EXPECT_EQ(token, nullptr);
}

TEST_F(RsDelete, NullPointerToATokenIsRefused) {
    EXPECT_EQ(deleteResultSet(nullptr), STAPI_RC_NULL_RESULT_SET_POINTER);
}

TEST_F(RsDelete, NullTokenIsRefused) {
    ResultSetToken* token = nullptr;
    EXPECT_EQ(deleteResultSet(&token), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(token, nullptr);
}

TEST_F(RsDelete, DeletingTwiceThroughOnePointerIsRefused) {
    ResultSetToken* token = newToken();
    EXPECT_EQ(deleteResultSet(&token), 0);
    EXPECT_EQ(deleteResultSet(&token), STAPI_RC_NULL_RESULT_SET);
}

TEST_F(RsDelete, NeverReleasesTheBuffer) {
    ResultSetToken* token = newToken();
    auto* const buffer = static_cast<char*>(stapi::allocateMemory(64));
    token->resultSetBuf = buffer;
    token->resultSetBufLen = 48;
    EXPECT_EQ(deleteResultSet(&token), 0);
    std::memset(buffer, 'x', 64);
    EXPECT_EQ(buffer[63], 'x');
    stapi::releaseMemory(buffer);
}

TEST_F(RsDelete, TakesATokenWithoutAQueryStringArea) {
    ResultSetToken* token = newToken();
    stapi::releaseMemory(token->verifiedQueryString);
    token->verifiedQueryString = nullptr;
    const void* const address = token;
    traceToFile(5);
    EXPECT_EQ(deleteResultSet(&token), 0);
    EXPECT_EQ(points(), (Lines{"2133 ENTRY " + kPrefix + "deleteResultSet(&rsPtr=" + at(&token) + ")",
                               "2136 DEBUG " + kPrefix + "deleteResultSet Free result set token(" + at(address) + ")",
                               "2137 DEBUG " + kPrefix + "deleteResultSet Freed result set token(" + at(address) + ")",
                               "2138 EXIT " + kPrefix + "deleteResultSet(&rsPtr=" + at(&token) + ") rc=0"}));
}

TEST_F(RsDelete, TracesTheReleaseOfTheAreaInTheWordsOfTheToken) {
    ResultSetToken* token = newToken();
    const void* const area = token->verifiedQueryString;
    const void* const address = token;
    traceToFile(5);
    EXPECT_EQ(deleteResultSet(&token), 0);
    EXPECT_EQ(points(),
              (Lines{"2133 ENTRY " + kPrefix + "deleteResultSet(&rsPtr=" + at(&token) + ")",
                     "2134 DEBUG " + kPrefix + "deleteResultSet Free result set verifiedQueryString(" + at(area) + ")",
                     "2135 DEBUG " + kPrefix + "deleteResultSet Freed result set token(" + at(area) + ")",
                     "2136 DEBUG " + kPrefix + "deleteResultSet Free result set token(" + at(address) + ")",
                     "2137 DEBUG " + kPrefix + "deleteResultSet Freed result set token(" + at(address) + ")",
                     "2138 EXIT " + kPrefix + "deleteResultSet(&rsPtr=" + at(&token) + ") rc=0"}));
}

TEST_F(RsDelete, RefusalsAreTracedOnEntryAndExitOnly) {
    ResultSetToken* token = nullptr;
    traceToFile(5);
    deleteResultSet(nullptr);
    deleteResultSet(&token);
    EXPECT_EQ(points(), (Lines{"2133 ENTRY " + kPrefix + "deleteResultSet(&rsPtr=" + at(nullptr) + ")",
                               "2138 EXIT " + kPrefix + "deleteResultSet(&rsPtr=" + at(nullptr) + ") rc=-125",
                               "2133 ENTRY " + kPrefix + "deleteResultSet(&rsPtr=" + at(&token) + ")",
                               "2138 EXIT " + kPrefix + "deleteResultSet(&rsPtr=" + at(&token) + ") rc=-127"}));
}

// ---- Owner ----------------------------------------------------------------------------------------------------------

class RsVerify : public unit_test::TracedTest {
  protected:
    void SetUp() override {
        unit_test::TracedTest::SetUp();
        token_.owner = 0x8888;
        token_.owningPid = stapi::platform::currentProcessId();
        token_.owningTid = stapi::platform::currentThreadId();
    }

    ResultSetToken token_ = {};
};

std::string unpaddedHex(uint32_t value) {
    char text[16] = {};
    std::snprintf(text, sizeof text, "%" PRIx32, value);
    return text;
}

TEST_F(RsVerify, AcceptsTheMakersProcessAndThread) {
    traceToFile(5);
    EXPECT_EQ(verifyAPIResultSetToken(&token_), 0);
    const std::string entry = kPrefix + "verifyAPIResultSetToken(rsPtr=" + at(&token_) + ")";
    EXPECT_EQ(points(), (Lines{"2141 ENTRY " + entry, "2144 EXIT " + entry + " rc=0"}));
}

TEST_F(RsVerify, AnotherProcessIsRefused) {
    const uint32_t pid = token_.owningPid;
    token_.owningPid = 0xABCDEF01;
    traceToFile(5);
    EXPECT_EQ(verifyAPIResultSetToken(&token_), STAPI_RC_WRONG_PROCESS);
    const std::string entry = kPrefix + "verifyAPIResultSetToken(rsPtr=" + at(&token_) + ")";
    EXPECT_EQ(points(), (Lines{"2141 ENTRY " + entry,
                               "2142 *EXC* " + kPrefix + "verifyAPIResultSetToken PID mismatch: currentPid=" +
                                   unpaddedHex(pid) + ", owningPid=abcdef01",
                               "2144 EXIT " + entry + " rc=-123"}));
}

TEST_F(RsVerify, AnotherThreadIdIsRefused) {
    const uint32_t tid = token_.owningTid;
    token_.owningTid = 0xFEDCBA09;
    traceToFile(5);
    EXPECT_EQ(verifyAPIResultSetToken(&token_), STAPI_RC_WRONG_THREAD);
    const std::string entry = kPrefix + "verifyAPIResultSetToken(rsPtr=" + at(&token_) + ")";
    EXPECT_EQ(points(), (Lines{"2141 ENTRY " + entry,
                               "2143 *EXC* " + kPrefix + "verifyAPIResultSetToken TID mismatch: currentTid=" +
                                   unpaddedHex(tid) + ", owningTid=fedcba09",
                               "2144 EXIT " + entry + " rc=-124"}));
}

TEST_F(RsVerify, TheProcessIsComparedBeforeTheThread) {
    ++token_.owningPid;
    ++token_.owningTid;
    traceToFile(1);
    EXPECT_EQ(verifyAPIResultSetToken(&token_), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(ids(), (std::vector<int>{2142}));
}

TEST_F(RsVerify, ARealOtherThreadIsRefused) {
    int32_t rc = 0;
    uint32_t otherTid = 0;
    traceToFile(1);
    unit_test::onAnotherThread([&] {
        otherTid = stapi::platform::currentThreadId();
        rc = verifyAPIResultSetToken(&token_);
    });
    EXPECT_EQ(rc, STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(points(), (Lines{"2143 *EXC* " + kPrefix + "verifyAPIResultSetToken TID mismatch: currentTid=" +
                               unpaddedHex(otherTid) + ", owningTid=" + unpaddedHex(token_.owningTid)}));
    EXPECT_EQ(verifyAPIResultSetToken(&token_), 0);
}

}  // namespace
