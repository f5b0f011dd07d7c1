// The bytes of the administration requests.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "comms/stapi_zul_socketcomms.h"
#include "comms/stapi_zul_statcomms.h"
#include "comms/stapi_zul_statquery.h"
#include "diag/heap_blocks.h"
#include "gateway_peer.h"
#include "result_buffer.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;

const char* const kInitialise = "47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000004 00000000";
const char* const kHeaderUpToDataLength = "47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00";
// Country, language, variant and object name.
const char* const kLocaleAndObject =
    "0002 5553 0002 656E 0000 003C "
    "44656661756C74446F6D61696E3A50726F6449643D636F6D2E6F78612E7A756C"
    "2C41637469766974793D436F6E74726F6C2C747970653D5374617473";
const char* const kParameterStart = "00000001 ACED000574";
const char* const kSignature = "00000001 0010 6A6176612E6C616E672E537472696E67";
const char* const kResourceGroups = "000F 5245534F555243455F47524F555053";
const char* const kStatIds = "0008 535441545F494453";
const char* const kGetStats = "0009 4745545F5354415453";

Bytes joined(std::initializer_list<const char*> parts) {
    Bytes bytes;
    for (const char* const part : parts) {
        bytes = bytes + hex(part);
    }
    return bytes;
}

// The payload of an id reply, or a statistics reply, with nothing in it: one response of code 0.
Bytes emptyPayload() {
    return BytesWriter()
        .u8(0)
        .fill(6, 0)
        .text("")
        .fill(13, 0)
        .text("")
        .fill(13, 0)
        .u8(0x77)
        .u8(0)
        .text("")
        .u32(0)
        .u32(0)
        .fill(12, 0)
        .bytes();
}

enum class Which { resourceGroups, statIds, statIdsOfGroup, stats, statsOfIds, statsOfGroup };

struct QueryCase {
    const char* name;
    Which which;
    const char* ids;
    const char* operation;
    const char* dataLength;
    const char* callLength;
    const char* parameter;
};

int32_t runQuery(const QueryCase& query, int32_t socket, ResultBuffer* result) {
    char** const buffer = &result->buffer;
    int32_t* const length = &result->capacity;
    switch (query.which) {
        case Which::resourceGroups:
            return stapi::commsResourceGroupsIds(socket, buffer, length);
        case Which::statIds:
            return stapi::commsStatIds(socket, buffer, length);
        case Which::statIdsOfGroup:
            return stapi::commsStatIdsByStatGroupId(socket, buffer, length, query.ids);
        case Which::stats:
            return stapi::commsStats(socket, buffer, length);
        case Which::statsOfIds:
            return stapi::commsStatsByStatId(socket, buffer, length, query.ids);
        case Which::statsOfGroup:
            return stapi::commsStatsByStatGroupId(socket, buffer, length, query.ids);
    }
    return -1;
}

class QueryRequest : public testing::TestWithParam<QueryCase> {};

TEST_P(QueryRequest, IsAnInitialiseCallAndAnInvocationWithItsHandle) {
    const QueryCase& query = GetParam();
    GatewayReplies replies;
    replies.initialise = reply("Admin", hex("00000000 00000000 C1C2C3C4"));
    replies.invocation = invocationReply(emptyPayload());
    ConnectedPeer peer(gatewayScript(replies));
    ResultBuffer result(4096);
    EXPECT_EQ(runQuery(query, peer.socket(), &result), 0);
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_EQ(peer.requests()[0], hex(kInitialise));
    EXPECT_EQ(peer.requests()[1],
              joined({kHeaderUpToDataLength, query.dataLength, "00000005 C1C2C3C4", query.callLength, kLocaleAndObject,
                      query.operation, kParameterStart, query.parameter, kSignature}));
}

INSTANTIATE_TEST_SUITE_P(
    Queries, QueryRequest,
    testing::Values(
        QueryCase{"ResourceGroups", Which::resourceGroups, nullptr, kResourceGroups, "00000086", "0000007A", "0000"},
        QueryCase{"StatIds", Which::statIds, nullptr, kStatIds, "0000007F", "00000073", "0000"},
        QueryCase{"StatIdsOfGroup", Which::statIdsOfGroup, "CS:GW", kStatIds, "00000084", "00000078",
                  "0005 43533A4757"},
        QueryCase{"Stats", Which::stats, nullptr, kGetStats, "00000080", "00000074", "0000"},
        QueryCase{"StatsOfIds", Which::statsOfIds, "GW_SALLREQ", kGetStats, "0000008A", "0000007E",
                  "000A 47575F53414C4C524551"},
        QueryCase{"StatsOfGroup", Which::statsOfGroup, "PH", kGetStats, "00000082", "00000076", "0002 5048"},
        QueryCase{"StatsOfGroupWithAnEmptyList", Which::statsOfGroup, "", kGetStats, "00000080", "00000074", "0000"}),
    [](const testing::TestParamInfo<QueryCase>& caseInfo) { return std::string(caseInfo.param.name); });

TEST(AdminRequests, TheProtocolIsAskedForAsAnAttribute) {
    GatewayReplies replies;
    replies.initialise = reply("Admin", hex("00000000 00000000 C1C2C3C4"));
    ConnectedPeer peer(gatewayScript(replies));
    VersionToken token(peer.socket());
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::statProtocolVer(&token.token, &reasons), 0);
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_EQ(peer.requests()[0], hex(kInitialise));
    EXPECT_EQ(peer.requests()[1], joined({kHeaderUpToDataLength, "0000005E", "00000001 C1C2C3C4", "00000052",
                                          kLocaleAndObject, "0008 70726F746F636F6C"}));
}

TEST(AdminRequests, NoHeaderFieldOfTheSecondRequestComesFromTheReplyToTheFirst) {
    GatewayReplies replies;
    replies.initialise =
        hex("47617465 0BADBEEF 0BADBEEF 0BADBEEF 00000000 00000001 41 EE 0000000C EEEEEEEE "
            "00000000 00000000 C1C2C3C4");
    replies.invocation = invocationReply(emptyPayload());
    ConnectedPeer peer(gatewayScript(replies));
    ResultBuffer result(4096);
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::statComms(peer.socket(), "STAT_IDS", &result.buffer, &result.capacity, &reasons), 0);
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_EQ(peer.requests()[1], joined({kHeaderUpToDataLength, "0000007F", "00000005 C1C2C3C4", "00000073",
                                          kLocaleAndObject, kStatIds, kParameterStart, "0000", kSignature}));
}

stapi::AdminRequest commonRequest() {
    stapi::AdminRequest admin = {};
    admin.country = "US";
    admin.language = "en";
    admin.variant = "";
    admin.objectName = "DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats";
    admin.attributeName = "protocol";
    admin.operationName = "GET_STATS";
    admin.parameterValue = "";
    admin.parameterType = "java.lang.String";
    return admin;
}

TEST(CallLength, OfTheProtocolAttributeIs82) {
    const stapi::AdminRequest admin = commonRequest();
    EXPECT_EQ(stapi::calculateGetAttrCallLength(&admin), 82);
}

class CallLengthOfQuery : public testing::TestWithParam<const char*> {};

TEST_P(CallLengthOfQuery, WithoutAListIsTheQueryTypeAnd107) {
    stapi::AdminRequest admin = commonRequest();
    admin.operationName = GetParam();
    EXPECT_EQ(stapi::calculateCallLength(&admin), static_cast<int32_t>(std::strlen(GetParam())) + 107);
}

INSTANTIATE_TEST_SUITE_P(Types, CallLengthOfQuery, testing::Values("", "STAT_IDS", "GET_STATS", "RESOURCE_GROUPS"));

TEST(CallLength, GrowsByTheListAlone) {
    stapi::AdminRequest admin = commonRequest();
    const std::string longest(32765, 'x');
    admin.parameterValue = longest.c_str();
    EXPECT_EQ(stapi::calculateCallLength(&admin), 9 + 107 + 32765);
}

TEST(AdminRequests, TheLongestListTravelsWhole) {
    const std::string longest(32765, 'x');
    GatewayReplies replies;
    replies.invocation = invocationReply(emptyPayload());
    ConnectedPeer peer(gatewayScript(replies));
    ResultBuffer result(4096);
    EXPECT_EQ(stapi::commsStatsByStatId(peer.socket(), &result.buffer, &result.capacity, longest.c_str()), 0);
    ASSERT_EQ(peer.requests().size(), 2U);
    const Bytes request = peer.requests()[1];
    EXPECT_EQ(request.size(), 34U + 12 + 9 + 107 + 32765);
    const Bytes list(request.begin() + 34 + 12 + 72 + 11 + 9, request.end() - 22);
    EXPECT_EQ(list, BytesWriter().text(longest).bytes());
}

TEST(AdminRequests, ACallOfAnotherTypeEndsBehindTheObjectName) {
    stapi::AdminRequest admin = commonRequest();
    stapi::prepareHeader(&admin.header, 1, 0, "Admin", 12 + 72);
    admin.callType = 7;
    admin.callLength = 72;
    GatewayReplies replies;
    replies.invocation = reply("Admin", callBody(7, hex("55")));
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowAdminRequest(peer.socket(), &admin, &reasons), 0);
    stapi::releaseMemory(admin.callData);
    ASSERT_EQ(peer.requests().size(), 1U);
    EXPECT_EQ(peer.requests()[0],
              joined({kHeaderUpToDataLength, "00000054", "00000007 00000000 00000048", kLocaleAndObject}));
}

}  // namespace

}  // namespace wire_test
