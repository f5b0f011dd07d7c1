// Each allocation of an opening fails in turn.
#include <cstdint>
#include <string>

#include "allocation_faults.h"
#include "open_connection.h"

namespace wire_test {

namespace {

using test_support::AllocationFault;
using test_support::ScriptedPeer;

// The allocations of an opening, in their order: token, result set with its area, version and buffer; request and
// header of the handshake; request, header and body of each authorisation step and each call; the version payload;
// the caller's version text.
constexpr int kLastOfToken = 5;
constexpr int kLastOfConnect = 13;
constexpr int kLastOfVersionRequest = 20;
constexpr int kVersionText = 21;

int32_t expectedCode(int allocation) {
    if (allocation <= kLastOfToken) {
        return -111;
    }
    if (allocation <= kLastOfConnect) {
        return -118;
    }
    return allocation <= kLastOfVersionRequest ? -122 : -111;
}

class OpeningMemory : public ConnectionTest, public testing::WithParamInterface<bool> {};
class OpeningMemoryOnce : public ConnectionTest {};

TEST_P(OpeningMemory, EachFailedAllocationHasItsCodeAndLeavesNothingBehind) {
    for (int allocation = 1; allocation <= kVersionText; ++allocation) {
        ScriptedPeer peer(forgivingGatewayScript());
        GatewayToken* token = untouchedToken();
        char* version = nullptr;
        {
            const AllocationFault fault(allocation, GetParam());
            EXPECT_EQ(openGatewayConnection(peer.port(), &token, &version), expectedCode(allocation))
                << "allocation " << allocation;
            EXPECT_TRUE(fault.hasStruck());
        }
        EXPECT_EQ(token, allocation == kVersionText ? nullptr : untouchedToken()) << "allocation " << allocation;
        EXPECT_EQ(version, nullptr);
        EXPECT_EQ(stapi::gtlHead, nullptr) << "allocation " << allocation;
    }
}

INSTANTIATE_TEST_SUITE_P(AloneOrWithAllLater, OpeningMemory, testing::Bool());

TEST_F(OpeningMemoryOnce, NoOtherAllocationIsMade) {
    ScriptedPeer peer(gatewayScript());
    const AllocationFault fault(kVersionText + 1);
    GatewayToken* token = nullptr;
    char* version = nullptr;
    ASSERT_EQ(openGatewayConnection(peer.port(), &token, &version), 0);
    EXPECT_FALSE(fault.hasStruck());
    closeGatewayConnection(&token);
}

TEST_F(OpeningMemoryOnce, AConnectionCanBeClosedWithoutMemoryForTheCloseRequest) {
    ScriptedPeer peer(gatewayScript());
    OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    {
        const AllocationFault fault(1, true);
        EXPECT_EQ(closeGatewayConnection(&connection.token), 0);
        EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.requests().size(), 5U);
}

}  // namespace

}  // namespace wire_test
