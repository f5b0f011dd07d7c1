#include "address.h"

#include <cstddef>

#include "fault.h"

namespace gatewaysim {

std::string textOf(const Address& address) {
    const bool needsBrackets = address.host.find(':') != std::string::npos;
    return (needsBrackets ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

bool isLoopback(const std::string& host) {
    if (host == "::1" || host == "localhost") {
        return true;
    }
    std::string_view rest(host);
    for (int part = 0; part < 4; ++part) {
        const size_t end = rest.find('.');
        const std::string_view digits = rest.substr(0, end);
        const auto number = parseNumber(digits);
        const bool isLast = part == 3;
        if (!number.has_value() || *number < 0 || *number > 255 || digits.size() > 3 || (part == 0 && *number != 127) ||
            (end == std::string_view::npos) != isLast) {
            return false;
        }
        rest.remove_prefix(isLast ? rest.size() : end + 1);
    }
    return true;
}

std::optional<Address> parseAddress(std::string_view text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view host = text.substr(0, colon);
    const bool isInBrackets = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    if (isInBrackets) {
        host = host.substr(1, host.size() - 2);
    }
    const auto port = parseNumber(text.substr(colon + 1));
    const bool needsBrackets = host.find(':') != std::string_view::npos;
    if (host.empty() || needsBrackets != isInBrackets || !port.has_value() || *port < 1 || *port > UINT16_MAX) {
        return std::nullopt;
    }
    return Address{std::string(host), static_cast<uint16_t>(*port)};
}

}  // namespace gatewaysim
