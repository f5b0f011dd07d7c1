// Replies that are larger than the connection's first buffer of 32,768 bytes.
#include <cstddef>

#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

using test_support::GatewaySim;

class Growth : public SystemTest {};

namespace {

struct NamedValue {
    std::string id;
    std::string value;
};

std::vector<NamedValue> manyStatistics(size_t count, size_t valueLength) {
    std::vector<NamedValue> statistics;
    for (size_t index = 0; index < count; ++index) {
        const auto seed = static_cast<unsigned>(index);
        statistics.push_back({"statistic." + std::to_string(index) + "." + patternText(index % 40, seed),
                              patternText(valueLength + index % 97, seed)});
    }
    return statistics;
}

}  // namespace

TEST_F(Growth, ThousandsOfStatisticsArriveWholeAndInOrder) {
    constexpr size_t kStatistics = 6000;
    Catalogue catalogue;
    catalogue.group("first").group("second");
    const std::vector<NamedValue> statistics = manyStatistics(kStatistics, 120);
    for (size_t index = 0; index < kStatistics; ++index) {
        catalogue.statistic(index < kStatistics / 2 ? "first" : "second", statistics[index].id,
                            statistics[index].value);
    }
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    const StatWalk walk = walkStats(result);
    EXPECT_EQ(walk.lastCode, STAPI_RC_END_OF_DATA);
    ASSERT_EQ(walk.entries.size(), kStatistics);
    for (size_t index = 0; index < kStatistics; ++index) {
        ASSERT_EQ(walk.entries[index].element, index < kStatistics / 2 ? "first" : "second") << index;
        ASSERT_EQ(walk.entries[index].id, statistics[index].id) << index;
        ASSERT_EQ(walk.entries[index].value, statistics[index].value) << index;
    }
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    const std::vector<std::string> ids = idsOf(walkIds(result));
    ASSERT_EQ(ids.size(), kStatistics);
    for (size_t index = 0; index < kStatistics; ++index) {
        ASSERT_EQ(ids[index], statistics[index].id) << index;
    }
    EXPECT_EQ(sim.standardError(), "");
}

// A normal reply doubles the buffer once at each check that finds it short.
TEST_F(Growth, CapacityDoublesStepByStep) {
    Catalogue catalogue;
    catalogue.group("g");
    for (const NamedValue& statistic : manyStatistics(3000, 60)) {
        catalogue.statistic("g", statistic.id, statistic.value);
    }
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    const TraceCapture trace(3);
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    std::vector<std::string> capacities;
    for (const std::string& message : test_support::messagesOfPoint(trace.text(), 2244)) {
        const std::string label = "*resultSetBufferLen=";
        const size_t start = message.find(label) + label.size();
        capacities.push_back(message.substr(start, message.find(',', start) - start));
    }
    EXPECT_EQ(capacities, (std::vector<std::string>{"32768", "65536", "131072", "262144"}));
}

TEST_F(Growth, GrownBufferIsKeptForSmallerRepliesAndCopies) {
    Catalogue catalogue;
    catalogue.group("large").group("small").statistic("small", "s", "value");
    for (const NamedValue& statistic : manyStatistics(500, 200)) {
        catalogue.statistic("large", statistic.id, statistic.value);
    }
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ResultSetToken* copy = nullptr;
    ASSERT_EQ(getStatsByStatGroupId(connection.token(), "large", &result), STAPI_RC_OK);
    ASSERT_EQ(copyResultSet(result, &copy), STAPI_RC_OK);
    const StatWalk large = walkStats(result);
    EXPECT_EQ(large.entries.size(), 500U);
    const TraceCapture trace(3);
    ASSERT_EQ(getStatsByStatGroupId(connection.token(), "small", &result), STAPI_RC_OK);
    EXPECT_EQ(walkStats(result).entries, (std::vector<StatEntry>{{"small", 0, "s", "value"}}));
    ASSERT_EQ(getStatsByStatGroupId(connection.token(), "large", &result), STAPI_RC_OK);
    EXPECT_TRUE(test_support::messagesOfPoint(trace.text(), 2244).empty());
    EXPECT_EQ(walkStats(copy).entries, large.entries);
    EXPECT_EQ(walkStats(result).entries, large.entries);
    freeResultSet(&copy);
}

// One text that no single doubling makes room for.
TEST_F(Growth, IdLongerThanTheWholeFreeSpace) {
    Catalogue catalogue;
    catalogue.group("g");
    std::vector<std::string> ids;
    for (const unsigned seed : {1U, 2U, 3U, 4U}) {
        ids.push_back(patternText(32763, seed));
        catalogue.statistic("g", ids.back(), "v");
    }
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(idsOf(walkIds(result)), ids);
}

TEST_F(Growth, GroupIdOfTheLargestLength) {
    const std::string longest = patternText(65535, 9);
    Catalogue catalogue;
    catalogue.group("g").group(longest).statistic(longest, "s", "v");
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getResourceGroupIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(idsOf(walkIds(result)), (std::vector<std::string>{"g", longest}));
}

// Replies whose end falls on every place around the buffer's end: the terminator always finds room.
TEST_F(Growth, RepliesThatEndAroundTheEndOfTheBuffer) {
    // Eyecatcher and count 12, element 4 + 1, code 4, count 4, id 4 + 1, value 4 + its length.
    constexpr size_t kAround = 12 + 4 + 1 + 4 + 4 + 4 + 1 + 4;
    Catalogue catalogue;
    std::vector<size_t> lengths;
    for (size_t length = 32767; length + kAround >= 32768 - 12; --length) {
        lengths.push_back(length);
    }
    const std::string names = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    ASSERT_LE(lengths.size(), names.size());
    catalogue.group("group");
    for (size_t index = 0; index < lengths.size(); ++index) {
        catalogue.statistic("group", std::string(1, names[index]), patternText(lengths[index], 5));
    }
    const GatewaySim sim(catalogue.options());
    for (size_t index = 0; index < lengths.size(); ++index) {
        const Connection connection(sim);
        const std::string id(1, names[index]);
        ResultSetToken* result = nullptr;
        ASSERT_EQ(getStatsByStatId(connection.token(), id.c_str(), &result), STAPI_RC_OK) << lengths[index];
        const StatWalk walk = walkStats(result);
        EXPECT_EQ(walk.lastCode, STAPI_RC_END_OF_DATA) << lengths[index];
        ASSERT_EQ(walk.entries.size(), 1U) << lengths[index];
        EXPECT_EQ(walk.entries[0].value, patternText(lengths[index], 5)) << lengths[index];
    }
}

}  // namespace system_test
