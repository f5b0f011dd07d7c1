#ifndef ZULSTATS_SIM_SERVER_H
#define ZULSTATS_SIM_SERVER_H

#include <cstdint>
#include <list>
#include <memory>

#include "session.h"
#include "system.h"

namespace gatewaysim {

// Accepts connections and serves each on a thread of its own until the signal is raised.
class Server {
  public:
    Server(NativeSocket listener, const Simulation& simulation, const StopSignal& stop);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void run();

  private:
    struct Worker;

    void acceptOne();
    void start(NativeSocket socket);
    void joinFinished();
    void joinAll();

    const NativeSocket listener_;
    const Simulation& simulation_;
    const StopSignal& stop_;
    uint64_t connections_ = 0;
    std::list<std::unique_ptr<Worker>> workers_;
};

}  // namespace gatewaysim

#endif
