// Replies that arrive in pieces, and replies that end too early.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "exchange.h"
#include "platform/platform.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;
using test_support::TraceCapture;

// A peer that answers with these bytes and closes.
test_support::ScriptedPeer::Script answerAndClose(const Bytes& bytes) {
    return [bytes](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.send(bytes);
    };
}

std::string receiveText(const char* kind, int32_t socket, int32_t size, const std::string& rest) {
    return std::string(kind) + " stapi_zul_socketcomms.readFromSocket recv(socketDesc=" + std::to_string(socket) +
           ", dataSize=" + std::to_string(size) + ", dataBuf=AAAAAAAAAAAAAAAA) " + rest;
}

TEST(ReadFromSocket, TakesAWholeMessageInOneReceive) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](PeerConnection& connection) { connection.sendPieces({hex("01 02 03 04")}); });
    Bytes buffer(4, kUntouched);
    // All bytes have arrived before they are received: the peer's script has sent them as one.
    ASSERT_EQ(stapi::platform::waitReadable(peer.socket()).value, 1);
    EXPECT_EQ(stapi::readFromSocket(peer.socket(), 4, buffer.data()), 0);
    EXPECT_EQ(buffer, hex("01 02 03 04"));
    EXPECT_EQ(trace.points(), (std::vector<int>{3239, 3240, 3243, 3245}));
}

TEST(ReadFromSocket, LeavesWhatFollowsTheMessage) {
    ConnectedPeer peer([](PeerConnection& connection) { connection.send(hex("01 02 03 04 05")); });
    Bytes buffer(3, kUntouched);
    EXPECT_EQ(stapi::readFromSocket(peer.socket(), 3, buffer.data()), 0);
    EXPECT_EQ(buffer, hex("01 02 03"));
    EXPECT_EQ(stapi::readFromSocket(peer.socket(), 2, buffer.data()), 0);
    EXPECT_EQ(buffer, hex("04 05 03"));
}

TEST(ReadFromSocket, PutsPiecesTogetherAndTracesEachWithTheTotalBeforeIt) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.sendPieces({hex("01 02"), hex("03 04 05"), hex("06")});
    });
    Bytes buffer(6, kUntouched);
    const int32_t socket = peer.socket();
    EXPECT_EQ(stapi::readFromSocket(socket, 6, buffer.data()), 0);
    EXPECT_EQ(buffer, hex("01 02 03 04 05 06"));
    const std::vector<std::string> lines = trace.lines();
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[1], receiveText("3240 DEBUG", socket, 6, "readData=2)"));
    EXPECT_EQ(lines[2], receiveText("3241 DEBUG", socket, 6, "readData=3, totaldata=2)"));
    EXPECT_EQ(lines[3], receiveText("3241 DEBUG", socket, 6, "readData=1, totaldata=5)"));
    EXPECT_EQ(lines[4], "3243 DATA stapi_zul_socketcomms.readFromSocket data=AAAAAAAAAAAAAAAA len=6 stopword=00000000");
    EXPECT_EQ(lines[5], "3245 EXIT stapi_zul_socketcomms.readFromSocket(socketDesc=" + std::to_string(socket) +
                            ", dataSize=6, dataBuf=AAAAAAAAAAAAAAAA) rc=0");
}

TEST(ReadFromSocket, ReceivesAMessageThatComesByteByByte) {
    const TraceCapture trace(4);
    const Bytes message = hex("00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF");
    ConnectedPeer peer([message](PeerConnection& connection) { connection.sendByteByByte(message); });
    Bytes buffer(message.size(), 0);
    EXPECT_EQ(stapi::readFromSocket(peer.socket(), 16, buffer.data()), 0);
    EXPECT_EQ(buffer, message);
    EXPECT_EQ(trace.count(3240), 1);
    EXPECT_EQ(trace.count(3241), 15);
    EXPECT_EQ(trace.count(3242), 0);
}

TEST(ReadFromSocket, AConnectionClosedBeforeAnyByteIsMinusOneWithoutAnException) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](PeerConnection&) {});
    EXPECT_EQ(peer.finish(), "");
    Bytes buffer(4, kUntouched);
    EXPECT_EQ(stapi::readFromSocket(peer.socket(), 4, buffer.data()), -1);
    EXPECT_EQ(buffer, hex("00 00 00 00"));
    EXPECT_EQ(trace.points(), (std::vector<int>{3239, 3240, 3245}));
}

TEST(ReadFromSocket, AConnectionClosedInMidMessageIsASuccessFilledWithZeros) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](PeerConnection& connection) { connection.send(hex("01 02")); });
    EXPECT_EQ(peer.finish(), "");
    Bytes buffer(5, kUntouched);
    EXPECT_EQ(stapi::readFromSocket(peer.socket(), 5, buffer.data()), 0);
    EXPECT_EQ(buffer, hex("01 02 00 00 00"));
    EXPECT_EQ(trace.points(), (std::vector<int>{3239, 3240, 3241, 3242, 3243, 3245}));
    EXPECT_EQ(trace.messages(3242).at(0), "stapi_zul_socketcomms.readFromSocket read returned an error code: errno=0");
    EXPECT_NE(trace.messages(3243).at(0).find(" len=2 "), std::string::npos);
}

TEST(ReadFromSocket, AFailedFirstReceiveGivesItsError) {
    const TraceCapture trace(1);
    Bytes buffer(4, kUntouched);
    const int32_t error = stapi::readFromSocket(-1, 4, buffer.data());
    EXPECT_GT(error, 0);
    EXPECT_EQ(trace.lines(), (std::vector<std::string>{
                                 "3244 *EXC* stapi_zul_socketcomms.readFromSocket read returned an error code: errno=" +
                                 std::to_string(error)}));
}

TEST(BrokenStream, AReplyByteByByteIsAReply) {
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.sendByteByByte(reply("BASE", hex("01 02 03 04 05")));
    });
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(bytesAt(exchange.data, 5), hex("01 02 03 04 05"));
    EXPECT_EQ(peer.finish(), "");
}

TEST(BrokenStream, HeaderAndBodyInOnePieceAreTakenApart) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.expect(someRequest().size());
        const Bytes whole = reply("BASE", hex("01 02 03 04 05"));
        connection.sendPieces({Bytes(whole.begin(), whole.end() - 2), Bytes(whole.end() - 2, whole.end())});
    });
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(bytesAt(exchange.data, 5), hex("01 02 03 04 05"));
    EXPECT_EQ(trace.count(3240), 2);
    EXPECT_EQ(trace.count(3241), 1);
}

TEST(BrokenStream, ClosedBeforeAnyByteIsMinus122WithReasonMinus1) {
    ConnectedPeer peer(answerAndClose({}));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{-1, 0, 0, 0}));
    EXPECT_TRUE(exchange.hasUntouchedHeader());
    EXPECT_EQ(exchange.data, exchange.request);
}

TEST(BrokenStream, ClosedInMidHeaderReadsTheRestOfTheHeaderAsZeros) {
    ConnectedPeer peer(answerAndClose(hex("47617465 00700000 0000000A 0000000B 0000")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(exchange.header.flagsWord1, 10U);
    EXPECT_EQ(exchange.header.flagsWord2, 11U);
    EXPECT_EQ(exchange.header.flagsWord3, 0U);
    EXPECT_EQ(exchange.header.serverProgramNameLength, 0U);
    EXPECT_EQ(exchange.header.headerFlagByte, 0);
    EXPECT_EQ(exchange.header.dataLength, 0U);
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
}

TEST(BrokenStream, ClosedInMidEyecatcherIsABadEyecatcher) {
    const TraceCapture trace(1);
    ConnectedPeer peer(answerAndClose(hex("476174")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(trace.messages(3251).at(0),
              "stapi_zul_socketcomms.flow Bad eyecatcher! Expected=0x47617465, actual=0x47617400");
}

TEST(BrokenStream, ClosedInMidBodyReadsTheRestOfTheBodyAsZeros) {
    ConnectedPeer peer(answerAndClose(replyHeader("BASE", 0, 5) + hex("01 02")));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(bytesAt(exchange.data, 5), hex("01 02 00 00 00"));
    EXPECT_EQ(exchange.header.dataLength, 5U);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
}

TEST(BrokenStream, ClosedBeforeTheFirstByteOfTheBodyIsMinus122) {
    ConnectedPeer peer(answerAndClose(replyHeader("BASE", 0, 5)));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{-1, 0, 0, 0}));
    EXPECT_NE(exchange.data, nullptr);
    EXPECT_EQ(exchange.header.dataLength, 5U);
}

TEST(BrokenStream, AReplyCodeIsNotLookedAtWhenTheBodyIsMissing) {
    ConnectedPeer peer(answerAndClose(replyHeader("BASE", 61444, 5)));
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_EQ(exchange.reasons.gwyRc, 0);
}

// A reset takes the place of the reply; some systems report one that comes between two calls as the end of the stream.
TEST(BrokenStream, AResetInsteadOfAReplyIsMinus122) {
    ConnectedPeer peer([](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.reset();
    });
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), -122);
    EXPECT_NE(exchange.reasons.errno_, 0);
    EXPECT_TRUE(exchange.hasUntouchedHeader());
}

TEST(BrokenStream, AReplyOf10000StatisticsCostsFewReceives) {
    const TraceCapture trace(4);
    const Bytes body(270000, 0x41);
    ConnectedPeer peer([&body](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.send(reply("BASE", body));
        connection.expectEnd();
    });
    Exchange exchange;
    EXPECT_EQ(exchange.run(peer.socket()), 0);
    EXPECT_EQ(bytesAt(exchange.data, body.size()), body);
    EXPECT_LT(trace.count(3240) + trace.count(3241), 50);
}

}  // namespace

}  // namespace wire_test
