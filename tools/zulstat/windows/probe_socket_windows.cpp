#include "probe_socket.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
// ws2tcpip.h needs winsock2.h before it.
#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <limits>
#include <system_error>

namespace zulstat {
namespace {

ProbeFault faultOf(const int error) {
    return {std::system_category().message(error), error == WSAECONNREFUSED, error == WSAETIMEDOUT};
}

ProbeFault timeOut() {
    return {"no answer in time", false, true};
}

// The library has started Windows Sockets when it was loaded; a further start only counts.
void startSockets() {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    (void)started;
}

enum class Wanted { read, write };

bool awaitReady(const SOCKET socket, const Wanted wanted, const ProbeSocket::Deadline deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    const int64_t milliseconds = std::clamp<int64_t>(left, 0, 86400000);
    timeval time{static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000 * 1000)};
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(socket, &ready);
    // A connect that failed shows as an exception.
    fd_set failed = ready;
    const bool isRead = wanted == Wanted::read;
    return select(0, isRead ? &ready : nullptr, isRead ? nullptr : &ready, &failed, &time) > 0;
}

}  // namespace

// There is no limit but memory.
size_t roomForDescriptors() {
    return std::numeric_limits<size_t>::max();
}

std::optional<std::string> whyNoConnection() {
    startSockets();
    const SOCKET tried = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (tried != INVALID_SOCKET) {
        closesocket(tried);
        return std::nullopt;
    }
    const int error = WSAGetLastError();
    const bool isLack = error == WSAEMFILE || error == WSAENOBUFS;
    return isLack ? std::optional(std::system_category().message(error)) : std::nullopt;
}

struct ProbeSocket::Handle {
    SOCKET socket = INVALID_SOCKET;
};

ProbeSocket::ProbeSocket() : handle_(std::make_unique<Handle>()) {
    startSockets();
}

ProbeSocket::~ProbeSocket() {
    if (handle_->socket != INVALID_SOCKET) {
        closesocket(handle_->socket);
    }
}

std::variant<std::vector<ProbeAddress>, ProbeFault> resolveForProbe(const std::string& host, const int32_t port) {
    startSockets();
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list); error != 0) {
        return faultOf(error);
    }
    std::vector<ProbeAddress> addresses;
    for (const addrinfo* each = list; each != nullptr; each = each->ai_next) {
        ProbeAddress address;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(each->ai_addr);
        address.bytes.assign(bytes, bytes + each->ai_addrlen);
        address.family = each->ai_family;
        std::array<char, NI_MAXHOST> text{};
        getnameinfo(each->ai_addr, static_cast<socklen_t>(each->ai_addrlen), text.data(),
                    static_cast<DWORD>(text.size()), nullptr, 0, NI_NUMERICHOST);
        address.text = text.data();
        addresses.push_back(std::move(address));
    }
    freeaddrinfo(list);
    return addresses;
}

std::optional<ProbeFault> ProbeSocket::connect(const ProbeAddress& address, const Deadline deadline) {
    handle_->socket = socket(address.family, SOCK_STREAM, IPPROTO_TCP);
    u_long isNonBlocking = 1;
    if (handle_->socket == INVALID_SOCKET || ioctlsocket(handle_->socket, FIONBIO, &isNonBlocking) != 0) {
        return faultOf(WSAGetLastError());
    }
    const auto* const bytes = reinterpret_cast<const sockaddr*>(address.bytes.data());
    if (::connect(handle_->socket, bytes, static_cast<int>(address.bytes.size())) == 0) {
        return std::nullopt;
    }
    if (const int error = WSAGetLastError(); error != WSAEWOULDBLOCK) {
        return faultOf(error);
    }
    if (!awaitReady(handle_->socket, Wanted::write, deadline)) {
        return timeOut();
    }
    int error = 0;
    int size = sizeof error;
    getsockopt(handle_->socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return error == 0 ? std::nullopt : std::optional(faultOf(error));
}

std::optional<ProbeFault> ProbeSocket::send(std::string_view bytes, const Deadline deadline) {
    while (!bytes.empty()) {
        if (!awaitReady(handle_->socket, Wanted::write, deadline)) {
            return timeOut();
        }
        const int count = ::send(handle_->socket, bytes.data(), static_cast<int>(bytes.size()), 0);
        if (count < 0) {
            return faultOf(WSAGetLastError());
        }
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return std::nullopt;
}

std::variant<std::string, ProbeFault> ProbeSocket::receive(const size_t most, const Deadline deadline) {
    if (!awaitReady(handle_->socket, Wanted::read, deadline)) {
        return timeOut();
    }
    std::string bytes(most, '\0');
    const int count = recv(handle_->socket, bytes.data(), static_cast<int>(bytes.size()), 0);
    if (count < 0) {
        return faultOf(WSAGetLastError());
    }
    bytes.resize(static_cast<size_t>(count));
    return bytes;
}

}  // namespace zulstat
