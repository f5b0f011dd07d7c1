#include "relay_posix.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace system_test {

namespace {

constexpr int kLongestWait = 10000;

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

int newSocket() {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(descriptor >= 0, "cannot create a socket");
    return descriptor;
}

// What stands in `from` goes to `to`; false at the end of the stream.
bool pass(int from, int to) {
    std::array<char, 65536> bytes{};
    const ssize_t count = ::recv(from, bytes.data(), bytes.size(), 0);
    ssize_t sent = 0;
    while (sent < count) {
        const ssize_t piece = ::send(to, bytes.data() + sent, static_cast<size_t>(count - sent), MSG_NOSIGNAL);
        if (piece <= 0) {
            return false;
        }
        sent += piece;
    }
    return count > 0;
}

}  // namespace

Relay::Relay(int daemonPort) {
    std::array<int, 2> ends{};
    require(::pipe2(ends.data(), O_CLOEXEC) == 0, "cannot create a pipe");
    wakeRead_ = ends[0];
    wakeWrite_ = ends[1];
    listener_ = newSocket();
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    require(::bind(listener_, generic, size) == 0 && ::listen(listener_, 1) == 0 &&
                ::getsockname(listener_, generic, &size) == 0,
            "cannot listen");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread(&Relay::carry, this, daemonPort);
}

Relay::~Relay() {
    stopCarrying();
    ::close(client_);
    ::close(listener_);
    ::close(wakeRead_);
    ::close(wakeWrite_);
}

void Relay::carry(int daemonPort) {
    std::array<pollfd, 2> waiting{pollfd{wakeRead_, POLLIN, 0}, pollfd{listener_, POLLIN, 0}};
    ::poll(waiting.data(), waiting.size(), -1);
    if (waiting[0].revents != 0) {
        return;
    }
    client_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const int daemon = newSocket();
    const sockaddr_in address = loopback(daemonPort);
    bool open = ::connect(daemon, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    while (open) {
        std::array<pollfd, 3> ends{pollfd{wakeRead_, POLLIN, 0}, pollfd{client_, POLLIN, 0}, pollfd{daemon, POLLIN, 0}};
        ::poll(ends.data(), ends.size(), -1);
        open = ends[0].revents == 0;
        if (open && ends[1].revents != 0) {
            open = pass(client_, daemon);
        }
        if (open && ends[2].revents != 0) {
            open = pass(daemon, client_);
        }
    }
    ::close(daemon);
}

void Relay::stopCarrying() {
    if (thread_.joinable()) {
        require(::write(wakeWrite_, "x", 1) == 1, "cannot wake the relay");
        thread_.join();
    }
}

void Relay::reset() {
    stopCarrying();
    const linger atOnce{1, 0};
    require(::setsockopt(client_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce) == 0, "cannot make a reset");
    const int other = descriptorConnectedTo(port_);
    require(other >= 0, "the library's end of the connection was not found");
    ::close(client_.exchange(-1));
    pollfd waiting{other, 0, 0};
    require(::poll(&waiting, 1, kLongestWait) == 1, "the reset did not arrive");
}

void Relay::finish() {
    stopCarrying();
    const int other = descriptorConnectedTo(port_);
    require(other >= 0, "the library's end of the connection was not found");
    ::close(client_.exchange(-1));
    pollfd waiting{other, POLLIN, 0};
    require(::poll(&waiting, 1, kLongestWait) == 1, "the end did not arrive");
}

int descriptorConnectedTo(int port) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    for (int descriptor = 0; descriptor < static_cast<int>(limit.rlim_cur); ++descriptor) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.sin_family == AF_INET && ntohs(address.sin_port) == port) {
            return descriptor;
        }
    }
    return -1;
}

}  // namespace system_test
