#ifndef ZULSTATS_SIM_ADDRESS_H
#define ZULSTATS_SIM_ADDRESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace gatewaysim {

struct Address {
    std::string host;
    uint16_t port;
};

// A name or numeric address of this machine's loopback, whatever the name service says.
bool isLoopback(const std::string& host);

// "HOST:PORT", a host that contains ":" in brackets.
std::string textOf(const Address& address);
// Nothing for anything but such a text with a port from 1 to 65535.
std::optional<Address> parseAddress(std::string_view text);

}  // namespace gatewaysim

#endif
