#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "api/zulstats64.h"
#include "comms/stapi_zul_socketcomms.h"
#include "exchange.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;
using test_support::TraceCapture;

test_support::ScriptedPeer::Script answer(const Bytes& bytes) {
    return [bytes](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.send(bytes);
        connection.expectEnd();
    };
}

TEST(Flow, SendsTheRequestAsItStands) {
    ConnectedPeer peer(answer(reply("BASE", {})));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    ASSERT_EQ(peer.requests().size(), 1U);
    EXPECT_EQ(peer.requests()[0], someRequest());
}

TEST(Flow, SendsARequestOfOneByte) {
    const Bytes request = hex("A7");
    ConnectedPeer peer([&request](PeerConnection& connection) {
        connection.expect(request.size());
        connection.send(reply("BASE", {}));
    });
    Exchange exchange(request);
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(peer.requests(), std::vector<Bytes>{request});
}

TEST(Flow, PutsTheReplyBodyInThePlaceOfTheRequest) {
    ConnectedPeer peer(answer(reply("BASE", hex("01 02 03"))));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    ASSERT_NE(exchange.data, nullptr);
    EXPECT_EQ(bytesAt(exchange.data, 3), hex("01 02 03"));
    EXPECT_EQ(exchange.header.dataLength, 3U);
    EXPECT_EQ(stapi::heldBlock(nullptr, exchange.header, someRequest().size()).size, 3U);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
}

TEST(Flow, FillsTheHeaderRecordFromTheReplyButKeepsItsName) {
    ConnectedPeer peer(answer(hex("47617465 00810000 00000005 0000000A 00000000 00000004 41757468 42 00000000")));
    Exchange exchange;
    const char* const name = "kept";
    exchange.header.serverProgramName = name;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(exchange.header.eyecatcher, 0x47617465U);
    EXPECT_EQ(exchange.header.version, 0x00810000U);
    EXPECT_EQ(exchange.header.flagsWord1, 5U);
    EXPECT_EQ(exchange.header.flagsWord2, 10U);
    EXPECT_EQ(exchange.header.flagsWord3, 0U);
    EXPECT_EQ(exchange.header.serverProgramNameLength, 4U);
    EXPECT_EQ(exchange.header.headerFlagByte, 0x42);
    EXPECT_EQ(exchange.header.dataLength, 0U);
    EXPECT_EQ(exchange.header.serverProgramName, name);
}

class ReplyWithoutBody : public testing::TestWithParam<uint32_t> {};

TEST_P(ReplyWithoutBody, LeavesTheRequestInPlace) {
    ConnectedPeer peer(answer(replyHeader("BASE", 0, GetParam())));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_EQ(bytesAt(exchange.data, someRequest().size()), someRequest());
    EXPECT_EQ(stapi::heldBlock(nullptr, exchange.header, someRequest().size()).size, someRequest().size());
}

INSTANTIATE_TEST_SUITE_P(ZeroAndNegativeLengths, ReplyWithoutBody, testing::Values(0U, 0xFFFFFFFFU, 0x80000000U));

class ReplyCode : public testing::TestWithParam<int32_t> {};

TEST_P(ReplyCode, IsReturnedAndStoredAfterTheBodyHasBeenRead) {
    ConnectedPeer peer(answer(reply("BASE", hex("0A 0B"), static_cast<uint32_t>(GetParam()))));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), GetParam());
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, GetParam(), 0, 0}));
    ASSERT_NE(exchange.data, nullptr);
    EXPECT_EQ(bytesAt(exchange.data, 2), hex("0A 0B"));
}

TEST_P(ReplyCode, IsReturnedAndStoredWithoutABodyToo) {
    ConnectedPeer peer(answer(reply("BASE", {}, static_cast<uint32_t>(GetParam()))));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), GetParam());
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, GetParam(), 0, 0}));
    EXPECT_EQ(exchange.data, exchange.request);
}

INSTANTIATE_TEST_SUITE_P(Codes, ReplyCode, testing::Values(1, 61444, -1, -4, -111, -122, INT_MAX, INT_MIN));

TEST(Flow, AReplyCodeIsNotTracedAsASuccess) {
    const TraceCapture trace(4);
    ConnectedPeer peer(answer(reply("BASE", {}, 9)));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 9);
    EXPECT_EQ(trace.count(3250), 0);
    EXPECT_EQ(trace.count(3237), 1);
}

TEST(Flow, AShorterNameInTheReplyMovesTheDataLengthForward) {
    // Two bytes of the header's block are left over; the body begins behind the block.
    ConnectedPeer peer(
        answer(hex("47617465 00700000 00000001 00000000 00000000 00000002 4142 07 00000003 EEEE") + hex("01 02 03")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(exchange.header.serverProgramNameLength, 2U);
    EXPECT_EQ(exchange.header.headerFlagByte, 7);
    EXPECT_EQ(exchange.header.dataLength, 3U);
    EXPECT_EQ(bytesAt(exchange.data, 3), hex("01 02 03"));
}

class LongerName : public testing::TestWithParam<const char*> {};

TEST_P(LongerName, InTheReplyThanInTheRequestIsACommunicationFailure) {
    ConnectedPeer peer(answer(hex("47617465 00700000 00000001 00000000 00000000") + hex(GetParam()) +
                              hex("41757468 00 00000000 00 00000000")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket(), "Auth"), -122);
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
}

INSTANTIATE_TEST_SUITE_P(Lengths, LongerName,
                         testing::Values("00000005", "000000FF", "7FFFFFFF", "80000000", "FFFFFFE3", "FFFFFFFF"));

TEST(Flow, ABadEyecatcherIsTracedWithBothValuesAndLeavesTheHeaderRecordAsItWas) {
    const TraceCapture trace(1);
    ConnectedPeer peer(answer(hex("48617465 00700000 00000001 00000000 00000000 00000004 42415345 00 00000000")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_TRUE(exchange.hasUntouchedHeader());
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{
                  "3251 *EXC* stapi_zul_socketcomms.flow Bad eyecatcher! Expected=0x47617465, actual=0x48617465"}));
}

class NothingToFlow : public testing::TestWithParam<int32_t> {};

TEST_P(NothingToFlow, IsRefusedBeforeAnythingIsSent) {
    const TraceCapture trace(1);
    ConnectedPeer peer([](PeerConnection& connection) { connection.expectEnd(); });
    Exchange exchange;
    exchange.length = GetParam();
    EXPECT_EQ(exchange.run(peer.socket()), -1);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(trace.lines(), (std::vector<std::string>{"3227 *EXC* stapi_zul_socketcomms.flow No data to flow!!"}));
    test_support::peer_sockets::closeSocket(peer.takeSocket());
    EXPECT_EQ(peer.finish(), "");
    EXPECT_TRUE(peer.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(Lengths, NothingToFlow, testing::Values(0, -1, INT_MIN));

TEST(Flow, WithoutAHolderOfTheRequestThereIsNothingToFlow) {
    const TraceCapture trace(3);
    stapi::HeaderRecord header = {};
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flow(-1, 8, nullptr, "BASE", &header, &reasons), -1);
    EXPECT_EQ(trace.points(), (std::vector<int>{3225, 3227, 3238}));
}

TEST(Flow, WithNothingToFlowIsRefusedWithoutAWordWhileNothingIsTraced) {
    const TraceCapture trace(0);
    stapi::HeaderRecord header = {};
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flow(-1, 8, nullptr, "BASE", &header, &reasons), -1);
    EXPECT_EQ(trace.text(), "");
}

TEST(ExchangeCode, IsASocketErrorForWhatWasNotSentOrAConnectionThatIsGoneAndElseABadReply) {
    stapi::ReasonsBlock gone = {};
    gone.gwyRc = stapi::kGatewayConnectionGone;
    stapi::ReasonsBlock other = {};
    other.gwyRc = stapi::kGatewayConnectionGone + 1;
    EXPECT_EQ(stapi::mapExchangeCode(0, gone), 0);
    EXPECT_EQ(stapi::mapExchangeCode(stapi::kExchangeNotSent, other), STAPI_RC_SOCKET_ERROR);
    EXPECT_EQ(stapi::mapExchangeCode(stapi::kGatewayCommsFailure, gone), STAPI_RC_SOCKET_ERROR);
    EXPECT_EQ(stapi::mapExchangeCode(stapi::kGatewayCommsFailure, other), STAPI_RC_BAD_EYECATCHER);
    EXPECT_EQ(stapi::mapExchangeCode(-2, gone), STAPI_RC_BAD_EYECATCHER);
}

TEST(Flow, WithANullRequestThereIsNothingToFlow) {
    const TraceCapture trace(3);
    stapi::HeaderRecord header = {};
    stapi::ReasonsBlock reasons = {};
    uint8_t* data = nullptr;
    EXPECT_EQ(stapi::flow(-1, 8, &data, "BASE", &header, &reasons), -1);
    EXPECT_EQ(trace.points(), (std::vector<int>{3225, 3227, 3238}));
}

TEST(Flow, ALongNameCountsUpTo24CharactersForTheReply) {
    const std::string name = "abcdefghijklmnopqrstuvwxyz";
    ConnectedPeer peer(answer(reply(name.substr(0, 24), hex("55"))));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket(), name.c_str()), 0);
    EXPECT_EQ(bytesAt(exchange.data, 1), hex("55"));
}

TEST(Flow, ADeadSocketFailsTheSendAndItsErrorIsTracedAndStored) {
    const TraceCapture trace(1);
    ConnectedPeer peer([](PeerConnection& connection) { connection.expectEnd(); });
    test_support::peer_sockets::shutDown(peer.socket());
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -1);
    EXPECT_NE(exchange.reasons.errno_, 0);
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_TRUE(exchange.hasUntouchedHeader());
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"3228 *EXC* stapi_zul_socketcomms.flow Unable to write data to socket rc=-1",
                                        "3229 *EXC* stapi_zul_socketcomms.flow Unable to send data to Gateway: errno=" +
                                            std::to_string(exchange.reasons.errno_)}));
}

TEST(Flow, ADescriptorThatIsNoSocketFailsTheSend) {
    Exchange exchange;
    EXPECT_EQ(exchange.run(-1), -1);
    EXPECT_NE(exchange.reasons.errno_, 0);
}

TEST(Flow, ExchangesFollowOneAnotherOnOneSocket) {
    ConnectedPeer peer([](PeerConnection& connection) {
        for (uint8_t count = 1; count <= 3; ++count) {
            connection.expect(someRequest().size());
            connection.send(reply("BASE", {count}));
        }
    });
    for (uint8_t count = 1; count <= 3; ++count) {
        Exchange exchange;
        EXPECT_EQ(exchange.run(peer.socket()), 0);
        EXPECT_EQ(bytesAt(exchange.data, 1), Bytes{count});
    }
    EXPECT_EQ(peer.finish(), "");
}

}  // namespace

}  // namespace wire_test
