// Values that the daemon splits over several blocks arrive in one piece.
#include <cstddef>

#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

using test_support::GatewaySim;

class SplitValues : public SystemTest {};

namespace {

// Around every length at which the daemon's blocks change their kind or their number.
std::vector<size_t> lengthsAroundTheLimits() {
    std::vector<size_t> lengths{0, 1, 2};
    const auto addRange = [&lengths](size_t first, size_t last) {
        for (size_t length = first; length <= last; ++length) {
            lengths.push_back(length);
        }
    };
    addRange(240, 260);
    addRange(1005, 1030);
    addRange(1270, 1290);
    addRange(2030, 2055);
    addRange(2290, 2310);
    lengths.insert(lengths.end(), {16384, 32000, 32766, 32767});
    return lengths;
}

}  // namespace

TEST_F(SplitValues, ValuesOfEveryLengthAroundTheBlockLimitsArriveIntact) {
    Catalogue catalogue;
    catalogue.group("g");
    const std::vector<size_t> lengths = lengthsAroundTheLimits();
    std::vector<StatEntry> expected;
    for (size_t index = 0; index < lengths.size(); ++index) {
        const std::string id = "s" + std::to_string(lengths[index]);
        const std::string value = patternText(lengths[index], static_cast<unsigned>(index));
        catalogue.statistic("g", id, value);
        expected.push_back({"g", 0, id, value});
    }
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    EXPECT_TRUE(walkStats(result).entries == expected) << "all in one reply";
    for (const StatEntry& entry : expected) {
        ASSERT_EQ(getStatsByStatId(connection.token(), entry.id.c_str(), &result), STAPI_RC_OK) << entry.id;
        const StatWalk walk = walkStats(result);
        EXPECT_EQ(walk.lastCode, STAPI_RC_END_OF_DATA) << entry.id;
        EXPECT_TRUE(walk.entries == (std::vector<StatEntry>{{entry.id, 0, entry.id, entry.value}})) << entry.id;
    }
}

TEST_F(SplitValues, LongIdsMoveThePlaceOfTheSplit) {
    Catalogue catalogue;
    catalogue.group("g");
    std::vector<StatEntry> expected;
    for (const size_t idLength : {1U, 200U, 251U, 252U, 253U, 500U, 1018U, 1019U, 1020U, 1021U, 1500U, 5000U}) {
        for (const size_t valueLength : {0U, 1U, 3U, 255U, 256U, 1024U, 1025U}) {
            const std::string tail = "." + std::to_string(idLength) + "." + std::to_string(valueLength);
            const std::string id = patternText(idLength) + tail;
            const std::string value = patternText(valueLength, 11);
            catalogue.statistic("g", id, value);
            expected.push_back({"g", 0, id, value});
        }
    }
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatsByStatGroupId(connection.token(), "g", &result), STAPI_RC_OK);
    const StatWalk walk = walkStats(result);
    ASSERT_EQ(walk.entries.size(), expected.size());
    for (size_t index = 0; index < expected.size(); ++index) {
        EXPECT_TRUE(walk.entries[index] == expected[index]) << expected[index].id;
    }
}

// What the trace says about the pieces adds up to the value.
TEST_F(SplitValues, TraceOfThePiecesAddsUp) {
    // Id, and the two lengths of the id and the value: 4 + 1 bytes of the first block.
    constexpr int kLength = 3000;
    constexpr int kFirst = 1024 - 1 - 4;
    Catalogue catalogue;
    catalogue.group("g").statistic("g", "v", patternText(kLength));
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    const TraceCapture trace(4);
    ASSERT_EQ(getStatsByStatId(connection.token(), "v", &result), STAPI_RC_OK);
    const std::string text = trace.text();
    const std::string name = "stapi_zul_statcomms.parseStatsData ";
    using Messages = std::vector<std::string>;
    EXPECT_EQ(test_support::messagesOfPoint(text, 2232), Messages({name + "chunklength=1024 "}));
    EXPECT_EQ(test_support::messagesOfPoint(text, 2234),
              Messages({name + "written 1019 of 3000 bytes. Remaining data = 1981 bytes "}));
    EXPECT_EQ(test_support::messagesOfPoint(text, 2235),
              Messages({name + "written 1024 bytes. Remaining data = 957 bytes ",
                        name + "written 957 bytes. Remaining data = 0 bytes "}));
    EXPECT_EQ(kFirst + 1024 + 957, kLength);
    EXPECT_EQ(test_support::messagesOfPoint(text, 2237), Messages());
}

}  // namespace system_test
