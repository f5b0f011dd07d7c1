#ifndef ZULSTATS_TESTS_SIM_RAW_CLIENT_H
#define ZULSTATS_TESTS_SIM_RAW_CLIENT_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "client_requests.h"

namespace sim_test {

// A bare connection to 127.0.0.1. Every wait is bounded; what fails throws std::runtime_error.
class RawClient {
  public:
    explicit RawClient(int port);
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void send(const Bytes& bytes);
    // Exactly so many bytes.
    Bytes receive(size_t size);
    // All until the peer ends its stream.
    Bytes receiveToTheEnd();
    // Whether the next thing received is a reset (true) or the end of the stream (false). Throws when it is data.
    bool endsByReset();
    // Wine shows a reset that came before the receive as the end of the stream.
    static bool tellsResetFromEnd();
    // Whether nothing has come so far.
    bool hasNothingToRead();
    void finishSending();

  private:
    static constexpr int kAtMostMilliseconds = 10000;
    enum class Received { data, end, reset, nothing };
    Received receiveSome(uint8_t* buffer, size_t size, int milliseconds, size_t& count);

    intptr_t socket_;
};

}  // namespace sim_test

#endif
