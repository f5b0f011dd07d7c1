// Connects that fail inside the system, and those that nobody answers.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "connecting.h"
#include "gateway_peer.h"
#include "socket_faults.h"

namespace wire_test {

namespace {

using test_support::ScriptedPeer;
using test_support::TraceCapture;
namespace peer_sockets = test_support::peer_sockets;

// A listener whose queue is full: further connects get no answer.
class SilentListener {
  public:
    SilentListener() : listener_(peer_sockets::listenOnLoopback(0)) {
        for (int count = 0; count < 4; ++count) {
            waiting_.push_back(peer_sockets::beginConnectToLoopback(listener_.port));
        }
    }
    ~SilentListener() {
        for (const int32_t socket : waiting_) {
            peer_sockets::closeSocket(socket);
        }
        peer_sockets::closeSocket(listener_.socket);
    }
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;

    int port() const {
        return listener_.port;
    }

  private:
    peer_sockets::Listener listener_;
    std::vector<int32_t> waiting_;
};

struct ShortTimeout {
    ShortTimeout() {
        stapi::platform::setConnectTimeoutForTest(200);
    }
    ~ShortTimeout() {
        stapi::platform::setConnectTimeoutForTest(60000);
    }
};

TEST(ConnectingFaults, TheUsualTimeoutIs60Seconds) {
    EXPECT_EQ(stapi::platform::connectTimeout(), 60000);
}

TEST(ConnectingFaults, AConnectThatNobodyAnswersIsMinus103) {
    const TraceCapture trace(4);
    const ShortTimeout timeout;
    const SilentListener silent;
    Connecting connecting;
    EXPECT_EQ(connecting.run(silent.port()), -103);
    EXPECT_EQ(connectionPoints(trace), (std::vector<int>{3000, 3013, 3002, 3018, 3014, 3016, 3006, 3007}));
    EXPECT_EQ(trace.messages(3016).at(0),
              "stapi_zul_gwycon.waitForConnection socket " + std::to_string(connecting.socket) + " connect timed out");
    // The error number is still that of the connect which had to wait.
    EXPECT_EQ(trace.messages(3006).at(0), unableToConnect(stapi::platform::kErrorWouldBlock));
}

TEST(ConnectingFaults, ASuccessfulConnectWaitsForItsEnd) {
    const TraceCapture trace(4);
    ScriptedPeer peer(gatewayScript());
    Connecting connecting;
    EXPECT_EQ(connecting.run(peer.port()), 0);
    EXPECT_EQ(connectionPoints(trace), (std::vector<int>{3000, 3013, 3002, 3018, 3014, 3003, 3004, 3010, 3011, 3007}));
    EXPECT_EQ(trace.messages(3018).at(0), "stapi_zul_gwycon.connectToGateway() Waiting for connect to complete");
}

struct FaultCase {
    const char* name;
    SocketCall call;
    int n;
    int error;
    int32_t rc;
    std::vector<int> points;
    int point;            // the line that names the failure
    std::string message;  // with "$s" for the socket and "$e" for the error's text
};

std::ostream& operator<<(std::ostream& stream, const FaultCase& fault) {
    return stream << fault.name;
}

class ConnectingFault : public testing::TestWithParam<FaultCase> {};

std::string filledIn(std::string text, int32_t socket, int error) {
    for (const auto& [mark, replacement] : {std::pair<std::string, std::string>{"$s", std::to_string(socket)},
                                            std::pair<std::string, std::string>{"$e", socketErrorText(error)},
                                            std::pair<std::string, std::string>{"$n", std::to_string(error)}}) {
        for (size_t found = text.find(mark); found != std::string::npos; found = text.find(mark)) {
            text.replace(found, mark.size(), replacement);
        }
    }
    return text;
}

TEST_P(ConnectingFault, HasItsCodeAndItsLines) {
    const FaultCase& faultCase = GetParam();
    const TraceCapture trace(4);
    ScriptedPeer peer(forgivingGatewayScript());
    Connecting connecting;
    const SocketFault fault(faultCase.call, faultCase.n, faultCase.error);
    EXPECT_EQ(connecting.run(peer.port()), faultCase.rc);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(connectionPoints(trace), faultCase.points);
    EXPECT_EQ(trace.messages(faultCase.point).at(0), filledIn(faultCase.message, connecting.socket, faultCase.error));
    EXPECT_EQ(connecting.socket < 0, faultCase.call == SocketCall::socket);
    EXPECT_TRUE(peer.requests().empty());
}

const char* const kUnableToConnect = "stapi_zul_gwycon.connectToGateway() Unable to connect to Gateway: $e($n)";
const std::vector<int> kFailedAtOnce = {3000, 3013, 3002, 3006, 3007};

INSTANTIATE_TEST_SUITE_P(
    Calls, ConnectingFault,
    testing::Values(FaultCase{"no socket",
                              SocketCall::socket,
                              1,
                              kSocketErrors.noDescriptors,
                              -102,
                              {3000, 3013, 3001, 3007},
                              3001,
                              "stapi_zul_gwycon.connectToGateway() Unable to create a socket: $e($n)"},
                    FaultCase{"no keep-alive",
                              SocketCall::setsockopt,
                              1,
                              kSocketErrors.noBuffers,
                              -102,
                              {3000, 3013, 3002, 3007},
                              3002,
                              "stapi_zul_gwycon.connectToGateway() Set socket to KeepAlive or NoDelay failed: $s"},
                    FaultCase{"no no-delay",
                              SocketCall::setsockopt,
                              2,
                              kSocketErrors.noBuffers,
                              -102,
                              {3000, 3013, 3002, 3007},
                              3002,
                              "stapi_zul_gwycon.connectToGateway() Set socket to KeepAlive or NoDelay failed: $s"},
                    FaultCase{"not non-blocking",
                              SocketCall::setMode,
                              1,
                              kSocketErrors.notPermitted,
                              -102,
                              {3000, 3013, 3002, 3019, 3007},
                              3019,
                              "stapi_zul_gwycon.connectToGateway() Set Non-Blocking IOCTL failed with Rc=-1, errno=$n"},
                    FaultCase{"unreachable", SocketCall::connect, 1, kSocketErrors.unreachable, -105, kFailedAtOnce,
                              3006, kUnableToConnect},
                    FaultCase{"refused at once", SocketCall::connect, 1, kSocketErrors.refused, -104, kFailedAtOnce,
                              3006, kUnableToConnect},
                    FaultCase{"not allowed", SocketCall::connect, 1, kSocketErrors.notAllowed, -100, kFailedAtOnce,
                              3006, kUnableToConnect},
                    FaultCase{"wait fails",
                              SocketCall::wait,
                              1,
                              kSocketErrors.invalid,
                              -100,
                              {3000, 3013, 3002, 3018, 3014, 3017, 3006, 3007},
                              3017,
                              "stapi_zul_gwycon.waitForConnection select call failed with error $n"},
                    FaultCase{"not blocking again",
                              SocketCall::setMode,
                              2,
                              kSocketErrors.notPermitted,
                              -100,
                              {3000, 3013, 3002, 3018, 3014, 3003, 3020, 3006, 3007},
                              3020,
                              "stapi_zul_gwycon.connectToGateway() Set Blocking IOCTL failed with Rc=-1, errno=$n"},
                    FaultCase{"not blocking again with the number of a refusal",
                              SocketCall::setMode,
                              2,
                              kSocketErrors.refused,
                              -104,
                              {3000, 3013, 3002, 3018, 3014, 3003, 3020, 3006, 3007},
                              3006,
                              kUnableToConnect},
                    FaultCase{"not blocking again with the number of an unreachable net",
                              SocketCall::setMode,
                              2,
                              kSocketErrors.unreachable,
                              -105,
                              {3000, 3013, 3002, 3018, 3014, 3003, 3020, 3006, 3007},
                              3006,
                              kUnableToConnect}));

TEST(ConnectingFaults, OfSeveralAddressesOnlyTheFirstIsTried) {
    const peer_sockets::Listener closed = peer_sockets::refuseOnLoopback();
    ScriptedPeer peer(forgivingGatewayScript());
    const SecondAddress second(peer.port());
    Connecting connecting;
    EXPECT_EQ(connecting.run(closed.port), -104);
    EXPECT_TRUE(peer.requests().empty());
    peer_sockets::closeSocket(closed.socket);
}

TEST(ConnectingFaults, TheFirstOfSeveralAddressesIsConnectedTo) {
    const peer_sockets::Listener closed = peer_sockets::refuseOnLoopback();
    ScriptedPeer peer(gatewayScript());
    const SecondAddress second(closed.port);
    Connecting connecting;
    EXPECT_EQ(connecting.run(peer.port()), 0);
    peer_sockets::closeSocket(closed.socket);
}

TEST(ConnectingFaults, AHandshakeThatCannotBeSentIsMinus100) {
    const TraceCapture trace(1);
    ScriptedPeer peer(forgivingGatewayScript());
    Connecting connecting;
    const SocketFault fault(SocketCall::send, 1, kSocketErrors.cutOff);
    EXPECT_EQ(connecting.run(peer.port()), -100);
    EXPECT_EQ(trace.messages(3005).at(0), "stapi_zul_gwycon.connectToGateway() Handshake flows failed rc=-1 errno=" +
                                              socketErrorText(kSocketErrors.cutOff) + " gwyRc=0 authRc=0");
}

TEST(ConnectingFaults, AnAuthorisationThatCannotBeSentIsMinusOne) {
    ScriptedPeer peer(forgivingGatewayScript());
    Connecting connecting;
    const SocketFault fault(SocketCall::send, 2, kSocketErrors.cutOff);
    EXPECT_EQ(connecting.run(peer.port()), -1);
    EXPECT_TRUE(fault.hasStruck());
}

}  // namespace

}  // namespace wire_test
