#ifndef ZULSTATS_SIM_EXCHANGE_RECORDER_H
#define ZULSTATS_SIM_EXCHANGE_RECORDER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "log.h"
#include "recording.h"

namespace gatewaysim {

// As much of a reply is recorded; what comes behind it is passed on alone.
inline constexpr size_t kLongestRecordedReply = 64U << 20;

// Parts what passes on one connection into exchanges. A request ends where its own length says; what the gateway sends
// belongs to the request before it, however much it is, so that a gateway that departs from the protocol is recorded as
// it is. Nothing can be asked any more behind the gateway's end: what a client sends then is no exchange.
class ExchangeRecorder {
  public:
    ExchangeRecorder(RecordingWriter& writer, Log& log, uint64_t connection)
        : writer_(writer), log_(log), connection_(connection) {}
    ~ExchangeRecorder() = default;
    ExchangeRecorder(const ExchangeRecorder&) = delete;
    ExchangeRecorder& operator=(const ExchangeRecorder&) = delete;

    void clientSent(std::span<const uint8_t> bytes);
    void gatewaySent(std::span<const uint8_t> bytes);
    void gatewayEnded(Ending ending);

    // Writes the exchange that is under way: at the connection's end, or, where it goes on, because the recording
    // stops.
    void finish();
    void stop();

  private:
    using Moment = std::chrono::steady_clock::time_point;

    RecordedExchange& underWay();
    // Takes as many of the bytes as belong to the request under way. Returns the rest.
    std::span<const uint8_t> extendRequest(std::span<const uint8_t> bytes);
    bool isWholeRequest() const;
    void writeUnderWay();

    RecordingWriter& writer_;
    Log& log_;
    const uint64_t connection_;
    std::optional<RecordedExchange> underWay_;
    Moment requestEnd_;
    Moment replyEnd_;
    bool hasGatewayEnded_ = false;
    bool isTooLong_ = false;
};

}  // namespace gatewaysim

#endif
