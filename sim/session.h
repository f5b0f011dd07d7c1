#ifndef ZULSTATS_SIM_SESSION_H
#define ZULSTATS_SIM_SESSION_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "admin_service.h"
#include "fault.h"
#include "log.h"
#include "randomness.h"
#include "reply.h"
#include "request.h"
#include "transport.h"

namespace gatewaysim {

// What all connections share; nothing of it changes.
struct Simulation {
    const AdminService& service;
    const std::vector<Fault>& faults;
    uint64_t seed;
    Log& log;
};

// One connection from the handshake to its end.
class Session {
  public:
    Session(Connection& connection, const Simulation& simulation, uint64_t number);

    // Returns when the connection is to be closed. Throws Stopped.
    void run();

  private:
    bool greet();
    bool serve(const Request& request);
    void checkOrder(Exchange exchange) const;
    void checkOpaqueValues(const Request& request) const;
    Bytes replyBody(const Request& request, std::span<const Fault> faults);
    Reply replyOfOtherExchange(Exchange other, const Request& request);
    Bytes firstAuthorisation();
    Bytes secondAuthorisation();
    Bytes newHandle();
    Payload protocol(std::span<const Fault> faults) const;
    Payload invoke(const Request& request, std::span<const Fault> faults);
    std::vector<Fault> faultsOf(Exchange exchange);
    std::vector<Fault> faultsOfAcceptance() const;
    bool deliver(const Delivery& delivery);
    void sendBytes(const Delivery& delivery);
    void flood(size_t size);
    void end();
    std::string prefix() const;

    Connection& connection_;
    const Simulation& simulation_;
    const uint64_t number_;
    OpaqueValues opaqueValues_;
    std::optional<Exchange> awaited_ = Exchange::handshake;  // nothing: administration requests
    Bytes credential_;
    Bytes qualifier_;
    Bytes handle_;  // empty: none is waiting to be used
    bool handleMayBeUnknown_ = false;
    uint32_t statisticsQueries_ = 0;
    uint32_t exchangesDone_ = 0;
    std::map<Exchange, uint32_t> doneOfKind_;
};

}  // namespace gatewaysim

#endif
