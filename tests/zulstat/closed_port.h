#ifndef TESTS_ZULSTAT_CLOSED_PORT_H
#define TESTS_ZULSTAT_CLOSED_PORT_H

#include <cstdint>

namespace zulstat_test {

// A loopback port that refuses connections, and that nobody else can take meanwhile: it is bound, but nobody listens.
class ClosedPort {
  public:
    ClosedPort();
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    int port() const {
        return port_;
    }

  private:
    intptr_t socket_ = -1;
    int port_ = 0;
};

}  // namespace zulstat_test

#endif
