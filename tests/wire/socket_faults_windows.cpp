#include "socket_faults.h"

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
// clang-format on

#include <string>

namespace wire_test {

namespace {

// Only the thread that set the fault up reads and writes what stands beside its id. (A thread_local variable would be
// allocated on its first use, which the tests with failing allocations would see.)
struct FaultState {
    volatile DWORD thread;
    SocketCall call;
    int countdown;
    int error;
    bool struck;
};

FaultState state = {};
volatile DWORD secondPortThread = 0;
int secondPort = 0;
volatile DWORD shortSendsThread = 0;

bool shallFail(SocketCall call) {
    bool fails = false;
    if (state.thread == GetCurrentThreadId() && state.countdown > 0 && state.call == call) {
        --state.countdown;
        fails = state.countdown == 0;
        state.struck = state.struck || fails;
        if (fails) {
            WSASetLastError(state.error);
        }
    }
    return fails;
}

}  // namespace

const SocketErrors kSocketErrors = {WSAEMFILE, WSAENOBUFS,     WSAEOPNOTSUPP,   WSAEACCES,
                                    WSAEINVAL, WSAENETUNREACH, WSAECONNREFUSED, WSAECONNABORTED};

SocketFault::SocketFault(SocketCall call, int n, int error) {
    state = {GetCurrentThreadId(), call, n, error, false};
}

SocketFault::~SocketFault() {
    state = {};
}

bool SocketFault::hasStruck() const {
    return state.struck;
}

ShortSends::ShortSends() {
    shortSendsThread = GetCurrentThreadId();
}

ShortSends::~ShortSends() {
    shortSendsThread = 0;
}

SecondAddress::SecondAddress(int port) {
    secondPort = port;
    secondPortThread = GetCurrentThreadId();
}

SecondAddress::~SecondAddress() {
    secondPortThread = 0;
}

}  // namespace wire_test

using wire_test::secondPort;
using wire_test::secondPortThread;
using wire_test::shallFail;
using wire_test::shortSendsThread;
using wire_test::SocketCall;

// The entries of the import table: those that the program uses, and the true ones. Their names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

extern decltype(&socket) __real___imp_socket;
extern decltype(&setsockopt) __real___imp_setsockopt;
extern decltype(&ioctlsocket) __real___imp_ioctlsocket;
extern decltype(&connect) __real___imp_connect;
extern decltype(&select) __real___imp_select;
extern decltype(&send) __real___imp_send;
extern decltype(&getaddrinfo) __real___imp_getaddrinfo;

static SOCKET WSAAPI socketOrFault(int family, int type, int protocol) {
    return shallFail(SocketCall::socket) ? INVALID_SOCKET : __real___imp_socket(family, type, protocol);
}

static int WSAAPI setsockoptOrFault(SOCKET socket, int level, int name, const char* value, int length) {
    return shallFail(SocketCall::setsockopt) ? SOCKET_ERROR
                                             : __real___imp_setsockopt(socket, level, name, value, length);
}

static int WSAAPI ioctlsocketOrFault(SOCKET socket, long command, u_long* argument) {
    const bool fails = command == static_cast<long>(FIONBIO) && shallFail(SocketCall::setMode);
    return fails ? SOCKET_ERROR : __real___imp_ioctlsocket(socket, command, argument);
}

static int WSAAPI connectOrFault(SOCKET socket, const sockaddr* address, int length) {
    return shallFail(SocketCall::connect) ? SOCKET_ERROR : __real___imp_connect(socket, address, length);
}

static int WSAAPI selectOrFault(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, PTIMEVAL limit) {
    return shallFail(SocketCall::wait) ? SOCKET_ERROR
                                       : __real___imp_select(count, readable, writable, exceptional, limit);
}

static int WSAAPI sendOrFault(SOCKET socket, const char* data, int size, int flags) {
    const int taken = shortSendsThread == GetCurrentThreadId() ? 1 : size;
    return shallFail(SocketCall::send) ? SOCKET_ERROR : __real___imp_send(socket, data, taken, flags);
}

static int WSAAPI getaddrinfoAndMore(const char* host, const char* port, const addrinfo* hints, addrinfo** result) {
    int rc = __real___imp_getaddrinfo(host, port, hints, result);
    if (rc == 0 && secondPortThread == GetCurrentThreadId()) {
        addrinfo* last = *result;
        while (last->ai_next != nullptr) {
            last = last->ai_next;
        }
        rc = __real___imp_getaddrinfo(host, std::to_string(secondPort).c_str(), hints, &last->ai_next);
    }
    return rc;
}

decltype(&socket) __wrap___imp_socket = socketOrFault;
decltype(&setsockopt) __wrap___imp_setsockopt = setsockoptOrFault;
decltype(&ioctlsocket) __wrap___imp_ioctlsocket = ioctlsocketOrFault;
decltype(&connect) __wrap___imp_connect = connectOrFault;
decltype(&select) __wrap___imp_select = selectOrFault;
decltype(&send) __wrap___imp_send = sendOrFault;
decltype(&getaddrinfo) __wrap___imp_getaddrinfo = getaddrinfoAndMore;

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
