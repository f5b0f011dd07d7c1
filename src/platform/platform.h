// What differs between Windows and POSIX: sockets, locks, identifiers, the clock, files and the heap check. One file
// per system implements it. Nothing here traces or allocates on its own account.
#ifndef ZULSTATS_PLATFORM_PLATFORM_H
#define ZULSTATS_PLATFORM_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace stapi::platform {

// ---- Sockets --------------------------------------------------------------------------------------------------------

// The three socket errors that are compared by value, in the system's own numbers.
extern const int32_t kErrorWouldBlock;
extern const int32_t kErrorNetworkUnreachable;
extern const int32_t kErrorConnectionRefused;

constexpr int32_t kNoSocket = -1;

// Outcome of a socket call: value is the call's own result (negative: failed), error the system's number for the
// failure, and 0 after a call that succeeded or met the end of the stream.
struct SocketResult {
    int32_t value;
    int32_t error;
};

// The first address of a resolved host. release with releaseHostAddress.
struct HostAddress {
    int32_t family;
    int32_t type;
    int32_t protocol;
    uint32_t length;
    const void* address;
    void* list;
};

// Outcome of waiting for a non-blocking connect: ready is above 0 when the connect has ended, 0 on time-out, negative
// when the wait itself failed (error says why). mayHaveFailed: the socket's own error has to be asked for.
struct ConnectWait {
    int32_t ready;
    int32_t error;
    bool mayHaveFailed;
};

// Starts the socket layer of the process; 0, or the layer's own number for its failure.
int32_t startSocketLayer();
void stopSocketLayer();

// Resolves host and port text into stream addresses; value 0 on success, else error is the resolver's number.
SocketResult resolveHost(const char* host, const char* port, HostAddress* result);
void releaseHostAddress(HostAddress* address);

// Writes the text of a number that resolveHost, or another socket call, gave. Always ends with a NUL byte.
void describeResolverError(int32_t error, char* text, size_t size);
void describeSocketError(int32_t error, char* text, size_t size);

// The new socket's descriptor, not inherited by child programs and never one of the standard streams', or a negative
// value.
SocketResult createSocket(const HostAddress& address);
// Keep-alive on, then delaying of small packets off; negative when either fails.
SocketResult setConnectionOptions(int32_t socket);
SocketResult setNonBlocking(int32_t socket, bool nonBlocking);
SocketResult startConnect(int32_t socket, const HostAddress& address);
// Waits until a started connect has ended, or connectTimeout() has passed.
ConnectWait waitForConnect(int32_t socket);
// The socket's pending error: value negative when it could not be asked for, else error holds it.
SocketResult pendingSocketError(int32_t socket);
// One send call of all bytes; value is the number of bytes sent. Never raises a signal.
SocketResult sendBytes(int32_t socket, const void* data, size_t size);
// Waits without limit until the socket is readable; value negative on failure.
SocketResult waitReadable(int32_t socket);
// One receive call; value is the number of bytes received, 0 at the end of the stream.
SocketResult receiveBytes(int32_t socket, void* data, size_t size);
// Cuts a connection off in both directions, so that a thread that waits on it wakes up and meets the end of the stream.
// The descriptor stays open.
void shutdownSocket(int32_t socket);
// value 0, or -1.
SocketResult closeSocket(int32_t socket);

// How long waitForConnect waits, in milliseconds: 60,000 unless a test has shortened it.
int32_t connectTimeout();
void setConnectTimeoutForTest(int32_t milliseconds);

// ---- Signals, cancellation, forks -----------------------------------------------------------------------------------

// Keeps the calling thread from being cancelled, for a scope. What the library waits for, writes and locks, it does in
// such a scope, so that a thread is never cancelled inside it.
class CancellationHold {
  public:
    CancellationHold();
    ~CancellationHold();
    CancellationHold(const CancellationHold&) = delete;
    CancellationHold& operator=(const CancellationHold&) = delete;

  private:
    int32_t stateBefore_;
};

// For a scope in which the thread writes to a stream: keeps it from the signals that a failing write raises, and, where
// appending is not one step of the system, other processes that hold this too from writing to the file in between. One
// that stays in its scope for long holds up each line of the others for a second at most.
class StreamWriteHold {
  public:
    explicit StreamWriteHold(std::FILE* stream);
    ~StreamWriteHold();
    // A write in this scope has failed: the signal that this may have raised goes with the scope.
    void noteFailure() {
        hasFailed_ = true;
    }
    StreamWriteHold(const StreamWriteHold&) = delete;
    StreamWriteHold& operator=(const StreamWriteHold&) = delete;

  private:
    alignas(16) unsigned char stateBefore_[128];
    bool isHeld_;
    bool hasFailed_;
};

// From now on every fork calls these: before it, and behind it in the parent and in the child. On a system without
// forks nothing happens.
void watchForks(void (*before)(), void (*inParent)(), void (*inChild)());

// ---- Locks ----------------------------------------------------------------------------------------------------------

// Storage of the system's recursive mutual-exclusion object.
struct Mutex {
    alignas(16) unsigned char storage[64];
};

void initialiseMutex(Mutex* mutex);
void enterMutex(Mutex* mutex);
void leaveMutex(Mutex* mutex);
void destroyMutex(Mutex* mutex);
// Gives the processor to another thread.
void yieldThread();

// ---- Identifiers, clock, files, heap --------------------------------------------------------------------------------

uint32_t currentProcessId();
uint32_t currentThreadId();

// Both at once.
struct ThreadIdentity {
    uint32_t process;
    uint32_t thread;
};
ThreadIdentity callingThread();
// Whether these are the ids of the calling thread and of its process.
bool isCallingThread(uint32_t process, uint32_t thread);

struct LocalTime {
    std::tm calendar;
    int32_t milliseconds;
};
LocalTime currentLocalTime();

// Opens a file for appending, not inherited by child programs, so that one formatted write reaches the system as one
// write. Null on failure, with the C library's error number in *error.
std::FILE* openForAppending(const char* name, int32_t* error);

// Outcome of the runtime library's heap check.
enum class HeapState : int32_t { badNode = -4, badStart = -3, fine = -2, empty = -1, unknown = 0 };
HeapState checkHeap();

}  // namespace stapi::platform

#endif
