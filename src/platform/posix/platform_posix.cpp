#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "platform/platform.h"

namespace stapi::platform {

const int32_t kErrorWouldBlock = EINPROGRESS;
const int32_t kErrorNetworkUnreachable = ENETUNREACH;
const int32_t kErrorConnectionRefused = ECONNREFUSED;

namespace {

SocketResult fromCall(ssize_t value) {
    const int32_t error = value < 0 ? errno : 0;
    return {static_cast<int32_t>(value), error};
}

constexpr int kLastStandardStream = 2;
constexpr int kWriteSignals[] = {SIGPIPE, SIGXFSZ};

sigset_t writeSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : kWriteSignals) {
        sigaddset(&set, signal);
    }
    return set;
}

// Takes back what a failed write has raised. A signal that the caller has blocked by itself, and that may have been
// waiting before, is left waiting.
void takeRaisedSignals(const sigset_t& blockedBefore) {
    sigset_t waiting;
    sigemptyset(&waiting);
    sigpending(&waiting);
    for (const int signal : kWriteSignals) {
        if (sigismember(&waiting, signal) == 1 && sigismember(&blockedBefore, signal) == 0) {
            sigset_t one;
            sigemptyset(&one);
            sigaddset(&one, signal);
            const timespec atOnce = {};
            sigtimedwait(&one, nullptr, &atOnce);
        }
    }
}

// A program that runs without standard streams gives their numbers to whatever is opened next, and then writes to it.
int moveAwayFromStandardStreams(int descriptor) {
    int moved = descriptor;
    if (descriptor >= 0 && descriptor <= kLastStandardStream) {
        moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kLastStandardStream + 1);
        const int error = errno;
        close(descriptor);
        errno = error;
    }
    return moved;
}

int64_t monotonicMilliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Receive and send calls give their count as an int, so one call moves at most this much.
size_t callSize(size_t size) {
    return size > static_cast<size_t>(INT_MAX) ? static_cast<size_t>(INT_MAX) : size;
}

pthread_mutex_t* nativeMutex(Mutex* mutex) {
    static_assert(sizeof(pthread_mutex_t) <= sizeof(Mutex::storage));
    static_assert(alignof(pthread_mutex_t) <= alignof(Mutex));
    return std::launder(reinterpret_cast<pthread_mutex_t*>(mutex->storage));
}

// Asking the system for the process's or the thread's id takes longer than a whole step of a walk, so both are kept.
// Every fork, whatever call makes it, wipes the page in which the process's id stands; a thread's id holds for the
// process that it was learnt in.
constexpr size_t kPageSize = 4096;

struct alignas(kPageSize) ForkWipedPage {
    std::atomic<uint32_t> processId;  // 0: not known
};

ForkWipedPage forkWipedPage;
std::atomic<bool> pageStaysAtForks{false};  // the system cannot wipe it, so nothing may be kept there
[[gnu::tls_model("initial-exec")]] thread_local ThreadIdentity knownThread = {};

// The calendar of the second in which the thread has last asked for the time: most of its trace lines come in heaps.
struct KnownSecond {
    bool isKnown;
    time_t second;
    std::tm calendar;
};
[[gnu::tls_model("initial-exec")]] thread_local KnownSecond knownSecond = {};

// The trace's stream while that is a regular file, a write to which raises a signal at a limit of the file's size
// alone.
std::atomic<const std::FILE*> regularFile{nullptr};

bool isFileSizeLimited() {
    rlimit limit = {};
#if defined(__x86_64__) && defined(SYS_getrlimit)
    // A third faster than the C library's way, and this is done for each line.
    const bool isKnown = syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) == 0;
#else
    const bool isKnown = getrlimit(RLIMIT_FSIZE, &limit) == 0;
#endif
    return !isKnown || limit.rlim_cur != RLIM_INFINITY;
}

bool mayRaiseSignals(const std::FILE* stream) {
    return stream != regularFile.load(std::memory_order_relaxed) || isFileSizeLimited();
}

bool isRegularFile(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

uint32_t learnProcessId() {
    const auto processId = static_cast<uint32_t>(getpid());
    if (!pageStaysAtForks.load(std::memory_order_relaxed)) {
        const int error = errno;
        if (madvise(&forkWipedPage, sizeof forkWipedPage, MADV_WIPEONFORK) == 0) {
            forkWipedPage.processId.store(processId, std::memory_order_relaxed);
        } else {
            pageStaysAtForks.store(true, std::memory_order_relaxed);
        }
        errno = error;
    }
    return processId;
}

ThreadIdentity learnThread(uint32_t processId) {
    knownThread = {processId, static_cast<uint32_t>(syscall(SYS_gettid))};
    return knownThread;
}

// The same as isCallingThread when the kept ids do not say so. Kept out of the way.
[[gnu::noinline]] bool isLearntThread(uint32_t process, uint32_t thread) {
    const ThreadIdentity caller = callingThread();
    return process == caller.process && thread == caller.thread;
}

// The two variants of strerror_r differ in what they return.
[[maybe_unused]] const char* errorText(int, const char* buffer) {
    return buffer;
}
[[maybe_unused]] const char* errorText(const char* returned, const char*) {
    return returned;
}

void copyText(char* text, size_t size, const char* source) {
    if (size > 0) {
        const size_t length = strnlen(source, size - 1);
        std::memcpy(text, source, length);
        text[length] = '\0';
    }
}

}  // namespace

int32_t startSocketLayer() {
    return 0;
}

void stopSocketLayer() {}

CancellationHold::CancellationHold() : stateBefore_(0) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &stateBefore_);
}

CancellationHold::~CancellationHold() {
    int held = 0;
    pthread_setcancelstate(stateBefore_, &held);
}

StreamWriteHold::StreamWriteHold(std::FILE* stream)
    : stateBefore_(), isHeld_(mayRaiseSignals(stream)), hasFailed_(false) {
    static_assert(sizeof(sigset_t) <= sizeof stateBefore_);
    if (isHeld_) {
        auto* const before = new (stateBefore_) sigset_t;
        const sigset_t raised = writeSignals();
        pthread_sigmask(SIG_BLOCK, &raised, before);
    }
}

StreamWriteHold::~StreamWriteHold() {
    if (isHeld_) {
        const auto* const before = std::launder(reinterpret_cast<const sigset_t*>(stateBefore_));
        if (hasFailed_) {
            takeRaisedSignals(*before);
        }
        pthread_sigmask(SIG_SETMASK, before, nullptr);
    }
}

void watchForks(void (*before)(), void (*inParent)(), void (*inChild)()) {
    pthread_atfork(before, inParent, inChild);
}

SocketResult resolveHost(const char* host, const char* port, HostAddress* result) {
    const CancellationHold hold;
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int code = getaddrinfo(host, port, &hints, &list);
    if (code != 0) {
        // A system failure's number is the system's own; all others are the resolver's.
        return {-1, code == EAI_SYSTEM ? errno : code};
    }
    *result = {list->ai_family,   list->ai_socktype,
               list->ai_protocol, static_cast<uint32_t>(list->ai_addrlen),
               list->ai_addr,     list};
    return {0, 0};
}

void releaseHostAddress(HostAddress* address) {
    if (address->list != nullptr) {
        freeaddrinfo(static_cast<addrinfo*>(address->list));
        *address = {};
    }
}

void describeResolverError(int32_t error, char* text, size_t size) {
    const CancellationHold hold;
    if (error > 0) {
        describeSocketError(error, text, size);  // the resolver's own numbers are negative
    } else {
        copyText(text, size, gai_strerror(error));
    }
}

void describeSocketError(int32_t error, char* text, size_t size) {
    const CancellationHold hold;
    char buffer[256] = {};
    copyText(text, size, errorText(strerror_r(error, buffer, sizeof buffer), buffer));
}

SocketResult createSocket(const HostAddress& address) {
    const CancellationHold hold;
    return fromCall(moveAwayFromStandardStreams(socket(address.family, address.type | SOCK_CLOEXEC, address.protocol)));
}

SocketResult setConnectionOptions(int32_t socket) {
    const int32_t on = 1;
    SocketResult result = fromCall(setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on));
    if (result.value >= 0) {
        result = fromCall(setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on));
    }
    return result;
}

SocketResult setNonBlocking(int32_t socket, bool nonBlocking) {
    const CancellationHold hold;
    const int flags = fcntl(socket, F_GETFL);
    if (flags < 0) {
        return fromCall(flags);
    }
    return fromCall(fcntl(socket, F_SETFL, nonBlocking ? flags | O_NONBLOCK : flags & ~O_NONBLOCK));
}

SocketResult startConnect(int32_t socket, const HostAddress& address) {
    const CancellationHold hold;
    SocketResult result = fromCall(connect(socket, static_cast<const sockaddr*>(address.address), address.length));
    if (result.value < 0 && result.error == EINTR) {
        result.error = kErrorWouldBlock;  // an interrupted connect goes on in the background
    }
    return result;
}

ConnectWait waitForConnect(int32_t socket) {
    const CancellationHold hold;
    const int64_t deadline = monotonicMilliseconds() + connectTimeout();
    pollfd descriptor = {socket, POLLOUT, 0};
    ConnectWait outcome = {.ready = -1, .error = EINTR, .mayHaveFailed = false};
    while (outcome.ready < 0 && outcome.error == EINTR) {
        const int64_t remaining = deadline - monotonicMilliseconds();
        const SocketResult polled = fromCall(poll(&descriptor, 1, remaining > 0 ? static_cast<int>(remaining) : 0));
        outcome = {.ready = polled.value, .error = polled.error, .mayHaveFailed = false};
    }
    if (outcome.ready > 0) {
        if ((descriptor.revents & POLLNVAL) != 0) {
            outcome = {.ready = -1, .error = EBADF, .mayHaveFailed = false};
        } else {
            // A refused connect is merely writable on some systems, so the socket is always asked.
            outcome.mayHaveFailed = true;
        }
    }
    return outcome;
}

SocketResult pendingSocketError(int32_t socket) {
    int32_t pending = 0;
    socklen_t length = sizeof pending;
    SocketResult result = fromCall(getsockopt(socket, SOL_SOCKET, SO_ERROR, &pending, &length));
    if (result.value >= 0) {
        result.error = pending;
    }
    return result;
}

SocketResult sendBytes(int32_t socket, const void* data, size_t size) {
    const CancellationHold hold;
    SocketResult result = {-1, EINTR};
    while (result.value < 0 && result.error == EINTR) {
        result = fromCall(send(socket, data, callSize(size), MSG_NOSIGNAL));
    }
    return result;
}

SocketResult waitReadable(int32_t socket) {
    const CancellationHold hold;
    pollfd descriptor = {socket, POLLIN, 0};
    SocketResult result = {-1, EINTR};
    while (result.value < 0 && result.error == EINTR) {
        result = fromCall(poll(&descriptor, 1, -1));
    }
    if (result.value > 0 && (descriptor.revents & POLLNVAL) != 0) {
        result = {-1, EBADF};
    }
    return result;
}

SocketResult receiveBytes(int32_t socket, void* data, size_t size) {
    const CancellationHold hold;
    SocketResult result = {-1, EINTR};
    while (result.value < 0 && result.error == EINTR) {
        result = fromCall(recv(socket, data, callSize(size), 0));
    }
    return result;
}

void shutdownSocket(int32_t socket) {
    shutdown(socket, SHUT_RDWR);
}

SocketResult closeSocket(int32_t socket) {
    const CancellationHold hold;
    return fromCall(close(socket));
}

void initialiseMutex(Mutex* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (mutex->storage) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void enterMutex(Mutex* mutex) {
    pthread_mutex_lock(nativeMutex(mutex));
}

void leaveMutex(Mutex* mutex) {
    pthread_mutex_unlock(nativeMutex(mutex));
}

void destroyMutex(Mutex* mutex) {
    pthread_mutex_destroy(nativeMutex(mutex));
}

void yieldThread() {
    sched_yield();
}

uint32_t currentProcessId() {
    const uint32_t known = forkWipedPage.processId.load(std::memory_order_relaxed);
    return known != 0 ? known : learnProcessId();
}

uint32_t currentThreadId() {
    return callingThread().thread;
}

ThreadIdentity callingThread() {
    const uint32_t processId = currentProcessId();
    return knownThread.process == processId ? knownThread : learnThread(processId);
}

bool isCallingThread(uint32_t process, uint32_t thread) {
    const bool isKnownThread = process == forkWipedPage.processId.load(std::memory_order_relaxed) &&
                               process == knownThread.process && thread == knownThread.thread;
    return isKnownThread || isLearntThread(process, thread);
}

LocalTime currentLocalTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (!knownSecond.isKnown || knownSecond.second != now.tv_sec) {
        knownSecond.second = now.tv_sec;
        localtime_r(&now.tv_sec, &knownSecond.calendar);
        knownSecond.isKnown = true;
    }
    LocalTime result = {};
    result.calendar = knownSecond.calendar;
    result.milliseconds = static_cast<int32_t>(now.tv_nsec / 1000000);
    return result;
}

std::FILE* openForAppending(const char* name, int32_t* error) {
    constexpr mode_t kForEverybodyAsMasked = 0666;
    const CancellationHold hold;
    const int descriptor =
        moveAwayFromStandardStreams(open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kForEverybodyAsMasked));
    std::FILE* const stream = descriptor < 0 ? nullptr : fdopen(descriptor, "a");
    if (stream == nullptr) {
        *error = errno;
        if (descriptor >= 0) {
            close(descriptor);
        }
    } else {
        setvbuf(stream, nullptr, _IONBF, 0);
        regularFile.store(isRegularFile(descriptor) ? stream : nullptr, std::memory_order_relaxed);
    }
    return stream;
}

HeapState checkHeap() {
    return HeapState::unknown;
}

}  // namespace stapi::platform
