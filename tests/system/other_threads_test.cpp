// What threads other than a connection's own may do, and what not.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <thread>

#include "other_thread.h"
#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

using test_support::GatewaySim;

namespace {

// One use of a connection or its result set.
struct Use {
    const char* name;
    bool ofStatistics;
    int32_t (*call)(GatewayToken* token, ResultSetToken* resultSet);
};

template <int32_t (*query)(GatewayToken*, ResultSetToken**)>
int32_t queryWithoutIds(GatewayToken* token, ResultSetToken*) {
    ResultSetToken* result = nullptr;
    return query(token, &result);
}

template <int32_t (*query)(GatewayToken*, const char*, ResultSetToken**)>
int32_t queryWithIds(GatewayToken* token, ResultSetToken*) {
    ResultSetToken* result = nullptr;
    return query(token, "daemon", &result);
}

template <int32_t (*step)(ResultSetToken*, IdData*)>
int32_t idStep(GatewayToken*, ResultSetToken* resultSet) {
    IdData id{};
    return step(resultSet, &id);
}

template <int32_t (*step)(ResultSetToken*, StatData*)>
int32_t statStep(GatewayToken*, ResultSetToken* resultSet) {
    StatData stat{};
    return step(resultSet, &stat);
}

int32_t makeIdQuery(GatewayToken*, ResultSetToken* resultSet) {
    char* text = nullptr;
    return getIdQuery(resultSet, &text);
}

int32_t makeCopy(GatewayToken*, ResultSetToken* resultSet) {
    ResultSetToken* copy = nullptr;
    const int32_t code = copyResultSet(resultSet, &copy);
    EXPECT_EQ(copy, nullptr);
    return code;
}

int32_t dumpIt(GatewayToken*, ResultSetToken* resultSet) {
    return dumpResultSet(resultSet);
}

constexpr std::array<Use, 16> kUses{{
    {"getResourceGroupIds", false, queryWithoutIds<getResourceGroupIds>},
    {"getStatIds", false, queryWithoutIds<getStatIds>},
    {"getStatIdsByStatGroupId", false, queryWithIds<getStatIdsByStatGroupId>},
    {"getStats", false, queryWithoutIds<getStats>},
    {"getStatsByStatId", false, queryWithIds<getStatsByStatId>},
    {"getStatsByStatGroupId", false, queryWithIds<getStatsByStatGroupId>},
    {"getFirstId", false, idStep<getFirstId>},
    {"getNextId", false, idStep<getNextId>},
    {"getFirstStat", true, statStep<getFirstStat>},
    {"getNextStat", true, statStep<getNextStat>},
    {"getIdQueryOfIds", false, makeIdQuery},
    {"getIdQueryOfStats", true, makeIdQuery},
    {"copyResultSetOfIds", false, makeCopy},
    {"copyResultSetOfStats", true, makeCopy},
    {"dumpResultSetOfIds", false, dumpIt},
    {"dumpResultSetOfStats", true, dumpIt},
}};

}  // namespace

class OtherThreads : public SystemTest {};
class OtherThreadsUse : public SystemTest, public ::testing::WithParamInterface<Use> {};

TEST_P(OtherThreadsUse, IsRefusedAndTheOwnerGoesOn) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    const QueryFunction& query = queryNamed(GetParam().ofStatistics ? "getStats" : "getStatIds");
    ASSERT_EQ(query.call(connection.token(), nullptr, &result), STAPI_RC_OK);
    const int32_t code = inOtherThread([&] { return GetParam().call(connection.token(), result); });
    EXPECT_EQ(code, STAPI_RC_WRONG_THREAD);
    if (GetParam().ofStatistics) {
        EXPECT_EQ(walkStats(result).lastCode, STAPI_RC_END_OF_DATA);
    } else {
        EXPECT_EQ(walkIds(result).lastCode, STAPI_RC_END_OF_DATA);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryFunction, OtherThreadsUse, ::testing::ValuesIn(kUses),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(OtherThreads, AnotherThreadMayCloseAConnection) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    const int32_t code = inOtherThread([token = connection.token()]() mutable {
        const int32_t closeCode = closeGatewayConnection(&token);
        EXPECT_EQ(token, nullptr);
        return closeCode;
    });
    EXPECT_EQ(code, STAPI_RC_OK);
    EXPECT_EQ(getStatIds(connection.token(), &result), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(OtherThreads, CloseAllOfAnotherThreadClosesEveryThreadsConnections) {
    const GatewaySim sim;
    const Connection connection(sim);
    EXPECT_EQ(inOtherThread([] { return closeAllGatewayConnections(); }), STAPI_RC_OK);
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStatIds(connection.token(), &result), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(OtherThreads, ConnectionOutlivesTheThreadThatOpenedItButIsNobodysThen) {
    const GatewaySim sim;
    GatewayToken* token = inOtherThread([&sim] {
        GatewayToken* opened = nullptr;
        char* protocol = nullptr;
        openGatewayConnection(sim.port(), &opened, &protocol);
        return opened;
    });
    ASSERT_NE(token, nullptr);
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStatIds(token, &result), STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_OK);
}

TEST_F(OtherThreads, DumpOfTheStateWhileAnotherThreadQueries) {
    constexpr int kQueriesToMake = 30;
    const GatewaySim sim;
    const test_support::TemporaryFile file;
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    std::atomic<bool> done{false};
    std::future<int> querying = std::async(std::launch::async, [&] {
        const Connection connection(sim);
        int good = 0;
        for (int index = 0; index < kQueriesToMake; ++index) {
            ResultSetToken* result = nullptr;
            const QueryFunction& query = kQueries[static_cast<size_t>(index) % kQueries.size()];
            good += query.call(connection.token(), usualIds(query), &result) == STAPI_RC_OK ? 1 : 0;
        }
        done.store(true);
        return good;
    });
    int dumps = 0;
    do {
        EXPECT_EQ(dumpState(), STAPI_RC_OK);
        ++dumps;
    } while (!done.load() && dumps < 20000);
    EXPECT_EQ(querying.get(), kQueriesToMake);
    size_t stateLines = 0;
    for (const std::string& line : test_support::splitLines(file.content())) {
        stateLines += line.compare(0, 19, "zulstats state dump") == 0 ? 1U : 0U;
    }
    EXPECT_EQ(stateLines, static_cast<size_t>(dumps));
}

TEST_F(OtherThreads, SwitchingTheTraceFileWhileOthersTraceLosesNothing) {
    constexpr int kCalls = 300;
    constexpr size_t kThreads = 4;
    std::array<test_support::TemporaryFile, 3> files;
    ASSERT_EQ(setAPITraceFile(files[0].path().c_str()), STAPI_RC_OK);
    ASSERT_EQ(setAPITraceLevel(3), STAPI_RC_OK);
    std::atomic<size_t> running{kThreads};
    std::vector<std::future<void>> threads;
    for (size_t index = 0; index < kThreads; ++index) {
        threads.push_back(std::async(std::launch::async, [&running] {
            char* version = nullptr;
            for (int call = 0; call < kCalls; ++call) {
                getStatsAPIVersion(&version);
            }
            --running;
        }));
    }
    for (size_t turn = 0; running.load() > 0 && turn < 100000; ++turn) {
        EXPECT_EQ(setAPITraceFile(files[turn % files.size()].path().c_str()), STAPI_RC_OK);
    }
    for (std::future<void>& thread : threads) {
        thread.get();
    }
    size_t exits = 0;
    for (const test_support::TemporaryFile& file : files) {
        exits += test_support::messagesOfPoint(file.content(), 1090).size();
    }
    EXPECT_EQ(exits, kThreads * kCalls);
}

}  // namespace system_test
