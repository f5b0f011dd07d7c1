#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "raw_client.h"

namespace sim_test {

namespace {

[[noreturn]] void failWithErrno(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

int descriptor(intptr_t socket) {
    return static_cast<int>(socket);
}

}  // namespace

RawClient::RawClient(int port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(descriptor(socket_), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int kept = errno;
        close(descriptor(socket_));
        errno = kept;
        failWithErrno("cannot connect");
    }
    const timeval atMost{kAtMostMilliseconds / 1000, 0};
    setsockopt(descriptor(socket_), SOL_SOCKET, SO_SNDTIMEO, &atMost, sizeof atMost);
}

RawClient::~RawClient() {
    close(descriptor(socket_));
}

void RawClient::send(const Bytes& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(descriptor(socket_), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            failWithErrno("cannot send");
        }
        sent += static_cast<size_t>(count);
    }
}

RawClient::Received RawClient::receiveSome(uint8_t* buffer, size_t size, int milliseconds, size_t& count) {
    pollfd waiting{descriptor(socket_), POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) <= 0) {
        return Received::nothing;
    }
    const ssize_t received = recv(descriptor(socket_), buffer, size, 0);
    if (received > 0) {
        count = static_cast<size_t>(received);
        return Received::data;
    }
    if (received < 0 && errno != ECONNRESET) {
        failWithErrno("cannot receive");
    }
    return received == 0 ? Received::end : Received::reset;
}

bool RawClient::tellsResetFromEnd() {
    return true;
}

void RawClient::finishSending() {
    shutdown(descriptor(socket_), SHUT_WR);
}

}  // namespace sim_test
