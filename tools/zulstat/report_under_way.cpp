#include "report_under_way.h"

#include <algorithm>
#include <utility>

#include "number.h"

namespace zulstat {
namespace {

constexpr std::chrono::seconds kPatienceForRemarks{1};

Failure endedBefore(const std::optional<Query>& query) {
    Failure failure;
    failure.stage = query ? Failure::Stage::querying : Failure::Stage::connecting;
    failure.query = query;
    return failure;
}

Failure timeLimitPassed(const std::optional<Query>& query, const std::chrono::milliseconds limit) {
    Failure failure = endedBefore(query);
    failure.kind = Failure::Kind::timeLimit;
    failure.reason = "no answer within " + formatSeconds(limit) + " s";
    failure.advice = query ? "Is the gateway overloaded? Give --timeout a higher number to wait longer."
                           : "\"zulstat doctor\" tells how far it gets; a higher --timeout waits longer.";
    return failure;
}

Failure interrupted(const std::optional<Query>& query) {
    Failure failure = endedBefore(query);
    failure.kind = Failure::Kind::interrupted;
    failure.reason = "interrupted";
    failure.advice = "What was answered before is shown.";
    return failure;
}

}  // namespace

ReportUnderWay::ReportUnderWay(const Gateway& gateway) {
    report_.gateway = gateway;
    report_.startedAt = std::chrono::system_clock::now();
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

void ReportUnderWay::addSuggestion(const std::string& asked, const std::string& nearest) {
    const std::lock_guard lock(mutex_);
    report_.suggestions.push_back({asked, nearest});
}

void ReportUnderWay::answered() {
    const std::lock_guard lock(mutex_);
    answered_ = true;
    report_.duration = elapsed();
    changed_.notify_all();
}

void ReportUnderWay::remarked() {
    const std::lock_guard lock(mutex_);
    remarked_ = true;
    changed_.notify_all();
}

void ReportUnderWay::finished() {
    const std::lock_guard lock(mutex_);
    finished_ = true;
    changed_.notify_all();
}

void ReportUnderWay::interrupt() {
    const std::lock_guard lock(mutex_);
    interrupted_ = true;
    changed_.notify_all();
}

Report ReportUnderWay::waitForReport(const std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    const auto isOver = [this] { return answered_ || interrupted_; };
    if (limit.count() == 0) {
        changed_.wait(lock, isOver);
    } else {
        changed_.wait_until(lock, begin_ + limit, isOver);
    }
    if (answered_) {
        const auto patience = std::chrono::steady_clock::now() + kPatienceForRemarks;
        const auto end = limit.count() == 0 ? patience : std::min(patience, begin_ + limit);
        changed_.wait_until(lock, end, [this] { return remarked_ || interrupted_; });
    }
    Report report = report_;
    if (!answered_) {
        report.duration = elapsed();
        report.failure = interrupted_ ? interrupted(asking_) : timeLimitPassed(asking_, limit);
    }
    return report;
}

std::chrono::microseconds ReportUnderWay::elapsed() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin_);
}

bool ReportUnderWay::isAnswered() {
    const std::lock_guard lock(mutex_);
    return answered_;
}

bool ReportUnderWay::waitUntilFinished(const std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return finished_; });
}

}  // namespace zulstat
