// Opening and closing connections.
#include <cstddef>
#include <cstring>

#include "closed_port.h"
#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class OpenClose : public SystemTest {};

TEST_F(OpenClose, LocalOpenGivesTokenAndProtocolVersion) {
    const GatewaySim sim;
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK);
    ASSERT_NE(token, nullptr);
    EXPECT_STREQ(protocol, "1.0.0");
    EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_OK);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(sim.standardError(), "");
}

TEST_F(OpenClose, HostCanBeNumericOrAName) {
    const GatewaySim sim({"--host", "127.0.0.1"});
    const Connection numeric(sim, "127.0.0.1");
    EXPECT_EQ(numeric.openCode(), STAPI_RC_OK);
    EXPECT_STREQ(numeric.protocol(), "1.0.0");
}

// Only the first address of a name is tried, and which of localhost's comes first is the system's choice: the daemon
// that the name leads to is reached, or the name leads to the other loopback address, where nobody listens.
TEST_F(OpenClose, NameLocalhostIsResolvedAndItsFirstAddressTried) {
    const GatewaySim sim;
    const Connection connection(sim, "localhost");
    if (connection.openCode() == STAPI_RC_OK) {
        EXPECT_STREQ(connection.protocol(), "1.0.0");
    } else {
        EXPECT_EQ(connection.openCode(), STAPI_RC_CONNECT_REFUSED);
        EXPECT_EQ(connection.token(), nullptr);
    }
}

TEST_F(OpenClose, OtherLoopbackAddressIsAnotherHost) {
    const GatewaySim sim({"--host", "127.0.0.2"});
    const Connection there(sim, "127.0.0.2");
    EXPECT_EQ(there.openCode(), STAPI_RC_OK);
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    // The local open always goes to 127.0.0.1.
    EXPECT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_CONNECT_REFUSED);
}

TEST_F(OpenClose, ProtocolVersionOfAnyLengthArrivesWhole) {
    for (const size_t length : {0U, 1U, 62U, 63U, 64U, 65U, 1000U, 32765U}) {
        Catalogue catalogue;
        const std::string text = patternText(length);
        const GatewaySim sim(catalogue.protocol(text).options());
        const Connection connection(sim);
        ASSERT_EQ(connection.openCode(), STAPI_RC_OK) << length;
        EXPECT_EQ(connection.protocol(), text) << length;
    }
}

// The copy that is handed out holds at most 32,765 characters.
TEST_F(OpenClose, ProtocolVersionTooLongToCopyIsNoMemory) {
    Catalogue catalogue;
    const GatewaySim sim(catalogue.protocol(patternText(32766)).options());
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    EXPECT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_NO_MEMORY);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(protocol, nullptr);
    EXPECT_EQ(sim.standardError(), "");
}

TEST_F(OpenClose, FailedOpenLeavesCallersVariablesUntouched) {
    const test_support::ClosedPort closed;
    char one = 'o';
    auto* const before = reinterpret_cast<GatewayToken*>(&one);
    GatewayToken* token = before;
    char* protocol = &one;
    EXPECT_EQ(openGatewayConnection(closed.port(), &token, &protocol), STAPI_RC_CONNECT_REFUSED);
    EXPECT_EQ(token, before);
    EXPECT_EQ(protocol, &one);
}

TEST_F(OpenClose, CloseNullsTokenAndSecondCloseOfItIsNullToken) {
    const GatewaySim sim;
    Connection connection(sim);
    GatewayToken* const old = connection.token();
    EXPECT_EQ(connection.close(), STAPI_RC_OK);
    EXPECT_EQ(connection.token(), nullptr);
    EXPECT_EQ(connection.close(), STAPI_RC_NULL_TOKEN);
    GatewayToken* stale = old;
    EXPECT_EQ(closeGatewayConnection(&stale), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(stale, old);
}

TEST_F(OpenClose, CloseTellsTheDaemon) {
    GatewaySim sim({"--verbose"});
    Connection connection(sim);
    ASSERT_EQ(connection.close(), STAPI_RC_OK);
    EXPECT_NE(sim.standardError().find("close answered"), std::string::npos) << sim.standardError();
}

TEST_F(OpenClose, SecondOpenIntoTheSameVariableKeepsTheFirstConnectionOpen) {
    const GatewaySim sim;
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK);
    GatewayToken* const first = token;
    ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK);
    EXPECT_NE(token, first);
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStatIds(first, &result), STAPI_RC_OK);
    EXPECT_EQ(getStatIds(token, &result), STAPI_RC_OK);
}

TEST_F(OpenClose, CloseAllWithoutConnectionsSucceeds) {
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
}

TEST_F(OpenClose, CloseAllEndsEveryConnection) {
    const GatewaySim first;
    const GatewaySim second;
    const Connection one(first);
    const Connection two(second);
    const Connection three(first);
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    for (GatewayToken* token : {one.token(), two.token(), three.token()}) {
        EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_TOKEN_NOT_FOUND);
    }
}

// First, middle and last of the list: what is left stays usable, and new connections can be chained.
TEST_F(OpenClose, ClosingAnyOfThreeLeavesTheOthersUsable) {
    const GatewaySim sim;
    for (const size_t closed : {0U, 1U, 2U}) {
        std::array<GatewayToken*, 3> tokens{};
        char* protocol = nullptr;
        for (GatewayToken*& token : tokens) {
            ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK);
        }
        ASSERT_EQ(closeGatewayConnection(&tokens[closed]), STAPI_RC_OK);
        ASSERT_EQ(openGatewayConnection(sim.port(), &tokens[closed], &protocol), STAPI_RC_OK);
        ResultSetToken* result = nullptr;
        for (GatewayToken* token : tokens) {
            EXPECT_EQ(getStatIds(token, &result), STAPI_RC_OK) << "closed: " << closed;
        }
        ASSERT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    }
}

TEST_F(OpenClose, DaemonThatEndedMeanwhileDoesNotHinderClosing) {
    GatewaySim sim;
    Connection connection(sim);
    ASSERT_EQ(sim.stop(), 0);
    EXPECT_EQ(connection.close(), STAPI_RC_OK);
}

TEST_F(OpenClose, VersionOfTheInterface) {
    char* version = nullptr;
    ASSERT_EQ(getStatsAPIVersion(&version), STAPI_RC_OK);
    EXPECT_STREQ(version, "1_1_0_1");
    char* again = nullptr;
    ASSERT_EQ(getStatsAPIVersion(&again), STAPI_RC_OK);
    EXPECT_EQ(version, again);
}

}  // namespace system_test
