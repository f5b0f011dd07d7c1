#include "table_output.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using zulstat::AskedBy;
using zulstat::QueryKind;
using zulstat::QueryResult;
using zulstat::renderTables;
using zulstat::Report;
using zulstat::TableStyle;

Report reportOf(QueryResult result) {
    Report report;
    report.results.push_back(std::move(result));
    return report;
}

std::string render(const Report& report, bool withColour) {
    TableStyle style;
    style.withColour = withColour;
    return renderTables({report}, style);
}

TEST(RenderTables, AlignsElementStatisticAndValue) {
    const Report report = reportOf({{QueryKind::statistics, AskedBy::group, {"A", "LONG"}},
                                    {{"A", 0, {{"one", "1"}, {"twenty", "20"}}}, {"LONG", 0, {{"x", "y"}}}}});
    EXPECT_EQ(render(report, false),
              "QUERY  STATISTIC  VALUE\n"
              "A      one         1\n"
              "A      twenty     20\n"
              "LONG   x          y\n");
}

TEST(RenderTables, AlignsByColumnsNotBytes) {
    const Report report = reportOf(
        {{QueryKind::statistics, AskedBy::group, {}},
         {{"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x88\xC3\xA4\xC3\xA4\xC3\xA4", 0, {{"a", "1"}}}, {"b", 0, {{"c", "2"}}}}});
    EXPECT_EQ(render(report, false),
              "QUERY    STATISTIC  VALUE\n"
              "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x88\xC3\xA4\xC3\xA4\xC3\xA4  a          1\n"
              "b        c          2\n");
}

TEST(RenderTables, MeasuresWhatIsShownNotWhatItStandsFor) {
    const Report report = reportOf(
        {{QueryKind::statistics, AskedBy::group, {}}, {{"\x1B[2J\n", 0, {{"a", "1"}}}, {"b", 0, {{"c", "2"}}}}});
    EXPECT_EQ(render(report, false),
              "QUERY      STATISTIC  VALUE\n"
              "\\x1B[2J\\n  a          1\n"
              "b          c          2\n");
}

TEST(RenderTables, ShowsEveryValueWholeOnOneLine) {
    const std::string value = std::string(70000, 'v') + "\r\nend";
    const std::string output =
        render(reportOf({{QueryKind::statistics, AskedBy::all, {}}, {{"A", 0, {{"id", value}}}}}), false);
    EXPECT_NE(output.find(std::string(70000, 'v') + "\\r\\nend\n"), std::string::npos);
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 2);
}

TEST(RenderTables, ShowsAFailedElementAmongTheOthers) {
    const Report report = reportOf({{QueryKind::statistics, AskedBy::group, {"A", "B", "C"}},
                                    {{"A", 0, {{"one", "1"}}}, {"B", -5, {}}, {"C", 0, {{"two", "2"}}}}});
    EXPECT_EQ(render(report, false),
              "QUERY  STATISTIC        VALUE\n"
              "A      one              1\n"
              "B      failed, code -5\n"
              "C      two              2\n");
}

TEST(RenderTables, SaysThatAnElementHasNoEntries) {
    const Report report = reportOf({{QueryKind::statisticIds, AskedBy::group, {"A"}}, {{"A", 0, {}}}});
    EXPECT_EQ(render(report, false), "QUERY  STATISTIC\nA      no statistic ids\n");
}

TEST(RenderTables, ShowsOneColumnWhereTheGatewayNamesNoElement) {
    const Report report =
        reportOf({{QueryKind::resourceGroups, AskedBy::all, {}}, {{"", 0, {{"daemon", ""}, {"memory", ""}}}}});
    EXPECT_EQ(render(report, false), "RESOURCE GROUP\ndaemon\nmemory\n");
}

TEST(RenderTables, ShowsEmptyTextsAsQuotes) {
    const Report report =
        reportOf({{QueryKind::statistics, AskedBy::all, {}}, {{"A", 0, {{"", ""}}}, {"", 0, {{"x", "1"}}}}});
    EXPECT_EQ(render(report, false),
              "QUERY  STATISTIC  VALUE\n"
              "A      \"\"         \"\"\n"
              "\"\"     x          1\n");
}

TEST(RenderTables, ShowsNothingWhereThereIsNothing) {
    EXPECT_EQ(render(Report{}, true), "");
    EXPECT_EQ(render(reportOf({}), true), "");
    EXPECT_EQ(render(reportOf({{}, {{"", 0, {}}}}), true), "");
}

TEST(RenderTables, SeparatesTwoQueriesByAnEmptyLine) {
    Report report = reportOf({{QueryKind::statistics, AskedBy::group, {"A"}}, {{"A", 0, {{"a.one", "1"}}}}});
    report.results.push_back(
        {{QueryKind::statistics, AskedBy::statisticId, {"b.two"}}, {{"b.two", 0, {{"b.two", "2"}}}}});
    EXPECT_EQ(render(report, false),
              "QUERY  STATISTIC  VALUE\n"
              "A      a.one      1\n"
              "\n"
              "QUERY  STATISTIC  VALUE\n"
              "b.two  b.two      2\n");
}

TEST(RenderTables, ColoursHeaderFailuresAndEmptyElementsOnlyWhenAskedTo) {
    const Report report = reportOf({{QueryKind::statisticIds, AskedBy::group, {"A", "B", "C"}},
                                    {{"A", 0, {{"a", ""}}}, {"B", -5, {}}, {"C", 0, {}}}});
    EXPECT_EQ(render(report, true),
              "\x1B[1mQUERY  STATISTIC\x1B[0m\n"
              "A      a\n"
              "\x1B[31mB      failed, code -5\x1B[0m\n"
              "\x1B[2mC      no statistic ids\x1B[0m\n");
    EXPECT_EQ(render(report, false).find('\x1B'), std::string::npos);
}

TEST(RenderTables, LetsNumbersEndBelowEachOtherWhateverElseThereIs) {
    EXPECT_EQ(render(reportOf({{QueryKind::statistics, AskedBy::group, {}},
                               {{"A", 0, {{"a", "-1.5"}, {"b", "1000000"}, {"c", "a very long text"}, {"d", ""}}}}}),
                     false),
              "QUERY  STATISTIC  VALUE\n"
              "A      a             -1.5\n"
              "A      b          1000000\n"
              "A      c          a very long text\n"
              "A      d          \"\"\n");
}

TEST(RenderTables, CutsValuesThatAreWiderThanTheTerminal) {
    TableStyle style;
    style.width = 30;
    const Report report =
        reportOf({{QueryKind::statistics, AskedBy::group, {}}, {{"A", 0, {{"a", "0123456789012345"}, {"b", "1"}}}}});
    EXPECT_EQ(renderTables({report}, style),
              "QUERY  STATISTIC  VALUE\n"
              "A      a          01234567890\xE2\x80\xA6\n"
              "A      b                     1\n");
}

TEST(RenderTables, LeavesOutTheHeader) {
    TableStyle style;
    style.withHeader = false;
    const Report report =
        reportOf({{QueryKind::statistics, AskedBy::group, {}}, {{"A", 0, {{"a", "1"}}}, {"B", -5, {}}}});
    EXPECT_EQ(renderTables({report}, style), "A  a                1\nB  failed, code -5\n");
    EXPECT_EQ(renderTables({Report{}}, style), "");
}

TEST(RenderTables, ShowsSeveralGatewaysInOneTable) {
    Report east = reportOf({{QueryKind::statistics, AskedBy::group, {}}, {{"A", 0, {{"a", "1"}}}}});
    east.gateway.name = "east";
    Report west = reportOf({{QueryKind::statistics, AskedBy::group, {}}, {{"A", 0, {{"a", "20"}}}}});
    west.gateway.name = "west\n";
    Report silent;
    silent.gateway.name = "silent";
    EXPECT_EQ(renderTables({east, silent, west}, {}),
              "GATEWAY  QUERY  STATISTIC  VALUE\n"
              "east     A      a           1\n"
              "west\\n   A      a          20\n");
}

}  // namespace
