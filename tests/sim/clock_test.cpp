#include "sim/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

namespace sim_test {

namespace {

using gatewaysim::Clock;
using gatewaysim::Instant;
using gatewaysim::isoTextWithMilliseconds;
using std::chrono::steady_clock;
using namespace std::chrono_literals;

struct Times {
    Instant system;
    steady_clock::time_point steady;
};

// What the clock takes for the times of the system; runningClock sets both anew.
Times& times() {
    static Times kept;
    return kept;
}

Clock runningClock() {
    times().system = *gatewaysim::parseIsoText("2026-03-01T12:00:00Z") + 700ms;
    times().steady = steady_clock::time_point(5000s + 123456ns);
    return Clock({[] { return times().system; }, [] { return times().steady; }});
}

std::string timeOf(const Clock& clock) {
    return isoTextWithMilliseconds(clock.now(0));
}

TEST(RunningClock, StartsWithTheWholeSecondOfTheSystemsTime) {
    const Clock clock = runningClock();
    EXPECT_EQ(isoTextWithMilliseconds(clock.start()), "2026-03-01T12:00:00.000Z");
    EXPECT_EQ(timeOf(clock), "2026-03-01T12:00:00.700Z");
}

TEST(RunningClock, GoesOnEvenlyWhenTheSystemsTimeIsSetBack) {
    const Clock clock = runningClock();
    times().steady += 10s;
    times().system += 10s;
    EXPECT_EQ(timeOf(clock), "2026-03-01T12:00:10.700Z");
    times().steady += 1300ms;
    times().system -= 5s;
    EXPECT_EQ(timeOf(clock), "2026-03-01T12:00:12.000Z");
}

TEST(RunningClock, DoesNotLeapWhenTheSystemsTimeIsSetForward) {
    const Clock clock = runningClock();
    times().steady += 1ms;
    times().system += 24h;
    EXPECT_EQ(timeOf(clock), "2026-03-01T12:00:00.701Z");
}

TEST(RunningClock, StandsStillAHundredYearsAfterItsStart) {
    const Clock clock = runningClock();
    times().steady += 24h * 36600;
    EXPECT_EQ(timeOf(clock), "2126-03-02T12:00:00.000Z");
}

TEST(FrozenClock, StandsStillAHundredYearsAfterItsStart) {
    const Clock clock(*gatewaysim::parseIsoText("2026-03-01T12:00:00Z"), 24h);
    EXPECT_EQ(isoTextWithMilliseconds(clock.now(36524)), "2126-03-01T12:00:00.000Z");
    EXPECT_EQ(isoTextWithMilliseconds(clock.now(36525)), "2126-03-02T12:00:00.000Z");
    EXPECT_EQ(isoTextWithMilliseconds(clock.now(UINT32_MAX)), "2126-03-02T12:00:00.000Z");
}

}  // namespace

}  // namespace sim_test
