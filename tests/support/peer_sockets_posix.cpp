#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

#include "peer_sockets.h"

namespace test_support::peer_sockets {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

sockaddr_in loopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int32_t newSocket(int kind) {
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | kind, 0);
    if (made < 0) {
        fail("cannot make a socket");
    }
    return made;
}

void sendAtOnce(int32_t socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool isReady(int32_t socket, short events, int milliseconds) {
    pollfd waiting{socket, events, 0};
    int ready = -1;
    do {
        ready = poll(&waiting, 1, milliseconds);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

}  // namespace

Listener refuseOnLoopback() {
    const int32_t made = newSocket(0);
    sockaddr_in address = loopbackAddress(0);
    socklen_t length = sizeof address;
    if (bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        getsockname(made, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        fail("cannot take a port");
    }
    return {made, ntohs(address.sin_port)};
}

Listener listenOnLoopback(int backlog) {
    const Listener listener = refuseOnLoopback();
    if (listen(listener.socket, backlog) != 0) {
        fail("cannot listen");
    }
    return listener;
}

int32_t acceptConnection(int32_t listener, int milliseconds) {
    if (!isReady(listener, POLLIN, milliseconds)) {
        throw std::runtime_error("nobody connects");
    }
    const int32_t accepted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted < 0) {
        fail("cannot accept");
    }
    sendAtOnce(accepted);
    return accepted;
}

int32_t connectToLoopback(int port) {
    const int32_t made = newSocket(0);
    const sockaddr_in address = loopbackAddress(port);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int kept = errno;
        close(made);
        errno = kept;
        fail("cannot connect");
    }
    sendAtOnce(made);
    return made;
}

int32_t beginConnectToLoopback(int port) {
    const int32_t made = newSocket(SOCK_NONBLOCK);
    const sockaddr_in address = loopbackAddress(port);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno != EINPROGRESS) {
        fail("cannot begin to connect");
    }
    return made;
}

bool hasConnectEnded(int32_t socket, int milliseconds) {
    return isReady(socket, POLLOUT, milliseconds);
}

bool isReadable(int32_t socket, int milliseconds) {
    return isReady(socket, POLLIN, milliseconds);
}

void sendAll(int32_t socket, const uint8_t* data, size_t size) {
    size_t sent = 0;
    while (sent < size) {
        const ssize_t count = send(socket, data + sent, size - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            fail("cannot send");
        }
    }
}

size_t receiveSome(int32_t socket, uint8_t* data, size_t size, int milliseconds) {
    if (!isReadable(socket, milliseconds)) {
        throw std::runtime_error("nothing comes");
    }
    const ssize_t count = recv(socket, data, size, 0);
    if (count < 0 && errno != ECONNRESET) {
        fail("cannot receive");
    }
    return count < 0 ? 0 : static_cast<size_t>(count);
}

size_t bytesWaiting(int32_t socket) {
    int count = 0;
    if (ioctl(socket, FIONREAD, &count) != 0) {
        fail("cannot ask for the bytes that wait");
    }
    return static_cast<size_t>(count);
}

void makeCloseReset(int32_t socket) {
    const linger now{1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

void shutDown(int32_t socket) {
    shutdown(socket, SHUT_RDWR);
}

void closeSocket(int32_t socket) {
    close(socket);
}

}  // namespace test_support::peer_sockets
