// Gateway tokens whose making fails before anything is sent: nothing stays behind, on the list or in memory.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "api/zulstats64.h"
#include "gateway_token_list_fixture.h"

namespace {

using stapi::createGatewayToken;
using test_support::AllocationFault;
using unit_test::at;
using unit_test::Lines;
using unit_test::listed;

class GtlCreateFailures : public unit_test::GtlTest {
  protected:
    static std::string entry(const void* pointer) {
        return "stapi_zul_gwytok.createGatewayToken(&gwTokPtr=" + at(pointer) + ",port=4100)";
    }
    int32_t createWithFault(int64_t allocation) {
        const AllocationFault fault(allocation);
        stapi::TokenHold opening;
        const int32_t rc = createGatewayToken(&token_, "127.0.0.1", 4100, &opening);
        EXPECT_TRUE(fault.hasStruck());
        return rc;
    }
    static std::string allocated(size_t size) {
        return "stapi_zul_gwytok.createGatewayToken Called malloc for " + std::to_string(size) +
               " bytes. rc=" + at(nullptr);
    }

    GatewayToken untouched_ = {};
    GatewayToken* token_ = &untouched_;
};

class GtlCreateWithoutMemory : public GtlCreateFailures, public testing::WithParamInterface<int> {};

TEST_P(GtlCreateWithoutMemory, LeavesPointerAndListAsTheyWere) {
    GatewayToken* const other = chained();
    EXPECT_EQ(createWithFault(GetParam()), STAPI_RC_NO_MEMORY);
    EXPECT_EQ(token_, &untouched_);
    EXPECT_EQ(listed(), (Tokens{other}));
}

TEST_P(GtlCreateWithoutMemory, NeverTriesToConnect) {
    traceToFile(5);
    EXPECT_EQ(createWithFault(GetParam()), STAPI_RC_NO_MEMORY);
    EXPECT_EQ(messages(2002), Lines{});
    EXPECT_EQ(points().front(), "2000 ENTRY " + entry(&token_));
    EXPECT_EQ(points().back(), "2001 EXIT " + entry(&token_) + " rc=-111");
}

// The token, its result set, the result set's query-string area, the protocol version, the reply buffer.
INSTANTIATE_TEST_SUITE_P(AtAllocation, GtlCreateWithoutMemory, testing::Range(1, 6),
                         [](const auto& instance) { return std::to_string(instance.param); });

TEST_F(GtlCreateFailures, NoMemoryForTheTokenIsTraced) {
    traceToFile(5);
    createWithFault(1);
    const size_t size = 72;  // of the record without what the library keeps behind it
    EXPECT_EQ(points(), (Lines{"2000 ENTRY " + entry(&token_), "2038 DEBUG " + allocated(size),
                               "2039 *EXC* stapi_zul_gwytok.createGatewayToken Failed to allocate " +
                                   std::to_string(size) + " bytes",
                               "2001 EXIT " + entry(&token_) + " rc=-111"}));
}

TEST_F(GtlCreateFailures, NoMemoryForTheResultSetIsTraced) {
    traceToFile(1);
    createWithFault(2);
    ASSERT_EQ(ids(), (std::vector<int>{2129, 2036}));
    EXPECT_EQ(points().back(), "2036 *EXC* stapi_zul_gwytok.createGatewayToken Creation of resultset failed rc=-111");
}

TEST_F(GtlCreateFailures, NoMemoryForTheQueryStringAreaIsTraced) {
    traceToFile(1);
    createWithFault(3);
    EXPECT_EQ(ids(), (std::vector<int>{2131, 2036}));
}

TEST_F(GtlCreateFailures, NoMemoryForTheProtocolVersionHasNoMessageOfItsOwn) {
    traceToFile(1);
    createWithFault(4);
    EXPECT_EQ(traced(), "");
}

TEST_F(GtlCreateFailures, NoMemoryForTheBufferIsTracedWithAFullStop) {
    traceToFile(5);
    createWithFault(5);
    EXPECT_EQ(messages(2040), (Lines{allocated(32768)}));
    EXPECT_EQ(messages(2041), (Lines{"stapi_zul_gwytok.createGatewayToken Failed to allocate 32768 bytes."}));
}

TEST_F(GtlCreateFailures, CorruptListIsReportedAndLeftAlone) {
    GatewayToken* const other = chained();
    stapi::gtlTail = nullptr;
    traceToFile(1);
    stapi::TokenHold opening;
    EXPECT_EQ(createGatewayToken(&token_, "127.0.0.1", 4100, &opening), STAPI_RC_GTL_CORRUPT);
    EXPECT_EQ(token_, &untouched_);
    EXPECT_EQ(listed(), (Tokens{other}));
    EXPECT_EQ(ids(), (std::vector<int>{2020}));
}

TEST_F(GtlCreateFailures, CorruptListIsReportedThroughTheExport) {
    chained();
    stapi::gtlTail = nullptr;
    char* version = nullptr;
    EXPECT_EQ(openRemoteGatewayConnection("127.0.0.1", 4100, &token_, &version), STAPI_RC_GTL_CORRUPT);
    EXPECT_EQ(token_, &untouched_);
    EXPECT_EQ(version, nullptr);
}

}  // namespace
