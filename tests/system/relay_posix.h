// A loopback relay between the library and a daemon that can cut the library's connection off at any moment.
#ifndef ZULSTATS_TESTS_SYSTEM_RELAY_POSIX_H
#define ZULSTATS_TESTS_SYSTEM_RELAY_POSIX_H

#include <atomic>
#include <thread>

namespace system_test {

// Takes one connection and carries its bytes to and from the daemon's port.
class Relay {
  public:
    explicit Relay(int daemonPort);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    int port() const {
        return port_;
    }

    // Resets the library's connection; it has met the reset when this returns.
    void reset();
    // Ends the library's connection in order; it has met the end when this returns.
    void finish();

  private:
    void carry(int daemonPort);
    void stopCarrying();

    int listener_ = -1;
    int wakeRead_ = -1;
    int wakeWrite_ = -1;
    std::atomic<int> client_{-1};
    int port_ = 0;
    std::thread thread_;
};

// This process's descriptor that is connected to a loopback port; -1 when there is none.
int descriptorConnectedTo(int port);

}  // namespace system_test

#endif
