// The floor: a client that makes bare exchanges of prepared bytes and looks at nothing that it receives.
#ifndef ZULSTATS_BENCH_FLOOR_CLIENT_H
#define ZULSTATS_BENCH_FLOOR_CLIENT_H

#include <cstdint>
#include <vector>

#include "bare_socket.h"
#include "wire_bytes.h"

namespace bench {

class FloorClient {
  public:
    // Connects, and makes the exchanges that open a connection.
    explicit FloorClient(int32_t port);

    void run(const std::vector<Exchange>& exchanges);
    void run(const Exchange& exchange);

    // The body that the last exchange has received.
    const uint8_t* body() const {
        return body_.data();
    }

  private:
    BareSocket socket_;
    Bytes header_;
    Bytes body_;
};

}  // namespace bench

#endif
