// Exchanges whose system calls fail.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "exchange.h"
#include "gateway_peer.h"
#include "socket_faults_posix.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;

TEST(FlowPosix, AFailedWaitGivesItsOwnNegativeValueAndNothingElse) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](PeerConnection& connection) { connection.expectEnd(); });
    Exchange exchange;
    const SocketFault fault(SocketCall::poll, 1, EINVAL);
    EXPECT_EQ(exchange.run(peer.socket()), -1);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_TRUE(exchange.hasUntouchedHeader());
    EXPECT_EQ(trace.points(), (std::vector<int>{3225, 3226, 3238}));
}

TEST(FlowPosix, AnInterruptedWaitGoesOn) {
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.send(reply("BASE", hex("01")));
    });
    Exchange exchange;
    const SocketFault fault(SocketCall::poll, 1, EINTR);
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_TRUE(fault.hasStruck());
}

TEST(FlowPosix, AFailedSendKeepsTheSystemsError) {
    const TraceCapture trace(1);
    ConnectedPeer peer([](PeerConnection& connection) { connection.expectEnd(); });
    Exchange exchange;
    const SocketFault fault(SocketCall::send, 1, EPIPE);
    EXPECT_EQ(exchange.run(peer.socket()), -1);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{EPIPE, 0, 0, 0}));
    EXPECT_EQ(trace.points(), (std::vector<int>{3228, 3229}));
}

TEST(FlowPosix, AResetInMidMessageKeepsTheSystemsError) {
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.sendPieces({replyHeader("BASE", 0, 10) + hex("01 02")});
        connection.reset();
    });
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{ECONNRESET, 0, 0, 0}));
}

}  // namespace

}  // namespace wire_test
