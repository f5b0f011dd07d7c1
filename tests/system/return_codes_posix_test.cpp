#include <cstdint>

#include "forked_posix.h"
#include "relay_posix.h"
#include "return_codes_suite.h"

namespace system_test {

using test_support::GatewaySim;

const std::map<std::string, std::string>& codesWithoutTestOnThisSystem() {
    static const std::map<std::string, std::string> kNone;
    return kNone;
}

TEST_F(ReturnCodes, STAPI_RC_SOCKET_ERROR) {
    const GatewaySim sim;
    for (const QueryFunction& query : kQueries) {
        Relay relay(sim.port());
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        ASSERT_EQ(openGatewayConnection(relay.port(), &token, &protocol), STAPI_RC_OK);
        relay.reset();
        ResultSetToken* result = nullptr;
        EXPECT_EQ(query.call(token, usualIds(query), &result), STAPI_RC_SOCKET_ERROR) << query.name;
        EXPECT_EQ(result, nullptr) << query.name;
        EXPECT_EQ(query.call(token, usualIds(query), &result), STAPI_RC_TOKEN_NOT_FOUND) << query.name;
    }
}

TEST_F(ReturnCodes, STAPI_RC_WRONG_PROCESS) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* ids = nullptr;
    ASSERT_EQ(getStatIds(connection.token(), &ids), STAPI_RC_OK);
    const std::vector<int32_t> codes = inForkedChild([&] {
        IdData id{};
        char* text = nullptr;
        ResultSetToken* result = nullptr;
        std::vector<int32_t> found;
        for (const QueryFunction& query : kQueries) {
            found.push_back(query.call(connection.token(), usualIds(query), &result));
        }
        found.push_back(getFirstId(ids, &id));
        found.push_back(getNextId(ids, &id));
        found.push_back(getIdQuery(ids, &text));
        found.push_back(copyResultSet(ids, &result));
        found.push_back(dumpResultSet(ids));
        return found;
    });
    EXPECT_EQ(codes, std::vector<int32_t>(11, STAPI_RC_WRONG_PROCESS));
    EXPECT_EQ(walkIds(ids).lastCode, STAPI_RC_END_OF_DATA);
}

}  // namespace system_test
