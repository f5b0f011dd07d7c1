#ifndef ZULSTATS_SIM_REPLY_H
#define ZULSTATS_SIM_REPLY_H

#include <chrono>
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
    bool stall = false;
    bool reset = false;
    bool byteByByte = false;
    bool endAfterwards = false;
    Bytes bytes;
};

Delivery deliveryOf(Reply reply, std::span<const Fault> faults);

}  // namespace gatewaysim

#endif
