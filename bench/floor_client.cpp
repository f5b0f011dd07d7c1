#include "floor_client.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

FloorClient::FloorClient(int32_t port) : socket_(port) {
    run(openingExchanges());
}

void FloorClient::run(const std::vector<Exchange>& exchanges) {
    for (const Exchange& exchange : exchanges) {
        run(exchange);
    }
}

void FloorClient::run(const Exchange& exchange) {
    if (header_.size() < exchange.headerSize) {
        header_.resize(exchange.headerSize);
    }
    if (body_.size() < exchange.bodySize) {
        body_.resize(exchange.bodySize);
    }
    socket_.sendAll(exchange.request.data(), exchange.request.size());
    socket_.waitReadable();
    socket_.receiveExactly(header_.data(), exchange.headerSize);
    if (exchange.bodySize > 0) {
        socket_.receiveExactly(body_.data(), exchange.bodySize);
    }
}

void failBenchmark(const char* what, int32_t code) {
    std::fprintf(stderr, "benchmark: %s failed with %d\n", what, static_cast<int>(code));
    std::exit(1);
}

}  // namespace bench
