#include "gateway_address.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <unordered_set>

#include "text_escape.h"

namespace zulstat {
namespace {

constexpr const char* kHowToWrite =
    "Write [NAME=]HOST[:PORT], and an IPv6 address with a port in brackets: [::1]:2980.";

std::string_view trim(const std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

Fault addressFault(const std::string_view text, const std::string& reason) {
    return {quoteText(text) + " is no address of a gateway: " + reason + " " + kHowToWrite};
}

std::string describePort(const std::string_view port) {
    return "the port " + quoteText(port) + " is no number from 1 to 65535.";
}

bool isBareIpv6(const std::string_view text) {
    return std::count(text.begin(), text.end(), ':') > 1;
}

struct HostAndRest {
    std::string_view host;
    std::string_view rest;  // empty, or begins with ":"
};

std::optional<HostAndRest> splitHost(const std::string_view text) {
    if (text.starts_with('[')) {
        const size_t end = text.find(']');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        return HostAndRest{text.substr(1, end - 1), text.substr(end + 1)};
    }
    const size_t colon = isBareIpv6(text) ? std::string_view::npos : text.find(':');
    if (colon == std::string_view::npos) {
        return HostAndRest{text, {}};
    }
    return HostAndRest{text.substr(0, colon), text.substr(colon)};
}

}  // namespace

std::string nameOfInput(const std::string& fileName) {
    return fileName == "-" ? std::string("standard input") : quoteText(fileName);
}

std::variant<std::vector<TextLine>, Fault> linesOfFile(std::string_view content, const std::string& fileName) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    content.remove_prefix(content.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    std::vector<TextLine> lines;
    while (!content.empty()) {
        const size_t end = std::min(content.find('\n'), content.size());
        std::string_view line = content.substr(0, end);
        content.remove_prefix(std::min(end + 1, content.size()));
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        if (line.find('\0') != std::string_view::npos) {
            return Fault{"line " + std::to_string(lines.size() + 1) + " of " + nameOfInput(fileName) +
                         " holds a NUL byte. Write it as plain text in UTF-8."};
        }
        lines.push_back({lines.size() + 1, line});
    }
    return lines;
}

std::optional<int32_t> parsePort(const std::string_view text) {
    constexpr int32_t kHighestPort = 65535;
    int32_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || stop != end || port < 1 || port > kHighestPort) {
        return std::nullopt;
    }
    return port;
}

std::variant<ParsedAddress, Fault> parseAddress(const std::string_view text) {
    ParsedAddress parsed;
    const size_t equals = text.find('=');
    if (equals != std::string_view::npos) {
        parsed.name = trim(text.substr(0, equals));
        if (parsed.name.empty()) {
            return addressFault(text, "the name before \"=\" is missing.");
        }
    }
    const std::string_view address = trim(equals == std::string_view::npos ? text : text.substr(equals + 1));
    const std::optional<HostAndRest> split = splitHost(address);
    if (!split) {
        return addressFault(text, "the bracket is not closed.");
    }
    if (split->host.empty()) {
        return addressFault(text, "the host is missing.");
    }
    if (split->host.find('=') != std::string_view::npos) {
        return addressFault(text, "a host has no \"=\" in it.");
    }
    parsed.host = split->host;
    if (!split->rest.empty()) {
        parsed.port = split->rest.starts_with(':') ? parsePort(split->rest.substr(1)) : std::nullopt;
        if (!parsed.port) {
            return addressFault(text, describePort(split->rest.substr(split->rest.starts_with(':') ? 1 : 0)));
        }
    }
    return parsed;
}

std::variant<Gateway, Fault> parseGateway(const std::string_view text) {
    const auto parsed = parseAddress(text);
    if (const auto* const fault = std::get_if<Fault>(&parsed)) {
        return *fault;
    }
    const auto& address = std::get<ParsedAddress>(parsed);
    return Gateway{address.name, address.host, address.port.value_or(kDefaultPort)};
}

std::variant<std::vector<Gateway>, Fault> parseConfiguration(const std::string_view content,
                                                             const std::string& fileName) {
    std::vector<Gateway> gateways;
    const auto lines = linesOfFile(content, fileName);
    if (const auto* const fault = std::get_if<Fault>(&lines)) {
        return *fault;
    }
    for (const TextLine& each : std::get<std::vector<TextLine>>(lines)) {
        const std::string_view line = trim(each.text);
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        const std::string place = escapeText(fileName) + ":" + std::to_string(each.number) + ": ";
        if (line.find('=') == std::string_view::npos) {
            return Fault{place + quoteText(line) + " has no \"=\". Write NAME = HOST[:PORT]."};
        }
        const auto parsed = parseGateway(line);
        if (const auto* const fault = std::get_if<Fault>(&parsed)) {
            return Fault{place + fault->message};
        }
        gateways.push_back(std::get<Gateway>(parsed));
        const auto& name = gateways.back().name;
        if (std::any_of(gateways.begin(), gateways.end() - 1,
                        [&](const Gateway& other) { return other.name == name; })) {
            return Fault{place + "there is a gateway " + quoteText(name) + " already. Give each a name of its own."};
        }
    }
    if (gateways.empty()) {
        return Fault{escapeText(fileName) + " names no gateway. Write a line NAME = HOST[:PORT] for each."};
    }
    return gateways;
}

std::optional<Fault> nameGateways(std::vector<Gateway>& gateways) {
    if (gateways.size() > kMostGateways) {
        return Fault{std::to_string(gateways.size()) + " gateways are too many: at most " +
                     std::to_string(kMostGateways) + " are possible at a time."};
    }
    if (gateways.size() == 1) {
        return std::nullopt;
    }
    std::unordered_set<std::string> names;
    for (Gateway& gateway : gateways) {
        if (gateway.name.empty()) {
            gateway.name = formatAddress(gateway.host, gateway.port);
        }
        if (!names.insert(gateway.name).second) {
            return Fault{"there are two gateways " + quoteText(gateway.name) + ". Give each a name of its own."};
        }
    }
    return std::nullopt;
}

std::string formatAddress(const std::string_view host, const int32_t port) {
    const std::string shown = escapeText(host);
    const bool needsBrackets = shown.find(':') != std::string::npos && shown.front() != '[';
    return (needsBrackets ? "[" + shown + "]" : shown) + ":" + std::to_string(port);
}

std::string formatGateway(const Gateway& gateway) {
    const std::string address = formatAddress(gateway.host, gateway.port);
    const std::string name = escapeText(gateway.name);
    return name.empty() || name == address ? address : name + " (" + address + ")";
}

}  // namespace zulstat
