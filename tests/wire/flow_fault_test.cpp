// Exchanges whose socket calls fail.
#include <gtest/gtest.h>

#include "exchange.h"
#include "gateway_peer.h"
#include "socket_faults.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;
using test_support::TraceCapture;

TEST(FlowFaults, AFailedWaitGivesItsOwnNegativeValueAndNothingElse) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](PeerConnection& connection) { connection.expectEnd(); });
    Exchange exchange;
    const SocketFault fault(SocketCall::wait, 1, kSocketErrors.invalid);
    EXPECT_EQ(exchange.run(peer.socket()), -1);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_TRUE(exchange.hasUntouchedHeader());
    EXPECT_EQ(trace.points(), (std::vector<int>{3225, 3226, 3238}));
}

TEST(FlowFaults, AFailedSendKeepsTheSystemsError) {
    const TraceCapture trace(1);
    ConnectedPeer peer([](PeerConnection& connection) { connection.expectEnd(); });
    Exchange exchange;
    const SocketFault fault(SocketCall::send, 1, kSocketErrors.cutOff);
    EXPECT_EQ(exchange.run(peer.socket()), -1);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{kSocketErrors.cutOff, 0, 0, 0}));
    EXPECT_EQ(trace.points(), (std::vector<int>{3228, 3229}));
}

TEST(FlowFaults, ARequestOfWhichOneByteIsTakenCountsAsSent) {
    const TraceCapture trace(1);
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.expect(1);
        connection.send(reply("BASE", hex("01")));
    });
    Exchange exchange;
    const ShortSends shortSends;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(trace.points(), std::vector<int>{});
}

}  // namespace

}  // namespace wire_test
