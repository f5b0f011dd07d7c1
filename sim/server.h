#ifndef ZULSTATS_SIM_SERVER_H
#define ZULSTATS_SIM_SERVER_H

#include <cstdint>
#include <functional>
#include <list>
#include <memory>

#include "log.h"
#include "system.h"
#include "transport.h"

namespace gatewaysim {

// What is done with an accepted connection, on a thread of its own. The number counts connections from 1. Returns when
// the connection is to be closed. Throws Stopped.
using ConnectionHandler = std::function<void(Connection& connection, uint64_t number)>;

// Accepts connections and has each served on a thread of its own until the signal is raised.
class Server {
  public:
    Server(NativeSocket listener, ConnectionHandler handler, Log& log, const StopSignal& stop);
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
    const ConnectionHandler handler_;
    Log& log_;
    const StopSignal& stop_;
    uint64_t connections_ = 0;
    std::list<std::unique_ptr<Worker>> workers_;
};

}  // namespace gatewaysim

#endif
