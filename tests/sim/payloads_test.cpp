#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <numeric>

#include "conversation.h"
#include "payload_readers.h"
#include "temporary_file.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;
using test_support::TemporaryFile;

constexpr const char* kSmallCatalogue = R"({
    "protocol": "7.3",
    "groups": ["g1", "hollow", "g2"],
    "statistics": [
        {"id": "a", "group": "g1", "kind": "text", "text": "xyz"},
        {"id": "bb", "group": "g2", "kind": "text", "text": ""},
        {"id": "c", "group": "g1", "kind": "text", "text": "0123456789"}
    ]
})";

// A simulator on a catalogue and one open connection to it.
class Daemon {
  public:
    explicit Daemon(std::string_view catalogue) : file_(catalogue), sim_(withCatalogue(file_.path())), talk_(sim_) {
        talk_.open();
    }

    Bytes query(std::string_view operation, std::string_view argument) {
        return talk_.query(operation, argument);
    }
    Conversation& conversation() {
        return talk_;
    }

  private:
    TemporaryFile file_;
    GatewaySim sim_;
    Conversation talk_;
};

// Stream header, object and both class descriptions, up to the first block.
Bytes idResponseStart() {
    return hex("ACED0005 73 72 0020") + characters("com.oxa.zul.stats.StatIdResponse") +
           hex("52A11C0FF34D8E07 0C 0000 78 72 001E") + characters("com.oxa.zul.stats.StatResponse") +
           hex("1F0E2D3C4B5A6978 0C 0000 78 70");
}

Bytes statisticsResponseStart() {
    return hex("ACED0005 73 72 0022") + characters("com.oxa.zul.stats.StatDataResponse") +
           hex("0BADF00D7EE7C0DE 0C 0000 78 72 001E") + characters("com.oxa.zul.stats.StatResponse") +
           hex("1F0E2D3C4B5A6978 0C 0000 78 70");
}

// What stands before the first block of the first statistic.
Bytes firstStatisticStart() {
    return hex("73 72 001A") + characters("com.oxa.zul.stats.StatData") + hex("6C8FDE4A3B21907F 0C 0000 78 70");
}

// What stands between the blocks of two statistics.
Bytes nextStatistic() {
    return hex("78 73 71 007E0003");
}

TEST(IdPayload, ResourceGroupsAreOneResponseWithAnEmptyQueryId) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(shown(daemon.query("RESOURCE_GROUPS", "")),
              shown(hex("00") + idResponseStart() + hex("77 1A 0000 00000000 00000003 0002") + characters("g1") +
                    hex("0006") + characters("hollow") + hex("0002") + characters("g2") + hex("78")));
}

TEST(IdPayload, AllStatisticIdsAreOneResponseWithAnEmptyQueryId) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(shown(daemon.query("STAT_IDS", "")),
              shown(hex("00") + idResponseStart() + hex("77 14 0000 00000000 00000003 0001 61 0002 6262 0001 63 78")));
}

TEST(IdPayload, OneGroupIsOneResponseWithoutACount) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(shown(daemon.query("STAT_IDS", "g1")),
              shown(hex("00") + idResponseStart() + hex("77 12 0002 6731 00000000 00000002 0001 61 0001 63 78")));
}

TEST(IdPayload, SeveralGroupsAreCountedAndTheUnknownOneHasANegativeCode) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(shown(daemon.query("STAT_IDS", "g2:no:hollow")),
              shown(hex("01 00000003") + idResponseStart() + hex("77 10 0002 6732 00000000 00000001 0002 6262 78") +
                    idResponseStart() + hex("77 08 0002 6E6F FFFFFFFB 78") + idResponseStart() +
                    hex("77 10 0006 686F6C6C6F77 00000000 00000000 78")));
}

TEST(IdPayload, EmptyElementsAreUnknownIds) {
    Daemon daemon(kSmallCatalogue);
    const std::vector<Response> expected{{"", -5, {}, {}}, {"g1", 0, {"a", "c"}, {}}, {"", -5, {}, {}}};
    EXPECT_EQ(idsByPosition(daemon.query("STAT_IDS", ":g1:")), expected);
}

TEST(IdPayload, AStatisticsIdIsNoGroup) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(idsByPosition(daemon.query("STAT_IDS", "a")), (std::vector<Response>{{"a", -5, {}, {}}}));
}

TEST(StatisticsPayload, OneGroupHoldsItsStatistics) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(shown(daemon.query("GET_STATS", "g1")),
              shown(hex("00") + statisticsResponseStart() + hex("77 0C 0002 6731 00000000 00000002") +
                    firstStatisticStart() + hex("77 08 0001 61 0003 78797A") + nextStatistic() +
                    hex("77 0F 0001 63 000A") + characters("0123456789") + hex("78 78")));
}

TEST(StatisticsPayload, GroupsStatisticsAndUnknownIdsMix) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(
        shown(daemon.query("GET_STATS", "bb:?:g2")),
        shown(hex("01 00000003") + statisticsResponseStart() + hex("77 0C 0002 6262 00000000 00000001") +
              firstStatisticStart() + hex("77 06 0002 6262 0000 78 78") + statisticsResponseStart() +
              hex("77 07 0001 3F FFFFFFFB 78") + statisticsResponseStart() + hex("77 0C 0002 6732 00000000 00000001") +
              firstStatisticStart() + hex("77 06 0002 6262 0000 78 78")));
}

TEST(StatisticsPayload, AGroupOfNoneEndsShortAsTheLastResponse) {
    Daemon daemon(kSmallCatalogue);
    EXPECT_EQ(shown(daemon.query("GET_STATS", "hollow")),
              shown(hex("00") + statisticsResponseStart() + hex("77 10 0006 686F6C6C6F77 00000000 00000000 78")));
}

TEST(StatisticsPayload, AGroupOfNoneKeepsItsPositionsBeforeAnotherResponse) {
    Daemon daemon(kSmallCatalogue);
    const Bytes payload = daemon.query("GET_STATS", "hollow:c");
    EXPECT_EQ(shown(payload),
              shown(hex("01 00000002") + statisticsResponseStart() +
                    hex("77 10 0006 686F6C6C6F77 00000000 00000000 77 0B 0002 6E6F 00000000000000 78") +
                    statisticsResponseStart() + hex("77 0B 0001 63 00000000 00000001") + firstStatisticStart() +
                    hex("77 0F 0001 63 000A") + characters("0123456789") + hex("78 78")));
    const std::vector<Response> expected{{"hollow", 0, {}, {}}, {"c", 0, {}, {{"c", "0123456789"}}}};
    EXPECT_EQ(statisticsByPosition(payload), expected);
    EXPECT_EQ(statisticsOfObjects(streamObjects(payload)), expected);
}

TEST(StatisticsPayload, WithoutAQueryEachGroupIsAResponse) {
    Daemon daemon(kSmallCatalogue);
    const std::vector<Response> expected{
        {"g1", 0, {}, {{"a", "xyz"}, {"c", "0123456789"}}}, {"hollow", 0, {}, {}}, {"g2", 0, {}, {{"bb", ""}}}};
    EXPECT_EQ(statisticsByPosition(daemon.query("GET_STATS", "")), expected);
}

TEST(StatisticsPayload, ACatalogueWithoutGroupsHasNoResponse) {
    Daemon daemon(R"({"protocol": "", "groups": [], "statistics": []})");
    EXPECT_EQ(shown(daemon.query("GET_STATS", "")), shown(hex("01 00000000")));
    EXPECT_EQ(shown(daemon.query("RESOURCE_GROUPS", "")),
              shown(hex("00") + idResponseStart() + hex("77 0A 0000 00000000 00000000 78")));
}

constexpr const char* kCatalogueWithCodes = R"({
    "protocol": "1",
    "groups": [{"id": "g", "code": 258}, {"id": "none", "code": 1}, {"id": {"hex": "FF"}, "code": -2}],
    "statistics": [
        {"id": "a", "group": "g", "kind": "text", "text": "x"},
        {"id": "b", "group": "g", "code": -2147483648, "kind": "text", "text": "y"},
        {"id": "c", "group": {"hex": "FF"}, "code": 2147483647, "kind": "text", "text": "z"}
    ]
})";

TEST(IdPayload, APositiveCodeComesWithIdsAndANegativeOneWithout) {
    Daemon daemon(kCatalogueWithCodes);
    EXPECT_EQ(shown(daemon.query("STAT_IDS", "g:none:\xFF")),
              shown(hex("01 00000003") + idResponseStart() + hex("77 11 0001 67 00000102 00000002 0001 61 0001 62 78") +
                    idResponseStart() + hex("77 0E 0004 6E6F6E65 00000001 00000000 78") + idResponseStart() +
                    hex("77 07 0001 FF FFFFFFFE 78")));
}

TEST(StatisticsPayload, APositiveCodeComesWithStatisticsAndANegativeOneWithout) {
    Daemon daemon(kCatalogueWithCodes);
    const std::vector<Response> expected{{"g", 258, {}, {{"a", "x"}, {"b", "y"}}},
                                         {"none", 1, {}, {}},
                                         {"\xFF", -2, {}, {}},
                                         {"a", 0, {}, {{"a", "x"}}},
                                         {"b", INT32_MIN, {}, {}},
                                         {"c", INT32_MAX, {}, {{"c", "z"}}}};
    const Bytes payload = daemon.query("GET_STATS", "g:none:\xFF:a:b:c");
    EXPECT_EQ(statisticsByPosition(payload), expected);
    EXPECT_EQ(statisticsOfObjects(streamObjects(payload)), expected);
    EXPECT_EQ(statisticsByPosition(daemon.query("GET_STATS", "")),
              std::vector<Response>(expected.begin(), expected.begin() + 3));
}

TEST(IdPayload, CodesOfGroupsAreNotThoseOfTheListOfGroups) {
    Daemon daemon(kCatalogueWithCodes);
    EXPECT_EQ(idsByPosition(daemon.query("RESOURCE_GROUPS", "")),
              (std::vector<Response>{{"", 0, {"g", "none", "\xFF"}, {}}}));
    EXPECT_EQ(idsByPosition(daemon.query("STAT_IDS", "")), (std::vector<Response>{{"", 0, {"a", "b", "c"}, {}}}));
}

TEST(AttributePayload, AnEmptyProtocolTextIsAnEmptyString) {
    Daemon daemon(R"({"protocol": "", "groups": [], "statistics": []})");
    daemon.conversation().init();
    const Bytes reply = daemon.conversation().attribute();
    EXPECT_EQ(shown(part(reply, 43, reply.size() - 43)), shown(hex("00 ACED0005 74 0000")));
}

TEST(AttributePayload, AProtocolTextMayHave65535Bytes) {
    const std::string protocol(65535, 'v');
    Daemon daemon("{\"protocol\": \"" + protocol + "\", \"groups\": [], \"statistics\": []}");
    daemon.conversation().init();
    const Bytes reply = daemon.conversation().attribute();
    EXPECT_EQ(reply.size(), 34U + 9 + 8 + 65535);
    EXPECT_EQ(shown(part(reply, 49, 4)), shown(hex("FFFF 7676")));
}

// The size of id and value together with their two lengths, and the blocks that hold them.
struct Split {
    size_t idSize;
    size_t valueSize;
    std::vector<size_t> blockSizes;
};

void PrintTo(const Split& split, std::ostream* stream) {
    *stream << split.idSize << "_" << split.valueSize;
}

class SplitValue : public testing::TestWithParam<Split> {};

INSTANTIATE_TEST_SUITE_P(IdAndValueSize, SplitValue,
                         testing::Values(Split{1, 0, {5}}, Split{10, 240, {254}}, Split{10, 241, {255}},
                                         Split{10, 242, {256}}, Split{10, 1010, {1024}}, Split{10, 1011, {1024, 1}},
                                         Split{10, 1265, {1024, 255}}, Split{10, 1266, {1024, 256}},
                                         Split{10, 2034, {1024, 1024}}, Split{10, 2035, {1024, 1024, 1}},
                                         Split{10, 3000, {1024, 1024, 966}}, Split{255, 0, {259}},
                                         Split{1020, 0, {1024}}, Split{1020, 1, {1024, 1}}, Split{1021, 0, {1025}},
                                         Split{1021, 2000, {1025, 1024, 976}}, Split{32763, 300, {32767, 300}}),
                         [](const auto& tested) {
                             return std::to_string(tested.param.idSize) + "_" + std::to_string(tested.param.valueSize);
                         });

TEST_P(SplitValue, StandsInTheseBlocksAndReadsBackWhole) {
    const std::string id(GetParam().idSize, 'i');
    std::string value(GetParam().valueSize, ' ');
    std::iota(value.begin(), value.end(), '\0');
    for (char& character : value) {
        character = static_cast<char>('a' + static_cast<unsigned char>(character) % 26);
    }
    Daemon daemon(R"({"protocol": "1", "groups": ["g"], "statistics": [{"id": ")" + id +
                  R"(", "group": "g", "kind": "text", "text": ")" + value +
                  R"("}, {"id": "after", "group": "g", "kind": "text", "text": "it"}]})");
    const Bytes payload = daemon.query("GET_STATS", "g");
    const std::vector<Response> expected{{"g", 0, {}, {{id, value}, {"after", "it"}}}};
    EXPECT_EQ(statisticsByPosition(payload), expected);
    const std::vector<StreamObject> objects = streamObjects(payload);
    EXPECT_EQ(statisticsOfObjects(objects), expected);
    std::vector<size_t> sizes;
    for (const Bytes& block : objects.at(0).objects.at(0).blocks) {
        sizes.push_back(block.size());
    }
    EXPECT_EQ(sizes, GetParam().blockSizes);
}

TEST(StatisticsPayload, AValueMayHave32767Bytes) {
    Daemon daemon(R"({"protocol": "1", "groups": ["g"], "statistics": [
        {"id": "x", "group": "g", "kind": "text", "text": "0123456", "repeat": 4681}]})");
    const std::vector<Response> responses = statisticsByPosition(daemon.query("GET_STATS", "x"));
    ASSERT_EQ(responses.at(0).statistics.size(), 1U);
    const std::string& value = responses.at(0).statistics.at(0).second;
    EXPECT_EQ(value.size(), 32767U);
    EXPECT_EQ(value.substr(32760), "0123456");
}

TEST(StatisticsPayload, AValueIsGivenAsItStandsWhateverItsBytes) {
    Daemon daemon(R"({"protocol": "1", "groups": ["g"], "statistics": [
        {"id": "x", "group": "g", "kind": "text", "text": "\u0000\t\u001bz\u00e9"}]})");
    const std::vector<Response> responses = statisticsByPosition(daemon.query("GET_STATS", "x"));
    EXPECT_EQ(responses.at(0).statistics.at(0).second, std::string("\0\t\x1Bz\xC3\xA9", 6));
}

TEST(IdPayload, ABlockOfMoreThan255BytesIsOneLongBlockHoweverLong) {
    std::string groups;
    std::vector<std::string> ids;
    for (int index = 0; index < 500; ++index) {
        ids.push_back("group-" + std::to_string(index));
        groups += (index == 0 ? "\"" : ", \"") + ids.back() + "\"";
    }
    Daemon daemon("{\"protocol\": \"1\", \"groups\": [" + groups + "], \"statistics\": []}");
    const Bytes payload = daemon.query("RESOURCE_GROUPS", "");
    const std::vector<Response> expected{{"", 0, ids, {}}};
    EXPECT_EQ(idsByPosition(payload), expected);
    const std::vector<StreamObject> objects = streamObjects(payload);
    EXPECT_EQ(idsOfObjects(objects), expected);
    EXPECT_EQ(objects.at(0).blocks.size(), 1U);
    EXPECT_EQ(payload.at(1 + idResponseStart().size()), 0x7A);
}

TEST(Payload, AQueryIdOf65535BytesComesBack) {
    Daemon daemon(kSmallCatalogue);
    const std::string unknown(65535, 'q');
    EXPECT_EQ(idsByPosition(daemon.query("STAT_IDS", unknown)), (std::vector<Response>{{unknown, -5, {}, {}}}));
    EXPECT_EQ(statisticsByPosition(daemon.query("GET_STATS", unknown)), (std::vector<Response>{{unknown, -5, {}, {}}}));
}

TEST(Payload, AQueryIdComesBackWhateverItsBytes) {
    Daemon daemon(kSmallCatalogue);
    const std::string unknown("\0\xFF\x7Fg1\n", 6);
    EXPECT_EQ(idsByPosition(daemon.query("STAT_IDS", unknown)), (std::vector<Response>{{unknown, -5, {}, {}}}));
}

TEST(Payload, OfTheBuiltInCatalogueIsTheSameReadByPositionAndTagByTag) {
    const GatewaySim sim({"--seed", "3", "--frozen-clock", "2024-05-06T07:08:09Z"});
    Conversation conversation(sim);
    conversation.open();
    const Bytes ids = conversation.query("STAT_IDS", "");
    EXPECT_EQ(idsByPosition(ids), idsOfObjects(streamObjects(ids)));
    const Bytes statistics = conversation.query("GET_STATS", "");
    EXPECT_EQ(statisticsByPosition(statistics), statisticsOfObjects(streamObjects(statistics)));
}

TEST(Payload, ClassesOfTheObjectsAreThese) {
    Daemon daemon(kSmallCatalogue);
    const std::vector<StreamObject> objects = streamObjects(daemon.query("GET_STATS", "g1"));
    ASSERT_EQ(objects.size(), 1U);
    EXPECT_EQ(objects[0].classes,
              (std::vector<std::string>{"com.oxa.zul.stats.StatDataResponse", "com.oxa.zul.stats.StatResponse"}));
    ASSERT_EQ(objects[0].objects.size(), 2U);
    EXPECT_EQ(objects[0].objects[0].classes, (std::vector<std::string>{"com.oxa.zul.stats.StatData"}));
    EXPECT_EQ(objects[0].objects[1].classes, (std::vector<std::string>{"com.oxa.zul.stats.StatData"}));
}

}  // namespace

}  // namespace sim_test
