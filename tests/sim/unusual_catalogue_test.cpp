// The built-in catalogue of unusual content: each piece reaches a client byte by byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "conversation.h"
#include "payload_readers.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;

class UnusualCatalogue : public testing::Test {
  protected:
    UnusualCatalogue() : sim_({"--built-in", "unusual"}), conversation_(sim_) {
        conversation_.open();
    }

    std::vector<std::string> groups() {
        return idsByPosition(conversation_.query("RESOURCE_GROUPS", "")).at(0).ids;
    }
    std::vector<std::string> allIds() {
        return idsByPosition(conversation_.query("STAT_IDS", "")).at(0).ids;
    }
    Response ask(std::string_view element) {
        return statisticsByPosition(conversation_.query("GET_STATS", element)).at(0);
    }
    std::string valueOf(const std::string& id) {
        const Response response = ask(id);
        return response.statistics.size() == 1 && response.statistics[0].first == id ? response.statistics[0].second
                                                                                     : "no answer to " + id;
    }
    Conversation& conversation() {
        return conversation_;
    }

  private:
    GatewaySim sim_;
    Conversation conversation_;
};

bool holds(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

TEST_F(UnusualCatalogue, HasGroupsAndStatisticsBeyondAscii) {
    const std::vector<std::string> all = groups();
    for (const char* const group :
         {"Gr\u00F6\u00DFen", "\u03BC\u03B5\u03C4\u03C1\u03AE\u03C3\u03B5\u03B9\u03C2", "\u9023\u7DDA",
          "\U0001F680 rockets", "cafe\u0301", "\u05DE\u05D3\u05D3\u05D9\u05DD"}) {
        EXPECT_TRUE(holds(all, group)) << group;
        EXPECT_FALSE(ask(group).statistics.empty()) << group;
    }
    EXPECT_EQ(valueOf("Gr\u00F6\u00DFen.H\u00F6he"), "1,80 m");
    EXPECT_EQ(valueOf("\u9023\u7DDA.\u76EE\u524D\u6578\u91CF"), "\uFF11\uFF12");
    EXPECT_EQ(valueOf("\U0001F680.launched"), "3");
    EXPECT_EQ(valueOf("cafe\u0301.combining"), "the accent is a character of its own");
    EXPECT_EQ(valueOf("\u0639\u062F\u062F.total"), "7");
}

TEST_F(UnusualCatalogue, HasIdsWithBlanksDashesAndQuotes) {
    EXPECT_EQ(valueOf(" begins with a blank"), "2");
    EXPECT_EQ(valueOf("ends with a blank "), "3");
    EXPECT_EQ(valueOf("-x"), "1");
    EXPECT_EQ(valueOf("it's"), "1");
    EXPECT_EQ(valueOf("back\\slash"), "2");
    EXPECT_EQ(ask("\"quoted\"").statistics.size(), 9U);
    EXPECT_EQ(ask("-begins-with-a-dash").statistics.size(), 4U);
}

TEST_F(UnusualCatalogue, HasIdsAndValuesThatAreNoUtf8) {
    EXPECT_EQ(valueOf("\xFF\xFE"), "value of an id that is no UTF-8");
    EXPECT_EQ(valueOf("bytes.as-value"),
              "gr\xFC\xDF"
              "e \xC3\x28 \xED\xA0\x80 \x80");
    EXPECT_EQ(ask("latin-1 gr\xF6\xDF"
                  "e")
                  .statistics.size(),
              3U);
}

TEST_F(UnusualCatalogue, HasControlCharacters) {
    EXPECT_EQ(valueOf("line\nend"), "1");
    EXPECT_EQ(valueOf("\x1B[31mred\x1B[0m"), "3");
    EXPECT_EQ(valueOf(std::string("nul\0inside", 10)), "5");
    EXPECT_EQ(valueOf("control.as-value"), std::string("\x1B[2J\x1B[H\0\x08\xC2\x9B"
                                                       "31m",
                                                       14));
}

TEST_F(UnusualCatalogue, HasIdsOf200Bytes) {
    const auto isLong = [](const std::string& id) { return id.size() == 200; };
    const std::vector<std::string> ids = allIds();
    const std::vector<std::string> all = groups();
    EXPECT_EQ(std::count_if(all.begin(), all.end(), isLong), 1);
    EXPECT_EQ(std::count_if(ids.begin(), ids.end(), isLong), 2);
}

TEST_F(UnusualCatalogue, HasEmptyLongAndManyLinedValues) {
    EXPECT_EQ(valueOf("value.empty"), "");
    EXPECT_EQ(valueOf("value.lines"), "first line\nsecond line\r\n\tthird line\n\nlast line");
    EXPECT_EQ(valueOf("value.of-1024-bytes").size(), 1024U);
    EXPECT_EQ(valueOf("value.above-1024-bytes").size(), 2100U);
    EXPECT_EQ(valueOf("value.wide-above-1024-bytes").size(), 2100U);
    EXPECT_EQ(valueOf("value.longest").size(), 32767U);
}

TEST_F(UnusualCatalogue, HasAGroupWithoutStatistics) {
    EXPECT_EQ(ask("without statistics"), (Response{"without statistics", 0, {}, {}}));
}

TEST_F(UnusualCatalogue, HasAGroupWhoseIdsTakeMoreThan1024BytesInOneBlock) {
    const Bytes payload = conversation().query("STAT_IDS", "many ids");
    EXPECT_EQ(idsByPosition(payload).at(0).ids.size(), 24U);
    const std::vector<StreamObject> objects = streamObjects(payload);
    ASSERT_EQ(objects.at(0).blocks.size(), 1U);
    EXPECT_GT(objects.at(0).blocks.at(0).size(), 1024U);
}

TEST_F(UnusualCatalogue, HasElementsWithPositiveAndNegativeCodes) {
    EXPECT_EQ(ask("code 7").code, 7);
    EXPECT_EQ(ask("code 7").statistics.size(), 4U);
    EXPECT_EQ(ask("code 3 without statistics"), (Response{"code 3 without statistics", 3, {}, {}}));
    EXPECT_EQ(ask("code -17"), (Response{"code -17", -17, {}, {}}));
    EXPECT_EQ(ask("lowest code"), (Response{"lowest code", INT32_MIN, {}, {}}));
    EXPECT_EQ(ask("largest code"), (Response{"largest code", INT32_MAX, {}, {{"largest code", "answered"}}}));
    EXPECT_EQ(ask("code 4 when asked alone").code, 4);
    EXPECT_EQ(ask("code -9 when asked alone"), (Response{"code -9 when asked alone", -9, {}, {}}));
}

TEST_F(UnusualCatalogue, IsTheSameReadByPositionAndTagByTag) {
    const Bytes ids = conversation().query("STAT_IDS", "");
    EXPECT_EQ(idsByPosition(ids), idsOfObjects(streamObjects(ids)));
    const Bytes statistics =
        conversation().query("GET_STATS", "with blanks inside:values:code 7:without statistics:-x");
    EXPECT_EQ(statisticsByPosition(statistics), statisticsOfObjects(streamObjects(statistics)));
}

}  // namespace

}  // namespace sim_test
