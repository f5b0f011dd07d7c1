// Copies of result sets.
#include <future>

#include "copied_set.h"
#include "other_thread.h"
#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

using test_support::GatewaySim;

class Copies : public SystemTest {};

TEST_F(Copies, CopyHoldsWhatTheConnectionsSetHeld) {
    const GatewaySim sim({"--frozen-clock", "2024-05-06T07:08:09Z"});
    const Connection connection(sim);
    for (const QueryFunction& query : kQueries) {
        ResultSetToken* result = nullptr;
        ResultSetToken* copy = nullptr;
        ASSERT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_OK) << query.name;
        ASSERT_EQ(copyResultSet(result, &copy), STAPI_RC_OK) << query.name;
        if (query.givesIds) {
            EXPECT_EQ(walkIds(copy).entries, walkIds(result).entries) << query.name;
        } else {
            EXPECT_EQ(walkStats(copy).entries, walkStats(result).entries) << query.name;
        }
        EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK) << query.name;
    }
}

TEST_F(Copies, CopyStartsItsOwnWalk) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ResultSetToken* copy = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    IdData first{};
    IdData id{};
    ASSERT_EQ(getFirstId(result, &first), STAPI_RC_OK);
    ASSERT_EQ(getNextId(result, &id), STAPI_RC_OK);
    ASSERT_EQ(copyResultSet(result, &copy), STAPI_RC_OK);
    ASSERT_EQ(getNextId(copy, &id), STAPI_RC_OK);
    EXPECT_EQ(std::string(id.idPtr, id.idLen), std::string(first.idPtr, first.idLen));
    EXPECT_NE(id.idPtr, first.idPtr);
    freeResultSet(&copy);
}

TEST_F(Copies, CopyOutlivesTheNextQueryAndTheConnection) {
    CopiedSet set(getResourceGroupIds);
    const IdWalk before = walkIds(set.copy);
    ASSERT_EQ(getStats(set.connection.token(), &set.result), STAPI_RC_OK);
    EXPECT_EQ(walkIds(set.copy).entries, before.entries);
    ASSERT_EQ(set.connection.close(), STAPI_RC_OK);
    EXPECT_EQ(walkIds(set.copy).entries, before.entries);
    char* query = nullptr;
    EXPECT_EQ(getIdQuery(set.copy, &query), STAPI_RC_OK);
    EXPECT_EQ(dumpResultSet(set.copy), STAPI_RC_OK);
}

TEST_F(Copies, CopyOfACopy) {
    CopiedSet set(getStatIds);
    ResultSetToken* second = nullptr;
    ASSERT_EQ(copyResultSet(set.copy, &second), STAPI_RC_OK);
    ASSERT_EQ(freeResultSet(&set.copy), STAPI_RC_OK);
    EXPECT_EQ(walkIds(second).entries, walkIds(set.result).entries);
    ASSERT_EQ(freeResultSet(&second), STAPI_RC_OK);
}

TEST_F(Copies, FreeNullsThePointerAndASecondFreeIsRefused) {
    CopiedSet set(getStatIds);
    EXPECT_EQ(freeResultSet(&set.copy), STAPI_RC_OK);
    EXPECT_EQ(set.copy, nullptr);
    EXPECT_EQ(freeResultSet(&set.copy), STAPI_RC_NULL_RESULT_SET);
}

TEST_F(Copies, CopyMayBeUsedAndFreedByAnyThread) {
    CopiedSet set(getStats);
    const StatWalk original = walkStats(set.result);
    ResultSetToken* made = inOtherThread([&] {
        EXPECT_EQ(walkStats(set.copy).entries, original.entries);
        char* query = nullptr;
        EXPECT_EQ(getIdQuery(set.copy, &query), STAPI_RC_OK);
        EXPECT_EQ(dumpResultSet(set.copy), STAPI_RC_OK);
        ResultSetToken* second = nullptr;
        EXPECT_EQ(copyResultSet(set.copy, &second), STAPI_RC_OK);
        EXPECT_EQ(freeResultSet(&set.copy), STAPI_RC_OK);
        return second;
    });
    EXPECT_EQ(set.copy, nullptr);
    EXPECT_EQ(walkStats(made).entries, original.entries);
    EXPECT_EQ(freeResultSet(&made), STAPI_RC_OK);
}

TEST_F(Copies, CopiesOfOneSetAreReadByManyThreadsAtOnce) {
    constexpr int kThreads = 8;
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    const StatWalk original = walkStats(result);
    std::vector<std::future<bool>> readers;
    for (int reader = 0; reader < kThreads; ++reader) {
        ResultSetToken* copy = nullptr;
        ASSERT_EQ(copyResultSet(result, &copy), STAPI_RC_OK);
        readers.push_back(std::async(std::launch::async, [copy, &original]() mutable {
            bool same = true;
            for (int round = 0; round < 20; ++round) {
                same = same && walkStats(copy).entries == original.entries;
            }
            return same && freeResultSet(&copy) == STAPI_RC_OK;
        }));
    }
    for (std::future<bool>& reader : readers) {
        EXPECT_TRUE(reader.get());
    }
}

TEST_F(Copies, FreeingAConnectionsSetIsRefusedAndNothingIsFreed) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    ResultSetToken* const before = result;
    TraceCapture trace(1);
    EXPECT_EQ(freeResultSet(&result), STAPI_RC_NOT_USER_RESULT_SET);
    EXPECT_EQ(result, before);
    const std::vector<std::string> messages = test_support::messagesOfPoint(trace.text(), 1083);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_NE(messages.front().find("owner=34952"), std::string::npos) << messages.front();
    EXPECT_EQ(walkIds(result).lastCode, STAPI_RC_END_OF_DATA);
}

}  // namespace system_test
