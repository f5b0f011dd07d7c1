#ifndef ZULSTATS_TOOLS_ZULSTAT_REPORT_UNDER_WAY_H
#define ZULSTATS_TOOLS_ZULSTAT_REPORT_UNDER_WAY_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "report.h"

namespace zulstat {

// Handed from the thread that talks with the gateway, and may wait for it without end, to the one that waits no longer
// than the user wants to.
class ReportUnderWay {
  public:
    ReportUnderWay(const std::string& host, int32_t port);

    // What happens, told by the talking thread.
    void connected(const std::string& protocolVersion);
    void asking(const Query& query);
    void addResult(QueryResult result);
    void fail(Failure failure);
    void answered();
    void finished();

    // Waits until there is nothing more to learn, but no longer than the limit (0: no limit). Past it, the report holds
    // what there is and says so as its failure.
    Report waitForReport(std::chrono::seconds limit);

    bool isAnswered();

    // Whether the talking thread is done, if need be after a wait.
    bool waitUntilFinished(std::chrono::seconds limit);

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Report report_;
    std::optional<Query> asking_;
    bool answered_ = false;
    bool finished_ = false;
};

}  // namespace zulstat

#endif
