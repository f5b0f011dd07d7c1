// The six queries.
#include <cstddef>

#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

using test_support::GatewaySim;

class Queries : public SystemTest {
  protected:
    Queries() {
        catalogue_.group("alpha").group("beta").group("empty");
        catalogue_.statistic("alpha", "a.one", "1").statistic("alpha", "a.two", "two").statistic("beta", "b.one", "");
    }
    // Made on first use.
    const GatewaySim& sim() {
        if (sim_ == nullptr) {
            sim_ = std::make_unique<GatewaySim>(catalogue_.options());
        }
        return *sim_;
    }

  private:
    Catalogue catalogue_;
    std::unique_ptr<GatewaySim> sim_;
};

TEST_F(Queries, ResourceGroupIds) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getResourceGroupIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(walkIds(result).entries, (std::vector<IdEntry>{{"", 0, "alpha"}, {"", 0, "beta"}, {"", 0, "empty"}}));
}

TEST_F(Queries, StatIds) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(walkIds(result).entries, (std::vector<IdEntry>{{"", 0, "a.one"}, {"", 0, "a.two"}, {"", 0, "b.one"}}));
}

TEST_F(Queries, StatIdsOfGroups) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "beta:alpha", &result), STAPI_RC_OK);
    EXPECT_EQ(walkIds(result).entries,
              (std::vector<IdEntry>{{"beta", 0, "b.one"}, {"alpha", 0, "a.one"}, {"alpha", 0, "a.two"}}));
}

TEST_F(Queries, UnknownGroupGivesStepWithItsCodeAndTheWalkGoesOn) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "nobody:beta:nothing", &result), STAPI_RC_OK);
    const std::vector<IdEntry> expected{{"nobody", -5, ""}, {"beta", 0, "b.one"}, {"nothing", -5, ""}};
    EXPECT_EQ(walkIds(result).entries, expected);
    EXPECT_EQ(walkIdsByNext(result).entries, std::vector<IdEntry>());
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "nobody:beta:nothing", &result), STAPI_RC_OK);
    EXPECT_EQ(walkIdsByNext(result).entries, expected);
}

TEST_F(Queries, AllStats) {
    Catalogue catalogue;
    catalogue.group("alpha").group("beta");
    catalogue.statistic("alpha", "a.one", "1").statistic("alpha", "a.two", "two").statistic("beta", "b.one", "");
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    const StatWalk walk = walkStats(result);
    EXPECT_EQ(walk.lastCode, STAPI_RC_END_OF_DATA);
    EXPECT_EQ(walk.entries, (std::vector<StatEntry>{
                                {"alpha", 0, "a.one", "1"}, {"alpha", 0, "a.two", "two"}, {"beta", 0, "b.one", ""}}));
}

TEST_F(Queries, StatsOfStatisticIds) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatsByStatId(connection.token(), "a.two:b.one", &result), STAPI_RC_OK);
    EXPECT_EQ(walkStats(result).entries,
              (std::vector<StatEntry>{{"a.two", 0, "a.two", "two"}, {"b.one", 0, "b.one", ""}}));
}

TEST_F(Queries, StatsOfGroups) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatsByStatGroupId(connection.token(), "alpha", &result), STAPI_RC_OK);
    EXPECT_EQ(walkStats(result).entries,
              (std::vector<StatEntry>{{"alpha", 0, "a.one", "1"}, {"alpha", 0, "a.two", "two"}}));
}

TEST_F(Queries, UnknownStatisticGivesStepWithItsCodeAndTheWalkGoesOn) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatsByStatId(connection.token(), "x:a.one:y:z:b.one", &result), STAPI_RC_OK);
    const std::vector<StatEntry> expected{
        {"x", -5, "", ""}, {"a.one", 0, "a.one", "1"}, {"y", -5, "", ""}, {"z", -5, "", ""}, {"b.one", 0, "b.one", ""}};
    EXPECT_EQ(walkStats(result).entries, expected);
    EXPECT_EQ(walkStats(result).lastCode, STAPI_RC_END_OF_DATA);
}

// The id list goes out as it stands: nothing is added, quoted or counted, and nothing is taken away.
TEST_F(Queries, IdListIsSentExactlyAsWritten) {
    GatewaySim verbose({"--verbose"});
    const Connection connection(verbose);
    ResultSetToken* result = nullptr;
    for (const char* const ids : {"", ":", "a b , c", "daemon", " daemon ", "one:two::three:"}) {
        ASSERT_EQ(getStatsByStatId(connection.token(), ids, &result), STAPI_RC_OK) << ids;
        EXPECT_NE(verbose.standardError().find("invoke GET_STATS \"" + std::string(ids) + "\""), std::string::npos)
            << ids;
    }
}

TEST_F(Queries, EveryQueryHandsOutTheConnectionsOneResultSet) {
    const Connection connection(sim());
    ResultSetToken* first = nullptr;
    ASSERT_EQ(getStats(connection.token(), &first), STAPI_RC_OK);
    for (const QueryFunction& query : kQueries) {
        ResultSetToken* result = nullptr;
        ASSERT_EQ(query.call(connection.token(), "alpha", &result), STAPI_RC_OK) << query.name;
        EXPECT_EQ(result, first) << query.name;
    }
}

TEST_F(Queries, TwoConnectionsHaveResultSetsOfTheirOwn) {
    const Connection one(sim());
    const Connection two(sim());
    ResultSetToken* ids = nullptr;
    ResultSetToken* stats = nullptr;
    ASSERT_EQ(getStatIds(one.token(), &ids), STAPI_RC_OK);
    ASSERT_EQ(getStats(two.token(), &stats), STAPI_RC_OK);
    EXPECT_NE(ids, stats);
    EXPECT_EQ(walkIds(ids).entries.size(), 3U);
    EXPECT_EQ(valueOf(walkStats(stats), "a.two"), "two");
}

TEST_F(Queries, NewQueryStartsTheWalkAnewForFirstAndNextCalls) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    IdData id{};
    ASSERT_EQ(getFirstId(result, &id), STAPI_RC_OK);
    ASSERT_EQ(getNextId(result, &id), STAPI_RC_OK);
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    ASSERT_EQ(getNextId(result, &id), STAPI_RC_OK);
    EXPECT_EQ(std::string(id.idPtr, id.idLen), "a.one");
    EXPECT_EQ(idsOf(walkIds(result)), (std::vector<std::string>{"a.one", "a.two", "b.one"}));
}

// The round trip: ids of groups become a query string, and the query by that string gives what the groups gave.
TEST_F(Queries, QueryStringFromIdsGivesTheSameValuesAsTheGroups) {
    const GatewaySim frozen({"--frozen-clock", "2024-05-06T07:08:09Z", "--seed", "7"});
    const Connection connection(frozen);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "daemon:listener:memory", &result), STAPI_RC_OK);
    const std::vector<std::string> ids = idsOf(walkIds(result));
    ASSERT_GT(ids.size(), 20U);
    char* text = nullptr;
    ASSERT_EQ(getIdQuery(result, &text), STAPI_RC_OK);
    const std::string query = text;
    ASSERT_EQ(getStatsByStatGroupId(connection.token(), "daemon:listener:memory", &result), STAPI_RC_OK);
    const StatWalk ofGroups = walkStats(result);
    ASSERT_EQ(getStatsByStatId(connection.token(), query.c_str(), &result), STAPI_RC_OK);
    const StatWalk ofIds = walkStats(result);
    ASSERT_EQ(ofIds.entries.size(), ids.size());
    ASSERT_EQ(ofGroups.entries.size(), ids.size());
    for (size_t index = 0; index < ids.size(); ++index) {
        EXPECT_EQ(ofIds.entries[index].element, ids[index]);
        EXPECT_EQ(ofIds.entries[index].id, ids[index]);
        EXPECT_EQ(ofIds.entries[index].id, ofGroups.entries[index].id);
        EXPECT_EQ(ofIds.entries[index].value, ofGroups.entries[index].value);
    }
}

// The query string may be handed in as it came, although it lives in the very result set that the query refills.
TEST_F(Queries, QueryStringOfTheConnectionsResultSetCanBeUsedDirectly) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    char* text = nullptr;
    ASSERT_EQ(getIdQuery(result, &text), STAPI_RC_OK);
    EXPECT_STREQ(text, "a.one:a.two:b.one");
    ASSERT_EQ(getStatsByStatId(connection.token(), text, &result), STAPI_RC_OK);
    EXPECT_EQ(walkStats(result).entries.size(), 3U);
}

TEST_F(Queries, QueryStringLeavesOutFailedElements) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "nobody:beta:nobody:alpha", &result), STAPI_RC_OK);
    char* text = nullptr;
    ASSERT_EQ(getIdQuery(result, &text), STAPI_RC_OK);
    EXPECT_STREQ(text, "b.one:a.one:a.two");
}

TEST_F(Queries, QueryStringOfStatisticsRepeatsAnIdThatOccursTwice) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatsByStatId(connection.token(), "a.one:x:b.one:a.one", &result), STAPI_RC_OK);
    char* text = nullptr;
    ASSERT_EQ(getIdQuery(result, &text), STAPI_RC_OK);
    EXPECT_STREQ(text, "a.one:b.one:a.one");
}

// Ids that do not fit below 32,000 characters are left out; shorter ones behind them are still taken.
TEST_F(Queries, QueryStringStaysBelowItsLimitAndTakesShorterIdsBehindALongOne) {
    Catalogue catalogue;
    catalogue.group("g");
    const std::string first = patternText(20000, 1);
    const std::string tooLong = patternText(12000, 2);
    const std::string fits = patternText(11997, 3);  // 20000 + 11997 + 1 is below 32000
    catalogue.statistic("g", first, "").statistic("g", tooLong, "").statistic("g", fits, "").statistic("g", "s", "");
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    char* text = nullptr;
    ASSERT_EQ(getIdQuery(result, &text), STAPI_RC_OK);
    // 31,998 characters are there now: "s" with its separator would make 32,000.
    EXPECT_EQ(std::string(text), first + ":" + fits);
}

TEST_F(Queries, QueryStringRoomCountsTheSeparatorOfTheFirstIdToo) {
    for (const size_t length : {31998U, 31999U}) {
        Catalogue catalogue;
        catalogue.group("g").statistic("g", patternText(length), "");
        const GatewaySim sim(catalogue.options());
        const Connection connection(sim);
        ResultSetToken* result = nullptr;
        ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
        char* text = nullptr;
        EXPECT_EQ(getIdQuery(result, &text), length == 31998 ? STAPI_RC_OK : STAPI_RC_QUERY_STRING_FAILED) << length;
    }
}

TEST_F(Queries, QueryStringMovesTheWalkToItsEnd) {
    const Connection connection(sim());
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    char* text = nullptr;
    ASSERT_EQ(getIdQuery(result, &text), STAPI_RC_OK);
    IdData id{};
    EXPECT_EQ(getNextId(result, &id), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getFirstId(result, &id), STAPI_RC_OK);
}

TEST_F(Queries, FrozenClockStepsBetweenQueries) {
    const GatewaySim stepping({"--frozen-clock", "2024-05-06T07:08:09Z", "--clock-step", "10"});
    const Connection connection(stepping);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatsByStatId(connection.token(), "daemon.current_time", &result), STAPI_RC_OK);
    EXPECT_EQ(valueOf(walkStats(result), "daemon.current_time"), "2024-05-06T07:08:09Z");
    ASSERT_EQ(getStatsByStatId(connection.token(), "daemon.current_time", &result), STAPI_RC_OK);
    EXPECT_EQ(valueOf(walkStats(result), "daemon.current_time"), "2024-05-06T07:08:19Z");
}

}  // namespace system_test
