#ifndef ZULSTATS_TESTS_SUPPORT_CLOSED_PORT_H
#define ZULSTATS_TESTS_SUPPORT_CLOSED_PORT_H

#include "peer_sockets.h"

namespace test_support {

// A loopback port that refuses connections, and that nobody else can take meanwhile: it is bound, but nobody listens.
class ClosedPort {
  public:
    ClosedPort() : bound_(peer_sockets::refuseOnLoopback()) {}
    ~ClosedPort() {
        peer_sockets::closeSocket(bound_.socket);
    }
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    int port() const {
        return bound_.port;
    }

  private:
    const peer_sockets::Listener bound_;
};

}  // namespace test_support

#endif
