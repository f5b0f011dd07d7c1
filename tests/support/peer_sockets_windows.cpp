// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

#include "peer_sockets.h"

namespace test_support::peer_sockets {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::system_category().message(WSAGetLastError()));
}

void startSockets() {
    static const int kStarted = [] {
        WSADATA ignored;
        return WSAStartup(MAKEWORD(2, 2), &ignored);
    }();
    if (kStarted != 0) {
        throw std::runtime_error("cannot start Windows Sockets");
    }
}

// Handles of sockets have no more than 32 significant bits.
SOCKET handleOf(int32_t socket) {
    return static_cast<SOCKET>(static_cast<intptr_t>(socket));
}

int32_t numberOf(SOCKET socket) {
    return static_cast<int32_t>(socket);
}

sockaddr_in loopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

SOCKET newSocket() {
    startSockets();
    const SOCKET made = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (made == INVALID_SOCKET) {
        fail("cannot make a socket");
    }
    return made;
}

void sendAtOnce(SOCKET socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
}

timeval timeOf(int milliseconds) {
    return {milliseconds / 1000, milliseconds % 1000 * 1000};
}

}  // namespace

Listener refuseOnLoopback() {
    const SOCKET made = newSocket();
    sockaddr_in address = loopbackAddress(0);
    int length = sizeof address;
    if (bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        getsockname(made, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        fail("cannot take a port");
    }
    return {numberOf(made), ntohs(address.sin_port)};
}

Listener listenOnLoopback(int backlog) {
    const Listener listener = refuseOnLoopback();
    if (listen(handleOf(listener.socket), backlog) != 0) {
        fail("cannot listen");
    }
    return listener;
}

int32_t acceptConnection(int32_t listener, int milliseconds) {
    if (!isReadable(listener, milliseconds)) {
        throw std::runtime_error("nobody connects");
    }
    const SOCKET accepted = accept(handleOf(listener), nullptr, nullptr);
    if (accepted == INVALID_SOCKET) {
        fail("cannot accept");
    }
    sendAtOnce(accepted);
    return numberOf(accepted);
}

int32_t connectToLoopback(int port) {
    const SOCKET made = newSocket();
    const sockaddr_in address = loopbackAddress(port);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int kept = WSAGetLastError();
        closesocket(made);
        WSASetLastError(kept);
        fail("cannot connect");
    }
    sendAtOnce(made);
    return numberOf(made);
}

int32_t beginConnectToLoopback(int port) {
    const SOCKET made = newSocket();
    u_long on = 1;
    ioctlsocket(made, static_cast<long>(FIONBIO), &on);
    const sockaddr_in address = loopbackAddress(port);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        WSAGetLastError() != WSAEWOULDBLOCK) {
        fail("cannot begin to connect");
    }
    return numberOf(made);
}

bool hasConnectEnded(int32_t socket, int milliseconds) {
    fd_set writable;
    fd_set failed;
    FD_ZERO(&writable);
    FD_ZERO(&failed);
    FD_SET(handleOf(socket), &writable);
    FD_SET(handleOf(socket), &failed);
    timeval atMost = timeOf(milliseconds);
    return select(0, nullptr, &writable, &failed, &atMost) > 0;
}

bool isReadable(int32_t socket, int milliseconds) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(handleOf(socket), &readable);
    timeval atMost = timeOf(milliseconds);
    return select(0, &readable, nullptr, nullptr, milliseconds < 0 ? nullptr : &atMost) > 0;
}

void sendAll(int32_t socket, const uint8_t* data, size_t size) {
    size_t sent = 0;
    while (sent < size) {
        const int count =
            send(handleOf(socket), reinterpret_cast<const char*>(data) + sent, static_cast<int>(size - sent), 0);
        if (count <= 0) {
            fail("cannot send");
        }
        sent += static_cast<size_t>(count);
    }
}

size_t receiveSome(int32_t socket, uint8_t* data, size_t size, int milliseconds) {
    if (!isReadable(socket, milliseconds)) {
        throw std::runtime_error("nothing comes");
    }
    const int count = recv(handleOf(socket), reinterpret_cast<char*>(data), static_cast<int>(size), 0);
    if (count < 0 && WSAGetLastError() != WSAECONNRESET && WSAGetLastError() != WSAECONNABORTED) {
        fail("cannot receive");
    }
    return count < 0 ? 0 : static_cast<size_t>(count);
}

size_t bytesWaiting(int32_t socket) {
    u_long count = 0;
    if (ioctlsocket(handleOf(socket), static_cast<long>(FIONREAD), &count) != 0) {
        fail("cannot ask for the bytes that wait");
    }
    return count;
}

void makeCloseReset(int32_t socket) {
    const linger now{1, 0};
    setsockopt(handleOf(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&now), sizeof now);
}

void shutDown(int32_t socket) {
    shutdown(handleOf(socket), SD_BOTH);
}

void closeSocket(int32_t socket) {
    closesocket(handleOf(socket));
}

}  // namespace test_support::peer_sockets
