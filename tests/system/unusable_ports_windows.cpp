#include <winsock2.h>

#include <stdexcept>

#include "unusable_ports.h"

namespace system_test {

// The library has started Winsock for the process when it was loaded.
ClosedPort::ClosedPort() {
    const SOCKET descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    socket_ = static_cast<intptr_t>(descriptor);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (descriptor == INVALID_SOCKET || ::bind(descriptor, generic, size) != 0 ||
        ::getsockname(descriptor, generic, &size) != 0) {
        throw std::runtime_error("cannot bind a port");
    }
    port_ = ntohs(address.sin_port);
}

ClosedPort::~ClosedPort() {
    ::closesocket(static_cast<SOCKET>(socket_));
}

}  // namespace system_test
