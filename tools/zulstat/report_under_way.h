#ifndef ZULSTATS_TOOLS_ZULSTAT_REPORT_UNDER_WAY_H
#define ZULSTATS_TOOLS_ZULSTAT_REPORT_UNDER_WAY_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "report.h"

namespace zulstat {

// Handed from the thread that talks with the gateway, and may wait for it without end, to the one that waits no longer
// than the user wants to.
class ReportUnderWay {
  public:
    explicit ReportUnderWay(const Gateway& gateway);

    // What happens, told by the talking thread.
    void connected(const std::string& protocolVersion);
    void asking(const Query& query);
    void addResult(QueryResult result);
    void addSuggestion(const std::string& asked, const std::string& nearest);
    void fail(Failure failure);
    void answered();  // every query
    void remarked();  // no suggestion follows
    void finished();

    // Waits until there is nothing more to learn, but no longer than that time from the beginning on (0: no limit), and
    // not after an interruption. Then the report holds what there is and says so as its failure. What is only remarked
    // about the answers is waited for at most a second, and its lack is no failure.
    Report waitForReport(std::chrono::milliseconds limit);

    // From any thread.
    void interrupt();

    bool isAnswered();

    // Whether the talking thread is done, if need be after a wait.
    bool waitUntilFinished(std::chrono::milliseconds limit);

  private:
    std::chrono::microseconds elapsed() const;

    std::mutex mutex_;
    std::condition_variable changed_;
    Report report_;
    std::optional<Query> asking_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    bool interrupted_ = false;
    bool answered_ = false;
    bool remarked_ = false;
    bool finished_ = false;
};

}  // namespace zulstat

#endif
