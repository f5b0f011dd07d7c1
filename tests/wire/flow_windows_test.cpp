// What a reset looks like to the library on Windows, and under Wine.
#include <cstdint>

#include <winsock2.h>
// clang-format off
#include <windows.h>
// clang-format on
#include <gtest/gtest.h>

#include "exchange.h"
#include "gateway_peer.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::PeerConnection;

bool runsUnderWine() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

// Wine tells of a reset only to a receive that waits already; to a later one it is the end of the stream.
TEST(FlowWindows, AResetInMidBodyIsMinus122OrUnderWineTheEndOfTheStream) {
    const Bytes received = hex("01 02 03");
    ConnectedPeer peer([&received](PeerConnection& connection) {
        connection.expect(someRequest().size());
        connection.sendPieces({replyHeader("BASE", 0, 10) + received});
        connection.reset();
    });
    Exchange exchange;
    const int32_t rc = exchange.run(peer.socket());
    if (rc == 0 && runsUnderWine()) {
        EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{0, 0, 0, 0}));
        EXPECT_EQ(bytesAt(exchange.data, 10), received + Bytes(7, 0));
    } else {
        EXPECT_EQ(rc, -122);
        EXPECT_EQ(fieldsOf(exchange.reasons), (Reasons{WSAECONNRESET, 0, 0, 0}));
    }
}

}  // namespace

}  // namespace wire_test
