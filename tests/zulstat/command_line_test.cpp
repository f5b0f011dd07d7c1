#include "command_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

namespace {

using std::chrono::milliseconds;
using zulstat::AskedBy;
using zulstat::Command;
using zulstat::CommandLine;
using zulstat::EarlyEnd;
using zulstat::Fault;
using zulstat::OutputFormat;
using zulstat::parseCommandLine;
using zulstat::QueryKind;
using zulstat::SortOrder;

using Texts = std::vector<std::string>;

// Surroundings with variables and files of the test's own.
struct Machine {
    std::map<std::string, std::string> variables;
    std::map<std::string, std::string> files;

    std::variant<CommandLine, EarlyEnd> parse(const Texts& arguments) const {
        return parseCommandLine(arguments, {[] { return std::string("zulstat 1.2.3"); },
                                            [this](const std::string& name) {
                                                const auto found = variables.find(name);
                                                return found == variables.end() ? std::nullopt
                                                                                : std::optional(found->second);
                                            },
                                            [this](const std::string& name) -> std::variant<std::string, Fault> {
                                                const auto found = files.find(name);
                                                if (found == files.end()) {
                                                    return Fault{"the file \"" + name + "\" cannot be read."};
                                                }
                                                return found->second;
                                            }});
    }

    CommandLine parseGood(const Texts& arguments) const {
        const auto parsed = parse(arguments);
        if (const auto* const end = std::get_if<EarlyEnd>(&parsed)) {
            ADD_FAILURE() << end->standardOutput << end->standardError;
            return {};
        }
        return std::get<CommandLine>(parsed);
    }

    std::string usageErrorOf(const Texts& arguments) const {
        const auto parsed = parse(arguments);
        const auto* const end = std::get_if<EarlyEnd>(&parsed);
        if (end == nullptr || end->exitCode != 2 || !end->standardOutput.empty()) {
            ADD_FAILURE() << "no usage error";
            return {};
        }
        EXPECT_EQ(end->standardError.find("zulstat: "), 0U);
        return end->standardError.substr(0, end->standardError.find('\n'));
    }
};

CommandLine parseGood(const Texts& arguments) {
    return Machine{}.parseGood(arguments);
}

std::string usageErrorOf(const Texts& arguments) {
    return Machine{}.usageErrorOf(arguments);
}

void expectGateway(const Texts& arguments, const std::string& host, int32_t port) {
    const CommandLine commandLine = parseGood(arguments);
    ASSERT_EQ(commandLine.gateways.size(), 1U);
    EXPECT_EQ(commandLine.gateways[0].host, host);
    EXPECT_EQ(commandLine.gateways[0].port, port);
}

TEST(CommandLine, HasTheDocumentedDefaults) {
    expectGateway({"groups"}, "127.0.0.1", 2980);
    const CommandLine commandLine = parseGood({"groups"});
    EXPECT_EQ(commandLine.timeLimit, milliseconds(10000));
    EXPECT_EQ(commandLine.format, OutputFormat::table);
    EXPECT_FALSE(commandLine.traceLevel.has_value());
    EXPECT_FALSE(commandLine.traceFile.has_value());
    EXPECT_TRUE(commandLine.hasHeader);
    EXPECT_EQ(parseGood({"ping"}).timeLimit, milliseconds(3000));
    EXPECT_EQ(parseGood({"watch"}).interval, milliseconds(2000));
}

TEST(CommandLine, TakesOptionsBeforeAndAfterTheCommand) {
    const CommandLine commandLine = parseGood({"--host", "gateway1", "--trace-level", "5", "groups", "--port", "65535",
                                               "--format", "json", "--timeout", "0", "--trace-file", "t"});
    EXPECT_EQ(commandLine.gateways[0].host, "gateway1");
    EXPECT_EQ(commandLine.gateways[0].port, 65535);
    EXPECT_EQ(commandLine.format, OutputFormat::json);
    EXPECT_EQ(commandLine.timeLimit, milliseconds(0));
    EXPECT_EQ(commandLine.traceLevel, 5);
    EXPECT_EQ(commandLine.traceFile, "t");
}

TEST(CommandLine, TakesShortOptions) {
    const CommandLine commandLine =
        parseGood({"-Hgateway1", "-p", "7", "-t0.5", "watch", "-f", "json", "-i", "1.5", "-n3"});
    EXPECT_EQ(commandLine.gateways[0].host, "gateway1");
    EXPECT_EQ(commandLine.gateways[0].port, 7);
    EXPECT_EQ(commandLine.timeLimit, milliseconds(500));
    EXPECT_EQ(commandLine.format, OutputFormat::json);
    EXPECT_EQ(commandLine.interval, milliseconds(1500));
    EXPECT_EQ(commandLine.count, 3);
    EXPECT_TRUE(parseGood({"ping", "-qn", "3"}).isQuiet);
}

TEST(CommandLine, TakesTheLastOfARepeatedOption) {
    const CommandLine commandLine =
        parseGood({"-p", "1", "groups", "-p", "2", "--format=csv", "--format=json", "-t", "3", "-t", "4"});
    EXPECT_EQ(commandLine.gateways[0].port, 2);
    EXPECT_EQ(commandLine.format, OutputFormat::json);
    EXPECT_EQ(commandLine.timeLimit, milliseconds(4000));
}

TEST(CommandLine, TakesAddressesWithAPort) {
    expectGateway({"--host", "gateway1:7", "groups"}, "gateway1", 7);
    expectGateway({"--host", "[::1]:7", "groups"}, "::1", 7);
    expectGateway({"--host", "::1", "groups"}, "::1", 2980);
    expectGateway({"--host", "[::1]", "-p", "8", "groups"}, "::1", 8);
    expectGateway({"--host", "gateway1:7", "--port", "7", "groups"}, "gateway1", 7);
    expectGateway({"--gateway", "gateway1:7", "groups"}, "gateway1", 7);
    expectGateway({"--gateway", "east=[fe80::1]:7", "groups"}, "fe80::1", 7);
    EXPECT_EQ(usageErrorOf({"--host", "gateway1:7", "--port", "8", "groups"}),
              "zulstat: --host says port 7, --port says 8. Give one of them.");
    EXPECT_NE(usageErrorOf({"--gateway", "gateway1:x", "groups"}).find("the port \"x\" is no number from 1 to 65535"),
              std::string::npos);
    EXPECT_NE(usageErrorOf({"--gateway", "a", "--port", "8", "groups"}).find("--gateway HOST:PORT"), std::string::npos);
}

TEST(CommandLine, TakesSeveralGatewaysAndNamesThem) {
    Machine machine;
    machine.files["gateways"] = "# all\r\nnorth = n1\n\nsouth=s1:7\n";
    const CommandLine commandLine =
        machine.parseGood({"--config", "gateways", "stats", "--gateway", "east=e1:8", "--gateway", "w1"});
    ASSERT_EQ(commandLine.gateways.size(), 4U);
    EXPECT_EQ(commandLine.gateways[0].name, "north");
    EXPECT_EQ(commandLine.gateways[0].port, 2980);
    EXPECT_EQ(commandLine.gateways[1].host, "s1");
    EXPECT_EQ(commandLine.gateways[2].name, "east");
    EXPECT_EQ(commandLine.gateways[3].name, "w1:2980");
    EXPECT_NE(usageErrorOf({"--gateway", "a=x", "--gateway", "a=y", "stats"}).find("two gateways \"a\""),
              std::string::npos);
    EXPECT_NE(usageErrorOf({"--gateway", "x", "--gateway", "y", "doctor"}).find("one gateway at a time"),
              std::string::npos);
    Texts many{"stats"};
    for (int port = 1; port <= 257; ++port) {
        many.push_back("--gateway=h:" + std::to_string(port));
    }
    EXPECT_NE(usageErrorOf(many).find("257 gateways are too many: at most 256"), std::string::npos);
}

TEST(CommandLine, NamesTheLineOfAConfigurationThatIsWrong) {
    Machine machine;
    machine.files = {{"a", "x = h:1\n\nnonsense\n"},
                     {"b", "x = h:1\nx = h:2\n"},
                     {"c", "x = h:99999\n"},
                     {"d", "# nothing\n"},
                     {"e", "= h\n"}};
    const auto faultOf = [&](const char* file) { return machine.usageErrorOf({"--config", file, "stats"}); };
    EXPECT_EQ(faultOf("a"), "zulstat: a:3: \"nonsense\" has no \"=\". Write NAME = HOST[:PORT].");
    EXPECT_EQ(faultOf("b"), "zulstat: b:2: there is a gateway \"x\" already. Give each a name of its own.");
    EXPECT_EQ(faultOf("c").find("zulstat: c:1: \"x = h:99999\" is no address of a gateway: the port \"99999\""), 0U);
    EXPECT_EQ(faultOf("d"), "zulstat: d names no gateway. Write a line NAME = HOST[:PORT] for each.");
    EXPECT_NE(faultOf("e").find("the name before \"=\" is missing"), std::string::npos);
    EXPECT_NE(faultOf("missing").find("cannot be read"), std::string::npos);
}

TEST(CommandLine, TakesGatewayAndTimeLimitFromTheEnvironmentWhenTheCommandLineHasNone) {
    Machine machine;
    machine.variables = {{"ZULSTAT_GATEWAY", "gateway1:7"}, {"ZULSTAT_TIMEOUT", "1.5"}};
    EXPECT_EQ(machine.parseGood({"groups"}).gateways[0].host, "gateway1");
    EXPECT_EQ(machine.parseGood({"groups"}).timeLimit, milliseconds(1500));
    EXPECT_EQ(machine.parseGood({"groups", "--gateway", "x"}).gateways[0].host, "x");
    EXPECT_EQ(machine.parseGood({"groups", "-t", "2"}).timeLimit, milliseconds(2000));
    machine.variables["ZULSTAT_GATEWAY"] = "a=x:1,b=y:2";
    EXPECT_EQ(machine.parseGood({"groups"}).gateways.size(), 2U);
    machine.variables = {{"ZULSTAT_GATEWAY", "x:y"}};
    EXPECT_NE(machine.usageErrorOf({"groups"}).find("ZULSTAT_GATEWAY"), std::string::npos);
    machine.variables = {{"ZULSTAT_TIMEOUT", "soon"}};
    EXPECT_NE(machine.usageErrorOf({"groups"}).find("ZULSTAT_TIMEOUT"), std::string::npos);
}

TEST(CommandLine, TakesAPortAloneForTheHostOfTheEnvironment) {
    Machine machine;
    machine.variables = {{"ZULSTAT_GATEWAY", "east=gateway1:7"}};
    const CommandLine commandLine = machine.parseGood({"groups", "-p", "8"});
    EXPECT_EQ(commandLine.gateways.at(0).name, "east");
    EXPECT_EQ(commandLine.gateways[0].host, "gateway1");
    EXPECT_EQ(commandLine.gateways[0].port, 8);
    const CommandLine other = machine.parseGood({"groups", "-H", "gateway2"});
    EXPECT_EQ(other.gateways.at(0).host, "gateway2");
    EXPECT_EQ(other.gateways[0].port, 2980);
    machine.variables = {{"ZULSTAT_GATEWAY", "a=x:1,b=y:2"}};
    EXPECT_EQ(
        machine.usageErrorOf({"groups", "-p", "8"}),
        "zulstat: --port is for one gateway, but the environment variable ZULSTAT_GATEWAY names 2. Write --gateway "
        "HOST:PORT.");
}

TEST(CommandLine, NeedsNoGatewayForACompletion) {
    Machine machine;
    machine.variables = {{"ZULSTAT_GATEWAY", "x:y"}, {"ZULSTAT_TIMEOUT", "soon"}};
    EXPECT_EQ(machine.parseGood({"completion", "bash"}).completionFor, "bash");
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
    const Texts odd{"groups", "stats", "{}", "[a,b]", "%%", "a,b", "-1", "[]", " ", "check"};
    Texts arguments{"ids", "--"};
    arguments.insert(arguments.end(), odd.begin(), odd.end());
    EXPECT_EQ(parseGood(arguments).queries.at(0).ids, odd);
    Texts separate{"stats", "--group"};
    separate.insert(separate.end(), odd.begin(), odd.end());
    EXPECT_EQ(parseGood(separate).queries.at(0).ids, odd) << "names of commands are ids, too";
    Texts options{"stats", "--group=--x"};
    for (const std::string& id : odd) {
        options.push_back("--group=" + id);
    }
    EXPECT_EQ(parseGood(options).queries.at(0).ids.size(), odd.size() + 1);
}

TEST(CommandLine, TakesIdsFromFiles) {
    Machine machine;
    machine.files = {{"list", "a\r\n# no id\n\nb b\n"}, {"-", "c\n"}, {"none", "\n"}};
    EXPECT_EQ(machine.parseGood({"ids", "@list", "@-", "@@x"}).queries[0].ids, (Texts{"a", "b b", "c", "@x"}));
    EXPECT_EQ(machine.parseGood({"stats", "--id", "@list", "d"}).queries[0].ids, (Texts{"a", "b b", "d"}));
    EXPECT_NE(machine.usageErrorOf({"ids", "@none"}).find("there is no id in \"none\""), std::string::npos);
    EXPECT_NE(machine.usageErrorOf({"ids", "@missing"}).find("\"missing\" cannot be read"), std::string::npos);
}

TEST(CommandLine, RefusesAnIdFileThatIsNoText) {
    Machine machine;
    machine.files = {{"nul", std::string("a\n# none\nb\0zzz\nc\n", 17)},
                     {"wide", std::string("\xFF\xFE"
                                          "a\0\n\0",
                                          6)}};
    EXPECT_EQ(machine.usageErrorOf({"ids", "@nul"}),
              "zulstat: line 3 of \"nul\" holds a NUL byte. Write it as plain text in UTF-8.");
    EXPECT_NE(machine.usageErrorOf({"stats", "--id", "@wide"}).find("line 1 of \"wide\""), std::string::npos);
    machine.files["-"] = std::string("\0", 1);
    EXPECT_NE(machine.usageErrorOf({"ids", "@-"}).find("line 1 of standard input"), std::string::npos);
}

TEST(CommandLine, SkipsTheByteOrderMarkOfAFile) {
    Machine machine;
    machine.files = {{"list",
                      "\xEF\xBB\xBF"
                      "a\nb\n"},
                     {"gateways",
                      "\xEF\xBB\xBF"
                      "east = e1\n"}};
    EXPECT_EQ(machine.parseGood({"ids", "@list"}).queries[0].ids, (Texts{"a", "b"}));
    EXPECT_EQ(machine.parseGood({"ids", "--config", "gateways"}).gateways[0].name, "east");
}

TEST(CommandLine, RefusesHostsThatCannotBe) {
    Machine machine;
    machine.files = {{"nul", std::string("a = h\nb = x\0y\n", 14)}, {"equals", "b=x=y\n"}};
    EXPECT_EQ(machine.usageErrorOf({"ids", "--config", "nul"}),
              "zulstat: line 2 of \"nul\" holds a NUL byte. Write it as plain text in UTF-8.");
    EXPECT_NE(machine.usageErrorOf({"ids", "--config", "equals"}).find("a host has no \"=\" in it"), std::string::npos);
}

TEST(CommandLine, ReadsStandardInputOnce) {
    Machine machine;
    machine.files = {{"-", "c\n"}};
    EXPECT_EQ(machine.usageErrorOf({"stats", "--id", "@-", "--group", "@-"}),
              "zulstat: @- stands for standard input, which can be read only once. Write it once.");
}

TEST(CommandLine, TakesADashForStandardOutput) {
    EXPECT_FALSE(parseGood({"groups", "--output", "-"}).outputFile.has_value());
    EXPECT_EQ(parseGood({"groups", "--output", "./-"}).outputFile, "./-");
}

TEST(CommandLine, RefusesIdsThatCannotStandInAList) {
    EXPECT_NE(usageErrorOf({"ids", "A", ""}).find("a group id must not be empty"), std::string::npos);
    EXPECT_NE(usageErrorOf({"ids", "A:B"}).find("the group id \"A:B\" contains \":\""), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--group", "A:B"}).find("the group id \"A:B\""), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--id", "x", "y:z"}).find("the statistic id \"y:z\""), std::string::npos);
    EXPECT_NE(usageErrorOf({"stats", "--id", ""}).find("a statistic id must not be empty"), std::string::npos);
    EXPECT_NE(usageErrorOf({"ids", std::string(32766, 'x')}).find("too long"), std::string::npos);
}

struct WrongUsage {
    Texts arguments;
    const char* message;
};

class WrongUsages : public ::testing::TestWithParam<WrongUsage> {};

TEST_P(WrongUsages, AreNamedWithTheirTrueReason) {
    EXPECT_EQ(usageErrorOf(GetParam().arguments), std::string("zulstat: ") + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    All, WrongUsages,
    ::testing::Values(
        WrongUsage{{}, "a command is missing: groups, ids, stats, watch, check, ping, doctor, dump or completion."},
        WrongUsage{{"grops"}, "there is no command \"grops\". Did you mean \"groups\"?"},
        WrongUsage{{"groups", "surplus"}, "\"groups\" takes no argument, but there is \"surplus\"."},
        WrongUsage{{"--port", "0", "groups"}, "--port: \"0\" is no number from 1 to 65535."},
        WrongUsage{{"--port", "65536", "groups"}, "--port: \"65536\" is no number from 1 to 65535."},
        WrongUsage{{"--port", "abc", "groups"}, "--port: \"abc\" is no number from 1 to 65535."},
        WrongUsage{{"--host", "", "groups"}, "--host must not be empty."},
        WrongUsage{{"--host"},
                   "--host needs a HOST, but none follows. One that begins with \"-\" is written --host=HOST."},
        WrongUsage{{"--host", "--port", "1", "groups"},
                   "--host needs a HOST, but none follows. One that begins with \"-\" is written --host=HOST."},
        WrongUsage{{"stats", "--group", "--format", "json"},
                   "--group needs at least one GROUP, but none follows. One that begins with \"-\" is written "
                   "--group=GROUP."},
        WrongUsage{{"--format", "xml", "groups"},
                   "--format: there is no format \"xml\", only table, json, csv and openmetrics."},
        WrongUsage{{"--timeout", "-1", "groups"}, "--timeout: \"-1\" is no number of seconds from 0 to 86400."},
        WrongUsage{{"--timeout", "1e", "groups"}, "--timeout: \"1e\" is no number of seconds from 0 to 86400."},
        WrongUsage{{"--trace-level", "6", "groups"}, "--trace-level: \"6\" is no number from 0 to 5."},
        WrongUsage{{"--trace-file", "t", "groups"}, "--trace-file needs --trace-level, from 0 to 5, too."},
        WrongUsage{{"stats", "--gruop", "x"}, "there is no option \"--gruop\". Did you mean \"--group\"?"},
        WrongUsage{{"stats", "-x"}, "there is no option \"-x\"."},
        WrongUsage{{"stats", "--wide=yes"}, "--wide takes no value."},
        WrongUsage{{"groups", "--group", "x"}, "--group does not go with \"groups\"."},
        WrongUsage{{"stats", "--sort", "change"}, "--sort change goes with \"watch\" alone, which sees changes."},
        WrongUsage{{"groups", "-f", "openmetrics"},
                   "--format openmetrics goes with \"stats\" alone, which asks for values once."},
        WrongUsage{{"watch", "--until", "x"},
                   "--until: \"x\" is no condition. Write 'ID OP VALUE', as in 'pool.used < 10'; OP is = != < <= > or "
                   ">=, and sizes need a number."},
        WrongUsage{{"watch", "-n", "0"}, "--count: \"0\" is no number from 1 to 1000000000."},
        WrongUsage{{"watch", "-i", "0"}, "--interval: \"0\" is no number of seconds from 0.05 to 86400."},
        WrongUsage{{"dump"}, "\"dump\" needs one FILE."},
        WrongUsage{{"dump", "-"},
                   "\"dump\" writes to a file, not to standard output. Write ./- for a file of that name."},
        WrongUsage{{"stats", "--gr", "x"}, "there is no option \"--gr\". Did you mean \"--group\"?"},
        WrongUsage{{"stats", "--form", "json"}, "there is no option \"--form\". Did you mean \"--format\"?"},
        WrongUsage{{"--group", "memory", "stats"},
                   "a command is missing: \"stats\" was taken for a GROUP of --group. Write the command before it: "
                   "zulstat stats --group GROUP."},
        WrongUsage{{"--host", "check", "groups", "--bogus"}, "there is no option \"--bogus\"."},
        WrongUsage{{"stats", "--id", "a", "-x"},
                   "there is no option \"-x\". If it is meant as a value of --id, write --id=-x."},
        WrongUsage{{"stats", "--id=a", "-x"},
                   "there is no option \"-x\". If it is meant as a value of --id, write --id=-x."},
        WrongUsage{{"ids", "-x"}, "there is no option \"-x\". If it is meant as GROUP, write it behind \"--\"."}));

TEST(CommandLine, ReadsSelectionAndOrder) {
    const CommandLine commandLine =
        parseGood({"stats", "--match", "a*", "--match", "!ab", "--sort", "value", "--wide", "--no-header"});
    EXPECT_EQ(commandLine.selection.patterns, (Texts{"a*", "!ab"}));
    EXPECT_EQ(commandLine.selection.order, SortOrder::byValue);
    EXPECT_TRUE(commandLine.isWide);
    EXPECT_FALSE(commandLine.hasHeader);
}

TEST(CommandLine, ReadsACheck) {
    const CommandLine commandLine = parseGood(
        {"check", "a", "rate:b", "-w", "80", "-c", "rate:b=~:5", "-w", "a=-5:", "--ok-if-missing", "-i", "0.5"});
    EXPECT_EQ(commandLine.command, Command::check);
    ASSERT_EQ(commandLine.check.metrics.size(), 2U);
    EXPECT_TRUE(commandLine.check.metrics[1].isRate);
    EXPECT_EQ(commandLine.check.metrics[1].id, "b");
    EXPECT_EQ(commandLine.check.warnings.size(), 2U);
    EXPECT_EQ(commandLine.check.criticals.at(0).metric->id, "b");
    EXPECT_TRUE(commandLine.check.okIfMissing);
    ASSERT_EQ(commandLine.queries.size(), 1U);
    EXPECT_EQ(commandLine.queries[0].ids, (Texts{"a", "b"}));
}

TEST(CommandLine, ChecksAMetricThatIsNamedTwiceOnce) {
    EXPECT_EQ(parseGood({"check", "a", "rate:a", "a", "rate:a"}).check.metrics.size(), 2U);
}

TEST(CommandLine, EndsAWrongCheckAsUnknown) {
    for (const Texts& arguments : {Texts{"check"},
                                   {"check", "a", "-w", "x"},
                                   {"check", "a", "-w", "b=1"},
                                   {"check", "a", "--nonsense"},
                                   {"--nonsense", "check", "a"}}) {
        const auto parsed = Machine{}.parse(arguments);
        ASSERT_TRUE(std::holds_alternative<EarlyEnd>(parsed));
        EXPECT_EQ(std::get<EarlyEnd>(parsed).exitCode, 3);
        EXPECT_EQ(std::get<EarlyEnd>(parsed).standardOutput.find("UNKNOWN - "), 0U);
    }
}

std::string helpOf(const Texts& arguments) {
    const auto parsed = Machine{}.parse(arguments);
    const auto* const end = std::get_if<EarlyEnd>(&parsed);
    if (end == nullptr || end->exitCode != 0 || !end->standardError.empty()) {
        ADD_FAILURE() << "no help";
        return {};
    }
    return end->standardOutput;
}

std::string withoutLineBreaks(const std::string& text) {
    std::istringstream words(text);
    std::string joined;
    for (std::string word; words >> word;) {
        joined += word + " ";
    }
    return joined;
}

TEST(CommandLine, ShowsHelpWithDefaultsAndExitCodes) {
    for (const Texts& arguments : {Texts{"--help"}, Texts{"-h"}}) {
        const std::string help = withoutLineBreaks(helpOf(arguments));
        EXPECT_NE(help.find("(default: 2980)"), std::string::npos);
        EXPECT_NE(help.find("(default: 10, ping: 3)"), std::string::npos);
        EXPECT_NE(help.find("(default: 127.0.0.1)"), std::string::npos);
        EXPECT_NE(help.find(" 5 the output could not be written "), std::string::npos);
    }
}

TEST(CommandLine, ShowsHelpWithOptionsAndExamplesForEachCommand) {
    for (const zulstat::CommandEntry& command : zulstat::commandTable()) {
        const std::string name(command.name);
        const std::string help = helpOf({name, "--help"});
        EXPECT_NE(help.find("zulstat [OPTION...] " + name), std::string::npos) << help;
        EXPECT_NE(help.find("\nExamples:\n  zulstat " + name), std::string::npos) << help;
    }
    EXPECT_NE(helpOf({"ids", "A", "-h"}).find("[GROUP...]"), std::string::npos);
    EXPECT_EQ(helpOf({"groups", "--help"}).find("--group "), std::string::npos) << "an option of stats";
}

TEST(CommandLine, HelpOffersTheFormatsThatTheCommandTakesAlone) {
    const auto offers = [](const char* command) {
        const std::string help = withoutLineBreaks(helpOf({command, "--help"}));
        const size_t start = help.find("--format FORMAT ") + 16;
        return help.substr(start, help.find(" (default: table)") - start);
    };
    EXPECT_EQ(offers("stats"), "table, json, csv or openmetrics");
    for (const char* const command : {"groups", "ids", "watch"}) {
        EXPECT_EQ(offers(command), "table, json or csv");
    }
    for (const char* const command : {"ping", "doctor"}) {
        EXPECT_EQ(offers(command), "table or json");
    }
    EXPECT_EQ(offers("--help"), "table, json, csv (groups, ids, stats, watch) or openmetrics (stats)");
}

TEST(CommandLine, EveryFormatThatACommandTakesIsOneOfItsChoicesAndNoOther) {
    for (const zulstat::OptionEntry& option : zulstat::optionTable()) {
        if (option.option != zulstat::Option::format) {
            continue;
        }
        for (const char* const command : {"groups", "ids", "stats", "watch", "ping", "doctor"}) {
            const auto parsed = parseGood({command});
            const Texts choices = zulstat::choicesFor(parsed.command, option);
            for (const char* const format : {"table", "json", "csv", "openmetrics"}) {
                const bool isTaken = std::holds_alternative<CommandLine>(Machine{}.parse({command, "-f", format}));
                EXPECT_EQ(isTaken, std::count(choices.begin(), choices.end(), format) == 1) << command << " " << format;
            }
        }
    }
}

TEST(CommandLine, HelpShowsTheExitCodesOfTheCommandAlone) {
    const std::string ping = helpOf({"ping", "--help"});
    EXPECT_NE(ping.find("\n  4    something listens, but does not answer as a gateway"), std::string::npos) << ping;
    EXPECT_EQ(ping.find("query elements"), std::string::npos) << ping;
    EXPECT_NE(withoutLineBreaks(helpOf({"watch", "--help"})).find("or --count ended before --until held"),
              std::string::npos);
    EXPECT_NE(helpOf({"check", "--help"}).find("\n  3    UNKNOWN"), std::string::npos);
    EXPECT_NE(helpOf({"--help"}).find("check, ping and watch have their own"), std::string::npos);
    const std::string manual = zulstat::manualPage("1");
    EXPECT_NE(manual.find(".SS Of watch\n"), std::string::npos);
    EXPECT_NE(manual.find(".SS Of ping\n"), std::string::npos);
}

TEST(CommandLine, CompletionsOfferTheFormatsThatTheCommandTakesAlone) {
    const std::string bash = zulstat::completionScript(zulstat::Shell::bash);
    EXPECT_NE(bash.find("ping|doctor) _zulstat_words 'table json';;"), std::string::npos) << bash;
    const std::string zsh = zulstat::completionScript(zulstat::Shell::zsh);
    EXPECT_NE(zsh.find("groups|ids|watch) _zulstat_words 'table json csv';;"), std::string::npos) << zsh;
    const std::string fish = zulstat::completionScript(zulstat::Shell::fish);
    EXPECT_NE(fish.find("seen_subcommand_from stats' -l format -s f -x -a 'table json csv openmetrics'"),
              std::string::npos)
        << fish;
}

TEST(CommandLine, HelpFitsIntoALine) {
    std::vector<std::string> texts{helpOf({"--help"})};
    for (const zulstat::CommandEntry& command : zulstat::commandTable()) {
        texts.push_back(helpOf({std::string(command.name), "--help"}));
    }
    for (const std::string& text : texts) {
        for (size_t start = 0; start < text.size();) {
            const size_t end = text.find('\n', start);
            EXPECT_LE(end - start, 100U) << text.substr(start, end - start);
            start = end + 1;
        }
    }
}

TEST(CommandLine, EveryExampleOfTheHelpIsAGoodCommandLine) {
    for (const zulstat::CommandEntry& command : zulstat::commandTable()) {
        std::string_view examples = command.examples;
        while (!examples.empty()) {
            std::string line(examples.substr(0, examples.find('\n')));
            examples.remove_prefix(line.size() + 1);
            line = line.substr(0, std::min(line.find(" > "), line.find(" && ")));
            Texts arguments;
            for (size_t start = line.find(' ') + 1; start < line.size();) {
                const char quote = line[start] == '\'' ? '\'' : ' ';
                start += quote == '\'' ? 1 : 0;
                const size_t end = std::min(line.find(quote, start), line.size());
                arguments.push_back(line.substr(start, end - start));
                start = end + (quote == '\'' ? 2 : 1);
            }
            Machine machine;
            machine.files["groups.txt"] = "memory\n";
            EXPECT_TRUE(std::holds_alternative<CommandLine>(machine.parse(arguments))) << line;
        }
    }
}

TEST(CommandLine, ShowsTheVersion) {
    for (const char* const option : {"--version", "-v"}) {
        const auto parsed = Machine{}.parse({option});
        ASSERT_TRUE(std::holds_alternative<EarlyEnd>(parsed));
        EXPECT_EQ(std::get<EarlyEnd>(parsed).exitCode, 0);
        EXPECT_EQ(std::get<EarlyEnd>(parsed).standardOutput, "zulstat 1.2.3\n");
    }
}

}  // namespace
