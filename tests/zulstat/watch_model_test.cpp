#include "watch_model.h"

#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "text_escape.h"
#include "watch_output.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using zulstat::AskedBy;
using zulstat::Element;
using zulstat::Entry;
using zulstat::QueryKind;
using zulstat::Report;
using zulstat::Selection;
using zulstat::SortOrder;
using zulstat::sparkline;
using zulstat::WatchModel;
using zulstat::WatchRow;
using zulstat::WatchView;

const std::chrono::system_clock::time_point kStart{milliseconds(1700000000000)};

// One gateway whose samples come a second apart.
class OneGateway {
  public:
    explicit OneGateway(std::vector<std::string> counters = {}, Selection selection = {})
        : model({{"", "gateway1", 7}}, std::move(counters), std::move(selection)) {}

    void sample(std::vector<Entry> entries) {
        sampleElements({{"A", 0, std::move(entries)}});
    }
    void sampleElements(std::vector<Element> elements) {
        Report report;
        report.startedAt = kStart + seconds(second_);
        report.results.push_back({{QueryKind::statistics, AskedBy::group, {}},
                                  std::move(elements),
                                  std::chrono::steady_clock::time_point(seconds(second_))});
        model.addSample(0, report);
        ++second_;
    }
    void lose(const std::string& reason) {
        model.markDown(0, reason, kStart + seconds(second_++), milliseconds(7));
    }
    const WatchRow& row(size_t index = 0) const {
        return *model.rowsOf(0).at(index);
    }

    WatchModel model;

  private:
    int second_ = 0;
};

TEST(WatchModel, KnowsNoChangeAtFirst) {
    OneGateway gateway;
    gateway.sample({{"a", "5"}});
    EXPECT_FALSE(gateway.row().change);
    EXPECT_FALSE(gateway.row().rate);
}

TEST(WatchModel, ShowsTheChangeOfAValueAndTheRateOfACounter) {
    OneGateway gateway({"c*"});
    gateway.sample({{"a", "5"}, {"c", "100"}});
    gateway.sample({{"a", "3"}, {"c", "150"}});
    EXPECT_EQ(gateway.row(0).change, -2);
    EXPECT_FALSE(gateway.row(0).rate);
    EXPECT_FALSE(gateway.row(0).isReset);
    EXPECT_EQ(gateway.row(1).change, 50);
    EXPECT_EQ(gateway.row(1).rate, 50);
}

TEST(WatchModel, TakesACounterThatFellForReset) {
    OneGateway gateway({"c*"});
    gateway.sample({{"c", "100"}});
    gateway.sample({{"c", "7"}});
    EXPECT_TRUE(gateway.row().isReset);
    EXPECT_FALSE(gateway.row().rate);
    gateway.sample({{"c", "9"}});
    EXPECT_FALSE(gateway.row().isReset);
    EXPECT_EQ(gateway.row().rate, 2);
}

// Two queries of one sample, of which the second is answered late: what it answers is as old as its answer.
TEST(WatchModel, ReckonsRatesWithTheTimeOfEachAnswer) {
    OneGateway gateway({"*"});
    const auto sample = [&](const char* first, int firstSecond, const char* second, int secondSecond) {
        const auto at = [](int moment) { return std::chrono::steady_clock::time_point(seconds(moment)); };
        Report report;
        report.results.push_back(
            {{QueryKind::statistics, AskedBy::group, {}}, {{"A", 0, {{"a", first}}}}, at(firstSecond)});
        report.results.push_back(
            {{QueryKind::statistics, AskedBy::group, {}}, {{"B", 0, {{"b", second}}}}, at(secondSecond)});
        gateway.model.addSample(0, report);
    };
    sample("0", 0, "0", 0);
    sample("1000", 1, "5000", 5);
    EXPECT_EQ(gateway.row(0).rate, 1000);
    EXPECT_EQ(gateway.row(1).rate, 1000);
}

TEST(WatchModel, ComparesEachOfSeveralEqualIdsWithItself) {
    OneGateway gateway;
    gateway.sample({{"a", "2"}, {"a", "5"}});
    gateway.sample({{"a", "2"}, {"a", "7"}});
    EXPECT_EQ(gateway.row(0).change, 0);
    EXPECT_EQ(gateway.row(1).change, 2);
}

TEST(WatchModel, KnowsTheChangeOfGreatWholeNumbersToTheLastDigit) {
    OneGateway gateway({"c"});
    gateway.sample({{"c", "9007199254740992"}});
    gateway.sample({{"c", "9007199254740993"}});
    EXPECT_EQ(gateway.row().change, 1);
    EXPECT_EQ(gateway.row().rate, 1);
    EXPECT_EQ(nlohmann::json::parse(watchJson(gateway.model, 0))["statistics"][0]["change"], 1);
    gateway.sample({{"c", "18446744073709551615"}});
    EXPECT_NE(watchJson(gateway.model, 0).find("\"change\":18437736874454810622,"), std::string::npos);
    EXPECT_NE(watchCsv(gateway.model, 0, false).find(",18437736874454810622,"), std::string::npos);
}

TEST(WatchModel, ShowsNoChangeThatRoundingHasMade) {
    struct Step {
        std::string before;
        std::string after;
    };
    for (const Step& step : {Step{"18446744073709551616", "18446744073709551617"},
                             {"18446744073709551616", "18446744073709555712"},
                             {"9007199254740993.5", "9007199254740994.5"},
                             {"1e300", "1.0000000000000001e300"}}) {
        OneGateway gateway({"c"});
        gateway.sample({{"c", step.before}});
        gateway.sample({{"c", step.after}});
        EXPECT_FALSE(gateway.row().change) << step.after;
        EXPECT_FALSE(gateway.row().rate) << step.after;
        EXPECT_FALSE(gateway.row().isReset) << step.after;
        gateway.sample({{"c", step.before}});
        EXPECT_FALSE(gateway.row().change) << step.after;
        EXPECT_TRUE(gateway.row().isReset) << step.after;
    }
}

TEST(WatchModel, ShowsTheChangeOfLongNumbersThatRoundingDoesNotHide) {
    OneGateway gateway({"c"});
    gateway.sample({{"c", "18446744073709551616"}});
    gateway.sample({{"c", "18446744073709551616.0"}});
    EXPECT_EQ(gateway.row().change, 0);
    EXPECT_EQ(gateway.row().rate, 0);
    gateway.sample({{"c", "36893488147419103232"}});
    EXPECT_EQ(gateway.row().change, 18446744073709551616.0);
    gateway.sample({{"c", "0.1"}});
    gateway.sample({{"c", "0.3"}});
    EXPECT_NEAR(gateway.row().change.value_or(0), 0.2, 1e-15);
}

TEST(WatchModel, TakesWhatIsInfiniteForNoChangeAndNoRate) {
    OneGateway gateway({"c"});
    gateway.sample({{"c", "-1e308"}});
    gateway.sample({{"c", "1.7e308"}});
    EXPECT_FALSE(gateway.row().change);
    EXPECT_FALSE(gateway.row().rate);
}

TEST(WatchModel, KeepsWhatFailedAmongWhatIsSelected) {
    OneGateway gateway({}, {{"a*"}, SortOrder::asAnswered});
    gateway.sampleElements({{"A", 0, {{"a", "1"}, {"b", "2"}}}, {"nowhere", -5, {}}});
    ASSERT_EQ(gateway.model.rowsOf(0).size(), 2U);
    EXPECT_EQ(gateway.row(0).id, "a");
    EXPECT_EQ(gateway.row(1).element, "nowhere");
}

TEST(WatchModel, NotesThatNothingIsSelected) {
    OneGateway gateway({}, {{"x*"}, SortOrder::asAnswered});
    gateway.sample({});
    EXPECT_EQ(gateway.model.gateways()[0].note, "") << "there is nothing to select from";
    gateway.sample({{"a", "1"}});
    EXPECT_EQ(gateway.model.gateways()[0].note, "no id of gateway1:7 matches --match.");
}

TEST(WatchModel, NotesThatTheAwaitedStatisticIsMissing) {
    OneGateway gateway;
    gateway.model.awaitStatistic("queue.size");
    gateway.sample({{"queue.siez", "1"}});
    EXPECT_EQ(gateway.model.gateways()[0].note,
              "--until waits for \"queue.size\", which is not among what is watched of gateway1:7. Did you mean "
              "\"queue.siez\"?");
    gateway.sample({{"other", "1"}});
    EXPECT_TRUE(gateway.model.gateways()[0].note.ends_with("Is the id right, and asked for?"));
    gateway.sample({{"queue.size", "1"}});
    EXPECT_EQ(gateway.model.gateways()[0].note, "");
}

TEST(WatchModel, GoesOnWithAGapAfterTheGatewayWasDown) {
    OneGateway gateway({"c*"});
    gateway.sample({{"a", "1"}, {"c", "100"}});
    gateway.lose("refused");
    EXPECT_FALSE(gateway.model.gateways()[0].isUp);
    EXPECT_EQ(gateway.row().value, "1") << "the last value stays to be seen";
    gateway.sample({{"a", "2"}, {"c", "200"}});
    EXPECT_TRUE(gateway.model.gateways()[0].isUp);
    ASSERT_EQ(gateway.row().history.size(), 3U);
    EXPECT_FALSE(gateway.row().history[1].has_value());
    EXPECT_EQ(gateway.row(1).rate, 50) << "over the two seconds since the last value";
}

TEST(WatchModel, RemembersSinceWhenAGatewayIsDown) {
    OneGateway gateway;
    gateway.lose("first");
    gateway.lose("second");
    EXPECT_EQ(gateway.model.gateways()[0].since, kStart);
    EXPECT_EQ(gateway.model.gateways()[0].reason, "second");
}

TEST(WatchModel, FollowsNoTextsAndForgetsWhatIsGone) {
    OneGateway gateway;
    gateway.sample({{"a", "x"}, {"b", "1"}});
    gateway.sample({{"a", "y"}});
    EXPECT_EQ(gateway.model.rowsOf(0).size(), 1U);
    EXPECT_FALSE(gateway.row().change);
}

TEST(WatchModel, KeepsABoundedHistory) {
    OneGateway gateway;
    for (int count = 0; count < 200; ++count) {
        gateway.sample({{"a", std::to_string(count)}});
    }
    EXPECT_EQ(gateway.row().history.size(), 60U);
}

TEST(WatchModel, SortsByTheSizeOfTheChange) {
    OneGateway gateway({}, {{}, SortOrder::byChange});
    gateway.sample({{"a", "1"}, {"b", "1"}, {"c", "x"}});
    gateway.sample({{"a", "2"}, {"b", "-9"}, {"c", "x"}});
    EXPECT_EQ(gateway.row(0).id, "b");
    EXPECT_EQ(gateway.row(1).id, "a");
    EXPECT_EQ(gateway.row(2).id, "c");
}

TEST(Sparkline, ShowsHeightsAndGaps) {
    EXPECT_EQ(sparkline({0, 7, std::nullopt, 3.5}, 10), "\xE2\x96\x81\xE2\x96\x88 \xE2\x96\x85");
    EXPECT_EQ(sparkline({5, 5}, 10), "\xE2\x96\x81\xE2\x96\x81");
    EXPECT_EQ(sparkline({1, 2, 3}, 1), "\xE2\x96\x81") << "the last ones";
    EXPECT_EQ(sparkline({-1e308, 1e308}, 2), "\xE2\x96\x81\xE2\x96\x88");
    EXPECT_EQ(sparkline({}, 5), "");
}

WatchView viewOf(size_t columns, size_t rows) {
    WatchView view;
    view.columns = columns;
    view.rows = rows;
    view.withColour = false;
    view.interval = milliseconds(2000);
    view.now = kStart;
    return view;
}

TEST(WatchScreen, ShowsStateStatisticsAndKeys) {
    OneGateway gateway({"c"});
    gateway.sample({{"a", "text"}, {"c", "100"}});
    gateway.sample({{"a", "text"}, {"c", "150"}});
    EXPECT_EQ(watchScreen(gateway.model, viewOf(80, 6)),
              (std::vector<std::string>{"22:13:20Z  gateway1:7 is up, every 2 s",
                                        "QUERY  STATISTIC  VALUE  CHANGE  RATE/s  HISTORY", "A      a          text",
                                        "A      c            150     +50      50   \xE2\x96\x81", "",
                                        "q quit  p pause  / filter  arrows scroll   1-2 of 2"}));
}

TEST(WatchScreen, SaysWhatIsDownSinceWhenAndWhy) {
    OneGateway gateway;
    gateway.sample({{"a", "1"}});
    gateway.lose("connection refused.");
    gateway.model.setNextTry(0, kStart + seconds(4));
    const auto lines = watchScreen(gateway.model, viewOf(100, 5));
    EXPECT_EQ(lines[0], "22:13:20Z  gateway1:7 is down, every 2 s");
    EXPECT_EQ(lines[1], "gateway1:7 is down since 22:13:21Z, next try in 4 s: connection refused.");
    EXPECT_EQ(lines[3], "A      a              1                  \xE2\x96\x81");
}

TEST(WatchScreen, NeverLeavesTheTerminalWhateverItsSizeAndTheTexts) {
    OneGateway gateway;
    gateway.sample({{"\x1B[2J" + std::string(300, 'x'), "\xE6\x97\xA5" + std::string(300, 'y') + "\n"},
                    {"b", "123456789012345678901234567890"}});
    gateway.lose(std::string(500, 'z'));
    for (size_t columns = 1; columns < 200; columns += 7) {
        for (size_t rows = 1; rows < 12; ++rows) {
            const auto lines = watchScreen(gateway.model, viewOf(columns, rows));
            EXPECT_EQ(lines.size(), rows);
            for (const std::string& line : lines) {
                EXPECT_LE(zulstat::displayWidth(line), columns) << line;
                EXPECT_EQ(line.find('\x1B'), std::string::npos);
                EXPECT_EQ(line.find('\n'), std::string::npos);
            }
        }
    }
}

TEST(WatchScreen, ScrollsAndFilters) {
    OneGateway gateway;
    std::vector<Entry> entries;
    for (int number = 10; number < 40; ++number) {
        entries.push_back({"id" + std::to_string(number), "1"});
    }
    gateway.sample(entries);
    WatchView view = viewOf(80, 8);
    view.firstRow = 3;
    auto lines = watchScreen(gateway.model, view);
    EXPECT_NE(lines[2].find("id13"), std::string::npos);
    EXPECT_NE(lines.back().find("4-8 of 30"), std::string::npos);
    EXPECT_EQ(watchExtent(gateway.model, view).page, 5U);
    view.firstRow = 0;
    view.filter = "25";
    lines = watchScreen(gateway.model, view);
    EXPECT_NE(lines[2].find("id25"), std::string::npos);
    EXPECT_NE(lines.back().find("1-1 of 1   filter: 25"), std::string::npos);
}

TEST(WatchScreen, KeepsRoomForStatisticsWhenManyGatewaysAreDown) {
    std::vector<zulstat::Gateway> gateways;
    for (int number = 0; number < 31; ++number) {
        gateways.push_back({"gateway" + std::to_string(number), "h", 1});
    }
    WatchModel model(gateways, {}, {});
    for (size_t number = 1; number < 31; ++number) {
        model.markDown(number, "refused.", kStart, milliseconds(1));
    }
    Report report;
    for (int number = 10; number < 40; ++number) {
        report.results.push_back(
            {{QueryKind::statistics, AskedBy::group, {}}, {{"A", 0, {{"id" + std::to_string(number), "1"}}}}});
    }
    model.addSample(0, report);
    WatchView view = viewOf(80, 24);
    auto lines = watchScreen(model, view);
    ASSERT_EQ(lines.size(), 24U);
    EXPECT_EQ(lines[10], "and 21 more gateways are down or need a look; --format json tells all");
    EXPECT_NE(lines[12].find("id10"), std::string::npos);
    EXPECT_NE(lines[23].find("1-11 of 30"), std::string::npos);
    view.firstRow = watchExtent(model, view).lastFirstRow;
    lines = watchScreen(model, view);
    EXPECT_NE(lines[22].find("id39"), std::string::npos);
    EXPECT_NE(lines[23].find("20-30 of 30"), std::string::npos);
}

TEST(WatchScreen, ShowsLongValuesWholeOnLinesOfTheirOwnWhenWide) {
    OneGateway gateway;
    const std::string value = std::string(60, 'x') + "\xE6\x97\xA5" + std::string(60, 'y');
    gateway.sample({{"a", "1"}, {"b", value}, {"c", "2"}});
    WatchView view = viewOf(60, 12);
    EXPECT_EQ(watchScreen(gateway.model, view)[4].find("c"), 7U);
    view.isWide = true;
    const auto lines = watchScreen(gateway.model, view);
    std::string whole;
    for (size_t line = 4; line < 7; ++line) {
        EXPECT_LE(zulstat::displayWidth(lines[line]), 60U);
        EXPECT_EQ(lines[line].find_first_not_of(' '), 2U);
        whole += lines[line].substr(2);
    }
    EXPECT_EQ(whole, value);
    EXPECT_EQ(lines[7].find("c"), 7U);
    EXPECT_NE(lines.back().find("1-3 of 3"), std::string::npos);
}

TEST(WatchScreen, ScrollsOverLongValuesToTheLastOne) {
    OneGateway gateway;
    gateway.sample({{"a", std::string(200, 'x')}, {"b", std::string(200, 'x')}, {"c", std::string(200, 'x')}});
    WatchView view = viewOf(40, 12);
    view.isWide = true;
    EXPECT_EQ(watchExtent(gateway.model, view).page, 1U);
    EXPECT_EQ(watchExtent(gateway.model, view).lastFirstRow, 2U);
    view.rows = 4;
    EXPECT_EQ(watchExtent(gateway.model, view).lastFirstRow, 2U) << "a value higher than the screen";
    EXPECT_EQ(watchScreen(gateway.model, view).size(), 4U);
}

TEST(WatchScreen, ShowsSmallRatesAndChanges) {
    OneGateway gateway({"c"});
    gateway.sample({{"a", "0.0008"}, {"c", "0"}});
    gateway.sample({{"a", "0.0012"}, {"c", "0.0004"}});
    const auto lines = watchScreen(gateway.model, viewOf(80, 6));
    EXPECT_NE(lines[2].find(" +0.0004 "), std::string::npos) << lines[2];
    EXPECT_NE(lines[3].find(" +0.0004  0.0004 "), std::string::npos) << lines[3];
}

TEST(WatchLines, AddAHeaderWhereTheColumnsChange) {
    OneGateway gateway;
    std::string header;
    gateway.sample({{"a", "1"}});
    EXPECT_EQ(watchLines(gateway.model, 0, &header),
              "TIME       QUERY  STATISTIC  VALUE  CHANGE  RATE/s  HISTORY\n"
              "22:13:20Z  A      a              1                  \xE2\x96\x81\n");
    gateway.sample({{"a", "2"}});
    EXPECT_EQ(watchLines(gateway.model, 0, &header),
              "22:13:21Z  A      a              2      +1          \xE2\x96\x81\xE2\x96\x88\n");
    gateway.lose("refused.");
    EXPECT_EQ(watchLines(gateway.model, 0, &header), "gateway1:7 is down since 22:13:22Z: refused.\n");
    EXPECT_EQ(watchLines(gateway.model, 0, nullptr).find("TIME"), std::string::npos);
}

TEST(WatchJson, IsOneDocumentOnOneLine) {
    OneGateway gateway({"c"});
    gateway.sample({{"c", "100"}});
    gateway.sample({{"c", "90"}});
    const std::string line = watchJson(gateway.model, 0);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    const auto document = nlohmann::json::parse(line);
    EXPECT_EQ(document["state"], "up");
    EXPECT_EQ(document["time"], "2023-11-14T22:13:21.000Z");
    EXPECT_EQ(document["statistics"][0], nlohmann::json::parse(R"({
        "element": "A", "id": "c", "value": "90", "counter": true, "reset": true, "change": -10.0, "rate": null})"));
}

TEST(WatchJson, TellsOfEveryFailedAttemptWhenItWasAndHowLongItTook) {
    OneGateway gateway;
    gateway.sample({{"a", "1"}});
    gateway.lose("refused.");
    gateway.lose("refused.");
    const auto document = nlohmann::json::parse(watchJson(gateway.model, 0));
    EXPECT_EQ(document["reason"], "refused.");
    EXPECT_EQ(document["time"], "2023-11-14T22:13:22.000Z");
    EXPECT_EQ(document["downSince"], "2023-11-14T22:13:21.000Z");
    EXPECT_EQ(document["durationMs"], 7);
}

TEST(WatchCsv, HasALineForEveryStatistic) {
    OneGateway gateway;
    gateway.sample({{"a,b", "1"}});
    EXPECT_EQ(watchCsv(gateway.model, 0, true),
              "time,gateway,state,element,code,id,value,change,rate,reset,reason\n"
              "2023-11-14T22:13:20.000Z,gateway1:7,up,A,0,\"a,b\",1,,,0,\n");
}

TEST(WatchCsv, TellsOfEveryFailedAttemptWhenItWasAndWhy) {
    OneGateway gateway;
    gateway.lose("first.");
    gateway.lose("second, and \"last\".");
    EXPECT_EQ(watchCsv(gateway.model, 0, false),
              "2023-11-14T22:13:21.000Z,gateway1:7,down,,,,,,,,\"second, and \"\"last\"\".\"\n");
}

}  // namespace
