#include "gateway_peer.h"

#include <cstddef>
#include <stdexcept>

namespace wire_test {

namespace {

constexpr size_t kKindOffset = 8;
constexpr size_t kNameLengthOffset = 20;
constexpr size_t kNameOffset = 24;

uint32_t wordAt(const Bytes& bytes, size_t offset) {
    uint32_t word = 0;
    for (size_t index = offset; index < offset + 4; ++index) {
        word = word << 8 | bytes.at(index);
    }
    return word;
}

const std::optional<Bytes>& answerTo(const Bytes& request, const GatewayReplies& replies) {
    const uint32_t nameLength = wordAt(request, kNameLengthOffset);
    const std::string name(request.begin() + kNameOffset, request.begin() + kNameOffset + nameLength);
    const size_t bodyOffset = kNameOffset + nameLength + 5;
    if (name == "BASE") {
        return wordAt(request, kKindOffset) == 5 ? replies.handshake : replies.close;
    }
    const uint32_t firstWord = wordAt(request, bodyOffset);
    if (name == "Auth") {
        return firstWord == 0 ? replies.authorisationInit : replies.authorisationFinal;
    }
    if (name != "Admin") {
        throw std::runtime_error("no such server program: " + name);
    }
    if (firstWord == 0) {
        return replies.initialise;
    }
    return firstWord == 1 ? replies.attribute : replies.invocation;
}

}  // namespace

Bytes authorisationInitBody() {
    return BytesWriter().u32(0).u32(0).raw("CREDENTL").raw("QUAL").bytes();
}

Bytes authorisationFinalBody() {
    return BytesWriter().u32(1).u32(0).raw("RESULT!!").bytes();
}

Bytes initialiseBody(std::string_view handle) {
    return BytesWriter().u32(0).u32(0).raw(handle).bytes();
}

Bytes versionPayload(std::string_view version) {
    return BytesWriter().raw(hex("AC ED 00 05 74 EE")).text(version).bytes();
}

Bytes callBody(uint32_t callType, const Bytes& payload) {
    return BytesWriter().u32(callType).u32(0).u8(0).raw(payload).bytes();
}

Bytes versionReply(std::string_view version) {
    return reply("Admin", callBody(1, versionPayload(version)));
}

Bytes invocationReply(const Bytes& payload) {
    return reply("Admin", callBody(5, payload));
}

GatewayReplies::GatewayReplies()
    : handshake(reply("BASE", {})),
      authorisationInit(reply("Auth", authorisationInitBody())),
      authorisationFinal(reply("Auth", authorisationFinalBody())),
      initialise(reply("Admin", initialiseBody())),
      attribute(versionReply("1.1")),
      close(reply("BASE", {})) {}

void serveOpening(test_support::PeerConnection& connection) {
    const GatewayReplies replies;
    for (const std::optional<Bytes>& answer : {replies.handshake, replies.authorisationInit, replies.authorisationFinal,
                                               replies.initialise, replies.attribute}) {
        connection.expectFrame();
        connection.send(*answer);
    }
}

void serveGateway(test_support::PeerConnection& connection, const GatewayReplies& replies) {
    Bytes request = connection.expectFrame();
    while (!request.empty()) {
        const std::optional<Bytes>& answer = answerTo(request, replies);
        if (!answer) {
            return;
        }
        connection.send(*answer);
        request = connection.expectFrame();
    }
}

test_support::ScriptedPeer::Script gatewayScript(const GatewayReplies& replies) {
    return [replies](test_support::PeerConnection& connection) { serveGateway(connection, replies); };
}

test_support::ScriptedPeer::Script forgivingGatewayScript(const GatewayReplies& replies) {
    return [replies](test_support::PeerConnection& connection) {
        try {
            serveGateway(connection, replies);
        } catch (const std::runtime_error&) {
            // The other end has gone.
        }
    };
}

}  // namespace wire_test
