#include "bare_socket.h"

#include <winsock2.h>

namespace bench {

namespace {

SOCKET socketOf(intptr_t socket) {
    return static_cast<SOCKET>(socket);
}

// Winsock is started once for the process, which ends with it.
void startWinsock() {
    static const int32_t kStarted = [] {
        WSADATA data;
        return static_cast<int32_t>(WSAStartup(MAKEWORD(2, 2), &data));
    }();
    if (kStarted != 0) {
        failBenchmark("WSAStartup", kStarted);
    }
}

void setOption(intptr_t socket, int level, int option) {
    const BOOL on = TRUE;
    if (setsockopt(socketOf(socket), level, option, reinterpret_cast<const char*>(&on), sizeof on) != 0) {
        failBenchmark("setsockopt", WSAGetLastError());
    }
}

intptr_t makeSocket() {
    startWinsock();
    return static_cast<intptr_t>(socket(AF_INET, SOCK_STREAM, 0));
}

}  // namespace

BareSocket::BareSocket(int32_t port) : socket_(makeSocket()) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (socketOf(socket_) == INVALID_SOCKET) {
        failBenchmark("socket", WSAGetLastError());
    }
    setOption(socket_, SOL_SOCKET, SO_KEEPALIVE);
    setOption(socket_, IPPROTO_TCP, TCP_NODELAY);
    if (connect(socketOf(socket_), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        failBenchmark("connecting to the replay server", WSAGetLastError());
    }
}

BareSocket::~BareSocket() {
    closesocket(socketOf(socket_));
}

void BareSocket::sendAll(const uint8_t* bytes, size_t size) {
    const int length = static_cast<int>(size);
    if (send(socketOf(socket_), reinterpret_cast<const char*>(bytes), length, 0) != length) {
        failBenchmark("send", WSAGetLastError());
    }
}

void BareSocket::waitReadable() {
    WSAPOLLFD descriptor = {socketOf(socket_), POLLRDNORM, 0};
    if (WSAPoll(&descriptor, 1, -1) != 1) {
        failBenchmark("WSAPoll", WSAGetLastError());
    }
}

void BareSocket::receiveExactly(uint8_t* bytes, size_t size) {
    size_t total = 0;
    while (total < size) {
        const int count =
            recv(socketOf(socket_), reinterpret_cast<char*>(bytes) + total, static_cast<int>(size - total), 0);
        if (count <= 0) {
            failBenchmark("recv", WSAGetLastError());
        }
        total += static_cast<size_t>(count);
    }
}

}  // namespace bench
