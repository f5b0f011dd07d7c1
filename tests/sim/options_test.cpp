#include <gtest/gtest.h>

#include <algorithm>

#include "conversation.h"
#include "gatewaysim_process.h"

namespace sim_test {

namespace {

using test_support::FinishedProgram;
using test_support::GatewaySim;
using test_support::runGatewaySim;

struct BadUse {
    const char* name;
    std::vector<std::string> arguments;
    std::string line;
};

void PrintTo(const BadUse& use, std::ostream* stream) {
    *stream << use.name;
}

class BadOption : public testing::TestWithParam<BadUse> {};

TEST_P(BadOption, GivesOneLineAndExitCode2) {
    const FinishedProgram program = runGatewaySim(GetParam().arguments);
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardOutput, "");
    EXPECT_EQ(program.standardError, "gatewaysim: " + GetParam().line + " (gatewaysim --help says more)\n");
}

std::string withName(const testing::TestParamInfo<BadUse>& tested) {
    return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Options, BadOption,
    testing::Values(
        BadUse{"Unknown", {"--no-such"}, "The following argument was not expected: --no-such"},
        BadUse{"Positional", {"here\x07"}, "The following argument was not expected: here\\x07"},
        BadUse{"PortTooLarge", {"--port", "65536"}, "--port \"65536\" is not a number from 0 to 65535"},
        BadUse{"PortNoNumber", {"--port", "12a"}, "--port \"12a\" is not a number from 0 to 65535"},
        BadUse{"PortEmpty", {"--port", ""}, "--port needs a value"},
        BadUse{"HostNotLoopback",
               {"--host", "0.0.0.0"},
               "--host \"0.0.0.0\" is not a loopback address: use localhost, 127.0.0.1 or ::1"},
        BadUse{"HostNoAddress",
               {"--host", "127.0.1"},
               "--host \"127.0.1\" is not a loopback address: use localhost, 127.0.0.1 or ::1"},
        BadUse{"SeedNegative", {"--seed=-1"}, "--seed \"-1\" is not a number from 0 to 9223372036854775807"},
        BadUse{"SeedTooLarge",
               {"--seed", "9223372036854775808"},
               "--seed \"9223372036854775808\" is not a number from 0 to 9223372036854775807"},
        BadUse{"FrozenClockNoTime",
               {"--frozen-clock", "2024-05-06 07:08:09"},
               "--frozen-clock \"2024-05-06 07:08:09\" is not a time such as 2024-05-06T07:08:09Z"},
        BadUse{"FrozenClockNoDate",
               {"--frozen-clock", "2023-02-29T00:00:00Z"},
               "--frozen-clock \"2023-02-29T00:00:00Z\" is not a time such as 2024-05-06T07:08:09Z"},
        BadUse{
            "BuiltInUnknown", {"--built-in", "strange"}, "--built-in \"strange\" is not one of everyday and unusual"},
        BadUse{"BuiltInAndCatalogue",
               {"--built-in", "everyday", "--catalogue", "my.json"},
               "--built-in and --catalogue each say what to serve: give one of them"},
        BadUse{"ClockStepWithoutFrozenClock", {"--clock-step", "5"}, "--clock-step needs --frozen-clock"},
        BadUse{"ClockStepTooLarge",
               {"--frozen-clock", "2024-05-06T07:08:09Z", "--clock-step", "86401"},
               "--clock-step \"86401\" is not a number from 0 to 86400"}),
    withName);

constexpr const char* kKinds =
    "delay, cut, silence, trickle, eyecatcher, code, refuse, admin-code, exception, stall, longer, shorter, "
    "name-length, empty, reset, reset-after, close, flood, twice, negative-length, call-type, truncate-body, "
    "extend-body, data-length, version, flags, flag-byte, reply-of, version-size, texts, version-length, "
    "response-count, class-name-length, block-length, element-length, id-count, id-length, statistic-count, "
    "statistic-id-length, value-length, chunk-length";

BadUse badFault(const char* name, const std::string& fault, const std::string& reason) {
    return {name, {"--fault", fault}, "fault \"" + fault + "\": " + reason};
}

INSTANTIATE_TEST_SUITE_P(
    Faults, BadOption,
    testing::Values(
        badFault("NoColon", "invoke", "a fault is EXCHANGE[#N]:KIND[=VALUE]"),
        badFault(
            "UnknownExchange", "query:empty",
            "unknown exchange \"query\"; known: accept, handshake, auth0, auth1, init, attribute, invoke, close, any"),
        badFault("UnknownKind", "invoke:slow", std::string("unknown kind \"slow\"; known: ") + kKinds),
        badFault("NoKind", "invoke:", std::string("unknown kind \"\"; known: ") + kKinds),
        badFault("OccurrenceZero", "invoke#0:empty", "the occurrence \"0\" is not a number from 1 on"),
        badFault("OccurrenceEmpty", "invoke#:empty", "the occurrence \"\" is not a number from 1 on"),
        badFault("ValueMissing", "invoke:cut", "cut needs a value, as in cut=1"),
        badFault("ValueNotTaken", "invoke:reset=1", "reset takes no value"),
        badFault("ValueNoNumber", "invoke:cut=1x", "the value \"1x\" of cut is not a number"),
        badFault("ValueEmpty", "invoke:cut=", "the value \"\" of cut is not a number"),
        badFault("ValueTwiceNegative", "invoke:code=--1", "the value \"--1\" of code is not a number"),
        badFault("ValueTooLow", "invoke:longer=0", "the value 0 of longer is not from 1 to 2147483647"),
        badFault("ValueTooHigh", "any:delay=600001", "the value 600001 of delay is not from 0 to 600000"),
        badFault("CodeZero", "invoke:code=0", "the value 0 of code is no fault"),
        badFault("RefuseOutsideAuthorisation", "invoke:refuse", "a reply to invoke cannot carry refuse"),
        badFault("AdminCodeOutsideAdmin", "close:admin-code=1", "a reply to close cannot carry admin-code"),
        badFault("ExceptionOfInit", "init:exception", "a reply to init cannot carry exception"),
        badFault("CallTypeOfHandshake", "handshake:call-type=1", "a reply to handshake cannot carry call-type")),
    withName);

TEST(Options, TheSecondOfTwoFaultsIsCheckedToo) {
    EXPECT_EQ(runGatewaySim({"--fault", "any:empty", "--fault", "any:full"}).exitCode, 2);
}

TEST(Options, HelpNamesEveryOptionAndFaultOnStandardOutput) {
    const FinishedProgram program = runGatewaySim({"--help"});
    EXPECT_EQ(program.exitCode, 0);
    EXPECT_EQ(program.standardError, "");
    for (const char* const word : {"--host",
                                   "--port",
                                   "--catalogue",
                                   "--built-in",
                                   "--print-catalogue",
                                   "--fault",
                                   "--seed",
                                   "--frozen-clock",
                                   "--clock-step",
                                   "--exit-with-stdin",
                                   "--verbose",
                                   "handshake, auth0, auth1, init, attribute, invoke, close or any",
                                   "delay=VALUE",
                                   "cut=VALUE",
                                   "trickle",
                                   "eyecatcher",
                                   "code=VALUE",
                                   "refuse[=VALUE]",
                                   "1 failed: the output or the recording cannot be written, 2 bad option, catalogue,\n"
                                   "  recording, fault or port.",
                                   "admin-code=VALUE",
                                   "exception",
                                   "stall",
                                   "longer=VALUE",
                                   "shorter=VALUE",
                                   "name-length=VALUE",
                                   "empty",
                                   "reset",
                                   "negative-length",
                                   "call-type=VALUE",
                                   "truncate-body=VALUE"}) {
        EXPECT_NE(program.standardOutput.find(word), std::string::npos) << word;
    }
}

TEST(Options, PortInUseIsNamedWithExitCode2) {
    const GatewaySim sim;
    const std::string port = std::to_string(sim.port());
    const FinishedProgram program = runGatewaySim({"--port", port});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardOutput, "");
    EXPECT_EQ(program.standardError.find("gatewaysim: cannot listen on 127.0.0.1 port " + port + ": "), 0U)
        << program.standardError;
    EXPECT_EQ(std::count(program.standardError.begin(), program.standardError.end(), '\n'), 1);
}

TEST(Options, PortOfAnEndedSimulatorIsFreeAgain) {
    GatewaySim first;
    {
        Conversation conversation(first);
        conversation.handshake();
        conversation.close();
    }
    EXPECT_EQ(first.stop(), 0);
    const GatewaySim second({"--port", std::to_string(first.port())});
    EXPECT_EQ(second.port(), first.port());
    Conversation conversation(second);
    EXPECT_EQ(conversation.handshake().size(), 51U);
}

TEST(Options, PortZeroGivesEachSimulatorAPortOfItsOwn) {
    const GatewaySim one({"--port", "0"});
    const GatewaySim other({"--port", "0"});
    EXPECT_NE(one.port(), other.port());
}

TEST(Options, StandardOutputIsExactlyTheOneLine) {
    GatewaySim sim({"--verbose"});
    Conversation conversation(sim);
    conversation.open();
    sim.stop();
    EXPECT_EQ(sim.waitForEnd().standardOutput,
              "gatewaysim listening on 127.0.0.1:" + std::to_string(sim.port()) + "\n");
}

TEST(Options, LocalhostIsTheDefaultAddress) {
    GatewaySim sim({"--host", "localhost"});
    Conversation conversation(sim);
    EXPECT_EQ(conversation.handshake().size(), 51U);
}

TEST(Options, EndOfStandardInputEndsItAndItsConnections) {
    GatewaySim sim;
    Conversation idle(sim);
    idle.open();
    Conversation inTheMiddle(sim);
    inTheMiddle.client().send(part(handshakeRequest(), 0, 10));
    Conversation ended(sim);
    ended.open();
    EXPECT_EQ(sim.stop(), 0);
    EXPECT_NO_THROW(idle.client().endsByReset());
    EXPECT_NO_THROW(inTheMiddle.client().endsByReset());
    EXPECT_EQ(sim.standardError(), "");
}

}  // namespace

}  // namespace sim_test
