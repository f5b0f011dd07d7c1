#ifndef ZULSTATS_TOOLS_ZULSTAT_GATEWAY_SAMPLER_H
#define ZULSTATS_TOOLS_ZULSTAT_GATEWAY_SAMPLER_H

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "report.h"

namespace zulstat {

struct Sample {
    Report report;
    std::chrono::microseconds connecting{0};  // 0: the connection was there already
    std::chrono::microseconds asking{0};
};

// A thread that keeps a connection to one gateway, and asks it whenever it is told to.
class GatewaySampler {
  public:
    // `take` is called in the sampler's thread.
    GatewaySampler(Gateway gateway, std::vector<Query> queries, std::function<void(Sample)> take);
    // Leaves the thread behind; it ends as soon as its gateway lets it.
    ~GatewaySampler();
    GatewaySampler(const GatewaySampler&) = delete;
    GatewaySampler& operator=(const GatewaySampler&) = delete;

    // One sample is taken for each call.
    void takeSample();
    // Wakes a query that waits for the gateway. A connection that is only being made goes on.
    void cutOff();
    // Takes leave of the gateway, waiting no longer than the limit, and not at all while a sample is being taken:
    // nobody knows when that ends. False: it has not come to that.
    bool stop(std::chrono::milliseconds limit);
    // Tells it to, and does not wait.
    void askToStop();

  private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

}  // namespace zulstat

#endif
