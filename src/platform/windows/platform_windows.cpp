#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
// winsock2.h goes before windows.h.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <io.h>
#include <malloc.h>
#include <share.h>
#include <sys/timeb.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "platform/platform.h"

namespace stapi::platform {

const int32_t kErrorWouldBlock = WSAEWOULDBLOCK;
const int32_t kErrorNetworkUnreachable = WSAENETUNREACH;
const int32_t kErrorConnectionRefused = WSAECONNREFUSED;

namespace {

constexpr size_t kTraceBuffer = 65536;

SocketResult fromCall(int value) {
    const int32_t error = value < 0 ? WSAGetLastError() : 0;
    return {value, error};
}

// Windows keeps its handles within 32 bits, also in a 64-bit process.
SOCKET nativeSocket(int32_t socket) {
    return socket < 0 ? INVALID_SOCKET : static_cast<SOCKET>(static_cast<uint32_t>(socket));
}

int callSize(size_t size) {
    return size > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(size);
}

CRITICAL_SECTION* nativeMutex(Mutex* mutex) {
    static_assert(sizeof(CRITICAL_SECTION) <= sizeof(Mutex::storage));
    static_assert(alignof(CRITICAL_SECTION) <= alignof(Mutex));
    return std::launder(reinterpret_cast<CRITICAL_SECTION*>(mutex->storage));
}

fd_set setOf(SOCKET socket) {
    fd_set set;
    FD_ZERO(&set);
    set.fd_array[0] = socket;
    set.fd_count = 1;
    return set;
}

// What a call reports that shutdownSocket woke, or that comes after it.
bool isCutOff(const SocketResult& result) {
    return result.value < 0 && (result.error == WSA_OPERATION_ABORTED || result.error == WSAESHUTDOWN);
}

// Whether another thread has cut the socket off, and nothing of the daemon's is there to be read.
bool isCutOffByNow(int32_t socket) {
    char next = 0;
    setNonBlocking(socket, true);
    const SocketResult peeked = fromCall(recv(nativeSocket(socket), &next, sizeof next, MSG_PEEK));
    setNonBlocking(socket, false);
    return isCutOff(peeked);
}

// Sockets of the library are not inherited by child programs.
void keepFromChildren(SOCKET socket) {
    SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
}

OVERLAPPED rangeBehindTheEnd() {
    OVERLAPPED range = {};
    range.OffsetHigh = 0x7FFFFFFF;
    return range;
}

void describe(int32_t error, char* text, size_t size) {
    if (size > 0) {
        const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                            static_cast<DWORD>(error), 0, text, static_cast<DWORD>(size), nullptr);
        size_t end = length < size ? length : size - 1;
        while (end > 0 && (text[end - 1] == '\r' || text[end - 1] == '\n' || text[end - 1] == ' ')) {
            --end;
        }
        text[end] = '\0';
        if (end == 0) {
            strncpy_s(text, size, "Unknown error", _TRUNCATE);
        }
    }
}

}  // namespace

int32_t startSocketLayer() {
    WSADATA data = {};
    return WSAStartup(MAKEWORD(2, 0), &data);
}

void stopSocketLayer() {
    WSACleanup();
}

// Threads are not cancelled, and there are no forks.
CancellationHold::CancellationHold() : stateBefore_(0) {}

CancellationHold::~CancellationHold() = default;

// The runtime library appends in two steps, seek and write; a range far behind any end stands for the file meanwhile.
StreamWriteHold::StreamWriteHold(std::FILE* stream) : stateBefore_(), isHeld_(false), hasFailed_(false) {
    constexpr ULONGLONG kMostMilliseconds = 1000;
    const ULONGLONG begin = GetTickCount64();
    HANDLE file = INVALID_HANDLE_VALUE;
    const int descriptor = _fileno(stream);
    if (descriptor >= 0) {
        file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    }
    bool isHeldByAnother = file != INVALID_HANDLE_VALUE;
    while (isHeldByAnother && GetTickCount64() - begin < kMostMilliseconds) {
        OVERLAPPED range = rangeBehindTheEnd();
        isHeld_ = LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &range) != 0;
        isHeldByAnother = !isHeld_ && GetLastError() == ERROR_LOCK_VIOLATION;
        if (isHeldByAnother) {
            Sleep(1);
        }
    }
    std::memcpy(stateBefore_, &file, sizeof file);
}

StreamWriteHold::~StreamWriteHold() {
    if (isHeld_) {
        HANDLE held = INVALID_HANDLE_VALUE;
        std::memcpy(&held, stateBefore_, sizeof held);
        OVERLAPPED range = rangeBehindTheEnd();
        UnlockFileEx(held, 0, 1, 0, &range);
    }
}

void watchForks(void (*)(), void (*)(), void (*)()) {}

SocketResult resolveHost(const char* host, const char* port, HostAddress* result) {
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int code = getaddrinfo(host, port, &hints, &list);
    if (code != 0) {
        return {-1, code};
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
    describe(error, text, size);
}

void describeSocketError(int32_t error, char* text, size_t size) {
    describe(error, text, size);
}

SocketResult createSocket(const HostAddress& address) {
    const SOCKET created = ::socket(address.family, address.type, address.protocol);
    SocketResult result = {kNoSocket, 0};
    if (created == INVALID_SOCKET) {
        result.error = WSAGetLastError();
    } else if (created > static_cast<SOCKET>(INT_MAX)) {
        closesocket(created);
        result.error = WSAEMFILE;
    } else {
        keepFromChildren(created);
        result.value = static_cast<int32_t>(created);
    }
    return result;
}

SocketResult setConnectionOptions(int32_t socket) {
    const int32_t on = 1;
    const auto* const value = reinterpret_cast<const char*>(&on);
    SocketResult result = fromCall(setsockopt(nativeSocket(socket), SOL_SOCKET, SO_KEEPALIVE, value, sizeof on));
    if (result.value >= 0) {
        result = fromCall(setsockopt(nativeSocket(socket), IPPROTO_TCP, TCP_NODELAY, value, sizeof on));
    }
    return result;
}

SocketResult setNonBlocking(int32_t socket, bool nonBlocking) {
    u_long mode = nonBlocking ? 1 : 0;
    return fromCall(ioctlsocket(nativeSocket(socket), static_cast<long>(FIONBIO), &mode));
}

SocketResult startConnect(int32_t socket, const HostAddress& address) {
    return fromCall(
        connect(nativeSocket(socket), static_cast<const sockaddr*>(address.address), static_cast<int>(address.length)));
}

ConnectWait waitForConnect(int32_t socket) {
    const SOCKET descriptor = nativeSocket(socket);
    fd_set writable = setOf(descriptor);
    fd_set exceptional = setOf(descriptor);
    const int32_t limit = connectTimeout();
    timeval timeLimit = {limit / 1000, (limit % 1000) * 1000};
    // The first argument, a count of descriptors elsewhere, is ignored here.
    const SocketResult selected = fromCall(select(0, nullptr, &writable, &exceptional, &timeLimit));
    const bool isExceptional = selected.value > 0 && FD_ISSET(descriptor, &exceptional) != 0;
    return {selected.value, selected.error, isExceptional};
}

SocketResult pendingSocketError(int32_t socket) {
    int32_t pending = 0;
    int length = sizeof pending;
    SocketResult result =
        fromCall(getsockopt(nativeSocket(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&pending), &length));
    if (result.value >= 0) {
        result.error = pending;
    }
    return result;
}

SocketResult sendBytes(int32_t socket, const void* data, size_t size) {
    return fromCall(send(nativeSocket(socket), static_cast<const char*>(data), callSize(size), 0));
}

SocketResult waitReadable(int32_t socket) {
    // In slices: a wait that begins in the very moment of the socket's shutdown may not be woken, nor any later one.
    SocketResult selected = {0, 0};
    bool isOver = false;
    while (!isOver) {
        fd_set readable = setOf(nativeSocket(socket));
        timeval oneSecond = {1, 0};
        selected = fromCall(select(0, &readable, nullptr, nullptr, &oneSecond));
        isOver = selected.value != 0 || isCutOffByNow(socket);
    }
    return selected.value == 0 || isCutOff(selected) ? SocketResult{1, 0} : selected;
}

SocketResult receiveBytes(int32_t socket, void* data, size_t size) {
    // The system may touch the whole area that it is given, so it is not given what a daemon has merely announced.
    constexpr size_t kMostBytesOfACall = 1 << 20;
    const int asked = callSize(size < kMostBytesOfACall ? size : kMostBytesOfACall);
    const SocketResult received = fromCall(recv(nativeSocket(socket), static_cast<char*>(data), asked, 0));
    return isCutOff(received) ? SocketResult{0, 0} : received;
}

void shutdownSocket(int32_t socket) {
    shutdown(nativeSocket(socket), SD_BOTH);
    // Calls that begin from here on fail; one that waits already is not always woken by the shutdown.
    CancelIoEx(reinterpret_cast<HANDLE>(nativeSocket(socket)), nullptr);
}

SocketResult closeSocket(int32_t socket) {
    return fromCall(closesocket(nativeSocket(socket)));
}

void initialiseMutex(Mutex* mutex) {
    InitializeCriticalSection(new (mutex->storage) CRITICAL_SECTION);
}

void enterMutex(Mutex* mutex) {
    EnterCriticalSection(nativeMutex(mutex));
}

void leaveMutex(Mutex* mutex) {
    LeaveCriticalSection(nativeMutex(mutex));
}

void destroyMutex(Mutex* mutex) {
    DeleteCriticalSection(nativeMutex(mutex));
}

void yieldThread() {
    SwitchToThread();
}

uint32_t currentProcessId() {
    return GetCurrentProcessId();
}

uint32_t currentThreadId() {
    return GetCurrentThreadId();
}

ThreadIdentity callingThread() {
    return {GetCurrentProcessId(), GetCurrentThreadId()};
}

bool isCallingThread(uint32_t process, uint32_t thread) {
    return thread == GetCurrentThreadId() && process == GetCurrentProcessId();
}

LocalTime currentLocalTime() {
    __timeb64 now = {};
    _ftime64(&now);
    LocalTime result = {};
    _localtime64_s(&result.calendar, &now.time);
    result.milliseconds = now.millitm;
    return result;
}

std::FILE* openForAppending(const char* name, int32_t* error) {
    // "N": not inherited by child programs. Others may read the trace while it is written.
    std::FILE* const stream = _fsopen(name, "aN", _SH_DENYNO);
    if (stream == nullptr) {
        *error = errno;
    } else {
        // Without a buffer the runtime library may write a line in two pieces; every line is flushed.
        setvbuf(stream, nullptr, _IOFBF, kTraceBuffer);
    }
    return stream;
}

HeapState checkHeap() {
    HeapState state = HeapState::unknown;
    switch (_heapchk()) {
        case _HEAPBADNODE:
            state = HeapState::badNode;
            break;
        case _HEAPBADBEGIN:
            state = HeapState::badStart;
            break;
        case _HEAPOK:
            state = HeapState::fine;
            break;
        case _HEAPEMPTY:
            state = HeapState::empty;
            break;
        default:
            break;
    }
    return state;
}

}  // namespace stapi::platform
