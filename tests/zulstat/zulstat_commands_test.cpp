// The commands of the built program beside those that ask once: check, ping, doctor, dump, watch, completion; several
// gateways; formats and files.
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "closed_port.h"
#include "line_ends.h"
#include "scripted_peer.h"
#include "zulstat_program.h"

namespace {

using nlohmann::json;
using test_support::ClosedPort;
using test_support::GatewaySim;
using test_support::PeerConnection;
using test_support::ProgramOutcome;
using test_support::ProgramRun;
using test_support::ScriptedPeer;
using test_support::TemporaryFile;
using test_support::withPlainLineEnds;
using zulstat_test::CatalogueGateway;
using zulstat_test::kSmallCatalogue;
using zulstat_test::runZulstat;
using zulstat_test::Texts;
using zulstat_test::zulstatRun;

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Without --port, which does not go with --gateway.
ProgramOutcome runPlain(const Texts& arguments) {
    ProgramRun run = zulstatRun(1, {});
    run.arguments = arguments;
    return runZulstat(run);
}

std::string gatewayOption(const std::string& name, int port) {
    return "--gateway=" + name + "=127.0.0.1:" + std::to_string(port);
}

Texts lines(const std::string& text) {
    Texts all;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        all.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return all;
}

TEST(ZulstatCutReply, IsNoSuccessWithZeros) {
    const CatalogueGateway gateway(R"({"protocol": "1", "groups": ["memory"], "statistics": [
        {"id": "memory.first", "group": "memory", "kind": "text", "text": "1"},
        {"id": "memory.used", "group": "memory", "kind": "text", "text": "536870912"}]})",
                                   {"--fault", "invoke:cut=251"});
    const ProgramOutcome outcome = gateway.ask({"stats", "--group", "memory"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(withPlainLineEnds(outcome.standardOutput), "QUERY   STATISTIC     VALUE\nmemory  memory.first  1\n");
    EXPECT_TRUE(contains(outcome.standardError, "the connection ended in the middle of it; only what arrived whole"))
        << outcome.standardError;
}

TEST(ZulstatCutReply, HasAKindOfItsOwnInJson) {
    const GatewaySim gateway({"--fault", "invoke:cut=40"});
    const ProgramOutcome outcome = runZulstat(gateway, {"groups", "--format", "json"});
    EXPECT_EQ(outcome.exitCode, 4);
    const json document = json::parse(outcome.standardOutput);
    EXPECT_EQ(document["error"]["kind"], "cutOff");
    EXPECT_EQ(document["error"]["stage"], "read");
    EXPECT_TRUE(document["error"]["code"].is_null());
    EXPECT_TRUE(document["queries"].empty());
}

class OnASmallGateway : public ::testing::Test {
  protected:
    ProgramOutcome ask(const Texts& arguments) const {
        return gateway_.ask(arguments);
    }
    int port() const {
        return gateway_.gateway().port();
    }
    std::string address() const {
        return "127.0.0.1:" + std::to_string(port());
    }

  private:
    CatalogueGateway gateway_{kSmallCatalogue};
};

TEST_F(OnASmallGateway, TakesItsAddressFromTheEnvironment) {
    ProgramRun run = zulstatRun(1, {});
    run.arguments = {"groups"};
    run.environment.emplace_back("ZULSTAT_GATEWAY", address());
    EXPECT_EQ(withPlainLineEnds(runZulstat(run).standardOutput), "RESOURCE GROUP\nalpha\nempty\nbeta\n");
    run.environment.emplace_back("ZULSTAT_TIMEOUT", "soon");
    EXPECT_EQ(runZulstat(run).exitCode, 2);
}

TEST_F(OnASmallGateway, TakesIdsFromStandardInputAndFiles) {
    const TemporaryFile list("alpha.count\n# none\nbeta.size\n");
    ProgramRun run = zulstatRun(port(), {"stats", "--no-header", "--id", "@-"});
    run.inputFile = list.path();
    const ProgramOutcome fromInput = runZulstat(run);
    EXPECT_EQ(withPlainLineEnds(fromInput.standardOutput),
              "alpha.count  alpha.count       12\nbeta.size    beta.size    3456789\n");
    EXPECT_EQ(ask({"stats", "--no-header", "--id", "@" + list.path()}).standardOutput, fromInput.standardOutput);
}

TEST_F(OnASmallGateway, SelectsAndSorts) {
    EXPECT_EQ(withPlainLineEnds(ask({"stats", "--match", "*.*e", "--sort", "id", "--no-header"}).standardOutput),
              "alpha  alpha.name  first gateway\nbeta   beta.size   3456789\n");
    const ProgramOutcome nothing = ask({"stats", "--match", "x*"});
    EXPECT_EQ(nothing.exitCode, 0);
    EXPECT_TRUE(contains(nothing.standardError, "no id of " + address() + " matches --match."));
}

TEST_F(OnASmallGateway, SuggestsTheNearestId) {
    const ProgramOutcome outcome = ask({"stats", "--id", "alpha.cuont"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(
        contains(outcome.standardError, "the gateway could not answer \"alpha.cuont\". Did you mean \"alpha.count\"?"))
        << outcome.standardError;
    EXPECT_TRUE(contains(ask({"ids", "alfa"}).standardError, "Did you mean \"alpha\"?"));
}

TEST_F(OnASmallGateway, WritesAFileAsAWhole) {
    const TemporaryFile file("old");
    const ProgramOutcome outcome = ask({"groups", "--output", file.path()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_EQ(file.content(), "RESOURCE GROUP\nalpha\nempty\nbeta\n");
}

TEST_F(OnASmallGateway, SaysThatAFileCannotBeWritten) {
    const TemporaryFile notAFolder("");
    const ProgramOutcome outcome = ask({"groups", "--output", notAFolder.path() + "/file"});
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_TRUE(contains(outcome.standardError, "the output cannot be written: file \"")) << outcome.standardError;
}

TEST_F(OnASmallGateway, WritesToADeviceAsItIs) {
#ifdef _WIN32
    const std::string device = "NUL";
#else
    const std::string device = "/dev/null";
#endif
    const ProgramOutcome outcome = ask({"groups", "--output", device});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
}

TEST_F(OnASmallGateway, WritesToStandardOutputForADash) {
    EXPECT_EQ(withPlainLineEnds(ask({"groups", "--output", "-"}).standardOutput),
              "RESOURCE GROUP\nalpha\nempty\nbeta\n");
}

TEST(ZulstatOutputFileOfAFailedRun, StaysAsItWasUnlessTheFormatHasADocumentForTheFailure) {
    const ClosedPort closed;
    for (const std::string format : {"table", "csv"}) {
        const TemporaryFile file("old");
        const ProgramOutcome outcome =
            runZulstat(zulstatRun(closed.port(), {"stats", "-f", format, "--output", file.path()}));
        EXPECT_EQ(outcome.exitCode, 3);
        EXPECT_EQ(file.content(), "old");
    }
    for (const std::string format : {"json", "openmetrics"}) {
        const TemporaryFile file("old");
        const ProgramOutcome outcome =
            runZulstat(zulstatRun(closed.port(), {"stats", "-f", format, "--output", file.path()}));
        EXPECT_EQ(outcome.exitCode, 3);
        EXPECT_NE(file.content(), "old");
    }
}

TEST_F(OnASmallGateway, ShowsStatisticsAsMetrics) {
    const ProgramOutcome outcome = ask({"stats", "--format", "openmetrics"});
    EXPECT_TRUE(contains(outcome.standardOutput, "zulstat_up{gateway=\"" + address() + "\"} 1\n"));
    EXPECT_TRUE(contains(outcome.standardOutput, "element=\"beta\",id=\"beta.size\"} 3456789\n"));
    EXPECT_FALSE(contains(outcome.standardOutput, "first gateway"));
    EXPECT_FALSE(contains(outcome.standardOutput, "\r")) << "lines end with LF alone";
}

TEST_F(OnASmallGateway, ColoursOnDemandAlone) {
    EXPECT_TRUE(contains(ask({"groups", "--color", "always"}).standardOutput, "\x1B[1mRESOURCE GROUP\x1B[0m"));
    EXPECT_FALSE(contains(ask({"groups", "--color=never"}).standardOutput, "\x1B"));
}

TEST_F(OnASmallGateway, ChecksAsAMonitoringPlugin) {
    ProgramOutcome outcome = ask({"check", "alpha.count", "-w", "20", "-c", "30"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(withPlainLineEnds(outcome.standardOutput), "OK - alpha.count is 12 | 'alpha.count'=12;20;30\n");
    EXPECT_EQ(ask({"check", "alpha.count", "-w", "10", "-c", "30"}).exitCode, 1);
    EXPECT_EQ(ask({"check", "alpha.count", "-w", "10", "-c", "11"}).exitCode, 2);
    EXPECT_EQ(ask({"check", "nowhere"}).exitCode, 3);
    EXPECT_EQ(ask({"check", "nowhere", "--ok-if-missing"}).exitCode, 0);
    EXPECT_EQ(ask({"check", "alpha.name"}).exitCode, 3);
    EXPECT_EQ(ask({"check"}).exitCode, 3);
    outcome = ask({"check", "rate:alpha.count", "-c", "0:0", "-i", "0.05"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardOutput;
}

TEST(ZulstatCheck, IsCriticalWhereNobodyListens) {
    const ClosedPort closed;
    const ProgramOutcome outcome = runZulstat(zulstatRun(closed.port(), {"check", "a"}));
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.standardOutput.find("CRITICAL - cannot connect to 127.0.0.1:"), 0U);
}

TEST_F(OnASmallGateway, IsAnUnknownCheckWhereTheTraceCannotBeWritten) {
    const TemporaryFile notAFolder("");
    const ProgramOutcome outcome =
        ask({"check", "alpha.count", "--trace-level", "1", "--trace-file", notAFolder.path() + "/trace"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.standardOutput.find("UNKNOWN - cannot trace to "), 0U) << outcome.standardOutput;
}

TEST_F(OnASmallGateway, AnswersAPing) {
    const ProgramOutcome outcome = ask({"ping", "-n", "3", "-i", "0.05"});
    EXPECT_EQ(outcome.exitCode, 0);
    const Texts told = lines(outcome.standardOutput);
    ASSERT_EQ(told.size(), 4U) << outcome.standardOutput;
    EXPECT_EQ(told[0].find(address() + ": answered in "), 0U);
    EXPECT_TRUE(contains(told[0], "connected in"));
    EXPECT_TRUE(contains(told[3], ": answered 3 of 3, fastest "));
    EXPECT_EQ(ask({"ping", "--quiet"}).standardOutput, "");
    EXPECT_TRUE(json::parse(ask({"ping", "-f", "json"}).standardOutput)["answered"].get<bool>());
}

TEST(ZulstatPing, TellsADeadPortFromAServerThatIsNoGateway) {
    const ClosedPort closed;
    EXPECT_EQ(runZulstat(zulstatRun(closed.port(), {"ping"})).exitCode, 3);
    const GatewaySim silent({"--fault", "handshake:stall"});
    const ProgramOutcome outcome = runZulstat(silent, {"ping", "-t", "0.5"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_TRUE(contains(outcome.standardOutput, "no answer within 0.5 s, though something listens there"));
    const GatewaySim refusing({"--fault", "auth0:refuse=13"});
    EXPECT_EQ(runZulstat(refusing, {"ping"}).exitCode, 4);
}

TEST(ZulstatPing, ToldAsJsonSaysWhyAndHowLongItTook) {
    const ClosedPort closed;
    const ProgramOutcome outcome = runZulstat(zulstatRun(closed.port(), {"ping", "-f", "json"}));
    EXPECT_EQ(outcome.exitCode, 3);
    const json line = json::parse(outcome.standardOutput);
    EXPECT_TRUE(contains(line["reason"].get<std::string>(), "connection refused"));
    EXPECT_GE(line["durationMs"].get<double>(), 0);
}

struct Illness {
    const char* fault;
    const char* step;
    const char* detail;
    int exitCode;
};

class Doctor : public ::testing::TestWithParam<Illness> {};

TEST_P(Doctor, SaysWhichStepFailedAndWithWhichCode) {
    const GatewaySim gateway({"--fault", GetParam().fault});
    const ProgramOutcome outcome = runZulstat(gateway, {"doctor", "--format", "json", "-t", "1"});
    EXPECT_EQ(outcome.exitCode, GetParam().exitCode);
    const json document = json::parse(outcome.standardOutput);
    EXPECT_FALSE(document["nextStep"].is_null());
    bool isBehind = false;
    for (const json& step : document["steps"]) {
        if (step["name"] == GetParam().step) {
            isBehind = true;
            EXPECT_EQ(step["result"], "failed");
            EXPECT_TRUE(contains(step["detail"].get<std::string>(), GetParam().detail)) << step;
        } else {
            EXPECT_EQ(step["result"], isBehind ? "notTried" : "ok") << step;
        }
    }
    EXPECT_TRUE(isBehind);
}

INSTANTIATE_TEST_SUITE_P(
    Illnesses, Doctor,
    ::testing::Values(Illness{"handshake:code=21", "handshake", "it answered with the code 21", 3},
                      Illness{"handshake:eyecatcher", "handshake", "it answered something else", 3},
                      Illness{"handshake:stall", "handshake", "without a single byte", 3},
                      Illness{"handshake:cut=10", "handshake", "after 10 bytes of a reply", 3},
                      Illness{"accept:close", "handshake", "", 3},
                      Illness{"auth0:refuse=17", "authorisation", "refused the authorisation with the code 17", 3},
                      Illness{"auth1:refuse=18", "authorisation", "refused the authorisation with the code 18", 3},
                      Illness{"attribute:admin-code=8", "version", "refused the call with the code 8", 3},
                      Illness{"invoke:admin-code=9", "groups", "refused the call with the code 9", 4},
                      Illness{"invoke:exception", "groups", "ended with an exception", 4}));

TEST_F(OnASmallGateway, IsInGoodHealth) {
    const ProgramOutcome outcome = ask({"doctor"});
    EXPECT_EQ(outcome.exitCode, 0);
    const Texts told = lines(withPlainLineEnds(outcome.standardOutput));
    ASSERT_EQ(told.size(), 9U) << outcome.standardOutput;
    EXPECT_TRUE(contains(told[7], "3 statistics through the library"));
    EXPECT_EQ(told[8], "All is well.");
}

// Answers whatever comes as a web server does.
ScriptedPeer::Script httpServer() {
    return [](PeerConnection& client) {
        try {
            client.expect(18);
            const std::string answer = "HTTP/1.1 400 Bad Request\r\n\r\n";
            client.send(test_support::Bytes(answer.begin(), answer.end()));
            client.expectEnd();
        } catch (const std::exception&) {
            // The client goes as it likes.
            return;
        }
    };
}

TEST(ZulstatDoctor, RecognisesAnHttpServer) {
    const ScriptedPeer server(httpServer(), 2);
    const ProgramOutcome outcome = runZulstat(zulstatRun(server.port(), {"doctor", "-t", "1"}));
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_TRUE(contains(outcome.standardOutput, "it answered something else: \"HTTP/1.1")) << outcome.standardOutput;
    EXPECT_TRUE(contains(outcome.standardOutput, "which is an HTTP server")) << outcome.standardOutput;
}

TEST(ZulstatDoctor, IsNamedWhereAServerDoesNotAnswerAsAGateway) {
    for (const char* const command : {"groups", "stats"}) {
        const ScriptedPeer server(httpServer(), 2);
        const ProgramOutcome outcome = runZulstat(zulstatRun(server.port(), {command, "-t", "1"}));
        EXPECT_EQ(outcome.exitCode, 3);
        EXPECT_TRUE(contains(outcome.standardError, "\"zulstat doctor\" tells")) << outcome.standardError;
    }
}

TEST(ZulstatDoctor, SaysThatNobodyListens) {
    const ClosedPort closed;
    const ProgramOutcome outcome = runZulstat(zulstatRun(closed.port(), {"doctor"}));
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_TRUE(contains(outcome.standardOutput, "connect        FAILED")) << outcome.standardOutput;
    EXPECT_TRUE(contains(outcome.standardOutput, "Next step: Start the gateway, or correct the port"));
}

TEST_F(OnASmallGateway, DumpsTheStateAndAllStatistics) {
    const TemporaryFile file("old");
    const ProgramOutcome outcome = ask({"dump", file.path()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_TRUE(contains(file.content(), "zulstats state dump: "));
    EXPECT_TRUE(contains(file.content(), "Dump of ResultSet("));
    EXPECT_FALSE(contains(file.content(), "old"));
}

// The goodbye takes far longer than the limit, and than what is left of it.
TEST(ZulstatGoodbye, DoesNotCountForDoctorAndDump) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--fault", "close:stall"});
    const ProgramOutcome examined = gateway.ask({"doctor", "-t", "1.5"});
    EXPECT_EQ(examined.exitCode, 0) << examined.standardOutput;
    const TemporaryFile file;
    const ProgramOutcome dumped = gateway.ask({"dump", file.path(), "-t", "1.5"});
    EXPECT_EQ(dumped.exitCode, 0) << dumped.standardError;
}

TEST(ZulstatDoctor, KeepsItsTimeLimitOverAllSteps) {
    const GatewaySim gateway({"--fault", "any:delay=500"});
    const ProgramOutcome outcome = runZulstat(gateway, {"doctor", "-f", "json", "-t", "1.3"});
    EXPECT_EQ(outcome.exitCode, 3);
    const json document = json::parse(outcome.standardOutput);
    EXPECT_EQ(document["steps"][2]["result"], "ok") << document;
    EXPECT_LT(document["durationMs"].get<double>(), 3000);
    EXPECT_GE(document["durationMs"].get<double>(), 1200);
}

// Some of the time is kept for the question whether a silent server speaks another language.
TEST(ZulstatDoctor, GivesAHandshakeThatHasBegunTheWholeTimeLimit) {
    const GatewaySim gateway({"--fault", "handshake:silence=1"});
    const ProgramOutcome outcome = runZulstat(gateway, {"doctor", "-f", "json", "-t", "1"});
    EXPECT_EQ(outcome.exitCode, 3);
    const json step = json::parse(outcome.standardOutput)["steps"][2];
    EXPECT_EQ(step["detail"], "no answer in time after 1 bytes of a reply");
    EXPECT_GE(step["durationMs"].get<double>(), 900);
}

TEST(ZulstatDoctor, ToldAsJsonSaysWhenAndOfWhom) {
    const CatalogueGateway gateway(kSmallCatalogue);
    const json document =
        json::parse(runPlain({"doctor", "-f", "json", gatewayOption("east", gateway.gateway().port())}).standardOutput);
    EXPECT_EQ(document["gateway"]["name"], "east");
    EXPECT_EQ(document["time"].get<std::string>().back(), 'Z');
    EXPECT_TRUE(document["nextStep"].is_null());
}

TEST(ZulstatDoctor, TakesNobodyForAGatewayWhoAnnouncesWhatCannotBe) {
    const GatewaySim gateway({"--fault", "handshake:data-length=0x7FFFFFFF"});
    const ProgramOutcome outcome = runZulstat(gateway, {"doctor", "-f", "json", "-t", "2"});
    EXPECT_EQ(outcome.exitCode, 3);
    const json document = json::parse(outcome.standardOutput);
    EXPECT_EQ(document["steps"][2]["result"], "failed");
    EXPECT_TRUE(contains(document["steps"][2]["detail"].get<std::string>(), "makes no sense")) << document;
}

TEST(ZulstatDump, LeavesAFileAloneWhenNobodyAnswers) {
    const ClosedPort closed;
    const TemporaryFile file("old");
    const ProgramOutcome outcome = runZulstat(zulstatRun(closed.port(), {"dump", file.path()}));
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_TRUE(contains(outcome.standardError, "zulstat: no dump of 127.0.0.1:")) << outcome.standardError;
    EXPECT_EQ(file.content(), "old");
}

TEST_F(OnASmallGateway, WatchesAsLines) {
    const ProgramOutcome outcome = ask({"watch", "--id", "beta.size", "-n", "3", "-i", "0.05"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_EQ(outcome.standardError, "");
    const Texts told = lines(withPlainLineEnds(outcome.standardOutput));
    ASSERT_GE(told.size(), 4U) << outcome.standardOutput;
    EXPECT_EQ(told[0].find("TIME       QUERY      STATISTIC  VALUE"), 0U);
    EXPECT_TRUE(contains(told[1], "Z  beta.size  beta.size  3456789"));
}

TEST_F(OnASmallGateway, WatchesAsOneDocumentALine) {
    const Texts told = lines(ask({"watch", "-n", "2", "-i", "0.05", "-f", "json"}).standardOutput);
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(json::parse(told[1])["statistics"].size(), 3U);
}

TEST_F(OnASmallGateway, WatchesUntilAConditionHolds) {
    EXPECT_EQ(ask({"watch", "-n", "9", "-i", "0.05", "--until", "alpha.count > 10"}).exitCode, 0);
    EXPECT_EQ(ask({"watch", "-n", "2", "-i", "0.05", "--until", "alpha.count > 12"}).exitCode, 1);
}

TEST(ZulstatWatch, ShowsThatAGatewayIsDownAndTriesAgain) {
    const ClosedPort closed;
    const ProgramOutcome outcome =
        runZulstat(zulstatRun(closed.port(), {"watch", "-n", "3", "-i", "0.05", "-f", "json"}));
    EXPECT_EQ(outcome.exitCode, 3);
    const Texts told = lines(outcome.standardOutput);
    ASSERT_EQ(told.size(), 3U);
    EXPECT_EQ(json::parse(told[2])["state"], "down");
    EXPECT_TRUE(contains(json::parse(told[2])["reason"].get<std::string>(), "connection refused"));
}

TEST(ZulstatWatch, ConnectsAgainToAGatewayThatWasLost) {
    // Each connection lives for two samples.
    const CatalogueGateway gateway(kSmallCatalogue, {"--fault", "invoke#3:reset"});
    const ProgramOutcome outcome = gateway.ask({"watch", "--group", "beta", "-n", "5", "-i", "0.05", "-f", "json"});
    Texts states;
    for (const std::string& line : lines(outcome.standardOutput)) {
        states.push_back(json::parse(line)["state"]);
    }
    EXPECT_EQ(states, (Texts{"up", "up", "down", "up", "up"})) << outcome.standardOutput;
    EXPECT_EQ(outcome.exitCode, 4) << "the worst of all samples, not that of the last one";
}

// What grows by 1000 a second does so whatever the connection takes.
TEST(ZulstatWatch, ReckonsRatesWithoutTheTimeOfConnecting) {
    const CatalogueGateway gateway(R"({"protocol": "1", "groups": ["g"], "statistics": [
        {"id": "c", "group": "g", "kind": "counter", "start": 0, "rate": 1000}]})",
                                   {"--fault", "handshake:delay=1500"});
    const ProgramOutcome outcome =
        gateway.ask({"watch", "--id", "c", "--counter", "c", "-n", "2", "-i", "0.5", "-f", "json"});
    const Texts told = lines(outcome.standardOutput);
    ASSERT_EQ(told.size(), 2U) << outcome.standardOutput;
    const double rate = json::parse(told[1])["statistics"][0]["rate"];
    EXPECT_GT(rate, 500) << told[1];
    EXPECT_LT(rate, 2000) << told[1];
}

TEST_F(OnASmallGateway, WatchesAndTellsOnceThatTheAwaitedStatisticIsMissing) {
    const ProgramOutcome outcome =
        ask({"watch", "-n", "3", "-i", "0.05", "--group", "alpha", "--until", "alpha.cuont > 1"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(withPlainLineEnds(outcome.standardError),
              "zulstat: --until waits for \"alpha.cuont\", which is not among what is watched of " + address() +
                  ". Did you mean \"alpha.count\"?\n");
}

TEST_F(OnASmallGateway, WatchesAndTellsOnceThatNothingMatches) {
    const ProgramOutcome outcome = ask({"watch", "-n", "3", "-i", "0.05", "--match", "x*"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(withPlainLineEnds(outcome.standardError), "zulstat: no id of " + address() + " matches --match.\n");
}

TEST_F(OnASmallGateway, WatchesWhatFailedBesideWhatMatches) {
    const ProgramOutcome outcome =
        ask({"watch", "-n", "1", "--group", "alpha", "nowhere", "--match", "*.count", "-f", "csv", "--no-header"});
    EXPECT_EQ(outcome.exitCode, 1);
    const Texts told = lines(outcome.standardOutput);
    ASSERT_EQ(told.size(), 2U) << outcome.standardOutput;
    EXPECT_TRUE(contains(told[0], ",alpha,0,alpha.count,12,"));
    EXPECT_TRUE(contains(told[1], ",nowhere,-5,"));
}

TEST(ZulstatWatch, IsNotHeldUpByAGatewayThatStopsAnswering) {
    const CatalogueGateway good(kSmallCatalogue);
    const GatewaySim silent({"--fault", "invoke:stall"});
    const GatewaySim neverOpen({"--fault", "handshake:stall"});
    const ProgramOutcome outcome = runPlain(
        {"watch", "-n", "2", "-i", "0.1", "-t", "2", "-f", "json", gatewayOption("good", good.gateway().port()),
         gatewayOption("silent", silent.port()), gatewayOption("never", neverOpen.port())});
    EXPECT_EQ(outcome.exitCode, 4);
    int up = 0;
    int down = 0;
    for (const std::string& line : lines(outcome.standardOutput)) {
        const json document = json::parse(line);
        const bool isUp = document["state"] == "up";
        EXPECT_EQ(isUp, document["gateway"]["name"] == "good");
        (isUp ? up : down) += 1;
    }
    EXPECT_EQ(up, 2);
    EXPECT_EQ(down, 4);
}

TEST(ZulstatManyGateways, AreShownTogetherAndNoneHoldsUpAnother) {
    const CatalogueGateway east(kSmallCatalogue);
    const CatalogueGateway west(kSmallCatalogue);
    const GatewaySim silent({"--fault", "handshake:stall"});
    const ClosedPort closed;
    const Texts gateways{gatewayOption("east", east.gateway().port()), gatewayOption("silent", silent.port()),
                         gatewayOption("closed", closed.port()), gatewayOption("west", west.gateway().port())};
    Texts arguments{"stats", "--id", "alpha.count", "-t", "1.5"};
    arguments.insert(arguments.end(), gateways.begin(), gateways.end());
    const ProgramOutcome outcome = runPlain(arguments);
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(withPlainLineEnds(outcome.standardOutput),
              "GATEWAY  QUERY        STATISTIC    VALUE\n"
              "east     alpha.count  alpha.count  12\n"
              "west     alpha.count  alpha.count  12\n");
    EXPECT_TRUE(contains(outcome.standardError, "cannot connect to silent (127.0.0.1:")) << outcome.standardError;
    EXPECT_TRUE(contains(outcome.standardError, "cannot connect to closed (127.0.0.1:")) << outcome.standardError;
    arguments.insert(arguments.end(), {"-f", "json"});
    const json document = json::parse(runPlain(arguments).standardOutput);
    ASSERT_EQ(document["gateways"].size(), 4U);
    EXPECT_EQ(document["gateways"][1]["error"]["kind"], "timeLimit");
    EXPECT_TRUE(document["gateways"][3]["error"].is_null());
}

TEST(ZulstatManyGateways, ComeFromAConfigurationFile) {
    const CatalogueGateway gateway(kSmallCatalogue);
    const std::string address = "127.0.0.1:" + std::to_string(gateway.gateway().port());
    const TemporaryFile file("# two names of one gateway\na = " + address + "\nb = " + address + "\n");
    const ProgramOutcome outcome = runPlain({"ids", "beta", "--no-header", "--config", file.path()});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(withPlainLineEnds(outcome.standardOutput), "a  beta  beta.size\nb  beta  beta.size\n");
    const TemporaryFile wrong("a = x:1\nnonsense\n");
    const ProgramOutcome refused = runPlain({"ids", "--config", wrong.path()});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(contains(refused.standardError, ":2: \"nonsense\" has no \"=\"")) << refused.standardError;
}

TEST(ZulstatManyGateways, MayBeTwoHundredAtOnce) {
    const CatalogueGateway gateway(kSmallCatalogue);
    const std::string address = " = 127.0.0.1:" + std::to_string(gateway.gateway().port()) + "\n";
    std::string configuration;
    for (int number = 0; number < 200; ++number) {
        configuration += "gateway" + std::to_string(number) + address;
    }
    const TemporaryFile file(configuration);
    const ProgramOutcome outcome =
        runPlain({"stats", "--group", "beta", "-t", "60", "--no-header", "--config", file.path()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_EQ(lines(outcome.standardOutput).size(), 200U);
    EXPECT_EQ(runPlain({"ping", "-q", "-t", "60", "--config", file.path()}).exitCode, 0);
}

TEST(ZulstatProgramTexts, AreShownWithoutAGateway) {
    EXPECT_TRUE(contains(runPlain({"completion", "bash"}).standardOutput, "complete -F _zulstat zulstat"));
    EXPECT_TRUE(contains(runPlain({"completion", "man"}).standardOutput, ".TH ZULSTAT 1"));
    EXPECT_EQ(runPlain({"completion", "tcsh"}).exitCode, 2);
    EXPECT_TRUE(contains(runPlain({"watch", "--help"}).standardOutput, "--until 'ID OP VALUE'"));
}

TEST(ZulstatBigGateway, ShowsFiveThousandIds) {
    json catalogue{{"protocol", "1"}, {"groups", {"g"}}};
    for (int number = 0; number < 5000; ++number) {
        catalogue["statistics"].push_back(
            {{"id", "g.statistic" + std::to_string(number)}, {"group", "g"}, {"kind", "text"}, {"text", "1"}});
    }
    const CatalogueGateway gateway(catalogue.dump());
    EXPECT_EQ(lines(gateway.ask({"stats", "--no-header"}).standardOutput).size(), 5000U);
    std::string list;
    for (int number = 0; number < 5000; ++number) {
        list += "g.statistic" + std::to_string(number) + "\n";
    }
    const TemporaryFile file(list);
    const ProgramOutcome outcome = gateway.ask({"stats", "--no-header", "--id", "@" + file.path()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_EQ(lines(outcome.standardOutput).size(), 5000U);
}

}  // namespace
