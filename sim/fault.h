#ifndef ZULSTATS_SIM_FAULT_H
#define ZULSTATS_SIM_FAULT_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "exchange.h"

namespace gatewaysim {

enum class FaultKind {
    delay,
    cut,
    trickle,
    eyecatcher,
    code,
    refuse,
    adminCode,
    exception,
    stall,
    longer,
    shorter,
    nameLength,
    empty,
    reset,
    negativeLength,
    callType,
    truncateBody
};

// One way to answer wrongly: EXCHANGE[#N]:KIND[=VALUE].
struct Fault {
    std::optional<Exchange> exchange;  // nothing: any
    uint32_t occurrence;               // of each connection, from 1; 0: every one
    FaultKind kind;
    int64_t value;
    std::string text;
};

class BadFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws BadFault.
Fault parseFault(const std::string& text);

// Whether a reply to this exchange can carry this kind of fault at all.
bool applies(FaultKind kind, Exchange exchange);

// A decimal number, or a hexadecimal one after 0x; nothing for anything else.
std::optional<int64_t> parseNumber(std::string_view text);

// The grammar and all kinds, for --help.
std::string faultHelp();

}  // namespace gatewaysim

#endif
