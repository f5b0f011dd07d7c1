#include "diag/stapi_zul_lock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "diag/stapi_zul_diag.h"
#include "meeting_point.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using stapi::destroyLock;
using stapi::initializeLock;
using stapi::LockRecord;
using stapi::lockState;
using stapi::releaseLock;
using stapi::requestLock;

using LockTest = TraceTest;

template <typename Action>
void runAtOnce(int threadCount, const Action& action) {
    test_support::MeetingPoint start(threadCount);
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(threadCount));
    for (int index = 0; index < threadCount; ++index) {
        threads.emplace_back([&start, &action, index] {
            start.arriveAndWait();
            action(index);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(LockTest, MarkersAreTheFixedOnes) {
    EXPECT_EQ(stapi::kLockInitialised, 0xFFEEDDCCU);
    EXPECT_EQ(stapi::kLockDestroyed, 0xCCDDEEFFU);
}

TEST_F(LockTest, FirstInitialisationGivesZeroAndSetsTheMarker) {
    LockRecord lock = {};
    EXPECT_EQ(lockState(&lock), 0U);
    EXPECT_EQ(initializeLock(&lock), 0);
    EXPECT_EQ(lockState(&lock), 0xFFEEDDCCU);
    EXPECT_EQ(destroyLock(&lock), 0);
}

TEST_F(LockTest, InitialisingAnInitialisedLockGivesOneAndLeavesItUsable) {
    LockRecord lock = {};
    initializeLock(&lock);
    EXPECT_EQ(initializeLock(&lock), 1);
    EXPECT_EQ(lockState(&lock), 0xFFEEDDCCU);
    EXPECT_EQ(requestLock(&lock), 0);
    EXPECT_EQ(releaseLock(&lock), 0);
    destroyLock(&lock);
}

TEST_F(LockTest, InitialisingAHeldLockLeavesItHeld) {
    LockRecord lock = {};
    initializeLock(&lock);
    ASSERT_EQ(requestLock(&lock), 0);
    int guarded = 0;
    std::thread other([&lock, &guarded] {
        EXPECT_EQ(initializeLock(&lock), 1);
        requestLock(&lock);
        ++guarded;
        releaseLock(&lock);
    });
    guarded += 10;  // a data race, if the other thread could pass
    releaseLock(&lock);
    other.join();
    EXPECT_EQ(guarded, 11);
    destroyLock(&lock);
}

TEST_F(LockTest, AnyOtherMarkerMeansNeverInitialised) {
    for (const uint32_t marker : {0U, 1U, 0xFFEEDDCDU, 0xCCDDEEFFU, 0xFFFFFFFFU}) {
        LockRecord lock = {};
        lock.state.store(marker);
        EXPECT_EQ(requestLock(&lock), -1) << marker;
        EXPECT_EQ(releaseLock(&lock), -1) << marker;
        EXPECT_EQ(destroyLock(&lock), -1) << marker;
        EXPECT_EQ(lockState(&lock), marker);
        EXPECT_EQ(initializeLock(&lock), 0) << marker;
        EXPECT_EQ(destroyLock(&lock), 0) << marker;
    }
}

TEST_F(LockTest, IsRecursiveForTheOwningThread) {
    LockRecord lock = {};
    initializeLock(&lock);
    EXPECT_EQ(requestLock(&lock), 0);
    EXPECT_EQ(requestLock(&lock), 0);
    EXPECT_EQ(releaseLock(&lock), 0);
    EXPECT_EQ(releaseLock(&lock), 0);
    std::thread other([&lock] {
        EXPECT_EQ(requestLock(&lock), 0);
        EXPECT_EQ(releaseLock(&lock), 0);
    });
    other.join();
    destroyLock(&lock);
}

TEST_F(LockTest, DestroyingSetsTheMarkerAndASecondTimeFails) {
    LockRecord lock = {};
    initializeLock(&lock);
    EXPECT_EQ(destroyLock(&lock), 0);
    EXPECT_EQ(lockState(&lock), 0xCCDDEEFFU);
    EXPECT_EQ(destroyLock(&lock), -1);
    EXPECT_EQ(lockState(&lock), 0xCCDDEEFFU);
}

TEST_F(LockTest, CanBeInitialisedAgainAfterItWasDestroyed) {
    LockRecord lock = {};
    initializeLock(&lock);
    destroyLock(&lock);
    EXPECT_EQ(initializeLock(&lock), 0);
    EXPECT_EQ(lockState(&lock), 0xFFEEDDCCU);
    EXPECT_EQ(requestLock(&lock), 0);
    EXPECT_EQ(releaseLock(&lock), 0);
    EXPECT_EQ(destroyLock(&lock), 0);
}

TEST_F(LockTest, KeepsThreadsApart) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 5000;
    LockRecord lock = {};
    initializeLock(&lock);
    int64_t counter = 0;
    runAtOnce(kThreads, [&lock, &counter](int) {
        for (int round = 0; round < kRounds; ++round) {
            requestLock(&lock);
            ++counter;
            releaseLock(&lock);
        }
    });
    EXPECT_EQ(counter, int64_t{kThreads} * kRounds);
    destroyLock(&lock);
}

TEST_F(LockTest, OfThreadsThatInitialiseAtOnceExactlyOneGetsZeroAndAllCanUseIt) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 100;
    for (int round = 0; round < kRounds; ++round) {
        LockRecord lock = {};
        std::vector<int32_t> codes(kThreads, INT32_MIN);
        int guarded = 0;
        runAtOnce(kThreads, [&lock, &codes, &guarded](int index) {
            codes[static_cast<size_t>(index)] = initializeLock(&lock);
            requestLock(&lock);
            ++guarded;
            releaseLock(&lock);
        });
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 0), 1);
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 1), kThreads - 1);
        EXPECT_EQ(guarded, kThreads);
        destroyLock(&lock);
    }
}

TEST_F(LockTest, ScopeHoldsTheLockAndReleasesIt) {
    LockRecord lock = {};
    initializeLock(&lock);
    int guarded = 0;
    std::thread other;
    {
        const stapi::LockScope scope(&lock);
        other = std::thread([&lock, &guarded] {
            const stapi::LockScope otherScope(&lock);
            ++guarded;
        });
        guarded += 10;
    }
    other.join();
    EXPECT_EQ(guarded, 11);
    destroyLock(&lock);
}

struct LockCall {
    std::string name;
    int32_t (*call)(LockRecord*);
    int pointId;
};

class NotInitialisedLock : public LockTest, public testing::WithParamInterface<LockCall> {
  protected:
    // The trace of a call on a record of each kind that is not initialised: never used, and destroyed.
    std::string traceOfCall(LockRecord* lock, int32_t level) {
        traceToFile(level);
        EXPECT_EQ(GetParam().call(lock), -1);
        setLevelSilently(0);
        return traced();
    }

    std::string expectedMessage(const LockRecord* lock) const {
        return "stapi_zul_lock." + GetParam().name + "(lockPtr=" + tracedPointer(lock) + ") Lock not initialized";
    }
};

TEST_P(NotInitialisedLock, NeverInitialisedIsReportedAtLevelOne) {
    LockRecord lock = {};
    const std::string text = traceOfCall(&lock, 1);
    const std::vector<test_support::TraceLine> lines = test_support::traceLines(text);
    ASSERT_EQ(lines.size(), 1U) << text;
    EXPECT_EQ(lines[0].pointId, GetParam().pointId);
    EXPECT_EQ(lines[0].word, "*EXC*");
    EXPECT_EQ(lines[0].message, expectedMessage(&lock));
}

TEST_P(NotInitialisedLock, DestroyedIsReportedAtLevelOne) {
    LockRecord lock = {};
    initializeLock(&lock);
    destroyLock(&lock);
    EXPECT_EQ(test_support::messagesOfPoint(traceOfCall(&lock, 1), GetParam().pointId),
              std::vector<std::string>{expectedMessage(&lock)});
}

TEST_P(NotInitialisedLock, IsNotReportedAtLevelZero) {
    LockRecord lock = {};
    EXPECT_EQ(traceOfCall(&lock, 0), "");
}

TEST_P(NotInitialisedLock, IsReportedWithoutTakingTheTraceLock) {
    traceToFile(1);
    LockRecord lock = {};
    // Another thread holds the trace lock until the call has come back: a call that took it would never do so.
    test_support::MeetingPoint held(2);
    test_support::MeetingPoint done(2);
    std::thread holder([&held, &done] {
        requestLock(&stapi::traceLock);
        held.arriveAndWait();
        done.arriveAndWait();
        releaseLock(&stapi::traceLock);
    });
    held.arriveAndWait();
    EXPECT_EQ(GetParam().call(&lock), -1);
    done.arriveAndWait();
    holder.join();
    setLevelSilently(0);
    EXPECT_EQ(test_support::messagesOfPoint(traced(), GetParam().pointId).size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Calls, NotInitialisedLock,
                         testing::Values(LockCall{"requestLock", requestLock, 3104},
                                         LockCall{"releaseLock", releaseLock, 3108},
                                         LockCall{"destroyLock", destroyLock, 3112}),
                         [](const testing::TestParamInfo<LockCall>& tested) { return tested.param.name; });

}  // namespace
