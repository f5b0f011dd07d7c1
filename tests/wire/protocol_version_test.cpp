#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "allocation_faults.h"
#include "comms/stapi_zul_statcomms.h"
#include "exchange.h"
#include "gateway_peer.h"
#include "result_buffer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::TraceCapture;

int32_t askFor(const Bytes& attributeReply, GatewayToken* token, stapi::ReasonsBlock* reasons) {
    GatewayReplies replies;
    replies.attribute = attributeReply;
    ConnectedPeer peer(gatewayScript(replies));
    token->socket = peer.socket();
    return stapi::statProtocolVer(token, reasons);
}

class VersionLength : public testing::TestWithParam<size_t> {};

TEST_P(VersionLength, IsStoredWithATerminatorInAnAreaLargeEnough) {
    VersionToken token(-1);
    stapi::ReasonsBlock reasons = {};
    std::string version(GetParam(), 'v');
    if (!version.empty()) {
        version.back() = 'e';
    }
    EXPECT_EQ(askFor(versionReply(version), &token.token, &reasons), 0);
    EXPECT_EQ(std::string(token.token.protocolVersion), version);
    EXPECT_EQ(token.token.protocolVersionSize, std::max<size_t>(64, version.size() + 1));
}

INSTANTIATE_TEST_SUITE_P(Lengths, VersionLength, testing::Values(0U, 1U, 3U, 62U, 63U, 64U, 65U, 1000U, 65535U));

TEST(ProtocolVersion, ThatJustFitsIsStoredInTheAreaThatIsThere) {
    VersionToken token(-1);
    const char* const area = token.token.protocolVersion;
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(askFor(versionReply(std::string(63, 'v')), &token.token, &reasons), 0);
    EXPECT_EQ(token.token.protocolVersion, area);
}

TEST(ProtocolVersion, AnEmptyVersionIsAnEmptyString) {
    VersionToken token(-1);
    token.token.protocolVersion[0] = 'x';
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(askFor(versionReply(""), &token.token, &reasons), 0);
    EXPECT_STREQ(token.token.protocolVersion, "");
}

TEST(ProtocolVersion, IsTracedWithTheAreaThatItIsStoredIn) {
    const TraceCapture trace(4);
    VersionToken token(-1);
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(askFor(versionReply("1.10"), &token.token, &reasons), 0);
    std::vector<std::string> own;
    for (const std::string& line : trace.lines()) {
        if (line.rfind("22", 0) == 0) {
            own.push_back(line.substr(0, line.find("socketDesc")));
        }
    }
    EXPECT_EQ(own, (std::vector<std::string>{
                       "2200 ENTRY stapi_zul_statcomms.statProtocolVer(gwTokPtr=AAAAAAAAAAAAAAAA)",
                       "2214 ENTRY stapi_zul_statcomms.getInitAdminRequest(",
                       "2215 EXIT stapi_zul_statcomms.getInitAdminRequest(",
                       "2201 DEBUG stapi_zul_statcomms.statProtocolVer Successfully init'd admin request",
                       "2218 ENTRY stapi_zul_statcomms.calculateGetAttrCallLength(admin=AAAAAAAAAAAAAAAA)",
                       "2219 EXIT stapi_zul_statcomms.calculateGetAttrCallLengthsize=82",
                       "2202 DEBUG stapi_zul_statcomms.statProtocolVer Successfully got the protocol version from the "
                       "Gateway",
                       "2203 DEBUG stapi_zul_statcomms.statProtocolVer Called malloc for 5 bytes. rc=AAAAAAAAAAAAAAAA",
                       "2242 DEBUG stapi_zul_statcomms.statProtocolVer Free request callData AAAAAAAAAAAAAAAA",
                       "2205 EXIT stapi_zul_statcomms.statProtocolVer(gwTokPtr=AAAAAAAAAAAAAAAA) rc=0"}));
}

TEST(ProtocolVersion, APayloadCutOffAnywhereIsMinus122) {
    const Bytes whole = versionPayload("1.1");
    for (size_t size = 0; size < whole.size(); ++size) {
        VersionToken token(-1);
        stapi::ReasonsBlock reasons = {};
        const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
        EXPECT_EQ(askFor(reply("Admin", callBody(1, cut)), &token.token, &reasons), -122) << size << " bytes";
        EXPECT_STREQ(token.token.protocolVersion, "");
    }
}

TEST(ProtocolVersion, BytesBehindItMeanNothing) {
    VersionToken token(-1);
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(askFor(reply("Admin", callBody(1, versionPayload("1.1") + hex("5858"))), &token.token, &reasons), 0);
    EXPECT_STREQ(token.token.protocolVersion, "1.1");
}

TEST(ProtocolVersion, AReplyOfAnInitialisationIsMinus122) {
    VersionToken token(-1);
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(askFor(reply("Admin", initialiseBody()), &token.token, &reasons), -122);
}

TEST(ProtocolVersion, ARefusedCallIsMinus3) {
    VersionToken token(-1);
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(askFor(reply("Admin", hex("00000001 00000005 00")), &token.token, &reasons), -3);
    EXPECT_EQ(reasons.adminRc, 5);
}

TEST(ProtocolVersion, ATokenWithoutAnAreaIsMinus111) {
    const TraceCapture trace(1);
    VersionToken token(-1);
    stapi::releaseMemory(token.token.protocolVersion);
    token.token.protocolVersion = nullptr;
    token.token.protocolVersionSize = 0;
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(askFor(versionReply("1.1"), &token.token, &reasons), -111);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"2204 *EXC* stapi_zul_statcomms.statProtocolVerFailed to allocate 4 bytes."}));
}

TEST(ProtocolVersion, NoMemoryForALongVersionIsMinus111) {
    VersionToken token(-1);
    stapi::ReasonsBlock reasons = {};
    const std::string version(100, 'v');
    GatewayReplies replies;
    replies.attribute = versionReply(version);
    ConnectedPeer peer(gatewayScript(replies));
    token.token.socket = peer.socket();
    // Request, header and body of two calls, and the payload of the second, come before the larger area.
    const test_support::AllocationFault fault(8);
    EXPECT_EQ(stapi::statProtocolVer(&token.token, &reasons), -111);
    EXPECT_TRUE(fault.hasStruck());
}

}  // namespace

}  // namespace wire_test
