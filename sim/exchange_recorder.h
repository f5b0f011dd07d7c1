#ifndef ZULSTATS_SIM_EXCHANGE_RECORDER_H
#define ZULSTATS_SIM_EXCHANGE_RECORDER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "log.h"
#include "recording.h"

namespace gatewaysim {

// Parts what passes on one connection into exchanges. A request ends where its own length says; what the gateway sends
// belongs to the request before it, however much it is, so that a gateway that departs from the protocol is recorded as
// it is.
class ExchangeRecorder {
  public:
    ExchangeRecorder(RecordingWriter& writer, Log& log, uint64_t connection)
        : writer_(writer), log_(log), connection_(connection) {}
    // Writes the exchange that is under way.
    ~ExchangeRecorder();
    ExchangeRecorder(const ExchangeRecorder&) = delete;
    ExchangeRecorder& operator=(const ExchangeRecorder&) = delete;

    void clientSent(std::span<const uint8_t> bytes);
    void gatewaySent(std::span<const uint8_t> bytes);
    void gatewayEnded(Ending ending);

  private:
    using Moment = std::chrono::steady_clock::time_point;

    RecordedExchange& underWay();
    // Takes as many of the bytes as belong to the request under way. Returns the rest.
    std::span<const uint8_t> extendRequest(std::span<const uint8_t> bytes);
    bool isWholeRequest() const;
    void noteReply();
    void writeUnderWay();

    RecordingWriter& writer_;
    Log& log_;
    const uint64_t connection_;
    std::optional<RecordedExchange> underWay_;
    Moment requestEnd_;
};

}  // namespace gatewaysim

#endif
