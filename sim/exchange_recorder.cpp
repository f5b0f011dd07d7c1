#include "exchange_recorder.h"

#include <string>

#include "request.h"

namespace gatewaysim {

ExchangeRecorder::~ExchangeRecorder() {
    writeUnderWay();
}

void ExchangeRecorder::clientSent(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        if (underWay_.has_value() && isWholeRequest()) {
            writeUnderWay();
        }
        bytes = extendRequest(bytes);
    }
    requestEnd_ = std::chrono::steady_clock::now();
}

void ExchangeRecorder::gatewaySent(std::span<const uint8_t> bytes) {
    Bytes& reply = underWay().reply;
    reply.insert(reply.end(), bytes.begin(), bytes.end());
    noteReply();
}

void ExchangeRecorder::gatewayEnded(Ending ending) {
    underWay().ending = ending;
    if (underWay().reply.empty()) {
        noteReply();
    }
}

RecordedExchange& ExchangeRecorder::underWay() {
    if (!underWay_.has_value()) {
        underWay_ = RecordedExchange{connection_, 0, Ending::none, {}, {}};
        requestEnd_ = std::chrono::steady_clock::now();
    }
    return *underWay_;
}

std::span<const uint8_t> ExchangeRecorder::extendRequest(std::span<const uint8_t> bytes) {
    Bytes& request = underWay().request;
    const size_t before = request.size();
    request.insert(request.end(), bytes.begin(), bytes.end());
    // Bytes that begin no request have no end that could be known.
    const size_t size = requestSize(request).value_or(request.size());
    if (size >= request.size()) {
        return {};
    }
    request.resize(size);
    return bytes.subspan(size - before);
}

// What the gateway said before the first request is whole at once.
bool ExchangeRecorder::isWholeRequest() const {
    return underWay_->request.empty() || requestSize(underWay_->request) == underWay_->request.size();
}

void ExchangeRecorder::noteReply() {
    const auto passed = std::chrono::steady_clock::now() - requestEnd_;
    underWay().milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

void ExchangeRecorder::writeUnderWay() {
    if (underWay_.has_value()) {
        writer_.write(*underWay_);
        log_.whenVerbose("connection " + std::to_string(connection_) + ": " + titleOf(*underWay_) + " answered with " +
                         std::to_string(underWay_->reply.size()) + " bytes");
        underWay_.reset();
    }
}

}  // namespace gatewaysim
