// The built program against a simulated gateway.
#include "zulstat_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "closed_port.h"
#include "line_ends.h"

namespace {

using nlohmann::json;
using test_support::ClosedPort;
using test_support::GatewaySim;
using test_support::OutputTarget;
using test_support::ProgramOutcome;
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

std::string outputOf(const ProgramOutcome& outcome) {
    return withPlainLineEnds(outcome.standardOutput);
}

void expectSuccess(const ProgramOutcome& outcome, const std::string& output) {
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outputOf(outcome), output);
    EXPECT_EQ(outcome.standardError, "");
}

class SmallGateway : public ::testing::Test {
  protected:
    ProgramOutcome ask(const Texts& arguments) const {
        return gateway_.ask(arguments);
    }
    int port() const {
        return gateway_.gateway().port();
    }
    json askForJson(Texts arguments) const {
        arguments.insert(arguments.end(), {"--format", "json"});
        const ProgramOutcome outcome = ask(arguments);
        return json::parse(outcome.standardOutput, nullptr, false);
    }

  private:
    CatalogueGateway gateway_{kSmallCatalogue};
};

TEST_F(SmallGateway, ShowsResourceGroups) {
    expectSuccess(ask({"groups"}), "RESOURCE GROUP\nalpha\nempty\nbeta\n");
}

TEST_F(SmallGateway, ShowsAllStatisticIds) {
    expectSuccess(ask({"ids"}), "STATISTIC\nalpha.name\nalpha.count\nbeta.size\n");
}

TEST_F(SmallGateway, ShowsTheStatisticIdsOfGroupsInTheOrderAskedFor) {
    expectSuccess(ask({"ids", "beta", "alpha", "beta"}),
                  "QUERY  STATISTIC\n"
                  "beta   beta.size\n"
                  "alpha  alpha.name\n"
                  "alpha  alpha.count\n");
}

TEST_F(SmallGateway, ShowsStatisticsByGroup) {
    expectSuccess(ask({"stats", "--group", "alpha"}),
                  "QUERY  STATISTIC    VALUE\n"
                  "alpha  alpha.name   first gateway\n"
                  "alpha  alpha.count  12\n");
}

TEST_F(SmallGateway, ShowsStatisticsById) {
    expectSuccess(ask({"stats", "--id", "beta.size", "alpha.count"}),
                  "QUERY        STATISTIC    VALUE\n"
                  "beta.size    beta.size    3456789\n"
                  "alpha.count  alpha.count       12\n");
}

TEST_F(SmallGateway, ShowsTheResultsOfBothQueriesInOneRun) {
    expectSuccess(ask({"stats", "--id", "alpha.count", "--group", "beta"}),
                  "QUERY  STATISTIC  VALUE\n"
                  "beta   beta.size  3456789\n"
                  "\n"
                  "QUERY        STATISTIC    VALUE\n"
                  "alpha.count  alpha.count  12\n");
}

TEST_F(SmallGateway, ShowsAllStatisticsThoughAGroupInTheMiddleHasNone) {
    expectSuccess(ask({"stats"}),
                  "QUERY  STATISTIC      VALUE\n"
                  "alpha  alpha.name     first gateway\n"
                  "alpha  alpha.count         12\n"
                  "empty  no statistics\n"
                  "beta   beta.size      3456789\n");
}

TEST_F(SmallGateway, ShowsGroupsWithoutStatisticsWhereverTheyStandInAList) {
    expectSuccess(ask({"stats", "--group", "empty"}), "QUERY  STATISTIC      VALUE\nempty  no statistics\n");
    expectSuccess(ask({"stats", "--group", "empty", "beta"}),
                  "QUERY  STATISTIC      VALUE\n"
                  "empty  no statistics\n"
                  "beta   beta.size      3456789\n");
    expectSuccess(ask({"stats", "--group", "beta", "empty"}),
                  "QUERY  STATISTIC      VALUE\n"
                  "beta   beta.size      3456789\n"
                  "empty  no statistics\n");
    expectSuccess(ask({"ids", "empty"}), "QUERY  STATISTIC\nempty  no statistic ids\n");
    expectSuccess(ask({"ids", "beta", "empty", "alpha"}),
                  "QUERY  STATISTIC\n"
                  "beta   beta.size\n"
                  "empty  no statistic ids\n"
                  "alpha  alpha.name\n"
                  "alpha  alpha.count\n");
    expectSuccess(ask({"ids", "beta", "empty"}),
                  "QUERY  STATISTIC\n"
                  "beta   beta.size\n"
                  "empty  no statistic ids\n");
}

TEST_F(SmallGateway, ShowsAnUnknownGroupAsFailedAndTheOthersStill) {
    const ProgramOutcome outcome = ask({"stats", "--group", "nowhere", "beta"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outputOf(outcome),
              "QUERY    STATISTIC        VALUE\n"
              "nowhere  failed, code -5\n"
              "beta     beta.size        3456789\n");
}

TEST_F(SmallGateway, ShowsAnUnknownGroupAfterOneWithoutStatistics) {
    const ProgramOutcome outcome = ask({"stats", "--group", "empty", "nowhere", "beta"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outputOf(outcome),
              "QUERY    STATISTIC        VALUE\n"
              "empty    no statistics\n"
              "nowhere  failed, code -5\n"
              "beta     beta.size        3456789\n");
    const ProgramOutcome ids = ask({"ids", "empty", "nowhere", "beta"});
    EXPECT_EQ(ids.exitCode, 1);
    EXPECT_EQ(outputOf(ids),
              "QUERY    STATISTIC\n"
              "empty    no statistic ids\n"
              "nowhere  failed, code -5\n"
              "beta     beta.size\n");
}

TEST_F(SmallGateway, ShowsAResultThatOnlyFailed) {
    const ProgramOutcome outcome = ask({"ids", "nowhere"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outputOf(outcome), "QUERY    STATISTIC\nnowhere  failed, code -5\n");
}

TEST(ZulstatSuggestion, ThatTheGatewayDoesNotAllowTakesNothingFromTheAnswer) {
    for (const char* const fault : {"invoke#2:stall", "invoke#2:close", "invoke#2:cut=60"}) {
        const CatalogueGateway gateway(kSmallCatalogue, {"--fault", fault});
        const ProgramOutcome outcome = gateway.ask({"stats", "--id", "nope", "beta.size", "--timeout", "20"});
        EXPECT_EQ(outcome.exitCode, 1) << fault << outcome.standardError;
        EXPECT_NE(outcome.standardOutput.find("3456789"), std::string::npos) << fault << outcome.standardOutput;
        EXPECT_EQ(outcome.standardError.find("failed:"), std::string::npos) << fault << outcome.standardError;
    }
}

TEST(ZulstatSuggestion, IsNotLookedForByCheck) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--verbose"});
    EXPECT_EQ(gateway.ask({"check", "beta.sise", "--ok-if-missing"}).exitCode, 0);
    EXPECT_EQ(gateway.gateway().standardError().find("STAT_IDS"), std::string::npos);
}

TEST_F(SmallGateway, GivesTheSameAsJson) {
    const json document = askForJson({"stats", "--group", "beta", "nowhere", "--id", "alpha.count"});
    ASSERT_TRUE(document.is_object());
    EXPECT_EQ(document["format"], 1);
    EXPECT_EQ(document["program"]["name"], "zulstat");
    EXPECT_EQ(document["program"]["apiVersion"], "1_1_0_1");
    EXPECT_EQ(document["gateway"]["host"], "127.0.0.1");
    EXPECT_EQ(document["gateway"]["protocolVersion"], "1.0.0");
    EXPECT_EQ(document["queries"], json::parse(R"([
        {"kind": "statistics", "by": "group", "asked": ["beta", "nowhere"], "elements": [
            {"element": "beta", "code": 0, "statistics": [{"id": "beta.size", "value": "3456789"}]},
            {"element": "nowhere", "code": -5,
             "error": {"code": -5, "message": "the gateway could not answer this query element"}}]},
        {"kind": "statistics", "by": "statisticId", "asked": ["alpha.count"], "elements": [
            {"element": "alpha.count", "code": 0, "statistics": [{"id": "alpha.count", "value": "12"}]}]}
    ])"));
    EXPECT_EQ(document["failedElements"], 1);
    EXPECT_TRUE(document["error"].is_null());
}

TEST_F(SmallGateway, GivesIdsAsJson) {
    EXPECT_EQ(askForJson({"groups"})["queries"], json::parse(R"([
        {"kind": "resourceGroups", "by": "all", "asked": [],
         "elements": [{"element": "", "code": 0, "ids": ["alpha", "empty", "beta"]}]}
    ])"));
    EXPECT_EQ(askForJson({"ids", "empty", "beta"})["queries"], json::parse(R"([
        {"kind": "statisticIds", "by": "group", "asked": ["empty", "beta"], "elements": [
            {"element": "empty", "code": 0, "ids": []}, {"element": "beta", "code": 0, "ids": ["beta.size"]}]}
    ])"));
}

TEST_F(SmallGateway, ExitsWithTheSameCodeInBothFormats) {
    EXPECT_EQ(ask({"ids", "nowhere", "--format", "json"}).exitCode, 1);
    EXPECT_EQ(ask({"ids", "alpha", "--format", "json"}).exitCode, 0);
}

// What the program shows of a gateway, of the same one behind a recorder, and of its recording.
TEST_F(SmallGateway, ShowsTheSameThroughARecorderAndFromTheRecording) {
    const std::vector<Texts> commands{{"groups"},
                                      {"ids"},
                                      {"ids", "beta"},
                                      {"stats"},
                                      {"stats", "--group", "alpha", "--group", "no.such.group"},
                                      {"--format", "csv", "stats", "--stat", "beta.size"}};
    const test_support::TemporaryFile file;
    const Texts target{"record", "--gateway", "127.0.0.1:" + std::to_string(port()), "--output", file.path()};
    std::vector<std::string> direct;
    std::vector<std::string> recorded;
    {
        test_support::GatewaySim recorder(target);
        for (const Texts& command : commands) {
            direct.push_back(ask(command).standardOutput);
            recorded.push_back(runZulstat(recorder, command).standardOutput);
        }
        ASSERT_EQ(recorder.stop(), 0) << recorder.standardError();
    }
    const test_support::GatewaySim replay({"replay", file.path()});
    for (size_t index = 0; index < commands.size(); ++index) {
        EXPECT_EQ(recorded[index], direct[index]) << index;
        EXPECT_EQ(runZulstat(replay, commands[index]).standardOutput, direct[index]) << index;
    }
    EXPECT_EQ(replay.standardError(), "");
}

TEST_F(SmallGateway, TakesAHostName) {
    expectSuccess(ask({"--host", "localhost", "groups"}), "RESOURCE GROUP\nalpha\nempty\nbeta\n");
}

TEST_F(SmallGateway, DoesNotColourWhatIsNoTerminal) {
    EXPECT_FALSE(contains(ask({"stats"}).standardOutput, "\x1B"));
}

TEST_F(SmallGateway, WritesTheTraceToAFile) {
    const TemporaryFile trace;
    const ProgramOutcome outcome = ask({"groups", "--trace-level", "3", "--trace-file", trace.path()});
    expectSuccess(outcome, "RESOURCE GROUP\nalpha\nempty\nbeta\n");
    EXPECT_TRUE(contains(trace.content(), "API.getResourceGroupIds(")) << trace.content();
}

TEST_F(SmallGateway, WritesTheTraceToAFileWithALetterBeyondAscii) {
    const TemporaryFile folder;
    std::filesystem::path name = folder.path();
    name += std::filesystem::path(u8"-\u00e9");
    const ProgramOutcome outcome = ask({"groups", "--trace-level", "3", "--trace-file", name.string()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_TRUE(std::filesystem::exists(name));
    std::filesystem::remove(name);
}

TEST_F(SmallGateway, WritesTheTraceToStandardError) {
    const ProgramOutcome outcome = ask({"groups", "--trace-level", "3"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outputOf(outcome), "RESOURCE GROUP\nalpha\nempty\nbeta\n");
    EXPECT_TRUE(contains(outcome.standardError, "API.getResourceGroupIds("));
}

TEST_F(SmallGateway, RefusesATraceFileThatCannotBeOpened) {
    const TemporaryFile notAFolder("");
    const ProgramOutcome outcome = ask({"groups", "--trace-level", "3", "--trace-file", notAFolder.path() + "/trace"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_TRUE(contains(outcome.standardError, "STAPI_RC_TRACE_FILE_FAILED, -130")) << outcome.standardError;
    EXPECT_TRUE(contains(outcome.standardError, "cannot trace to ")) << outcome.standardError;
}

TEST_F(SmallGateway, RefusesWrongUsage) {
    const ProgramOutcome outcome = ask({"ids", "alpha:beta"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_TRUE(contains(outcome.standardError, "contains \":\"")) << outcome.standardError;
}

TEST_F(SmallGateway, IsSilentWhenTheReaderHasGone) {
    const GatewaySim gateway;
    auto run = zulstatRun(gateway.port(), {"stats"});
    run.output = OutputTarget::readerGone;
    const ProgramOutcome outcome = runZulstat(run);
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_EQ(outcome.standardError, "");
}

TEST_F(SmallGateway, WritesToAFile) {
    const GatewaySim gateway;
    const TemporaryFile file;
    auto run = zulstatRun(gateway.port(), {"groups"});
    run.output = OutputTarget::file;
    run.outputFile = file.path();
    EXPECT_EQ(runZulstat(run).exitCode, 0);
    EXPECT_TRUE(contains(file.content(), "daemon"));
}

TEST(ZulstatProgram, ShowsItsVersionAndThatOfTheLibrary) {
    const ProgramOutcome outcome = runZulstat(zulstatRun(1, {"--version"}));
    expectSuccess(outcome, "zulstat " ZULSTAT_VERSION " (library API 1_1_0_1)\n");
}

TEST(ZulstatProgram, ShowsHelpWithoutAGateway) {
    const ProgramOutcome outcome = runZulstat(zulstatRun(1, {"--help"}));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.standardError, "");
    EXPECT_TRUE(contains(outcome.standardOutput, "Usage:"));
}

TEST(ZulstatProgram, SaysWhereItCannotConnectAndWhatToTry) {
    const ClosedPort closed;
    const ProgramOutcome outcome = runZulstat(zulstatRun(closed.port(), {"groups"}));
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_EQ(withPlainLineEnds(outcome.standardError),
              "zulstat: cannot connect to 127.0.0.1:" + std::to_string(closed.port()) +
                  ": connection refused (STAPI_RC_CONNECT_REFUSED, -135). "
                  "Is the gateway running and listening on that port?\n");
}

TEST(ZulstatProgram, GivesAFailedConnectionAsJsonToo) {
    const ClosedPort closed;
    const ProgramOutcome outcome = runZulstat(zulstatRun(closed.port(), {"groups", "--format", "json"}));
    EXPECT_EQ(outcome.exitCode, 3);
    const json document = json::parse(outcome.standardOutput, nullptr, false);
    ASSERT_TRUE(document.is_object()) << outcome.standardOutput;
    EXPECT_EQ(document["error"]["stage"], "connect");
    EXPECT_EQ(document["error"]["code"], -135);
    EXPECT_EQ(document["error"]["name"], "STAPI_RC_CONNECT_REFUSED");
    EXPECT_TRUE(document["gateway"]["protocolVersion"].is_null());
    EXPECT_TRUE(document["queries"].empty());
}

TEST(ZulstatProgram, SaysThatTheHandshakeOrTheAuthorisationFailed) {
    const GatewaySim gateway({"--fault", "auth1:code=13"});
    const ProgramOutcome outcome = runZulstat(gateway, {"groups"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_TRUE(contains(outcome.standardError, "STAPI_RC_CONNECT_FAILED, -118")) << outcome.standardError;
    EXPECT_TRUE(contains(outcome.standardError, "\"zulstat doctor\" tells.")) << outcome.standardError;
}

TEST(ZulstatProgram, SaysThatTheGatewayDiedDuringAQuery) {
    const GatewaySim gateway({"--fault", "invoke:reset"});
    const ProgramOutcome outcome = runZulstat(gateway, {"stats", "--format", "json"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_TRUE(contains(outcome.standardError, "zulstat: the query for statistics at 127.0.0.1:"))
        << outcome.standardError;
    const json document = json::parse(outcome.standardOutput, nullptr, false);
    ASSERT_TRUE(document.is_object()) << outcome.standardOutput;
    EXPECT_EQ(document["error"]["stage"], "query");
    // Systems differ in whether a reset is an error or the end of the stream.
    EXPECT_TRUE(document["error"]["code"] == -102 || document["error"]["code"] == -122) << document["error"];
    EXPECT_TRUE(document["queries"].empty());
}

TEST(ZulstatProgram, SaysThatTheGatewayRefusedAQuery) {
    const GatewaySim gateway({"--fault", "invoke:admin-code=8"});
    const ProgramOutcome outcome = runZulstat(gateway, {"groups"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_TRUE(contains(outcome.standardError, "the query for resource groups at 127.0.0.1:"));
    EXPECT_TRUE(contains(outcome.standardError, "STAPI_RC_BAD_EYECATCHER, -122"));
}

TEST(ZulstatProgram, ShowsWhatWasAnsweredBeforeTheGatewayDied) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--fault", "invoke#2:reset"});
    const ProgramOutcome outcome = gateway.ask({"stats", "--group", "beta", "--id", "alpha.count"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outputOf(outcome), "QUERY  STATISTIC  VALUE\nbeta   beta.size  3456789\n");
    EXPECT_TRUE(contains(outcome.standardError, "the query for statistics by statistic id at "))
        << outcome.standardError;
}

TEST(ZulstatProgram, MakesNoFurtherQueryAfterOneThatFailed) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--fault", "invoke#1:reset"});
    const ProgramOutcome outcome = gateway.ask({"stats", "--group", "beta", "--id", "alpha.count"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_TRUE(contains(outcome.standardError, "the query for statistics by group at ")) << outcome.standardError;
    EXPECT_FALSE(contains(outcome.standardError, "by statistic id")) << outcome.standardError;
}

TEST(ZulstatProgram, ShowsWhatWasAnsweredBeforeTheGatewayDiedInTheMiddleOfAQuery) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--fault", "invoke#3:reset"});
    const ProgramOutcome outcome = gateway.ask({"stats", "--group", "alpha", "empty", "beta"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outputOf(outcome),
              "QUERY  STATISTIC      VALUE\n"
              "alpha  alpha.name     first gateway\n"
              "alpha  alpha.count    12\n"
              "empty  no statistics\n");
}

// Long enough for the connection to come about on a busy machine.
TEST(ZulstatProgram, WaitsForAQueryNoLongerThanTheTimeLimit) {
    const GatewaySim gateway({"--fault", "invoke:stall"});
    const ProgramOutcome outcome = runZulstat(gateway, {"groups", "--timeout", "5"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_TRUE(contains(outcome.standardError, " failed: no answer within 5 s.")) << outcome.standardError;
}

TEST(ZulstatProgram, WaitsForTheConnectionNoLongerThanTheTimeLimit) {
    const GatewaySim gateway({"--fault", "handshake:stall"});
    const ProgramOutcome outcome = runZulstat(gateway, {"groups", "--timeout", "1"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_TRUE(contains(outcome.standardError, "zulstat: cannot connect to 127.0.0.1:")) << outcome.standardError;
    EXPECT_TRUE(contains(outcome.standardError, "no answer within 1 s.")) << outcome.standardError;
}

TEST(ZulstatProgram, TakesLeaveOfTheGateway) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--verbose"});
    EXPECT_EQ(gateway.ask({"groups"}).exitCode, 0);
    EXPECT_TRUE(contains(gateway.gateway().standardError(), " close answered")) << gateway.gateway().standardError();
}

TEST(ZulstatProgram, DoesNotWaitLongForAGatewayThatDoesNotSayGoodbye) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--fault", "close:stall"});
    expectSuccess(gateway.ask({"groups"}), "RESOURCE GROUP\nalpha\nempty\nbeta\n");
}

TEST(ZulstatProgram, SaysThatThereIsNothing) {
    const CatalogueGateway gateway(R"({"protocol": "1", "groups": [], "statistics": []})");
    const std::string address = "127.0.0.1:" + std::to_string(gateway.gateway().port());
    for (const auto& [command, what] :
         {std::pair{"groups", "resource groups"}, {"ids", "statistic ids"}, {"stats", "statistics"}}) {
        const ProgramOutcome outcome = gateway.ask({command});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.standardOutput, "");
        EXPECT_EQ(withPlainLineEnds(outcome.standardError), "zulstat: " + address + " reports no " + what + ".\n");
    }
}

constexpr std::string_view kHostileCatalogue = R"({
    "protocol": "1",
    "groups": ["\\a"],
    "statistics": [
        {"id": "value", "group": "\\a", "kind": "text",
         "text": "red \u001b[31m, \u009b31m, new\nline, tab\t, NUL \u0000, DEL \u007f, \u202e, \\, Gr\u00fc\u00dfe"},
        {"id": "x", "group": "\\a", "kind": "text", "text": ""},
        {"id": "long", "group": "\\a", "kind": "text", "text": "0123456789", "repeat": 3000}
    ]
})";

TEST(ZulstatProgram, EscapesHostileTextInTheTable) {
    const CatalogueGateway gateway(kHostileCatalogue);
    std::string longValue;
    for (int count = 0; count < 3000; ++count) {
        longValue += "0123456789";
    }
    expectSuccess(gateway.ask({"stats"}),
                  "QUERY  STATISTIC  VALUE\n"
                  "\\\\a    value      red \\x1B[31m, \\u009B31m, new\\nline, tab\\t, NUL \\x00, DEL \\x7F, \\u202E, "
                  "\\\\, Gr\xC3\xBC\xC3\x9F"
                  "e\n"
                  "\\\\a    x          \"\"\n"
                  "\\\\a    long       " +
                      longValue + "\n");
}

TEST(ZulstatProgram, GivesHostileTextExactlyInJson) {
    const CatalogueGateway gateway(kHostileCatalogue);
    const ProgramOutcome outcome = gateway.ask({"stats", "--format", "json"});
    for (const char byte : withPlainLineEnds(outcome.standardOutput)) {
        ASSERT_TRUE(byte == '\n' || (byte >= ' ' && byte <= '~'));
    }
    const json served = json::parse(kHostileCatalogue);
    const json document = json::parse(outcome.standardOutput, nullptr, false);
    ASSERT_TRUE(document.is_object());
    EXPECT_EQ(document["queries"][0]["elements"][0]["statistics"][0]["value"], served["statistics"][0]["text"]);
}

TEST(ZulstatProgram, ShowsTheWholeOfABigGateway) {
    const GatewaySim gateway;
    const ProgramOutcome statistics = runZulstat(gateway, {"stats", "--format", "json"});
    ASSERT_EQ(statistics.exitCode, 0) << statistics.standardError;
    const json all = json::parse(statistics.standardOutput);
    Texts shown;
    for (const json& element : all["queries"][0]["elements"]) {
        for (const json& statistic : element["statistics"]) {
            shown.push_back(statistic["id"]);
        }
    }
    const json ids = json::parse(runZulstat(gateway, {"ids", "--format", "json"}).standardOutput);
    EXPECT_GE(shown.size(), 100U);
    EXPECT_EQ(json(shown), ids["queries"][0]["elements"][0]["ids"]);
}

}  // namespace
