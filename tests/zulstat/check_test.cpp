#include "check.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace {

using zulstat::AskedBy;
using zulstat::CheckRequest;
using zulstat::CheckResult;
using zulstat::evaluateCheck;
using zulstat::Failure;
using zulstat::parseRange;
using zulstat::QueryKind;
using zulstat::Report;
using zulstat::Reports;

struct RangeCase {
    const char* range;
    const char* value;
    bool alerts;
};

class Ranges : public ::testing::TestWithParam<RangeCase> {};

TEST_P(Ranges, AlertAsMonitoringPluginsDo) {
    const auto range = parseRange(GetParam().range);
    ASSERT_TRUE(range.has_value());
    EXPECT_EQ(range->alerts(GetParam().value), GetParam().alerts);
}

INSTANTIATE_TEST_SUITE_P(All, Ranges,
                         ::testing::Values(RangeCase{"10", "10", false}, RangeCase{"10", "10.1", true},
                                           RangeCase{"10", "-1", true}, RangeCase{"10:", "9", true},
                                           RangeCase{"10:", "1e9", false}, RangeCase{"~:10", "-1e9", false},
                                           RangeCase{"~:10", "11", true}, RangeCase{"10:20", "15", false},
                                           RangeCase{"10:20", "21", true}, RangeCase{"@10:20", "10", true},
                                           RangeCase{"@10:20", "9", false}, RangeCase{"-5:5", "-5", false},
                                           RangeCase{"9007199254740992", "9007199254740993", true},
                                           RangeCase{"9007199254740993", "9007199254740993", false}));

TEST(ParseRange, RefusesWhatIsNone) {
    for (const char* const text : {"", "@", "a", "20:10", "1:2:3", "5:~", "~"}) {
        EXPECT_FALSE(parseRange(text)) << text;
    }
}

Report reportOf(std::vector<zulstat::Entry> entries, double seconds = 0) {
    Report report;
    report.gateway = {"", "gateway1", 7};
    const std::chrono::steady_clock::time_point at(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds)));
    zulstat::QueryResult result{{QueryKind::statistics, AskedBy::statisticId, {}}, {}, at};
    for (zulstat::Entry& entry : entries) {
        const std::string id = entry.id;
        result.elements.push_back({id, 0, {std::move(entry)}});
    }
    report.results.push_back(std::move(result));
    return report;
}

CheckRequest requestFor(const std::vector<std::string>& metrics, const std::vector<std::string>& warnings = {},
                        const std::vector<std::string>& criticals = {}) {
    CheckRequest request;
    for (const std::string& metric : metrics) {
        request.metrics.push_back(zulstat::parseMetric(metric));
    }
    for (const std::string& text : warnings) {
        request.warnings.push_back(std::get<zulstat::Threshold>(zulstat::parseThreshold(text, request.metrics)));
    }
    for (const std::string& text : criticals) {
        request.criticals.push_back(std::get<zulstat::Threshold>(zulstat::parseThreshold(text, request.metrics)));
    }
    return request;
}

void expectResult(const CheckResult& result, int exitCode, const std::string& text) {
    EXPECT_EQ(result.exitCode, exitCode);
    EXPECT_EQ(result.text, text);
}

CheckResult check(const Report& report, const CheckRequest& request) {
    return evaluateCheck({report}, {report}, request);
}

TEST(Check, IsOkInsideTheRanges) {
    expectResult(check(reportOf({{"a", "5"}}), requestFor({"a"}, {"10"}, {"20"})), 0, "OK - a is 5 | 'a'=5;10;20\n");
}

TEST(Check, PrefersARangeOfItsOwn) {
    const CheckRequest request = requestFor({"a", "b"}, {"10", "b=3"});
    expectResult(check(reportOf({{"a", "5"}, {"b", "5"}}), request), 1,
                 "WARNING - b is 5 (good: 3), a is 5 | 'a'=5;10; 'b'=5;3;\n");
}

TEST(Check, TellsTheWorstFirst) {
    const CheckRequest request = requestFor({"a", "b"}, {"1"}, {"b=2"});
    expectResult(check(reportOf({{"a", "5"}, {"b", "5"}}), request), 2,
                 "CRITICAL - b is 5 (good: 2), a is 5 (good: 1) | 'a'=5;1; 'b'=5;1;2\n");
}

TEST(Check, IsUnknownWhereAStatisticIsMissingOrNoNumber) {
    expectResult(check(reportOf({{"a", "x|y"}}), requestFor({"a"})), 3, "UNKNOWN - a is no number: \"x/y\"\n");
    CheckRequest request = requestFor({"b"});
    expectResult(check(reportOf({}), request), 3, "UNKNOWN - b is missing\n");
    request.okIfMissing = true;
    expectResult(check(reportOf({}), request), 0, "OK - b is missing\n");
}

TEST(Check, IsCriticalWhereAGatewayDoesNotAnswer) {
    Report report;
    report.gateway = {"east", "gateway1", 7};
    report.failure = Failure{};
    report.failure->code = -135;
    const CheckResult result = check(report, requestFor({"a"}));
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.text.find("CRITICAL - cannot connect to east (gateway1:7): connection refused"), 0U);
}

TEST(Check, MeasuresRatesBetweenTwoSamples) {
    const CheckResult result = evaluateCheck({reportOf({{"a", "100"}})}, {reportOf({{"a", "150"}}, 2)},
                                             requestFor({"rate:a"}, {}, {"rate:a=20"}));
    expectResult(result, 2, "CRITICAL - a/s is 25 (good: 20) | 'a/s'=25;;20\n");
}

TEST(Check, MeasuresRatesByTheTimeOfTheAnswersAndNotByTheClockOfTheDay) {
    Report later = reportOf({{"a", "150"}}, 2);
    later.startedAt -= std::chrono::hours(1);
    expectResult(evaluateCheck({reportOf({{"a", "100"}})}, {later}, requestFor({"rate:a"})), 0,
                 "OK - a/s is 25 | 'a/s'=25;;\n");
}

TEST(Check, ShowsSmallRates) {
    const auto rateOf = [](const char* value, double seconds) {
        return evaluateCheck({reportOf({{"a", "0"}})}, {reportOf({{"a", value}}, seconds)}, requestFor({"rate:a"}))
            .text;
    };
    EXPECT_EQ(rateOf("0.0004", 1), "OK - a/s is 0.0004 | 'a/s'=0.0004;;\n");
    EXPECT_EQ(rateOf("1", 3000), "OK - a/s is 0.000333 | 'a/s'=0.000333;;\n");
    EXPECT_EQ(rateOf("1e-30", 1).find("OK - a/s is 0.000000000000000000000000000001 | 'a/s'=0.0000"), 0U);
    EXPECT_EQ(rateOf("1", 3), "OK - a/s is 0.333 | 'a/s'=0.333;;\n");
}

TEST(Check, HasNoRateThatIsInfinite) {
    const CheckResult result =
        evaluateCheck({reportOf({{"a", "-1e308"}})}, {reportOf({{"a", "1e308"}}, 1)}, requestFor({"rate:a"}));
    expectResult(result, 3, "UNKNOWN - a/s has no rate: it grew too fast, from -1e308 to 1e308\n");
}

TEST(Check, TakesNothingFromAnElementOfAnotherName) {
    Report report = reportOf({});
    report.results[0].elements = {{"a", -5, {}}, {"b", 0, {{"b", "1"}, {"a", "666"}}}};
    expectResult(check(report, requestFor({"a", "b"})), 3, "UNKNOWN - a is missing, b is 1 | 'b'=1;;\n");
}

TEST(Check, WritesNumbersAsPerformanceDataKnowsThem) {
    const Report report =
        reportOf({{"a", "+5"}, {"b", "5."}, {"c", ".5"}, {"d", "1e3"}, {"e", "-7.25"}, {"f", "9007199254740993"}});
    const std::string text = check(report, requestFor({"a", "b", "c", "d", "e", "f"})).text;
    EXPECT_EQ(text.substr(text.find('|')),
              "| 'a'=5;; 'b'=5;; 'c'=0.5;; 'd'=1000;; 'e'=-7.25;; 'f'=9007199254740993;;\n");
}

TEST(Check, GivesEveryMetricALabelOfItsOwn) {
    const std::string text = check(reportOf({{"p=q", "1"}, {"p_q", "2"}}), requestFor({"p=q", "p_q"})).text;
    EXPECT_EQ(text.substr(text.find('|')), "| 'p_q'=1;; 'p_q#2'=2;;\n");
}

TEST(Check, DoesNotBlameAGatewayForWhatThisMachineLacks) {
    Report report;
    report.gateway = {"east", "gateway1", 7};
    report.failure = Failure{};
    report.failure->kind = Failure::Kind::localLimit;
    report.failure->reason = "no thread can be started for it";
    const CheckResult result = check(report, requestFor({"a"}));
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.text.find("UNKNOWN - cannot connect to east (gateway1:7): no thread can be started for it"), 0U);
}

TEST(Check, MeasuresTheGrowthOfBigCountersExactly) {
    const CheckResult result = evaluateCheck({reportOf({{"a", "9007199254740992"}})},
                                             {reportOf({{"a", "9007199254740993"}}, 1)}, requestFor({"rate:a"}));
    expectResult(result, 0, "OK - a/s is 1 | 'a/s'=1;;\n");
}

TEST(Check, HasNoRateForAValueThatFell) {
    const CheckResult result =
        evaluateCheck({reportOf({{"a", "100"}})}, {reportOf({{"a", "50"}}, 1)}, requestFor({"rate:a"}));
    expectResult(result, 3, "UNKNOWN - a/s has no rate: the value fell from 100 to 50\n");
}

TEST(Check, NamesTheGatewayOfEachMetric) {
    Report east = reportOf({{"a", "5"}});
    east.gateway.name = "east";
    Report west = reportOf({{"a", "50"}});
    west.gateway.name = "west";
    expectResult(evaluateCheck({east, west}, {east, west}, requestFor({"a"}, {"10"})), 1,
                 "WARNING - west a is 50 (good: 10), east a is 5 | 'east a'=5;10; 'west a'=50;10;\n");
}

TEST(Check, KeepsHostileIdsInTheirLabel) {
    expectResult(check(reportOf({{"a'b=c|d\n", "5"}}), requestFor({"a'b=c|d\n"})), 0,
                 "OK - a'b=c/d\\n is 5 | 'a''b_c_d\\n'=5;;\n");
}

}  // namespace
