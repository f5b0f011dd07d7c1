#include "system.h"

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
// clang-format on
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace gatewaysim {

namespace {

StopSignal* stopOfTheProcess = nullptr;

SOCKET handleOf(NativeSocket socket) {
    return static_cast<SOCKET>(socket);
}

NativeSocket nativeOf(SOCKET socket) {
    return static_cast<NativeSocket>(socket);
}

std::string errorText(int number) {
    return std::system_category().message(number);
}

int boundedCount(size_t size) {
    return static_cast<int>(std::min<size_t>(size, 1U << 30));
}

void setOption(SOCKET socket, int level, int name) {
    const int on = 1;
    setsockopt(socket, level, name, reinterpret_cast<const char*>(&on), sizeof on);
}

void makeNonBlocking(SOCKET socket) {
    u_long on = 1;
    ioctlsocket(socket, FIONBIO, &on);
}

BOOL WINAPI onConsoleControl(DWORD event) {
    stopOfTheProcess->raise();
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The system ends the process as soon as this handler returns from these events: leave main the time to end it.
        Sleep(5000);
    }
    return TRUE;
}

uint16_t portOf(SOCKET socket) {
    sockaddr_storage address{};
    int size = sizeof address;
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    if (address.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
    }
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

}  // namespace

// A datagram socket that sends to itself: the only thing besides a connection that a wait for sockets accepts.
StopSignal::StopSignal() {
    const SOCKET both = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (both == INVALID_SOCKET || bind(both, generic, size) != 0 || getsockname(both, generic, &size) != 0 ||
        connect(both, generic, size) != 0) {
        throw std::runtime_error("cannot create a socket: " + errorText(WSAGetLastError()));
    }
    readEnd_ = nativeOf(both);
    writeEnd_ = readEnd_;
}

StopSignal::~StopSignal() {
    closesocket(handleOf(readEnd_));
}

void StopSignal::raise() noexcept {
    raised_.store(true);
    // Never received, so that every waiter sees it.
    send(handleOf(writeEnd_), "", 1, 0);
}

namespace native {

Waited wait(NativeSocket socket, Interest interest, const StopSignal& stop,
            std::optional<std::chrono::milliseconds> atMost) {
    using SteadyClock = std::chrono::steady_clock;
    const auto end = SteadyClock::now() + atMost.value_or(std::chrono::milliseconds(0));
    while (true) {
        fd_set readable;
        fd_set writable;
        FD_ZERO(&readable);
        FD_ZERO(&writable);
        FD_SET(handleOf(stop.waitHandle()), &readable);
        if (interest == Interest::receive) {
            FD_SET(handleOf(socket), &readable);
        } else if (interest == Interest::send) {
            FD_SET(handleOf(socket), &writable);
        }
        timeval left{};
        if (atMost.has_value()) {
            const auto microseconds = std::chrono::ceil<std::chrono::microseconds>(end - SteadyClock::now()).count();
            left.tv_sec = static_cast<long>(std::max<int64_t>(microseconds, 0) / 1'000'000);
            left.tv_usec = static_cast<long>(std::max<int64_t>(microseconds, 0) % 1'000'000);
        }
        const int ready = select(0, &readable, &writable, nullptr, atMost.has_value() ? &left : nullptr);
        if (stop.isRaised()) {
            return Waited::stopped;
        }
        if (ready != 0) {
            return Waited::ready;
        }
        if (atMost.has_value() && SteadyClock::now() >= end) {
            return Waited::timedOut;
        }
    }
}

Waited waitForEither(SocketWait& first, SocketWait& second, const StopSignal& stop) {
    fd_set readable;
    fd_set writable;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_SET(handleOf(stop.waitHandle()), &readable);
    for (const SocketWait* one : {&first, &second}) {
        if (one->wanted.receive) {
            FD_SET(handleOf(one->socket), &readable);
        }
        if (one->wanted.send) {
            FD_SET(handleOf(one->socket), &writable);
        }
    }
    select(0, &readable, &writable, nullptr, nullptr);
    for (SocketWait* one : {&first, &second}) {
        one->ready = {one->wanted.receive && FD_ISSET(handleOf(one->socket), &readable) != 0,
                      one->wanted.send && FD_ISSET(handleOf(one->socket), &writable) != 0};
    }
    return stop.isRaised() ? Waited::stopped : Waited::ready;
}

namespace {

Transfer transferOf(int moved) {
    if (moved > 0) {
        return {Transfer::Outcome::moved, static_cast<size_t>(moved), {}};
    }
    if (moved == 0) {
        return {Transfer::Outcome::ended, 0, {}};
    }
    const int number = WSAGetLastError();
    if (number == WSAEWOULDBLOCK || number == WSAEINTR) {
        return {Transfer::Outcome::wouldBlock, 0, {}};
    }
    return {Transfer::Outcome::failed, 0, errorText(number)};
}

}  // namespace

Transfer receiveSome(NativeSocket socket, uint8_t* buffer, size_t size) {
    return transferOf(recv(handleOf(socket), reinterpret_cast<char*>(buffer), boundedCount(size), 0));
}

Transfer sendSome(NativeSocket socket, const uint8_t* bytes, size_t size) {
    return transferOf(send(handleOf(socket), reinterpret_cast<const char*>(bytes), boundedCount(size), 0));
}

void finishSending(NativeSocket socket) noexcept {
    shutdown(handleOf(socket), SD_SEND);
}

void resetOnClose(NativeSocket socket) noexcept {
    const linger immediately{1, 0};
    setsockopt(handleOf(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&immediately),
               sizeof immediately);
}

void closeSocket(NativeSocket socket) noexcept {
    closesocket(handleOf(socket));
}

Listening listenOn(const std::string& host, uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
    addrinfo* found = nullptr;
    const int resolved = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (resolved != 0) {
        throw std::runtime_error(errorText(resolved));
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> address(found, &freeaddrinfo);
    const SOCKET listener = socket(address->ai_family, address->ai_socktype, address->ai_protocol);
    if (listener == INVALID_SOCKET) {
        throw std::runtime_error(errorText(WSAGetLastError()));
    }
    // Here the address reuse option would allow a second listener on the same port.
    setOption(listener, SOL_SOCKET, SO_EXCLUSIVEADDRUSE);
    makeNonBlocking(listener);
    if (bind(listener, address->ai_addr, static_cast<int>(address->ai_addrlen)) != 0 ||
        listen(listener, SOMAXCONN) != 0) {
        const std::string failure = errorText(WSAGetLastError());
        closesocket(listener);
        throw std::runtime_error(failure);
    }
    return {nativeOf(listener), portOf(listener)};
}

Accepted acceptOne(NativeSocket listener) {
    const SOCKET accepted = accept(handleOf(listener), nullptr, nullptr);
    if (accepted != INVALID_SOCKET) {
        makeNonBlocking(accepted);
        setOption(accepted, IPPROTO_TCP, TCP_NODELAY);
        return {Accepted::Outcome::connected, nativeOf(accepted), {}};
    }
    const int number = WSAGetLastError();
    if (number == WSAEMFILE || number == WSAENOBUFS) {
        return {Accepted::Outcome::outOfResources, -1, errorText(number)};
    }
    return {Accepted::Outcome::nobody, -1, {}};
}

namespace {

// Returns 0, or the error's number. A failed attempt is among the exceptional conditions of a wait here.
int connectOne(SOCKET socket, const addrinfo& address, std::chrono::milliseconds atMost, const StopSignal& stop) {
    if (connect(socket, address.ai_addr, static_cast<int>(address.ai_addrlen)) == 0) {
        return 0;
    }
    if (WSAGetLastError() != WSAEWOULDBLOCK) {
        return WSAGetLastError();
    }
    fd_set readable;
    fd_set writable;
    fd_set exceptional;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&exceptional);
    FD_SET(handleOf(stop.waitHandle()), &readable);
    FD_SET(socket, &writable);
    FD_SET(socket, &exceptional);
    timeval left{static_cast<long>(atMost.count() / 1000), static_cast<long>(atMost.count() % 1000 * 1000)};
    select(0, &readable, &writable, &exceptional, &left);
    if (FD_ISSET(socket, &writable) != 0 || FD_ISSET(socket, &exceptional) != 0) {
        int error = 0;
        int size = sizeof error;
        getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
        return error;
    }
    return WSAETIMEDOUT;
}

}  // namespace

Connected connectTo(const std::string& host, uint16_t port, std::chrono::milliseconds atMostEach,
                    const StopSignal& stop) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int resolved = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (resolved != 0) {
        return {kNoSocket, errorText(resolved), false};
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
    int error = 0;
    bool isOwnLack = false;
    for (const addrinfo* address = found; address != nullptr && !stop.isRaised(); address = address->ai_next) {
        const SOCKET connected = socket(address->ai_family, address->ai_socktype, address->ai_protocol);
        if (connected == INVALID_SOCKET) {
            error = WSAGetLastError();
            isOwnLack = error == WSAEMFILE || error == WSAENOBUFS;
            continue;
        }
        makeNonBlocking(connected);
        error = connectOne(connected, *address, atMostEach, stop);
        if (error == 0) {
            setOption(connected, IPPROTO_TCP, TCP_NODELAY);
            return {nativeOf(connected), {}, false};
        }
        closesocket(connected);
    }
    return {kNoSocket, errorText(error), isOwnLack};
}

std::FILE* createFile(const std::string& path) {
    const int created =
        _open(path.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    if (created < 0) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
    std::FILE* const file = _fdopen(created, "wb");
    if (file == nullptr) {
        const std::string failure = std::generic_category().message(errno);
        _close(created);
        throw std::runtime_error(failure);
    }
    return file;
}

}  // namespace native

namespace {

void readToTheEnd(HANDLE input, StopSignal& stop) {
    std::array<char, 256> ignored{};
    DWORD count = 0;
    while (!stop.isRaised() &&
           ReadFile(input, ignored.data(), static_cast<DWORD>(ignored.size()), &count, nullptr) != 0 && count > 0) {
    }
    stop.raise();
}

// Waiting on a pipe's handle says nothing about its content, so a pipe is looked at again and again.
void watchPipe(HANDLE input, StopSignal& stop) {
    std::array<char, 256> ignored{};
    while (native::wait(0, native::Interest::stopOnly, stop, std::chrono::milliseconds(20)) ==
           native::Waited::timedOut) {
        DWORD available = 0;
        if (PeekNamedPipe(input, nullptr, 0, nullptr, &available, nullptr) == 0) {
            if (GetLastError() != ERROR_BROKEN_PIPE) {
                readToTheEnd(input, stop);  // not a pipe of this system: under Wine, one that comes from outside
            }
            stop.raise();
        } else if (available > 0) {
            DWORD count = 0;
            ReadFile(input, ignored.data(), std::min(available, static_cast<DWORD>(ignored.size())), &count, nullptr);
        }
    }
}

void watchConsole(HANDLE input, StopSignal& stop) {
    std::array<INPUT_RECORD, 16> ignored{};
    while (native::wait(0, native::Interest::stopOnly, stop, std::chrono::milliseconds(20)) ==
           native::Waited::timedOut) {
        DWORD available = 0;
        DWORD count = 0;
        if (GetNumberOfConsoleInputEvents(input, &available) == 0) {
            stop.raise();
        } else if (available > 0) {
            ReadConsoleInputA(input, ignored.data(), static_cast<DWORD>(ignored.size()), &count);
        }
    }
}

}  // namespace

void prepareProcess() {
    WSADATA ignored;
    const int started = WSAStartup(MAKEWORD(2, 2), &ignored);
    if (started != 0) {
        throw std::runtime_error("cannot start Windows Sockets: " + errorText(started));
    }
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
}

void raiseOnTerminationRequest(StopSignal& stop) {
    stopOfTheProcess = &stop;
    SetConsoleCtrlHandler(onConsoleControl, TRUE);
}

void raiseAtEndOfStandardInput(StopSignal& stop) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (GetFileType(input) == FILE_TYPE_PIPE) {
        watchPipe(input, stop);
    } else if (GetConsoleMode(input, &mode) != 0) {
        watchConsole(input, stop);
    } else {
        readToTheEnd(input, stop);
    }
}

}  // namespace gatewaysim
