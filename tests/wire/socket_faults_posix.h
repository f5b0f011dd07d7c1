// Makes system calls of the calling thread fail.
#pragma once

namespace wire_test {

enum class SocketCall { socket, setsockopt, fcntlSet, connect, poll, send };

// While it lives, the calling thread's n-th call (from 1) of that kind fails with the error. One at a time in each
// thread. fcntlSet counts only calls that set the flags of a descriptor.
class SocketFault {
  public:
    SocketFault(SocketCall call, int n, int error);
    ~SocketFault();
    SocketFault(const SocketFault&) = delete;
    SocketFault& operator=(const SocketFault&) = delete;

    bool hasStruck() const;
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
