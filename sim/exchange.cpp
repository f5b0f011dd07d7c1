#include "exchange.h"

namespace gatewaysim {

std::string_view nameOf(Exchange exchange) {
    switch (exchange) {
        case Exchange::accept:
            return "accept";
        case Exchange::handshake:
            return "handshake";
        case Exchange::authorisation0:
            return "auth0";
        case Exchange::authorisation1:
            return "auth1";
        case Exchange::initialise:
            return "init";
        case Exchange::attribute:
            return "attribute";
        case Exchange::invoke:
            return "invoke";
        case Exchange::close:
            return "close";
    }
    return "";
}

std::optional<Exchange> exchangeNamed(std::string_view name) {
    for (const Exchange exchange : kExchanges) {
        if (nameOf(exchange) == name) {
            return exchange;
        }
    }
    return std::nullopt;
}

}  // namespace gatewaysim
