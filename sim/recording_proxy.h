#ifndef ZULSTATS_SIM_RECORDING_PROXY_H
#define ZULSTATS_SIM_RECORDING_PROXY_H

#include <cstdint>
#include <utility>

#include "address.h"
#include "log.h"
#include "recording.h"
#include "system.h"
#include "transport.h"

namespace gatewaysim {

// Stands between clients and a gateway: passes on what the two send each other, changes nothing of it, ends a
// connection as it was ended on the other side, and records what passed.
class RecordingProxy {
  public:
    RecordingProxy(Address gateway, RecordingWriter& writer, Log& log, const StopSignal& stop)
        : gateway_(std::move(gateway)), writer_(writer), log_(log), stop_(stop) {}

    // Throws Stopped.
    void serve(Connection& client, uint64_t number);

  private:
    const Address gateway_;
    RecordingWriter& writer_;
    Log& log_;
    const StopSignal& stop_;
};

}  // namespace gatewaysim

#endif
