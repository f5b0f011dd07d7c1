// First and next calls over the result sets of a daemon.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class Walks : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        catalogue_.group("two").group("one").group("none");
        catalogue_.statistic("two", "t.a", "A").statistic("two", "t.b", "B").statistic("one", "o.a", "C");
        sim_ = std::make_unique<GatewaySim>(catalogue_.options());
        connection_ = std::make_unique<Connection>(*sim_);
    }
    ResultSetToken* ids(const char* groups) {
        ResultSetToken* result = nullptr;
        EXPECT_EQ(getStatIdsByStatGroupId(connection_->token(), groups, &result), STAPI_RC_OK);
        return result;
    }
    ResultSetToken* stats(const char* list) {
        ResultSetToken* result = nullptr;
        EXPECT_EQ(getStatsByStatGroupId(connection_->token(), list, &result), STAPI_RC_OK);
        return result;
    }
    void TearDown() override {
        connection_.reset();
        SystemTest::TearDown();
    }

  private:
    Catalogue catalogue_;
    std::unique_ptr<GatewaySim> sim_;
    std::unique_ptr<Connection> connection_;
};

namespace {

std::string text(const char* start, uint32_t length) {
    return {start, length};
}

bool sameBytes(const void* left, const void* right, size_t size) {
    return std::memcmp(left, right, size) == 0;
}

}  // namespace

TEST_F(Walks, TwoIdsInOneBlock) {
    ResultSetToken* const set = ids("two");
    IdData id{};
    ASSERT_EQ(getFirstId(set, &id), STAPI_RC_OK);
    EXPECT_EQ(std::string(id.eyecatcher, 8), "ZULIDSET");
    EXPECT_EQ(text(id.queryElementPtr, id.queryElementLen), "two");
    EXPECT_EQ(id.queryElementRC, 0);
    EXPECT_EQ(text(id.idPtr, id.idLen), "t.a");
    ASSERT_EQ(getNextId(set, &id), STAPI_RC_OK);
    EXPECT_EQ(text(id.idPtr, id.idLen), "t.b");
    EXPECT_EQ(text(id.queryElementPtr, id.queryElementLen), "two");
    EXPECT_EQ(getNextId(set, &id), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getNextId(set, &id), STAPI_RC_END_OF_DATA);
}

TEST_F(Walks, FirstBlockFailedAndSecondWithOneId) {
    ResultSetToken* const set = ids("nobody:one");
    IdData id{};
    const char untouched = 'u';
    id.idPtr = &untouched;
    id.idLen = 77;
    ASSERT_EQ(getFirstId(set, &id), STAPI_RC_OK);
    EXPECT_EQ(id.queryElementRC, -5);
    EXPECT_EQ(text(id.queryElementPtr, id.queryElementLen), "nobody");
    EXPECT_EQ(id.idPtr, &untouched);
    EXPECT_EQ(id.idLen, 77U);
    ASSERT_EQ(getNextId(set, &id), STAPI_RC_OK);
    EXPECT_EQ(text(id.idPtr, id.idLen), "o.a");
    EXPECT_EQ(getNextId(set, &id), STAPI_RC_END_OF_DATA);
}

TEST_F(Walks, FailedBlockOfStatisticsKeepsTheValuesOfTheStepBefore) {
    ResultSetToken* const set = stats("one:nobody");
    StatData stat{};
    ASSERT_EQ(getFirstStat(set, &stat), STAPI_RC_OK);
    EXPECT_EQ(std::string(stat.eyecatcher, 8), "ZULSTSET");
    EXPECT_EQ(text(stat.statIdPtr, stat.statIdLen), "o.a");
    ASSERT_EQ(getNextStat(set, &stat), STAPI_RC_OK);
    EXPECT_EQ(stat.queryElementRC, -5);
    EXPECT_EQ(text(stat.statIdPtr, stat.statIdLen), "o.a");
    EXPECT_EQ(text(stat.statValuePtr, stat.statValueLen), "C");
    EXPECT_EQ(getNextStat(set, &stat), STAPI_RC_END_OF_DATA);
}

TEST_F(Walks, NextCallOnAFreshSetGivesTheFirstEntry) {
    EXPECT_EQ(idsOf(walkIdsByNext(ids("two:one"))), (std::vector<std::string>{"t.a", "t.b", "o.a"}));
    const StatWalk walk = walkStatsByNext(stats("two:one"));
    EXPECT_EQ(walk.entries.size(), 3U);
    EXPECT_EQ(walk.lastCode, STAPI_RC_END_OF_DATA);
}

TEST_F(Walks, FirstCallStartsAgainFromAnyPlace) {
    ResultSetToken* const set = ids("two:one");
    IdData id{};
    for (int steps = 0; steps < 4; ++steps) {
        ASSERT_EQ(getFirstId(set, &id), STAPI_RC_OK);
        EXPECT_EQ(text(id.idPtr, id.idLen), "t.a");
        for (int step = 0; step < steps; ++step) {
            getNextId(set, &id);
        }
    }
}

TEST_F(Walks, EndLeavesTheRecordAsItWas) {
    ResultSetToken* const set = ids("one");
    IdData id{};
    ASSERT_EQ(getFirstId(set, &id), STAPI_RC_OK);
    const IdData before = id;
    ASSERT_EQ(getNextId(set, &id), STAPI_RC_END_OF_DATA);
    EXPECT_TRUE(sameBytes(&before, &id, sizeof id));
    ResultSetToken* const values = stats("one");
    StatData stat{};
    ASSERT_EQ(getFirstStat(values, &stat), STAPI_RC_OK);
    const StatData beforeStat = stat;
    ASSERT_EQ(getNextStat(values, &stat), STAPI_RC_END_OF_DATA);
    EXPECT_TRUE(sameBytes(&beforeStat, &stat, sizeof stat));
}

TEST_F(Walks, WrongKindOfCallLeavesTheWalkUntouched) {
    ResultSetToken* const set = ids("two");
    IdData id{};
    StatData stat{};
    const StatData before = stat;
    ASSERT_EQ(getFirstId(set, &id), STAPI_RC_OK);
    EXPECT_EQ(getFirstStat(set, &stat), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextStat(set, &stat), STAPI_RC_WRONG_CONTENT);
    EXPECT_TRUE(sameBytes(&before, &stat, sizeof stat));
    ASSERT_EQ(getNextId(set, &id), STAPI_RC_OK);
    EXPECT_EQ(text(id.idPtr, id.idLen), "t.b");
}

// A block without entries is read as if it had one: the word behind the count is taken for its length. In an id set
// that word is handed out when it stands inside the result set; the walk never leaves it.
TEST_F(Walks, IdBlockWithoutEntriesHandsOutOneBogusEntryAndEnds) {
    ResultSetToken* const set = ids("none");
    IdData id{};
    ASSERT_EQ(getFirstId(set, &id), STAPI_RC_OK);
    EXPECT_EQ(id.queryElementRC, 0);
    EXPECT_EQ(text(id.queryElementPtr, id.queryElementLen), "none");
    EXPECT_EQ(id.idLen, 0x0E0F0E0FU);
    EXPECT_EQ(getNextId(set, &id), STAPI_RC_END_OF_DATA);
}

TEST_F(Walks, StatisticsBlockWithoutEntriesEndsTheWalk) {
    ResultSetToken* const set = stats("none");
    StatData stat{};
    const StatData before = stat;
    EXPECT_EQ(getFirstStat(set, &stat), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(getNextStat(set, &stat), STAPI_RC_END_OF_DATA);
    EXPECT_TRUE(sameBytes(&before, &stat, sizeof stat));
}

TEST_F(Walks, QueryStringOfEmptyBlocksStaysInsideTheResultSet) {
    char* query = nullptr;
    EXPECT_EQ(getIdQuery(stats("none"), &query), STAPI_RC_QUERY_STRING_FAILED);
    EXPECT_EQ(getIdQuery(ids("none"), &query), STAPI_RC_QUERY_STRING_FAILED);
}

}  // namespace system_test
