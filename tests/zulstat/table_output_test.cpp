#include "table_output.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using zulstat::AskedBy;
using zulstat::QueryKind;
using zulstat::QueryResult;
using zulstat::renderTables;
using zulstat::Report;

Report reportOf(QueryResult result) {
    Report report;
    report.results.push_back(std::move(result));
    return report;
}

TEST(RenderTables, AlignsElementStatisticAndValue) {
    const Report report = reportOf({{QueryKind::statistics, AskedBy::group, {"A", "LONG"}},
                                    {{"A", 0, {{"one", "1"}, {"twenty", "20"}}}, {"LONG", 0, {{"x", "y"}}}}});
    EXPECT_EQ(renderTables(report, false),
              "QUERY  STATISTIC  VALUE\n"
              "A      one        1\n"
              "A      twenty     20\n"
              "LONG   x          y\n");
}

TEST(RenderTables, AlignsByCharactersNotBytes) {
    const Report report = reportOf(
        {{QueryKind::statistics, AskedBy::group, {}},
         {{"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x88\xC3\xA4\xC3\xA4\xC3\xA4", 0, {{"a", "1"}}}, {"b", 0, {{"c", "2"}}}}});
    EXPECT_EQ(renderTables(report, false),
              "QUERY   STATISTIC  VALUE\n"
              "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x88\xC3\xA4\xC3\xA4\xC3\xA4  a          1\n"
              "b       c          2\n");
}

TEST(RenderTables, MeasuresWhatIsShownNotWhatItStandsFor) {
    const Report report = reportOf(
        {{QueryKind::statistics, AskedBy::group, {}}, {{"\x1B[2J\n", 0, {{"a", "1"}}}, {"b", 0, {{"c", "2"}}}}});
    EXPECT_EQ(renderTables(report, false),
              "QUERY      STATISTIC  VALUE\n"
              "\\x1B[2J\\n  a          1\n"
              "b          c          2\n");
}

TEST(RenderTables, ShowsEveryValueWholeOnOneLine) {
    const std::string value = std::string(70000, 'v') + "\r\nend";
    const std::string output =
        renderTables(reportOf({{QueryKind::statistics, AskedBy::all, {}}, {{"A", 0, {{"id", value}}}}}), false);
    EXPECT_NE(output.find(std::string(70000, 'v') + "\\r\\nend\n"), std::string::npos);
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 2);
}

TEST(RenderTables, ShowsAFailedElementAmongTheOthers) {
    const Report report = reportOf({{QueryKind::statistics, AskedBy::group, {"A", "B", "C"}},
                                    {{"A", 0, {{"one", "1"}}}, {"B", -5, {}}, {"C", 0, {{"two", "2"}}}}});
    EXPECT_EQ(renderTables(report, false),
              "QUERY  STATISTIC        VALUE\n"
              "A      one              1\n"
              "B      failed, code -5\n"
              "C      two              2\n");
}

TEST(RenderTables, SaysThatAnElementHasNoEntries) {
    const Report report = reportOf({{QueryKind::statisticIds, AskedBy::group, {"A"}}, {{"A", 0, {}}}});
    EXPECT_EQ(renderTables(report, false), "QUERY  STATISTIC\nA      no statistic ids\n");
}

TEST(RenderTables, ShowsOneColumnWhereTheGatewayNamesNoElement) {
    const Report report =
        reportOf({{QueryKind::resourceGroups, AskedBy::all, {}}, {{"", 0, {{"daemon", ""}, {"memory", ""}}}}});
    EXPECT_EQ(renderTables(report, false), "RESOURCE GROUP\ndaemon\nmemory\n");
}

TEST(RenderTables, ShowsEmptyTextsAsQuotes) {
    const Report report =
        reportOf({{QueryKind::statistics, AskedBy::all, {}}, {{"A", 0, {{"", ""}}}, {"", 0, {{"x", "1"}}}}});
    EXPECT_EQ(renderTables(report, false),
              "QUERY  STATISTIC  VALUE\n"
              "A      \"\"         \"\"\n"
              "\"\"     x          1\n");
}

TEST(RenderTables, ShowsNothingWhereThereIsNothing) {
    EXPECT_EQ(renderTables(Report{}, true), "");
    EXPECT_EQ(renderTables(reportOf({}), true), "");
    EXPECT_EQ(renderTables(reportOf({{}, {{"", 0, {}}}}), true), "");
}

TEST(RenderTables, SeparatesTwoQueriesByAnEmptyLine) {
    Report report = reportOf({{QueryKind::statistics, AskedBy::group, {"A"}}, {{"A", 0, {{"a.one", "1"}}}}});
    report.results.push_back(
        {{QueryKind::statistics, AskedBy::statisticId, {"b.two"}}, {{"b.two", 0, {{"b.two", "2"}}}}});
    EXPECT_EQ(renderTables(report, false),
              "QUERY  STATISTIC  VALUE\n"
              "A      a.one      1\n"
              "\n"
              "QUERY  STATISTIC  VALUE\n"
              "b.two  b.two      2\n");
}

TEST(RenderTables, ColoursHeaderFailuresAndEmptyElementsOnlyWhenAskedTo) {
    const Report report = reportOf({{QueryKind::statisticIds, AskedBy::group, {"A", "B", "C"}},
                                    {{"A", 0, {{"a", ""}}}, {"B", -5, {}}, {"C", 0, {}}}});
    EXPECT_EQ(renderTables(report, true),
              "\x1B[1mQUERY  STATISTIC\x1B[0m\n"
              "A      a\n"
              "\x1B[31mB      failed, code -5\x1B[0m\n"
              "\x1B[2mC      no statistic ids\x1B[0m\n");
    EXPECT_EQ(renderTables(report, false).find('\x1B'), std::string::npos);
}

}  // namespace
