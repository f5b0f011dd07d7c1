// The traces of the scenarios, line by line, against the stored ones. With the environment variable
// ZULSTATS_WRITE_GOLDEN_TRACES set to 1 they are stored anew instead, and the tests fail so that nobody takes that for
// a comparison.
#include <cstddef>
#include <cstdlib>
#include <fstream>

#include "scenarios.h"
#include "trace_text.h"

namespace system_test {

class GoldenTrace : public SystemTest, public ::testing::WithParamInterface<Scenario> {};

namespace {

std::vector<Scenario> storedScenarios() {
    std::vector<Scenario> stored;
    for (const Scenario& scenario : allScenarios()) {
        if (scenario.isStored) {
            stored.push_back(scenario);
        }
    }
    return stored;
}

bool storesAnew() {
    const char* const wish = std::getenv("ZULSTATS_WRITE_GOLDEN_TRACES");
    return wish != nullptr && std::string(wish) == "1";
}

}  // namespace

TEST_P(GoldenTrace, IsAsStored) {
    const std::string path = std::string(TEST_DATA_FOLDER) + "/golden/" + GetParam().name + ".trace";
    const std::string trace = comparable(traceOf(GetParam(), 4));
    if (storesAnew()) {
        std::ofstream(path, std::ios::binary) << trace;
        FAIL() << "stored anew, not compared: " << path;
    }
    const std::vector<std::string> expected = test_support::splitLines(test_support::readFile(path));
    const std::vector<std::string> found = test_support::splitLines(trace);
    ASSERT_FALSE(expected.empty()) << path << " is missing or empty";
    for (size_t line = 0; line < expected.size() && line < found.size(); ++line) {
        ASSERT_EQ(found[line], expected[line]) << path << " line " << line + 1;
    }
    EXPECT_EQ(found.size(), expected.size()) << path;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenTrace, ::testing::ValuesIn(storedScenarios()),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace system_test
