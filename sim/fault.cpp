#include "fault.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>

#include "log.h"

namespace gatewaysim {

namespace {

enum class Value { none, optional, required };

struct KindEntry {
    std::string_view name;
    FaultKind kind;
    Value value;
    int64_t lowest;
    int64_t highest;
    int64_t byDefault;
    std::string_view help;
};

constexpr int64_t kLowestWord = std::numeric_limits<int32_t>::min();
constexpr int64_t kHighestWord = std::numeric_limits<uint32_t>::max();
constexpr int64_t kHighestLength = std::numeric_limits<int32_t>::max();
constexpr int64_t kLongestDelay = 600'000;
constexpr int64_t kUsualRefusal = 13;

constexpr std::array kKinds{
    KindEntry{"delay", FaultKind::delay, Value::required, 0, kLongestDelay, 0, "wait VALUE milliseconds first"},
    KindEntry{"cut", FaultKind::cut, Value::required, 0, kHighestLength, 0,
              "send the first VALUE bytes of the reply only, then end the connection"},
    KindEntry{"trickle", FaultKind::trickle, Value::none, 0, 0, 0, "send each byte of the reply by itself"},
    KindEntry{"eyecatcher", FaultKind::eyecatcher, Value::none, 0, 0, 0, "a wrong eyecatcher"},
    KindEntry{"code", FaultKind::code, Value::required, kLowestWord, kHighestWord, 0,
              "VALUE as the return code of the reply header"},
    KindEntry{"refuse", FaultKind::refuse, Value::optional, kLowestWord, kHighestWord, kUsualRefusal,
              "auth0, auth1: step 0 with the return code VALUE (13)"},
    KindEntry{"admin-code", FaultKind::adminCode, Value::required, kLowestWord, kHighestWord, 0,
              "init, attribute, invoke: VALUE as the admin return code, and no payload"},
    KindEntry{"exception", FaultKind::exception, Value::none, 0, 0, 0,
              "attribute, invoke: the exception flag and a text in place of the payload"},
    KindEntry{"stall", FaultKind::stall, Value::none, 0, 0, 0, "never answer; keep the connection"},
    KindEntry{"longer", FaultKind::longer, Value::required, 1, kHighestLength, 0,
              "announce VALUE bytes fewer than are sent"},
    KindEntry{"shorter", FaultKind::shorter, Value::required, 1, kHighestLength, 0,
              "announce VALUE bytes more than are sent, then end the connection"},
    KindEntry{"name-length", FaultKind::nameLength, Value::required, 0, kHighestWord, 0,
              "announce a server program name of VALUE bytes; the name stays"},
    KindEntry{"empty", FaultKind::empty, Value::none, 0, 0, 0, "a reply without a body, data length 0"},
    KindEntry{"reset", FaultKind::reset, Value::none, 0, 0, 0, "reset the connection, no reply"},
    KindEntry{"negative-length", FaultKind::negativeLength, Value::none, 0, 0, 0,
              "a reply without a body, data length -1"},
    KindEntry{"call-type", FaultKind::callType, Value::required, 0, kHighestWord, 0,
              "auth0, auth1, init, attribute, invoke: VALUE as the step or call type that the body echoes"},
    KindEntry{"truncate-body", FaultKind::truncateBody, Value::required, 0, kHighestLength, 0,
              "the body's first VALUE bytes only, and a data length that says so"},
};

const KindEntry& entryNamed(std::string_view name) {
    const auto found =
        std::find_if(kKinds.begin(), kKinds.end(), [&](const KindEntry& entry) { return entry.name == name; });
    if (found != kKinds.end()) {
        return *found;
    }
    std::string known;
    for (const KindEntry& entry : kKinds) {
        known += known.empty() ? "" : ", ";
        known += entry.name;
    }
    throw BadFault("unknown kind " + inQuotes(name) + "; known: " + known);
}

// A code of 0 is what a flawless reply carries.
bool needsNonZero(FaultKind kind) {
    return kind == FaultKind::code || kind == FaultKind::refuse || kind == FaultKind::adminCode;
}

int64_t valueOf(const KindEntry& entry, std::optional<std::string_view> text) {
    const std::string kind(entry.name);
    if (!text.has_value()) {
        if (entry.value == Value::required) {
            throw BadFault(kind + " needs a value, as in " + kind + "=" +
                           std::to_string(std::max<int64_t>(1, entry.lowest)));
        }
        return entry.byDefault;
    }
    if (entry.value == Value::none) {
        throw BadFault(kind + " takes no value");
    }
    const auto number = parseNumber(*text);
    if (!number.has_value()) {
        throw BadFault("the value " + inQuotes(*text) + " of " + kind + " is not a number");
    }
    if (*number < entry.lowest || *number > entry.highest) {
        throw BadFault("the value " + std::string(*text) + " of " + kind + " is not from " +
                       std::to_string(entry.lowest) + " to " + std::to_string(entry.highest));
    }
    if (*number == 0 && needsNonZero(entry.kind)) {
        throw BadFault("the value 0 of " + kind + " is no fault");
    }
    return *number;
}

void takeExchange(Fault& fault, std::string_view text) {
    const size_t hash = text.find('#');
    const std::string_view name = text.substr(0, hash);
    if (name != "any") {
        fault.exchange = exchangeNamed(name);
        if (!fault.exchange.has_value()) {
            throw BadFault("unknown exchange " + inQuotes(name) +
                           "; known: handshake, auth0, auth1, init, attribute, invoke, close, any");
        }
    }
    if (hash != std::string_view::npos) {
        const std::string_view digits = text.substr(hash + 1);
        const auto number = parseNumber(digits);
        if (!number.has_value() || *number < 1 || *number > kHighestLength) {
            throw BadFault("the occurrence " + inQuotes(digits) + " is not a number from 1 on");
        }
        fault.occurrence = static_cast<uint32_t>(*number);
    }
}

Fault parsed(const std::string& text) {
    const std::string_view whole(text);
    const size_t colon = whole.find(':');
    if (colon == std::string_view::npos) {
        throw BadFault("a fault is EXCHANGE[#N]:KIND[=VALUE]");
    }
    Fault fault{std::nullopt, 0, FaultKind::delay, 0, text};
    takeExchange(fault, whole.substr(0, colon));
    const std::string_view rest = whole.substr(colon + 1);
    const size_t equals = rest.find('=');
    const KindEntry& entry = entryNamed(rest.substr(0, equals));
    fault.kind = entry.kind;
    fault.value =
        valueOf(entry, equals == std::string_view::npos ? std::nullopt : std::optional(rest.substr(equals + 1)));
    if (fault.exchange.has_value() && !applies(fault.kind, *fault.exchange)) {
        throw BadFault("a reply to " + std::string(nameOf(*fault.exchange)) + " cannot carry " +
                       std::string(entry.name));
    }
    return fault;
}

}  // namespace

Fault parseFault(const std::string& text) {
    try {
        return parsed(text);
    } catch (const BadFault& error) {
        throw BadFault("fault " + inQuotes(text) + ": " + error.what());
    }
}

bool applies(FaultKind kind, Exchange exchange) {
    switch (kind) {
        case FaultKind::refuse:
            return isAuthorisation(exchange);
        case FaultKind::adminCode:
            return isAdmin(exchange);
        case FaultKind::exception:
            return exchange == Exchange::attribute || exchange == Exchange::invoke;
        case FaultKind::callType:
            return isAuthorisation(exchange) || isAdmin(exchange);
        default:
            return true;
    }
}

std::optional<int64_t> parseNumber(std::string_view text) {
    const bool negative = text.starts_with('-');
    std::string_view digits = text.substr(negative ? 1 : 0);
    int base = 10;
    if (digits.starts_with("0x")) {
        digits.remove_prefix(2);
        base = 16;
    }
    int64_t value = 0;
    if (digits.empty() || digits.front() == '-') {
        return std::nullopt;
    }
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return negative ? -value : value;
}

std::string faultHelp() {
    std::string help =
        "Faults: --fault EXCHANGE[#N]:KIND[=VALUE], as often as wanted\n"
        "  EXCHANGE is handshake, auth0, auth1, init, attribute, invoke, close or any; #N means only the Nth such\n"
        "  exchange of each connection, counted from 1. Faults of one exchange add up. The kinds:\n";
    constexpr size_t kColumn = 26;
    for (const KindEntry& entry : kKinds) {
        std::string line = "    " + std::string(entry.name);
        line += entry.value == Value::none ? "" : (entry.value == Value::optional ? "[=VALUE]" : "=VALUE");
        line.resize(std::max(kColumn, line.size() + 1), ' ');
        help += line + std::string(entry.help) + "\n";
    }
    return help;
}

}  // namespace gatewaysim
