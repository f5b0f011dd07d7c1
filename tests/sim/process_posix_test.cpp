#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>

#include <string>

#include "conversation.h"
#include "run_program.h"

namespace sim_test {

namespace {

using test_support::FinishedProgram;
using test_support::GatewaySim;

class TerminationSignal : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Signal, TerminationSignal, testing::Values(SIGTERM, SIGINT),
                         [](const auto& tested) { return tested.param == SIGTERM ? "SIGTERM" : "SIGINT"; });

void send(const GatewaySim& sim, int signal) {
    ASSERT_EQ(kill(static_cast<pid_t>(sim.processId()), signal), 0);
}

TEST_P(TerminationSignal, EndsItWithExitCode0AndNoWord) {
    GatewaySim sim;
    send(sim, GetParam());
    const FinishedProgram program = sim.waitForEnd();
    EXPECT_EQ(program.exitCode, 0);
    EXPECT_EQ(program.standardError, "");
}

TEST_P(TerminationSignal, EndsIdleStalledAndUnfinishedConnections) {
    GatewaySim sim({"--fault", "auth0:stall"});
    Conversation idle(sim);
    idle.handshake();
    Conversation stalled(sim);
    stalled.handshake();
    stalled.client().send(firstAuthorisationRequest());
    Conversation inTheMiddle(sim);
    inTheMiddle.handshake();
    inTheMiddle.client().send(part(firstAuthorisationRequest(), 0, 30));
    send(sim, GetParam());
    EXPECT_EQ(sim.waitForEnd().exitCode, 0);
    for (Conversation* const conversation : {&idle, &stalled, &inTheMiddle}) {
        EXPECT_NO_THROW(conversation->client().endsByReset());
    }
}

TEST_P(TerminationSignal, EndsAReplyThatNobodyReads) {
    GatewaySim sim;
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    // Megabytes: more than the sockets' buffers hold.
    std::string everything = "daemon";
    while (everything.size() < 60000) {
        everything += ":daemon";
    }
    conversation.client().send(invokeRequest(conversation.handle(), "GET_STATS", everything));
    conversation.client().receive(34);
    send(sim, GetParam());
    EXPECT_EQ(sim.waitForEnd().exitCode, 0);
}

TEST(GatewaysimOutput, ThatCannotBeWrittenIsAFailure) {
    for (const char* const option : {"--print-catalogue", "--list-hostile"}) {
        test_support::ProgramRun run;
        run.arguments = {option};
        run.output = test_support::OutputTarget::file;
        run.outputFile = "/dev/full";
        const test_support::ProgramOutcome outcome = test_support::runProgram(GATEWAYSIM_PROGRAM, run);
        EXPECT_EQ(outcome.exitCode, 1) << option;
        EXPECT_EQ(outcome.standardError, "gatewaysim: the output cannot be written: look whether the disk is full\n");
    }
}

}  // namespace

}  // namespace sim_test
