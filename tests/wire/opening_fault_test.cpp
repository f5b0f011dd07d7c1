// Openings that fail by a socket call.
#include <cstdint>
#include <string>

#include "open_connection.h"
#include "platform/platform.h"
#include "socket_faults.h"

namespace wire_test {

namespace {

using test_support::ScriptedPeer;

struct FaultCase {
    const char* name;
    SocketCall call;
    int n;
    int error;
    int32_t rc;
};

std::ostream& operator<<(std::ostream& stream, const FaultCase& fault) {
    return stream << fault.name;
}

class OpeningFault : public ConnectionTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(OpeningFault, IsMappedAndTheTokenIsRemoved) {
    ScriptedPeer peer(forgivingGatewayScript());
    GatewayToken* token = untouchedToken();
    char* version = nullptr;
    const SocketFault fault(GetParam().call, GetParam().n, GetParam().error);
    EXPECT_EQ(openGatewayConnection(peer.port(), &token, &version), GetParam().rc);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(token, untouchedToken());
    EXPECT_EQ(stapi::gtlHead, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, OpeningFault,
    testing::Values(FaultCase{"no socket", SocketCall::socket, 1, kSocketErrors.noDescriptors, -118},
                    FaultCase{"no options", SocketCall::setsockopt, 1, kSocketErrors.noBuffers, -118},
                    FaultCase{"no non-blocking mode", SocketCall::setMode, 1, kSocketErrors.notPermitted, -118},
                    FaultCase{"unreachable", SocketCall::connect, 1, kSocketErrors.unreachable, -136},
                    FaultCase{"refused", SocketCall::connect, 1, kSocketErrors.refused, -135},
                    FaultCase{"not allowed", SocketCall::connect, 1, kSocketErrors.notAllowed, -118},
                    FaultCase{"no blocking mode", SocketCall::setMode, 2, kSocketErrors.notPermitted, -118},
                    FaultCase{"handshake not sent", SocketCall::send, 1, kSocketErrors.cutOff, -118},
                    FaultCase{"first step not sent", SocketCall::send, 2, kSocketErrors.cutOff, -118},
                    FaultCase{"second step not sent", SocketCall::send, 3, kSocketErrors.cutOff, -118},
                    FaultCase{"initialisation not sent", SocketCall::send, 4, kSocketErrors.cutOff, -102},
                    FaultCase{"version request not sent", SocketCall::send, 5, kSocketErrors.cutOff, -102}));

class OpeningTimeout : public ConnectionTest {};

TEST_F(OpeningTimeout, IsMinus134) {
    const test_support::peer_sockets::Listener silent = test_support::peer_sockets::listenOnLoopback(0);
    std::vector<int32_t> waiting;
    for (int count = 0; count < 4; ++count) {
        waiting.push_back(test_support::peer_sockets::beginConnectToLoopback(silent.port));
    }
    stapi::platform::setConnectTimeoutForTest(200);
    GatewayToken* token = untouchedToken();
    char* version = nullptr;
    EXPECT_EQ(openGatewayConnection(silent.port, &token, &version), -134);
    stapi::platform::setConnectTimeoutForTest(60000);
    EXPECT_EQ(token, untouchedToken());
    for (const int32_t socket : waiting) {
        test_support::peer_sockets::closeSocket(socket);
    }
    test_support::peer_sockets::closeSocket(silent.socket);
}

}  // namespace

}  // namespace wire_test
