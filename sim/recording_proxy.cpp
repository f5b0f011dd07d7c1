#include "recording_proxy.h"

#include <array>
#include <chrono>
#include <span>
#include <string>

#include "exchange_recorder.h"

namespace gatewaysim {

namespace {

constexpr std::chrono::seconds kConnectLimit{10};

using Outcome = native::Transfer::Outcome;

// One end of a relayed connection.
class Side {
  public:
    explicit Side(Connection& connection) : connection_(connection) {}

    // While something waits to be sent to the other side nothing more is taken from this one.
    native::SocketWait waitOf(const Side& other) const {
        return {connection_.socket(), {sends_ && other.unsent_.empty(), !unsent_.empty()}, {}};
    }
    native::Transfer receive(std::span<uint8_t> buffer) {
        return connection_.receiveNow(buffer);
    }
    // Sends now what can be sent, and the rest when there is room for it. False: this side takes nothing any more.
    bool take(std::span<const uint8_t> bytes) {
        unsent_.insert(unsent_.end(), bytes.begin(), bytes.end());
        return sendUnsent();
    }
    bool sendUnsent() {
        while (!unsent_.empty()) {
            const native::Transfer transfer = connection_.sendNow(unsent_);
            if (transfer.outcome == Outcome::wouldBlock) {
                return true;
            }
            if (transfer.outcome != Outcome::moved) {
                unsent_.clear();
                return false;
            }
            unsent_.erase(unsent_.begin(), unsent_.begin() + static_cast<ptrdiff_t>(transfer.count));
        }
        if (isToEnd_) {
            connection_.endSending();
        }
        return true;
    }
    // After what is still to be sent.
    void end() {
        isToEnd_ = true;
        sendUnsent();
    }
    void reset() {
        connection_.resetOnClose();
    }
    void stopReceiving() {
        sends_ = false;
    }
    bool isOver() const {
        return !sends_ && unsent_.empty();
    }

  private:
    Connection& connection_;
    Bytes unsent_;
    bool sends_ = true;  // as far as this side is concerned
    bool isToEnd_ = false;
};

// One client's connection and the one to the gateway that belongs to it.
class Relay {
  public:
    Relay(Connection& client, Connection& gateway, ExchangeRecorder& recorder, const StopSignal& stop)
        : client_(client), gateway_(gateway), recorder_(recorder), stop_(stop) {}

    // Returns how the connection ended, for the log.
    const char* run() {
        while (!isBroken_ && !(client_.isOver() && gateway_.isOver())) {
            native::SocketWait client = client_.waitOf(gateway_);
            native::SocketWait gateway = gateway_.waitOf(client_);
            if (native::waitForEither(client, gateway, stop_) == native::Waited::stopped) {
                throw Stopped{};
            }
            serve(client.ready, gateway.ready);
        }
        return ending_;
    }

  private:
    // The gateway first: what it sent before the client's next request belongs to the one before.
    void serve(native::Interests client, native::Interests gateway) {
        if (client.send && !client_.sendUnsent()) {
            resetTo(gateway_, kResetByClient);
        }
        if (gateway.send && !gateway_.sendUnsent()) {
            client_.stopReceiving();
        }
        if (gateway.receive && !isBroken_) {
            takeFromGateway();
        }
        if (client.receive && !isBroken_) {
            takeFromClient();
        }
    }

    void takeFromGateway() {
        const native::Transfer transfer = gateway_.receive(buffer_);
        switch (transfer.outcome) {
            case Outcome::wouldBlock:
                break;
            case Outcome::moved: {
                const auto bytes = std::span(buffer_).first(transfer.count);
                recorder_.gatewaySent(bytes);
                if (!client_.take(bytes)) {
                    resetTo(gateway_, kResetByClient);
                }
                break;
            }
            case Outcome::ended:
                noteEnd(Ending::closed);
                gateway_.stopReceiving();
                client_.end();
                break;
            case Outcome::failed:
                noteEnd(Ending::reset);
                resetTo(client_, "the gateway reset it");
                break;
        }
    }

    void takeFromClient() {
        const native::Transfer transfer = client_.receive(buffer_);
        switch (transfer.outcome) {
            case Outcome::wouldBlock:
                break;
            case Outcome::moved: {
                // Passed on before the exchange that it ends is written: the client shall not wait for a disk.
                const auto bytes = std::span(buffer_).first(transfer.count);
                if (!gateway_.take(bytes)) {
                    // What a gateway sent before it stopped taking requests is still to be passed on.
                    client_.stopReceiving();
                }
                recorder_.clientSent(bytes);
                break;
            }
            case Outcome::ended:
                hasClientEnded_ = true;
                client_.stopReceiving();
                gateway_.end();
                break;
            case Outcome::failed:
                resetTo(gateway_, kResetByClient);
                break;
        }
    }

    // A gateway that ends behind its client does what every gateway does.
    void noteEnd(Ending ending) {
        if (!hasClientEnded_) {
            recorder_.gatewayEnded(ending);
        }
    }

    void resetTo(Side& otherSide, const char* ending) {
        otherSide.reset();
        ending_ = ending;
        isBroken_ = true;
    }

    static constexpr const char* kResetByClient = "the client reset it";

    Side client_;
    Side gateway_;
    ExchangeRecorder& recorder_;
    const StopSignal& stop_;
    bool hasClientEnded_ = false;
    bool isBroken_ = false;
    const char* ending_ = "both sides ended it";
    std::array<uint8_t, 64U << 10> buffer_{};
};

}  // namespace

void RecordingProxy::serve(Connection& client, uint64_t number) {
    const std::string prefix = "connection " + std::to_string(number) + ": ";
    const native::Connected connected = native::connectTo(gateway_.host, gateway_.port, kConnectLimit, stop_);
    if (connected.socket == native::kNoSocket) {
        if (stop_.isRaised()) {
            throw Stopped{};
        }
        const std::string gateway = "the gateway " + textOf(gateway_);
        log_.always(prefix + (connected.isOwnLack
                                  ? "no connection to " + gateway + " can be opened: " + connected.failure +
                                        "; let fewer clients connect, or raise what this system allows "
                                        "(ulimit -n)"
                                  : gateway + " cannot be reached: " + connected.failure +
                                        "; is it running, and is the address right?"));
        client.resetOnClose();
        return;
    }
    Connection gateway(connected.socket, stop_);
    ExchangeRecorder recorder(writer_, log_, number);
    try {
        log_.whenVerbose(prefix + Relay(client, gateway, recorder, stop_).run());
        recorder.finish();
    } catch (const Stopped&) {
        recorder.stop();
        throw;
    }
}

}  // namespace gatewaysim
