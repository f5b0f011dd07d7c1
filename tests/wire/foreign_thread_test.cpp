// Other threads that ask for a connection's result set while its owner's query is filling it.
#include <atomic>
#include <cstdint>
#include <string_view>
#include <thread>
#include <vector>

#include "open_connection.h"
#include "reply_payload.h"

namespace wire_test {

namespace {

using test_support::PeerConnection;
using test_support::ScriptedPeer;

constexpr int kQueries = 60;

// Answers with ever more ids, so that the buffer moves again and again.
ScriptedPeer::Script growingGateway() {
    return [](PeerConnection& connection) {
        const GatewayReplies replies;
        serveOpening(connection);
        for (int query = 1; query <= kQueries; ++query) {
            ReplyPayload payload;
            payload.single().idResponse(
                "Q", 0, std::vector<std::string_view>(static_cast<size_t>(query) * 40, "an.id.of.some.length"));
            connection.expectFrame();
            connection.send(*replies.initialise);
            connection.expectFrame();
            connection.send(invocationReply(payload.bytes()));
        }
        connection.expectFrame();
        connection.send(*replies.close);
        connection.expectEnd();
    };
}

TEST(ForeignThread, GetsTheCodeOfTheLastQueryWhileTheNextOneMovesTheBuffer) {
    ScriptedPeer peer(growingGateway());
    OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getResourceGroupIds(connection.token, &result), 0);
    std::atomic<bool> stop = false;
    std::atomic<int> unexpected = 0;
    std::atomic<int> rounds = 0;
    std::thread foreigner([&] {
        while (!stop || rounds == 0) {
            IdData id = {};
            StatData stat = {};
            char* query = nullptr;
            ResultSetToken* copy = nullptr;
            unexpected += getFirstId(result, &id) == -124 ? 0 : 1;
            unexpected += getNextId(result, &id) == -124 ? 0 : 1;
            unexpected += getFirstStat(result, &stat) == -119 ? 0 : 1;
            unexpected += getIdQuery(result, &query) == -124 ? 0 : 1;
            unexpected += copyResultSet(result, &copy) == -124 ? 0 : 1;
            unexpected += dumpResultSet(result) == -124 ? 0 : 1;
            ++rounds;
        }
    });
    int failed = 0;
    for (int query = 2; query <= kQueries; ++query) {
        ResultSetToken* again = nullptr;
        failed += getResourceGroupIds(connection.token, &again) == 0 && again == result ? 0 : 1;
    }
    stop = true;
    foreigner.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(unexpected, 0) << "of " << rounds << " rounds";
    EXPECT_EQ(closeGatewayConnection(&connection.token), 0);
    EXPECT_EQ(peer.finish(), "");
}

}  // namespace

}  // namespace wire_test
