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
    double value;
    bool alerts;
};

class Ranges : public ::testing::TestWithParam<RangeCase> {};

TEST_P(Ranges, AlertAsMonitoringPluginsDo) {
    const auto range = parseRange(GetParam().range);
    ASSERT_TRUE(range.has_value());
    EXPECT_EQ(range->alerts(GetParam().value), GetParam().alerts);
}

INSTANTIATE_TEST_SUITE_P(All, Ranges,
                         ::testing::Values(RangeCase{"10", 10, false}, RangeCase{"10", 10.1, true},
                                           RangeCase{"10", -1, true}, RangeCase{"10:", 9, true},
                                           RangeCase{"10:", 1e9, false}, RangeCase{"~:10", -1e9, false},
                                           RangeCase{"~:10", 11, true}, RangeCase{"10:20", 15, false},
                                           RangeCase{"10:20", 21, true}, RangeCase{"@10:20", 10, true},
                                           RangeCase{"@10:20", 9, false}, RangeCase{"-5:5", -5, false}));

TEST(ParseRange, RefusesWhatIsNone) {
    for (const char* const text : {"", "@", "a", "20:10", "1:2:3", "5:~", "~"}) {
        EXPECT_FALSE(parseRange(text)) << text;
    }
}

Report reportOf(std::vector<zulstat::Entry> entries, double seconds = 0) {
    Report report;
    report.gateway = {"", "gateway1", 7};
    report.startedAt = std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(std::chrono::duration<double>(seconds)));
    report.results.push_back({{QueryKind::statistics, AskedBy::statisticId, {}}, {{"x", 0, std::move(entries)}}});
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
