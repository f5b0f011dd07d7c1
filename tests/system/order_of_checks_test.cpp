// When several arguments are wrong, the first check of each function decides. Every combination is tried.
#include <cstdint>
#include <cstring>

#include "other_thread.h"
#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class OrderOfChecks : public SystemTest {};

namespace {

// One check: whether a combination makes it fail, and its code.
struct Check {
    bool fails;
    int32_t code;
};

int32_t firstOf(std::initializer_list<Check> checks, int32_t otherwise) {
    for (const Check& check : checks) {
        if (check.fails) {
            return check.code;
        }
    }
    return otherwise;
}

bool bit(unsigned combination, unsigned place) {
    return (combination >> place & 1U) != 0;
}

// A token that was never made: nothing in it may be read.
struct Foreign {
    std::vector<char> bytes = std::vector<char>(1);
    GatewayToken* token() {
        return reinterpret_cast<GatewayToken*>(bytes.data());
    }
};

}  // namespace

TEST_F(OrderOfChecks, OpenRemoteGatewayConnection) {
    for (unsigned combination = 1; combination < 16; ++combination) {
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        const bool badPort = bit(combination, 0);
        const bool noTokenPointer = bit(combination, 1);
        const bool noProtocolPointer = bit(combination, 2);
        const bool noHost = bit(combination, 3);
        for (const int32_t port : {0, 65536}) {
            EXPECT_EQ(
                openRemoteGatewayConnection(noHost ? nullptr : "127.0.0.1", badPort ? port : 2810,
                                            noTokenPointer ? nullptr : &token, noProtocolPointer ? nullptr : &protocol),
                firstOf({{badPort, STAPI_RC_BAD_PORT},
                         {noTokenPointer, STAPI_RC_NULL_TOKEN_POINTER},
                         {noProtocolPointer, STAPI_RC_NET_UNREACHABLE}},
                        STAPI_RC_NULL_ARGUMENT))
                << combination;
        }
        EXPECT_EQ(token, nullptr);
        EXPECT_EQ(protocol, nullptr);
    }
}

TEST_F(OrderOfChecks, OpenGatewayConnection) {
    for (unsigned combination = 1; combination < 8; ++combination) {
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        EXPECT_EQ(
            openGatewayConnection(bit(combination, 0) ? 65536 : 2810, bit(combination, 1) ? nullptr : &token,
                                  bit(combination, 2) ? nullptr : &protocol),
            firstOf({{bit(combination, 0), STAPI_RC_BAD_PORT}, {bit(combination, 1), STAPI_RC_NULL_TOKEN_POINTER}},
                    STAPI_RC_NET_UNREACHABLE))
            << combination;
    }
}

TEST_F(OrderOfChecks, CloseGatewayConnection) {
    GatewayToken* none = nullptr;
    Foreign foreign;
    GatewayToken* unknown = foreign.token();
    EXPECT_EQ(closeGatewayConnection(nullptr), STAPI_RC_NULL_TOKEN_POINTER);
    EXPECT_EQ(closeGatewayConnection(&none), STAPI_RC_NULL_TOKEN);
    EXPECT_EQ(closeGatewayConnection(&unknown), STAPI_RC_TOKEN_NOT_FOUND);
}

// Token null, ids null, result null, token unknown, ids too long.
TEST_F(OrderOfChecks, Queries) {
    const GatewaySim sim;
    const Connection connection(sim);
    Foreign foreign;
    const std::string tooLong(32766, 'x');
    enum class Token { good, unknown, null };
    enum class Ids { good, overlong, null };
    for (const QueryFunction& query : kQueries) {
        for (const Token token : {Token::good, Token::unknown, Token::null}) {
            for (const Ids ids : {Ids::good, Ids::overlong, Ids::null}) {
                for (const bool noResult : {false, true}) {
                    ResultSetToken* result = nullptr;
                    GatewayToken* const tokenArgument = token == Token::null      ? nullptr
                                                        : token == Token::unknown ? foreign.token()
                                                                                  : connection.token();
                    const char* const idsArgument = ids == Ids::null       ? nullptr
                                                    : ids == Ids::overlong ? tooLong.c_str()
                                                                           : "daemon";
                    const int32_t expected = firstOf({{token == Token::null, STAPI_RC_NULL_TOKEN},
                                                      {query.takesIds && ids == Ids::null, STAPI_RC_NULL_ID},
                                                      {noResult, STAPI_RC_NULL_RESULT_SET_POINTER},
                                                      {token == Token::unknown, STAPI_RC_TOKEN_NOT_FOUND},
                                                      {query.takesIds && ids == Ids::overlong, STAPI_RC_NO_MEMORY}},
                                                     STAPI_RC_OK);
                    EXPECT_EQ(query.call(tokenArgument, idsArgument, noResult ? nullptr : &result), expected)
                        << query.name << " token " << static_cast<int>(token) << " ids " << static_cast<int>(ids)
                        << " no result " << noResult;
                    EXPECT_EQ(result != nullptr, expected == STAPI_RC_OK) << query.name;
                }
            }
        }
    }
}

// The owner of the token is checked before the length of the ids, and after all null arguments.
TEST_F(OrderOfChecks, QueriesFromAnotherThread) {
    const GatewaySim sim;
    const Connection connection(sim);
    const std::string tooLong(32766, 'x');
    for (const QueryFunction& query : kQueries) {
        inOtherThread([&] {
            ResultSetToken* result = nullptr;
            EXPECT_EQ(query.call(connection.token(), nullptr, &result),
                      query.takesIds ? STAPI_RC_NULL_ID : STAPI_RC_WRONG_THREAD)
                << query.name;
            EXPECT_EQ(query.call(connection.token(), "daemon", nullptr), STAPI_RC_NULL_RESULT_SET_POINTER)
                << query.name;
            EXPECT_EQ(query.call(connection.token(), tooLong.c_str(), &result), STAPI_RC_WRONG_THREAD) << query.name;
            return 0;
        });
    }
}

namespace {

// A step of a walk with its record left out or not.
struct Step {
    const char* name;
    const char* query;       // whose result set it is for
    const char* otherQuery;  // whose it is not for
    int32_t recordCode;
    int32_t (*call)(ResultSetToken* resultSet, bool withRecord);
};

template <int32_t (*step)(ResultSetToken*, IdData*)>
int32_t idStep(ResultSetToken* resultSet, bool withRecord) {
    IdData id{};
    return step(resultSet, withRecord ? &id : nullptr);
}

template <int32_t (*step)(ResultSetToken*, StatData*)>
int32_t statStep(ResultSetToken* resultSet, bool withRecord) {
    StatData stat{};
    return step(resultSet, withRecord ? &stat : nullptr);
}

constexpr std::array<Step, 4> kSteps{{
    {"getFirstId", "getStatIds", "getStats", STAPI_RC_NULL_ID_DATA, idStep<getFirstId>},
    {"getNextId", "getStatIds", "getStats", STAPI_RC_NULL_ID_DATA, idStep<getNextId>},
    {"getFirstStat", "getStats", "getStatIds", STAPI_RC_NULL_STAT_DATA, statStep<getFirstStat>},
    {"getNextStat", "getStats", "getStatIds", STAPI_RC_NULL_STAT_DATA, statStep<getNextStat>},
}};

}  // namespace

// Set null, record null, other content, other thread.
TEST_F(OrderOfChecks, StepsOfAWalk) {
    const GatewaySim sim;
    for (const Step& step : kSteps) {
        for (unsigned combination = 0; combination < 16; ++combination) {
            const Connection connection(sim);
            ResultSetToken* result = nullptr;
            const bool noSet = bit(combination, 0);
            const bool noRecord = bit(combination, 1);
            const bool wrongContent = bit(combination, 2);
            const bool otherThread = bit(combination, 3);
            ASSERT_EQ(
                queryNamed(wrongContent ? step.otherQuery : step.query).call(connection.token(), nullptr, &result),
                STAPI_RC_OK);
            const auto call = [&] { return step.call(noSet ? nullptr : result, !noRecord); };
            EXPECT_EQ(otherThread ? inOtherThread(call) : call(), firstOf({{noSet, STAPI_RC_NULL_RESULT_SET},
                                                                           {noRecord, step.recordCode},
                                                                           {wrongContent, STAPI_RC_WRONG_CONTENT},
                                                                           {otherThread, STAPI_RC_WRONG_THREAD}},
                                                                          STAPI_RC_OK))
                << step.name << " " << combination;
        }
    }
}

// Set null, target null, other thread.
TEST_F(OrderOfChecks, WholeResultSets) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    for (unsigned combination = 0; combination < 8; ++combination) {
        const bool noSet = bit(combination, 0);
        const bool noTarget = bit(combination, 1);
        const bool otherThread = bit(combination, 2);
        ResultSetToken* const set = noSet ? nullptr : result;
        char* text = nullptr;
        ResultSetToken* copy = nullptr;
        const auto idQuery = [&] { return getIdQuery(set, noTarget ? nullptr : &text); };
        const auto copying = [&] { return copyResultSet(set, noTarget ? nullptr : &copy); };
        const auto dumping = [&] { return dumpResultSet(set); };
        EXPECT_EQ(otherThread ? inOtherThread(idQuery) : idQuery(), firstOf({{noSet, STAPI_RC_NULL_RESULT_SET},
                                                                             {noTarget, STAPI_RC_NULL_POINTER},
                                                                             {otherThread, STAPI_RC_WRONG_THREAD}},
                                                                            STAPI_RC_OK))
            << combination;
        EXPECT_EQ(otherThread ? inOtherThread(copying) : copying(),
                  firstOf({{noSet, STAPI_RC_NULL_RESULT_SET},
                           {noTarget, STAPI_RC_NULL_RESULT_SET_POINTER},
                           {otherThread, STAPI_RC_WRONG_THREAD}},
                          STAPI_RC_OK))
            << combination;
        EXPECT_EQ(otherThread ? inOtherThread(dumping) : dumping(),
                  firstOf({{noSet, STAPI_RC_NULL_RESULT_SET}, {otherThread, STAPI_RC_WRONG_THREAD}}, STAPI_RC_OK))
            << combination;
        if (copy != nullptr) {
            EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK);
        }
    }
}

TEST_F(OrderOfChecks, FreeResultSetOfAnotherThreadsConnectionIsAboutTheKindOfSet) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(inOtherThread([&] { return freeResultSet(&result); }), STAPI_RC_NOT_USER_RESULT_SET);
}

}  // namespace system_test
