#include "json_output.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

namespace {

using namespace std::string_literals;
using nlohmann::json;
using zulstat::AskedBy;
using zulstat::Failure;
using zulstat::Query;
using zulstat::QueryKind;
using zulstat::renderJson;
using zulstat::Report;

Report connectedReport() {
    Report report;
    report.gateway = {"", "gateway1", 2980};
    report.startedAt = std::chrono::system_clock::time_point(std::chrono::milliseconds(1700000000250));
    report.duration = std::chrono::milliseconds(12);
    report.protocolVersion = "1.0";
    return report;
}

std::string render(const Report& report) {
    return renderJson({report}, {"10.1.0", "1_1_0_1"});
}

TEST(RenderJson, TellsVersionsAndGateway) {
    const json document = json::parse(render(connectedReport()));
    EXPECT_EQ(document, json::parse(R"({
        "format": 1,
        "program": {"name": "zulstat", "version": "10.1.0", "apiVersion": "1_1_0_1"},
        "time": "2023-11-14T22:13:20.250Z",
        "durationMs": 12,
        "gateway": {"name": null, "host": "gateway1", "port": 2980, "protocolVersion": "1.0"},
        "queries": [],
        "failedElements": 0,
        "error": null
    })"));
}

TEST(RenderJson, KeepsTheDocumentedOrderOfFields) {
    const std::string text = render(connectedReport());
    size_t last = 0;
    for (const char* const field :
         {"format", "program", "time", "durationMs", "gateway", "queries", "failedElements", "error"}) {
        const size_t place = text.find('"' + std::string(field) + '"');
        ASSERT_NE(place, std::string::npos) << field;
        EXPECT_GT(place, last) << field;
        last = place;
    }
}

TEST(RenderJson, ListsStatisticsAndFailedElementsInOrder) {
    Report report = connectedReport();
    report.results.push_back({{QueryKind::statistics, AskedBy::group, {"A", "B", "C"}},
                              {{"A", 0, {{"one", "1"}, {"two", ""}}}, {"B", -5, {}}, {"C", 4, {}}}});
    const json document = json::parse(render(report));
    EXPECT_EQ(document["queries"], json::parse(R"([{
        "kind": "statistics", "by": "group", "asked": ["A", "B", "C"],
        "elements": [
            {"element": "A", "code": 0, "statistics": [{"id": "one", "value": "1"}, {"id": "two", "value": ""}]},
            {"element": "B", "code": -5,
             "error": {"code": -5, "message": "the gateway could not answer this query element"}},
            {"element": "C", "code": 4, "statistics": []}
        ]
    }])"));
    EXPECT_EQ(document["failedElements"], 1);
    EXPECT_TRUE(document["error"].is_null());
}

TEST(RenderJson, ListsIds) {
    Report report = connectedReport();
    report.results.push_back({{QueryKind::resourceGroups, AskedBy::all, {}}, {{"", 0, {{"daemon", ""}}}}});
    report.results.push_back({{QueryKind::statisticIds, AskedBy::statisticId, {}}, {}});
    const json document = json::parse(render(report));
    EXPECT_EQ(document["queries"], json::parse(R"([
        {"kind": "resourceGroups", "by": "all", "asked": [],
         "elements": [{"element": "", "code": 0, "ids": ["daemon"]}]},
        {"kind": "statisticIds", "by": "statisticId", "asked": [], "elements": []}
    ])"));
}

TEST(RenderJson, TellsAFailureWithItsCode) {
    Report report = connectedReport();
    report.protocolVersion.reset();
    report.failure = Failure{};
    report.failure->code = -135;
    const json document = json::parse(render(report));
    EXPECT_TRUE(document["gateway"]["protocolVersion"].is_null());
    EXPECT_EQ(document["error"]["stage"], "connect");
    EXPECT_EQ(document["error"]["code"], -135);
    EXPECT_EQ(document["error"]["name"], "STAPI_RC_CONNECT_REFUSED");
    EXPECT_EQ(document["error"]["message"].get<std::string>().find("cannot connect to gateway1:2980: "), 0U);
}

TEST(RenderJson, TellsAFailureWithoutACode) {
    Report report = connectedReport();
    report.failure =
        Failure{Failure::Stage::querying, Failure::Kind::code, Query{}, std::nullopt, "no answer within 3 s", "Wait."};
    const json document = json::parse(render(report));
    EXPECT_EQ(document["error"]["stage"], "query");
    EXPECT_TRUE(document["error"]["code"].is_null());
    EXPECT_TRUE(document["error"]["name"].is_null());
}

TEST(RenderJson, KeepsControlCharactersAndInternationalTextExactly) {
    const std::string value = "\0\n\x1B\"\\\x7F\xC2\x9B Gr\xC3\xB6\xC3\x9F\xF0\x9F\x93\x88"s;
    Report report = connectedReport();
    report.results.push_back({{QueryKind::statistics, AskedBy::all, {}}, {{"A", 0, {{"id", value}}}}});
    const std::string text = render(report);
    EXPECT_EQ(json::parse(text)["queries"][0]["elements"][0]["statistics"][0]["value"], value);
}

TEST(RenderJson, ReplacesBytesThatAreNoUtf8) {
    Report report = connectedReport();
    report.protocolVersion = "\xFF";
    report.results.push_back({{QueryKind::statistics, AskedBy::group, {"\xC3"}},
                              {{"a\xFF",
                                0,
                                {{"b\xC3",
                                  "c\xED\xA0\x80"
                                  "d"}}}}});
    const json document = json::parse(render(report));
    EXPECT_EQ(document["queries"][0]["elements"][0]["element"], "a\xEF\xBF\xBD");
    EXPECT_EQ(document["queries"][0]["elements"][0]["statistics"][0]["id"], "b\xEF\xBF\xBD");
    const std::string value = document["queries"][0]["elements"][0]["statistics"][0]["value"];
    EXPECT_EQ(value.front(), 'c');
    EXPECT_EQ(value.back(), 'd');
    EXPECT_NE(value.find("\xEF\xBF\xBD"), std::string::npos);
}

TEST(RenderJson, IsAsciiWhateverComesIn) {
    // The same texts in every run.
    std::minstd_rand random(20240506);  // NOLINT(cert-msc32-c,cert-msc51-cpp)
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (unsigned size = static_cast<unsigned>(random() % 12); size > 0; --size) {
            text += static_cast<char>(random() % 256);
        }
        Report report = connectedReport();
        report.gateway.host = text;
        report.results.push_back({{QueryKind::statistics, AskedBy::group, {text}}, {{text, 0, {{text, text}}}}});
        const std::string output = render(report);
        for (const char byte : output) {
            const auto value = static_cast<unsigned char>(byte);
            ASSERT_TRUE(byte == '\n' || (value >= 0x20 && value < 0x7F)) << round;
        }
        ASSERT_FALSE(json::parse(output, nullptr, false).is_discarded()) << round;
    }
}

}  // namespace
