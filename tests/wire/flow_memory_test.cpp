// Each allocation of an exchange fails in turn.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "allocation_faults.h"
#include "exchange.h"
#include "gateway_peer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::AllocationFault;
using test_support::ConnectedPeer;
using test_support::TraceCapture;

using Lines = std::vector<std::string>;

TEST(FlowMemory, NoMemoryForTheHeaderLeavesTheRequestInPlace) {
    const TraceCapture trace(1);
    GatewayReplies replies;
    replies.handshake = reply("BASE", hex("01 02 03"));
    ConnectedPeer peer(gatewayScript(replies));
    Exchange exchange(hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000000"));
    const AllocationFault fault(1);
    EXPECT_EQ(exchange.run(peer.socket()), -111);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(exchange.data, exchange.request);
    EXPECT_TRUE(exchange.hasUntouchedHeader());
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(trace.lines(), (Lines{"3231 *EXC* stapi_zul_socketcomms.flowFailed to allocate 33 bytes."}));
}

TEST(FlowMemory, NoMemoryForTheBodyLeavesNoBlockAtAll) {
    const TraceCapture trace(1);
    GatewayReplies replies;
    replies.handshake = reply("BASE", hex("01 02 03"), 7);
    ConnectedPeer peer(gatewayScript(replies));
    Exchange exchange(hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000000"));
    const AllocationFault fault(2);
    EXPECT_EQ(exchange.run(peer.socket()), -111);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(exchange.data, nullptr);
    EXPECT_EQ(exchange.header.dataLength, 3U);
    EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_EQ(trace.lines(), (Lines{"3236 *EXC* stapi_zul_socketcomms.flow Failed to allocate 3 bytes."}));
}

TEST(FlowMemory, TheLongestAnnouncedBodyIsAskedForAsItStands) {
    const TraceCapture trace(1);
    GatewayReplies replies;
    replies.handshake = replyHeader("BASE", 0, 0x7FFFFFFF);
    ConnectedPeer peer(gatewayScript(replies));
    Exchange exchange(hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000000"));
    const AllocationFault fault(2);
    EXPECT_EQ(exchange.run(peer.socket()), -111);
    EXPECT_EQ(trace.messages(3236).at(0), "stapi_zul_socketcomms.flow Failed to allocate 2147483647 bytes.");
}

int32_t runHandshake(int32_t socket, stapi::ReasonsBlock* reasons) {
    return stapi::flowHandshakeRequest(socket, reasons);
}

int32_t runAuthorisation(int32_t socket, stapi::ReasonsBlock* reasons) {
    stapi::AuthorisationRecord record = {};
    stapi::prepareHeader(&record.header, 1, 0, "Auth", 20);
    record.step = 1;
    return stapi::flowAuthRequest(socket, &record, reasons);
}

int32_t runClose(int32_t socket, stapi::ReasonsBlock* reasons) {
    return stapi::flowCloseRequest(socket, reasons);
}

// An initialisation call, answered as if it were an invocation.
int32_t runAdmin(int32_t socket, stapi::ReasonsBlock* reasons) {
    stapi::AdminRequest admin = {};
    stapi::prepareHeader(&admin.header, 1, 0, "Admin", 4);
    const int32_t rc = stapi::flowAdminRequest(socket, &admin, reasons);
    EXPECT_EQ(admin.callData != nullptr, rc == 0);
    stapi::releaseMemory(admin.callData);
    return rc;
}

struct MemoryCase {
    const char* name;
    int32_t (*run)(int32_t socket, stapi::ReasonsBlock* reasons);
    std::vector<std::string> failures;  // the trace of each allocation that fails, in turn
};

std::ostream& operator<<(std::ostream& stream, const MemoryCase& memoryCase) {
    return stream << memoryCase.name;
}

class ExchangeMemory : public testing::TestWithParam<MemoryCase> {};

TEST_P(ExchangeMemory, EachFailedAllocationIsMinus111) {
    GatewayReplies replies;
    replies.handshake = reply("BASE", hex("01 02 03"));
    replies.close = reply("BASE", hex("01 02 03"));
    replies.initialise = reply("Admin", callBody(5, hex("01 02 03")));
    for (size_t index = 0; index < GetParam().failures.size(); ++index) {
        const TraceCapture trace(1);
        ConnectedPeer peer(forgivingGatewayScript(replies));
        stapi::ReasonsBlock reasons = {};
        const AllocationFault fault(static_cast<int64_t>(index) + 1);
        EXPECT_EQ(GetParam().run(peer.socket(), &reasons), -111) << "allocation " << index + 1;
        EXPECT_TRUE(fault.hasStruck());
        EXPECT_EQ(fieldsOf(reasons), (Reasons{0, 0, 0, 0}));
        EXPECT_EQ(trace.lines(), (Lines{GetParam().failures[index]}));
        EXPECT_EQ(peer.requests().size(), index == 0 ? 0U : 1U);
    }
}

TEST_P(ExchangeMemory, NoOtherAllocationIsMade) {
    GatewayReplies replies;
    replies.handshake = reply("BASE", hex("01 02 03"));
    replies.close = reply("BASE", hex("01 02 03"));
    replies.initialise = reply("Admin", callBody(5, hex("01 02 03")));
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    const AllocationFault fault(static_cast<int64_t>(GetParam().failures.size()) + 1);
    EXPECT_EQ(GetParam().run(peer.socket(), &reasons), 0);
    EXPECT_FALSE(fault.hasStruck());
}

INSTANTIATE_TEST_SUITE_P(
    Exchanges, ExchangeMemory,
    testing::Values(MemoryCase{"Handshake",
                               runHandshake,
                               {"3217 *EXC* stapi_zul_socketcomms.flowHandshakeRequestFailed to allocate 51 bytes.",
                                "3231 *EXC* stapi_zul_socketcomms.flowFailed to allocate 33 bytes.",
                                "3236 *EXC* stapi_zul_socketcomms.flow Failed to allocate 3 bytes."}},
                    MemoryCase{"Authorisation",
                               runAuthorisation,
                               {"3211 *EXC* stapi_zul_socketcomms.flowAuthRequestFailed to allocate 53 bytes.",
                                "3231 *EXC* stapi_zul_socketcomms.flowFailed to allocate 33 bytes.",
                                "3236 *EXC* stapi_zul_socketcomms.flow Failed to allocate 16 bytes."}},
                    MemoryCase{"Close",
                               runClose,
                               {"3222 *EXC* stapi_zul_socketcomms.flowCloseRequest Failed to allocate 33 bytes.",
                                "3231 *EXC* stapi_zul_socketcomms.flowFailed to allocate 33 bytes.",
                                "3236 *EXC* stapi_zul_socketcomms.flow Failed to allocate 3 bytes."}},
                    MemoryCase{"Admin",
                               runAdmin,
                               {"3202 *EXC* stapi_zul_socketcomms.flowAdminRequestFailed to allocate 38 bytes.",
                                "3231 *EXC* stapi_zul_socketcomms.flowFailed to allocate 34 bytes.",
                                "3236 *EXC* stapi_zul_socketcomms.flow Failed to allocate 12 bytes.",
                                "3204 *EXC* stapi_zul_socketcomms.flowAdminRequestFailed to allocate 12 bytes."}}),
    [](const testing::TestParamInfo<MemoryCase>& caseInfo) { return std::string(caseInfo.param.name); });

}  // namespace

}  // namespace wire_test
