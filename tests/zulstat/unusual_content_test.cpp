// Content that is seldom met: ids beyond ASCII, bytes that are no text, codes above 0. All of it is shown, and every id
// that a command line can hold can be asked for.
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "line_ends.h"
#include "zulstat_program.h"

namespace {

using nlohmann::json;
using test_support::GatewaySim;
using test_support::ProgramOutcome;
using test_support::runGatewaySim;
using zulstat_test::runZulstat;
using zulstat_test::Texts;

// A text of the catalogue as a JSON document can hold it: what is no UTF-8 is U+FFFD.
std::string shownText(const json& text) {
    static const std::map<std::string, std::string> kShownBytes{
        {"6C6174696E2D31206772F6DF65", "latin-1 gr\uFFFD\uFFFDe"},
        {"FFFE", "\uFFFD\uFFFD"},
        {"63757420E282", "cut \uFFFD"},
        {"6772FCDF6520C32820EDA0802080", "gr\uFFFD\uFFFDe \uFFFD( \uFFFD\uFFFD\uFFFD \uFFFD"},
    };
    return text.is_string() ? text.get<std::string>() : kShownBytes.at(text["hex"]);
}

std::string valueAtTheStart(const json& statistic) {
    if (statistic["kind"] == "counter") {
        return statistic["start"].dump();
    }
    const int times = statistic.contains("repeat") ? statistic["repeat"].get<int>() : 1;
    const std::string once = shownText(statistic["text"]);
    std::string all;
    for (int done = 0; done < times; ++done) {
        all += once;
    }
    return all;
}

// The elements that a query for everything should show: what the catalogue holds.
json expectedElements() {
    const json catalogue = json::parse(runGatewaySim({"--built-in", "unusual", "--print-catalogue"}).standardOutput);
    json elements = json::array();
    for (const json& group : catalogue["groups"]) {
        const json& id = group.contains("id") ? group["id"] : group;
        const int code = group.contains("code") ? group["code"].get<int>() : 0;
        json element{{"element", shownText(id)}, {"code", code}, {"statistics", json::array()}};
        for (const json& statistic : catalogue["statistics"]) {
            if (code >= 0 && statistic["group"] == id) {
                element["statistics"].push_back(
                    {{"id", shownText(statistic["id"])}, {"value", valueAtTheStart(statistic)}});
            }
        }
        elements.push_back(element);
    }
    return elements;
}

class UnusualContent : public testing::Test {
  protected:
    ProgramOutcome ask(const Texts& arguments) const {
        return runZulstat(gateway_, arguments);
    }

  private:
    GatewaySim gateway_{{"--built-in", "unusual", "--frozen-clock", "2026-03-01T12:00:00Z"}};
};

TEST_F(UnusualContent, StandsWholeInJson) {
    const ProgramOutcome outcome = ask({"stats", "--format", "json"});
    EXPECT_EQ(outcome.exitCode, 1);
    const json document = json::parse(outcome.standardOutput);
    EXPECT_TRUE(document["error"].is_null()) << document["error"];
    const json& elements = document["queries"].at(0)["elements"];
    const json expected = expectedElements();
    ASSERT_EQ(elements.size(), expected.size());
    for (size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(elements[index]["element"], expected[index]["element"]);
        EXPECT_EQ(elements[index]["code"], expected[index]["code"]) << expected[index]["element"];
        EXPECT_EQ(elements[index].contains("error"), expected[index]["code"] < 0) << expected[index]["element"];
        const json statistics = elements[index].value("statistics", json::array());
        ASSERT_EQ(statistics.size(), expected[index]["statistics"].size()) << expected[index]["element"];
        for (size_t at = 0; at < statistics.size(); ++at) {
            EXPECT_EQ(statistics[at], expected[index]["statistics"][at]);
        }
    }
}

TEST_F(UnusualContent, StandsInTheTableALineForEachStatisticWithoutWhatATerminalObeys) {
    const ProgramOutcome outcome = ask({"stats", "--no-header"});
    EXPECT_EQ(outcome.exitCode, 1);
    size_t lines = 0;
    for (const char character : test_support::withPlainLineEnds(outcome.standardOutput)) {
        lines += character == '\n' ? 1 : 0;
        EXPECT_TRUE(static_cast<unsigned char>(character) >= 0x20 || character == '\n') << static_cast<int>(character);
    }
    size_t expected = 0;
    for (const json& element : expectedElements()) {
        // An element without statistics has a line of its own.
        expected += element["statistics"].empty() ? 1 : element["statistics"].size();
    }
    EXPECT_EQ(lines, expected);
}

TEST_F(UnusualContent, OfAGroupWithACodeAbove0IsShownWithANoteAndNoFailure) {
    const ProgramOutcome outcome = ask({"stats", "--no-header", "--id", "largest code"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(test_support::withPlainLineEnds(outcome.standardOutput), "largest code  largest code  answered\n");
    EXPECT_NE(outcome.standardError.find("\"largest code\" with code 2147483647"), std::string::npos)
        << outcome.standardError;
}

struct Asked {
    const char* name;
    std::string id;
    std::string value;
};

void PrintTo(const Asked& asked, std::ostream* stream) {
    *stream << asked.name;
}

class UnusualId : public testing::TestWithParam<Asked> {};

TEST_P(UnusualId, CanBeAskedFor) {
    const GatewaySim gateway({"--built-in", "unusual"});
    const ProgramOutcome outcome = runZulstat(gateway, {"stats", "--id=" + GetParam().id, "--format", "json"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    const json document = json::parse(outcome.standardOutput);
    const json expected{{"id", GetParam().id}, {"value", GetParam().value}};
    EXPECT_EQ(document["queries"].at(0)["elements"].at(0)["statistics"], json::array({expected}));
}

INSTANTIATE_TEST_SUITE_P(
    Zulstat, UnusualId,
    testing::Values(Asked{"Umlauts", "Gr\u00F6\u00DFen.Ma\u00DF in Fu\u00DF", "5.9"},
                    Asked{"Greek",
                          "\u03BC\u03B5\u03C4\u03C1\u03AE\u03C3\u03B5\u03B9\u03C2.\u03B8\u03B5\u03C1"
                          "\u03BC\u03BF\u03BA\u03C1\u03B1\u03C3\u03AF\u03B1",
                          "21 \u00B0C"},
                    Asked{"Wide", "\u9023\u7DDA.\u76EE\u524D\u6578\u91CF", "\uFF11\uFF12"},
                    Asked{"Emoji", "\U0001F680.launched", "3"},
                    Asked{"CombiningAccent", "cafe\u0301.combining", "the accent is a character of its own"},
                    Asked{"ComposedAccent", "caf\u00E9.composed", "the accent is part of the letter"},
                    Asked{"RightToLeft", "\u0639\u062F\u062F.total", "7"},
                    Asked{"ChangeOfDirection", "\u202Eoverride\u202C", "turned round"},
                    Asked{"BlankInFront", " begins with a blank", "2"}, Asked{"BlankBehind", "ends with a blank ", "3"},
                    Asked{"Dash", "-x", "1"}, Asked{"Option", "--help", "2"}, Asked{"Backslash", "back\\slash", "2"},
                    Asked{"Pattern", "*?[a-z]", "7"}, Asked{"LineEnd", "line\nend", "1"},
                    Asked{"Escape", "\x1B[31mred\x1B[0m", "3"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(UnusualContent, GroupsBeyondAsciiCanBeAskedForTheirIds) {
    const ProgramOutcome outcome = ask({"ids", "--no-header", "\u9023\u7DDA", "\U0001F680 rockets"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    for (const char* const id : {"\u9023\u7DDA.\u76EE\u524D\u6578\u91CF", "\U0001F680.launched"}) {
        EXPECT_NE(outcome.standardOutput.find(id), std::string::npos) << id;
    }
}

}  // namespace
