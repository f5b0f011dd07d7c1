#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>

#include "comms/stapi_zul_statcomms.h"
#include "exchange.h"
#include "gateway_peer.h"
#include "reply_payload.h"
#include "result_buffer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;
using test_support::TraceCapture;

uint8_t* const kNoCallData = nullptr;

// An initialisation call; what it is answered with says what becomes of it.
struct Call {
    Call() {
        stapi::prepareHeader(&admin.header, 1, 0, "Admin", 4);
        std::memset(admin.adminHandle, 0xC0, sizeof admin.adminHandle);
    }
    ~Call() {
        stapi::releaseMemory(admin.callData);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    int32_t run(const Bytes& answer) {
        GatewayReplies replies;
        replies.initialise = answer;
        ConnectedPeer peer(gatewayScript(replies));
        return stapi::flowAdminRequest(peer.socket(), &admin, &reasons);
    }
    Bytes handle() const {
        return bytesAt(admin.adminHandle, sizeof admin.adminHandle);
    }

    stapi::AdminRequest admin = {};
    stapi::ReasonsBlock reasons = {};
};

const Bytes kOldHandle(4, 0xC0);

TEST(AdminExchange, AnInitialisationReplyBringsTheHandleAsReceived) {
    Call call;
    EXPECT_EQ(call.run(reply("Admin", hex("00000000 00000000 01020304"))), 0);
    EXPECT_EQ(call.handle(), hex("01020304"));
    EXPECT_EQ(call.admin.callType, 0U);
    EXPECT_EQ(call.admin.adminReturnCode, 0U);
}

TEST(AdminExchange, AnInitialisationReplyNeverCreatesCallData) {
    Call call;
    EXPECT_EQ(call.run(reply("Admin", hex("00000000 00000000 01020304 05060708"))), 0);
    EXPECT_EQ(call.admin.callData, kNoCallData);
}

TEST(AdminExchange, AnInitialisationReplyLeavesTheCallDataPointerAsItWas) {
    Call call;
    uint8_t* const block = libraryBlock(hex("55"));
    call.admin.callData = block;
    EXPECT_EQ(call.run(reply("Admin", hex("00000000 00000000 01020304"))), 0);
    EXPECT_EQ(call.admin.callData, block);
}

class EchoedType : public testing::TestWithParam<uint32_t> {};

TEST_P(EchoedType, OtherThanZeroBringsThePayloadBehindTheNinthByte) {
    Call call;
    EXPECT_EQ(call.run(reply("Admin", callBody(GetParam(), hex("AA BB CC")))), 0);
    EXPECT_EQ(call.admin.callType, GetParam());
    EXPECT_EQ(call.admin.header.dataLength, 3U);
    ASSERT_NE(call.admin.callData, kNoCallData);
    EXPECT_EQ(bytesAt(call.admin.callData, 3), hex("AA BB CC"));
    EXPECT_EQ(call.handle(), kOldHandle);
    EXPECT_EQ(call.admin.exceptionFlag, 0);
}

INSTANTIATE_TEST_SUITE_P(Types, EchoedType, testing::Values(1U, 2U, 5U, 0x80000000U, 0xFFFFFFFFU));

TEST(AdminExchange, AReplyOfExactlyNineBytesHasAnEmptyPayload) {
    Call call;
    EXPECT_EQ(call.run(reply("Admin", hex("00000005 00000000 00"))), 0);
    EXPECT_EQ(call.admin.header.dataLength, 0U);
    EXPECT_NE(call.admin.callData, kNoCallData);
}

// A reply whose connection ends when so many bytes of its body have been sent.
int32_t runCutOff(Call* call, const Bytes& body, size_t arriving) {
    Bytes answer = reply("Admin", body);
    answer.resize(answer.size() - body.size() + arriving);
    ConnectedPeer peer([&answer](PeerConnection& connection) {
        connection.expectFrame();
        connection.send(answer);
        connection.close();
    });
    return stapi::flowAdminRequest(peer.socket(), &call->admin, &call->reasons);
}

TEST(AdminExchange, APayloadThatEndsEarlyHasItsAnnouncedLengthAndTellsHowMuchArrived) {
    Call call;
    EXPECT_EQ(runCutOff(&call, callBody(5, hex("AA BB CC DD EE")), 11), 0);
    EXPECT_EQ(call.admin.header.dataLength, 5U);
    EXPECT_EQ(call.admin.callDataArrived, 2U);
    ASSERT_NE(call.admin.callData, kNoCallData);
    EXPECT_EQ(bytesAt(call.admin.callData, 5), hex("AA BB 00 00 00"));
}

class ReplyWithoutItsPayload : public testing::TestWithParam<size_t> {};

TEST_P(ReplyWithoutItsPayload, HasZerosInItsPlace) {
    Call call;
    EXPECT_EQ(runCutOff(&call, callBody(5, hex("AA BB CC DD EE")), GetParam()), 0);
    EXPECT_EQ(call.admin.header.dataLength, 5U);
    EXPECT_EQ(call.admin.callDataArrived, 0U);
    ASSERT_NE(call.admin.callData, kNoCallData);
    EXPECT_EQ(bytesAt(call.admin.callData, 5), hex("00 00 00 00 00"));
}

INSTANTIATE_TEST_SUITE_P(BytesThatArrive, ReplyWithoutItsPayload, testing::Values(4U, 8U, 9U));

TEST(AdminExchange, WithoutABodyInTheReplyTheRequestIsHeldWhole) {
    const uint8_t block[1] = {};
    const stapi::HeldBlock held = stapi::heldBlock(block, stapi::HeaderRecord{}, 40);
    EXPECT_EQ(held.bytes, block);
    EXPECT_EQ(held.size, 40U);
    EXPECT_EQ(held.arrived, 40U);
}

TEST(AdminExchange, ARequestThatDoesNotFillItsAnnouncedLengthIsNotSent) {
    Call call;
    stapi::prepareHeader(&call.admin.header, 1, 0, "Admin", 5);
    ConnectedPeer peer([](PeerConnection& connection) { connection.expectEnd(); });
    EXPECT_EQ(stapi::flowAdminRequest(peer.socket(), &call.admin, &call.reasons), -1);
    test_support::peer_sockets::closeSocket(peer.takeSocket());
    EXPECT_EQ(peer.finish(), "");
    EXPECT_TRUE(peer.requests().empty());
}

class AdminCode : public testing::TestWithParam<int32_t> {};

TEST_P(AdminCode, OtherThanZeroIsMinus3AndStoredAsTheReason) {
    for (const uint32_t type : {0U, 1U, 5U}) {
        const TraceCapture trace(1);
        Call call;
        const Bytes body = BytesWriter().u32(type).u32(static_cast<uint32_t>(GetParam())).fill(8, 0x55).bytes();
        EXPECT_EQ(call.run(reply("Admin", body)), -3);
        EXPECT_EQ(fieldsOf(call.reasons), (Reasons{0, 0, 0, GetParam()}));
        EXPECT_EQ(call.admin.callData, kNoCallData);
        EXPECT_EQ(call.handle(), kOldHandle);
        EXPECT_EQ(trace.lines(),
                  (std::vector<std::string>{
                      "3206 *EXC* stapi_zul_socketcomms.flowAdminRequest Auth Request returned an error AuthRc=" +
                      std::to_string(GetParam())}));
    }
}

INSTANTIATE_TEST_SUITE_P(Codes, AdminCode, testing::Values(1, 8, -1, INT_MAX, INT_MIN));

class ExceptionFlag : public testing::TestWithParam<const char*> {};

TEST_P(ExceptionFlag, OtherThanZeroIsMinus3WithoutAReason) {
    const TraceCapture trace(1);
    Call call;
    EXPECT_EQ(call.run(reply("Admin", hex("00000005 00000000") + hex(GetParam()) + hex("AABBCC"))), -3);
    EXPECT_EQ(fieldsOf(call.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(call.admin.callData, kNoCallData);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{
                  "3205 *EXC* stapi_zul_socketcomms.flowAdminRequest Exception occured during request execution"}));
}

INSTANTIATE_TEST_SUITE_P(Flags, ExceptionFlag, testing::Values("01", "02", "80", "FF"));

TEST(AdminExchange, ARefusedCallIsNotSearchedForAnException) {
    const TraceCapture trace(1);
    Call call;
    EXPECT_EQ(call.run(reply("Admin", hex("00000005 00000008 01"))), -3);
    EXPECT_EQ(trace.count(3205), 0);
    EXPECT_EQ(trace.count(3206), 1);
}

struct ShortCase {
    const char* start;
    size_t needed;
    int32_t wholeRc;
};

class ShortAdminReply : public testing::TestWithParam<ShortCase> {};

TEST_P(ShortAdminReply, IsMinus122BelowTheFieldsThatAreRead) {
    Bytes whole = hex(GetParam().start);
    whole.resize(GetParam().needed, 0);
    for (size_t size = 1; size < GetParam().needed; ++size) {
        Call call;
        EXPECT_EQ(call.run(reply("Admin", Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)))), -122)
            << size << " bytes";
        EXPECT_EQ(call.admin.callData, kNoCallData);
        EXPECT_EQ(call.handle(), kOldHandle);
        EXPECT_EQ(fieldsOf(call.reasons), (Reasons{0, 0, 0, 0}));
    }
    Call call;
    EXPECT_EQ(call.run(reply("Admin", whole)), GetParam().wholeRc);
}

INSTANTIATE_TEST_SUITE_P(Types, ShortAdminReply,
                         testing::Values(ShortCase{"00000000 00000000", 12, 0}, ShortCase{"00000005 00000000", 9, 0},
                                         ShortCase{"00000000 00000008", 8, -3}, ShortCase{"00000005 00000008", 8, -3}));

// The request's eyecatcher is then the call type, and its version the return code.
TEST(AdminExchange, AReplyWithoutABodyReadsTheRequestsOwnBytes) {
    Call call;
    EXPECT_EQ(call.run(reply("Admin", {})), -3);
    EXPECT_EQ(call.admin.callType, 0x47617465U);
    EXPECT_EQ(call.reasons.adminRc, 0x00700000);
    EXPECT_EQ(call.admin.callData, kNoCallData);
}

TEST(AdminExchange, AReplyCodeInTheHeaderEndsTheExchange) {
    Call call;
    EXPECT_EQ(call.run(reply("Admin", callBody(5, hex("AABB")), 61444)), 61444);
    EXPECT_EQ(fieldsOf(call.reasons), (Reasons{0, 61444, 0, 0}));
    EXPECT_EQ(call.admin.callData, kNoCallData);
}

// ---- The two calls of a query ---------------------------------------------------------------------------------------

// A query's exchanges with a small result.
struct Query {
    int32_t run(const GatewayReplies& replies, const char* type = "STAT_IDS") {
        ConnectedPeer peer(gatewayScript(replies));
        const int32_t rc = stapi::statComms(peer.socket(), type, &result.buffer, &result.capacity, &reasons);
        requests = peer.requests();
        return rc;
    }

    ResultBuffer result{4096};
    stapi::ReasonsBlock reasons = {};
    std::vector<Bytes> requests;
};

GatewayReplies withInvocation(const Bytes& frame) {
    GatewayReplies replies;
    replies.invocation = frame;
    return replies;
}

TEST(StatComms, NoInvocationFollowsARefusedInitialisation) {
    GatewayReplies replies;
    replies.initialise = reply("Admin", hex("00000000 00000008 01020304"));
    Query query;
    EXPECT_EQ(query.run(replies), -3);
    EXPECT_EQ(query.reasons.adminRc, 8);
    EXPECT_EQ(query.requests.size(), 1U);
    EXPECT_EQ(query.result.content(), hex("0F0E0F0E"));
}

TEST(StatComms, AnInitialisationAnsweredAsAnInvocationLeavesAHandleOfZeros) {
    GatewayReplies replies;
    replies.initialise = reply("Admin", callBody(5, hex("01020304 05")));
    replies.invocation = invocationReply(ReplyPayload().single().idResponse("q", 0, {"a"}).bytes());
    Query query;
    EXPECT_EQ(query.run(replies), 0);
    ASSERT_EQ(query.requests.size(), 2U);
    const Bytes& invocation = query.requests[1];
    EXPECT_EQ(Bytes(invocation.begin() + 34, invocation.begin() + 42), hex("00000005 00000000"));
}

TEST(StatComms, AnInvocationAnsweredAsAnInitialisationHasNoPayloadAndIsMinus122) {
    Query query;
    EXPECT_EQ(query.run(withInvocation(reply("Admin", hex("00000000 00000000 01020304")))), -122);
    EXPECT_EQ(query.result.content(), hex("0F0E0F0E"));
}

TEST(StatComms, AnEmptyPayloadIsMinus122) {
    Query query;
    EXPECT_EQ(query.run(withInvocation(reply("Admin", hex("00000005 00000000 00")))), -122);
}

TEST(StatComms, AnEmptyPayloadIsTracedWithoutADump) {
    const TraceCapture trace(4);
    Query query;
    EXPECT_EQ(query.run(withInvocation(reply("Admin", hex("00000005 00000000 00"))), "GET_STATS"), -122);
    EXPECT_NE(trace.messages(2230).at(0).find("len=0 stopword=00000000"), std::string::npos);
    const std::string text = trace.text();
    const std::string behind = text.substr(text.find('\n', text.find("[2230]")) + 1);
    EXPECT_NE(behind.rfind("0x", 0), 0U) << behind.substr(0, 80);
}

struct FailureCase {
    const char* name;
    Bytes invocation;
    int32_t rc;
};

std::ostream& operator<<(std::ostream& stream, const FailureCase& failure) {
    return stream << failure.name;
}

class StatCommsFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(StatCommsFailure, IsReturnedUnchangedAndNothingIsParsed) {
    const TraceCapture trace(4);
    for (const char* const type : {"STAT_IDS", "GET_STATS"}) {
        Query query;
        EXPECT_EQ(query.run(withInvocation(GetParam().invocation), type), GetParam().rc);
        EXPECT_EQ(query.result.content(), hex("0F0E0F0E"));
    }
    EXPECT_EQ(trace.count(2224), 0);
    EXPECT_EQ(trace.count(2220), 0);
    EXPECT_EQ(trace.count(2230), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, StatCommsFailure,
    testing::Values(FailureCase{"refused", reply("Admin", hex("00000005 00000008 00 AABB")), -3},
                    FailureCase{"exception", reply("Admin", hex("00000005 00000000 01 AABB")), -3},
                    FailureCase{"daemon code", reply("Admin", callBody(5, hex("AABB")), 61444), 61444},
                    FailureCase{"daemon code -4", reply("Admin", callBody(5, hex("AABB")), 0xFFFFFFFC), -4},
                    FailureCase{"short", reply("Admin", hex("00000005 00000000")), -122},
                    FailureCase{"bad eyecatcher", Bytes(38, 0x20), -122}));

class IdQueryType : public testing::TestWithParam<const char*> {};

TEST_P(IdQueryType, OtherThanGetStatsIsParsedAsIds) {
    const TraceCapture trace(4);
    Query query;
    const Bytes payload = ReplyPayload().single().idResponse("q", 0, {"a"}).bytes();
    EXPECT_EQ(query.run(withInvocation(invocationReply(payload)), GetParam()), 0);
    EXPECT_EQ(query.result.content(), idSet(1).text("q").word(0).word(1).text("a").terminated());
    EXPECT_EQ(trace.count(2211), 1);
    EXPECT_EQ(trace.count(2210), 0);
}

INSTANTIATE_TEST_SUITE_P(Types, IdQueryType,
                         testing::Values("STAT_IDS", "RESOURCE_GROUPS", "get_stats", "GET_STATS ", "GET_STAT", ""));

TEST(StatComms, GetStatsIsParsedAsStatistics) {
    const TraceCapture trace(4);
    Query query;
    const Bytes payload = ReplyPayload().single().statsResponse("q", 0, 1).shortStat("a", "17").bytes();
    EXPECT_EQ(query.run(withInvocation(invocationReply(payload)), "GET_STATS"), 0);
    EXPECT_EQ(query.result.content(), statSet(1).text("q").word(0).word(1).text("a").text("17").terminated());
    EXPECT_EQ(trace.count(2210), 1);
    EXPECT_EQ(trace.count(2211), 0);
}

TEST(StatComms, ItsLinesComeInTheOrderOfItsSteps) {
    const TraceCapture trace(4);
    Query query;
    const Bytes payload = ReplyPayload().single().idResponse("q", 0, {"a"}).bytes();
    EXPECT_EQ(query.run(withInvocation(invocationReply(payload))), 0);
    std::vector<int> own;
    for (const int point : trace.points()) {
        if (point >= 2200 && point < 2300) {
            own.push_back(point);
        }
    }
    EXPECT_EQ(own, (std::vector<int>{2206, 2208, 2214, 2215, 2209, 2216, 2217, 2230, 2211, 2224, 2225, 2226, 2227, 2229,
                                     2212, 2213, 2207}));
    EXPECT_EQ(trace.messages(2217).at(0), "stapi_zul_statcomms.calculateCallLengthsize=115");
}

}  // namespace

}  // namespace wire_test
