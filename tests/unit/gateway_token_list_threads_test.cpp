// The list of gateway tokens under many threads at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "gateway_token_list_fixture.h"
#include "meeting_point.h"

namespace {

using stapi::chainGatewayToken;
using stapi::deleteGatewayToken;
using stapi::TokenHold;

constexpr int kThreadCount = 4;
constexpr int kRounds = 60;
constexpr int kBackgroundRounds = 2000;

class GtlThreads : public unit_test::GtlTest {
  protected:
    // Runs the same code on several threads, which begin together.
    template <typename Action>
    static void onManyThreads(const Action& action) {
        test_support::MeetingPoint start(kThreadCount);
        std::vector<std::thread> threads;
        for (int number = 0; number < kThreadCount; ++number) {
            threads.emplace_back([&, number] {
                start.arriveAndWait();
                action(number);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    // Runs code on a thread of its own again and again, from before the other code begins. It ends with that code, but
    // after so many rounds in any case: locks are not fair everywhere, and it may be what keeps the others waiting.
    template <typename Background, typename Action>
    static void beside(const Background& background, const Action& action) {
        std::atomic<bool> stop = false;
        test_support::MeetingPoint start(2);
        std::thread thread([&] {
            background();
            start.arriveAndWait();
            for (int round = 0; round < kBackgroundRounds && !stop; ++round) {
                background();
                std::this_thread::yield();
            }
        });
        start.arriveAndWait();
        action();
        stop = true;
        thread.join();
    }
    // An open token of this thread's, unless another thread has closed it by now.
    static GatewayToken* chainedToken() {
        GatewayToken* const token = unit_test::newToken();
        EXPECT_EQ(chainGatewayToken(token), 0);
        TokenHold opening;
        opening.adoptOpening(token);
        opening.end();
        return token;
    }
};

TEST_F(GtlThreads, TokensChainedAtOnceAreAllOnTheListOnce) {
    std::vector<std::vector<GatewayToken*>> made(kThreadCount);
    onManyThreads([&](int number) {
        for (int round = 0; round < kRounds; ++round) {
            made[static_cast<size_t>(number)].push_back(chainedToken());
        }
    });
    const Tokens all = unit_test::listed();
    EXPECT_EQ(all.size(), static_cast<size_t>(kThreadCount * kRounds));
    for (const Tokens& ofOneThread : made) {
        for (GatewayToken* const token : ofOneThread) {
            EXPECT_EQ(std::count(all.begin(), all.end(), token), 1);
        }
    }
    EXPECT_EQ(stapi::gtlTail, all.back());
}

TEST_F(GtlThreads, EachThreadChainsUsesAndDeletesItsOwnTokens) {
    std::atomic<int> failures = 0;
    onManyThreads([&](int) {
        for (int round = 0; round < kRounds; ++round) {
            GatewayToken* first = chainedToken();
            GatewayToken* second = chainedToken();
            failures += stapi::verifyGatewayToken(first) == 0 ? 0 : 1;
            TokenHold hold;
            failures += hold.beginQuery(second) == 0 ? 0 : 1;
            failures += hold.end() == 0 ? 0 : 1;
            failures += deleteGatewayToken(&second, 1) == 0 ? 0 : 1;
            failures += deleteGatewayToken(&first, 1) == 0 ? 0 : 1;
        }
    });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(stapi::gtlHead, nullptr);
}

TEST_F(GtlThreads, TokensOfOtherThreadsAreRefusedWhileTheListChanges) {
    GatewayToken* const mine = chainedToken();
    std::atomic<int> failures = 0;
    onManyThreads([&](int) {
        for (int round = 0; round < kRounds; ++round) {
            GatewayToken* own = chainedToken();
            failures += stapi::verifyGatewayToken(mine) == STAPI_RC_WRONG_THREAD ? 0 : 1;
            failures += stapi::verifyGatewayToken(own) == 0 ? 0 : 1;
            failures += deleteGatewayToken(&own, 1) == 0 ? 0 : 1;
        }
    });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(unit_test::listed(), (Tokens{mine}));
}

TEST_F(GtlThreads, OneThreadDeletesAllWhileOthersChainAndUseTheirs) {
    std::atomic<int> unexpected = 0;
    const auto isGoneOr = [](int32_t rc, int32_t expected) { return rc == expected || rc == STAPI_RC_TOKEN_NOT_FOUND; };
    beside([] { stapi::deleteGatewayTokens(); },
           [&] {
               onManyThreads([&](int) {
                   for (int round = 0; round < kRounds; ++round) {
                       GatewayToken* const token = chainedToken();
                       TokenHold hold;
                       const int32_t beginRc = hold.beginQuery(token);
                       // A token that was deleted may stand for another thread's by now.
                       unexpected += isGoneOr(beginRc, 0) || beginRc == STAPI_RC_WRONG_THREAD ? 0 : 1;
                       if (beginRc == 0) {
                           std::memset(token->resultSetBuf, 'x', unit_test::kTestTokenCapacity);
                           stapi::addTerminator(token->resultSetBuf);
                           unexpected += isGoneOr(hold.end(), 0) ? 0 : 1;
                       }
                   }
               });
           });
    EXPECT_EQ(unexpected, 0);
    stapi::deleteGatewayTokens();
    EXPECT_EQ(stapi::gtlHead, nullptr);
}

TEST_F(GtlThreads, TwoThreadsDeletingOneTokenReleaseItOnce) {
    for (int round = 0; round < kRounds; ++round) {
        GatewayToken* const token = chainedToken();
        std::atomic<int> deleted = 0;
        std::atomic<int> notFound = 0;
        onManyThreads([&](int) {
            GatewayToken* pointer = token;
            const int32_t rc = deleteGatewayToken(&pointer, 1);
            deleted += rc == 0 ? 1 : 0;
            notFound += rc == STAPI_RC_TOKEN_NOT_FOUND ? 1 : 0;
        });
        EXPECT_EQ(deleted, 1);
        EXPECT_EQ(notFound, kThreadCount - 1);
    }
    EXPECT_EQ(stapi::gtlHead, nullptr);
}

TEST_F(GtlThreads, OneThreadDumpsTheStateWhileOthersChainUseAndDelete) {
    traceToFile(0);
    std::atomic<int> failures = 0;
    beside([&] { failures += dumpState() == 0 ? 0 : 1; },
           [&] {
               onManyThreads([&](int) {
                   for (int round = 0; round < kRounds; ++round) {
                       GatewayToken* token = chainedToken();
                       TokenHold hold;
                       failures += hold.beginQuery(token) == 0 ? 0 : 1;
                       std::memset(token->resultSetBuf, 'q', unit_test::kTestTokenCapacity);
                       stapi::addTerminator(token->resultSetBuf);
                       stapi::storeQueryResult(token, token->resultSetBuf, token->resultSetBufLen, true);
                       failures += hold.end() == 0 ? 0 : 1;
                       failures += deleteGatewayToken(&token, 1) == 0 ? 0 : 1;
                   }
               });
           });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    EXPECT_NE(traced().find("Gateway Token List dump\n"), std::string::npos);
}

TEST_F(GtlThreads, OwnersWalkTheirResultSetsWhileAnotherThreadDumpsThem) {
    traceToFile(0);
    std::atomic<int> failures = 0;
    beside([] { stapi::dumpGatewayTokens(); },
           [&] {
               onManyThreads([&](int) {
                   GatewayToken* token = chainedToken();
                   TokenHold hold;
                   failures += hold.beginQuery(token) == 0 ? 0 : 1;
                   std::memcpy(token->resultSetBuf, "ZULIDSET\1\0\0\0\1\0\0\0R\xFF\xFF\xFF\xFF\x0F\x0E\x0F\x0E", 25);
                   stapi::storeQueryResult(token, token->resultSetBuf, token->resultSetBufLen, true);
                   failures += hold.end() == 0 ? 0 : 1;
                   for (int round = 0; round < kRounds; ++round) {
                       IdData record = {};
                       failures += getFirstId(token->connRSToken, &record) == 0 ? 0 : 1;
                       failures += getNextId(token->connRSToken, &record) == STAPI_RC_END_OF_DATA ? 0 : 1;
                   }
                   failures += deleteGatewayToken(&token, 1) == 0 ? 0 : 1;
               });
           });
    EXPECT_EQ(failures, 0);
}

TEST_F(GtlThreads, EveryLineOfADumpIsWholeWhileOthersTrace) {
    traceToFile(0);
    std::vector<GatewayToken*> tokens = chainMany(3);
    beside([] { stapi::dumpGatewayTokens(); },
           [] {
               onManyThreads([](int) {
                   for (int round = 0; round < 10; ++round) {
                       stapi::writeTraceDirect("a line of another thread\n");
                   }
               });
           });
    for (const std::string& line : test_support::splitLines(traced())) {
        const bool isKnown = line == "a line of another thread" || line == std::string(80, '-') ||
                             line == "Gateway Token List dump" || line.starts_with("Gateway Token List entry -000") ||
                             line.starts_with("Dump of ResultSet(") || line.starts_with("0x") ||
                             line == "Total number of Gateway Token List entries=3";
        EXPECT_TRUE(isKnown) << line;
    }
}

}  // namespace
