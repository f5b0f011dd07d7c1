// The platform's wait on a socket that another thread has cut off.
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "scripted_peer.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;

// The other end neither sends nor closes before the wait is over, so nothing else can have ended it.
TEST(CutOffSocket, EndsAWaitThatBeginsAfterwards) {
    ConnectedPeer peer([](PeerConnection& connection) { connection.stall(); });
    stapi::platform::shutdownSocket(peer.socket());
    EXPECT_EQ(stapi::platform::waitReadable(peer.socket()).value, 1);
    char next = 0;
    EXPECT_EQ(stapi::platform::receiveBytes(peer.socket(), &next, 1).value, 0) << "the end of the stream";
    peer.peer().release();
    EXPECT_EQ(peer.finish(), "");
}

}  // namespace

}  // namespace wire_test
