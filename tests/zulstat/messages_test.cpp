#include "messages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using zulstat::AskedBy;
using zulstat::describeFailure;
using zulstat::describeQuery;
using zulstat::describeRemarks;
using zulstat::Failure;
using zulstat::formatAddress;
using zulstat::formatCode;
using zulstat::Gateway;
using zulstat::Query;
using zulstat::QueryKind;
using zulstat::Report;

Failure failureWithCode(Failure::Stage stage, int32_t code) {
    Failure failure;
    failure.stage = stage;
    failure.code = code;
    return failure;
}

TEST(FormatAddress, PutsAnAddressWithColonsBetweenBrackets) {
    EXPECT_EQ(formatAddress("127.0.0.1", 2980), "127.0.0.1:2980");
    EXPECT_EQ(formatAddress("::1", 1), "[::1]:1");
    EXPECT_EQ(formatAddress("[::1]", 1), "[::1]:1");
    EXPECT_EQ(formatAddress("a\nb", 1), "a\\nb:1");
}

TEST(FormatCode, GivesNameAndNumber) {
    EXPECT_EQ(formatCode(-102), "STAPI_RC_SOCKET_ERROR, -102");
    EXPECT_EQ(formatCode(-999), "code -999");
}

TEST(DescribeFailure, SaysOfARefusedConnectionWhereWhyAndWhatToTry) {
    EXPECT_EQ(describeFailure(failureWithCode(Failure::Stage::connecting, -135), Gateway{"", "127.0.0.1", 2980}),
              "cannot connect to 127.0.0.1:2980: connection refused (STAPI_RC_CONNECT_REFUSED, -135). "
              "Is the gateway running and listening on that port?");
}

TEST(DescribeFailure, SaysWhichQueryFailed) {
    Failure failure = failureWithCode(Failure::Stage::querying, -102);
    failure.query = Query{QueryKind::statistics, AskedBy::group, {"A"}};
    EXPECT_EQ(describeFailure(failure, Gateway{"", "gateway1", 7}),
              "the query for statistics by group at gateway1:7 failed: the connection was lost "
              "(STAPI_RC_SOCKET_ERROR, -102). Is the gateway still running? Run the command again.");
}

TEST(DescribeFailure, SaysWhichAnswerCannotBeRead) {
    Failure failure = failureWithCode(Failure::Stage::reading, -119);
    failure.query = Query{QueryKind::statisticIds, AskedBy::all, {}};
    const std::string text = describeFailure(failure, Gateway{"", "gateway1", 7});
    EXPECT_EQ(text.find("the answer to the query for statistic ids at gateway1:7 cannot be read: "), 0U) << text;
}

TEST(DescribeFailure, TellsTheReasonWhereThereIsNoCode) {
    Failure failure;
    failure.reason = "no answer within 3 s";
    failure.advice = "Wait longer.";
    EXPECT_EQ(describeFailure(failure, Gateway{"", "gateway1", 7}),
              "cannot connect to gateway1:7: no answer within 3 s. Wait longer.");
}

TEST(DescribeFailure, DoesNotHideACodeThatItDoesNotKnow) {
    const std::string text =
        describeFailure(failureWithCode(Failure::Stage::connecting, -999), Gateway{"", "gateway1", 7});
    EXPECT_NE(text.find("(code -999)"), std::string::npos) << text;
}

TEST(DescribeQuery, NamesKindAndSelection) {
    EXPECT_EQ(describeQuery({QueryKind::resourceGroups, AskedBy::all, {}}), "resource groups");
    EXPECT_EQ(describeQuery({QueryKind::statisticIds, AskedBy::group, {}}), "statistic ids by group");
    EXPECT_EQ(describeQuery({QueryKind::statistics, AskedBy::statisticId, {}}), "statistics by statistic id");
}

class Remarks : public ::testing::Test {
  protected:
    Remarks() {
        report_.gateway = {"", "gateway1", 7};
        report_.results.push_back({});
    }
    Report report_;
};

TEST_F(Remarks, SayThatAnAnswerWasEmpty) {
    EXPECT_EQ(describeRemarks(report_), (std::vector<std::string>{"gateway1:7 reports no resource groups."}));
    report_.results[0].elements.push_back({"", 0, {}});
    EXPECT_EQ(describeRemarks(report_).size(), 1U) << "an element without text and entries says nothing either";
}

TEST_F(Remarks, SayNothingOfAnInterruptedAnswer) {
    report_.failure = Failure{};
    EXPECT_TRUE(describeRemarks(report_).empty());
}

TEST_F(Remarks, SayNothingOfOrdinaryAndFailedElements) {
    report_.results[0].elements = {{"A", 0, {{"x", ""}}}, {"B", -5, {}}, {"C", 0, {}}};
    EXPECT_TRUE(describeRemarks(report_).empty());
}

TEST_F(Remarks, TellACodeAboveZero) {
    report_.results[0].elements = {{"A\n", 4, {{"x", ""}}}};
    EXPECT_EQ(describeRemarks(report_),
              (std::vector<std::string>{"note: the gateway answered the query element \"A\\n\" with code 4."}));
}

}  // namespace
