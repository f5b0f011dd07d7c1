#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "command_table.h"
#include "csv_output.h"
#include "openmetrics_output.h"

namespace {

using zulstat::AskedBy;
using zulstat::Failure;
using zulstat::QueryKind;
using zulstat::renderCsv;
using zulstat::renderOpenMetrics;
using zulstat::Report;

Report report() {
    Report made;
    made.gateway = {"", "gateway1", 7};
    made.startedAt = std::chrono::system_clock::time_point(std::chrono::milliseconds(1700000000250));
    made.duration = std::chrono::milliseconds(12);
    made.results.push_back({{QueryKind::statistics, AskedBy::group, {"A", "B"}},
                            {{"A", 0, {{"a.one", "1"}, {"a,\"two\"", "x\ny"}}}, {"B", -5, {}}}});
    return made;
}

TEST(RenderCsv, HasALineForEveryEntryAndFailure) {
    EXPECT_EQ(renderCsv({report()}, true),
              "time,gateway,query,element,code,id,value\n"
              "2023-11-14T22:13:20.250Z,gateway1:7,group,A,0,a.one,1\n"
              "2023-11-14T22:13:20.250Z,gateway1:7,group,A,0,\"a,\"\"two\"\"\",x\\ny\n"
              "2023-11-14T22:13:20.250Z,gateway1:7,group,B,-5,,\n");
    EXPECT_EQ(renderCsv({}, false), "");
}

TEST(RenderCsv, NamesSeveralGateways) {
    Report east = report();
    east.gateway.name = "east, far";
    EXPECT_NE(renderCsv({east}, false).find(",\"east, far\",group,A,"), std::string::npos);
}

TEST(RenderOpenMetrics, HasOneFamilyForNumbersAndTellsWhetherTheGatewayIsUp) {
    EXPECT_EQ(renderOpenMetrics({report()}, false),
              "# HELP zulstat_up Whether the gateway answered all queries.\n"
              "# TYPE zulstat_up gauge\n"
              "zulstat_up{gateway=\"gateway1:7\"} 1\n"
              "# HELP zulstat_scrape_duration_seconds How long the gateway took, connecting included.\n"
              "# TYPE zulstat_scrape_duration_seconds gauge\n"
              "zulstat_scrape_duration_seconds{gateway=\"gateway1:7\"} 0.012\n"
              "# HELP zulstat_failed_elements Query elements that the gateway could not answer.\n"
              "# TYPE zulstat_failed_elements gauge\n"
              "zulstat_failed_elements{gateway=\"gateway1:7\"} 1\n"
              "# HELP zulstat_statistic Value of a statistic of a gateway that is a number.\n"
              "# TYPE zulstat_statistic gauge\n"
              "zulstat_statistic{gateway=\"gateway1:7\",element=\"A\",id=\"a.one\"} 1\n"
              "# EOF\n");
}

TEST(RenderOpenMetrics, HasTextsAsLabelsOnDemandEscapedTwice) {
    EXPECT_NE(renderOpenMetrics({report()}, true)
                  .find("zulstat_statistic_text{gateway=\"gateway1:7\",element=\"A\",id=\"a,\\\"two\\\"\","
                        "value=\"x\\\\ny\"} 1\n"),
              std::string::npos);
}

TEST(RenderOpenMetrics, HasNothingTwice) {
    Report twice = report();
    twice.results.push_back(twice.results[0]);
    const std::string text = renderOpenMetrics({twice}, false);
    EXPECT_EQ(text.find("a.one"), text.rfind("a.one"));
}

TEST(RenderOpenMetrics, NumbersEqualIdsOfOneElement) {
    Report made = report();
    made.results[0].elements = {{"A", 0, {{"a", "1"}, {"a", "2"}, {"b", "3"}, {"a", "x"}}}};
    made.results.push_back(made.results[0]);
    const std::string text = renderOpenMetrics({made}, true);
    const std::string start = "{gateway=\"gateway1:7\",element=\"A\",id=";
    EXPECT_NE(text.find("zulstat_statistic" + start + "\"a\"} 1\nzulstat_statistic" + start +
                        "\"a\",occurrence=\"2\"} 2\nzulstat_statistic" + start + "\"b\"} 3\n#"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("zulstat_statistic_text" + start + "\"a\",occurrence=\"3\",value=\"x\"} 1\n#"),
              std::string::npos)
        << text;
}

TEST(RenderOpenMetrics, NumbersTheIdsOfAnElementThatComesTwiceInAnAnswer) {
    Report made = report();
    made.results[0].elements = {{"A", 0, {{"a", "1"}}}, {"B", 0, {{"a", "2"}}}, {"A", 0, {{"a", "3"}}}};
    const std::string text = renderOpenMetrics({made}, false);
    const std::string start = "zulstat_statistic{gateway=\"gateway1:7\",element=";
    EXPECT_NE(text.find(start + "\"A\",id=\"a\"} 1\n" + start + "\"B\",id=\"a\"} 2\n" + start +
                        "\"A\",id=\"a\",occurrence=\"2\"} 3\n#"),
              std::string::npos)
        << text;
}

TEST(RenderOpenMetrics, SaysThatAGatewayIsDown) {
    Report down;
    down.gateway = {"east", "h", 1};
    down.failure = Failure{};
    EXPECT_NE(renderOpenMetrics({down}, false).find("zulstat_up{gateway=\"east\"} 0\n"), std::string::npos);
}

TEST(CompletionScripts, KnowEveryCommandAndOption) {
    for (const zulstat::Shell shell : {zulstat::Shell::bash, zulstat::Shell::zsh, zulstat::Shell::fish}) {
        const std::string script = completionScript(shell);
        for (const zulstat::CommandEntry& command : zulstat::commandTable()) {
            EXPECT_NE(script.find(command.name), std::string::npos) << command.name;
        }
        for (const zulstat::OptionEntry& option : zulstat::optionTable()) {
            EXPECT_NE(script.find(option.name.substr(2)), std::string::npos) << option.name;
        }
    }
}

TEST(ManualPage, KnowsEveryCommandAndOption) {
    const std::string page = zulstat::manualPage("1.2.3");
    EXPECT_EQ(page.find(".TH ZULSTAT 1"), 0U);
    for (const zulstat::CommandEntry& command : zulstat::commandTable()) {
        EXPECT_NE(page.find(".SS zulstat [OPTION...] " + std::string(command.name)), std::string::npos);
    }
    EXPECT_NE(page.find("\\-\\-no\\-header"), std::string::npos);
}

}  // namespace
