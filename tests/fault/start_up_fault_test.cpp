// The very first call into the library fails at every point. Each point is played in a process of its own, because the
// library is set up only once.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "gateway_peer.h"
#include "reply_payload.h"
#include "run_program.h"
#include "trace_text.h"

namespace fault_test {

namespace {

using Values = std::map<std::string, int64_t>;

struct StartUpPoint {
    std::string name;
    std::string fault;
    int n;
    bool strikes;             // such a call is made
    std::set<int64_t> codes;  // of the first call
};

void PrintTo(const StartUpPoint& point, std::ostream* stream) {
    *stream << point.name;
}

std::vector<StartUpPoint> points() {
    return {
        {"FirstAllocation", "allocation", 1, true, {-111}},
        {"FirstAllocationAndAllLaterOnes", "allocations", 1, true, {-111}},
        {"SecondAllocation", "allocation", 2, false, {0}},
        {"FirstLock", "lock", 1, true, {0}},
        {"FirstLockAndAllLaterOnes", "locks", 1, true, {1}},
        {"SecondLock", "lock", 2, true, {1}},
        {"ThirdLock", "lock", 3, false, {0}},
        {"SocketLayer", "socket_layer", 1, true, {0}},
        // What the failing list lock is traced with.
        {"ClockOfZeros", "clock_of_zeros", 1, true, {1}},
        {"ClockOfMinusOnes", "clock_of_minus_ones", 1, true, {1}},
        {"ClockFarAway", "clock_far_away", 1, true, {1}},
    };
}

Values play(const StartUpPoint& point, int port) {
    const test_support::ProgramOutcome outcome =
        test_support::runProgram(START_UP_FAULT_PROBE, {point.fault, std::to_string(point.n), std::to_string(port)});
    EXPECT_FALSE(outcome.wasKilled);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    Values values;
    for (const std::string& line : test_support::splitLines(outcome.standardOutput)) {
        std::istringstream fields(line);
        std::string name;
        int64_t value = 0;
        EXPECT_TRUE(fields >> name >> value) << line;
        values[name] = value;
    }
    return values;
}

class StartUpFault : public testing::TestWithParam<StartUpPoint> {};

TEST_P(StartUpFault, HasItsCodeAndTheNextCallWorks) {
    wire_test::GatewayReplies replies;
    replies.invocation =
        wire_test::invocationReply(wire_test::ReplyPayload().single().idResponse("Q", 0, {"one"}).bytes());
    test_support::ScriptedPeer gateway(wire_test::forgivingGatewayScript(replies));
    Values values = play(GetParam(), gateway.port());
    EXPECT_EQ(values["strikes"] > 0, GetParam().strikes);
    EXPECT_TRUE(GetParam().codes.contains(values["first"])) << values["first"];
    EXPECT_EQ(values["first_stored"], values["first"] == 0 ? 1 : 0);
    EXPECT_EQ(values["version_stored"], 1);
    EXPECT_EQ(values["level"], 0);
    for (const char* call : {"version", "level_code", "open", "query", "close", "dump"}) {
        EXPECT_EQ(values.at(call), 0) << call;
    }
    // What a first call that failed has not allocated, the next one does, and it stays to the end of the process.
    EXPECT_EQ(values["outstanding"], values["first"] == -111 ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Points, StartUpFault, testing::ValuesIn(points()),
                         [](const testing::TestParamInfo<StartUpPoint>& tested) { return tested.param.name; });

}  // namespace

}  // namespace fault_test
