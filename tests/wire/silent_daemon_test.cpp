// A daemon that says nothing holds up the thread that waits for it, and nobody else.
#include <atomic>
#include <thread>

#include "open_connection.h"
#include "reply_payload.h"
#include "temporary_file.h"

namespace wire_test {

namespace {

using test_support::PeerConnection;
using test_support::ScriptedPeer;

// Opens as a gateway does, and leaves the close request unanswered until the test releases it.
ScriptedPeer::Script silentWhenClosed() {
    return [](PeerConnection& connection) {
        serveOpening(connection);
        connection.expectFrame();
        connection.announce();
        connection.stall();
    };
}

// Refuses the first query, and leaves the close request of the removal that follows unanswered.
ScriptedPeer::Script silentWhenRemoved() {
    return [](PeerConnection& connection) {
        serveOpening(connection);
        connection.expectFrame();
        connection.send(reply("Admin", hex("00000000 00000008 00000000")));
        connection.expectFrame();
        connection.announce();
        connection.stall();
    };
}

class SilentDaemon : public ConnectionTest {
  protected:
    // All that other threads may want of the library while one waits for a silent daemon.
    static void useTheLibrary() {
        const test_support::TemporaryFile trace;
        GatewayReplies replies;
        replies.invocation = invocationReply(ReplyPayload().single().idResponse("Q", 0, {"A"}).bytes());
        ScriptedPeer peer(gatewayScript(replies));
        OpenConnection connection(peer.port());
        ASSERT_EQ(connection.rc, 0);
        ResultSetToken* result = nullptr;
        EXPECT_EQ(getResourceGroupIds(connection.token, &result), 0);
        ASSERT_EQ(setAPITraceFile(trace.path().c_str()), 0);
        EXPECT_EQ(dumpState(), 0);
        EXPECT_EQ(setAPITraceFile(nullptr), 0);
        EXPECT_EQ(closeGatewayConnection(&connection.token), 0);
        EXPECT_EQ(peer.finish(), "");
    }
};

TEST_F(SilentDaemon, HoldsNobodyUpWhoDoesNotCloseItsConnection) {
    ScriptedPeer silent(silentWhenClosed());
    OpenConnection connection(silent.port());
    ASSERT_EQ(connection.rc, 0);
    GatewayToken* const closed = connection.token;
    std::atomic<bool> isClosed = false;
    std::thread closer([&connection, &isClosed] {
        EXPECT_EQ(closeGatewayConnection(&connection.token), 0);
        isClosed = true;
    });
    silent.awaitAnnouncement();
    GatewayToken* secondPointer = closed;
    EXPECT_EQ(closeGatewayConnection(&secondPointer), -101) << "it is off the list already";
    useTheLibrary();
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    EXPECT_FALSE(isClosed);
    silent.release();
    closer.join();
    EXPECT_EQ(silent.finish(), "");
}

TEST_F(SilentDaemon, HoldsNobodyUpWhenItsConnectionIsRemoved) {
    ScriptedPeer silent(silentWhenRemoved());
    std::thread owner([&silent] {
        OpenConnection connection(silent.port());
        ResultSetToken* result = nullptr;
        EXPECT_EQ(getStats(connection.token, &result), -122);
        connection.token = nullptr;
    });
    silent.awaitAnnouncement();
    useTheLibrary();
    silent.release();
    owner.join();
    EXPECT_EQ(silent.finish(), "");
}

TEST_F(SilentDaemon, AmongThoseThatAreAllClosedLeavesTheListEmptyAtOnce) {
    ScriptedPeer silent(silentWhenClosed());
    ScriptedPeer prompt(gatewayScript());
    OpenConnection first(silent.port());
    OpenConnection second(prompt.port());
    std::thread closer([] { EXPECT_EQ(closeAllGatewayConnections(), 0); });
    silent.awaitAnnouncement();
    EXPECT_EQ(stapi::gtlHead, nullptr);
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStats(second.token, &result), -101);
    useTheLibrary();
    silent.release();
    closer.join();
    EXPECT_EQ(silent.finish(), "");
    EXPECT_EQ(prompt.finish(), "");
}

}  // namespace

}  // namespace wire_test
