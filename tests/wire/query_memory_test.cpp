// Each allocation of a query fails in turn.
#include <string>

#include "allocation_faults.h"
#include "export_query.h"
#include "open_connection.h"
#include "reply_payload.h"

namespace wire_test {

namespace {

using test_support::AllocationFault;
using test_support::ScriptedPeer;

// Behind the copy of the id list, where there is one: request, header and body of two calls, and the one growth of the
// buffer. The payload of a long reply lies in its body's block.
constexpr int kExchangeAllocations = 7;

GatewayReplies largeReplies(bool isStatistics) {
    const std::string text(20000, 't');
    GatewayReplies replies;
    replies.invocation = invocationReply(
        isStatistics
            ? ReplyPayload().single().statsResponse("Q", 0, 2).shortStat("A", text).shortStat("B", text).bytes()
            : ReplyPayload().single().idResponse("Q", 0, {text, text}).bytes());
    return replies;
}

class QueryMemory : public ConnectionTest, public testing::WithParamInterface<ExportQuery> {};

TEST_P(QueryMemory, EachFailedAllocationOfTheExchangeIsMinus122AndRemovesTheConnection) {
    const int listCopies = GetParam().takesIds ? 1 : 0;
    for (const bool andAllLater : {false, true}) {
        for (int allocation = listCopies + 1; allocation <= listCopies + kExchangeAllocations; ++allocation) {
            ScriptedPeer peer(forgivingGatewayScript(largeReplies(GetParam().isStatistics)));
            const OpenConnection connection(peer.port());
            ASSERT_EQ(connection.rc, 0);
            ResultSetToken* result = nullptr;
            const AllocationFault fault(allocation, andAllLater);
            EXPECT_EQ(GetParam().run(connection.token, &result), -122) << "allocation " << allocation;
            EXPECT_TRUE(fault.hasStruck());
            EXPECT_EQ(result, nullptr);
            EXPECT_EQ(stapi::gtlHead, nullptr) << "allocation " << allocation;
        }
    }
}

TEST_P(QueryMemory, NoOtherAllocationIsMade) {
    ScriptedPeer peer(gatewayScript(largeReplies(GetParam().isStatistics)));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    ResultSetToken* result = nullptr;
    const AllocationFault fault((GetParam().takesIds ? 1 : 0) + kExchangeAllocations + 1);
    EXPECT_EQ(GetParam().run(connection.token, &result), 0);
    EXPECT_FALSE(fault.hasStruck());
    EXPECT_EQ(connection.token->resultSetBufLen, 65536);
}

class ListMemory : public ConnectionTest, public testing::WithParamInterface<ExportQuery> {};

TEST_P(ListMemory, NoMemoryForTheListIsMinus111AndKeepsTheConnection) {
    ScriptedPeer peer(gatewayScript(largeReplies(GetParam().isStatistics)));
    const OpenConnection connection(peer.port());
    ASSERT_EQ(connection.rc, 0);
    ResultSetToken* result = nullptr;
    {
        const AllocationFault fault(1);
        EXPECT_EQ(GetParam().run(connection.token, &result), -111);
        EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(connection.token->connRSToken->asciiIdList, nullptr);
    EXPECT_EQ(peer.requests().size(), 5U) << "no query was made";
    EXPECT_EQ(GetParam().run(connection.token, &result), 0);
}

std::vector<ExportQuery> listQueries() {
    std::vector<ExportQuery> queries;
    for (const ExportQuery& query : exportQueries()) {
        if (query.takesIds) {
            queries.push_back(query);
        }
    }
    return queries;
}

INSTANTIATE_TEST_SUITE_P(Exports, ListMemory, testing::ValuesIn(listQueries()),
                         [](const testing::TestParamInfo<ExportQuery>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

INSTANTIATE_TEST_SUITE_P(Exports, QueryMemory, testing::ValuesIn(exportQueries()),
                         [](const testing::TestParamInfo<ExportQuery>& caseInfo) {
                             return std::string(caseInfo.param.name);
                         });

}  // namespace

}  // namespace wire_test
