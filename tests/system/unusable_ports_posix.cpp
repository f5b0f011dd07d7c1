#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "unusable_ports.h"

namespace system_test {

ClosedPort::ClosedPort() {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    socket_ = descriptor;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (descriptor < 0 || ::bind(descriptor, generic, size) != 0 || ::getsockname(descriptor, generic, &size) != 0) {
        throw std::runtime_error("cannot bind a port");
    }
    port_ = ntohs(address.sin_port);
}

ClosedPort::~ClosedPort() {
    ::close(static_cast<int>(socket_));
}

}  // namespace system_test
