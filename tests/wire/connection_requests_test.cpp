// The bytes of the requests that frame the life of a connection.
#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdint>
#include <string>
#include <thread>

#include "comms/stapi_zul_socketcomms.h"
#include "gateway/stapi_zul_gwycon.h"
#include "gateway_peer.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;

const char* const kHandshake =
    "47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012 "
    "0002 656E 0002 4742 00000000000000000000";
const char* const kAuthorisationInit =
    "47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000004 00000000";
const char* const kAuthorisationFinal =
    "47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014 "
    "00000001 A1A2A3A4A5A6A7A8 B1B2B3B4 00000000";
const char* const kClose = "47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000";

// A reply to the first step whose opaque bytes are all different.
Bytes initReply() {
    return reply("Auth", hex("00000000 00000000 A1A2A3A4A5A6A7A8 B1B2B3B4"));
}

TEST(ConnectionRequests, TheHandshakeHas51Bytes) {
    ConnectedPeer peer(gatewayScript());
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowHandshakeRequest(peer.socket(), &reasons), 0);
    ASSERT_EQ(peer.requests().size(), 1U);
    EXPECT_EQ(peer.requests()[0], hex(kHandshake));
    EXPECT_EQ(peer.requests()[0].size(), 51U);
}

TEST(ConnectionRequests, TheHandshakeIsTheSameWhateverTheLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* const locale : {"C", "C.UTF-8", "de_DE.UTF-8", "German", ""}) {
        std::setlocale(LC_ALL, locale);  // one that the system lacks leaves the one before
        ConnectedPeer peer(gatewayScript());
        stapi::ReasonsBlock reasons = {};
        EXPECT_EQ(stapi::flowHandshakeRequest(peer.socket(), &reasons), 0);
        EXPECT_EQ(peer.requests(), std::vector<Bytes>{hex(kHandshake)}) << locale;
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(ConnectionRequests, TheCloseRequestHas33BytesWithItsQualifierAtOffset16) {
    ConnectedPeer peer(gatewayScript());
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::flowCloseRequest(peer.socket(), &reasons), 0);
    ASSERT_EQ(peer.requests().size(), 1U);
    EXPECT_EQ(peer.requests()[0], hex(kClose));
    EXPECT_EQ(peer.requests()[0].size(), 33U);
}

TEST(ConnectionRequests, TheAuthorisationStepsHave37And53BytesAndSendTheOpaqueBytesBackUnchanged) {
    GatewayReplies replies;
    replies.authorisationInit = initReply();
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::authorizeConnection(peer.socket(), &reasons), 0);
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_EQ(peer.requests()[0], hex(kAuthorisationInit));
    EXPECT_EQ(peer.requests()[0].size(), 37U);
    EXPECT_EQ(peer.requests()[1], hex(kAuthorisationFinal));
    EXPECT_EQ(peer.requests()[1].size(), 53U);
}

TEST(ConnectionRequests, TheSecondAuthorisationHeaderCarriesNothingOfTheReplyToTheFirst) {
    GatewayReplies replies;
    replies.authorisationInit =
        hex("47617465 0BADBEEF 0BADBEEF 0BADBEEF 00000000 00000002 4142 EE 00000014 EEEE "
            "00000000 00000000 A1A2A3A4A5A6A7A8 B1B2B3B4");
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::authorizeConnection(peer.socket(), &reasons), 0);
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_EQ(peer.requests()[1], hex(kAuthorisationFinal));
}

TEST(ConnectionRequests, AnInitReplyWithAnotherStepLeavesZerosToSendInTheSecondStep) {
    GatewayReplies replies;
    replies.authorisationInit = reply("Auth", hex("00000001 00000000 A1A2A3A4A5A6A7A8"));
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::authorizeConnection(peer.socket(), &reasons), 0);
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_EQ(peer.requests()[1], hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014 "
                                      "00000001 0000000000000000 00000000 00000000"));
}

TEST(ConnectionRequests, NoSecondStepFollowsARefusedFirstOne) {
    GatewayReplies replies;
    replies.authorisationInit = reply("Auth", hex("00000000 00000007 A1A2A3A4A5A6A7A8 B1B2B3B4"));
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::authorizeConnection(peer.socket(), &reasons), -2);
    EXPECT_EQ(peer.requests().size(), 1U);
}

TEST(ConnectionRequests, TheResultOfTheSecondStepIsTheResultOfTheAuthorisation) {
    GatewayReplies replies;
    replies.authorisationFinal = reply("Auth", authorisationFinalBody(), 77);
    ConnectedPeer peer(gatewayScript(replies));
    stapi::ReasonsBlock reasons = {};
    EXPECT_EQ(stapi::authorizeConnection(peer.socket(), &reasons), 77);
    EXPECT_EQ(reasons.gwyRc, 77);
}

TEST(ConnectionRequests, ClosingAConnectionSendsTheCloseRequestAndClosesTheSocket) {
    ConnectedPeer peer(gatewayScript());
    const int32_t socket = peer.takeSocket();
    EXPECT_EQ(stapi::closeConnection(&socket), 0);
    EXPECT_EQ(peer.finish(), "");
    ASSERT_EQ(peer.requests().size(), 1U);
    EXPECT_EQ(peer.requests()[0], hex(kClose));
}

TEST(ConnectionRequests, ARefusedCloseRequestDoesNotKeepTheSocketOpen) {
    GatewayReplies replies;
    replies.close = reply("BASE", {}, 5);
    ConnectedPeer peer(gatewayScript(replies));
    const int32_t socket = peer.takeSocket();
    EXPECT_EQ(stapi::closeConnection(&socket), 0);
    EXPECT_EQ(peer.finish(), "");
}

TEST(ConnectionRequests, ACloseRequestWaitsForItsReply) {
    ConnectedPeer peer([](test_support::PeerConnection& connection) {
        connection.expect(33);
        connection.announce();
        connection.stall();
        connection.send(reply("BASE", {}));
        connection.expectEnd();
    });
    const int32_t socket = peer.takeSocket();
    int32_t rc = -1;
    std::atomic<bool> closed = false;
    std::thread closer([&] {
        rc = stapi::closeConnection(&socket);
        closed = true;
    });
    peer.peer().awaitAnnouncement();
    EXPECT_FALSE(closed);
    peer.peer().release();
    closer.join();
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(peer.finish(), "");
}

}  // namespace

}  // namespace wire_test
