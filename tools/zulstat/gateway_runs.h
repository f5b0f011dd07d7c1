#ifndef ZULSTATS_TOOLS_ZULSTAT_GATEWAY_RUNS_H
#define ZULSTATS_TOOLS_ZULSTAT_GATEWAY_RUNS_H

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "report.h"
#include "report_under_way.h"

namespace zulstat {

// Whether ids that failed are looked into, which takes one more query for each that has some.
enum class Remarks { wanted, unwanted };

// Asks several gateways at the same time: one thread for each, since a connection is bound to its thread. None holds up
// another.
class GatewayRuns {
  public:
    // Starts at once.
    GatewayRuns(const std::vector<Gateway>& gateways, const std::vector<Query>& queries, Remarks remarks);
    // Leaves threads behind that still wait for a gateway.
    ~GatewayRuns();
    GatewayRuns(const GatewayRuns&) = delete;
    GatewayRuns& operator=(const GatewayRuns&) = delete;

    // In the order of the gateways; no longer than the limit (0: none).
    Reports wait(std::chrono::milliseconds limit);
    // Ends the wait, from any thread.
    void interrupt() const;
    // Waits until all have taken leave of their gateways. False: some still wait for theirs.
    bool waitUntilFinished(std::chrono::milliseconds limit);

  private:
    struct Run {
        std::shared_ptr<ReportUnderWay> report;
        std::thread thread;
    };
    std::vector<Run> runs_;
};

}  // namespace zulstat

#endif
