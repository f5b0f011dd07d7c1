#include "system.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace gatewaysim {

namespace {

constexpr int kBacklog = 4096;

StopSignal* stopOfTheProcess = nullptr;

int descriptor(NativeSocket socket) {
    return static_cast<int>(socket);
}

std::string errorText(int number) {
    return std::generic_category().message(number);
}

void onTerminationSignal(int) {
    const int keptErrno = errno;
    stopOfTheProcess->raise();
    errno = keptErrno;
}

void makeNonBlocking(int socket) {
    const int flags = fcntl(socket, F_GETFL);
    fcntl(socket, F_SETFL, flags | O_NONBLOCK);
}

void setOption(int socket, int level, int name) {
    const int on = 1;
    setsockopt(socket, level, name, &on, sizeof on);
}

bool isLackOfResources(int number) {
    return number == EMFILE || number == ENFILE || number == ENOBUFS || number == ENOMEM;
}

void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

uint16_t portOf(int socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    if (address.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
    }
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

}  // namespace

StopSignal::StopSignal() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::runtime_error("cannot create a pipe: " + errorText(errno));
    }
    readEnd_ = ends[0];
    writeEnd_ = ends[1];
}

StopSignal::~StopSignal() {
    close(descriptor(readEnd_));
    close(descriptor(writeEnd_));
}

void StopSignal::raise() noexcept {
    raised_.store(true);
    // Never read again, so that every waiter sees it. A full pipe is as good.
    [[maybe_unused]] const ssize_t ignored = write(descriptor(writeEnd_), "", 1);
}

namespace native {

Waited wait(NativeSocket socket, Interest interest, const StopSignal& stop,
            std::optional<std::chrono::milliseconds> atMost) {
    using SteadyClock = std::chrono::steady_clock;
    const auto end = SteadyClock::now() + atMost.value_or(std::chrono::milliseconds(0));
    std::array<pollfd, 2> waiting{{{descriptor(stop.waitHandle()), POLLIN, 0}, {descriptor(socket), POLLIN, 0}}};
    if (interest == Interest::send) {
        waiting[1].events = POLLOUT;
    }
    const nfds_t count = interest == Interest::stopOnly ? 1 : 2;
    while (true) {
        int milliseconds = -1;
        if (atMost.has_value()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - SteadyClock::now()).count();
            milliseconds = left <= 0 ? 0 : static_cast<int>(std::min<int64_t>(left, 1'000'000));
        }
        const int ready = poll(waiting.data(), count, milliseconds);
        if (stop.isRaised() || (ready > 0 && waiting[0].revents != 0)) {
            return Waited::stopped;
        }
        if (ready > 0) {
            return Waited::ready;
        }
        if (atMost.has_value() && SteadyClock::now() >= end) {
            return Waited::timedOut;
        }
    }
}

namespace {

// A negative descriptor is passed over by poll, which would report errors even of one that nothing is wanted of.
pollfd polled(const SocketWait& one) {
    const auto events = static_cast<short>((one.wanted.receive ? POLLIN : 0) | (one.wanted.send ? POLLOUT : 0));
    return {events != 0 ? descriptor(one.socket) : -1, events, 0};
}

// An error is met by whatever is done next.
Interests readyOf(const SocketWait& one, const pollfd& polled) {
    const bool isBroken = (polled.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
    return {one.wanted.receive && (isBroken || (polled.revents & POLLIN) != 0),
            one.wanted.send && (isBroken || (polled.revents & POLLOUT) != 0)};
}

}  // namespace

Waited waitForEither(SocketWait& first, SocketWait& second, const StopSignal& stop) {
    std::array<pollfd, 3> waiting{{{descriptor(stop.waitHandle()), POLLIN, 0}, polled(first), polled(second)}};
    while (poll(waiting.data(), waiting.size(), -1) < 0) {
        // Interrupted by a signal: what is to be done about it, the stop signal tells.
    }
    first.ready = readyOf(first, waiting[1]);
    second.ready = readyOf(second, waiting[2]);
    return stop.isRaised() || waiting[0].revents != 0 ? Waited::stopped : Waited::ready;
}

namespace {

Transfer transferOf(ssize_t moved) {
    if (moved > 0) {
        return {Transfer::Outcome::moved, static_cast<size_t>(moved), {}};
    }
    if (moved == 0) {
        return {Transfer::Outcome::ended, 0, {}};
    }
    if (errno == EAGAIN || errno == EINTR) {
        return {Transfer::Outcome::wouldBlock, 0, {}};
    }
    return {Transfer::Outcome::failed, 0, errorText(errno)};
}

}  // namespace

Transfer receiveSome(NativeSocket socket, uint8_t* buffer, size_t size) {
    return transferOf(recv(descriptor(socket), buffer, size, 0));
}

Transfer sendSome(NativeSocket socket, const uint8_t* bytes, size_t size) {
    return transferOf(send(descriptor(socket), bytes, size, MSG_NOSIGNAL));
}

void finishSending(NativeSocket socket) noexcept {
    shutdown(descriptor(socket), SHUT_WR);
}

void resetOnClose(NativeSocket socket) noexcept {
    const linger immediately{1, 0};
    setsockopt(descriptor(socket), SOL_SOCKET, SO_LINGER, &immediately, sizeof immediately);
}

void closeSocket(NativeSocket socket) noexcept {
    close(descriptor(socket));
}

Listening listenOn(const std::string& host, uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    addrinfo* found = nullptr;
    const int resolved = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (resolved != 0) {
        throw std::runtime_error(gai_strerror(resolved));
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> address(found, &freeaddrinfo);
    const int listener = socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol);
    if (listener < 0) {
        throw std::runtime_error(errorText(errno));
    }
    // On these systems this allows a port whose old connections linger, never one that somebody listens on.
    setOption(listener, SOL_SOCKET, SO_REUSEADDR);
    makeNonBlocking(listener);
    if (bind(listener, address->ai_addr, address->ai_addrlen) != 0 || listen(listener, kBacklog) != 0) {
        const std::string failure = errorText(errno);
        close(listener);
        throw std::runtime_error(failure);
    }
    return {listener, portOf(listener)};
}

Accepted acceptOne(NativeSocket listener) {
    const int accepted = accept4(descriptor(listener), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (accepted >= 0) {
        setOption(accepted, IPPROTO_TCP, TCP_NODELAY);
        return {Accepted::Outcome::connected, accepted, {}};
    }
    if (isLackOfResources(errno)) {
        return {Accepted::Outcome::outOfResources, -1, errorText(errno)};
    }
    return {Accepted::Outcome::nobody, -1, {}};
}

namespace {

// Returns 0, or the error's number.
int connectOne(int socket, const addrinfo& address, std::chrono::milliseconds atMost, const StopSignal& stop) {
    if (connect(socket, address.ai_addr, address.ai_addrlen) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS) {
        return errno;
    }
    if (wait(socket, Interest::send, stop, atMost) != Waited::ready) {
        return ETIMEDOUT;
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

}  // namespace

Connected connectTo(const std::string& host, uint16_t port, std::chrono::milliseconds atMostEach,
                    const StopSignal& stop) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int resolved = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (resolved != 0) {
        return {kNoSocket, gai_strerror(resolved), false};
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
    int error = 0;
    bool isOwnLack = false;
    for (const addrinfo* address = found; address != nullptr && !stop.isRaised(); address = address->ai_next) {
        const int connected =
            socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address->ai_protocol);
        error = connected < 0 ? errno : connectOne(connected, *address, atMostEach, stop);
        isOwnLack = connected < 0 && isLackOfResources(error);
        if (error == 0) {
            setOption(connected, IPPROTO_TCP, TCP_NODELAY);
            return {connected, {}, false};
        }
        if (connected >= 0) {
            close(connected);
        }
    }
    return {kNoSocket, errorText(error), isOwnLack};
}

std::FILE* createFile(const std::string& path) {
    const int created = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (created < 0) {
        throw std::runtime_error(errorText(errno));
    }
    std::FILE* const file = fdopen(created, "wb");
    if (file == nullptr) {
        const std::string failure = errorText(errno);
        close(created);
        throw std::runtime_error(failure);
    }
    return file;
}

}  // namespace native

void prepareProcess() {
    std::signal(SIGPIPE, SIG_IGN);
    // A file that may not grow any further is to be an error of the call that writes it.
    std::signal(SIGXFSZ, SIG_IGN);
    raiseDescriptorLimit();
}

void raiseOnTerminationRequest(StopSignal& stop) {
    stopOfTheProcess = &stop;
    struct sigaction action {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

void raiseAtEndOfStandardInput(StopSignal& stop) {
    std::array<char, 256> ignored{};
    while (native::wait(STDIN_FILENO, native::Interest::receive, stop) == native::Waited::ready) {
        const ssize_t count = read(STDIN_FILENO, ignored.data(), ignored.size());
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) {
            stop.raise();
        }
    }
}

}  // namespace gatewaysim
