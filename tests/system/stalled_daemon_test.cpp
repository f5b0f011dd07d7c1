// A daemon that never answers. Waiting has no limit: it ends when the connection is closed from elsewhere, or the
// daemon ends.
#include <cstddef>
#include <cstdint>
#include <future>
#include <thread>

#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class StalledDaemon : public SystemTest {
  protected:
    // Returns once the daemon has met the exchange; a daemon that never does is ended by the test's time limit.
    static void waitUntilDaemonMet(const GatewaySim& sim, const std::string& exchange) {
        while (sim.standardError().find(exchange + " answered") == std::string::npos) {
            std::this_thread::yield();
        }
    }
};

namespace {

struct Ending {
    const char* name;
    void (*end)(GatewayToken* token);
};

constexpr std::array<Ending, 2> kEndings{{
    {"CloseOfTheConnection",
     [](GatewayToken* token) {
         EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_OK);
         EXPECT_EQ(token, nullptr);
     }},
    {"CloseOfAllConnections", [](GatewayToken*) { EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK); }},
}};

}  // namespace

class StalledQuery : public StalledDaemon, public ::testing::WithParamInterface<Ending> {};

TEST_P(StalledQuery, IsCutOffByAnotherThread) {
    const GatewaySim sim({"--verbose", "--fault", "invoke:stall"});
    for (const QueryFunction& query : kQueries) {
        const Connection connection(sim);
        ASSERT_EQ(connection.openCode(), STAPI_RC_OK) << query.name;
        const size_t before = sim.standardError().size();
        std::future<void> closing = std::async(std::launch::async, [&] {
            while (sim.standardError().find("invoke", before) == std::string::npos) {
                std::this_thread::yield();
            }
            GetParam().end(connection.token());
        });
        ResultSetToken* result = nullptr;
        EXPECT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_TOKEN_NOT_FOUND) << query.name;
        closing.get();
        EXPECT_EQ(result, nullptr) << query.name;
        EXPECT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_TOKEN_NOT_FOUND) << query.name;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryWay, StalledQuery, ::testing::ValuesIn(kEndings),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(StalledDaemon, EndOfTheDaemonEndsAQuery) {
    for (const char* const exchange : {"init#2", "invoke"}) {
        GatewaySim sim({"--verbose", "--fault", std::string(exchange) + ":stall"});
        const Connection connection(sim);
        ASSERT_EQ(connection.openCode(), STAPI_RC_OK) << exchange;
        std::future<void> stopping = std::async(std::launch::async, [&] {
            while (sim.standardError().find(":stall") == std::string::npos) {
                std::this_thread::yield();
            }
            sim.stop();
        });
        ResultSetToken* result = nullptr;
        EXPECT_EQ(getStats(connection.token(), &result), STAPI_RC_BAD_EYECATCHER) << exchange;
        stopping.get();
        EXPECT_EQ(getStats(connection.token(), &result), STAPI_RC_TOKEN_NOT_FOUND) << exchange;
    }
}

TEST_F(StalledDaemon, EndOfTheDaemonEndsAnOpen) {
    struct Case {
        const char* exchange;
        int32_t code;
    };
    constexpr std::array<Case, 5> kCases{{{"handshake", STAPI_RC_CONNECT_FAILED},
                                          {"auth0", STAPI_RC_CONNECT_FAILED},
                                          {"auth1", STAPI_RC_CONNECT_FAILED},
                                          {"init", STAPI_RC_BAD_EYECATCHER},
                                          {"attribute", STAPI_RC_BAD_EYECATCHER}}};
    for (const Case& one : kCases) {
        GatewaySim sim({"--verbose", "--fault", std::string(one.exchange) + ":stall"});
        std::future<void> stopping = std::async(std::launch::async, [&] {
            waitUntilDaemonMet(sim, one.exchange);
            sim.stop();
        });
        const Connection connection(sim);
        stopping.get();
        EXPECT_EQ(connection.openCode(), one.code) << one.exchange;
        EXPECT_EQ(connection.token(), nullptr) << one.exchange;
    }
}

TEST_F(StalledDaemon, EndOfTheDaemonEndsAClose) {
    GatewaySim sim({"--verbose", "--fault", "close:stall"});
    Connection connection(sim);
    ASSERT_EQ(connection.openCode(), STAPI_RC_OK);
    std::future<void> stopping = std::async(std::launch::async, [&] {
        waitUntilDaemonMet(sim, "close");
        sim.stop();
    });
    EXPECT_EQ(connection.close(), STAPI_RC_OK);
    stopping.get();
}

// Another thread closes everything while a connection is still being opened: the open fails, nothing is left behind.
TEST_F(StalledDaemon, CloseOfAllWhileAConnectionIsOpened) {
    GatewaySim sim({"--verbose", "--fault", "attribute:stall"});
    std::future<void> closing = std::async(std::launch::async, [&] {
        waitUntilDaemonMet(sim, "attribute");
        EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    });
    const Connection connection(sim);
    closing.get();
    EXPECT_LT(connection.openCode(), STAPI_RC_OK);
    EXPECT_EQ(connection.token(), nullptr);
    const TraceCapture trace(0);
    ASSERT_EQ(dumpState(), STAPI_RC_OK);
    EXPECT_NE(trace.text().find("The Gateway Token List is EMPTY"), std::string::npos);
}

}  // namespace system_test
