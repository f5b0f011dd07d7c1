#ifndef ZULSTATS_SIM_FAULT_H
#define ZULSTATS_SIM_FAULT_H

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "exchange.h"
#include "payload.h"

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
    silence,
    close,
    resetAfter,
    flood,
    twice,
    longer,
    shorter,
    nameLength,
    empty,
    reset,
    negativeLength,
    callType,
    truncateBody,
    extendBody,
    dataLength,
    version,
    flags,
    flagByte,
    replyOf,
    versionSize,
    texts,
    field
};

// One way to answer wrongly: EXCHANGE[#N]:KIND[=VALUE].
struct Fault {
    std::optional<Exchange> exchange;  // nothing: any
    uint32_t occurrence;               // of each connection, from 1; 0: every one
    FaultKind kind;
    int64_t value;
    Field field;  // of the kind `field` alone
    std::string text;
};

class BadFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws BadFault.
Fault parseFault(const std::string& text);

// Whether a reply to this exchange can carry this fault at all.
bool applies(const Fault& fault, Exchange exchange);

// The first fault of this kind, or null.
const Fault* findFault(std::span<const Fault> faults, FaultKind kind);

// The low 32 bits of a fault's value.
uint32_t wordOf(int64_t value);

// What the fault `texts` adds to every text of a reply.
std::string_view addedText(const Fault& texts);

// A decimal number, or a hexadecimal one after 0x; nothing for anything else.
std::optional<int64_t> parseNumber(std::string_view text);

// The grammar and all kinds, for --help.
std::string faultHelp();

}  // namespace gatewaysim

#endif
