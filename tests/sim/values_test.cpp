#include <gtest/gtest.h>

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

}  // namespace

}  // namespace sim_test
