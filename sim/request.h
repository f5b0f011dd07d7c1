#ifndef ZULSTATS_SIM_REQUEST_H
#define ZULSTATS_SIM_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "bytes.h"
#include "exchange.h"
#include "transport.h"

namespace gatewaysim {

inline constexpr uint32_t kEyecatcher = 0x47617465;
inline constexpr uint32_t kProtocolVersion = 0x00700000;

// What is wrong with a request, in the words of a message.
class Deviation : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Request {
    Exchange exchange;
    std::string serverProgram;
    uint32_t flagsWord1;
    // The second authorisation step.
    Bytes credential;
    Bytes qualifier;
    // Attribute and invoke.
    Bytes handle;
    // Invoke.
    std::string operation;
    std::string argument;
};

// The next request, or nothing when the peer ended the connection between two requests. Throws Deviation.
std::optional<Request> readRequest(Connection& connection);
// The one request that these bytes are. Throws Deviation.
Request decodeRequest(std::span<const uint8_t> bytes);

// How many bytes the request or reply has that begins with these, by its own header; nothing where they are too few to
// tell, or begin neither.
std::optional<size_t> messageSize(std::span<const uint8_t> bytes);

// The exchange, and of a query its operation and ids: invoke GET_STATS "memory"
std::string titleOf(const Request& request);

}  // namespace gatewaysim

#endif
