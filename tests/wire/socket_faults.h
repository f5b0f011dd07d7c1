// Makes socket calls of the calling thread fail.
#ifndef ZULSTATS_TESTS_WIRE_SOCKET_FAULTS_H
#define ZULSTATS_TESTS_WIRE_SOCKET_FAULTS_H

namespace wire_test {

// setMode: switching between blocking and non-blocking. wait: the wait for a connect or for something to read.
enum class SocketCall { socket, setsockopt, setMode, connect, wait, send };

// Errors in the system's own numbers.
struct SocketErrors {
    int noDescriptors;
    int noBuffers;
    int notPermitted;
    int notAllowed;
    int invalid;
    int unreachable;
    int refused;
    int cutOff;
};
extern const SocketErrors kSocketErrors;

// While it lives, the calling thread's n-th call (from 1) of that kind fails with the error. One at a time in the
// program.
class SocketFault {
  public:
    SocketFault(SocketCall call, int n, int error);
    ~SocketFault();
    SocketFault(const SocketFault&) = delete;
    SocketFault& operator=(const SocketFault&) = delete;

    bool hasStruck() const;
};

// While it lives, the calling thread's sends each take one byte only.
class ShortSends {
  public:
    ShortSends();
    ~ShortSends();
    ShortSends(const ShortSends&) = delete;
    ShortSends& operator=(const ShortSends&) = delete;
};

// While it lives, the calling thread's host look-ups give the host's first address twice: first with the port asked
// for, then with this one.
class SecondAddress {
  public:
    explicit SecondAddress(int port);
    ~SecondAddress();
    SecondAddress(const SecondAddress&) = delete;
    SecondAddress& operator=(const SecondAddress&) = delete;
};

}  // namespace wire_test

#endif
