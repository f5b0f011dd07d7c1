#include "probe_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace zulstat {
namespace {

ProbeFault faultOf(const int error) {
    return {std::generic_category().message(error), error == ECONNREFUSED, error == ETIMEDOUT};
}

ProbeFault timeOut() {
    return {"no answer in time", false, true};
}

// Whether the socket is ready before the deadline.
bool awaitReady(const int socket, const short events, const ProbeSocket::Deadline deadline) {
    while (true) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        pollfd wait{socket, events, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(std::clamp<int64_t>(left, 0, 86400000)));
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return ready > 0;
        }
        if (ready == 0) {
            return false;
        }
    }
}

}  // namespace

// The lowest free descriptor tells how many are taken, since programs are handed few, and those from the lowest on.
size_t roomForDescriptors() {
    rlimit limit{};
    const int tried = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || tried < 0) {
        return 0;
    }
    const auto taken = static_cast<rlim_t>(tried);
    ::close(tried);
    return limit.rlim_cur > taken ? limit.rlim_cur - taken : 0;
}

std::optional<std::string> whyNoConnection() {
    const int tried = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (tried >= 0) {
        ::close(tried);
        return std::nullopt;
    }
    const bool isLack = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
    return isLack ? std::optional(std::generic_category().message(errno)) : std::nullopt;
}

struct ProbeSocket::Handle {
    int socket = -1;
};

ProbeSocket::ProbeSocket() : handle_(std::make_unique<Handle>()) {}

ProbeSocket::~ProbeSocket() {
    if (handle_->socket >= 0) {
        ::close(handle_->socket);
    }
}

std::variant<std::vector<ProbeAddress>, ProbeFault> resolveForProbe(const std::string& host, const int32_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (const int error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list); error != 0) {
        return ProbeFault{::gai_strerror(error), false, false};
    }
    std::vector<ProbeAddress> addresses;
    for (const addrinfo* each = list; each != nullptr; each = each->ai_next) {
        ProbeAddress address;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(each->ai_addr);
        address.bytes.assign(bytes, bytes + each->ai_addrlen);
        address.family = each->ai_family;
        std::array<char, NI_MAXHOST> text{};
        ::getnameinfo(each->ai_addr, each->ai_addrlen, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST);
        address.text = text.data();
        addresses.push_back(std::move(address));
    }
    ::freeaddrinfo(list);
    return addresses;
}

std::optional<ProbeFault> ProbeSocket::connect(const ProbeAddress& address, const Deadline deadline) {
    handle_->socket = ::socket(address.family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (handle_->socket < 0) {
        return faultOf(errno);
    }
    const auto* const bytes = reinterpret_cast<const sockaddr*>(address.bytes.data());
    if (::connect(handle_->socket, bytes, static_cast<socklen_t>(address.bytes.size())) == 0) {
        return std::nullopt;
    }
    if (errno != EINPROGRESS) {
        return faultOf(errno);
    }
    if (!awaitReady(handle_->socket, POLLOUT, deadline)) {
        return timeOut();
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(handle_->socket, SOL_SOCKET, SO_ERROR, &error, &size);
    return error == 0 ? std::nullopt : std::optional(faultOf(error));
}

std::optional<ProbeFault> ProbeSocket::send(std::string_view bytes, const Deadline deadline) {
    while (!bytes.empty()) {
        if (!awaitReady(handle_->socket, POLLOUT, deadline)) {
            return timeOut();
        }
        const ssize_t count = ::send(handle_->socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return faultOf(errno);
        }
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return std::nullopt;
}

std::variant<std::string, ProbeFault> ProbeSocket::receive(const size_t most, const Deadline deadline) {
    if (!awaitReady(handle_->socket, POLLIN, deadline)) {
        return timeOut();
    }
    std::string bytes(most, '\0');
    const ssize_t count = ::recv(handle_->socket, bytes.data(), bytes.size(), 0);
    if (count < 0) {
        return faultOf(errno);
    }
    bytes.resize(static_cast<size_t>(count));
    return bytes;
}

}  // namespace zulstat
