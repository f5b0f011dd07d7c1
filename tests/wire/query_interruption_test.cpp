// Connections that another thread closes while their owner opens them or queries with them.
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

#include "export_query.h"
#include "open_connection.h"
#include "reply_payload.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::PeerConnection;
using test_support::ScriptedPeer;

// Answers the first frames as a gateway does; what comes then is received, but not answered before the test says so.
ScriptedPeer::Script stallingGateway(size_t answered) {
    return [answered](PeerConnection& connection) {
        GatewayReplies replies;
        replies.invocation = invocationReply(ReplyPayload().single().idResponse("Q", 0, {"A"}).bytes());
        const std::optional<Bytes> answers[] = {
            replies.handshake, replies.authorisationInit, replies.authorisationFinal, replies.initialise,
            replies.attribute, replies.initialise,        replies.invocation};
        for (size_t index = 0; index < answered; ++index) {
            connection.expectFrame();
            connection.send(*answers[index]);
        }
        connection.expectFrame();
        connection.announce();
        connection.stall();
        try {
            connection.send(*answers[answered]);
            serveGateway(connection, replies);
        } catch (const std::runtime_error&) {
            // The other end has been cut off.
        }
    };
}

constexpr size_t kAnsweredByOpening = 5;

// A thread that owns a connection and queries once with it.
struct Owner {
    explicit Owner(int port, int32_t (*query)(GatewayToken*, ResultSetToken**)) {
        thread = std::thread([this, port, query] {
            char* version = nullptr;
            openRc = openGatewayConnection(port, &token, &version);
            if (openRc == 0) {
                queryRc = query(token, &result);
            }
        });
    }

    GatewayToken* token = nullptr;
    ResultSetToken* result = nullptr;
    int32_t openRc = 4711;
    int32_t queryRc = 4711;
    std::thread thread;
};

class Interruption : public ConnectionTest, public testing::WithParamInterface<ExportQuery> {};

TEST_P(Interruption, ByCloseEndsTheWaitingQueryWithMinus101) {
    ScriptedPeer peer(stallingGateway(kAnsweredByOpening));
    Owner owner(peer.port(), GetParam().run);
    peer.awaitAnnouncement();
    GatewayToken* token = stapi::gtlHead;
    EXPECT_EQ(closeGatewayConnection(&token), 0);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    owner.thread.join();
    EXPECT_EQ(owner.openRc, 0);
    EXPECT_EQ(owner.queryRc, -101);
    EXPECT_EQ(owner.result, nullptr);
    peer.release();
    EXPECT_EQ(peer.finish(), "") << "the socket has been closed";
}

TEST_P(Interruption, ByCloseAllEndsTheWaitingQueryWithMinus101) {
    ScriptedPeer peer(stallingGateway(kAnsweredByOpening));
    Owner owner(peer.port(), GetParam().run);
    peer.awaitAnnouncement();
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    owner.thread.join();
    EXPECT_EQ(owner.queryRc, -101);
    EXPECT_EQ(owner.result, nullptr);
    peer.release();
    EXPECT_EQ(peer.finish(), "") << "the socket has been closed";
}

TEST_P(Interruption, IsNotTracedAsTheRemovalOfADeadConnection) {
    const test_support::TraceCapture trace(2);
    ScriptedPeer peer(stallingGateway(kAnsweredByOpening));
    Owner owner(peer.port(), GetParam().run);
    peer.awaitAnnouncement();
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    owner.thread.join();
    EXPECT_EQ(owner.queryRc, -101);
    EXPECT_EQ(trace.count(GetParam().removal), 0);
    peer.release();
    EXPECT_EQ(peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(Exports, Interruption, testing::ValuesIn(exportQueries()),
                         [](const testing::TestParamInfo<ExportQuery>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

class InterruptionOnce : public ConnectionTest {};

TEST_F(InterruptionOnce, OfTheSecondCallOfAQueryIsMinus101) {
    ScriptedPeer peer(stallingGateway(kAnsweredByOpening + 1));
    Owner owner(peer.port(), [](GatewayToken* token, ResultSetToken** result) { return getStatIds(token, result); });
    peer.awaitAnnouncement();
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    owner.thread.join();
    EXPECT_EQ(owner.queryRc, -101);
    peer.release();
    EXPECT_EQ(peer.finish(), "");
}

TEST_F(InterruptionOnce, CloseAllAlsoClosesConnectionsThatAreNotInUse) {
    ScriptedPeer idlePeer(gatewayScript());
    ScriptedPeer busyPeer(stallingGateway(kAnsweredByOpening));
    GatewayToken* idle = nullptr;
    char* version = nullptr;
    ASSERT_EQ(openGatewayConnection(idlePeer.port(), &idle, &version), 0);
    Owner owner(busyPeer.port(), [](GatewayToken* token, ResultSetToken** result) { return getStats(token, result); });
    busyPeer.awaitAnnouncement();
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    owner.thread.join();
    EXPECT_EQ(owner.queryRc, -101);
    EXPECT_EQ(idlePeer.finish(), "");
    EXPECT_EQ(idlePeer.requests().back().size(), 33U) << "the close request";
    busyPeer.release();
    EXPECT_EQ(busyPeer.finish(), "");
}

TEST_F(InterruptionOnce, TheWrongThreadCannotQueryMeanwhile) {
    ScriptedPeer peer(stallingGateway(kAnsweredByOpening));
    Owner owner(peer.port(), [](GatewayToken* token, ResultSetToken** result) { return getStatIds(token, result); });
    peer.awaitAnnouncement();
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStatIds(stapi::gtlHead, &result), -124);
    peer.release();
    owner.thread.join();
    EXPECT_EQ(owner.queryRc, 0);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
}

// The close request of the removal is left unanswered, so that the token can be looked at before it is gone.
class FailingQuery : public ConnectionTest, public testing::WithParamInterface<ExportQuery> {};

TEST_P(FailingQuery, StillStartsTheWalkAnewAndRenewsTheOwnerButForResourceGroups) {
    ScriptedPeer peer([](PeerConnection& connection) {
        const GatewayReplies replies;
        for (const std::optional<Bytes>& answer :
             {replies.handshake, replies.authorisationInit, replies.authorisationFinal, replies.initialise,
              replies.attribute, replies.initialise}) {
            connection.expectFrame();
            connection.send(*answer);
        }
        connection.expectFrame();
        connection.send(reply("Admin", hex("00000005 00000008 00")));
        connection.expectFrame();
        connection.announce();
        connection.stall();
        connection.send(reply("BASE", {}));
        connection.expectEnd();
    });
    GatewayToken* token = nullptr;
    int32_t rc = 0;
    std::thread owner([&peer, &token, &rc] {
        char* version = nullptr;
        if (openGatewayConnection(peer.port(), &token, &version) == 0) {
            token->connRSToken->owner = 0x1234;
            token->connRSToken->queryIndex = 5;
            token->connRSToken->dataCursor = nullptr;
            ResultSetToken* result = nullptr;
            rc = GetParam().run(token, &result);
        }
    });
    peer.awaitAnnouncement();
    const ResultSetToken seen = *token->connRSToken;
    const char* const buffer = token->resultSetBuf;
    peer.release();
    owner.join();
    EXPECT_EQ(rc, -122);
    EXPECT_EQ(seen.queryIndex, 0U);
    EXPECT_EQ(seen.dataCursor, buffer);
    EXPECT_EQ(seen.resultSetBuf, buffer);
    EXPECT_EQ(seen.resultSetBufLen, 32768);
    EXPECT_EQ(seen.owner, GetParam().resetsOwner ? 0x8888U : 0x1234U);
    EXPECT_EQ(peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(Exports, FailingQuery, testing::ValuesIn(exportQueries()),
                         [](const testing::TestParamInfo<ExportQuery>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

// The opener is woken up, whatever it waits for; the daemon answers nothing before that.
class InterruptedOpening : public ConnectionTest, public testing::WithParamInterface<size_t> {};

TEST_P(InterruptedOpening, ByCloseAllFailsAndReleasesEverything) {
    ScriptedPeer peer(stallingGateway(GetParam()));
    Owner owner(peer.port(), [](GatewayToken*, ResultSetToken**) { return 0; });
    peer.awaitAnnouncement();
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    owner.thread.join();
    peer.release();
    EXPECT_TRUE(owner.openRc == -118 || owner.openRc == -122) << owner.openRc;
    EXPECT_EQ(owner.token, nullptr);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    EXPECT_EQ(peer.finish(), "") << "the socket has been closed";
}

TEST_P(InterruptedOpening, IsDumpedWithItsSocketMeanwhile) {
    ScriptedPeer peer(stallingGateway(GetParam()));
    Owner owner(peer.port(), [](GatewayToken*, ResultSetToken**) { return 0; });
    peer.awaitAnnouncement();
    EXPECT_GE(stapi::gtlHead->socket, 0);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    owner.thread.join();
    peer.release();
    EXPECT_EQ(peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(AfterExchanges, InterruptedOpening, testing::Range<size_t>(0, 5));

}  // namespace

}  // namespace wire_test
