#include <cstdint>
#include <string>

#include "comms/stapi_zul_statquery.h"
#include "export_query.h"
#include "open_connection.h"
#include "reply_payload.h"
#include "result_buffer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::ScriptedPeer;
using test_support::TraceCapture;

Bytes smallPayload(bool isStatistics) {
    return isStatistics ? ReplyPayload().single().statsResponse("Q", 0, 1).shortStat("A", "1").bytes()
                        : ReplyPayload().single().idResponse("Q", 0, {"A"}).bytes();
}

Bytes smallContent(bool isStatistics) {
    return isStatistics ? statSet(1).text("Q").word(0).word(1).text("A").text("1").terminated()
                        : idSet(1).text("Q").word(0).word(1).text("A").terminated();
}

GatewayReplies answering(const Bytes& invocation) {
    GatewayReplies replies;
    replies.invocation = invocation;
    return replies;
}

ResultSetToken* untouchedResult() {
    static ResultSetToken marker = {};
    return &marker;
}

class Query : public ConnectionTest, public testing::WithParamInterface<ExportQuery> {};

TEST_P(Query, HandsOutTheConnectionsResultSet) {
    ScriptedPeer peer(gatewayScript(answering(invocationReply(smallPayload(GetParam().isStatistics)))));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(GetParam().run(connection.token, &result), 0);
    EXPECT_EQ(result, connection.token->connRSToken);
    EXPECT_EQ(result->resultSetBuf, connection.token->resultSetBuf);
    EXPECT_EQ(result->dataCursor, result->resultSetBuf);
    EXPECT_EQ(result->resultSetBufLen, 32768);
    EXPECT_EQ(result->queryIndex, 0U);
    const Bytes expected = smallContent(GetParam().isStatistics);
    EXPECT_EQ(bytesAt(result->resultSetBuf, expected.size()), expected);
}

TEST_P(Query, StartsTheWalkAnewAndRenewsTheOwnerButForResourceGroups) {
    ScriptedPeer peer(gatewayScript(answering(invocationReply(smallPayload(GetParam().isStatistics)))));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    connection.token->connRSToken->owner = 0x1234;
    connection.token->connRSToken->queryIndex = 5;
    connection.token->connRSToken->dataCursor = nullptr;
    ResultSetToken* result = nullptr;
    ASSERT_EQ(GetParam().run(connection.token, &result), 0);
    EXPECT_EQ(result->queryIndex, 0U);
    EXPECT_EQ(result->dataCursor, result->resultSetBuf);
    EXPECT_EQ(result->owner, GetParam().resetsOwner ? 0x8888U : 0x1234U);
}

TEST_P(Query, IsTracedInTheOrderOfItsSteps) {
    ScriptedPeer peer(gatewayScript(answering(invocationReply(smallPayload(GetParam().isStatistics)))));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    const TraceCapture trace(4);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(GetParam().run(connection.token, &result), 0);
    std::vector<int> own;
    for (const int point : trace.points()) {
        if (point < 1100 || (point >= 1128 && point <= 1132)) {
            own.push_back(point);
        }
    }
    std::vector<int> expected = {GetParam().entry, GetParam().event};
    expected.insert(expected.end(), GetParam().afterwards.begin(), GetParam().afterwards.end());
    expected.push_back(GetParam().exit);
    EXPECT_EQ(own, expected);
}

TEST_P(Query, WithoutABufferIsMinus110AndKeepsTheConnection) {
    ScriptedPeer peer(gatewayScript());
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    stapi::releaseMemory(connection.token->resultSetBuf);
    connection.token->resultSetBuf = nullptr;
    connection.token->connRSToken->resultSetBuf = nullptr;
    const TraceCapture trace(1);
    ResultSetToken* result = untouchedResult();
    EXPECT_EQ(GetParam().run(connection.token, &result), -110);
    EXPECT_EQ(result, untouchedResult());
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{std::to_string(GetParam().missingBuffer) + " *EXC* API." + GetParam().name +
                                        "(gwTok=AAAAAAAAAAAAAAAA) resultSetBuf is NULL. Connection may "
                                        "have gone."}));
    EXPECT_EQ(stapi::gtlHead, connection.token);
    EXPECT_EQ(peer.requests().size(), 5U);
}

TEST_P(Query, WithoutABufferIsMinus110WithoutAWordWhileNothingIsTraced) {
    ScriptedPeer peer(gatewayScript());
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    stapi::releaseMemory(connection.token->resultSetBuf);
    connection.token->resultSetBuf = nullptr;
    connection.token->connRSToken->resultSetBuf = nullptr;
    const TraceCapture trace(0);
    ResultSetToken* result = untouchedResult();
    EXPECT_EQ(GetParam().run(connection.token, &result), -110);
    EXPECT_EQ(trace.text(), "");
}

struct Failure {
    const char* name;
    std::optional<Bytes> invocation;
    int32_t rc;
};

std::vector<Failure> failures() {
    return {
        {"refused", reply("Admin", hex("00000005 00000008 00")), -122},
        {"exception", reply("Admin", hex("00000005 00000000 01")), -122},
        {"code 61444", reply("Admin", callBody(5, hex("00")), 61444), -122},
        {"code -4", reply("Admin", callBody(5, hex("00")), 0xFFFFFFFC), -122},
        {"code -1", reply("Admin", callBody(5, hex("00")), 0xFFFFFFFF), -102},
        {"positive code", reply("Admin", callBody(5, hex("00")), 1), -122},
        {"no payload", reply("Admin", callBody(5, {})), -122},
        {"initialisation", reply("Admin", initialiseBody()), -122},
        {"no frame", Bytes(34, 'H'), -122},
        {"end", std::nullopt, -122},
    };
}

TEST_P(Query, ThatFailsRemovesTheConnectionAndLeavesTheResultUntouched) {
    for (const Failure& failure : failures()) {
        GatewayReplies replies;
        replies.invocation = failure.invocation;
        ScriptedPeer peer(gatewayScript(replies));
        const OpenConnection connection(peer.port());
        ASSERT_EQ(connection.rc, 0);
        const TraceCapture trace(2);
        ResultSetToken* result = untouchedResult();
        EXPECT_EQ(GetParam().run(connection.token, &result), failure.rc) << failure.name;
        EXPECT_EQ(result, untouchedResult());
        EXPECT_EQ(stapi::gtlHead, nullptr) << failure.name;
        const std::vector<std::string> removals = trace.messages(GetParam().removal);
        ASSERT_EQ(removals.size(), 1U) << failure.name;
        const std::string start = std::string("API.") + GetParam().name + " Removing GatewayToken ";
        EXPECT_EQ(removals[0].substr(0, start.size()), start);
        EXPECT_EQ(removals[0].substr(start.size() + 16), " due to comms failure " + std::to_string(failure.rc));
        EXPECT_EQ(peer.finish(), "") << failure.name << ": the socket has been closed";
        EXPECT_EQ(GetParam().run(connection.token, &result), -101) << "the token is no longer valid";
    }
}

TEST_P(Query, OnASocketThatTheDaemonHasResetIsMinus102) {
    ScriptedPeer peer([](test_support::PeerConnection& connection) {
        serveOpening(connection);
        connection.stall();
        connection.reset();
    });
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    peer.release();
    ASSERT_EQ(peer.finish(), "");
    ResultSetToken* result = untouchedResult();
    EXPECT_EQ(GetParam().run(connection.token, &result), -102);
    EXPECT_EQ(result, untouchedResult());
    EXPECT_EQ(stapi::gtlHead, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Exports, Query, testing::ValuesIn(exportQueries()),
                         [](const testing::TestParamInfo<ExportQuery>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

class QueryOnce : public ConnectionTest {};

TEST_F(QueryOnce, AnOverlongListIsMinus111AndKeepsTheConnection) {
    ScriptedPeer peer(gatewayScript(answering(invocationReply(smallPayload(true)))));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    ResultSetToken* result = untouchedResult();
    EXPECT_EQ(getStatsByStatId(connection.token, std::string(32766, 'x').c_str(), &result), -111);
    EXPECT_EQ(result, untouchedResult());
    EXPECT_EQ(peer.requests().size(), 5U) << "no query was made";
    EXPECT_EQ(getStatsByStatId(connection.token, std::string(32765, 'x').c_str(), &result), 0);
}

TEST_F(QueryOnce, TheListIsKeptWithTheResultSetUntilTheNextOne) {
    ScriptedPeer peer(gatewayScript(answering(invocationReply(smallPayload(true)))));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStatsByStatId(connection.token, "ONE:TWO", &result), 0);
    EXPECT_STREQ(result->asciiIdList, "ONE:TWO");
    EXPECT_EQ(getStats(connection.token, &result), 0);
    EXPECT_STREQ(result->asciiIdList, "ONE:TWO");
    EXPECT_EQ(getStatsByStatGroupId(connection.token, "", &result), 0);
    EXPECT_STREQ(result->asciiIdList, "");
}

TEST_F(QueryOnce, AGrownBufferIsHandedOnToTheNextQuery) {
    const std::string id(60000, 'i');
    GatewayReplies replies = answering(invocationReply(ReplyPayload().single().idResponse("Q", 0, {id, id}).bytes()));
    ScriptedPeer peer(gatewayScript(replies));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    ResultSetToken* result = nullptr;
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(getStatIds(connection.token, &result), 0);
        EXPECT_EQ(connection.token->resultSetBufLen, 131072);
        EXPECT_EQ(result->resultSetBufLen, 131072);
        EXPECT_EQ(result->resultSetBuf, connection.token->resultSetBuf);
        const Bytes expected = idSet(1).text("Q").word(0).word(2).text(id).text(id).terminated();
        EXPECT_EQ(bytesAt(result->resultSetBuf, expected.size()), expected);
    }
}

TEST(QueryFunction, WithoutABufferIsMinus103AndNothingIsSent) {
    using QueryCall = int32_t (*)(int32_t, char**, int32_t*, stapi::ConnectionMemory*);
    const QueryCall runs[] = {
        stapi::commsResourceGroupsIds,
        stapi::commsStatIds,
        stapi::commsStats,
        [](int32_t socket, char** buffer, int32_t* length, stapi::ConnectionMemory*) {
            return stapi::commsStatIdsByStatGroupId(socket, buffer, length, "X");
        },
        [](int32_t socket, char** buffer, int32_t* length, stapi::ConnectionMemory*) {
            return stapi::commsStatsByStatId(socket, buffer, length, "X");
        },
        [](int32_t socket, char** buffer, int32_t* length, stapi::ConnectionMemory*) {
            return stapi::commsStatsByStatGroupId(socket, buffer, length, "X");
        },
    };
    ConnectedPeer peer([](test_support::PeerConnection& connection) { connection.expectEnd(); });
    for (const QueryCall run : runs) {
        char* buffer = nullptr;
        int32_t length = 32768;
        EXPECT_EQ(run(peer.socket(), &buffer, &length, nullptr), -103);
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(length, 32768);
    }
    test_support::peer_sockets::closeSocket(peer.takeSocket());
    EXPECT_EQ(peer.finish(), "");
    EXPECT_TRUE(peer.requests().empty());
}

struct TracedQuery {
    const char* name;
    int32_t (*run)(int32_t socket, char** buffer, int32_t* length, stapi::ConnectionMemory* memory);
    bool isStatistics;
    int entry;
    int exit;
    int data;
    const char* ids;
};

class QueryFunctionTrace : public testing::TestWithParam<TracedQuery> {};

TEST_P(QueryFunctionTrace, HasEntryExitAndTheResultUpToItsTerminator) {
    const TracedQuery& query = GetParam();
    ConnectedPeer peer(gatewayScript(answering(invocationReply(smallPayload(query.isStatistics)))));
    ResultBuffer result(4096);
    const TraceCapture trace(4);
    EXPECT_EQ(query.run(peer.socket(), &result.buffer, &result.capacity, nullptr), 0);
    const std::string arguments = std::string("stapi_zul_statquery.") + query.name +
                                  "(socketDesc=" + std::to_string(peer.socket()) +
                                  ", *buffer=AAAAAAAAAAAAAAAA, *bufferLen=4096" + query.ids + ")";
    const std::vector<std::string> lines = trace.lines();
    EXPECT_EQ(lines.front(), std::to_string(query.entry) + " ENTRY " + arguments);
    EXPECT_EQ(lines.back(), std::to_string(query.exit) + " EXIT " + arguments + " zulStatRc=0");
    EXPECT_EQ(lines[lines.size() - 2], std::to_string(query.data) + " DATA stapi_zul_statquery." + query.name +
                                           " data=AAAAAAAAAAAAAAAA len=0 stopword=0E0F0E0F");
    const char* const firstBytes = query.isStatistics ? ": 5A554C53 54534554 01000000" : ": 5A554C49 44534554 01000000";
    const char* const lastBytes = query.isStatistics ? ": 000031    " : " 00010000 0041     : Q";
    EXPECT_NE(trace.text().find(firstBytes), std::string::npos);
    EXPECT_NE(trace.text().find(lastBytes), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Functions, QueryFunctionTrace,
    testing::Values(TracedQuery{"commsResourceGroupsIds", stapi::commsResourceGroupsIds, false, 2300, 2301, 2312, ""},
                    TracedQuery{"commsStatIds", stapi::commsStatIds, false, 2304, 2305, 2314, ""},
                    TracedQuery{"commsStats", stapi::commsStats, true, 2310, 2311, 2317, ""},
                    TracedQuery{"commsStatIdsByStatGroupId",
                                [](int32_t socket, char** buffer, int32_t* length, stapi::ConnectionMemory*) {
                                    return stapi::commsStatIdsByStatGroupId(socket, buffer, length, "X");
                                },
                                false, 2302, 2303, 2313, ", ids=AAAAAAAAAAAAAAAA"},
                    TracedQuery{"commsStatsByStatId",
                                [](int32_t socket, char** buffer, int32_t* length, stapi::ConnectionMemory*) {
                                    return stapi::commsStatsByStatId(socket, buffer, length, "X");
                                },
                                true, 2306, 2307, 2315, ", ids=AAAAAAAAAAAAAAAA"},
                    TracedQuery{"commsStatsByStatGroupId",
                                [](int32_t socket, char** buffer, int32_t* length, stapi::ConnectionMemory*) {
                                    return stapi::commsStatsByStatGroupId(socket, buffer, length, "X");
                                },
                                true, 2308, 2309, 2316, ", ids=AAAAAAAAAAAAAAAA"}),
    [](const testing::TestParamInfo<TracedQuery>& caseInfo) { return std::string(caseInfo.param.name); });

}  // namespace

}  // namespace wire_test
