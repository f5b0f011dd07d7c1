#include "diag/heap_blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "allocation_faults.h"

namespace {

using stapi::allocateMemory;
using stapi::enlargeMemory;
using stapi::releaseMemory;
using test_support::AllocationFault;

bool isZeroFilled(const char* bytes, size_t size) {
    return std::all_of(bytes, bytes + size, [](char byte) { return byte == 0; });
}

class FreshBlock : public testing::TestWithParam<size_t> {};

TEST_P(FreshBlock, IsZeroFilled) {
    // A block that was full of something else before, so that the heap has a dirty one to give.
    auto* const dirty = static_cast<char*>(allocateMemory(GetParam()));
    ASSERT_NE(dirty, nullptr);
    std::memset(dirty, 0x5A, GetParam());
    releaseMemory(dirty);
    auto* const block = static_cast<char*>(allocateMemory(GetParam()));
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(isZeroFilled(block, GetParam()));
    releaseMemory(block);
}

INSTANTIATE_TEST_SUITE_P(Sizes, FreshBlock, testing::Values(1, 8, 64, 1024, 32768, 1 << 20));

TEST(Memory, BlockOfNoBytesIsMadeAsOneByte) {
    auto* const block = static_cast<char*>(allocateMemory(0));
    ASSERT_NE(block, nullptr);
    *block = 'x';
    releaseMemory(block);
}

TEST(Memory, FailedAllocationGivesNull) {
    const AllocationFault fault(1);
    EXPECT_EQ(allocateMemory(16), nullptr);
    EXPECT_TRUE(fault.hasStruck());
}

// Sanitizers end the program on such a request.
#if !defined(BUILT_WITH_SANITIZERS)
TEST(Memory, ImpossibleSizeGivesNull) {
    const volatile size_t impossible = SIZE_MAX / 2 + 1;  // volatile, or the compiler would object to it
    EXPECT_EQ(allocateMemory(impossible), nullptr);
}
#endif

TEST(Memory, EnlargedBlockKeepsItsBytesAndTheRestIsZero) {
    auto* block = static_cast<char*>(allocateMemory(100));
    ASSERT_NE(block, nullptr);
    std::memset(block, 0x5A, 100);
    block = static_cast<char*>(enlargeMemory(block, 100, 5000));
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(std::all_of(block, block + 100, [](char byte) { return byte == 0x5A; }));
    EXPECT_TRUE(isZeroFilled(block + 100, 4900));
    releaseMemory(block);
}

TEST(Memory, EnlargingNothingMakesAZeroFilledBlock) {
    auto* const block = static_cast<char*>(enlargeMemory(nullptr, 100, 300));
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(isZeroFilled(block, 300));
    releaseMemory(block);
}

TEST(Memory, FailedEnlargementLeavesTheOldBlockAsItWas) {
    auto* const block = static_cast<char*>(allocateMemory(100));
    ASSERT_NE(block, nullptr);
    std::memset(block, 0x5A, 100);
    {
        const AllocationFault fault(1);
        EXPECT_EQ(enlargeMemory(block, 100, 5000), nullptr);
    }
    EXPECT_TRUE(std::all_of(block, block + 100, [](char byte) { return byte == 0x5A; }));
    releaseMemory(block);
}

TEST(Memory, ReleasingNothingIsAllowed) {
    const int64_t before = test_support::takeAllocationCount();
    releaseMemory(nullptr);
    EXPECT_GE(before, 0);
    EXPECT_EQ(test_support::takeAllocationCount(), 0);
}

TEST(Memory, HolderReleasesItsBlock) {
    // A leak here is the leak checker's to report.
    const stapi::MemoryHolder<char> holder(static_cast<char*>(allocateMemory(32)));
    ASSERT_NE(holder, nullptr);
    EXPECT_TRUE(isZeroFilled(holder.get(), 32));
}

}  // namespace
