// The trace of whole exchanges: which lines, in which order, with which texts.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "exchange.h"
#include "gateway_peer.h"
#include "trace_capture.h"
#include "trace_text.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::TraceCapture;

using Lines = std::vector<std::string>;

const char* const kAddress = "AAAAAAAAAAAAAAAA";

// The lines with "$s" for the socket and "$p" for an address.
Lines expectedLines(int32_t socket, Lines lines) {
    for (std::string& line : lines) {
        for (const auto& [mark, text] : {std::pair<std::string, std::string>{"$s", std::to_string(socket)},
                                         std::pair<std::string, std::string>{"$p", kAddress}}) {
            for (size_t found = line.find(mark); found != std::string::npos; found = line.find(mark)) {
                line.replace(found, mark.size(), text);
            }
        }
    }
    return lines;
}

TEST(FlowTrace, AnExchangeWithAReplyBody) {
    const TraceCapture trace(4);
    GatewayReplies replies;
    replies.handshake = reply("BASE", hex("01 02 03"));
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowHandshakeRequest(peer.socket(), &reasons), 0);
    EXPECT_EQ(
        trace.lines(),
        expectedLines(
            peer.socket(),
            {
                "3215 ENTRY stapi_zul_socketcomms.flowHandshakeRequest(socketDesc=$s, *reasons=$p)",
                "3216 DEBUG stapi_zul_socketcomms.flowHandshakeRequest Called malloc for 51 bytes. rc=$p",
                "3248 ENTRY stapi_zul_socketcomms.writeHeader(req=$p, data=$p)",
                "3249 EXIT stapi_zul_socketcomms.writeHeader(req=$p, data=$p)",
                "3225 ENTRY stapi_zul_socketcomms.flow(socketDesc=$s, datalen=51, &data=$p, requestName=BASE, "
                "header=$p, reasons=$p)",
                "3226 DATA stapi_zul_socketcomms.flow data=$p len=51 stopword=00000000",
                "3230 DEBUG stapi_zul_socketcomms.flow Called malloc for 33 bytes. rc=$p",
                "3239 ENTRY stapi_zul_socketcomms.readFromSocket(socketDesc=$s, dataSize=33, dataBuf=$p)",
                "3240 DEBUG stapi_zul_socketcomms.readFromSocket recv(socketDesc=$s, dataSize=33, dataBuf=$p) "
                "readData=33)",
                "3243 DATA stapi_zul_socketcomms.readFromSocket data=$p len=33 stopword=00000000",
                "3245 EXIT stapi_zul_socketcomms.readFromSocket(socketDesc=$s, dataSize=33, dataBuf=$p) rc=0",
                "3246 ENTRY stapi_zul_socketcomms.populateHeader(data=$p, req=$p)",
                "3247 EXIT stapi_zul_socketcomms.populateHeader(data=$p, req=$p)",
                "3232 DEBUG stapi_zul_socketcomms.flow Free header data $p",
                "3233 DEBUG stapi_zul_socketcomms.flow Free call data $p",
                "3234 DEBUG stapi_zul_socketcomms.flow (re-)malloc call &data $p",
                "3235 DEBUG stapi_zul_socketcomms.flow Called malloc for 3 bytes. rc=$p",
                "3239 ENTRY stapi_zul_socketcomms.readFromSocket(socketDesc=$s, dataSize=3, dataBuf=$p)",
                "3240 DEBUG stapi_zul_socketcomms.readFromSocket recv(socketDesc=$s, dataSize=3, dataBuf=$p) "
                "readData=3)",
                "3243 DATA stapi_zul_socketcomms.readFromSocket data=$p len=3 stopword=00000000",
                "3245 EXIT stapi_zul_socketcomms.readFromSocket(socketDesc=$s, dataSize=3, dataBuf=$p) rc=0",
                "3250 EVENT stapi_zul_socketcomms.flow Successfully sent and received data with Gateway on socket $s",
                "3238 EXIT stapi_zul_socketcomms.flow(socketDesc=$s, datalen=51, data=$p, requestName=BASE, "
                "header=$p, reasons=$p) rc=0",
                "3218 DEBUG stapi_zul_socketcomms.flowHandshakeRequest Free handshake data $p",
                "3219 EXIT stapi_zul_socketcomms.flowHandshakeRequest(socketDesc=$s, *reasons=$p) rc=0",
            }));
}

TEST(FlowTrace, AnExchangeWithoutAReplyBody) {
    const TraceCapture trace(4);
    ConnectedPeer peer(gatewayScript());
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowCloseRequest(peer.socket(), &reasons), 0);
    EXPECT_EQ(trace.points(), (std::vector<int>{3220, 3221, 3248, 3249, 3225, 3226, 3230, 3239, 3240, 3243, 3245, 3246,
                                                3247, 3232, 3237, 3250, 3238, 3223, 3224}));
    const Lines lines = trace.lines();
    const Lines expected = expectedLines(
        peer.socket(), {"3220 ENTRY stapi_zul_socketcomms.flowCloseRequest(socketDesc=$s, *reasons=$p)",
                        "3221 DEBUG stapi_zul_socketcomms.flowCloseRequest Called malloc for 33 bytes. rc=$p",
                        "3237 DEBUG stapi_zul_socketcomms.flow Managed to read in whole response in one go. data=0x$p",
                        "3223 DEBUG stapi_zul_socketcomms.flowCloseRequest Free close request data $p",
                        "3224 EXIT stapi_zul_socketcomms.flowCloseRequest(socketDesc=$s, *reasons=$p) rc=0"});
    EXPECT_EQ((Lines{lines[0], lines[1], lines[14], lines[17], lines[18]}), expected);
}

TEST(FlowTrace, AnAuthorisationStep) {
    const TraceCapture trace(4);
    ConnectedPeer peer(gatewayScript());
    stapi::AuthorisationRecord record = {};
    stapi::prepareHeader(&record.header, 1, 0, "Auth", 4);
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowAuthRequest(peer.socket(), &record, &reasons), 0);
    const Lines lines = trace.lines();
    ASSERT_EQ(lines.size(), 25U);
    EXPECT_EQ((Lines{lines[0], lines[1], lines[23], lines[24]}),
              expectedLines(
                  peer.socket(),
                  {"3209 ENTRY stapi_zul_socketcomms.flowAuthRequest(socketDesc=$s, *request=$p, *reasons=$p)",
                   "3210 DEBUG stapi_zul_socketcomms.flowAuthRequest Called malloc for 37 bytes. rc=$p",
                   "3213 DEBUG stapi_zul_socketcomms.flowAuthRequest Free request data $p",
                   "3214 EXIT stapi_zul_socketcomms.flowAuthRequest(socketDesc=$s, *request=$p, *reasons=$p) rc=0"}));
}

TEST(FlowTrace, AnAdministrationCall) {
    const TraceCapture trace(4);
    GatewayReplies replies;
    replies.initialise = reply("Admin", callBody(5, hex("01 02 03")));
    ConnectedPeer peer(gatewayScript(replies));
    stapi::AdminRequest admin = {};
    stapi::prepareHeader(&admin.header, 1, 0, "Admin", 4);
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowAdminRequest(peer.socket(), &admin, &reasons), 0);
    stapi::releaseMemory(admin.callData);
    const Lines lines = trace.lines();
    ASSERT_EQ(lines.size(), 26U);
    EXPECT_EQ((Lines{lines[0], lines[1], lines[23], lines[24], lines[25]}),
              expectedLines(
                  peer.socket(),
                  {"3200 ENTRY stapi_zul_socketcomms.flowAdminRequest(socketDesc=$s, *request=$p, *reasons=$p)",
                   "3201 DEBUG stapi_zul_socketcomms.flowAdminRequest Called malloc for 38 bytes. rc=$p",
                   "3203 DEBUG stapi_zul_socketcomms.flowAdminRequest Called malloc for 3 bytes. rc=$p",
                   "3207 DEBUG stapi_zul_socketcomms.flowAdminRequest Free request data $p",
                   "3208 EXIT stapi_zul_socketcomms.flowAdminRequest(socketDesc=$s, *request=$p, *reasons=$p) rc=0"}));
}

TEST(FlowTrace, SentAndReceivedBytesAreDumpedBehindTheirLines) {
    const TraceCapture trace(4);
    GatewayReplies replies;
    replies.handshake = reply("BASE", hex("01 02 03"));
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    stapi::flowHandshakeRequest(peer.socket(), &reasons);
    const Lines text = test_support::splitLines(trace.text());
    Lines hexColumns;
    for (const std::string& line : text) {
        if (line.rfind("0x", 0) == 0) {
            const std::string columns = line.substr(12, line.find(" : ") - 12);
            hexColumns.push_back(columns.substr(0, columns.find_last_not_of(' ') + 1));
        }
    }
    EXPECT_EQ(hexColumns,
              (Lines{"47617465 00700000 00000005 00000000", "00000000 00000004 42415345 00000000",
                     "12000265 6E000247 42000000 00000000", "000000",                               // the request
                     "47617465 00700000 00000001 00000000", "00000000 00000004 42415345 00000000",  // reply header
                     "03",                                                                          // its last byte
                     "010203"}));                                                                   // reply body
}

TEST(FlowTrace, OnlyWhatAFailedReceiveBroughtIsDumped) {
    const TraceCapture trace(4);
    ConnectedPeer peer([](test_support::PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.send(hex("47617465 00"));
    });
    Exchange exchange;
    exchange.run(peer.socket());
    EXPECT_NE(trace.messages(3243).at(0).find("len=5"), std::string::npos);
    EXPECT_NE(trace.text().find(": 47617465 00 "), std::string::npos);
}

struct LevelCase {
    int32_t level;
    std::vector<int> points;
};

std::ostream& operator<<(std::ostream& stream, const LevelCase& levelCase) {
    return stream << "level " << levelCase.level;
}

class FlowTraceLevel : public testing::TestWithParam<LevelCase> {};

TEST_P(FlowTraceLevel, SaysWhichLinesAreWritten) {
    const TraceCapture trace(GetParam().level);
    ConnectedPeer peer(gatewayScript());
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowCloseRequest(peer.socket(), &reasons), 0);
    EXPECT_EQ(trace.points(), GetParam().points);
}

INSTANTIATE_TEST_SUITE_P(Levels, FlowTraceLevel,
                         testing::Values(LevelCase{0, {}}, LevelCase{1, {}}, LevelCase{2, {3250}},
                                         LevelCase{
                                             3, {3220, 3248, 3249, 3225, 3239, 3245, 3246, 3247, 3250, 3238, 3224}}));

TEST(FlowTrace, NoHexDumpIsWrittenBelowLevel4) {
    const TraceCapture trace(3);
    ConnectedPeer peer(gatewayScript());
    stapi::ReasonsBlock reasons = {};
    stapi::flowCloseRequest(peer.socket(), &reasons);
    EXPECT_EQ(trace.text().find("47617465"), std::string::npos);
}

}  // namespace

}  // namespace wire_test
