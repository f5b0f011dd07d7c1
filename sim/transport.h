#ifndef ZULSTATS_SIM_TRANSPORT_H
#define ZULSTATS_SIM_TRANSPORT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "bytes.h"
#include "system.h"

namespace gatewaysim {

// Thrown by every wait once the program is to end.
struct Stopped {};

class ConnectionLost : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One accepted connection; closes it at the end of its life.
class Connection {
  public:
    Connection(NativeSocket socket, const StopSignal& stop) : socket_(socket), stop_(stop) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // As many bytes as wanted, fewer only when the peer ended the connection before.
    Bytes receive(size_t wanted);
    void send(std::span<const uint8_t> bytes);
    // Takes what has come by now. Returns the number of bytes taken.
    size_t receiveWhatIsThere();
    // Takes what the peer sends until it ends its stream.
    void receiveToTheEnd();
    // Ends this side's stream first: a close with bytes unread would reset the connection and lose the last reply.
    void finish();
    // Ends this side's stream; what the peer sends is still received.
    void endSending();
    // What has come by now, without a wait; its outcome is `wouldBlock` where nothing has.
    native::Transfer receiveNow(std::span<uint8_t> buffer);
    // As many of the bytes as go at once, without a wait.
    native::Transfer sendNow(std::span<const uint8_t> bytes);
    // The peer is to see a reset when the connection is closed.
    void resetOnClose();
    void pause(std::chrono::milliseconds duration) const;

    NativeSocket socket() const {
        return socket_;
    }

  private:
    size_t receiveSome(std::span<uint8_t> buffer);
    void waitFor(native::Interest interest) const;

    const NativeSocket socket_;
    const StopSignal& stop_;
};

}  // namespace gatewaysim

#endif
