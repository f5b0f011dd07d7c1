#include "memory_sim_system.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "system.h"

namespace fuzz_test {

namespace {

constexpr std::array<uint8_t, 4> kEyecatcher{0x47, 0x61, 0x74, 0x65};

struct Client {
    std::span<const uint8_t> unsent;
    std::span<const uint8_t> there;
    size_t pieceSize;
};

Client client = {};

size_t nextPiece() {
    size_t size = client.pieceSize;
    if (size == 0 && !client.unsent.empty()) {
        const auto next =
            std::search(client.unsent.begin() + 1, client.unsent.end(), kEyecatcher.begin(), kEyecatcher.end());
        size = static_cast<size_t>(next - client.unsent.begin());
    }
    return std::min(size, client.unsent.size());
}

void sendNextPiece() {
    if (client.there.empty()) {
        const size_t size = nextPiece();
        client.there = client.unsent.first(size);
        client.unsent = client.unsent.subspan(size);
    }
}

gatewaysim::native::Transfer take(uint8_t* buffer, size_t size) {
    using Outcome = gatewaysim::native::Transfer::Outcome;
    const size_t count = std::min(size, client.there.size());
    if (count > 0) {
        std::memcpy(buffer, client.there.data(), count);
        client.there = client.there.subspan(count);
        return {Outcome::moved, count, {}};
    }
    return {client.unsent.empty() ? Outcome::ended : Outcome::wouldBlock, 0, {}};
}

}  // namespace

void serveClientStream(std::span<const uint8_t> stream, size_t pieceSize) {
    client = {stream, {}, pieceSize};
}

}  // namespace fuzz_test

namespace gatewaysim {

StopSignal::StopSignal() = default;

StopSignal::~StopSignal() = default;

namespace native {

Waited wait(NativeSocket, Interest, const StopSignal&, std::optional<std::chrono::milliseconds>) {
    fuzz_test::sendNextPiece();
    return Waited::ready;
}

Transfer receiveSome(NativeSocket, uint8_t* buffer, size_t size) {
    return fuzz_test::take(buffer, size);
}

Transfer sendSome(NativeSocket, const uint8_t*, size_t size) {
    return {Transfer::Outcome::moved, size, {}};
}

void finishSending(NativeSocket) noexcept {}

void resetOnClose(NativeSocket) noexcept {}

void closeSocket(NativeSocket) noexcept {}

}  // namespace native

}  // namespace gatewaysim
