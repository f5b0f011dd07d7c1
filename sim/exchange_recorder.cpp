#include "exchange_recorder.h"

#include <algorithm>
#include <string>

#include "request.h"

namespace gatewaysim {

namespace {

int64_t millisecondsSince(std::chrono::steady_clock::time_point begin) {
    const auto passed = std::chrono::steady_clock::now() - begin;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

}  // namespace

void ExchangeRecorder::clientSent(std::span<const uint8_t> bytes) {
    while (!bytes.empty() && !hasGatewayEnded_) {
        if (underWay_.has_value() && isWholeRequest()) {
            writeUnderWay();
        }
        bytes = extendRequest(bytes);
    }
    requestEnd_ = std::chrono::steady_clock::now();
    replyEnd_ = requestEnd_;
}

void ExchangeRecorder::gatewaySent(std::span<const uint8_t> bytes) {
    Bytes& reply = underWay().reply;
    const size_t kept = std::min(bytes.size(), kLongestRecordedReply - std::min(kLongestRecordedReply, reply.size()));
    isTooLong_ = isTooLong_ || kept < bytes.size();
    reply.insert(reply.end(), bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(kept));
    replyEnd_ = std::chrono::steady_clock::now();
    underWay().milliseconds = millisecondsSince(requestEnd_);
}

void ExchangeRecorder::gatewayEnded(Ending ending) {
    underWay().ending = ending;
    underWay().endMilliseconds = millisecondsSince(replyEnd_);
    hasGatewayEnded_ = true;
}

void ExchangeRecorder::finish() {
    writeUnderWay();
}

void ExchangeRecorder::stop() {
    if (underWay_.has_value() && !isWhole(*underWay_) && !hasGatewayEnded_) {
        underWay_->ending = Ending::stopped;
    }
    writeUnderWay();
}

RecordedExchange& ExchangeRecorder::underWay() {
    if (!underWay_.has_value()) {
        underWay_ = RecordedExchange{connection_, 0, Ending::none, 0, {}, {}};
        requestEnd_ = std::chrono::steady_clock::now();
        replyEnd_ = requestEnd_;
        isTooLong_ = false;
    }
    return *underWay_;
}

std::span<const uint8_t> ExchangeRecorder::extendRequest(std::span<const uint8_t> bytes) {
    Bytes& request = underWay().request;
    const size_t before = request.size();
    request.insert(request.end(), bytes.begin(), bytes.end());
    // Bytes that begin no request have no end that could be known.
    const size_t size = messageSize(request).value_or(request.size());
    if (size >= request.size()) {
        return {};
    }
    request.resize(size);
    return bytes.subspan(size - before);
}

// What the gateway said before the first request is whole at once.
bool ExchangeRecorder::isWholeRequest() const {
    return underWay_->request.empty() || messageSize(underWay_->request) == underWay_->request.size();
}

void ExchangeRecorder::writeUnderWay() {
    if (!underWay_.has_value()) {
        return;
    }
    const std::string what = "connection " + std::to_string(connection_) + ": " + titleOf(*underWay_);
    if (isTooLong_) {
        underWay_->ending = Ending::stopped;
        log_.always(what + " has a reply that is too long to be recorded: " + std::to_string(kLongestRecordedReply) +
                    " bytes are; all of it was passed on");
    }
    writer_.write(*underWay_);
    log_.whenVerbose(what + " answered with " + std::to_string(underWay_->reply.size()) + " bytes");
    underWay_.reset();
}

}  // namespace gatewaysim
