#include "transport.h"

#include <algorithm>
#include <array>

namespace gatewaysim {

using Outcome = native::Transfer::Outcome;

Connection::~Connection() {
    native::closeSocket(socket_);
}

void Connection::waitFor(native::Interest interest) const {
    if (native::wait(socket_, interest, stop_) == native::Waited::stopped) {
        throw Stopped{};
    }
}

size_t Connection::receiveSome(std::span<uint8_t> buffer) {
    while (true) {
        waitFor(native::Interest::receive);
        const native::Transfer transfer = native::receiveSome(socket_, buffer.data(), buffer.size());
        if (transfer.outcome == Outcome::failed) {
            throw ConnectionLost("receiving failed: " + transfer.failure);
        }
        if (transfer.outcome != Outcome::wouldBlock) {
            return transfer.count;
        }
    }
}

Bytes Connection::receive(size_t wanted) {
    Bytes received;
    std::array<uint8_t, 4096> piece{};
    while (received.size() < wanted) {
        const size_t missing = std::min(wanted - received.size(), piece.size());
        const size_t count = receiveSome({piece.data(), missing});
        if (count == 0) {
            break;
        }
        received.insert(received.end(), piece.begin(), piece.begin() + static_cast<ptrdiff_t>(count));
    }
    return received;
}

void Connection::send(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const native::Transfer transfer = native::sendSome(socket_, bytes.data(), bytes.size());
        if (transfer.outcome == Outcome::failed) {
            throw ConnectionLost("sending failed: " + transfer.failure);
        }
        if (transfer.outcome == Outcome::wouldBlock) {
            waitFor(native::Interest::send);
        }
        bytes = bytes.subspan(transfer.count);
    }
}

size_t Connection::receiveWhatIsThere() {
    std::array<uint8_t, 4096> piece{};
    size_t total = 0;
    while (true) {
        const native::Transfer transfer = native::receiveSome(socket_, piece.data(), piece.size());
        if (transfer.outcome != Outcome::moved) {
            return total;
        }
        total += transfer.count;
    }
}

void Connection::receiveToTheEnd() {
    std::array<uint8_t, 4096> piece{};
    while (receiveSome(piece) > 0) {
    }
}

void Connection::finish() {
    endSending();
    receiveToTheEnd();
}

void Connection::endSending() {
    native::finishSending(socket_);
}

native::Transfer Connection::sendNow(std::span<const uint8_t> bytes) {
    return native::sendSome(socket_, bytes.data(), bytes.size());
}

native::Transfer Connection::receiveNow(std::span<uint8_t> buffer) {
    return native::receiveSome(socket_, buffer.data(), buffer.size());
}

void Connection::resetOnClose() {
    native::resetOnClose(socket_);
}

void Connection::pause(std::chrono::milliseconds duration) const {
    if (native::wait(socket_, native::Interest::stopOnly, stop_, duration) == native::Waited::stopped) {
        throw Stopped{};
    }
}

}  // namespace gatewaysim
