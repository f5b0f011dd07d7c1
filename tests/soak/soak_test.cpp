// The short forms of the soak: some seconds of what scripts/soak does for as long as is wanted.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>

#include "gatewaysim_process.h"
#include "soak.h"

namespace soak {

namespace {

using test_support::GatewaySim;

void expectFlat(const Trend& trend, int64_t times) {
    EXPECT_EQ(trend.failures, std::vector<std::string>{});
    EXPECT_EQ(trend.times, times);
    EXPECT_EQ(trend.descriptorsAtLast, trend.descriptorsAtFirst);
    std::printf("[   SLOPE  ] resident %.2f, private %.2f bytes each\n", trend.residentSlope, trend.privateSlope);
#if !defined(KEEPS_FREED_MEMORY)
    // Allocators round up, and keep what is freed: less than one leaked block of each time would be.
    constexpr int64_t kMostGrowth = 512 * 1024;
    EXPECT_TRUE(isFlat(trend, kMostGrowth))
        << "resident " << trend.residentAtFirst << ", at the end " << trend.residentAtLast << " bytes";
#endif
}

TEST(Soak, QueriesLeaveMemoryAndDescriptorsFlat) {
    const GatewaySim gateway;
    expectFlat(runQueries(gateway.port(), {10000, {}}), 10000);
}

TEST(Soak, OpeningsAndClosingsLeaveMemoryAndDescriptorsFlat) {
    const GatewaySim gateway;
    expectFlat(runOpenings(gateway.port(), {1000, {}}), 1000);
}

TEST(Soak, LoadingAndUnloadingLeavesMemoryAndDescriptorsFlat) {
    expectFlat(runLoads(LIBRARY_FILE, {300, {}}), 300);
}

TEST(Soak, ThirtyTwoThreadsLoseNothingWhileLevelsAndFilesAreSwitched) {
    const GatewaySim gateway;
    const ThreadsOutcome outcome = runThreads(gateway.port(), 32, 300);
    EXPECT_EQ(outcome.failures, std::vector<std::string>{});
    EXPECT_GE(outcome.calls, 32 * 300);
    EXPECT_GT(outcome.switches, 5);
}

TEST(Soak, TwoProcessesNeverMixWithinALineOfOneTraceFile) {
    const AppendOutcome outcome = runAppenders(SOAK_PROGRAM, 3000);
    EXPECT_EQ(outcome.failures, std::vector<std::string>{});
    EXPECT_GE(outcome.lines, 4 * 3000);
}

}  // namespace

}  // namespace soak
