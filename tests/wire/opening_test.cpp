#include <cstddef>
#include <cstdint>
#include <string>

#include "connecting.h"
#include "open_connection.h"

namespace wire_test {

namespace {

using test_support::ScriptedPeer;
using test_support::TraceCapture;
namespace peer_sockets = test_support::peer_sockets;

class Opening : public ConnectionTest {};

TEST_F(Opening, ShakesHandsAuthorisesAndAsksForTheProtocol) {
    ScriptedPeer peer(gatewayScript());
    {
        const OpenConnection connection(peer.port());
        ASSERT_EQ(connection.rc, 0);
        EXPECT_EQ(connection.token->connStatus, 1);
        EXPECT_EQ(connection.token->port, peer.port());
        EXPECT_EQ(connection.token->resultSetBufLen, 32768);
        EXPECT_EQ(stapi::gtlHead, connection.token);
        std::vector<size_t> sizes;
        for (const Bytes& request : peer.requests()) {
            sizes.push_back(request.size());
        }
        EXPECT_EQ(sizes, (std::vector<size_t>{51, 37, 53, 38, 128}));
    }
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.requests().back().size(), 33U) << "the close request";
}

TEST_F(Opening, TheVersionTextHandedOutIsTheTokensOwn) {
    ScriptedPeer peer(gatewayScript());
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    EXPECT_EQ(connection.version, connection.token->protocolVersion);
    EXPECT_STREQ(connection.version, "1.1");
}

class OpeningVersion : public ConnectionTest, public testing::WithParamInterface<size_t> {};

TEST_P(OpeningVersion, OfAnyLengthUpToTheLimitOfACopyIsHandedOut) {
    const std::string version(GetParam(), 'v');
    GatewayReplies replies;
    replies.attribute = versionReply(version);
    ScriptedPeer peer(gatewayScript(replies));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    EXPECT_EQ(std::string(connection.version), version);
}

INSTANTIATE_TEST_SUITE_P(Lengths, OpeningVersion, testing::Values(0U, 63U, 64U, 65U, 1000U, 32765U));

class OverlongVersion : public ConnectionTest, public testing::WithParamInterface<size_t> {};

TEST_P(OverlongVersion, CannotBeCopiedAndIsMinus111WithTheConnectionClosed) {
    GatewayReplies replies;
    replies.attribute = versionReply(std::string(GetParam(), 'v'));
    ScriptedPeer peer(gatewayScript(replies));
    GatewayToken* token = untouchedToken();
    char* version = nullptr;
    EXPECT_EQ(openGatewayConnection(peer.port(), &token, &version), -111);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(version, nullptr);
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.requests().back().size(), 33U) << "the close request";
}

INSTANTIATE_TEST_SUITE_P(Lengths, OverlongVersion, testing::Values(32766U, 65535U));

struct MappingCase {
    const char* name;
    GatewayReplies replies;
    int32_t rc;
    size_t requests;  // the close request included, where the socket is still good for one
};

std::ostream& operator<<(std::ostream& stream, const MappingCase& mapping) {
    return stream << mapping.name;
}

class OpeningFailure : public ConnectionTest, public testing::WithParamInterface<MappingCase> {};

TEST_P(OpeningFailure, IsMappedAndTheTokenIsRemovedAndTheCallersPointersAreUntouched) {
    ScriptedPeer peer(gatewayScript(GetParam().replies));
    GatewayToken* token = untouchedToken();
    char version[] = "untouched";
    char* versionPtr = version;
    EXPECT_EQ(openGatewayConnection(peer.port(), &token, &versionPtr), GetParam().rc);
    EXPECT_EQ(token, untouchedToken());
    EXPECT_EQ(versionPtr, version);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    EXPECT_EQ(peer.finish(), "") << "the socket has been closed";
    EXPECT_EQ(peer.requests().size(), GetParam().requests);
}

GatewayReplies with(std::optional<Bytes> GatewayReplies::*which, std::optional<Bytes> answer) {
    GatewayReplies replies;
    replies.*which = std::move(answer);
    return replies;
}

Bytes refusedCall(uint32_t type) {
    return reply("Admin", BytesWriter().u32(type).u32(8).u32(0).bytes());
}

INSTANTIATE_TEST_SUITE_P(
    Replies, OpeningFailure,
    testing::Values(
        MappingCase{"handshake refused", with(&GatewayReplies::handshake, reply("BASE", {}, 5)), -118, 2},
        MappingCase{"handshake unanswered", with(&GatewayReplies::handshake, std::nullopt), -118, 1},
        MappingCase{"handshake of another protocol", with(&GatewayReplies::handshake, Bytes(33, 'H')), -118, 2},
        MappingCase{"handshake code like a time-out", with(&GatewayReplies::handshake, reply("BASE", {}, 0xFFFFFF99)),
                    -118, 2},
        MappingCase{"authorisation refused",
                    with(&GatewayReplies::authorisationInit, reply("Auth", hex("00000000 00000001"))), -118, 3},
        MappingCase{"second authorisation step unanswered", with(&GatewayReplies::authorisationFinal, std::nullopt),
                    -118, 3},
        MappingCase{"authorisation reply cut short", with(&GatewayReplies::authorisationInit, reply("Auth", hex("00"))),
                    -118, 3},
        MappingCase{"authorisation with a code", with(&GatewayReplies::authorisationInit, reply("Auth", {}, 61444)),
                    -118, 3},
        MappingCase{"initialisation unanswered", with(&GatewayReplies::initialise, std::nullopt), -122, 4},
        MappingCase{"initialisation refused", with(&GatewayReplies::initialise, refusedCall(0)), -122, 5},
        MappingCase{"initialisation with code 61444",
                    with(&GatewayReplies::initialise, reply("Admin", initialiseBody(), 61444)), -122, 5},
        MappingCase{"initialisation with code -4",
                    with(&GatewayReplies::initialise, reply("Admin", initialiseBody(), 0xFFFFFFFC)), -122, 5},
        MappingCase{"initialisation with code -1",
                    with(&GatewayReplies::initialise, reply("Admin", initialiseBody(), 0xFFFFFFFF)), -102, 5},
        MappingCase{"version refused", with(&GatewayReplies::attribute, refusedCall(1)), -122, 6},
        MappingCase{"version with an exception",
                    with(&GatewayReplies::attribute, reply("Admin", hex("00000001 00000000 01"))), -122, 6},
        MappingCase{"version with code -1",
                    with(&GatewayReplies::attribute, reply("Admin", callBody(1, {}), 0xFFFFFFFF)), -102, 6},
        MappingCase{"version cut short",
                    with(&GatewayReplies::attribute, reply("Admin", callBody(1, hex("ACED00057400 0004 312E30")))),
                    -122, 6},
        MappingCase{"version missing", with(&GatewayReplies::attribute, reply("Admin", callBody(1, {}))), -122, 6},
        MappingCase{"version answered as an initialisation",
                    with(&GatewayReplies::attribute, reply("Admin", initialiseBody())), -122, 6},
        MappingCase{"version unanswered", with(&GatewayReplies::attribute, std::nullopt), -122, 5}));

TEST_F(Opening, ItsArgumentsAreCheckedInTheirOrder) {
    GatewayToken* token = untouchedToken();
    char* version = nullptr;
    for (const int32_t port : {0, -1, 65536, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(openRemoteGatewayConnection(nullptr, port, nullptr, nullptr), -107) << port;
        EXPECT_EQ(openGatewayConnection(port, nullptr, nullptr), -107) << port;
    }
    for (const int32_t port : {1, 65535}) {
        EXPECT_EQ(openRemoteGatewayConnection(nullptr, port, nullptr, nullptr), -108);
        EXPECT_EQ(openRemoteGatewayConnection(nullptr, port, &token, nullptr), -105);
        EXPECT_EQ(openRemoteGatewayConnection(nullptr, port, &token, &version), -133);
    }
    EXPECT_EQ(token, untouchedToken());
}

TEST_F(Opening, ClosingWithoutATokenNamesWhatIsMissing) {
    const TraceCapture trace(1);
    GatewayToken* token = nullptr;
    EXPECT_EQ(closeGatewayConnection(nullptr), -108);
    EXPECT_EQ(closeGatewayConnection(&token), -100);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{
                  "1005 *EXC* API.closeGatewayConnection(&gwTokPtr=0000000000000000) Null gateway token Pointer",
                  "1005 *EXC* API.closeGatewayConnection(gwTokPtr=0000000000000000) Null gateway token"}));
}

TEST_F(Opening, ASecondOneIntoTheSameVariableLeavesTheFirstOnTheList) {
    ScriptedPeer peer(gatewayScript());
    ScriptedPeer secondPeer(gatewayScript());
    GatewayToken* token = nullptr;
    char* version = nullptr;
    ASSERT_EQ(openGatewayConnection(peer.port(), &token, &version), 0);
    const GatewayToken* const first = token;
    ASSERT_EQ(openGatewayConnection(secondPeer.port(), &token, &version), 0);
    EXPECT_EQ(stapi::gtlHead, first);
    EXPECT_EQ(first->nextGwyTokPtr, token);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(secondPeer.finish(), "");
}

TEST_F(Opening, ARefusedConnectionIsMinus135) {
    const TraceCapture trace(2);
    const peer_sockets::Listener closed = peer_sockets::refuseOnLoopback();
    GatewayToken* token = untouchedToken();
    char* version = nullptr;
    EXPECT_EQ(openGatewayConnection(closed.port, &token, &version), -135);
    EXPECT_EQ(token, untouchedToken());
    EXPECT_EQ(trace.messages(2004).at(0), "stapi_zul_gwytok.openStatsSocket() Failed to connect to Gateway 127.0.0.1:" +
                                              std::to_string(closed.port) + ", connect rc = -104");
    peer_sockets::closeSocket(closed.socket);
}

TEST_F(Opening, AnUnknownHostIsMinus132) {
    GatewayToken* token = untouchedToken();
    char* version = nullptr;
    EXPECT_EQ(openRemoteGatewayConnection(
                  "no-host-has-a-name-like-this-one-because-it-is-much-longer-than-any-label-can-be.invalid", 1234,
                  &token, &version),
              -132);
    EXPECT_EQ(token, untouchedToken());
}

TEST_F(Opening, AFailedVersionRequestIsTracedWithItsOwnCode) {
    const TraceCapture trace(2);
    ScriptedPeer peer(gatewayScript(with(&GatewayReplies::attribute, refusedCall(1))));
    const OpenConnection connection(peer.port());
    EXPECT_EQ(connection.rc, -122);
    std::vector<std::string> removals;
    for (const std::string& line : trace.lines()) {
        if (line.rfind("2042", 0) == 0) {
            removals.push_back(line);
        }
    }
    EXPECT_EQ(removals, (std::vector<std::string>{
                            "2042 EVENT stapi_zul_gwytok.createGatewayToken Removing GatewayToken AAAAAAAAAAAAAAAA due "
                            "to comms failure -3"}));
}

TEST_F(Opening, ASuccessIsTracedAsAnEventWithTheToken) {
    const TraceCapture trace(2);
    ScriptedPeer peer(gatewayScript());
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    EXPECT_EQ(trace.messages(2003).at(0),
              "stapi_zul_gwytok.openStatsSocket() Connected to Gateway 127.0.0.1:" + std::to_string(peer.port()) +
                  " - socketDescriptor(" + std::to_string(connection.token->socket) + ")");
    const std::string created = trace.messages(2033).at(0);
    EXPECT_NE(created.find(" GatwayToken("), std::string::npos);
    EXPECT_NE(created.find("connStatus(1)"), std::string::npos);
    EXPECT_EQ(trace.count(1001), 1);
}

TEST_F(Opening, AClosedConnectionHasSentItsCloseRequest) {
    ScriptedPeer peer(gatewayScript());
    OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    EXPECT_EQ(closeGatewayConnection(&connection.token), 0);
    EXPECT_EQ(connection.token, nullptr);
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.requests().back(),
              hex("47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000"));
}

TEST_F(Opening, AConnectionWhoseDaemonHasGoneCanBeClosed) {
    ScriptedPeer peer(serveOpening);
    OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(closeGatewayConnection(&connection.token), 0);
    EXPECT_EQ(connection.token, nullptr);
}

}  // namespace

}  // namespace wire_test
