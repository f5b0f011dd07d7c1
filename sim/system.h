#ifndef ZULSTATS_SIM_SYSTEM_H
#define ZULSTATS_SIM_SYSTEM_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

// The seam to the operating system: everything declared here is defined once in posix/ and once in windows/.
namespace gatewaysim {

// A socket, wide enough for every system.
using NativeSocket = intptr_t;

// Once raised it stays raised, and every wait that knows it ends.
class StopSignal {
  public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Safe in a signal handler.
    void raise() noexcept;
    bool isRaised() const noexcept {
        return raised_.load();
    }
    NativeSocket waitHandle() const noexcept {
        return readEnd_;
    }

  private:
    NativeSocket readEnd_ = -1;
    NativeSocket writeEnd_ = -1;
    std::atomic<bool> raised_{false};
};

namespace native {

enum class Interest { receive, send, stopOnly };
enum class Waited { ready, stopped, timedOut };

// Waits until the socket is ready, the signal is raised or the time is over; without a time, as long as it takes.
Waited wait(NativeSocket socket, Interest interest, const StopSignal& stop,
            std::optional<std::chrono::milliseconds> atMost = std::nullopt);

inline constexpr NativeSocket kNoSocket = -1;

struct Interests {
    bool receive = false;
    bool send = false;
};

struct SocketWait {
    NativeSocket socket;
    Interests wanted;  // none: it is left out
    Interests ready;   // filled by the wait; the end of a stream is something to receive
};

// Waits until one of the two can do something that is wanted of it, or the signal is raised.
Waited waitForEither(SocketWait& first, SocketWait& second, const StopSignal& stop);

struct Transfer {
    enum class Outcome { moved, ended, wouldBlock, failed };
    Outcome outcome;
    size_t count;
    std::string failure;
};

Transfer receiveSome(NativeSocket socket, uint8_t* buffer, size_t size);
Transfer sendSome(NativeSocket socket, const uint8_t* bytes, size_t size);
void finishSending(NativeSocket socket) noexcept;
void resetOnClose(NativeSocket socket) noexcept;
void closeSocket(NativeSocket socket) noexcept;

struct Listening {
    NativeSocket socket;
    uint16_t port;
};

// The host is a numeric address. Throws std::runtime_error.
Listening listenOn(const std::string& host, uint16_t port);

struct Accepted {
    enum class Outcome { connected, nobody, outOfResources };
    Outcome outcome;
    NativeSocket socket;
    std::string failure;
};

Accepted acceptOne(NativeSocket listener);

struct Connected {
    NativeSocket socket;  // kNoSocket: the failure says why, or the signal was raised
    std::string failure;
    bool isOwnLack;  // of descriptors or memory: the host has nothing to do with it
};

// Tries the host's addresses one after the other, each for as long as given. The host is a name or a numeric address.
Connected connectTo(const std::string& host, uint16_t port, std::chrono::milliseconds atMostEach,
                    const StopSignal& stop);

// Opens a file for writing that does not exist yet; others than its owner cannot read it, where the system knows such a
// thing. Throws std::runtime_error with the reason. To be closed with std::fclose.
std::FILE* createFile(const std::string& path);

}  // namespace native

// To be called before anything else of this header.
void prepareProcess();

// Termination requests (signals, console control events) raise the signal, which must live as long as the process.
void raiseOnTerminationRequest(StopSignal& stop);

// Raises the signal at the end of standard input. To be called on a thread of its own; returns when the signal is
// raised.
void raiseAtEndOfStandardInput(StopSignal& stop);

}  // namespace gatewaysim

#endif
