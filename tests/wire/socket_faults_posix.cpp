#include "socket_faults.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <string>

namespace wire_test {

namespace {

struct FaultState {
    SocketCall call;
    int countdown;
    int error;
    bool struck;
};

thread_local FaultState state = {};
thread_local int secondPort = 0;
thread_local bool sendsAreShort = false;

bool shallFail(SocketCall call) {
    bool fails = false;
    if (state.countdown > 0 && state.call == call) {
        --state.countdown;
        fails = state.countdown == 0;
    }
    if (fails) {
        state.struck = true;
        errno = state.error;
    }
    return fails;
}

}  // namespace

const SocketErrors kSocketErrors = {EMFILE, ENOBUFS, EPERM, EACCES, EINVAL, ENETUNREACH, ECONNREFUSED, EPIPE};

SocketFault::SocketFault(SocketCall call, int n, int error) {
    state = {call, n, error, false};
}

SocketFault::~SocketFault() {
    state = {};
}

bool SocketFault::hasStruck() const {
    return state.struck;
}

ShortSends::ShortSends() {
    sendsAreShort = true;
}

ShortSends::~ShortSends() {
    sendsAreShort = false;
}

SecondAddress::SecondAddress(int port) {
    secondPort = port;
}

SecondAddress::~SecondAddress() {
    secondPort = 0;
}

}  // namespace wire_test

using wire_test::secondPort;
using wire_test::sendsAreShort;
using wire_test::shallFail;
using wire_test::SocketCall;

extern "C" {

// Names that the linker's wrapping prescribes.
// NOLINTBEGIN(bugprone-reserved-identifier)
int __real_socket(int domain, int type, int protocol);
int __real_setsockopt(int descriptor, int level, int name, const void* value, socklen_t length);
int __real_fcntl(int descriptor, int command, ...);
int __real_connect(int descriptor, const sockaddr* address, socklen_t length);
int __real_poll(pollfd* descriptors, nfds_t count, int milliseconds);
ssize_t __real_send(int descriptor, const void* data, size_t size, int flags);

int __wrap_socket(int domain, int type, int protocol);
int __wrap_setsockopt(int descriptor, int level, int name, const void* value, socklen_t length);
int __wrap_fcntl(int descriptor, int command, ...);
int __wrap_connect(int descriptor, const sockaddr* address, socklen_t length);
int __wrap_poll(pollfd* descriptors, nfds_t count, int milliseconds);
ssize_t __wrap_send(int descriptor, const void* data, size_t size, int flags);

int __wrap_socket(int domain, int type, int protocol) {
    return shallFail(SocketCall::socket) ? -1 : __real_socket(domain, type, protocol);
}

int __wrap_setsockopt(int descriptor, int level, int name, const void* value, socklen_t length) {
    return shallFail(SocketCall::setsockopt) ? -1 : __real_setsockopt(descriptor, level, name, value, length);
}

int __wrap_fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    const bool fails = command == F_SETFL && shallFail(SocketCall::setMode);
    return fails ? -1 : __real_fcntl(descriptor, command, argument);
}

int __wrap_connect(int descriptor, const sockaddr* address, socklen_t length) {
    return shallFail(SocketCall::connect) ? -1 : __real_connect(descriptor, address, length);
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    return shallFail(SocketCall::wait) ? -1 : __real_poll(descriptors, count, milliseconds);
}

ssize_t __wrap_send(int descriptor, const void* data, size_t size, int flags) {
    return shallFail(SocketCall::send) ? -1 : __real_send(descriptor, data, sendsAreShort ? 1 : size, flags);
}

int __real_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** result);
int __wrap_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** result);

int __wrap_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** result) {
    int rc = __real_getaddrinfo(host, port, hints, result);
    if (rc == 0 && secondPort != 0) {
        addrinfo* last = *result;
        while (last->ai_next != nullptr) {
            last = last->ai_next;
        }
        rc = __real_getaddrinfo(host, std::to_string(secondPort).c_str(), hints, &last->ai_next);
    }
    return rc;
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
