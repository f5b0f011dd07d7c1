// A gateway as a script of a peer: it answers what it is asked with the frames that it has been given.
#ifndef ZULSTATS_TESTS_SUPPORT_GATEWAY_PEER_H
#define ZULSTATS_TESTS_SUPPORT_GATEWAY_PEER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gateway_frames.h"
#include "scripted_peer.h"

namespace wire_test {

// Replies as whole frames. One that is missing makes the peer close the connection in its place.
struct GatewayReplies {
    GatewayReplies();
    std::optional<Bytes> handshake;
    std::optional<Bytes> authorisationInit;
    std::optional<Bytes> authorisationFinal;
    std::optional<Bytes> initialise;
    std::optional<Bytes> attribute;
    std::optional<Bytes> invocation;
    std::optional<Bytes> close;
};

// Bodies of replies, and replies, as a gateway sends them.
Bytes authorisationInitBody();
Bytes authorisationFinalBody();
Bytes initialiseBody(std::string_view handle = "HNDL");
Bytes versionPayload(std::string_view version);
Bytes callBody(uint32_t callType, const Bytes& payload);
Bytes versionReply(std::string_view version);
Bytes invocationReply(const Bytes& payload);

// Answers the five requests of an opening, and no more.
void serveOpening(test_support::PeerConnection& connection);
// Answers frame by frame until the other end closes, or a reply is missing.
void serveGateway(test_support::PeerConnection& connection, const GatewayReplies& replies);
test_support::ScriptedPeer::Script gatewayScript(const GatewayReplies& replies = {});
// The same for a gateway whose other end may go at any time.
test_support::ScriptedPeer::Script forgivingGatewayScript(const GatewayReplies& replies = {});

}  // namespace wire_test

#endif
