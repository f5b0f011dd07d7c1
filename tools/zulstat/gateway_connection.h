#ifndef ZULSTATS_TOOLS_ZULSTAT_GATEWAY_CONNECTION_H
#define ZULSTATS_TOOLS_ZULSTAT_GATEWAY_CONNECTION_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "answer.h"
#include "report.h"
#include "zulstats64.h"

namespace zulstat {

// One connection, used by the thread that opens it alone; cutOff may be called from every thread.
class GatewayConnection {
  public:
    GatewayConnection() = default;
    ~GatewayConnection();
    GatewayConnection(const GatewayConnection&) = delete;
    GatewayConnection& operator=(const GatewayConnection&) = delete;

    // Returns the library's code.
    int32_t open(const Gateway& gateway);
    bool isOpen() const {
        return token_.load() != nullptr;
    }
    // Of the open connection.
    const std::string& protocolVersion() const {
        return protocolVersion_;
    }

    // Asks, asks again for what the answer hides, and makes sure that it arrived whole. A connection that is found dead
    // is no longer open afterwards.
    Answer ask(const Query& query);
    // Asks for all statistics, for a dump, and makes sure that the answer was not broken off.
    std::optional<Failure> askForDump();
    // Writes the library's state and what was answered to that to the trace destination.
    int32_t dump() const;
    // Waits for the gateway's goodbye.
    void close();
    // Wakes a query that waits for the gateway; it fails.
    void cutOff();

  private:
    void noteCode(int32_t code);

    ResultSetToken* dumped_ = nullptr;  // a copy, released at the end

    std::atomic<GatewayToken*> token_{nullptr};
    std::string protocolVersion_;
};

// Why a query has no complete answer; none when it has.
std::optional<Failure> failureOf(const Query& query, const Answer& answer);

Failure connectFailure(int32_t code);

}  // namespace zulstat

#endif
