#include "command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

namespace {

using zulstat::AskedBy;
using zulstat::CommandLine;
using zulstat::EarlyEnd;
using zulstat::OutputFormat;
using zulstat::parseCommandLine;
using zulstat::QueryKind;

using Texts = std::vector<std::string>;

std::variant<CommandLine, EarlyEnd> parse(const Texts& arguments) {
    return parseCommandLine(arguments, [] { return std::string("zulstat 1.2.3"); });
}

CommandLine parseGood(const Texts& arguments) {
    const auto parsed = parse(arguments);
    if (const auto* const end = std::get_if<EarlyEnd>(&parsed)) {
        ADD_FAILURE() << end->standardOutput << end->standardError;
        return {};
    }
    return std::get<CommandLine>(parsed);
}

std::string usageErrorOf(const Texts& arguments) {
    const auto parsed = parse(arguments);
    const auto* const end = std::get_if<EarlyEnd>(&parsed);
    if (end == nullptr || end->exitCode != 2 || !end->standardOutput.empty()) {
        ADD_FAILURE() << "no usage error";
        return {};
    }
    EXPECT_EQ(end->standardError.find("zulstat: "), 0U);
    return end->standardError;
}

TEST(CommandLine, HasTheDocumentedDefaults) {
    const CommandLine commandLine = parseGood({"groups"});
    EXPECT_EQ(commandLine.host, "127.0.0.1");
    EXPECT_EQ(commandLine.port, 2980);
    EXPECT_EQ(commandLine.timeLimitSeconds, 90);
    EXPECT_EQ(commandLine.format, OutputFormat::table);
    EXPECT_FALSE(commandLine.traceLevel.has_value());
    EXPECT_FALSE(commandLine.traceFile.has_value());
}

TEST(CommandLine, TakesOptionsBeforeAndAfterTheCommand) {
    const CommandLine commandLine = parseGood({"--host", "gateway1", "--trace-level", "5", "groups", "--port", "65535",
                                               "--format", "json", "--timeout", "0", "--trace-file", "t"});
    EXPECT_EQ(commandLine.host, "gateway1");
    EXPECT_EQ(commandLine.port, 65535);
    EXPECT_EQ(commandLine.format, OutputFormat::json);
    EXPECT_EQ(commandLine.timeLimitSeconds, 0);
    EXPECT_EQ(commandLine.traceLevel, 5);
    EXPECT_EQ(commandLine.traceFile, "t");
}

TEST(CommandLine, AsksForResourceGroups) {
    const CommandLine commandLine = parseGood({"groups"});
    ASSERT_EQ(commandLine.queries.size(), 1U);
    EXPECT_EQ(commandLine.queries[0].kind, QueryKind::resourceGroups);
    EXPECT_EQ(commandLine.queries[0].by, AskedBy::all);
}

TEST(CommandLine, AsksForIdsOfAllOrSomeGroups) {
    const CommandLine all = parseGood({"ids"});
    ASSERT_EQ(all.queries.size(), 1U);
    EXPECT_EQ(all.queries[0].kind, QueryKind::statisticIds);
    EXPECT_EQ(all.queries[0].by, AskedBy::all);
    const CommandLine some = parseGood({"ids", "B", "A"});
    ASSERT_EQ(some.queries.size(), 1U);
    EXPECT_EQ(some.queries[0].by, AskedBy::group);
    EXPECT_EQ(some.queries[0].ids, (Texts{"B", "A"}));
}

TEST(CommandLine, AsksForAllStatisticsOrByGroupAndById) {
    const CommandLine all = parseGood({"stats"});
    ASSERT_EQ(all.queries.size(), 1U);
    EXPECT_EQ(all.queries[0].kind, QueryKind::statistics);
    EXPECT_EQ(all.queries[0].by, AskedBy::all);
    const CommandLine both = parseGood({"stats", "--id", "x", "--group", "A", "B", "--id", "y", "z"});
    ASSERT_EQ(both.queries.size(), 2U);
    EXPECT_EQ(both.queries[0].by, AskedBy::group);
    EXPECT_EQ(both.queries[0].ids, (Texts{"A", "B"}));
    EXPECT_EQ(both.queries[1].by, AskedBy::statisticId);
    EXPECT_EQ(both.queries[1].ids, (Texts{"x", "y", "z"}));
}

TEST(CommandLine, TakesIdsAsTheyStand) {
    const Texts odd{"groups", "stats", "{}", "[a,b]", "%%", "a,b", "-1", "[]", " "};
    Texts arguments{"ids", "--"};
    arguments.insert(arguments.end(), odd.begin(), odd.end());
    EXPECT_EQ(parseGood(arguments).queries.at(0).ids, odd);

    Texts options{"stats"};
    for (const std::string& id : odd) {
        options.push_back("--group=" + id);
    }
    EXPECT_EQ(parseGood(options).queries.at(0).ids, odd);
}

TEST(CommandLine, RefusesIdsThatCannotStandInAList) {
    EXPECT_NE(usageErrorOf({"ids", "A", ""}).find("a group id must not be empty"), std::string::npos);
    EXPECT_NE(usageErrorOf({"ids", "A:B"}).find("the group id \"A:B\" contains \":\""), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--group", "A:B"}).find("the group id \"A:B\""), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--id", "x", "y:z"}).find("the statistic id \"y:z\""), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--id", ""}).find("a statistic id must not be empty"), std::string::npos);
    EXPECT_NE(usageErrorOf({"ids", std::string(32766, 'x')}).find("too long"), std::string::npos);
}

TEST(CommandLine, RefusesWrongUsageAndNamesIt) {
    EXPECT_NE(usageErrorOf({}).find("a command is missing: groups, ids or stats."), std::string::npos);
    EXPECT_NE(usageErrorOf({"nonsense"}).find("there is no command \"nonsense\""), std::string::npos);
    EXPECT_NE(usageErrorOf({"groups", "surplus"}).find("surplus"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--port", "0", "groups"}).find("--port"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--port", "65536", "groups"}).find("--port"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--port", "http", "groups"}).find("--port"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--host", "", "groups"}).find("--host must not be empty"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--format", "xml", "groups"}).find("xml"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--timeout", "-1", "groups"}).find("--timeout"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--trace-level", "6", "groups"}).find("--trace-level"), std::string::npos);
    EXPECT_NE(usageErrorOf({"--trace-file", "t", "groups"}).find("--trace-level"), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--group"}).find("--group"), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--nonsense"}).find("--nonsense"), std::string::npos);
}

TEST(CommandLine, ShowsHelpWithDefaultsAndExitCodes) {
    for (const Texts& arguments :
         {Texts{"--help"}, Texts{"-h"}, Texts{"stats", "--help"}, Texts{"ids", "A", "--help"}}) {
        const auto parsed = parse(arguments);
        ASSERT_TRUE(std::holds_alternative<EarlyEnd>(parsed));
        const EarlyEnd& end = std::get<EarlyEnd>(parsed);
        EXPECT_EQ(end.exitCode, 0);
        EXPECT_EQ(end.standardError, "");
        EXPECT_NE(end.standardOutput.find("(default: " + std::to_string(zulstat::kDefaultPort) + ")"),
                  std::string::npos);
        EXPECT_NE(end.standardOutput.find("(default: " + std::to_string(zulstat::kDefaultTimeLimitSeconds) + ")"),
                  std::string::npos);
        EXPECT_NE(end.standardOutput.find("(default: " + CommandLine{}.host + ")"), std::string::npos);
        EXPECT_NE(end.standardOutput.find("\n  5  "), std::string::npos);
    }
}

TEST(CommandLine, ShowsTheVersion) {
    const auto parsed = parse({"--version"});
    ASSERT_TRUE(std::holds_alternative<EarlyEnd>(parsed));
    EXPECT_EQ(std::get<EarlyEnd>(parsed).exitCode, 0);
    EXPECT_EQ(std::get<EarlyEnd>(parsed).standardOutput, "zulstat 1.2.3\n");
}

}  // namespace
