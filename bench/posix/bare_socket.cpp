#include "bare_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace bench {

namespace {

int descriptorOf(intptr_t socket) {
    return static_cast<int>(socket);
}

void setOption(int descriptor, int level, int option) {
    const int on = 1;
    if (setsockopt(descriptor, level, option, &on, sizeof on) < 0) {
        failBenchmark("setsockopt", errno);
    }
}

}  // namespace

BareSocket::BareSocket(int32_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (socket_ < 0) {
        failBenchmark("socket", errno);
    }
    setOption(descriptorOf(socket_), SOL_SOCKET, SO_KEEPALIVE);
    setOption(descriptorOf(socket_), IPPROTO_TCP, TCP_NODELAY);
    if (connect(descriptorOf(socket_), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        failBenchmark("connecting to the replay server", errno);
    }
}

BareSocket::~BareSocket() {
    close(descriptorOf(socket_));
}

void BareSocket::sendAll(const uint8_t* bytes, size_t size) {
    if (send(descriptorOf(socket_), bytes, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) {
        failBenchmark("send", errno);
    }
}

void BareSocket::waitReadable() {
    pollfd descriptor = {descriptorOf(socket_), POLLIN, 0};
    if (poll(&descriptor, 1, -1) != 1) {
        failBenchmark("poll", errno);
    }
}

void BareSocket::receiveExactly(uint8_t* bytes, size_t size) {
    size_t total = 0;
    while (total < size) {
        const ssize_t count = recv(descriptorOf(socket_), bytes + total, size - total, 0);
        if (count <= 0) {
            failBenchmark("recv", errno);
        }
        total += static_cast<size_t>(count);
    }
}

}  // namespace bench
