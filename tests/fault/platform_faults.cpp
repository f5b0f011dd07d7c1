#include "platform_faults.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <set>

#include "platform/platform.h"

namespace fault_test {

namespace {

using stapi::platform::ConnectWait;
using stapi::platform::HostAddress;
using stapi::platform::LocalTime;
using stapi::platform::SocketResult;

constexpr int32_t kOtherError = 1;      // of the system, with no meaning for a socket
constexpr int32_t kResolverError = -2;  // where the resolver has numbers of its own, they are negative

PlatformFaultKind activeKind = {};
int64_t countdown = 0;
int64_t strikeCount = 0;

bool isLedgerKept = false;
std::set<int32_t> socketsOpen;
int64_t heldAddressCount = 0;
int64_t wrongClosingCount = 0;

}  // namespace

PlatformFault::PlatformFault(const PlatformFaultKind& kind, int64_t n) {
    activeKind = kind;
    countdown = n;
    strikeCount = 0;
}

PlatformFault::~PlatformFault() {
    countdown = 0;
    strikeCount = 0;
    activeKind.andAllLater = false;
}

int64_t PlatformFault::strikes() const {
    return strikeCount;
}

PlatformLedger::PlatformLedger() {
    socketsOpen.clear();
    heldAddressCount = 0;
    wrongClosingCount = 0;
    isLedgerKept = true;
}

PlatformLedger::~PlatformLedger() {
    isLedgerKept = false;
}

int64_t PlatformLedger::openSockets() const {
    return static_cast<int64_t>(socketsOpen.size());
}

int64_t PlatformLedger::heldAddresses() const {
    return heldAddressCount;
}

int64_t PlatformLedger::wrongClosings() const {
    return wrongClosingCount;
}

namespace {

bool strikes(PlatformCall call) {
    bool struck = activeKind.call == call && strikeCount > 0 && activeKind.andAllLater;
    if (activeKind.call == call && countdown > 0) {
        --countdown;
        struck = struck || countdown == 0;
    }
    strikeCount += struck ? 1 : 0;
    return struck;
}

int32_t errorOf(Effect effect) {
    int32_t error = kOtherError;
    if (effect == Effect::failsUnreachable) {
        error = stapi::platform::kErrorNetworkUnreachable;
    } else if (effect == Effect::failsRefused) {
        error = stapi::platform::kErrorConnectionRefused;
    } else if (effect == Effect::resolverFails) {
        error = kResolverError;
    }
    return error;
}

SocketResult failure() {
    return {-1, errorOf(activeKind.effect)};
}

LocalTime wrongTime() {
    LocalTime time = {};
    if (activeKind.effect == Effect::minusOnes) {
        time.calendar.tm_sec = time.calendar.tm_min = time.calendar.tm_hour = time.calendar.tm_mday = -1;
        time.calendar.tm_mon = time.calendar.tm_year = time.calendar.tm_wday = time.calendar.tm_yday = -1;
        time.calendar.tm_isdst = -1;
        time.milliseconds = -1;
    } else if (activeKind.effect == Effect::farAway) {
        time.calendar.tm_mday = 31;
        time.calendar.tm_year = INT_MAX - 1900;
        time.milliseconds = INT_MAX;
    }
    return time;
}

}  // namespace

// The wrapped functions, under the names that the linker prescribes. The letter of size_t differs between the systems.
#if defined(_WIN32)
#define SIZE_LETTER "y"
#else
#define SIZE_LETTER "m"
#endif
#define IS_REAL(name) __asm__("__real__ZN5stapi8platform" name)
#define IS_WRAPPED(name) __asm__("__wrap__ZN5stapi8platform" name)

SocketResult realResolveHost(const char* host, const char* port, HostAddress* result)
    IS_REAL("11resolveHostEPKcS2_PNS0_11HostAddressE");
SocketResult wrappedResolveHost(const char* host, const char* port, HostAddress* result)
    IS_WRAPPED("11resolveHostEPKcS2_PNS0_11HostAddressE");
void realReleaseHostAddress(HostAddress* address) IS_REAL("18releaseHostAddressEPNS0_11HostAddressE");
void wrappedReleaseHostAddress(HostAddress* address) IS_WRAPPED("18releaseHostAddressEPNS0_11HostAddressE");
SocketResult realCreateSocket(const HostAddress& address) IS_REAL("12createSocketERKNS0_11HostAddressE");
SocketResult wrappedCreateSocket(const HostAddress& address) IS_WRAPPED("12createSocketERKNS0_11HostAddressE");
SocketResult realSetConnectionOptions(int32_t socket) IS_REAL("20setConnectionOptionsEi");
SocketResult wrappedSetConnectionOptions(int32_t socket) IS_WRAPPED("20setConnectionOptionsEi");
SocketResult realSetNonBlocking(int32_t socket, bool nonBlocking) IS_REAL("14setNonBlockingEib");
SocketResult wrappedSetNonBlocking(int32_t socket, bool nonBlocking) IS_WRAPPED("14setNonBlockingEib");
SocketResult realStartConnect(int32_t socket, const HostAddress& address)
    IS_REAL("12startConnectEiRKNS0_11HostAddressE");
SocketResult wrappedStartConnect(int32_t socket, const HostAddress& address)
    IS_WRAPPED("12startConnectEiRKNS0_11HostAddressE");
ConnectWait realWaitForConnect(int32_t socket) IS_REAL("14waitForConnectEi");
ConnectWait wrappedWaitForConnect(int32_t socket) IS_WRAPPED("14waitForConnectEi");
SocketResult realPendingSocketError(int32_t socket) IS_REAL("18pendingSocketErrorEi");
SocketResult wrappedPendingSocketError(int32_t socket) IS_WRAPPED("18pendingSocketErrorEi");
SocketResult realSendBytes(int32_t socket, const void* data, size_t size) IS_REAL("9sendBytesEiPKv" SIZE_LETTER);
SocketResult wrappedSendBytes(int32_t socket, const void* data, size_t size) IS_WRAPPED("9sendBytesEiPKv" SIZE_LETTER);
SocketResult realWaitReadable(int32_t socket) IS_REAL("12waitReadableEi");
SocketResult wrappedWaitReadable(int32_t socket) IS_WRAPPED("12waitReadableEi");
SocketResult realReceiveBytes(int32_t socket, void* data, size_t size) IS_REAL("12receiveBytesEiPv" SIZE_LETTER);
SocketResult wrappedReceiveBytes(int32_t socket, void* data, size_t size) IS_WRAPPED("12receiveBytesEiPv" SIZE_LETTER);
SocketResult realCloseSocket(int32_t socket) IS_REAL("11closeSocketEi");
SocketResult wrappedCloseSocket(int32_t socket) IS_WRAPPED("11closeSocketEi");
LocalTime realCurrentLocalTime() IS_REAL("16currentLocalTimeEv");
LocalTime wrappedCurrentLocalTime() IS_WRAPPED("16currentLocalTimeEv");
std::FILE* realOpenForAppending(const char* name, int32_t* error) IS_REAL("16openForAppendingEPKcPi");
std::FILE* wrappedOpenForAppending(const char* name, int32_t* error) IS_WRAPPED("16openForAppendingEPKcPi");
void realDescribeResolverError(int32_t error, char* text, size_t size)
    IS_REAL("21describeResolverErrorEiPc" SIZE_LETTER);
void wrappedDescribeResolverError(int32_t error, char* text, size_t size)
    IS_WRAPPED("21describeResolverErrorEiPc" SIZE_LETTER);
void realDescribeSocketError(int32_t error, char* text, size_t size) IS_REAL("19describeSocketErrorEiPc" SIZE_LETTER);
void wrappedDescribeSocketError(int32_t error, char* text, size_t size)
    IS_WRAPPED("19describeSocketErrorEiPc" SIZE_LETTER);

SocketResult wrappedResolveHost(const char* host, const char* port, HostAddress* result) {
    const SocketResult resolved = strikes(PlatformCall::resolve) ? failure() : realResolveHost(host, port, result);
    heldAddressCount += resolved.value == 0 ? 1 : 0;
    return resolved;
}

void wrappedReleaseHostAddress(HostAddress* address) {
    heldAddressCount -= address->list != nullptr ? 1 : 0;
    realReleaseHostAddress(address);
}

SocketResult wrappedCreateSocket(const HostAddress& address) {
    const SocketResult created = strikes(PlatformCall::createSocket) ? failure() : realCreateSocket(address);
    if (created.value >= 0 && isLedgerKept) {
        socketsOpen.insert(created.value);
    }
    return created;
}

SocketResult wrappedSetConnectionOptions(int32_t socket) {
    return strikes(PlatformCall::setOptions) ? failure() : realSetConnectionOptions(socket);
}

SocketResult wrappedSetNonBlocking(int32_t socket, bool nonBlocking) {
    return strikes(PlatformCall::setMode) ? failure() : realSetNonBlocking(socket, nonBlocking);
}

SocketResult wrappedStartConnect(int32_t socket, const HostAddress& address) {
    return strikes(PlatformCall::connect) ? failure() : realStartConnect(socket, address);
}

ConnectWait wrappedWaitForConnect(int32_t socket) {
    if (strikes(PlatformCall::waitForConnect)) {
        return activeKind.effect == Effect::timesOut ? ConnectWait{0, 0, false}
                                                     : ConnectWait{-1, failure().error, false};
    }
    ConnectWait outcome = realWaitForConnect(socket);
    // So that both systems ask for the socket's own error after every connect.
    outcome.mayHaveFailed = outcome.mayHaveFailed || outcome.ready > 0;
    return outcome;
}

SocketResult wrappedPendingSocketError(int32_t socket) {
    if (strikes(PlatformCall::pendingError)) {
        return {activeKind.effect == Effect::cannotTell ? -1 : 0, failure().error};
    }
    return realPendingSocketError(socket);
}

SocketResult wrappedSendBytes(int32_t socket, const void* data, size_t size) {
    SocketResult result = {0, 0};
    if (!strikes(PlatformCall::send)) {
        result = realSendBytes(socket, data, size);
    } else if (activeKind.effect == Effect::oneByte) {
        result = realSendBytes(socket, data, size);  // the daemon would wait for the rest without limit
        result.value = result.value > 0 ? 1 : result.value;
    } else if (activeKind.effect == Effect::breaksOff) {
        result = realSendBytes(socket, data, size / 2);
        stapi::platform::shutdownSocket(socket);
    } else if (activeKind.effect != Effect::nothing) {
        result = failure();
    }
    return result;
}

SocketResult wrappedWaitReadable(int32_t socket) {
    return strikes(PlatformCall::waitReadable) ? failure() : realWaitReadable(socket);
}

SocketResult wrappedReceiveBytes(int32_t socket, void* data, size_t size) {
    SocketResult result = {0, 0};
    if (!strikes(PlatformCall::receive)) {
        result = realReceiveBytes(socket, data, size);
    } else if (activeKind.effect == Effect::oneByte) {
        result = realReceiveBytes(socket, data, size > 0 ? 1 : 0);
    } else if (activeKind.effect != Effect::nothing) {
        result = failure();
    }
    return result;
}

SocketResult wrappedCloseSocket(int32_t socket) {
    if (isLedgerKept && socketsOpen.erase(socket) == 0) {
        ++wrongClosingCount;
    }
    const SocketResult closed = realCloseSocket(socket);
    return strikes(PlatformCall::close) ? failure() : closed;
}

LocalTime wrappedCurrentLocalTime() {
    return strikes(PlatformCall::clock) ? wrongTime() : realCurrentLocalTime();
}

std::FILE* wrappedOpenForAppending(const char* name, int32_t* error) {
    if (strikes(PlatformCall::openFile)) {
        *error = failure().error;
        return nullptr;
    }
    return realOpenForAppending(name, error);
}

void wrappedDescribeResolverError(int32_t error, char* text, size_t size) {
    if (strikes(PlatformCall::describeError) && size > 0) {
        text[0] = '\0';
    } else {
        realDescribeResolverError(error, text, size);
    }
}

void wrappedDescribeSocketError(int32_t error, char* text, size_t size) {
    if (strikes(PlatformCall::describeError) && size > 0) {
        text[0] = '\0';
    } else {
        realDescribeSocketError(error, text, size);
    }
}

}  // namespace fault_test
