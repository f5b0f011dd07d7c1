#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "conversation.h"
#include "run_program.h"
#include "temporary_file.h"

namespace sim_test {

namespace {

using test_support::FinishedProgram;
using test_support::GatewaySim;
using test_support::TemporaryFile;

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

std::vector<std::string> recordingOf(const GatewaySim& gateway, const TemporaryFile& file) {
    return {"record", "--gateway", "127.0.0.1:" + std::to_string(gateway.port()), "--output", file.path()};
}

TEST_P(TerminationSignal, LeavesARecordingWithTheExchangeThatWasUnderWayMarkedAsStopped) {
    const GatewaySim gateway({"--fault", "auth0:silence=10"});
    const TemporaryFile file;
    GatewaySim recorder(recordingOf(gateway, file));
    Conversation conversation(recorder);
    conversation.handshake();
    conversation.client().send(firstAuthorisationRequest());
    conversation.client().receive(10);
    send(recorder, GetParam());
    EXPECT_EQ(recorder.waitForEnd().exitCode, 0);
    const std::string recording = file.content();
    EXPECT_NE(recording.find("\"asks\":\"handshake\""), std::string::npos) << recording;
    EXPECT_NE(recording.find("\"asks\":\"auth0\",\"milliseconds\":"), std::string::npos) << recording;
    EXPECT_NE(recording.find("\"end\":\"stopped\""), std::string::npos) << recording;
    EXPECT_NE(recording.find("\"reply\":\"47617465007000000000\"}\n"), std::string::npos) << recording;
}

TEST(RecordingFile, IsItsOwnersAlone) {
    const GatewaySim gateway;
    const TemporaryFile file;
    const GatewaySim recorder(recordingOf(gateway, file));
    struct stat status {};
    ASSERT_EQ(stat(file.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(RecordingFile, ThatCanGrowNoFurtherEndsTheRecorderWithAFailure) {
    const GatewaySim gateway;
    const TemporaryFile file;
    GatewaySim recorder(recordingOf(gateway, file));
    const rlimit limit{1000, 1000};
    ASSERT_EQ(prlimit(static_cast<pid_t>(recorder.processId()), RLIMIT_FSIZE, &limit, nullptr), 0);
    Conversation conversation(recorder);
    conversation.open();
    const auto ask = [&] {
        conversation.query("GET_STATS", "memory");
        conversation.query("GET_STATS", "memory");
    };
    // Whether the second answer still comes is the simulator's affair: it ends.
    try {
        ask();
    } catch (const std::runtime_error&) {
    }
    const FinishedProgram program = recorder.waitForEnd();
    EXPECT_EQ(program.exitCode, 1);
    EXPECT_NE(program.standardError.find("cannot be written any further: File too large"), std::string::npos)
        << program.standardError;
}

constexpr const char* kOutputLost = "gatewaysim: the output cannot be written: look whether the disk is full\n";

test_support::ProgramOutcome withFullOutput(const std::vector<std::string>& arguments) {
    test_support::ProgramRun run;
    run.arguments = arguments;
    run.output = test_support::OutputTarget::file;
    run.outputFile = "/dev/full";
    return test_support::runProgram(GATEWAYSIM_PROGRAM, run);
}

TEST(GatewaysimOutput, ThatCannotBeWrittenIsAFailure) {
    for (const char* const option : {"--print-catalogue", "--list-hostile", "--version", "--help"}) {
        const test_support::ProgramOutcome outcome = withFullOutput({option});
        EXPECT_EQ(outcome.exitCode, 1) << option;
        EXPECT_EQ(outcome.standardError, kOutputLost) << option;
    }
}

TEST(GatewaysimOutput, ThatCannotTellTheAddressEndsItBeforeItServes) {
    // With standard input at its end it would end by itself, and well.
    const test_support::ProgramOutcome outcome = withFullOutput({"--port", "0", "--exit-with-stdin"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.standardError, kOutputLost);
}

}  // namespace

}  // namespace sim_test
