#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "connecting.h"
#include "gateway_peer.h"

namespace wire_test {

namespace {

using test_support::ScriptedPeer;
using test_support::TraceCapture;
namespace peer_sockets = test_support::peer_sockets;

// No part of a host name has more than 63 characters, so this one is not even asked for.
const char* const kImpossibleHost =
    "no-host-has-a-name-like-this-one-because-it-is-much-longer-than-any-label-can-be.invalid";

TEST(Connecting, ConnectsShakesHandsAndAuthorisesInThisOrder) {
    const TraceCapture trace(4);
    ScriptedPeer peer(gatewayScript());
    Connecting connecting;
    EXPECT_EQ(connecting.run(peer.port()), 0);
    ASSERT_GE(connecting.socket, 0);
    const std::vector<Bytes> requests = peer.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].size(), 51U);
    EXPECT_EQ(requests[1].size(), 37U);
    EXPECT_EQ(requests[2].size(), 53U);
    const std::string socket = std::to_string(connecting.socket);
    EXPECT_EQ(trace.messages(3002).at(0), "stapi_zul_gwycon.connectToGateway() Created socket: " + socket);
    EXPECT_EQ(trace.messages(3003).at(0),
              "stapi_zul_gwycon.connectToGateway() Connected to Gateway 127.0.0.1:" + std::to_string(peer.port()));
    EXPECT_EQ(trace.messages(3004).at(0), "stapi_zul_gwycon.connectToGateway() Flowed Handshake to the Gateway");
    const std::vector<int> points = connectionPoints(trace);
    ASSERT_GE(points.size(), 8U);
    EXPECT_EQ((std::vector<int>{points[0], points[1], points[2]}), (std::vector<int>{3000, 3013, 3002}));
    EXPECT_EQ((std::vector<int>(points.end() - 5, points.end())), (std::vector<int>{3003, 3004, 3010, 3011, 3007}));
}

TEST(Connecting, ARefusedConnectIsMinus104) {
    const TraceCapture trace(4);
    const peer_sockets::Listener closed = peer_sockets::refuseOnLoopback();
    Connecting connecting;
    EXPECT_EQ(connecting.run(closed.port), -104);
    EXPECT_GE(connecting.socket, 0);
    EXPECT_EQ(trace.messages(3006),
              (std::vector<std::string>{unableToConnect(stapi::platform::kErrorConnectionRefused)}));
    EXPECT_EQ(trace.count(3003), 0);
    EXPECT_EQ(connectionPoints(trace).back(), 3007);
    peer_sockets::closeSocket(closed.socket);
}

TEST(Connecting, ARefusalSeenAfterTheWaitIsMinus100WithTheSocketsError) {
    const TraceCapture trace(4);
    const peer_sockets::Listener closed = peer_sockets::refuseOnLoopback();
    const int32_t socket = peer_sockets::beginConnectToLoopback(closed.port);
    int32_t error = 0;
    EXPECT_EQ(stapi::waitForConnection(&socket, &error), -100);
    EXPECT_EQ(error, stapi::platform::kErrorConnectionRefused);
    EXPECT_EQ(trace.messages(3014).at(0),
              "stapi_zul_gwycon.waitForConnection Calling select() on socketdescriptor " + std::to_string(socket));
    EXPECT_EQ(trace.messages(3015).at(0), "stapi_zul_gwycon.waitForConnection socket " + std::to_string(socket) +
                                              " connect() failed error " + std::to_string(error));
    peer_sockets::closeSocket(socket);
    peer_sockets::closeSocket(closed.socket);
}

TEST(Connecting, AWaitForAConnectThatSucceedsIsZeroAndLeavesTheErrorNumber) {
    const TraceCapture trace(4);
    const peer_sockets::Listener listener = peer_sockets::listenOnLoopback(1);
    const int32_t socket = peer_sockets::beginConnectToLoopback(listener.port);
    int32_t error = 4711;
    EXPECT_EQ(stapi::waitForConnection(&socket, &error), 0);
    EXPECT_EQ(error, 4711);
    EXPECT_EQ(trace.points(), (std::vector<int>{3014}));
    peer_sockets::closeSocket(socket);
    peer_sockets::closeSocket(listener.socket);
}

TEST(Connecting, AHostThatCannotBeResolvedIsMinus101AndNoSocketIsMade) {
    const TraceCapture trace(4);
    Connecting connecting;
    EXPECT_EQ(connecting.run(1234, kImpossibleHost), -101);
    EXPECT_EQ(connecting.socket, -77);
    EXPECT_EQ(connectionPoints(trace), (std::vector<int>{3000, 3012, 3007}));
    const std::string message = trace.messages(3012).at(0);
    const std::string start =
        std::string("stapi_zul_gwycon.getHostInfo() Unable to resolve host (") + kImpossibleHost + ":1234): ";
    EXPECT_EQ(message.substr(0, start.size()), start);
    EXPECT_EQ(message.back(), ')');
    EXPECT_GT(message.size(), start.size() + 3) << message;
}

TEST(Connecting, TheHostInformationNamesAStreamAddress) {
    stapi::platform::HostAddress address = {};
    EXPECT_EQ(stapi::getHostInfo("127.0.0.1", 4321, &address), 0);
    EXPECT_NE(address.address, nullptr);
    EXPECT_NE(address.length, 0U);
    stapi::platform::releaseHostAddress(&address);
    EXPECT_EQ(address.list, nullptr);
}

struct HandshakeCase {
    const char* name;
    std::optional<Bytes> answer;
    const char* rc;
    int32_t error;  // the number whose text stands in the line
    const char* gwyRc;
};

std::ostream& operator<<(std::ostream& stream, const HandshakeCase& handshake) {
    return stream << handshake.name;
}

class FailedHandshake : public testing::TestWithParam<HandshakeCase> {};

TEST_P(FailedHandshake, IsMinus100WhateverTheExchangeReturned) {
    const TraceCapture trace(4);
    GatewayReplies replies;
    replies.handshake = GetParam().answer;
    ScriptedPeer peer(gatewayScript(replies));
    Connecting connecting;
    EXPECT_EQ(connecting.run(peer.port()), -100);
    EXPECT_EQ(trace.messages(3005),
              (std::vector<std::string>{std::string("stapi_zul_gwycon.connectToGateway() Handshake flows failed rc=") +
                                        GetParam().rc + " errno=" + socketErrorText(GetParam().error) +
                                        " gwyRc=" + GetParam().gwyRc + " authRc=0"}));
    EXPECT_EQ(trace.count(3004), 0);
    EXPECT_EQ(trace.count(3010), 0);
    EXPECT_EQ(peer.requests().size(), 1U);
    EXPECT_GE(connecting.socket, 0);
    EXPECT_NO_THROW(peer_sockets::bytesWaiting(connecting.socket)) << "the socket is the caller's to close";
}

INSTANTIATE_TEST_SUITE_P(Answers, FailedHandshake,
                         testing::Values(HandshakeCase{"code", reply("BASE", {}, 5), "5", 0, "5"},
                                         HandshakeCase{"negative code", reply("BASE", {}, 0xFFFFFFFE), "-2", 0, "-2"},
                                         HandshakeCase{"end", std::nullopt, "-122", -1, "0"},
                                         HandshakeCase{"other protocol", Bytes(40, 'H'), "-122", 0, "0"}));

struct AuthorisationCase {
    const char* name;
    Bytes init;
    Bytes final;
    int32_t rc;
    size_t requests;
};

std::ostream& operator<<(std::ostream& stream, const AuthorisationCase& authorisation) {
    return stream << authorisation.name;
}

class FailedAuthorisation : public testing::TestWithParam<AuthorisationCase> {};

TEST_P(FailedAuthorisation, IsReportedWithTheCodeOfItsExchange) {
    const TraceCapture trace(3);
    GatewayReplies replies;
    replies.authorisationInit = GetParam().init;
    replies.authorisationFinal = GetParam().final;
    ScriptedPeer peer(gatewayScript(replies));
    Connecting connecting;
    EXPECT_EQ(connecting.run(peer.port()), GetParam().rc);
    EXPECT_EQ(peer.requests().size(), GetParam().requests);
    const std::string exit = trace.messages(3007).at(0);
    const std::string end = ") connectRc=" + std::to_string(GetParam().rc);
    EXPECT_EQ(exit.substr(exit.size() - end.size()), end);
}

const Bytes kGoodInit = reply("Auth", authorisationInitBody());
const Bytes kGoodFinal = reply("Auth", authorisationFinalBody());

INSTANTIATE_TEST_SUITE_P(
    Answers, FailedAuthorisation,
    testing::Values(AuthorisationCase{"first refused", reply("Auth", hex("00000000 00000009 00000000")), kGoodFinal, -2,
                                      2},
                    AuthorisationCase{"second refused", kGoodInit, reply("Auth", hex("00000000 00000009")), -2, 3},
                    AuthorisationCase{"first with a code", reply("Auth", {}, 61444), kGoodFinal, 61444, 2},
                    AuthorisationCase{"second with a code", kGoodInit, reply("Auth", {}, 0xFFFFFFFC), -4, 3},
                    AuthorisationCase{"first too short", reply("Auth", hex("00000000 00")), kGoodFinal, -122, 2},
                    AuthorisationCase{"second no frame", kGoodInit, Bytes(40, 'H'), -122, 3}));

TEST(Connecting, AnAcceptedConnectionStaysBlocking) {
    ScriptedPeer peer([](test_support::PeerConnection& connection) {
        GatewayReplies replies;
        serveGateway(connection, replies);
    });
    Connecting connecting;
    ASSERT_EQ(connecting.run(peer.port()), 0);
    // A receive that did not block would fail at once instead of waiting for the reply to the close request.
    EXPECT_EQ(stapi::closeConnection(&connecting.socket), 0);
    connecting.socket = -1;
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.requests().back().size(), 33U);
}

}  // namespace

}  // namespace wire_test
