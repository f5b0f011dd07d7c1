// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "raw_client.h"

namespace sim_test {

namespace {

[[noreturn]] void failWith(const char* what, int number) {
    throw std::runtime_error(std::string(what) + ": " + std::system_category().message(number));
}

SOCKET handleOf(intptr_t socket) {
    return static_cast<SOCKET>(socket);
}

void startSockets() {
    static const int kStarted = [] {
        WSADATA ignored;
        return WSAStartup(MAKEWORD(2, 2), &ignored);
    }();
    if (kStarted != 0) {
        failWith("cannot start Windows Sockets", kStarted);
    }
}

}  // namespace

RawClient::RawClient(int port) : socket_(-1) {
    startSockets();
    socket_ = static_cast<intptr_t>(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(handleOf(socket_), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int number = WSAGetLastError();
        closesocket(handleOf(socket_));
        failWith("cannot connect", number);
    }
    const DWORD atMost = kAtMostMilliseconds;
    setsockopt(handleOf(socket_), SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&atMost), sizeof atMost);
}

RawClient::~RawClient() {
    closesocket(handleOf(socket_));
}

void RawClient::send(const Bytes& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const int count = ::send(handleOf(socket_), reinterpret_cast<const char*>(bytes.data()) + sent,
                                 static_cast<int>(bytes.size() - sent), 0);
        if (count <= 0) {
            failWith("cannot send", WSAGetLastError());
        }
        sent += static_cast<size_t>(count);
    }
}

RawClient::Received RawClient::receiveSome(uint8_t* buffer, size_t size, int milliseconds, size_t& count) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(handleOf(socket_), &readable);
    timeval atMost{milliseconds / 1000, milliseconds % 1000 * 1000};
    if (select(0, &readable, nullptr, nullptr, &atMost) <= 0) {
        return Received::nothing;
    }
    const int received = recv(handleOf(socket_), reinterpret_cast<char*>(buffer), static_cast<int>(size), 0);
    if (received > 0) {
        count = static_cast<size_t>(received);
        return Received::data;
    }
    if (received < 0 && WSAGetLastError() != WSAECONNRESET) {
        failWith("cannot receive", WSAGetLastError());
    }
    return received == 0 ? Received::end : Received::reset;
}

bool RawClient::tellsResetFromEnd() {
    return false;
}

void RawClient::finishSending() {
    shutdown(handleOf(socket_), SD_SEND);
}

}  // namespace sim_test
