// Many connections at once.
#include <cstddef>
#include <cstdint>
#include <future>
#include <thread>

#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class ManyConnections : public SystemTest {
  protected:
    static constexpr int kConnections = 100;
};

TEST_F(ManyConnections, AHundredOfOneThreadAnswerEachForItself) {
    const GatewaySim sim;
    std::vector<std::unique_ptr<Connection>> connections;
    for (int index = 0; index < kConnections; ++index) {
        connections.push_back(std::make_unique<Connection>(sim));
        ASSERT_EQ(connections.back()->openCode(), STAPI_RC_OK) << index;
    }
    std::vector<ResultSetToken*> results(kConnections, nullptr);
    for (size_t index = 0; index < connections.size(); ++index) {
        const QueryFunction& query = kQueries[index % kQueries.size()];
        ASSERT_EQ(query.call(connections[index]->token(), usualIds(query), &results[index]), STAPI_RC_OK) << index;
    }
    for (size_t index = 0; index < connections.size(); ++index) {
        const bool ids = kQueries[index % kQueries.size()].givesIds;
        const int32_t end = ids ? walkIds(results[index]).lastCode : walkStats(results[index]).lastCode;
        EXPECT_EQ(end, STAPI_RC_END_OF_DATA) << index;
    }
    EXPECT_EQ(sim.standardError(), "");
}

TEST_F(ManyConnections, AHundredThreadsEachWithOneAtTheSameTime) {
    const GatewaySim sim({"--frozen-clock", "2024-05-06T07:08:09Z", "--seed", "3"});
    const Connection reference(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(reference.token(), &result), STAPI_RC_OK);
    const StatWalk expected = walkStats(result);
    std::vector<std::future<std::string>> threads;
    for (int index = 0; index < kConnections; ++index) {
        threads.push_back(std::async(std::launch::async, [&sim, &expected]() -> std::string {
            Connection connection(sim);
            if (connection.openCode() != STAPI_RC_OK) {
                return "open " + std::to_string(connection.openCode());
            }
            for (int round = 0; round < 5; ++round) {
                ResultSetToken* mine = nullptr;
                const int32_t code = getStats(connection.token(), &mine);
                if (code != STAPI_RC_OK) {
                    return "query " + std::to_string(code);
                }
                if (walkStats(mine).entries != expected.entries) {
                    return "other values";
                }
            }
            return connection.close() == STAPI_RC_OK ? "" : "close";
        }));
    }
    for (std::future<std::string>& thread : threads) {
        EXPECT_EQ(thread.get(), "");
    }
    EXPECT_EQ(sim.standardError(), "");
}

TEST_F(ManyConnections, TracingThreadsNeverMixTheirLines) {
    const GatewaySim sim;
    const TraceCapture trace(4);
    std::vector<std::future<int32_t>> threads;
    for (int index = 0; index < 8; ++index) {
        threads.push_back(std::async(std::launch::async, [&sim] {
            const Connection connection(sim);
            ResultSetToken* result = nullptr;
            const int32_t code = getStats(connection.token(), &result);
            return code == STAPI_RC_OK ? walkStats(result).lastCode : code;
        }));
    }
    for (std::future<int32_t>& thread : threads) {
        EXPECT_EQ(thread.get(), STAPI_RC_END_OF_DATA);
    }
    // Each line begins with a time stamp or a dump's address, and says no second thing.
    size_t wrong = 0;
    const std::string text = trace.text();
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = text.find('\n', start);
        const std::string line = text.substr(start, end - start);
        const bool isDump = line.compare(0, 2, "0x") == 0;
        const bool isTrace = line.size() > 55 && line[2] == '/' && line.compare(22, 3, "[0x") == 0 &&
                             line.find("] [") == 44 && line.find("] [", 45) == std::string::npos;
        wrong += isDump || isTrace ? 0U : 1U;
        ASSERT_NE(end, std::string::npos);
        start = end + 1;
    }
    EXPECT_EQ(wrong, 0U);
}

}  // namespace system_test
