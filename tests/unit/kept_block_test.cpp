// The block that a connection keeps for its replies.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "allocation_faults.h"
#include "comms/kept_block.h"

namespace {

struct OwnedBlock {
    ~OwnedBlock() {
        stapi::releaseKeptBlock(&kept);
    }
    stapi::KeptBlock kept = {};
};

// Receives as an exchange does.
uint8_t* receiveInto(stapi::KeptBlock* kept, size_t announced, size_t arrived) {
    uint8_t* const block = stapi::takeKeptBlock(kept, announced);
    std::memset(block, 'x', arrived);
    stapi::noteReceived(kept, arrived);
    return block;
}

TEST(KeptBlock, IsTheSameForRepliesThatFitIntoIt) {
    OwnedBlock owned;
    const uint8_t* const first = receiveInto(&owned.kept, 10000, 10000);
    EXPECT_EQ(receiveInto(&owned.kept, 9000, 9000), first);
    EXPECT_EQ(owned.kept.size, 10000U);
}

TEST(KeptBlock, StaysWithWhatItHoldsForAReplyThatFillsIt) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 10000, 8000);
    const uint8_t* const block = stapi::takeKeptBlock(&owned.kept, 10000);
    EXPECT_EQ(owned.kept.written, 8000U);
    EXPECT_EQ(block[7999], 'x');
}

TEST(KeptBlock, IsNoneWithoutMemoryForIt) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 10000, 10000);
    {
        const test_support::AllocationFault fault(1);
        EXPECT_EQ(stapi::takeKeptBlock(&owned.kept, 20000), nullptr);
        EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_EQ(owned.kept.size, 0U);
    EXPECT_EQ(owned.kept.written, 0U);
    EXPECT_NE(stapi::takeKeptBlock(&owned.kept, 5000), nullptr);
}

TEST(KeptBlock, IsEnlargedForALongerReply) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 5000, 5000);
    receiveInto(&owned.kept, 50000, 50000);
    EXPECT_EQ(owned.kept.size, 50000U);
}

TEST(KeptBlock, IsZeroWhereNothingArrivedWhateverItHeldBefore) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 10000, 8000);
    const uint8_t* const block = receiveInto(&owned.kept, 9000, 10);
    EXPECT_TRUE(std::all_of(block, block + 10, [](uint8_t byte) { return byte == 'x'; }));
    EXPECT_TRUE(std::all_of(block + 10, block + 10000, [](uint8_t byte) { return byte == 0; }));
}

TEST(KeptBlock, KnowsTheAddressesInIt) {
    OwnedBlock owned;
    const uint8_t other = 0;
    EXPECT_FALSE(stapi::isInKeptBlock(&owned.kept, nullptr));
    const uint8_t* const block = receiveInto(&owned.kept, 5000, 5000);
    EXPECT_TRUE(stapi::isInKeptBlock(&owned.kept, block));
    EXPECT_TRUE(stapi::isInKeptBlock(&owned.kept, block + 4999));
    EXPECT_FALSE(stapi::isInKeptBlock(&owned.kept, block + 5000));
    EXPECT_FALSE(stapi::isInKeptBlock(&owned.kept, &other));
    EXPECT_FALSE(stapi::isInKeptBlock(&owned.kept, nullptr));
    EXPECT_FALSE(stapi::isInKeptBlock(nullptr, block));
}

TEST(KeptBlock, StaysWhileRepliesNeedAQuarterOfIt) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 100000, 100000);
    for (int round = 0; round < 100; ++round) {
        stapi::reviewKeptBlock(&owned.kept, 25000);
    }
    EXPECT_EQ(owned.kept.size, 100000U);
}

TEST(KeptBlock, IsGivenBackAfterEightSmallRepliesInARow) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 100000, 100000);
    for (int round = 0; round < 7; ++round) {
        stapi::reviewKeptBlock(&owned.kept, 24999);
    }
    EXPECT_EQ(owned.kept.size, 100000U);
    stapi::reviewKeptBlock(&owned.kept, 24999);
    EXPECT_EQ(owned.kept.size, 0U);
    EXPECT_EQ(owned.kept.bytes, nullptr);
}

TEST(KeptBlock, IsGivenBackAtOnceWhenItIsSmall) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 65535, 65535);
    stapi::reviewKeptBlock(&owned.kept, 65535);
    EXPECT_EQ(owned.kept.bytes, nullptr);
    receiveInto(&owned.kept, 65536, 65536);
    stapi::reviewKeptBlock(&owned.kept, 65536);
    EXPECT_EQ(owned.kept.size, 65536U);
}

TEST(KeptBlock, StaysWhenALargeReplyComesBetweenSmallOnes) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 100000, 100000);
    for (int round = 0; round < 30; ++round) {
        stapi::reviewKeptBlock(&owned.kept, round % 8 == 7 ? 100000 : 10);
    }
    EXPECT_EQ(owned.kept.size, 100000U);
}

TEST(KeptBlock, IsGivenBackAtOnceWhenAnAnnouncementWasFarBeyondWhatArrived) {
    OwnedBlock owned;
    receiveInto(&owned.kept, 100 << 20, 100);
    stapi::reviewKeptBlock(&owned.kept, 100);
    EXPECT_EQ(owned.kept.bytes, nullptr);
}

}  // namespace
