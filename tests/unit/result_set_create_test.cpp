// Making result-set tokens.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "allocation_faults.h"
#include "api/zulstats64.h"
#include "platform/platform.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"

namespace {

using stapi::createResultSet;
using stapi::deleteResultSet;
using test_support::AllocationFault;
using unit_test::at;
using unit_test::Lines;

constexpr uint32_t kConnectionOwner = 0x8888;
constexpr uint32_t kUserOwner = 0x9999;
constexpr int kQueryStringArea = 32000;

class RsCreate : public unit_test::TracedTest {
  protected:
    // What a caller's pointer holds before a call that must leave it alone.
    ResultSetToken untouched_ = {};
};

std::string eyecatcherOf(const ResultSetToken* token) {
    return {token->eyecatcher, sizeof token->eyecatcher};
}

TEST_F(RsCreate, ConnectionTokenBelongsToTheCallingProcessAndThread) {
    ResultSetToken* token = nullptr;
    ASSERT_EQ(createResultSet(&token, "ZULRSROB", kConnectionOwner), 0);
    ASSERT_NE(token, nullptr);
    EXPECT_EQ(eyecatcherOf(token), "ZULRSROB");
    EXPECT_EQ(token->owner, kConnectionOwner);
    EXPECT_EQ(token->owningPid, stapi::platform::currentProcessId());
    EXPECT_EQ(token->owningTid, stapi::platform::currentThreadId());
    EXPECT_EQ(deleteResultSet(&token), 0);
}

TEST_F(RsCreate, UserTokenIsBoundToNobody) {
    ResultSetToken* token = nullptr;
    ASSERT_EQ(createResultSet(&token, "ZULRSUSR", kUserOwner), 0);
    EXPECT_EQ(eyecatcherOf(token), "ZULRSUSR");
    EXPECT_EQ(token->owner, kUserOwner);
    EXPECT_EQ(token->owningPid, 0U);
    EXPECT_EQ(token->owningTid, 0U);
    EXPECT_EQ(deleteResultSet(&token), 0);
}

TEST_F(RsCreate, NewTokenHasNoBufferNoIdListAndNoWalk) {
    ResultSetToken* token = nullptr;
    ASSERT_EQ(createResultSet(&token, "ZULRSROB", kConnectionOwner), 0);
    EXPECT_EQ(token->rsState, 0U);
    EXPECT_EQ(token->asciiIdList, nullptr);
    EXPECT_EQ(token->resultSetBuf, nullptr);
    EXPECT_EQ(token->resultSetBufLen, 0);
    EXPECT_EQ(token->dataCursor, nullptr);
    EXPECT_EQ(token->queryHeaderCount, 0U);
    EXPECT_EQ(token->queryIndex, 0U);
    EXPECT_EQ(token->elementResultCount, 0);
    EXPECT_EQ(token->elementResultIndex, 0);
    EXPECT_EQ(token->queryElementPtr, nullptr);
    EXPECT_EQ(token->queryElementLen, 0U);
    EXPECT_EQ(token->queryElementRC, 0);
    EXPECT_EQ(deleteResultSet(&token), 0);
}

TEST_F(RsCreate, QueryStringAreaIs32000ZeroBytes) {
    ResultSetToken* token = nullptr;
    ASSERT_EQ(createResultSet(&token, "ZULRSUSR", kUserOwner), 0);
    const char* const area = token->verifiedQueryString;
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(std::count(area, area + kQueryStringArea, '\0'), kQueryStringArea);
    std::memset(token->verifiedQueryString, 'x', kQueryStringArea);
    EXPECT_EQ(deleteResultSet(&token), 0);
}

TEST_F(RsCreate, EyecatcherLongerThanItsFieldDoesNotRunIntoTheOwner) {
    ResultSetToken* token = nullptr;
    ASSERT_EQ(createResultSet(&token, "ZULRSROBANDMORETHANTHAT", kConnectionOwner), 0);
    EXPECT_EQ(eyecatcherOf(token), "ZULRSROB");
    EXPECT_EQ(token->owner, kConnectionOwner);
    EXPECT_EQ(token->rsState, 0U);
    EXPECT_EQ(deleteResultSet(&token), 0);
}

TEST_F(RsCreate, EyecatcherShorterThanItsFieldIsCopiedInItsLength) {
    ResultSetToken* token = nullptr;
    ASSERT_EQ(createResultSet(&token, "ZUL", kUserOwner), 0);
    EXPECT_EQ(eyecatcherOf(token), std::string("ZUL\0\0\0\0\0", 8));
    EXPECT_EQ(deleteResultSet(&token), 0);
}

TEST_F(RsCreate, NullTokenPointerIsNoData) {
    EXPECT_EQ(createResultSet(nullptr, "ZULRSROB", kConnectionOwner), STAPI_RC_NO_DATA);
}

TEST_F(RsCreate, NullEyecatcherIsNoDataAndLeavesThePointerAlone) {
    ResultSetToken* token = &untouched_;
    EXPECT_EQ(createResultSet(&token, nullptr, kConnectionOwner), STAPI_RC_NO_DATA);
    EXPECT_EQ(token, &untouched_);
}

TEST_F(RsCreate, NullArgumentsAreTestedBeforeTheOwner) {
    ResultSetToken* token = &untouched_;
    EXPECT_EQ(createResultSet(&token, nullptr, 0x7777), STAPI_RC_NO_DATA);
    EXPECT_EQ(createResultSet(nullptr, "ZULRSROB", 0x7777), STAPI_RC_NO_DATA);
}

class RsCreateUnknownOwner : public RsCreate, public testing::WithParamInterface<uint32_t> {};

TEST_P(RsCreateUnknownOwner, IsRefusedAndAllocatesNothing) {
    ResultSetToken* token = &untouched_;
    test_support::takeAllocationCount();
    EXPECT_EQ(createResultSet(&token, "ZULRSROB", GetParam()), STAPI_RC_BAD_OWNER);
    EXPECT_EQ(test_support::takeAllocationCount(), 0);
    EXPECT_EQ(token, &untouched_);
}

INSTANTIATE_TEST_SUITE_P(AllButTwo, RsCreateUnknownOwner,
                         testing::Values(0x7777U, 0U, 0x8887U, 0x8889U, 0x9998U, 0x999AU, 0x18888U, 0xFFFFFFFFU),
                         [](const auto& instance) { return "Owner" + std::to_string(instance.param); });

TEST_F(RsCreate, NoMemoryForTheTokenSetsThePointerToNull) {
    ResultSetToken* token = &untouched_;
    const AllocationFault fault(1);
    EXPECT_EQ(createResultSet(&token, "ZULRSROB", kConnectionOwner), STAPI_RC_NO_MEMORY);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(token, nullptr);
}

TEST_F(RsCreate, NoMemoryForTheQueryStringAreaLeavesThePointerAlone) {
    ResultSetToken* token = &untouched_;
    const AllocationFault fault(2);
    EXPECT_EQ(createResultSet(&token, "ZULRSROB", kConnectionOwner), STAPI_RC_NO_MEMORY);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(token, &untouched_);
}

TEST_F(RsCreate, NeedsTwoAllocations) {
    ResultSetToken* token = nullptr;
    test_support::takeAllocationCount();
    ASSERT_EQ(createResultSet(&token, "ZULRSROB", kConnectionOwner), 0);
    EXPECT_EQ(test_support::takeAllocationCount(), 2);
    EXPECT_EQ(deleteResultSet(&token), 0);
}

// ---- What it traces -------------------------------------------------------------------------------------------------

std::string head(const void* pointer, const std::string& eyecatcher, uint32_t owner) {
    return "stapi_zul_resultsetbuffer.createResultSet(&newRsTokPtr=" + at(pointer) + ",eyecatcher=" + eyecatcher +
           ",owner=" + std::to_string(owner) + ")";
}

std::string allocated(int size, const void* block) {
    return "stapi_zul_resultsetbuffer.createResultSet Called malloc for " + std::to_string(size) +
           " bytes. rc=" + at(block);
}

constexpr int kTokenSize = static_cast<int>(sizeof(ResultSetToken));

TEST_F(RsCreate, TracesBothAllocations) {
    ResultSetToken* token = nullptr;
    traceToFile(5);
    ASSERT_EQ(createResultSet(&token, "ZULRSROB", kConnectionOwner), 0);
    setLevelSilently(0);
    const std::string entry = head(&token, "ZULRSROB", kConnectionOwner);
    EXPECT_EQ(points(), (Lines{"2127 ENTRY " + entry, "2128 DEBUG " + allocated(kTokenSize, token),
                               "2130 DEBUG " + allocated(kQueryStringArea, token->verifiedQueryString),
                               "2132 EXIT " + entry + " rc=0"}));
    EXPECT_EQ(deleteResultSet(&token), 0);
}

TEST_F(RsCreate, TracesAFailedAllocationOfTheToken) {
    ResultSetToken* token = &untouched_;
    traceToFile(5);
    {
        const AllocationFault fault(1);
        createResultSet(&token, "ZULRSUSR", kUserOwner);
    }
    const std::string entry = head(&token, "ZULRSUSR", kUserOwner);
    EXPECT_EQ(points(), (Lines{"2127 ENTRY " + entry, "2128 DEBUG " + allocated(kTokenSize, nullptr),
                               "2129 *EXC* stapi_zul_resultsetbuffer.createResultSet Failed to allocate " +
                                   std::to_string(kTokenSize) + " bytes",
                               "2132 EXIT " + entry + " rc=-111"}));
}

TEST_F(RsCreate, TracesAFailedAllocationOfTheAreaWithTheSizeOfTheToken) {
    ResultSetToken* token = &untouched_;
    traceToFile(5);
    {
        const AllocationFault fault(2);
        createResultSet(&token, "ZULRSUSR", kUserOwner);
    }
    const Lines lines = points();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(ids(), (std::vector<int>{2127, 2128, 2130, 2131, 2132}));
    EXPECT_EQ(lines[2], "2130 DEBUG " + allocated(kQueryStringArea, nullptr));
    EXPECT_EQ(lines[3], "2131 *EXC* stapi_zul_resultsetbuffer.createResultSet Failed to allocate " +
                            std::to_string(kTokenSize) + " bytes");
    EXPECT_EQ(lines[4], "2132 EXIT " + head(&token, "ZULRSUSR", kUserOwner) + " rc=-111");
}

TEST_F(RsCreate, RefusedArgumentsAreTracedOnEntryAndExitOnly) {
    ResultSetToken* token = &untouched_;
    traceToFile(5);
    createResultSet(&token, nullptr, kConnectionOwner);
    createResultSet(&token, "ZULRSROB", 0x7777);
    const std::string nullEyecatcher = head(&token, "(null)", kConnectionOwner);
    const std::string badOwner = head(&token, "ZULRSROB", 0x7777);
    EXPECT_EQ(points(), (Lines{"2127 ENTRY " + nullEyecatcher, "2132 EXIT " + nullEyecatcher + " rc=-103",
                               "2127 ENTRY " + badOwner, "2132 EXIT " + badOwner + " rc=-116"}));
}

}  // namespace
