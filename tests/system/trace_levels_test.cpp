// Each level writes exactly the lines of its words: what level 4 writes, without the words above the level.
#include <cstddef>
#include <cstdint>
#include <map>
#include <regex>

#include "scenarios.h"
#include "trace_text.h"

namespace system_test {

namespace {

int32_t levelOfWord(const std::string& word) {
    static const std::map<std::string, int32_t> kLevels{{"*EXC*", 1}, {"EVENT", 2}, {"ENTRY", 3},
                                                        {"EXIT", 3},  {"DEBUG", 4}, {"DATA", 4}};
    return kLevels.at(word);
}

// The words of masked lines; nothing for a line that is none of a trace point.
std::string wordOf(const std::string& line) {
    static const std::regex kPattern(R"(^dd/mm/yy hh:mm:ss:mmm \[0xPPPPPPPP,0xTTTTTTTT\] \[\d{4}\] (\S+))");
    std::smatch match;
    const std::string prefix = line.substr(0, 80);
    return std::regex_search(prefix, match, kPattern) ? std::string(match[1]) : std::string();
}

// A line that follows a DATA line is its hex dump. Every other line without a word is a dump that was asked for, which
// no level holds back.
std::vector<std::string> linesOfLevel(const std::string& fullTrace, int32_t level) {
    std::vector<std::string> lines;
    bool inData = false;
    for (const std::string& line : test_support::splitLines(fullTrace)) {
        const std::string word = wordOf(line);
        const bool isDump = line.compare(0, 2, "0x") == 0 || line.compare(0, 1, "<") == 0;
        inData = word == "DATA" || (inData && word.empty() && isDump);
        const int32_t needed = inData ? 4 : word.empty() ? 0 : levelOfWord(word);
        if (level >= needed) {
            lines.push_back(line);
        }
    }
    return lines;
}

// The state dump names the level.
std::string withoutLevel(const std::string& trace) {
    return std::regex_replace(trace, std::regex("Trace Level=\\d"), "Trace Level=L");
}

std::vector<Scenario> scenariosThatKeepTheLevel() {
    std::vector<Scenario> chosen;
    for (const Scenario& scenario : allScenarios()) {
        if (scenario.keepsLevel) {
            chosen.push_back(scenario);
        }
    }
    return chosen;
}

}  // namespace

class TraceLevels : public SystemTest, public ::testing::WithParamInterface<Scenario> {};

TEST_P(TraceLevels, EachWritesTheLinesOfItsWords) {
    const std::string full = withoutLevel(comparable(traceOf(GetParam(), 4)));
    for (const int32_t level : {0, 1, 2, 3, 5}) {
        const std::vector<std::string> expected = linesOfLevel(full, level);
        const std::vector<std::string> found =
            test_support::splitLines(withoutLevel(comparable(traceOf(GetParam(), level))));
        for (size_t line = 0; line < expected.size() && line < found.size(); ++line) {
            ASSERT_EQ(found[line], expected[line]) << "level " << level << " line " << line + 1;
        }
        EXPECT_EQ(found.size(), expected.size()) << "level " << level;
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, TraceLevels, ::testing::ValuesIn(scenariosThatKeepTheLevel()),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace system_test
