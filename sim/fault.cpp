#include "fault.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>

#include "log.h"

namespace gatewaysim {

namespace {

enum class Value { none, optional, required, exchange, texts };

struct KindEntry {
    std::string_view name;
    FaultKind kind;
    Value value;
    int64_t lowest;
    int64_t highest;
    int64_t byDefault;
    std::string_view help;
    Field field{};
};

struct AddedText {
    std::string_view name;
    std::string_view text;  // cppcheck-suppress unusedStructMember ; it does not follow std::array::at()
};

using namespace std::string_view_literals;

// The value of the fault `texts` is a place in this table.
constexpr std::array kAddedTexts{
    AddedText{"escapes", "\x1B[2J\x1B]0;title\x07\r\n\b\x7F\x9B"sv},
    AddedText{"formats", "%s%n%x%p%99999d%*.*f%%"sv},
    AddedText{"bad-utf8", "\xC3(\xE2\x82\xF0\x9F\x92\xFF\xFE\xC0\xAF\xED\xA0\x80\xF4\x90\x80\x80"sv},
    AddedText{"zeros", "\0x\0\0"sv},
};

constexpr int64_t kLowestWord = std::numeric_limits<int32_t>::min();
constexpr int64_t kHighestWord = std::numeric_limits<uint32_t>::max();
constexpr int64_t kHighestLength = std::numeric_limits<int32_t>::max();
constexpr int64_t kLongestDelay = 600'000;
constexpr int64_t kUsualRefusal = 13;
constexpr int64_t kLongestPause = 10'000;
constexpr int64_t kLongestExtension = 16 << 20;
constexpr int64_t kLongestText = 65535;
constexpr int64_t kHighestByte = 255;

constexpr KindEntry fieldEntry(std::string_view name, Field field, std::string_view help) {
    return {name, FaultKind::field, Value::required, 0, kHighestWord, 0, help, field};
}

constexpr std::array kKinds{
    KindEntry{"delay", FaultKind::delay, Value::required, 0, kLongestDelay, 0, "wait VALUE milliseconds first"},
    KindEntry{"cut", FaultKind::cut, Value::required, 0, kHighestLength, 0,
              "send the first VALUE bytes of the reply only, then end the connection"},
    KindEntry{"silence", FaultKind::silence, Value::required, 0, kHighestLength, 0,
              "send the first VALUE bytes of the reply only, then nothing; keep the connection"},
    KindEntry{"trickle", FaultKind::trickle, Value::optional, 0, kLongestPause, 0,
              "send each byte of the reply by itself, VALUE milliseconds apart (0)"},
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
    KindEntry{"reset-after", FaultKind::resetAfter, Value::required, 0, kHighestLength, 0,
              "send the first VALUE bytes of the reply, then reset the connection"},
    KindEntry{"close", FaultKind::close, Value::none, 0, 0, 0, "close the connection at once, no reply"},
    KindEntry{"flood", FaultKind::flood, Value::required, 1, kHighestLength, 0,
              "send VALUE bytes more that nobody asked for (0xA5), behind the reply"},
    KindEntry{"twice", FaultKind::twice, Value::none, 0, 0, 0, "send the reply twice"},
    KindEntry{"negative-length", FaultKind::negativeLength, Value::none, 0, 0, 0,
              "a reply without a body, data length -1"},
    KindEntry{"call-type", FaultKind::callType, Value::required, 0, kHighestWord, 0,
              "auth0, auth1, init, attribute, invoke: VALUE as the step or call type that the body echoes"},
    KindEntry{"truncate-body", FaultKind::truncateBody, Value::required, 0, kHighestLength, 0,
              "the body's first VALUE bytes only, and a data length that says so"},
    KindEntry{"extend-body", FaultKind::extendBody, Value::required, 1, kLongestExtension, 0,
              "VALUE bytes (0x5A) more in the body, and a data length that says so"},
    KindEntry{"data-length", FaultKind::dataLength, Value::required, kLowestWord, kHighestWord, 0,
              "announce a body of VALUE bytes; the body stays. End the connection where more was announced"},
    KindEntry{"version", FaultKind::version, Value::required, 0, kHighestWord, 0, "VALUE as the header's version"},
    KindEntry{"flags", FaultKind::flags, Value::required, 0, kHighestWord, 0, "VALUE as the header's flags word 1"},
    KindEntry{"flag-byte", FaultKind::flagByte, Value::required, 0, kHighestByte, 0, "VALUE as the header's flag byte"},
    KindEntry{"reply-of", FaultKind::replyOf, Value::exchange, 0, 0, 0,
              "the reply that the exchange VALUE would get; invoke for an invoke: that of the other kind of query"},
    KindEntry{"version-size", FaultKind::versionSize, Value::required, 0, kLongestText, 0,
              "attribute: a version text of VALUE bytes"},
    KindEntry{"texts", FaultKind::texts, Value::texts, 0, 0, 0,
              "attribute, invoke: every text ends in what VALUE says: escapes, formats, bad-utf8 or zeros"},
    fieldEntry("version-length", Field::versionLength, "attribute: VALUE as the version text's length"),
    fieldEntry("response-count", Field::responseCount, "invoke: VALUE as the number of responses"),
    fieldEntry("class-name-length", Field::classNameLength, "invoke: VALUE as the first class name's length"),
    fieldEntry("block-length", Field::blockLength, "invoke: VALUE as the first block's length"),
    fieldEntry("element-length", Field::elementLength, "invoke: VALUE as the first query element's length"),
    fieldEntry("id-count", Field::idCount, "invoke: VALUE as the first number of ids"),
    fieldEntry("id-length", Field::idLength, "invoke: VALUE as the first id's length"),
    fieldEntry("statistic-count", Field::statisticCount, "invoke: VALUE as the first number of statistics"),
    fieldEntry("statistic-id-length", Field::statisticIdLength, "invoke: VALUE as the first statistic id's length"),
    fieldEntry("value-length", Field::valueLength, "invoke: VALUE as the first value's length"),
    fieldEntry("chunk-length", Field::chunkLength, "invoke: VALUE as the length of the first long value's first block"),
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

std::string exampleValue(const KindEntry& entry) {
    switch (entry.value) {
        case Value::exchange:
            return std::string(nameOf(Exchange::handshake));
        case Value::texts:
            return std::string(kAddedTexts.front().name);
        default:
            return std::to_string(std::max<int64_t>(1, entry.lowest));
    }
}

int64_t exchangeValue(const std::string& kind, std::string_view text) {
    const auto exchange = exchangeNamed(text);
    if (!exchange.has_value() || *exchange == Exchange::accept) {
        throw BadFault("the value " + inQuotes(text) + " of " + kind + " is not an exchange that gets a reply");
    }
    return static_cast<int64_t>(*exchange);
}

int64_t textsValue(const std::string& kind, std::string_view text) {
    const auto found = std::find_if(kAddedTexts.begin(), kAddedTexts.end(),
                                    [&](const AddedText& added) { return added.name == text; });
    if (found == kAddedTexts.end()) {
        throw BadFault("the value " + inQuotes(text) + " of " + kind +
                       " is not one of escapes, formats, bad-utf8 and zeros");
    }
    return found - kAddedTexts.begin();
}

int64_t valueOf(const KindEntry& entry, std::optional<std::string_view> text) {
    const std::string kind(entry.name);
    if (!text.has_value()) {
        if (entry.value != Value::none && entry.value != Value::optional) {
            throw BadFault(kind + " needs a value, as in " + kind + "=" + exampleValue(entry));
        }
        return entry.byDefault;
    }
    if (entry.value == Value::exchange) {
        return exchangeValue(kind, *text);
    }
    if (entry.value == Value::texts) {
        return textsValue(kind, *text);
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
                           "; known: accept, handshake, auth0, auth1, init, attribute, invoke, close, any");
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
    Fault fault{std::nullopt, 0, FaultKind::delay, 0, Field{}, text};
    takeExchange(fault, whole.substr(0, colon));
    const std::string_view rest = whole.substr(colon + 1);
    const size_t equals = rest.find('=');
    const KindEntry& entry = entryNamed(rest.substr(0, equals));
    fault.kind = entry.kind;
    fault.field = entry.field;
    fault.value =
        valueOf(entry, equals == std::string_view::npos ? std::nullopt : std::optional(rest.substr(equals + 1)));
    if (fault.exchange.has_value() && !applies(fault, *fault.exchange)) {
        const std::string carrier = *fault.exchange == Exchange::accept
                                        ? "the acceptance of a connection"
                                        : "a reply to " + std::string(nameOf(*fault.exchange));
        throw BadFault(carrier + " cannot carry " + std::string(entry.name));
    }
    return fault;
}

// Before a request there is no reply that could be spoiled.
bool appliesToAcceptance(FaultKind kind) {
    return kind == FaultKind::delay || kind == FaultKind::stall || kind == FaultKind::close ||
           kind == FaultKind::reset || kind == FaultKind::flood;
}

}  // namespace

Fault parseFault(const std::string& text) {
    try {
        return parsed(text);
    } catch (const BadFault& error) {
        throw BadFault("fault " + inQuotes(text) + ": " + error.what());
    }
}

const Fault* findFault(std::span<const Fault> faults, FaultKind kind) {
    const auto found =
        std::find_if(faults.begin(), faults.end(), [&](const Fault& fault) { return fault.kind == kind; });
    return found == faults.end() ? nullptr : &*found;
}

uint32_t wordOf(int64_t value) {
    return static_cast<uint32_t>(value & 0xFFFFFFFF);
}

std::string_view addedText(const Fault& texts) {
    return kAddedTexts.at(static_cast<size_t>(texts.value)).text;
}

bool applies(const Fault& fault, Exchange exchange) {
    if (exchange == Exchange::accept) {
        return appliesToAcceptance(fault.kind);
    }
    switch (fault.kind) {
        case FaultKind::refuse:
            return isAuthorisation(exchange);
        case FaultKind::adminCode:
            return isAdmin(exchange);
        case FaultKind::versionSize:
            return exchange == Exchange::attribute;
        case FaultKind::field:
            return exchange == (fault.field == Field::versionLength ? Exchange::attribute : Exchange::invoke);
        case FaultKind::texts:
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
        "  exchange of each connection, counted from 1. Faults of one exchange add up. accept stands for the moment\n"
        "  before the first request; it takes delay, stall, close, reset and flood. A value for a field narrower than\n"
        "  it is cut to its low bits; a fault of a field that a reply does not have changes nothing. The kinds:\n";
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
