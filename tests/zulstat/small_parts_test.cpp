#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "condition.h"
#include "gateway_address.h"
#include "glob.h"
#include "nearest.h"
#include "number.h"
#include "selection.h"
#include "time_text.h"

namespace {

using std::chrono::milliseconds;
using zulstat::applySelection;
using zulstat::AskedBy;
using zulstat::compareNumbers;
using zulstat::findNearest;
using zulstat::formatNumber;
using zulstat::formatSeconds;
using zulstat::holds;
using zulstat::isSelected;
using zulstat::matchesGlob;
using zulstat::parseCondition;
using zulstat::parseNumber;
using zulstat::parseSeconds;
using zulstat::parseWholeNumber;
using zulstat::QueryKind;
using zulstat::Report;
using zulstat::SortOrder;

using Texts = std::vector<std::string>;

TEST(ParseNumber, TakesDecimalNumbersAlone) {
    EXPECT_EQ(parseNumber("536870912"), 536870912.0);
    EXPECT_EQ(parseNumber("-1.5"), -1.5);
    EXPECT_EQ(parseNumber("+.5"), 0.5);
    EXPECT_EQ(parseNumber("1e3"), 1000.0);
    for (const char* const text : {"", "-", ".", "1 ", " 1", "1.2.3", "0x10", "nan", "inf", "1e", "e1", "--1", "1,5"}) {
        EXPECT_FALSE(parseNumber(text)) << text;
    }
    EXPECT_FALSE(parseNumber("1e999"));
    EXPECT_FALSE(parseNumber(std::string("1\0", 2)));
}

TEST(FormatNumber, LeavesOutZerosAtTheEnd) {
    EXPECT_EQ(formatNumber(1.5, 3), "1.5");
    EXPECT_EQ(formatNumber(100, 3), "100");
    EXPECT_EQ(formatNumber(-0.0, 3), "0");
    EXPECT_EQ(formatNumber(2.0 / 3, 3), "0.667");
}

TEST(Seconds, KeepFractions) {
    EXPECT_EQ(parseSeconds("0.5"), milliseconds(500));
    EXPECT_EQ(parseSeconds("0"), milliseconds(0));
    EXPECT_EQ(parseSeconds("0.0001"), milliseconds(1)) << "which is not the same as no limit";
    EXPECT_FALSE(parseSeconds("-1"));
    EXPECT_FALSE(parseSeconds("soon"));
    EXPECT_EQ(formatSeconds(milliseconds(500)), "0.5");
    EXPECT_EQ(formatSeconds(milliseconds(10000)), "10");
}

TEST(FormatTime, IsRfc3339InUtc) {
    const std::chrono::system_clock::time_point time{milliseconds(1709251199999)};
    EXPECT_EQ(zulstat::formatTime(time), "2024-02-29T23:59:59.999Z");
    EXPECT_EQ(zulstat::formatClock(time), "23:59:59Z");
}

TEST(MatchesGlob, KnowsStarsQuestionMarksAndSets) {
    EXPECT_TRUE(matchesGlob("pool.workers", "pool.*"));
    EXPECT_TRUE(matchesGlob("pool.workers", "*work*"));
    EXPECT_TRUE(matchesGlob("", "*"));
    EXPECT_TRUE(matchesGlob("aXbXc", "a*b*c"));
    EXPECT_FALSE(matchesGlob("pool.workers", "pool"));
    EXPECT_TRUE(matchesGlob("\xC3\xB6", "?")) << "one character, not one byte";
    EXPECT_FALSE(matchesGlob("", "?"));
    EXPECT_TRUE(matchesGlob("b1", "[a-c][!2]"));
    EXPECT_FALSE(matchesGlob("d", "[a-c]"));
    EXPECT_TRUE(matchesGlob("[x", "[x")) << "a set without end stands for itself";
    EXPECT_TRUE(matchesGlob("*", "\\*"));
    EXPECT_FALSE(matchesGlob("a", "\\*"));
    EXPECT_FALSE(matchesGlob(std::string(5000, 'a'), "*a*a*a*a*b")) << "without taking for ever";
}

TEST(IsSelected, TakesWhatSomePatternFitsAndNoneRefuses) {
    EXPECT_TRUE(isSelected("a", {}));
    EXPECT_TRUE(isSelected("ab", {"a*", "c"}));
    EXPECT_FALSE(isSelected("b", {"a*"}));
    EXPECT_FALSE(isSelected("ab", {"a*", "!*b"}));
    EXPECT_TRUE(isSelected("b", {"!a"}));
}

TEST(FindNearest, FindsWhatWasMeant) {
    EXPECT_EQ(findNearest("grops", {"stats", "groups"}), "groups");
    EXPECT_EQ(findNearest("memroy", {"memory", "errors"}), "memory");
    EXPECT_EQ(findNearest("stat", {"stats"}), "stats");
    EXPECT_FALSE(findNearest("nonsense", {"stats", "groups"}));
    EXPECT_FALSE(findNearest("x", {}));
    EXPECT_FALSE(findNearest(std::string(100000, 'x'), {std::string(100000, 'y')}));
}

TEST(FindShortestBeginningWith, CompletesWhatWasLeftOut) {
    using zulstat::findShortestBeginningWith;
    EXPECT_EQ(findShortestBeginningWith("--co", {"--counter", "--color", "--id"}), "--color");
    EXPECT_FALSE(findShortestBeginningWith("--id", {"--id"}));
    EXPECT_FALSE(findShortestBeginningWith("", {"--id"}));
}

TEST(ParseCondition, TakesEveryOperatorWithAndWithoutBlanks) {
    for (const char* const text : {"a = 1", "a=1", "a == 1", "a<=1", "a >= 1", "a > 0", "a<2", "a != 2"}) {
        const auto condition = parseCondition(text);
        ASSERT_TRUE(condition.has_value()) << text;
        EXPECT_EQ(condition->id, "a");
        EXPECT_TRUE(holds(*condition, "1")) << text;
    }
    for (const char* const text : {"", "a", "= 1", "a < x", "a !1"}) {
        EXPECT_FALSE(parseCondition(text)) << text;
    }
}

TEST(Holds, ComparesNumbersAsSuchAndTextsOnlyForEquality) {
    EXPECT_TRUE(holds(*parseCondition("a = 1.0"), "1"));
    EXPECT_TRUE(holds(*parseCondition("a = open"), "open"));
    EXPECT_TRUE(holds(*parseCondition("a != open"), "shut"));
    EXPECT_FALSE(holds(*parseCondition("a < 10"), "open"));
    EXPECT_FALSE(holds(*parseCondition("a < 10"), "9a"));
}

TEST(Holds, ComparesWholeNumbersToTheLastDigit) {
    EXPECT_FALSE(holds(*parseCondition("n = 9007199254740993"), "9007199254740992"));
    EXPECT_TRUE(holds(*parseCondition("n < 9007199254740993"), "9007199254740992"));
    EXPECT_FALSE(holds(*parseCondition("n >= 18446744073709551616"), "18446744073709551615"));
}

TEST(CompareNumbers, IsExactForEveryWayOfWriting) {
    for (const auto& [left, right] :
         std::vector<std::pair<std::string, std::string>>{{"1", "1.0"},
                                                          {"+5", "5."},
                                                          {"100", "1e2"},
                                                          {".5", "0.50"},
                                                          {"-0", "0"},
                                                          {"0e99999999999999999999", "0"}}) {
        EXPECT_EQ(compareNumbers(left, right), 0) << left << " and " << right;
    }
    for (const auto& [smaller, greater] : std::vector<std::pair<std::string, std::string>>{
             {"9", "10"},
             {"-10", "-9"},
             {"-1", "0"},
             {"0", "1e-300"},
             {"0.1", "0.10000000000000000001"},
             {"9007199254740992", "9007199254740993"},
             {"-9007199254740993", "-9007199254740992"},
             {"99999999999999999999999998", "99999999999999999999999999"}}) {
        EXPECT_LT(compareNumbers(smaller, greater), 0) << smaller << " and " << greater;
        EXPECT_GT(compareNumbers(greater, smaller), 0) << smaller << " and " << greater;
    }
}

TEST(WholeNumbers, AreSubtractedToTheLastDigit) {
    const auto subtracted = [](const std::string& left, const std::string& right) -> std::string {
        const auto result = difference(*parseWholeNumber(left), *parseWholeNumber(right));
        return result ? formatWholeNumber(*result) : "none";
    };
    EXPECT_EQ(subtracted("9007199254740993", "9007199254740992"), "1");
    EXPECT_EQ(subtracted("18446744073709551615", "0"), "18446744073709551615");
    EXPECT_EQ(subtracted("0", "18446744073709551615"), "-18446744073709551615");
    EXPECT_EQ(subtracted("-5", "-5"), "0");
    EXPECT_EQ(subtracted("-5", "-7"), "2");
    EXPECT_EQ(subtracted("-7", "-5"), "-2");
    EXPECT_EQ(subtracted("5", "-7"), "12");
    EXPECT_EQ(subtracted("-5", "7"), "-12");
    EXPECT_EQ(subtracted("18446744073709551615", "-1"), "none");
}

TEST(WholeNumbers, AreNothingElse) {
    for (const char* const text : {"", "+", "1.0", "1e3", "18446744073709551616", "x", "1 "}) {
        EXPECT_FALSE(parseWholeNumber(text)) << text;
    }
}

TEST(FormatNumber, NeverShowsNothingForSomething) {
    EXPECT_EQ(formatNumber(0.0004, 3), "0.0004");
    EXPECT_EQ(formatNumber(0.00123, 3), "0.001");
    EXPECT_EQ(formatNumber(-0.0004567, 3, 3), "-0.000457");
    EXPECT_EQ(formatNumber(0.0016, 3, 3), "0.0016");
    EXPECT_EQ(formatNumber(2.5, 3, 3), "2.5");
    EXPECT_EQ(formatNumber(1234.5678, 3, 3), "1234.568");
    EXPECT_EQ(formatNumber(1.5e-300, 3, 3), "1.50e-300");
    EXPECT_EQ(formatNumber(0, 3, 3), "0");
}

Report reportWith(std::vector<zulstat::Element> elements) {
    Report report;
    report.results.push_back({{QueryKind::statistics, AskedBy::all, {}}, std::move(elements)});
    return report;
}

TEST(ConditionInAReport, IsMetByTheElementOfItsIdAloneWhereThereIsOne) {
    const auto condition = parseCondition("a > 100");
    EXPECT_FALSE(zulstat::holdsIn(reportWith({{"a", -5, {}}, {"b", 0, {{"a", "666"}}}}), *condition));
    EXPECT_TRUE(zulstat::holdsIn(reportWith({{"a", 0, {{"a", "101"}}}, {"b", 0, {{"a", "6"}}}}), *condition));
}

TEST(ConditionInAReport, IsMetByAGroupThatHasTheStatistic) {
    EXPECT_TRUE(zulstat::holdsIn(reportWith({{"group", 0, {{"a", "101"}}}}), *parseCondition("a > 100")));
}

TEST(ApplySelection, TakesAwayEntriesAndElementsWithoutOnes) {
    Report report = reportWith({{"A", 0, {{"a1", "1"}, {"b1", "2"}}}, {"B", 0, {{"b2", "3"}}}, {"C", -5, {}}});
    applySelection(report, {{"a*"}, SortOrder::asAnswered});
    const auto& elements = report.results[0].elements;
    ASSERT_EQ(elements.size(), 2U);
    EXPECT_EQ(elements[0].entries.size(), 1U);
    EXPECT_EQ(elements[1].text, "C") << "what failed stays to be seen";
}

TEST(ApplySelection, SortsNumbersBySizeBeforeTexts) {
    Report report = reportWith({{"A", 0, {{"x", "text"}, {"y", "100"}, {"z", "9"}}}});
    applySelection(report, {{}, SortOrder::byValue});
    const auto& entries = report.results[0].elements[0].entries;
    EXPECT_EQ(entries[0].value, "9");
    EXPECT_EQ(entries[1].value, "100");
    EXPECT_EQ(entries[2].value, "text");
    applySelection(report, {{}, SortOrder::byId});
    EXPECT_EQ(report.results[0].elements[0].entries[0].id, "x");
}

TEST(IsValueBefore, TellsWholeNumbersApartToTheLastDigit) {
    EXPECT_TRUE(zulstat::isValueBefore("9007199254740992", "9007199254740993"));
    EXPECT_FALSE(zulstat::isValueBefore("9007199254740993", "9007199254740992"));
}

TEST(FormatGateway, NamesAGatewayAndItsAddress) {
    EXPECT_EQ(zulstat::formatGateway({"", "h", 1}), "h:1");
    EXPECT_EQ(zulstat::formatGateway({"east", "::1", 1}), "east ([::1]:1)");
    EXPECT_EQ(zulstat::formatGateway({"h:1", "h", 1}), "h:1");
}

}  // namespace
