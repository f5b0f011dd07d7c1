#include "report_under_way.h"

#include <utility>

namespace zulstat {
namespace {

Failure timeLimitPassed(const std::optional<Query>& query, const std::chrono::seconds limit) {
    Failure failure;
    failure.stage = query ? Failure::Stage::querying : Failure::Stage::connecting;
    failure.query = query;
    failure.reason = "no answer within " + std::to_string(limit.count()) + " s";
    failure.advice = "Is the gateway overloaded? Give --timeout a higher number to wait longer.";
    return failure;
}

}  // namespace

ReportUnderWay::ReportUnderWay(const std::string& host, const int32_t port) {
    report_.host = host;
    report_.port = port;
}

void ReportUnderWay::connected(const std::string& protocolVersion) {
    const std::lock_guard lock(mutex_);
    report_.protocolVersion = protocolVersion;
}

void ReportUnderWay::asking(const Query& query) {
    const std::lock_guard lock(mutex_);
    asking_ = query;
}

void ReportUnderWay::addResult(QueryResult result) {
    const std::lock_guard lock(mutex_);
    report_.results.push_back(std::move(result));
}

void ReportUnderWay::fail(Failure failure) {
    const std::lock_guard lock(mutex_);
    report_.failure = std::move(failure);
}

void ReportUnderWay::answered() {
    const std::lock_guard lock(mutex_);
    answered_ = true;
    changed_.notify_all();
}

void ReportUnderWay::finished() {
    const std::lock_guard lock(mutex_);
    finished_ = true;
    changed_.notify_all();
}

Report ReportUnderWay::waitForReport(const std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    const auto isAnswered = [this] { return answered_; };
    if (limit.count() == 0) {
        changed_.wait(lock, isAnswered);
    } else if (!changed_.wait_for(lock, limit, isAnswered)) {
        Report report = report_;
        report.failure = timeLimitPassed(asking_, limit);
        return report;
    }
    return report_;
}

bool ReportUnderWay::isAnswered() {
    const std::lock_guard lock(mutex_);
    return answered_;
}

bool ReportUnderWay::waitUntilFinished(const std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return finished_; });
}

}  // namespace zulstat
