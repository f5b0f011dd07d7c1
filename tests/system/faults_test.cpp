// Every way in which a daemon can misbehave, at every exchange: the code that the caller gets, what becomes of the
// connection, and that the library works on afterwards.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <ostream>

#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

namespace {

struct Fault {
    const char* option;
    int32_t code;  // of the open, or of the query
};

std::string nameOf(const Fault& fault) {
    std::string name;
    bool capital = true;
    bool pastEquals = false;
    for (const char character : std::string(fault.option)) {
        const bool isPlain = std::isalnum(static_cast<unsigned char>(character)) != 0;
        if (isPlain) {
            name += capital ? static_cast<char>(std::toupper(static_cast<unsigned char>(character))) : character;
        }
        name += character == '-' && pastEquals ? "Minus" : "";
        pastEquals = character == '=';
        capital = !isPlain;
    }
    return name;
}

void PrintTo(const Fault& fault, std::ostream* stream) {
    *stream << fault.option;
}

constexpr int32_t kOk = STAPI_RC_OK;
constexpr int32_t kConnectFailed = STAPI_RC_CONNECT_FAILED;
constexpr int32_t kCommunication = STAPI_RC_BAD_EYECATCHER;

// A header has 29 bytes and the name of the daemon's program: 33 for handshake and authorisation, 34 for the rest.
constexpr Fault kOpeningFaults[] = {
    // The handshake's reply is not looked at beyond its header.
    {"handshake:delay=1", kOk},
    {"handshake:trickle", kOk},
    {"handshake:empty", kOk},
    {"handshake:negative-length", kOk},
    {"handshake:truncate-body=5", kOk},
    {"handshake:cut=0", kConnectFailed},
    {"handshake:cut=2", kConnectFailed},
    {"handshake:cut=20", kConnectFailed},
    {"handshake:cut=33", kConnectFailed},
    {"handshake:cut=40", kConnectFailed},
    {"handshake:eyecatcher", kConnectFailed},
    {"handshake:code=5", kConnectFailed},
    {"handshake:code=-2", kConnectFailed},
    {"handshake:longer=4", kConnectFailed},
    {"handshake:shorter=4", kConnectFailed},
    {"handshake:name-length=5", kConnectFailed},
    {"handshake:name-length=4294967295", kConnectFailed},
    {"handshake:name-length=3", kConnectFailed},
    {"handshake:reset", kConnectFailed},

    {"auth0:delay=1", kOk},
    {"auth0:trickle", kOk},
    {"auth0:cut=0", kConnectFailed},
    {"auth0:cut=33", kConnectFailed},
    {"auth0:cut=45", kConnectFailed},
    {"auth0:eyecatcher", kConnectFailed},
    {"auth0:code=61444", kConnectFailed},
    {"auth0:code=-122", kConnectFailed},
    {"auth0:refuse", kConnectFailed},
    {"auth0:refuse=-1", kConnectFailed},
    {"auth0:longer=4", kConnectFailed},
    {"auth0:shorter=4", kConnectFailed},
    {"auth0:name-length=5", kConnectFailed},
    {"auth0:reset", kConnectFailed},
    {"auth0:truncate-body=19", kConnectFailed},
    {"auth0:truncate-body=8", kConnectFailed},
    {"auth0:truncate-body=7", kConnectFailed},
    // No credential comes with these, and the one that is sent then is not the daemon's.
    {"auth0:empty", kConnectFailed},
    {"auth0:negative-length", kConnectFailed},
    {"auth0:call-type=1", kConnectFailed},

    {"auth1:delay=1", kOk},
    {"auth1:trickle", kOk},
    {"auth1:empty", kOk},
    {"auth1:negative-length", kOk},
    {"auth1:call-type=7", kOk},
    {"auth1:cut=0", kConnectFailed},
    {"auth1:cut=33", kConnectFailed},
    {"auth1:eyecatcher", kConnectFailed},
    {"auth1:code=1", kConnectFailed},
    {"auth1:refuse", kConnectFailed},
    {"auth1:call-type=0", kConnectFailed},
    {"auth1:longer=4", kConnectFailed},
    {"auth1:name-length=5", kConnectFailed},
    {"auth1:truncate-body=15", kConnectFailed},
    {"auth1:reset", kConnectFailed},
    // The reply counts as whole, and the first exchange after it fails.
    {"auth1:cut=45", kCommunication},
    {"auth1:shorter=4", kCommunication},

    {"init:delay=1", kOk},
    {"init:trickle", kOk},
    {"init:cut=0", kCommunication},
    {"init:cut=34", kCommunication},
    {"init:cut=40", kCommunication},
    {"init:eyecatcher", kCommunication},
    {"init:code=3", kCommunication},
    {"init:code=61444", kCommunication},
    {"init:admin-code=9", kCommunication},
    {"init:longer=1", kCommunication},
    {"init:shorter=4", kCommunication},
    {"init:name-length=6", kCommunication},
    {"init:empty", kCommunication},
    {"init:negative-length", kCommunication},
    {"init:reset", kCommunication},
    {"init:call-type=1", kCommunication},
    {"init:truncate-body=0", kCommunication},
    {"init:truncate-body=8", kCommunication},
    {"init:truncate-body=11", kCommunication},

    {"attribute:delay=1", kOk},
    {"attribute:trickle", kOk},
    {"attribute:call-type=5", kOk},
    {"attribute:cut=0", kCommunication},
    {"attribute:cut=34", kCommunication},
    {"attribute:eyecatcher", kCommunication},
    {"attribute:code=3", kCommunication},
    {"attribute:admin-code=9", kCommunication},
    {"attribute:exception", kCommunication},
    {"attribute:longer=1", kCommunication},
    {"attribute:name-length=6", kCommunication},
    {"attribute:empty", kCommunication},
    {"attribute:negative-length", kCommunication},
    {"attribute:reset", kCommunication},
    {"attribute:call-type=0", kCommunication},
    {"attribute:truncate-body=0", kCommunication},
    {"attribute:truncate-body=8", kCommunication},
    {"attribute:truncate-body=9", kCommunication},
    {"attribute:truncate-body=20", kCommunication},
    // The bytes that never come read as zero: the text is whole. The connection is gone afterwards.
    {"attribute:shorter=4", kOk},
};

// The opening makes one init of its own: that of the query is the second.
constexpr Fault kQueryFaults[] = {
    {"init#2:delay=1", kOk},
    {"init#2:trickle", kOk},
    {"init#2:cut=0", kCommunication},
    {"init#2:cut=34", kCommunication},
    {"init#2:cut=40", kCommunication},
    {"init#2:eyecatcher", kCommunication},
    {"init#2:code=3", kCommunication},
    {"init#2:code=-4", kCommunication},
    {"init#2:code=-3", kCommunication},
    {"init#2:code=61444", kCommunication},
    {"init#2:admin-code=-9", kCommunication},
    {"init#2:longer=1", kCommunication},
    {"init#2:shorter=4", kCommunication},
    {"init#2:name-length=6", kCommunication},
    {"init#2:empty", kCommunication},
    {"init#2:negative-length", kCommunication},
    {"init#2:reset", kCommunication},
    {"init#2:call-type=5", kCommunication},
    {"init#2:truncate-body=11", kCommunication},

    {"invoke:delay=1", kOk},
    {"invoke:trickle", kOk},
    {"invoke:call-type=1", kOk},
    {"invoke:cut=0", kCommunication},
    {"invoke:cut=2", kCommunication},
    {"invoke:cut=5", kCommunication},
    {"invoke:cut=34", kCommunication},
    {"invoke:eyecatcher", kCommunication},
    {"invoke:code=3", kCommunication},
    {"invoke:code=-111", kCommunication},
    {"invoke:admin-code=9", kCommunication},
    {"invoke:exception", kCommunication},
    {"invoke:longer=20", kCommunication},
    {"invoke:name-length=6", kCommunication},
    {"invoke:name-length=4", kCommunication},
    {"invoke:name-length=2147483648", kCommunication},
    {"invoke:empty", kCommunication},
    {"invoke:negative-length", kCommunication},
    {"invoke:reset", kCommunication},
    {"invoke:call-type=0", kCommunication},
    {"invoke:truncate-body=0", kCommunication},
    {"invoke:truncate-body=4", kCommunication},
    {"invoke:truncate-body=8", kCommunication},
    {"invoke:truncate-body=9", kCommunication},
    {"invoke:truncate-body=10", kCommunication},
    {"invoke:truncate-body=100", kCommunication},
    {"invoke:code=-1", STAPI_RC_SOCKET_ERROR},
    {"init#2:code=-1", STAPI_RC_SOCKET_ERROR},
};

// What a daemon answers to the close request makes no difference.
constexpr const char* kCloseFaults[] = {
    "close:delay=1",       "close:trickle",         "close:cut=0", "close:cut=10",          "close:eyecatcher",
    "close:code=5",        "close:longer=1",        "close:empty", "close:shorter=4",       "close:name-length=5",
    "close:name-length=3", "close:negative-length", "close:reset", "close:truncate-body=0",
};

void expectLibraryWorks() {
    const GatewaySim sound;
    const Connection connection(sound);
    ASSERT_EQ(connection.openCode(), STAPI_RC_OK);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    EXPECT_GT(walkStats(result).entries.size(), 50U);
    EXPECT_EQ(sound.standardError(), "");
}

bool listIsEmpty() {
    const TraceCapture trace(0);
    dumpState();
    return trace.text().find("The Gateway Token List is EMPTY") != std::string::npos;
}

}  // namespace

class FaultWhileOpening : public SystemTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(FaultWhileOpening, GivesItsCodeAndLeavesNoConnectionBehind) {
    const GatewaySim sim({"--fault", GetParam().option, "--seed", "11"});
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), GetParam().code);
    if (GetParam().code == STAPI_RC_OK) {
        EXPECT_STREQ(protocol, "1.0.0");
        EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_OK);
    }
    EXPECT_EQ(token, nullptr);
    EXPECT_TRUE(listIsEmpty());
    expectLibraryWorks();
}

INSTANTIATE_TEST_SUITE_P(Opening, FaultWhileOpening, ::testing::ValuesIn(kOpeningFaults),
                         [](const auto& instance) { return nameOf(instance.param); });

class FaultWhileQuerying : public SystemTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(FaultWhileQuerying, GivesItsCodeAndRemovesADeadConnection) {
    const GatewaySim sim({"--fault", GetParam().option, "--seed", "11"});
    for (const QueryFunction& query : kQueries) {
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK) << query.name;
        ResultSetToken* result = nullptr;
        EXPECT_EQ(query.call(token, usualIds(query), &result), GetParam().code) << query.name;
        if (GetParam().code == STAPI_RC_OK) {
            ASSERT_NE(result, nullptr) << query.name;
            const size_t entries = query.givesIds ? walkIds(result).entries.size() : walkStats(result).entries.size();
            EXPECT_GT(entries, 1U) << query.name;
            EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_OK) << query.name;
        } else {
            EXPECT_EQ(result, nullptr) << query.name;
            EXPECT_EQ(query.call(token, usualIds(query), &result), STAPI_RC_TOKEN_NOT_FOUND) << query.name;
            EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_TOKEN_NOT_FOUND) << query.name;
        }
        EXPECT_TRUE(listIsEmpty()) << query.name;
    }
    expectLibraryWorks();
}

INSTANTIATE_TEST_SUITE_P(Querying, FaultWhileQuerying, ::testing::ValuesIn(kQueryFaults),
                         [](const auto& instance) { return nameOf(instance.param); });

class FaultWhileClosing : public SystemTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(FaultWhileClosing, MakesNoDifference) {
    const GatewaySim sim({"--fault", GetParam()});
    Connection one(sim);
    const Connection two(sim);
    ASSERT_EQ(one.openCode(), STAPI_RC_OK);
    ASSERT_EQ(two.openCode(), STAPI_RC_OK);
    EXPECT_EQ(one.close(), STAPI_RC_OK);
    EXPECT_EQ(one.token(), nullptr);
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    EXPECT_TRUE(listIsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Closing, FaultWhileClosing, ::testing::ValuesIn(kCloseFaults), [](const auto& instance) {
    return nameOf({instance.param, 0});
});

class Faults : public SystemTest {};

// A reply that announces too much: the bytes that never come read as zero, and the next exchange finds the daemon gone.
TEST_F(Faults, ReplyEndedEarlyCountsAsWholeAndTheNextQueryFails) {
    for (const char* const option : {"invoke:shorter=4", "invoke:longer=1"}) {
        const GatewaySim sim({"--fault", option});
        for (const QueryFunction& query : kQueries) {
            const Connection connection(sim);
            ResultSetToken* result = nullptr;
            ASSERT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_OK) << option << query.name;
            EXPECT_GT(query.givesIds ? walkIds(result).entries.size() : walkStats(result).entries.size(), 1U)
                << option << query.name;
            EXPECT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_BAD_EYECATCHER)
                << option << query.name;
        }
    }
}

TEST_F(Faults, ReplyCutInTheMiddleReadsAsZeroAndTheNextQueryFails) {
    const GatewaySim sim({"--fault", "invoke:cut=60"});
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    walkStats(result);
    EXPECT_EQ(getStats(connection.token(), &result), STAPI_RC_BAD_EYECATCHER);
}

TEST_F(Faults, OneConnectionsFaultLeavesTheOthersAlone) {
    const GatewaySim faulty({"--fault", "invoke:reset"});
    const GatewaySim sound;
    const Connection first(sound);
    const Connection failing(faulty);
    const Connection last(sound);
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStats(failing.token(), &result), STAPI_RC_BAD_EYECATCHER);
    EXPECT_EQ(getStats(first.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(getStats(last.token(), &result), STAPI_RC_OK);
}

TEST_F(Faults, CopyOutlivesTheConnectionThatDied) {
    const GatewaySim sim({"--fault", "invoke#2:reset"});
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ResultSetToken* copy = nullptr;
    ASSERT_EQ(getResourceGroupIds(connection.token(), &result), STAPI_RC_OK);
    ASSERT_EQ(copyResultSet(result, &copy), STAPI_RC_OK);
    EXPECT_EQ(getStats(connection.token(), &result), STAPI_RC_BAD_EYECATCHER);
    EXPECT_EQ(walkIds(copy).entries.size(), 11U);
    EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK);
}

}  // namespace system_test
