// Makes calls of the library into its platform layer fail, and keeps account of what it has from there. The calls are
// wrapped for the whole program; they are meant for tests in which one thread alone uses the library.
#ifndef ZULSTATS_TESTS_FAULT_PLATFORM_FAULTS_H
#define ZULSTATS_TESTS_FAULT_PLATFORM_FAULTS_H

#include <cstdint>

namespace fault_test {

enum class PlatformCall {
    resolve,
    createSocket,
    setOptions,
    setMode,
    connect,
    waitForConnect,
    pendingError,
    send,
    waitReadable,
    receive,
    close,
    clock,
    openFile,
    describeError
};

// What a call does instead of its work.
enum class Effect {
    fails,             // with an error that has no code of its own
    failsUnreachable,  // with the error of an unreachable network
    failsRefused,      // with the error of a refused connection
    timesOut,          // the wait for a connect
    cannotTell,        // the socket's error cannot be asked for
    resolverFails,     // with a number of the resolver's own
    nothing,           // a send of 0 bytes, the end of the stream, an empty text, a clock of zeros
    oneByte,           // a send that counts one byte, a receive of one byte
    breaksOff,         // sends half of the bytes, then the connection is cut off
    reportsFailure,    // a close that closes and fails nevertheless
    minusOnes,         // the clock as a failed conversion leaves it
    farAway            // the clock in a year with many digits
};

struct PlatformFaultKind {
    const char* name;
    PlatformCall call;
    Effect effect;
    bool andAllLater;
};

// While it lives, the n-th call (from 1) of the kind has that effect, and with andAllLater every one after it. One at a
// time in the program.
class PlatformFault {
  public:
    PlatformFault(const PlatformFaultKind& kind, int64_t n);
    ~PlatformFault();
    PlatformFault(const PlatformFault&) = delete;
    PlatformFault& operator=(const PlatformFault&) = delete;

    // How many calls have been made to fail.
    int64_t strikes() const;
};

// While it lives, knows the sockets that the library has made meanwhile and not closed, and the addresses of hosts that
// it has not released. One at a time in the program.
class PlatformLedger {
  public:
    PlatformLedger();
    ~PlatformLedger();
    PlatformLedger(const PlatformLedger&) = delete;
    PlatformLedger& operator=(const PlatformLedger&) = delete;

    int64_t openSockets() const;
    int64_t heldAddresses() const;
    // Closings of what was not open.
    int64_t wrongClosings() const;
};

}  // namespace fault_test

#endif
