#ifndef ZULSTATS_TESTS_SIM_CONVERSATION_H
#define ZULSTATS_TESTS_SIM_CONVERSATION_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client_requests.h"
#include "gatewaysim_process.h"
#include "raw_client.h"

namespace sim_test {

// A connection with the steps of a faultless client. Each step returns the whole reply unless it says otherwise.
class Conversation {
  public:
    explicit Conversation(const test_support::GatewaySim& sim) : client_(sim.port()) {}

    RawClient& client() {
        return client_;
    }

    // Sends the request and receives a reply whose header has a server program name of so many bytes.
    Bytes exchange(const Bytes& request, size_t nameLength);

    Bytes handshake();
    Bytes firstAuthorisation();   // keeps credential and qualifier
    Bytes secondAuthorisation();  // sends them back
    Bytes init();                 // keeps the handle
    Bytes attribute();
    Bytes invoke(std::string_view operation, std::string_view argument);
    Bytes close();

    // All steps that come before an administration request.
    void open();
    // Init and invoke; the payload behind the exception flag.
    Bytes query(std::string_view operation, std::string_view argument);

    const Bytes& credential() const {
        return credential_;
    }
    const Bytes& qualifier() const {
        return qualifier_;
    }
    const Bytes& handle() const {
        return handle_;
    }

  private:
    RawClient client_;
    Bytes credential_;
    Bytes qualifier_;
    Bytes handle_;
};

// Two hexadecimal digits for each byte and nothing between them.
std::string withoutBlanks(const Bytes& bytes);

// The lines of a log without the times in them. A line that has none as it should stays as it is, and begins with "NO
// TIME: ".
std::string withoutTimes(const std::string& log);

// The simulator on a catalogue of the test's own.
std::vector<std::string> withCatalogue(const std::string& path, std::vector<std::string> more = {});

}  // namespace sim_test

#endif
