#ifndef ZULSTATS_SIM_EXCHANGE_H
#define ZULSTATS_SIM_EXCHANGE_H

#include <array>
#include <optional>
#include <string_view>

namespace gatewaysim {

// Acceptance comes before the exchanges proper: nothing has been asked, and nothing is to be answered.
enum class Exchange { accept, handshake, authorisation0, authorisation1, initialise, attribute, invoke, close };

inline constexpr std::array kExchanges{Exchange::accept,         Exchange::handshake,  Exchange::authorisation0,
                                       Exchange::authorisation1, Exchange::initialise, Exchange::attribute,
                                       Exchange::invoke,         Exchange::close};

// As options and messages call it: accept, handshake, auth0, auth1, init, attribute, invoke, close.
std::string_view nameOf(Exchange exchange);
std::optional<Exchange> exchangeNamed(std::string_view name);

inline constexpr bool isAuthorisation(Exchange exchange) {
    return exchange == Exchange::authorisation0 || exchange == Exchange::authorisation1;
}

inline constexpr bool isAdmin(Exchange exchange) {
    return exchange == Exchange::initialise || exchange == Exchange::attribute || exchange == Exchange::invoke;
}

}  // namespace gatewaysim

#endif
