#include "world.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "diag/stapi_zul_diag.h"
#include "impl/stapi_zul_impl.h"
#include "platform/platform.h"

namespace fuzz_test {

namespace {

#if defined(_WIN32)
constexpr const char* kNowhere = "NUL";
#else
constexpr const char* kNowhere = "/dev/null";
#endif

constexpr int32_t kSomeError = 104;
constexpr int32_t kSomePid = 4711;
constexpr uint8_t kTraceMask = 0x0F;
constexpr uint8_t kTraceEverything = 0x0F;
constexpr uint8_t kTraceFailures = 0x0E;
constexpr uint8_t kEndsInError = 0x10;
constexpr uint8_t kDumps = 0x20;
constexpr uint8_t kAndAllLater = 0x80;

struct Daemon {
    const uint8_t* stream;
    size_t left;
    size_t pieceSize;  // 0: no limit
    bool endsInError;
    int32_t failingCall;  // counts down; 0: none
};

struct Allocations {
    int32_t failing;  // counts down; 0: none
    bool andAllLater;
    bool hasStruck;
};

Daemon daemon = {};
Allocations allocations = {};
volatile uint32_t touched = 0;

std::vector<uint8_t>& requestStore() {
    static std::vector<uint8_t> bytes;
    return bytes;
}

bool callFails() {
    const bool fails = daemon.failingCall == 1;
    daemon.failingCall -= daemon.failingCall > 0 ? 1 : 0;
    return fails;
}

stapi::platform::SocketResult outcomeOfCall(int32_t value) {
    return callFails() ? stapi::platform::SocketResult{-1, kSomeError} : stapi::platform::SocketResult{value, 0};
}

stapi::platform::SocketResult receive(void* data, size_t size) {
    size_t count = std::min(size, daemon.left);
    if (daemon.pieceSize > 0) {
        count = std::min(count, daemon.pieceSize);
    }
    if (count == 0) {
        return daemon.endsInError ? stapi::platform::SocketResult{-1, kSomeError} : stapi::platform::SocketResult{0, 0};
    }
    std::memcpy(data, daemon.stream, count);
    daemon.stream += count;
    daemon.left -= count;
    return {static_cast<int32_t>(count), 0};
}

bool allocationFails(size_t size) {
    const bool fails = allocations.failing == 1 || (allocations.hasStruck && allocations.andAllLater);
    allocations.hasStruck = allocations.hasStruck || fails;
    allocations.failing -= allocations.failing > 0 ? 1 : 0;
    return fails || size > kLargestAllocation;
}

// Once in the process: the library is set up, and what it traces goes nowhere.
void setUpLibrary() {
    static const bool kIsSetUp = [] {
        stapi::stapiInit();
        stapi::switchTraceDestination(kNowhere);
        return true;
    }();
    static_cast<void>(kIsSetUp);
}

void traceAsAsked(uint8_t circumstances) {
    const uint8_t wanted = circumstances & kTraceMask;
    if (wanted == kTraceEverything) {
        stapi::changeTraceLevel(stapi::kHighestTraceLevel);
    } else if (wanted == kTraceFailures) {
        stapi::changeTraceLevel(1);
    }
}

}  // namespace

ExactBlock::ExactBlock(const uint8_t* data, size_t size) : block_(new uint8_t[size]), size_(size) {
    if (size > 0) {
        std::memcpy(block_.get(), data, size);
    }
}

World::World(FuzzInput* input) : circumstances_(input->next()), wantsDumps_((circumstances_ & kDumps) != 0) {
    setUpLibrary();
    requestStore().clear();
    daemon = {};
    daemon.endsInError = (circumstances_ & kEndsInError) != 0;
    daemon.pieceSize = input->next();
    daemon.failingCall = input->next();
    traceAsAsked(circumstances_);
    const uint8_t failing = input->next();
    allocations = {failing & ~kAndAllLater, (failing & kAndAllLater) != 0, false};
}

World::~World() {
    calmDown();
    daemon = {};
}

void World::serve(const ExactBlock& stream) {
    daemon.stream = stream.data();
    daemon.left = stream.size();
}

void World::calmDown() {
    allocations = {};
    daemon.failingCall = 0;
    stapi::traceLevel.store(0, std::memory_order_relaxed);
}

const std::vector<uint8_t>& World::lastRequest() const {
    return requestStore();
}

uint32_t touch(const void* data, size_t size) {
    const auto* const bytes = static_cast<const uint8_t*>(data);
    uint32_t sum = 0;
    for (size_t index = 0; index < size; ++index) {
        sum += bytes[index];
    }
    touched = sum;
    return sum;
}

bool isZero(const void* data, size_t size) {
    const auto* const bytes = static_cast<const uint8_t*>(data);
    return std::all_of(bytes, bytes + size, [](uint8_t byte) { return byte == 0; });
}

}  // namespace fuzz_test

extern "C" {

// Names that the linker's wrapping prescribes.
void* __real_calloc(size_t count, size_t size);  // NOLINT
void* __wrap_calloc(size_t count, size_t size);  // NOLINT

void* __wrap_calloc(size_t count, size_t size) {
    return fuzz_test::allocationFails(count * size) ? nullptr : __real_calloc(count, size);
}

}  // extern "C"

namespace stapi::platform {

using fuzz_test::outcomeOfCall;

const int32_t kErrorWouldBlock = 115;
const int32_t kErrorNetworkUnreachable = 101;
const int32_t kErrorConnectionRefused = 111;

int32_t startSocketLayer() {
    return 0;
}

void stopSocketLayer() {}

SocketResult resolveHost(const char*, const char*, HostAddress* result) {
    *result = {};
    const SocketResult outcome = outcomeOfCall(0);
    return {outcome.value, outcome.error};
}

void releaseHostAddress(HostAddress* address) {
    *address = {};
}

void describeResolverError(int32_t error, char* text, size_t size) {
    describeSocketError(error, text, size);
}

void describeSocketError(int32_t error, char* text, size_t size) {
    std::snprintf(text, size, "error %d", static_cast<int>(error));
}

SocketResult createSocket(const HostAddress&) {
    return outcomeOfCall(fuzz_test::kSocket);
}

SocketResult setConnectionOptions(int32_t) {
    return outcomeOfCall(0);
}

SocketResult setNonBlocking(int32_t, bool) {
    return outcomeOfCall(0);
}

SocketResult startConnect(int32_t, const HostAddress&) {
    return outcomeOfCall(0);
}

ConnectWait waitForConnect(int32_t) {
    const SocketResult outcome = outcomeOfCall(1);
    return {outcome.value, outcome.error, true};
}

SocketResult pendingSocketError(int32_t) {
    return outcomeOfCall(0);
}

SocketResult sendBytes(int32_t, const void* data, size_t size) {
    const auto* const bytes = static_cast<const uint8_t*>(data);
    fuzz_test::requestStore().assign(bytes, bytes + size);
    return outcomeOfCall(static_cast<int32_t>(size));
}

SocketResult waitReadable(int32_t) {
    return outcomeOfCall(1);
}

SocketResult receiveBytes(int32_t, void* data, size_t size) {
    const SocketResult outcome = outcomeOfCall(0);
    return outcome.value < 0 ? outcome : fuzz_test::receive(data, size);
}

void shutdownSocket(int32_t) {}

SocketResult closeSocket(int32_t) {
    return outcomeOfCall(0);
}

CancellationHold::CancellationHold() : stateBefore_(0) {}

CancellationHold::~CancellationHold() {
    stateBefore_ = 0;
}

StreamWriteHold::StreamWriteHold(std::FILE*) : stateBefore_(), isHeld_(false), hasFailed_(false) {}

StreamWriteHold::~StreamWriteHold() {
    stateBefore_[0] = isHeld_ || hasFailed_ ? 1 : 0;
}

void watchForks(void (*)(), void (*)(), void (*)()) {}

// One thread needs no lock.
void initialiseMutex(Mutex*) {}

void enterMutex(Mutex*) {}

void leaveMutex(Mutex*) {}

void destroyMutex(Mutex*) {}

void yieldThread() {}

uint32_t currentProcessId() {
    return fuzz_test::kSomePid;
}

uint32_t currentThreadId() {
    return fuzz_test::kSomePid;
}

ThreadIdentity callingThread() {
    return {fuzz_test::kSomePid, fuzz_test::kSomePid};
}

bool isCallingThread(uint32_t process, uint32_t thread) {
    return process == fuzz_test::kSomePid && thread == fuzz_test::kSomePid;
}

LocalTime currentLocalTime() {
    LocalTime result = {};
    result.calendar.tm_mday = 1;
    result.calendar.tm_year = 126;
    return result;
}

std::FILE* openForAppending(const char* name, int32_t* error) {
    std::FILE* const stream = std::fopen(name, "a");
    *error = stream == nullptr ? fuzz_test::kSomeError : 0;
    return stream;
}

HeapState checkHeap() {
    return HeapState::unknown;
}

}  // namespace stapi::platform
