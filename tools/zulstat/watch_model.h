// What a watch has learnt so far: the last sample of every gateway, what has changed since the one before, and some
// history.
#ifndef ZULSTATS_TOOLS_ZULSTAT_WATCH_MODEL_H
#define ZULSTATS_TOOLS_ZULSTAT_WATCH_MODEL_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "number.h"
#include "report.h"
#include "selection.h"

namespace zulstat {

struct WatchRow {
    size_t gateway = 0;
    std::string element;
    std::string id;
    std::string value;
    int32_t code = 0;  // below 0: the gateway could not answer the element, and there is neither id nor value
    bool isCounter = false;
    bool isReset = false;                    // a counter that fell since the last sample
    std::optional<double> number;            // the value, if it is one
    std::optional<double> change;            // since the last sample; none for the first
    std::optional<WholeNumber> exactChange;  // the same where both values are whole numbers
    std::optional<double> rate;              // change per second; of counters alone
    std::deque<std::optional<double>>
        history;  // rates of a counter, values of all else; none where a sample is missing
    std::chrono::steady_clock::time_point at;
};

struct WatchedGateway {
    Gateway gateway;
    bool isUp = false;
    bool isKnown = false;                         // something was heard of it, good or bad
    std::string reason;                           // why it is down, a whole sentence
    std::chrono::system_clock::time_point since;  // when it went down
    // The last sample's, or where it is down when the last attempt had failed.
    std::chrono::system_clock::time_point lastHeard;
    std::chrono::microseconds duration{0};  // of the last sample or attempt
    std::string note;                       // what its last sample lacks, a whole sentence; empty: nothing
    std::optional<std::chrono::system_clock::time_point> nextTry;
    std::vector<WatchRow> rows;  // of the last sample, in its order
};

class WatchModel {
  public:
    WatchModel(const std::vector<Gateway>& gateways, std::vector<std::string> counters, Selection selection);

    // The id of a statistic that every sample should have; one that lacks it gets a note.
    void awaitStatistic(std::string id);

    void addSample(size_t gateway, const Report& report);
    void markDown(size_t gateway, const std::string& reason, std::chrono::system_clock::time_point now,
                  std::chrono::microseconds duration);
    void setNextTry(size_t gateway, std::chrono::system_clock::time_point time);

    const std::vector<WatchedGateway>& gateways() const {
        return gateways_;
    }
    bool hasSeveralGateways() const {
        return gateways_.size() > 1;
    }
    // Of one gateway, in the order wanted: those that are selected, and the elements that failed.
    std::vector<const WatchRow*> rowsOf(size_t gateway) const;
    // Of all of them.
    std::vector<const WatchRow*> allRows() const;

  private:
    void follow(WatchRow& row, const WatchRow& before) const;
    std::string noteOn(const WatchedGateway& watched) const;
    void sort(std::vector<const WatchRow*>& rows) const;

    std::vector<WatchedGateway> gateways_;
    std::vector<std::string> counters_;
    Selection selection_;
    std::optional<std::string> awaited_;
};

// Eight heights for the numbers of a history, and a blank where one is missing; at most the last `width` of them.
std::string sparkline(const std::deque<std::optional<double>>& history, size_t width);

}  // namespace zulstat

#endif
