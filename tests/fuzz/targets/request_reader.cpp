// gatewaysim's reader of requests. One byte says how many bytes come at a time, 0 for a request at a time; the rest is
// what a client sends.
#include <algorithm>
#include <string_view>

#include "log.h"
#include "memory_sim_system.h"
#include "request.h"
#include "target_list.h"
#include "world.h"

namespace fuzz_test {

namespace {

void judgePrintable(std::string_view text) {
    require(std::all_of(text.begin(), text.end(), [](char each) { return each >= ' ' && each <= '~'; }),
            "a message holds what a terminal may obey");
}

void judgeRequest(const gatewaysim::Request& request) {
    const bool isFinal = request.exchange == gatewaysim::Exchange::authorisation1;
    require(request.credential.size() == (isFinal ? 8U : 0U), "a credential of another size");
    require(request.qualifier.size() == (isFinal ? 4U : 0U), "a qualifier of another size");
    require(request.handle.empty() || request.handle.size() == 4, "a handle of another size");
    judgePrintable(gatewaysim::inQuotes(request.argument));
}

// Reads requests until the client's stream ends or breaks a rule; their number.
int readRequests(gatewaysim::Connection& connection) {
    int count = 0;
    try {
        while (const std::optional<gatewaysim::Request> request = gatewaysim::readRequest(connection)) {
            judgeRequest(*request);
            ++count;
        }
    } catch (const gatewaysim::Deviation& deviation) {
        judgePrintable(gatewaysim::onOneLine(deviation.what()));
    }
    return count;
}

}  // namespace

int fuzzRequestReader(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    const size_t pieceSize = input.next();
    const ExactBlock stream(input.rest(), input.restSize());
    serveClientStream({stream.data(), stream.size()}, pieceSize);
    const gatewaysim::StopSignal stop;
    gatewaysim::Connection connection(kSocket, stop);
    return std::min(readRequests(connection), 8);
}

}  // namespace fuzz_test
