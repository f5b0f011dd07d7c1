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

// One client's connection and the one to the gateway that belongs to it.
class Relay {
  public:
    Relay(Connection& client, Connection& gateway, ExchangeRecorder& recorder, const StopSignal& stop)
        : client_(client), gateway_(gateway), recorder_(recorder), stop_(stop) {}

    // Returns how the connection ended, for the log.
    const char* run() {
        while (clientSends_ || gatewaySends_) {
            const native::Readable ready =
                native::waitForEither(clientSends_ ? client_.socket() : native::kNoSocket,
                                      gatewaySends_ ? gateway_.socket() : native::kNoSocket, stop_);
            if (ready.stopped) {
                throw Stopped{};
            }
            // The gateway first: what it sent before the client's next request belongs to the one before.
            if ((ready.second && !takeFromGateway()) || (ready.first && !takeFromClient())) {
                break;
            }
        }
        return ending_;
    }

  private:
    // Both return false when nothing can be passed on any more.
    bool takeFromGateway() {
        const native::Transfer transfer = gateway_.receiveNow(buffer_);
        switch (transfer.outcome) {
            case Outcome::wouldBlock:
                break;
            case Outcome::moved: {
                const auto bytes = std::span(buffer_).first(transfer.count);
                recorder_.gatewaySent(bytes);
                return sendTo(client_, bytes) || resetTo(gateway_, "the client reset it");
            }
            case Outcome::ended:
                noteEnd(Ending::closed);
                gatewaySends_ = false;
                client_.endSending();
                break;
            case Outcome::failed:
                noteEnd(Ending::reset);
                return resetTo(client_, "the gateway reset it");
        }
        return true;
    }

    bool takeFromClient() {
        const native::Transfer transfer = client_.receiveNow(buffer_);
        switch (transfer.outcome) {
            case Outcome::wouldBlock:
                break;
            case Outcome::moved: {
                const auto bytes = std::span(buffer_).first(transfer.count);
                recorder_.clientSent(bytes);
                // What a gateway sent before it stopped taking requests is still to be passed on.
                clientSends_ = sendTo(gateway_, bytes);
                break;
            }
            case Outcome::ended:
                clientSends_ = false;
                clientEnded_ = true;
                gateway_.endSending();
                break;
            case Outcome::failed:
                return resetTo(gateway_, "the client reset it");
        }
        return true;
    }

    // A gateway that ends behind its client does what every gateway does.
    void noteEnd(Ending ending) {
        if (!clientEnded_) {
            recorder_.gatewayEnded(ending);
        }
    }

    static bool sendTo(Connection& target, std::span<const uint8_t> bytes) {
        try {
            target.send(bytes);
            return true;
        } catch (const ConnectionLost&) {
            return false;
        }
    }

    bool resetTo(Connection& otherSide, const char* ending) {
        otherSide.resetOnClose();
        ending_ = ending;
        return false;
    }

    Connection& client_;
    Connection& gateway_;
    ExchangeRecorder& recorder_;
    const StopSignal& stop_;
    bool clientSends_ = true;
    bool clientEnded_ = false;
    bool gatewaySends_ = true;
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
        log_.always(prefix + "the gateway " + textOf(gateway_) + " cannot be reached: " + connected.failure);
        client.resetOnClose();
        return;
    }
    Connection gateway(connected.socket, stop_);
    ExchangeRecorder recorder(writer_, log_, number);
    log_.whenVerbose(prefix + Relay(client, gateway, recorder, stop_).run());
}

}  // namespace gatewaysim
