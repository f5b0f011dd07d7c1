#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>

#include <stdexcept>

#include "closed_port.h"

namespace zulstat_test {

ClosedPort::ClosedPort() {
    WSADATA data{};
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        throw std::runtime_error("cannot start the sockets");
    }
    const SOCKET descriptor = socket(AF_INET, SOCK_STREAM, 0);
    socket_ = static_cast<intptr_t>(descriptor);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (descriptor == INVALID_SOCKET || bind(descriptor, generic, size) != 0 ||
        getsockname(descriptor, generic, &size) != 0) {
        throw std::runtime_error("cannot bind a port");
    }
    port_ = ntohs(address.sin_port);
}

ClosedPort::~ClosedPort() {
    closesocket(static_cast<SOCKET>(socket_));
    WSACleanup();
}

}  // namespace zulstat_test
