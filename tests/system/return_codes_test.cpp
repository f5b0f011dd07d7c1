// Every public return code, provoked as a caller would meet it. A test here has the name of the code that it provokes;
// one test holds the list of them against the public header.
#include "return_codes_suite.h"

#include <cstdint>
#include <map>
#include <regex>
#include <set>

#include "closed_port.h"

namespace system_test {

namespace {

using test_support::GatewaySim;

// Codes that no caller can provoke at will, each with the reason.
const std::map<std::string, std::string>& codesWithoutTest() {
    static const std::map<std::string, std::string> kReasons{
        {"STAPI_RC_ALREADY_INITIALISED",
         "only the very first call into the library, raced by another thread, can meet it; the library's own start-up "
         "tests do"},
        {"STAPI_RC_NO_DATA", "a missing buffer is found before, and reported as STAPI_RC_NO_RESULT_BUFFER"},
        {"STAPI_RC_NO_RESULT_BUFFER", "needs an allocation that failed; the tests with failing allocations do it"},
        {"STAPI_RC_BAD_OWNER", "never reaches a caller"},
        {"STAPI_RC_CONNECT_TIMEOUT",
         "takes 60 seconds; the connection's tests provoke it with a shorter limit, and system_slow_tests in full"},
    };
    return kReasons;
}

std::set<std::string> codesOfHeader() {
    const std::string header = test_support::readFile(PUBLIC_HEADER);
    const std::regex pattern(R"((STAPI_RC_\w+) = -?\d+)");
    std::set<std::string> names;
    for (auto match = std::sregex_iterator(header.begin(), header.end(), pattern); match != std::sregex_iterator();
         ++match) {
        names.insert((*match)[1]);
    }
    return names;
}

std::set<std::string> testsOfSuite() {
    std::set<std::string> names;
    const ::testing::UnitTest& program = *::testing::UnitTest::GetInstance();
    for (int suite = 0; suite < program.total_test_suite_count(); ++suite) {
        const ::testing::TestSuite& tests = *program.GetTestSuite(suite);
        for (int test = 0; std::string(tests.name()) == "ReturnCodes" && test < tests.total_test_count(); ++test) {
            names.insert(tests.GetTestInfo(test)->name());
        }
    }
    return names;
}

class ForeignToken {
  public:
    GatewayToken* token() {
        return reinterpret_cast<GatewayToken*>(bytes_.data());
    }

  private:
    // One byte: a read of any field would be seen by a sanitizer.
    std::vector<char> bytes_ = std::vector<char>(1);
};

}  // namespace

TEST_F(ReturnCodes, EveryCodeOfTheHeaderHasATestOrAReason) {
    const std::set<std::string> tests = testsOfSuite();
    const std::set<std::string> codes = codesOfHeader();
    EXPECT_EQ(codes.size(), 34U);
    for (const std::string& code : codes) {
        const bool hasTest = tests.count(code) == 1;
        const bool hasReason = codesWithoutTest().count(code) == 1 || codesWithoutTestOnThisSystem().count(code) == 1;
        EXPECT_NE(hasTest, hasReason) << code << " needs a test of its name or a reason for having none, not both";
    }
}

TEST_F(ReturnCodes, STAPI_RC_OK) {
    char* version = nullptr;
    EXPECT_EQ(getStatsAPIVersion(&version), STAPI_RC_OK);
}

TEST_F(ReturnCodes, STAPI_RC_NULL_TOKEN) {
    GatewayToken* none = nullptr;
    EXPECT_EQ(closeGatewayConnection(&none), STAPI_RC_NULL_TOKEN);
    ResultSetToken* result = nullptr;
    for (const QueryFunction& query : kQueries) {
        EXPECT_EQ(query.call(nullptr, "daemon", &result), STAPI_RC_NULL_TOKEN) << query.name;
    }
}

TEST_F(ReturnCodes, STAPI_RC_TOKEN_NOT_FOUND) {
    ForeignToken foreign;
    GatewayToken* token = foreign.token();
    EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(token, foreign.token());
    ResultSetToken* result = nullptr;
    for (const QueryFunction& query : kQueries) {
        EXPECT_EQ(query.call(token, "daemon", &result), STAPI_RC_TOKEN_NOT_FOUND) << query.name;
    }
    EXPECT_EQ(result, nullptr);
}

TEST_F(ReturnCodes, STAPI_RC_BAD_TRACE_LEVEL) {
    EXPECT_EQ(setAPITraceLevel(6), STAPI_RC_BAD_TRACE_LEVEL);
    EXPECT_EQ(setAPITraceLevel(-1), STAPI_RC_BAD_TRACE_LEVEL);
}

TEST_F(ReturnCodes, STAPI_RC_NET_UNREACHABLE) {
    GatewayToken* token = nullptr;
    EXPECT_EQ(openGatewayConnection(2810, &token, nullptr), STAPI_RC_NET_UNREACHABLE);
    EXPECT_EQ(openRemoteGatewayConnection("127.0.0.1", 2810, &token, nullptr), STAPI_RC_NET_UNREACHABLE);
}

TEST_F(ReturnCodes, STAPI_RC_NOT_USER_RESULT_SET) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(freeResultSet(&result), STAPI_RC_NOT_USER_RESULT_SET);
    EXPECT_NE(result, nullptr);
    EXPECT_EQ(walkStats(result).lastCode, STAPI_RC_END_OF_DATA);
}

TEST_F(ReturnCodes, STAPI_RC_BAD_PORT) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    for (const int32_t port : {0, -1, 65536, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(openGatewayConnection(port, &token, &protocol), STAPI_RC_BAD_PORT) << port;
        EXPECT_EQ(openRemoteGatewayConnection("127.0.0.1", port, &token, &protocol), STAPI_RC_BAD_PORT) << port;
    }
}

TEST_F(ReturnCodes, STAPI_RC_NULL_TOKEN_POINTER) {
    char* protocol = nullptr;
    EXPECT_EQ(openGatewayConnection(2810, nullptr, &protocol), STAPI_RC_NULL_TOKEN_POINTER);
    EXPECT_EQ(openRemoteGatewayConnection("127.0.0.1", 2810, nullptr, &protocol), STAPI_RC_NULL_TOKEN_POINTER);
    EXPECT_EQ(closeGatewayConnection(nullptr), STAPI_RC_NULL_TOKEN_POINTER);
}

TEST_F(ReturnCodes, STAPI_RC_NULL_POINTER) {
    EXPECT_EQ(getStatsAPIVersion(nullptr), STAPI_RC_NULL_POINTER);
    EXPECT_EQ(getAPITraceLevel(nullptr), STAPI_RC_NULL_POINTER);
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(getIdQuery(result, nullptr), STAPI_RC_NULL_POINTER);
}

TEST_F(ReturnCodes, STAPI_RC_NO_MEMORY) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    const std::string longest(32765, 'x');
    const std::string tooLong(32766, 'x');
    for (const QueryFunction& query : kQueries) {
        if (query.takesIds) {
            EXPECT_EQ(query.call(connection.token(), tooLong.c_str(), &result), STAPI_RC_NO_MEMORY) << query.name;
            EXPECT_EQ(result, nullptr) << query.name;
        }
    }
    // Nothing was sent and the connection still works; one character less is sent.
    EXPECT_EQ(getStatsByStatId(connection.token(), longest.c_str(), &result), STAPI_RC_OK);
    EXPECT_EQ(sim.standardError(), "");
}

TEST_F(ReturnCodes, STAPI_RC_END_OF_DATA) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getResourceGroupIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(walkIds(result).lastCode, STAPI_RC_END_OF_DATA);
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(walkStats(result).lastCode, STAPI_RC_END_OF_DATA);
}

TEST_F(ReturnCodes, STAPI_RC_GTL_CORRUPT) {
    constexpr int kRunaway = 256;
    const GatewaySim sim;
    std::vector<GatewayToken*> tokens(kRunaway + 1, nullptr);
    char* protocol = nullptr;
    for (GatewayToken*& token : tokens) {
        ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK);
    }
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_GTL_CORRUPT);
    // 256 of them are closed, the one that is left still works.
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStatIds(tokens.front(), &result), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(getStatIds(tokens.back(), &result), STAPI_RC_OK);
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    EXPECT_EQ(getStatIds(tokens.back(), &result), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(ReturnCodes, STAPI_RC_CONNECT_FAILED) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    const GatewaySim failing({"--fault", "handshake:code=5"});
    EXPECT_EQ(openGatewayConnection(failing.port(), &token, &protocol), STAPI_RC_CONNECT_FAILED);
    const GatewaySim refusing({"--fault", "auth0:refuse"});
    EXPECT_EQ(openGatewayConnection(refusing.port(), &token, &protocol), STAPI_RC_CONNECT_FAILED);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(protocol, nullptr);
}

TEST_F(ReturnCodes, STAPI_RC_WRONG_CONTENT) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    StatData stat{};
    IdData id{};
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(getFirstStat(result, &stat), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextStat(result, &stat), STAPI_RC_WRONG_CONTENT);
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(getFirstId(result, &id), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextId(result, &id), STAPI_RC_WRONG_CONTENT);
}

TEST_F(ReturnCodes, STAPI_RC_BAD_EYECATCHER) {
    const GatewaySim failing({"--fault", "attribute:exception"});
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    EXPECT_EQ(openGatewayConnection(failing.port(), &token, &protocol), STAPI_RC_BAD_EYECATCHER);
    const GatewaySim sim({"--fault", "invoke:eyecatcher"});
    for (const QueryFunction& query : kQueries) {
        const Connection connection(sim);
        ResultSetToken* result = nullptr;
        EXPECT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_BAD_EYECATCHER) << query.name;
    }
}

TEST_F(ReturnCodes, STAPI_RC_WRONG_THREAD) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    const auto [queryCode, walkCode] = inOtherThread([&] {
        ResultSetToken* other = nullptr;
        IdData id{};
        return std::pair(getStatIds(connection.token(), &other), getFirstId(result, &id));
    });
    EXPECT_EQ(queryCode, STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(walkCode, STAPI_RC_WRONG_THREAD);
}

TEST_F(ReturnCodes, STAPI_RC_NULL_RESULT_SET_POINTER) {
    const GatewaySim sim;
    const Connection connection(sim);
    for (const QueryFunction& query : kQueries) {
        EXPECT_EQ(query.call(connection.token(), usualIds(query), nullptr), STAPI_RC_NULL_RESULT_SET_POINTER)
            << query.name;
    }
    EXPECT_EQ(freeResultSet(nullptr), STAPI_RC_NULL_RESULT_SET_POINTER);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(copyResultSet(result, nullptr), STAPI_RC_NULL_RESULT_SET_POINTER);
}

TEST_F(ReturnCodes, STAPI_RC_NULL_ID) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    for (const QueryFunction& query : kQueries) {
        if (query.takesIds) {
            EXPECT_EQ(query.call(connection.token(), nullptr, &result), STAPI_RC_NULL_ID) << query.name;
        }
    }
}

TEST_F(ReturnCodes, STAPI_RC_NULL_RESULT_SET) {
    IdData id{};
    StatData stat{};
    char* text = nullptr;
    ResultSetToken* none = nullptr;
    ResultSetToken* copy = nullptr;
    EXPECT_EQ(getFirstId(nullptr, &id), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(getNextId(nullptr, &id), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(getFirstStat(nullptr, &stat), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(getNextStat(nullptr, &stat), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(getIdQuery(nullptr, &text), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(copyResultSet(nullptr, &copy), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(freeResultSet(&none), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(dumpResultSet(nullptr), STAPI_RC_NULL_RESULT_SET);
}

TEST_F(ReturnCodes, STAPI_RC_NULL_ID_DATA) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(getFirstId(result, nullptr), STAPI_RC_NULL_ID_DATA);
    EXPECT_EQ(getNextId(result, nullptr), STAPI_RC_NULL_ID_DATA);
}

TEST_F(ReturnCodes, STAPI_RC_NULL_STAT_DATA) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(getFirstStat(result, nullptr), STAPI_RC_NULL_STAT_DATA);
    EXPECT_EQ(getNextStat(result, nullptr), STAPI_RC_NULL_STAT_DATA);
}

TEST_F(ReturnCodes, STAPI_RC_TRACE_FILE_FAILED) {
    const test_support::TemporaryFile notAFolder("a file");
    EXPECT_EQ(setAPITraceFile((notAFolder.path() + "/trace").c_str()), STAPI_RC_TRACE_FILE_FAILED);
    EXPECT_EQ(setAPITraceFile(std::string(1024, 'x').c_str()), STAPI_RC_TRACE_FILE_FAILED);
    EXPECT_EQ(setAPITraceFile(""), STAPI_RC_TRACE_FILE_FAILED);
}

TEST_F(ReturnCodes, STAPI_RC_QUERY_STRING_FAILED) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "no_such_group", &result), STAPI_RC_OK);
    char untouched = 'u';
    char* text = &untouched;
    EXPECT_EQ(getIdQuery(result, &text), STAPI_RC_QUERY_STRING_FAILED);
    EXPECT_EQ(text, &untouched);
}

TEST_F(ReturnCodes, STAPI_RC_HOST_UNKNOWN) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    // No label of a host name has more than 63 characters: no resolver asks anybody for this one.
    EXPECT_EQ(openRemoteGatewayConnection(std::string(300, 'x').c_str(), 2810, &token, &protocol),
              STAPI_RC_HOST_UNKNOWN);
}

TEST_F(ReturnCodes, STAPI_RC_NULL_ARGUMENT) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    EXPECT_EQ(openRemoteGatewayConnection(nullptr, 2810, &token, &protocol), STAPI_RC_NULL_ARGUMENT);
}

TEST_F(ReturnCodes, STAPI_RC_CONNECT_REFUSED) {
    const test_support::ClosedPort closed;
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    EXPECT_EQ(openGatewayConnection(closed.port(), &token, &protocol), STAPI_RC_CONNECT_REFUSED);
    EXPECT_EQ(openRemoteGatewayConnection("127.0.0.1", closed.port(), &token, &protocol), STAPI_RC_CONNECT_REFUSED);
    EXPECT_EQ(token, nullptr);
}

TEST_F(ReturnCodes, STAPI_RC_HOST_UNREACHABLE) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    // Loopback's broadcast address: no stream can be connected to it, and nothing leaves the machine.
    EXPECT_EQ(openRemoteGatewayConnection("127.255.255.255", 2810, &token, &protocol), STAPI_RC_HOST_UNREACHABLE);
}

}  // namespace system_test
