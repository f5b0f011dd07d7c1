#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>

#include "conversation.h"
#include "payload_readers.h"
#include "temporary_file.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;
using test_support::TemporaryFile;

constexpr const char* kCatalogue = R"({
    "protocol": "1",
    "groups": ["g"],
    "statistics": [
        {"id": "whole", "group": "g", "kind": "counter", "start": 7, "rate": 3},
        {"id": "slow", "group": "g", "kind": "counter", "start": 0, "rate": 0.25},
        {"id": "still", "group": "g", "kind": "counter", "start": 1000000000000000, "rate": 0},
        {"id": "level", "group": "g", "kind": "gauge", "low": -2, "high": 5, "period": 10, "decimals": 2},
        {"id": "flat", "group": "g", "kind": "gauge", "low": 4, "high": 4, "period": 10},
        {"id": "now", "group": "g", "kind": "clock", "shows": "now"},
        {"id": "start", "group": "g", "kind": "clock", "shows": "start"}
    ]
})";

std::map<std::string, std::string> valuesOf(Conversation& conversation) {
    std::map<std::string, std::string> values;
    const std::vector<Response> responses = statisticsByPosition(conversation.query("GET_STATS", "g"));
    for (const auto& [id, value] : responses.at(0).statistics) {
        values[id] = value;
    }
    return values;
}

std::vector<std::string> frozen(const TemporaryFile& file, std::vector<std::string> more = {}) {
    more.insert(more.end(), {"--frozen-clock", "2024-12-31T23:59:50Z"});
    return withCatalogue(file.path(), more);
}

TEST(Value, OfAFrozenClockStands) {
    const TemporaryFile file(kCatalogue);
    const GatewaySim sim(frozen(file));
    Conversation conversation(sim);
    conversation.open();
    const auto first = valuesOf(conversation);
    EXPECT_EQ(first.at("whole"), "7");
    EXPECT_EQ(first.at("slow"), "0");
    EXPECT_EQ(first.at("still"), "1000000000000000");
    EXPECT_EQ(first.at("flat"), "4");
    EXPECT_EQ(first.at("now"), "2024-12-31T23:59:50Z");
    EXPECT_EQ(first.at("start"), "2024-12-31T23:59:50Z");
    EXPECT_EQ(valuesOf(conversation), first);
}

TEST(Value, MovesByTheStepAfterEachQueryOfItsConnection) {
    const TemporaryFile file(kCatalogue);
    const GatewaySim sim(frozen(file, {"--clock-step", "15"}));
    Conversation conversation(sim);
    conversation.open();
    const auto first = valuesOf(conversation);
    const auto second = valuesOf(conversation);
    const auto third = valuesOf(conversation);
    EXPECT_EQ(second.at("whole"), "52");
    EXPECT_EQ(second.at("slow"), "3");
    EXPECT_EQ(third.at("slow"), "7");
    EXPECT_EQ(second.at("now"), "2025-01-01T00:00:05Z");
    EXPECT_EQ(third.at("now"), "2025-01-01T00:00:20Z");
    EXPECT_EQ(third.at("start"), "2024-12-31T23:59:50Z");
    Conversation other(sim);
    other.open();
    EXPECT_EQ(valuesOf(other), first);
}

TEST(Value, QueriesForIdsDoNotMoveTheClock) {
    const TemporaryFile file(kCatalogue);
    const GatewaySim sim(frozen(file, {"--clock-step", "15"}));
    Conversation conversation(sim);
    conversation.open();
    conversation.query("STAT_IDS", "g");
    EXPECT_EQ(valuesOf(conversation).at("whole"), "7");
}

TEST(Value, GaugeWandersBetweenItsBoundsWithItsDecimals) {
    const TemporaryFile file(kCatalogue);
    const GatewaySim sim(frozen(file, {"--clock-step", "3"}));
    Conversation conversation(sim);
    conversation.open();
    std::set<std::string> different;
    for (int round = 0; round < 50; ++round) {
        const std::string level = valuesOf(conversation).at("level");
        const double value = std::strtod(level.c_str(), nullptr);
        EXPECT_GE(value, -2) << level;
        EXPECT_LE(value, 5) << level;
        EXPECT_EQ(level.size() - level.find('.'), 3U) << level;
        different.insert(level);
    }
    EXPECT_GT(different.size(), 10U);
}

TEST(Value, IsDecidedByTheSeed) {
    const TemporaryFile file(kCatalogue);
    const auto levelOf = [&](const std::string& seed) {
        const GatewaySim sim(frozen(file, {"--seed", seed}));
        Conversation conversation(sim);
        conversation.open();
        return valuesOf(conversation).at("level");
    };
    EXPECT_EQ(levelOf("11"), levelOf("11"));
    EXPECT_NE(levelOf("11"), levelOf("12"));
}

TEST(Value, OfARunningClockNeverFalls) {
    const TemporaryFile file(kCatalogue);
    const GatewaySim sim(withCatalogue(file.path()));
    Conversation conversation(sim);
    conversation.open();
    auto before = valuesOf(conversation);
    for (int round = 0; round < 20; ++round) {
        const auto after = valuesOf(conversation);
        EXPECT_LE(std::stoll(before.at("whole")), std::stoll(after.at("whole")));
        EXPECT_LE(before.at("now"), after.at("now"));
        EXPECT_EQ(before.at("start"), after.at("start"));
        before = after;
    }
}

TEST(Value, OfTheUptimeIsTheTimeSinceTheStartThatIsShown) {
    const TemporaryFile file(R"({"protocol": "1", "groups": ["g"], "statistics": [
        {"id": "now", "group": "g", "kind": "clock", "shows": "now"},
        {"id": "start", "group": "g", "kind": "clock", "shows": "start"},
        {"id": "uptime", "group": "g", "kind": "counter", "start": 0, "rate": 1}]})");
    const GatewaySim sim(withCatalogue(file.path()));
    Conversation conversation(sim);
    conversation.open();
    // A second and more: the time and the uptime each go on once at least.
    std::set<std::string> times;
    std::set<std::string> uptimes;
    while (times.size() < 2 || uptimes.size() < 2) {
        const auto values = valuesOf(conversation);
        const auto secondOfTheMinute = [&](const char* id) { return std::stoi(values.at(id).substr(17, 2)); };
        const int passed = (secondOfTheMinute("now") - secondOfTheMinute("start") + 60) % 60;
        ASSERT_EQ(std::stoi(values.at("uptime")) % 60, passed) << values.at("start") << " to " << values.at("now");
        times.insert(values.at("now"));
        uptimes.insert(values.at("uptime"));
    }
}

// What a conversation with a simulator on this catalogue tells in so many queries.
std::vector<std::map<std::string, std::string>> momentsOf(const std::string& statistics, const std::string& step,
                                                          int count) {
    const TemporaryFile file(R"({"protocol": "1", "groups": ["g"], "statistics": [)" + statistics + "]}");
    const GatewaySim sim(frozen(file, {"--seed", "5", "--clock-step", step}));
    Conversation conversation(sim);
    conversation.open();
    std::vector<std::map<std::string, std::string>> moments;
    moments.reserve(static_cast<size_t>(count));
    for (int moment = 0; moment < count; ++moment) {
        moments.push_back(valuesOf(conversation));
    }
    return moments;
}

TEST(LaggingCounter, StaysWithinItsLagBehindTheLineAndNeverFalls) {
    const auto moments = momentsOf(
        R"({"id": "line", "group": "g", "kind": "counter", "start": 100, "rate": 4},
           {"id": "behind", "group": "g", "kind": "counter", "start": 100, "rate": 4,
            "lag": {"low": 10, "high": 50, "period": 10}})",
        "1", 200);
    int64_t before = 0;
    std::set<int64_t> different;
    for (const auto& moment : moments) {
        const int64_t behind = std::stoll(moment.at("behind"));
        const int64_t lag = std::stoll(moment.at("line")) - behind;
        EXPECT_GE(lag, 10);
        EXPECT_LE(lag, 51);
        EXPECT_GE(behind, before);
        before = behind;
        different.insert(lag);
    }
    EXPECT_GT(different.size(), 15U);
}

TEST(DerivedValue, IsMadeOfWhatItsPartsShow) {
    const auto moments = momentsOf(
        R"({"id": "sum", "group": "g", "kind": "sum", "plus": ["limit", "count", 0.25, -3], "minus": ["level", "count", 1]},
           {"id": "percent", "group": "g", "kind": "percent", "part": "level", "of": ["level", "limit"], "decimals": 3},
           {"id": "limit", "group": "g", "kind": "text", "text": "12.5"},
           {"id": "count", "group": "g", "kind": "counter", "start": 7, "rate": 2.5},
           {"id": "level", "group": "g", "kind": "gauge", "low": -20, "high": 20, "period": 10, "decimals": 4})",
        "3", 100);
    std::set<bool> signs;
    for (const auto& moment : moments) {
        const double level = std::stod(moment.at("level"));
        const std::string& sum = moment.at("sum");
        EXPECT_NEAR(std::stod(sum), 8.75 - level, 1e-9);
        EXPECT_EQ(sum.size() - sum.find('.'), 5U) << sum;
        EXPECT_NEAR(std::stod(moment.at("percent")), level / (level + 12.5) * 100, 0.000501);
        signs.insert(sum.starts_with('-'));
    }
    EXPECT_EQ(signs.size(), 2U);
}

TEST(DerivedValue, SumsAreExact) {
    const auto moments = momentsOf(
        R"({"id": "a", "group": "g", "kind": "sum", "plus": ["large", 0.1, 0.2]},
           {"id": "b", "group": "g", "kind": "sum", "plus": [0.1], "minus": ["large"]},
           {"id": "c", "group": "g", "kind": "sum", "plus": [0.3], "minus": [0.1, 0.2]},
           {"id": "d", "group": "g", "kind": "sum", "plus": [1], "minus": [1.000001]},
           {"id": "large", "group": "g", "kind": "counter", "start": 1000000000000000, "rate": 0})",
        "0", 1);
    EXPECT_EQ(moments.at(0).at("a"), "1000000000000000.3");
    EXPECT_EQ(moments.at(0).at("b"), "-999999999999999.9");
    EXPECT_EQ(moments.at(0).at("c"), "0.0");
    EXPECT_EQ(moments.at(0).at("d"), "-0.000001");
}

TEST(DerivedValue, SumsAreExactUpToTheirBound) {
    const auto moments = momentsOf(
        R"({"id": "a", "group": "g", "kind": "sum", "plus": ["large", "larger"]},
           {"id": "b", "group": "g", "kind": "sum", "plus": [1], "minus": ["larger", 999999999999999]},
           {"id": "large", "group": "g", "kind": "counter", "start": 999999999999999, "rate": 0},
           {"id": "larger", "group": "g", "kind": "text", "text": "8999000000000000000"})",
        "0", 1);
    EXPECT_EQ(moments.at(0).at("a"), "8999999999999999999");
    EXPECT_EQ(moments.at(0).at("b"), "-8999999999999999998");
}

TEST(DerivedValue, AWholeNumberHasNoDecimalsHoweverItIsWritten) {
    const auto moments = momentsOf(
        R"({"id": "a", "group": "g", "kind": "sum", "plus": [1e3]},
           {"id": "b", "group": "g", "kind": "sum", "plus": [2.0]},
           {"id": "c", "group": "g", "kind": "sum", "plus": [1], "minus": [3e17]},
           {"id": "d", "group": "g", "kind": "sum", "plus": [1e-5, 1.50]},
           {"id": "e", "group": "g", "kind": "sum", "plus": [-0.0]})",
        "0", 1);
    EXPECT_EQ(moments.at(0).at("a"), "1000");
    EXPECT_EQ(moments.at(0).at("b"), "2");
    EXPECT_EQ(moments.at(0).at("c"), "-299999999999999999");
    EXPECT_EQ(moments.at(0).at("d"), "1.50001");
    EXPECT_EQ(moments.at(0).at("e"), "0");
}

TEST(Value, OfNothingHasNoSign) {
    const auto moments = momentsOf(
        R"({"id": "whole", "group": "g", "kind": "gauge", "low": -0.4, "high": -0.4, "period": 10},
           {"id": "fine", "group": "g", "kind": "gauge", "low": -0.004, "high": -0.004, "period": 10, "decimals": 2},
           {"id": "below", "group": "g", "kind": "gauge", "low": -0.006, "high": -0.006, "period": 10, "decimals": 2},
           {"id": "rate", "group": "g", "kind": "rate", "of": "falling", "decimals": 1},
           {"id": "percent", "group": "g", "kind": "percent", "part": "nothing", "of": ["falling"], "decimals": 1},
           {"id": "nothing", "group": "g", "kind": "sum", "plus": [0]},
           {"id": "falling", "group": "g", "kind": "sum", "plus": [0], "minus": ["slow"]},
           {"id": "slow", "group": "g", "kind": "counter", "start": 5, "rate": 0.01})",
        "0", 1);
    EXPECT_EQ(moments.at(0).at("whole"), "0");
    EXPECT_EQ(moments.at(0).at("fine"), "0.00");
    EXPECT_EQ(moments.at(0).at("below"), "-0.01");
    EXPECT_EQ(moments.at(0).at("rate"), "0.0");
    EXPECT_EQ(moments.at(0).at("percent"), "0.0");
}

TEST(DerivedValue, APercentOfNothingIsZero) {
    const auto moments =
        momentsOf(R"({"id": "p", "group": "g", "kind": "percent", "part": "n", "of": ["n"], "decimals": 1},
                     {"id": "n", "group": "g", "kind": "text", "text": "0"})",
                  "0", 1);
    EXPECT_EQ(moments.at(0).at("p"), "0.0");
}

TEST(DerivedValue, ARateIsTheGrowthOfTheSecondsThatFollow) {
    const auto moments = momentsOf(
        R"({"id": "rate", "group": "g", "kind": "rate", "of": "difference", "decimals": 3},
           {"id": "difference", "group": "g", "kind": "sum", "plus": ["total", 5], "minus": ["steady"]},
           {"id": "total", "group": "g", "kind": "sum", "plus": ["wandering", "steady"]},
           {"id": "steady", "group": "g", "kind": "counter", "start": 5, "rate": 1000.5},
           {"id": "wandering", "group": "g", "kind": "counter", "start": 9000, "rate": 400,
            "lag": {"low": 0, "high": 9000, "period": 30}})",
        "10", 61);
    std::set<std::string> different;
    for (size_t start = 0; start + 2 < moments.size(); start += 3) {
        const double rate = std::stod(moments.at(start).at("rate"));
        const int64_t grown =
            std::stoll(moments.at(start + 2).at("difference")) - std::stoll(moments.at(start).at("difference"));
        EXPECT_NEAR(static_cast<double>(grown), rate * 20, 2);
        different.insert(moments.at(start).at("rate"));
    }
    EXPECT_GT(different.size(), 15U);
}

TEST(DerivedValue, AskedForAloneIsTheSameAsAmongAll) {
    const TemporaryFile file(R"({"protocol": "1", "groups": ["g", "h"], "statistics": [
        {"id": "level", "group": "g", "kind": "gauge", "low": 0, "high": 1000000, "period": 10},
        {"id": "rest", "group": "h", "kind": "sum", "plus": [1000000], "minus": ["level"]}]})");
    const GatewaySim sim(frozen(file));
    Conversation conversation(sim);
    conversation.open();
    const std::string alone =
        statisticsByPosition(conversation.query("GET_STATS", "rest")).at(0).statistics.at(0).second;
    const std::vector<Response> all = statisticsByPosition(conversation.query("GET_STATS", ""));
    EXPECT_EQ(alone, all.at(1).statistics.at(0).second);
    EXPECT_EQ(std::stoll(alone) + std::stoll(all.at(0).statistics.at(0).second), 1000000);
}

}  // namespace

}  // namespace sim_test
