// The trace shows at which check a call stopped: the ids of its lines at level 4.
#include <cstdint>
#include <functional>

#include "other_thread.h"
#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

namespace {

using Ids = std::vector<int>;

Ids traced(const std::function<int32_t()>& call, int32_t expectedCode) {
    const TraceCapture trace(4);
    EXPECT_EQ(call(), expectedCode);
    return trace.points();
}

struct QueryPoints {
    const char* name;
    int entry;
    int exit;
};

constexpr std::array<QueryPoints, 6> kQueryPoints{{
    {"getResourceGroupIds", 1009, 1014},
    {"getStatIds", 1020, 1024},
    {"getStatIdsByStatGroupId", 1015, 1019},
    {"getStats", 1025, 1029},
    {"getStatsByStatId", 1030, 1034},
    {"getStatsByStatGroupId", 1035, 1039},
}};

// The steps of a walk, and the functions on whole sets: entry, failure of the content check, exit.
struct SetPoints {
    const char* name;
    bool wantsIds;
    int entry;
    int wrongContent;
    int exit;
    int32_t noRecordCode;
    int32_t (*call)(ResultSetToken*, bool withRecord);
};

constexpr std::array<SetPoints, 4> kStepPoints{{
    {"getFirstId", true, 1150, 1151, 1152, STAPI_RC_NULL_ID_DATA,
     [](ResultSetToken* set, bool with) {
         IdData id{};
         return getFirstId(set, with ? &id : nullptr);
     }},
    {"getNextId", true, 1153, 1154, 1155, STAPI_RC_NULL_ID_DATA,
     [](ResultSetToken* set, bool with) {
         IdData id{};
         return getNextId(set, with ? &id : nullptr);
     }},
    {"getFirstStat", false, 1156, 1157, 1158, STAPI_RC_NULL_STAT_DATA,
     [](ResultSetToken* set, bool with) {
         StatData stat{};
         return getFirstStat(set, with ? &stat : nullptr);
     }},
    {"getNextStat", false, 1159, 1160, 1161, STAPI_RC_NULL_STAT_DATA,
     [](ResultSetToken* set, bool with) {
         StatData stat{};
         return getNextStat(set, with ? &stat : nullptr);
     }},
}};

}  // namespace

class OrderOfChecksTrace : public SystemTest {};

TEST_F(OrderOfChecksTrace, QueriesWithNullArgumentsStopBetweenEntryAndExit) {
    const GatewaySim sim;
    const Connection connection(sim);
    for (const QueryPoints& points : kQueryPoints) {
        const QueryFunction& query = queryNamed(points.name);
        ResultSetToken* result = nullptr;
        const Ids silent{points.entry, points.exit};
        EXPECT_EQ(traced([&] { return query.call(nullptr, "daemon", &result); }, STAPI_RC_NULL_TOKEN), silent);
        EXPECT_EQ(
            traced([&] { return query.call(connection.token(), "daemon", nullptr); }, STAPI_RC_NULL_RESULT_SET_POINTER),
            silent);
        if (query.takesIds) {
            EXPECT_EQ(traced([&] { return query.call(connection.token(), nullptr, &result); }, STAPI_RC_NULL_ID),
                      silent);
        }
    }
}

TEST_F(OrderOfChecksTrace, QueriesWithUnknownTokenStopAtItsVerification) {
    std::vector<char> byte(1);
    auto* const unknown = reinterpret_cast<GatewayToken*>(byte.data());
    ResultSetToken* result = nullptr;
    for (const QueryPoints& points : kQueryPoints) {
        const QueryFunction& query = queryNamed(points.name);
        // With no connection at all the list counts as corrupt.
        EXPECT_EQ(traced([&] { return query.call(unknown, "daemon", &result); }, STAPI_RC_TOKEN_NOT_FOUND),
                  (Ids{points.entry, 2006, 2023, 2027, 2029, 2007, 2008, points.exit}));
    }
    const GatewaySim sim;
    const Connection connection(sim);
    for (const QueryPoints& points : kQueryPoints) {
        const QueryFunction& query = queryNamed(points.name);
        EXPECT_EQ(traced([&] { return query.call(unknown, "daemon", &result); }, STAPI_RC_TOKEN_NOT_FOUND),
                  (Ids{points.entry, 2006, 2023, 2025, 2029, 2007, 2008, points.exit}));
    }
}

TEST_F(OrderOfChecksTrace, QueriesOfAnotherThreadStopAtTheOwner) {
    const GatewaySim sim;
    const Connection connection(sim);
    for (const QueryPoints& points : kQueryPoints) {
        const QueryFunction& query = queryNamed(points.name);
        const Ids ids = inOtherThread([&] {
            ResultSetToken* result = nullptr;
            return traced([&] { return query.call(connection.token(), "daemon", &result); }, STAPI_RC_WRONG_THREAD);
        });
        EXPECT_EQ(ids, (Ids{points.entry, 2006, 2023, 2026, 2029, 2033, 2008, points.exit})) << points.name;
    }
}

TEST_F(OrderOfChecksTrace, QueriesWithTooLongIdsStopAtTheirCopy) {
    const GatewaySim sim;
    const Connection connection(sim);
    const std::string tooLong(32766, 'x');
    for (const QueryPoints& points : kQueryPoints) {
        const QueryFunction& query = queryNamed(points.name);
        ResultSetToken* result = nullptr;
        if (query.takesIds) {
            EXPECT_EQ(
                traced([&] { return query.call(connection.token(), tooLong.c_str(), &result); }, STAPI_RC_NO_MEMORY),
                (Ids{points.entry, 2006, 2023, 2026, 2029, 2008, 1108, 1114, 1115, points.exit}));
        }
    }
}

TEST_F(OrderOfChecksTrace, OpensWithBadArgumentsDoNothingElse) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    EXPECT_EQ(traced([&] { return openGatewayConnection(0, &token, &protocol); }, STAPI_RC_BAD_PORT),
              (Ids{1000, 1142, 1003, 1003}));
    EXPECT_EQ(traced([&] { return openGatewayConnection(2810, nullptr, &protocol); }, STAPI_RC_NULL_TOKEN_POINTER),
              (Ids{1000, 1142, 1003, 1003}));
    EXPECT_EQ(traced([&] { return openGatewayConnection(2810, &token, nullptr); }, STAPI_RC_NET_UNREACHABLE),
              (Ids{1000, 1142, 1003, 1003}));
    EXPECT_EQ(
        traced([&] { return openRemoteGatewayConnection(nullptr, 2810, &token, &protocol); }, STAPI_RC_NULL_ARGUMENT),
        (Ids{1142, 1003}));
}

TEST_F(OrderOfChecksTrace, CloseWithBadArguments) {
    GatewayToken* none = nullptr;
    std::vector<char> byte(1);
    auto* unknown = reinterpret_cast<GatewayToken*>(byte.data());
    EXPECT_EQ(traced([] { return closeGatewayConnection(nullptr); }, STAPI_RC_NULL_TOKEN_POINTER),
              (Ids{1004, 1005, 1006}));
    EXPECT_EQ(traced([&] { return closeGatewayConnection(&none); }, STAPI_RC_NULL_TOKEN), (Ids{1004, 1005, 1006}));
    EXPECT_EQ(traced([&] { return closeGatewayConnection(&unknown); }, STAPI_RC_TOKEN_NOT_FOUND),
              (Ids{1004, 2009, 2023, 2027, 2029, 2012, 1133, 1006}));
    EXPECT_EQ(traced([] { return closeAllGatewayConnections(); }, STAPI_RC_OK),
              (Ids{1007, 2013, 2035, 2015, 1134, 1008}));
}

TEST_F(OrderOfChecksTrace, StepsOfAWalk) {
    const GatewaySim sim;
    for (const SetPoints& points : kStepPoints) {
        const Connection connection(sim);
        ResultSetToken* good = nullptr;
        ASSERT_EQ(queryNamed(points.wantsIds ? "getStatIds" : "getStats").call(connection.token(), nullptr, &good),
                  STAPI_RC_OK);
        EXPECT_EQ(traced([&] { return points.call(nullptr, true); }, STAPI_RC_NULL_RESULT_SET),
                  (Ids{points.entry, points.exit}));
        EXPECT_EQ(traced([&] { return points.call(good, false); }, points.noRecordCode),
                  (Ids{points.entry, points.exit}));
        const Ids ofOther =
            inOtherThread([&] { return traced([&] { return points.call(good, true); }, STAPI_RC_WRONG_THREAD); });
        EXPECT_EQ(ofOther, (Ids{points.entry, 2141, 2143, 2144, points.exit})) << points.name;
        ResultSetToken* other = nullptr;
        ASSERT_EQ(queryNamed(points.wantsIds ? "getStats" : "getStatIds").call(connection.token(), nullptr, &other),
                  STAPI_RC_OK);
        EXPECT_EQ(traced([&] { return points.call(other, true); }, STAPI_RC_WRONG_CONTENT),
                  (Ids{points.entry, points.wrongContent, points.exit}));
    }
}

TEST_F(OrderOfChecksTrace, WholeResultSets) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* set = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &set), STAPI_RC_OK);
    char* text = nullptr;
    ResultSetToken* copy = nullptr;
    ResultSetToken* none = nullptr;
    EXPECT_EQ(traced([&] { return getIdQuery(nullptr, &text); }, STAPI_RC_NULL_RESULT_SET), (Ids{1040, 1042}));
    EXPECT_EQ(traced([&] { return getIdQuery(set, nullptr); }, STAPI_RC_NULL_POINTER), (Ids{1040, 1042}));
    EXPECT_EQ(traced([&] { return copyResultSet(nullptr, &copy); }, STAPI_RC_NULL_RESULT_SET), (Ids{1072, 1079}));
    EXPECT_EQ(traced([&] { return copyResultSet(set, nullptr); }, STAPI_RC_NULL_RESULT_SET_POINTER), (Ids{1072, 1079}));
    EXPECT_EQ(traced([&] { return dumpResultSet(nullptr); }, STAPI_RC_NULL_RESULT_SET), (Ids{1102, 1105}));
    EXPECT_EQ(traced([] { return freeResultSet(nullptr); }, STAPI_RC_NULL_RESULT_SET_POINTER), (Ids{1080, 1081, 1087}));
    EXPECT_EQ(traced([&] { return freeResultSet(&none); }, STAPI_RC_NULL_RESULT_SET), (Ids{1080, 1082, 1087}));
    EXPECT_EQ(traced([&] { return freeResultSet(&set); }, STAPI_RC_NOT_USER_RESULT_SET), (Ids{1080, 1083, 1087}));
    inOtherThread([&] {
        EXPECT_EQ(traced([&] { return getIdQuery(set, &text); }, STAPI_RC_WRONG_THREAD),
                  (Ids{1040, 2141, 2143, 2144, 1042}));
        EXPECT_EQ(traced([&] { return copyResultSet(set, &copy); }, STAPI_RC_WRONG_THREAD),
                  (Ids{1072, 2141, 2143, 2144, 1079}));
        EXPECT_EQ(traced([&] { return dumpResultSet(set); }, STAPI_RC_WRONG_THREAD),
                  (Ids{1102, 2141, 2143, 2144, 1105}));
        return 0;
    });
}

TEST_F(OrderOfChecksTrace, LibraryFunctions) {
    EXPECT_EQ(traced([] { return getStatsAPIVersion(nullptr); }, STAPI_RC_NULL_POINTER), (Ids{1088, 1089, 1090}));
    EXPECT_EQ(traced([] { return getAPITraceLevel(nullptr); }, STAPI_RC_NULL_POINTER), (Ids{1091, 1092, 1093}));
    EXPECT_EQ(traced([] { return setAPITraceLevel(6); }, STAPI_RC_BAD_TRACE_LEVEL), (Ids{1094, 1095, 1096}));
}

}  // namespace system_test
