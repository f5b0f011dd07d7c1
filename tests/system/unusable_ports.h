// Loopback ports on which no daemon answers.
#ifndef TESTS_SYSTEM_UNUSABLE_PORTS_H
#define TESTS_SYSTEM_UNUSABLE_PORTS_H

#include <cstdint>
#include <vector>

namespace system_test {

// Refuses connections, and nobody else can take it meanwhile: it is bound, but nobody listens.
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

}  // namespace system_test

#endif
