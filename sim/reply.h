#ifndef ZULSTATS_SIM_REPLY_H
#define ZULSTATS_SIM_REPLY_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "bytes.h"
#include "exchange.h"
#include "fault.h"

namespace gatewaysim {

// A reply as a flawless daemon gives it.
struct Reply {
    Exchange exchange;
    std::string serverProgram;
    uint32_t flagsWord1;
    Bytes body;
};

// What is done on the connection in place of it.
struct Delivery {
    std::chrono::milliseconds delay{0};
    bool stall = false;  // no byte of it is sent, and what the peer sends is taken until it ends its stream
    bool reset = false;
    bool close = false;
    bool byteByByte = false;
    std::chrono::milliseconds pauseBetweenBytes{0};
    Bytes bytes;
    size_t flood = 0;  // bytes behind these
    // What comes then, if not the next request.
    bool endAfterwards = false;
    bool resetAfterwards = false;
    bool silenceAfterwards = false;
};

Delivery deliveryOf(Reply reply, std::span<const Fault> faults);
// At acceptance, where there is no reply.
Delivery deliveryAtAcceptance(std::span<const Fault> faults);

}  // namespace gatewaysim

#endif
