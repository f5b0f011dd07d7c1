// Calls that a signal interrupts, and resets.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "connecting.h"
#include "exchange.h"
#include "gateway_peer.h"
#include "socket_faults.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;
using test_support::ScriptedPeer;
using test_support::TraceCapture;

TEST(ConnectingPosix, AnInterruptedConnectGoesOn) {
    ScriptedPeer peer(gatewayScript());
    const SocketFault fault(SocketCall::wait, 1, EINTR);
    Connecting connecting;
    EXPECT_EQ(connecting.run(peer.port()), 0);
    EXPECT_TRUE(fault.hasStruck());
}

TEST(FlowPosix, AnInterruptedWaitGoesOn) {
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.send(reply("BASE", hex("01")));
    });
    Exchange exchange;
    const SocketFault fault(SocketCall::wait, 1, EINTR);
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_TRUE(fault.hasStruck());
}

// A peer that answers with these bytes and resets the connection once they have been received.
ScriptedPeer::Script answerAndReset(const Bytes& bytes) {
    return [bytes](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.sendPieces({bytes});
        connection.reset();
    };
}

TEST(FlowPosix, AResetInMidHeaderIsMinus122WithTheSystemsError) {
    const TraceCapture trace(1);
    ConnectedPeer peer(answerAndReset(hex("47617465 0070")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{ECONNRESET, 0, 0, 0}));
    EXPECT_EQ(trace.lines(), (std::vector<std::string>{
                                 "3242 *EXC* stapi_zul_socketcomms.readFromSocket read returned an error code: errno=" +
                                 std::to_string(ECONNRESET)}));
}

TEST(FlowPosix, AResetInMidBodyIsMinus122WithTheSystemsError) {
    ConnectedPeer peer(answerAndReset(replyHeader("BASE", 0, 100) + hex("01 02 03")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{ECONNRESET, 0, 0, 0}));
    EXPECT_NE(exchange.data, exchange.request);
}

}  // namespace

}  // namespace wire_test
