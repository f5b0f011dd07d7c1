#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>

#include "conversation.h"
#include "payload_readers.h"
#include "temporary_file.h"

namespace sim_test {

namespace {

using test_support::FinishedProgram;
using test_support::GatewaySim;
using test_support::runGatewaySim;
using test_support::TemporaryFile;

// The path as a message shows it.
std::string shownPath(const std::string& path) {
    std::string text;
    for (const char character : path) {
        text += character == '\\' ? "\\\\" : std::string(1, character);
    }
    return "\"" + text + "\"";
}

struct BadContent {
    const char* name;
    std::string content;
    std::string message;
};

void PrintTo(const BadContent& bad, std::ostream* stream) {
    *stream << bad.name;
}

class BadCatalogue : public testing::TestWithParam<BadContent> {};

TEST_P(BadCatalogue, GivesOneLineAndExitCode2) {
    const TemporaryFile file(GetParam().content);
    const FinishedProgram program = runGatewaySim(withCatalogue(file.path()));
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardOutput, "");
    EXPECT_EQ(program.standardError,
              "gatewaysim: catalogue " + shownPath(file.path()) + ": " + GetParam().message + "\n");
}

std::string withName(const testing::TestParamInfo<BadContent>& tested) {
    return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Json, BadCatalogue,
    testing::Values(
        BadContent{"Empty", "",
                   "parse error at line 1, column 1: syntax error while parsing value - unexpected end of input; "
                   "expected '[', '{', or a literal"},
        BadContent{"CommaMissing", "{\"protocol\": \"1\"\n  \"groups\": []}",
                   "parse error at line 2, column 10: syntax error while parsing object - unexpected string literal; "
                   "expected '}'"},
        BadContent{"EndMissing", "{\"protocol\": \"1\",\n\n",
                   "parse error at line 3, column 1: syntax error while parsing object key - unexpected end of input; "
                   "expected string literal"},
        BadContent{"ControlCharacter", "{\"protocol\": \"\x1B\"}",
                   "parse error at line 1, column 15: syntax error while parsing value - invalid string: control "
                   "character U+001B (ESC) must be escaped to \\u001B; last read: '\"<U+001B>'"},
        BadContent{"NumberTooLarge", "{\"protocol\": 1e999}", "number overflow parsing '1e999'"},
        BadContent{"NoObject", "[]", "the catalogue is an array where an object belongs"}),
    withName);

std::string catalogueWith(const std::string& statistics) {
    return R"({"protocol": "1", "groups": ["g", "h"], "statistics": [)" + statistics + "]}";
}

INSTANTIATE_TEST_SUITE_P(
    Fields, BadCatalogue,
    testing::Values(
        BadContent{"ProtocolMissing", R"({"groups": [], "statistics": []})",
                   "the catalogue: field \"protocol\" is missing"},
        BadContent{"GroupsMissing", R"({"protocol": "1", "statistics": []})",
                   "the catalogue: field \"groups\" is missing"},
        BadContent{"StatisticsMissing", R"({"protocol": "1", "groups": []})",
                   "the catalogue: field \"statistics\" is missing"},
        BadContent{"UnknownField", R"({"protocol": "1", "groups": [], "statistics": [], "stats\u0007": 1})",
                   "the catalogue: unknown field \"stats\\x07\"; known here: protocol, groups, statistics"},
        BadContent{"FieldTwice", R"({"protocol": "1", "groups": [], "protocol": "2", "statistics": []})",
                   "the catalogue: field \"protocol\" stands twice"},
        BadContent{"ProtocolNoText", R"({"protocol": 1, "groups": [], "statistics": []})",
                   "the catalogue: field \"protocol\" is the number 1 where a text belongs"},
        BadContent{"ProtocolTooLong",
                   "{\"protocol\": \"" + std::string(65536, 'v') + "\", \"groups\": [], \"statistics\": []}",
                   "field \"protocol\" has 65536 bytes where at most 65535 are allowed"},
        BadContent{"GroupsNoArray", R"({"protocol": "1", "groups": {}, "statistics": []})",
                   "the catalogue: field \"groups\" is an object where an array belongs"},
        BadContent{"GroupNoText", R"({"protocol": "1", "groups": ["a", null], "statistics": []})",
                   "groups[1] is not a text"},
        BadContent{"GroupEmpty", R"({"protocol": "1", "groups": [""], "statistics": []})",
                   "groups[0]: the id is empty"},
        BadContent{"GroupWithColon", R"({"protocol": "1", "groups": ["a:b"], "statistics": []})",
                   "groups[0]: the id \"a:b\" contains \":\", which separates ids in a query"},
        BadContent{"GroupTooLong",
                   "{\"protocol\": \"1\", \"groups\": [\"" + std::string(65536, 'g') + "\"], \"statistics\": []}",
                   "groups[0]: the id has 65536 bytes where at most 65535 are allowed"},
        BadContent{"GroupTwice", R"({"protocol": "1", "groups": ["a", "a"], "statistics": []})",
                   "groups[1]: the id \"a\" already names a group"}),
    withName);

INSTANTIATE_TEST_SUITE_P(
    Statistics, BadCatalogue,
    testing::Values(
        BadContent{"NoObject", catalogueWith("3"), "statistics[0] is the number 3 where an object belongs"},
        BadContent{"IdMissing", catalogueWith(R"({"group": "g", "kind": "text", "text": "x"})"),
                   "statistics[0]: field \"id\" is missing"},
        BadContent{"IdTooLong",
                   catalogueWith("{\"id\": \"" + std::string(32764, 's') +
                                 "\", \"group\": \"g\", \"kind\": \"text\", \"text\": \"x\"}"),
                   "statistics[0]: the id has 32764 bytes where at most 32763 are allowed"},
        BadContent{"IdTwice", catalogueWith(R"({"id": "a", "group": "g", "kind": "text", "text": "x"},
                                    {"id": "a", "group": "h", "kind": "text", "text": "x"})"),
                   "statistics[1]: the id \"a\" already names a statistic"},
        BadContent{"IdOfAGroup", catalogueWith(R"({"id": "h", "group": "g", "kind": "text", "text": "x"})"),
                   "statistics[0]: the id \"h\" already names a group"},
        BadContent{"FieldTwice", catalogueWith(R"({"id": "a", "group": "g", "kind": "text", "text": "x"},
                                    {"id": "b", "group": "g", "kind": "text", "text": "x", "text": "y"})"),
                   "statistics[1]: field \"text\" stands twice"},
        BadContent{"GroupMissing", catalogueWith(R"({"id": "a", "kind": "text", "text": "x"})"),
                   "statistics[0] (\"a\"): field \"group\" is missing"},
        BadContent{"GroupUnknown", catalogueWith(R"({"id": "a", "group": "i", "kind": "text", "text": "x"})"),
                   "statistics[0] (\"a\"): the group \"i\" is not among \"groups\""},
        BadContent{"KindMissing", catalogueWith(R"({"id": "a", "group": "g", "text": "x"})"),
                   "statistics[0] (\"a\"): field \"kind\" is missing"},
        BadContent{"KindUnknown", catalogueWith(R"({"id": "a", "group": "g", "kind": "number"})"),
                   "statistics[0] (\"a\"): field \"kind\" is \"number\" where \"text\", \"counter\", \"gauge\", "
                   "\"clock\", \"sum\", \"rate\" or \"percent\" belongs"},
        BadContent{"FieldOfAnotherKind",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "counter", "start": 1, "rate": 1, "low": 1})"),
                   "statistics[0] (\"a\"): unknown field \"low\"; known here: id, group, code, kind, start, rate, lag"},
        BadContent{"TextTooLong",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "text", "text": "xy", "repeat": 16384})"),
                   "statistics[0] (\"a\"): the text has 32768 bytes where at most 32767 are allowed"},
        BadContent{"RepeatZero",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "text", "text": "xy", "repeat": 0})"),
                   "statistics[0] (\"a\"): field \"repeat\" is 0 where 1 to 32767 is allowed"},
        BadContent{"StartNegative",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "counter", "start": -1, "rate": 1})"),
                   "statistics[0] (\"a\"): field \"start\" is -1 where 0 to 1000000000000000 is allowed"},
        BadContent{"StartFraction",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "counter", "start": 1.5, "rate": 1})"),
                   "statistics[0] (\"a\"): field \"start\" is the number 1.5 where a whole number belongs"},
        BadContent{
            "StartTooLarge",
            catalogueWith(R"({"id": "a", "group": "g", "kind": "counter", "start": 18446744073709551615, "rate": 1})"),
            "statistics[0] (\"a\"): field \"start\" is 18446744073709551615 where 0 to 1000000000000000 is allowed"},
        BadContent{"RateNegative",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "counter", "start": 1, "rate": -0.5})"),
                   "statistics[0] (\"a\"): field \"rate\" is -0.5 where 0.0 to 1000000000.0 is allowed"},
        BadContent{"RateNoNumber",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "counter", "start": 1, "rate": true})"),
                   "statistics[0] (\"a\"): field \"rate\" is a boolean where a number belongs"},
        BadContent{"LowAboveHigh",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "gauge", "low": 2, "high": 1, "period": 5})"),
                   "statistics[0] (\"a\"): field \"low\" is above field \"high\""},
        BadContent{"PeriodZero",
                   catalogueWith(R"({"id": "a", "group": "g", "kind": "gauge", "low": 1, "high": 2, "period": 0})"),
                   "statistics[0] (\"a\"): field \"period\" is 0 where 1.0 to 1000000000.0 is allowed"},
        BadContent{
            "DecimalsTooMany",
            catalogueWith(
                R"({"id": "a", "group": "g", "kind": "gauge", "low": 1, "high": 2, "period": 5, "decimals": 7})"),
            "statistics[0] (\"a\"): field \"decimals\" is 7 where 0 to 6 is allowed"},
        BadContent{"ShowsUnknown", catalogueWith(R"({"id": "a", "group": "g", "kind": "clock", "shows": "then"})"),
                   "statistics[0] (\"a\"): field \"shows\" is \"then\" where \"now\" or \"start\" belongs"}),
    withName);

BadContent badCounter(const char* name, const std::string& fields, const std::string& message) {
    return {name, catalogueWith(R"({"id": "a", "group": "g", "kind": "counter", )" + fields + "}"),
            "statistics[0] (\"a\"): field \"lag\"" + message};
}

INSTANTIATE_TEST_SUITE_P(
    Lags, BadCatalogue,
    testing::Values(
        badCounter("NoObject", R"("start": 9, "rate": 1, "lag": 3)", " is the number 3 where an object belongs"),
        badCounter("UnknownField", R"("start": 9, "rate": 1, "lag": {"low": 1, "high": 2, "period": 9, "decimals": 1})",
                   ": unknown field \"decimals\"; known here: low, high, period"),
        badCounter("Negative", R"("start": 9, "rate": 1, "lag": {"low": -1, "high": 2, "period": 9})",
                   ": field \"low\" is -1 where 0.0 to 1e+15 is allowed"),
        badCounter("LowAboveHigh", R"("start": 9, "rate": 1, "lag": {"low": 3, "high": 2, "period": 9})",
                   ": field \"low\" is above field \"high\""),
        badCounter("BelowZero", R"("start": 9, "rate": 1, "lag": {"low": 1, "high": 9.5, "period": 9})",
                   " would take the value below 0: raise \"start\" to \"high\" at least"),
        badCounter("Falling", R"("start": 9, "rate": 1, "lag": {"low": 0, "high": 9, "period": 8.9})",
                   " would let the value fall: raise \"period\" until \"high\" less \"low\", divided by it, is "
                   "no more than \"rate\"")),
    withName);

constexpr const char* kNoNumber =
    ", which has a value that is no number up to 9000000000000000000 with at most 6 decimals; name a statistic whose "
    "value is one";
constexpr const char* kTooLarge =
    "its numbers can add up to more than 9000000000000000000 within a hundred years, beyond which they are not exact; "
    "name smaller ones, or counters of a lower rate";

// A statistic "a" of these fields, beside some that it may name.
BadContent badDerived(const char* name, const std::string& fields, const std::string& message) {
    return {name, catalogueWith(R"({"id": "a", "group": "g", "kind": )" + fields + R"(},
                {"id": "count", "group": "g", "kind": "counter", "start": 1, "rate": 1},
                {"id": "level", "group": "g", "kind": "gauge", "low": 1, "high": 2, "period": 5},
                {"id": "fast", "group": "g", "kind": "counter", "start": 0, "rate": 1000000000},
                {"id": "share", "group": "g", "kind": "percent", "part": "fast", "of": ["count"]},
                {"id": "largest", "group": "g", "kind": "text", "text": "9223372036854775807"},
                {"id": "digits", "group": "g", "kind": "text", "text": "9999999999999999999"},
                {"id": "word", "group": "g", "kind": "text", "text": "32 of them"},
                {"id": "time", "group": "g", "kind": "clock", "shows": "now"},
                {"id": "of a", "group": "g", "kind": "sum", "plus": ["a"]})"),
            "statistics[0] (\"a\"): " + message};
}

INSTANTIATE_TEST_SUITE_P(
    Derived, BadCatalogue,
    testing::Values(
        badDerived("PlusMissing", R"("sum", "minus": ["count"])", "field \"plus\" is missing"),
        badDerived("PlusEmpty", R"("sum", "plus": [])", "field \"plus\" has 0 elements where 1 to 1000 are allowed"),
        badDerived("PlusNoArray", R"("sum", "plus": "count")", "field \"plus\" is a text where an array belongs"),
        badDerived("PlusOfNull", R"("sum", "plus": ["count", null])",
                   "field \"plus\" has null where an id or a number belongs"),
        badDerived(
            "NumberTooFine", R"("sum", "plus": [0.12345678])",
            "field \"plus\" has the number 0.12345678 where one up to 9000000000000000000 with at most 6 decimals is "
            "allowed"),
        badDerived(
            "MinusUnknown", R"("sum", "plus": ["count"], "minus": ["other\u0007"])",
            "field \"minus\" names \"other\\x07\", which is not among \"statistics\"; correct the id, or add the "
            "statistic"),
        badDerived(
            "GroupForStatistic", R"("sum", "plus": ["g"])",
            "field \"plus\" names \"g\", which is not among \"statistics\"; correct the id, or add the statistic"),
        badDerived(
            "NumberTooLarge", R"("sum", "plus": [9999999999999999999])",
            "field \"plus\" has the number 9999999999999999999 where one up to 9000000000000000000 with at most 6 "
            "decimals is allowed"),
        badDerived("NoNumber", R"("sum", "plus": ["count", "word"])",
                   std::string("field \"plus\" names \"word\"") + kNoNumber),
        badDerived("NumberOfTooManyDigits", R"("sum", "plus": ["digits"])",
                   std::string("field \"plus\" names \"digits\"") + kNoNumber),
        badDerived("PercentOfAClock", R"("percent", "part": "count", "of": ["time"])",
                   std::string("field \"of\" names \"time\"") + kNoNumber),
        badDerived("LargestText", R"("sum", "plus": ["largest"])", kTooLarge),
        badDerived("SmallestText", R"("sum", "plus": [0], "minus": ["largest"])", kTooLarge),
        badDerived("TooLargeTogether", R"("sum", "plus": [4500000000000000000], "minus": [4500000000000100000])",
                   kTooLarge),
        badDerived("WholeTooLarge", R"("percent", "part": "count", "of": ["count", 9000000000000000000])", kTooLarge),
        badDerived("PartTooLarge", R"("percent", "part": "largest", "of": [100])", kTooLarge),
        badDerived("CountersThatGrowTooLarge", R"("sum", "plus": ["fast", "fast", "fast"])", kTooLarge),
        badDerived("PercentThatGrowsTooLarge", R"("sum", "plus": ["share"])", kTooLarge),
        badDerived("RateOfAText", R"("rate", "of": "largest")",
                   "field \"of\" names \"largest\", which has no rate; name a counter, or a sum of counters"),
        badDerived("PercentDecimalsTooMany", R"("percent", "part": "count", "of": [100], "decimals": 7)",
                   "field \"decimals\" is 7 where 0 to 6 is allowed"),
        badDerived("RateOfAGauge", R"("rate", "of": "level")",
                   "field \"of\" names \"level\", which has no rate; name a counter, or a sum of counters"),
        badDerived("RateNoText", R"("rate", "of": ["count"])", "field \"of\" is an array where a text belongs"),
        badDerived("Itself", R"("sum", "plus": ["count"], "minus": ["a"])",
                   "field \"minus\" names \"a\", which is the statistic itself; name another one"),
        badDerived("Circle", R"("percent", "part": "of a", "of": [100])",
                   "field \"part\" names \"of a\", which is made of this statistic in turn; break the circle at one of "
                   "them")),
    withName);

INSTANTIATE_TEST_SUITE_P(
    Codes, BadCatalogue,
    testing::Values(
        BadContent{"OfAStatisticTooLarge",
                   catalogueWith(R"({"id": "a", "group": "g", "code": 2147483648, "kind": "text", "text": "x"})"),
                   "statistics[0] (\"a\"): field \"code\" is 2147483648 where -2147483648 to 2147483647 is allowed"},
        BadContent{"OfAGroupNoNumber",
                   R"({"protocol": "1", "groups": ["g", {"id": "h", "code": "7"}], "statistics": []})",
                   "groups[1]: field \"code\" is a text where a whole number belongs"},
        BadContent{"OfAGroupWithoutId", R"({"protocol": "1", "groups": [{"code": 7}], "statistics": []})",
                   "groups[0]: field \"id\" is missing"},
        BadContent{"OfAGroupWithUnknownField",
                   R"({"protocol": "1", "groups": [{"id": "h", "rc": 7}], "statistics": []})",
                   "groups[0]: unknown field \"rc\"; known here: id, code"},
        BadContent{"OfAGroupTwice",
                   R"({"protocol": "1", "groups": ["g", {"id": "h", "code": 7, "code": 8}], "statistics": []})",
                   "groups[1]: field \"code\" stands twice"}),
    withName);

std::string sumOfTwice(int id, int part) {
    const std::string quoted = "\"" + std::to_string(part) + "\"";
    return ",\n{\"id\": \"" + std::to_string(id) + R"(", "group": "g", "kind": "sum", "plus": [)" + quoted + "," +
           quoted + "]}";
}

// A counter "0", and so many sums one on top of the other.
std::string tower(int sums) {
    std::string statistics = R"({"id": "0", "group": "g", "kind": "counter", "start": 1, "rate": 0})";
    for (int level = 1; level <= sums; ++level) {
        statistics += sumOfTwice(level, level - 1);
    }
    return catalogueWith(statistics);
}

TEST(Catalogue, SumsOfSumsAreEachMadeOnceHoweverOftenTheyAreNamed) {
    const TemporaryFile file(tower(32));
    const GatewaySim sim(withCatalogue(file.path()));
    Conversation conversation(sim);
    conversation.open();
    const std::vector<Response> responses = statisticsByPosition(conversation.query("GET_STATS", "32"));
    EXPECT_EQ(responses.at(0).statistics.at(0).second, "4294967296");
}

TEST(Catalogue, ATowerOfSumsHasABound) {
    for (const int sums : {33, 5000}) {
        const TemporaryFile file(tower(sums));
        const FinishedProgram program = runGatewaySim(withCatalogue(file.path()));
        EXPECT_EQ(program.exitCode, 2);
        EXPECT_EQ(program.standardError,
                  "gatewaysim: catalogue " + shownPath(file.path()) +
                      ": statistics[33] (\"33\"): field \"plus\" names \"32\", which goes through "
                      "more than 32 others; name what those are made of instead\n");
    }
}

TEST(Catalogue, ACircleOfManyIsFound) {
    constexpr int kMany = 5000;
    std::string statistics = R"({"id": "start", "group": "g", "kind": "text", "text": "x"})";
    for (int index = 0; index < kMany; ++index) {
        statistics += sumOfTwice(index, (index + 1) % kMany);
    }
    const TemporaryFile file(catalogueWith(statistics));
    const FinishedProgram program = runGatewaySim(withCatalogue(file.path()));
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_NE(program.standardError.find("which is made of this statistic in turn; break the circle at one of them\n"),
              std::string::npos)
        << program.standardError;
}

TEST(Catalogue, AFileThatIsNotThereIsNamed) {
    std::string path;
    {
        const TemporaryFile file("{}");
        path = file.path();
    }
    const FinishedProgram program = runGatewaySim(withCatalogue(path));
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardError,
              "gatewaysim: catalogue " + shownPath(path) + ": cannot open the file for reading\n");
}

TEST(Catalogue, AFolderIsNoCatalogue) {
    const FinishedProgram program = runGatewaySim(withCatalogue(std::filesystem::temp_directory_path().string()));
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardOutput, "");
    EXPECT_EQ(program.standardError.find("gatewaysim: catalogue "), 0U);
    EXPECT_EQ(std::count(program.standardError.begin(), program.standardError.end(), '\n'), 1);
}

TEST(Catalogue, AnOversizedFileIsRefused) {
    const TemporaryFile file(std::string((16U << 20) + 1, ' '));
    const FinishedProgram program = runGatewaySim(withCatalogue(file.path()));
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardError,
              "gatewaysim: catalogue " + shownPath(file.path()) + ": the file is larger than 16777216 bytes\n");
}

TEST(Catalogue, TheBuiltInOneIsPrintedAndMayBeGivenBack) {
    const FinishedProgram printed = runGatewaySim({"--print-catalogue"});
    EXPECT_EQ(printed.exitCode, 0);
    EXPECT_EQ(printed.standardError, "");
    const TemporaryFile file(printed.standardOutput);
    std::vector<std::string> arguments = withCatalogue(file.path());
    arguments.emplace_back("--print-catalogue");
    EXPECT_EQ(runGatewaySim(arguments).standardOutput, printed.standardOutput);
    const GatewaySim sim(withCatalogue(file.path()));
    Conversation conversation(sim);
    EXPECT_EQ(conversation.handshake().size(), 51U);
}

TEST(Catalogue, TheBuiltInOneIsLargeAndHasALongText) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.open();
    EXPECT_GE(idsByPosition(conversation.query("RESOURCE_GROUPS", "")).at(0).ids.size(), 8U);
    size_t statistics = 0;
    size_t longest = 0;
    for (const Response& response : statisticsByPosition(conversation.query("GET_STATS", ""))) {
        EXPECT_FALSE(response.statistics.empty()) << response.queryId;
        statistics += response.statistics.size();
        for (const auto& [id, value] : response.statistics) {
            longest = std::max(longest, value.size());
        }
    }
    EXPECT_GE(statistics, 120U);
    EXPECT_GT(longest, 1100U);
}

}  // namespace

}  // namespace sim_test
