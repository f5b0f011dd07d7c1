#include "report_under_way.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using zulstat::Failure;
using zulstat::Gateway;
using zulstat::Query;
using zulstat::QueryKind;
using zulstat::Report;
using zulstat::ReportUnderWay;

TEST(ReportUnderWay, HandsOverWhatAnotherThreadTells) {
    ReportUnderWay underWay(Gateway{"", "gateway1", 7});
    std::thread talker([&] {
        underWay.connected("1.0");
        underWay.asking(Query{});
        underWay.addResult({Query{}, {{"A", 0, {}}}});
        underWay.answered();
        underWay.remarked();
        underWay.finished();
    });
    const Report report = underWay.waitForReport(milliseconds(0));
    EXPECT_TRUE(underWay.waitUntilFinished(seconds(60)));
    talker.join();
    EXPECT_EQ(report.gateway.host, "gateway1");
    EXPECT_EQ(report.gateway.port, 7);
    EXPECT_EQ(report.protocolVersion, "1.0");
    ASSERT_EQ(report.results.size(), 1U);
    EXPECT_FALSE(report.failure.has_value());
}

TEST(ReportUnderWay, WaitsForRemarksButDoesNotMissThem) {
    ReportUnderWay underWay(Gateway{"", "gateway1", 7});
    underWay.addResult({});
    underWay.answered();
    const Report withoutRemarks = underWay.waitForReport(milliseconds(0));
    EXPECT_FALSE(withoutRemarks.failure.has_value());
    EXPECT_EQ(withoutRemarks.results.size(), 1U);
    underWay.addSuggestion("a.on", "a.one");
    underWay.remarked();
    EXPECT_EQ(underWay.waitForReport(milliseconds(0)).suggestions.size(), 1U);
}

TEST(ReportUnderWay, SaysThatConnectingTookTooLong) {
    ReportUnderWay underWay(Gateway{"", "gateway1", 7});
    const Report report = underWay.waitForReport(milliseconds(500));
    ASSERT_TRUE(report.failure.has_value());
    EXPECT_EQ(report.failure->stage, Failure::Stage::connecting);
    EXPECT_FALSE(report.failure->code.has_value());
    EXPECT_EQ(report.failure->reason, "no answer within 0.5 s");
    EXPECT_FALSE(underWay.isAnswered());
}

TEST(ReportUnderWay, KeepsWhatWasAnsweredWhenAQueryTakesTooLong) {
    ReportUnderWay underWay(Gateway{"", "gateway1", 7});
    underWay.connected("1.0");
    underWay.addResult({});
    underWay.asking(Query{QueryKind::statistics, {}, {}});
    const Report report = underWay.waitForReport(milliseconds(500));
    ASSERT_TRUE(report.failure.has_value());
    EXPECT_EQ(report.failure->stage, Failure::Stage::querying);
    ASSERT_TRUE(report.failure->query.has_value());
    EXPECT_EQ(report.failure->query->kind, QueryKind::statistics);
    EXPECT_EQ(report.results.size(), 1U);
}

TEST(ReportUnderWay, DoesNotWaitForAnEndThatDoesNotCome) {
    ReportUnderWay underWay(Gateway{"", "gateway1", 7});
    underWay.answered();
    EXPECT_TRUE(underWay.isAnswered());
    EXPECT_FALSE(underWay.waitUntilFinished(seconds(0)));
}

TEST(ReportUnderWay, EndsAWaitThatIsInterruptedAndKeepsWhatWasAnswered) {
    ReportUnderWay underWay(Gateway{"", "gateway1", 7});
    underWay.addResult({});
    underWay.asking(Query{});
    std::thread user([&] { underWay.interrupt(); });
    const Report report = underWay.waitForReport(milliseconds(0));
    user.join();
    ASSERT_TRUE(report.failure.has_value());
    EXPECT_EQ(report.failure->kind, Failure::Kind::interrupted);
    EXPECT_EQ(report.results.size(), 1U);
}

}  // namespace
