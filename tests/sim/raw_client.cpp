#include "raw_client.h"

#include <array>
#include <stdexcept>

namespace sim_test {

Bytes RawClient::receive(size_t size) {
    Bytes bytes(size);
    size_t done = 0;
    while (done < size) {
        size_t count = 0;
        if (receiveSome(bytes.data() + done, size - done, kAtMostMilliseconds, count) != Received::data) {
            bytes.resize(done);
            throw std::runtime_error("only " + std::to_string(done) + " of " + std::to_string(size) +
                                     " bytes came: " + shown(bytes));
        }
        done += count;
    }
    return bytes;
}

Bytes RawClient::receiveToTheEnd() {
    Bytes bytes;
    std::array<uint8_t, 4096> piece{};
    while (true) {
        size_t count = 0;
        const Received received = receiveSome(piece.data(), piece.size(), kAtMostMilliseconds, count);
        if (received == Received::end) {
            return bytes;
        }
        if (received != Received::data) {
            throw std::runtime_error("no end of the stream came after " + std::to_string(bytes.size()) + " bytes");
        }
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<ptrdiff_t>(count));
    }
}

bool RawClient::endsByReset() {
    uint8_t byte = 0;
    size_t count = 0;
    const Received received = receiveSome(&byte, 1, kAtMostMilliseconds, count);
    if (received != Received::end && received != Received::reset) {
        throw std::runtime_error(received == Received::data ? "data came" : "nothing came");
    }
    return received == Received::reset;
}

bool RawClient::hasNothingToRead() {
    uint8_t byte = 0;
    size_t count = 0;
    return receiveSome(&byte, 1, 0, count) == Received::nothing;
}

}  // namespace sim_test
