#include "gateway_runs.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "gateway_connection.h"
#include "messages.h"
#include "nearest.h"

namespace zulstat {
namespace {

// Ids that failed, with those that they may have meant. One more query tells which there are.
void suggestNearest(GatewayConnection& connection, const QueryResult& result, ReportUnderWay& report) {
    constexpr size_t kMostSuggestions = 10;
    std::vector<std::string> failed;
    for (const Element& element : result.elements) {
        if (isFailed(element) && failed.size() < kMostSuggestions) {
            failed.push_back(element.text);
        }
    }
    if (failed.empty() || result.query.by == AskedBy::all || !connection.isOpen()) {
        return;
    }
    const QueryKind kind = result.query.by == AskedBy::group ? QueryKind::resourceGroups : QueryKind::statisticIds;
    std::vector<std::string> known;
    for (const Element& element : connection.ask({kind, AskedBy::all, {}}).elements) {
        for (const Entry& entry : element.entries) {
            known.push_back(entry.id);
        }
    }
    for (const std::string& id : failed) {
        // A gateway may list what it does not answer.
        if (const auto nearest = findNearest(id, known); nearest && *nearest != id) {
            report.addSuggestion(id, *nearest);
        }
    }
}

struct QueryOutcome {
    std::optional<QueryResult> result;
    bool goesOn;  // the next query may be made
};

QueryOutcome reportQuery(GatewayConnection& connection, const Query& query, ReportUnderWay& report) {
    report.asking(query);
    Answer answer = connection.ask(query);
    // The version is certain as soon as something came after it.
    if (answer.code == STAPI_RC_OK || answer.cutOff) {
        report.connected(connection.protocolVersion());
    }
    std::optional<Failure> failure = failureOf(query, answer);
    QueryOutcome outcome{std::nullopt, answer.code == STAPI_RC_OK};
    if (!failure || !answer.elements.empty()) {
        outcome.result = QueryResult{query, std::move(answer.elements), answer.arrivedAt};
        report.addResult(*outcome.result);
    }
    if (failure) {
        report.fail(std::move(*failure));
    }
    return outcome;
}

void runSession(const Gateway& gateway, const std::vector<Query>& queries, const Remarks remarks,
                ReportUnderWay& report) {
    GatewayConnection connection;
    std::vector<QueryResult> results;
    if (const int32_t code = connection.open(gateway); code != STAPI_RC_OK) {
        report.fail(connectFailure(code));
    } else {
        bool goesOn = true;
        for (size_t index = 0; index < queries.size() && goesOn; ++index) {
            QueryOutcome outcome = reportQuery(connection, queries[index], report);
            goesOn = outcome.goesOn;
            if (outcome.result && remarks == Remarks::wanted) {
                results.push_back(std::move(*outcome.result));
            }
        }
    }
    report.answered();
    for (const QueryResult& result : results) {
        suggestNearest(connection, result, report);
    }
    report.remarked();
    connection.close();
    report.finished();
}

void reportNoThread(const std::system_error& error, ReportUnderWay& report) {
    Failure failure;
    failure.kind = Failure::Kind::localLimit;
    failure.reason = std::string("no thread can be started for it: ") + error.what();
    failure.advice = std::string(kTooFewThreads);
    report.fail(std::move(failure));
    report.answered();
    report.remarked();
    report.finished();
}

}  // namespace

GatewayRuns::GatewayRuns(const std::vector<Gateway>& gateways, const std::vector<Query>& queries,
                         const Remarks remarks) {
    runs_.reserve(gateways.size());
    for (const Gateway& gateway : gateways) {
        Run& run = runs_.emplace_back();
        run.report = std::make_shared<ReportUnderWay>(gateway);
        try {
            run.thread = std::thread(
                [gateway, queries, remarks, report = run.report] { runSession(gateway, queries, remarks, *report); });
        } catch (const std::system_error& error) {
            reportNoThread(error, *run.report);
        }
    }
}

GatewayRuns::~GatewayRuns() {
    for (Run& run : runs_) {
        if (!run.thread.joinable()) {
            continue;
        }
        if (run.report->waitUntilFinished(std::chrono::milliseconds(0))) {
            run.thread.join();
        } else {
            run.thread.detach();
        }
    }
}

Reports GatewayRuns::wait(const std::chrono::milliseconds limit) {
    Reports reports;
    reports.reserve(runs_.size());
    for (const Run& run : runs_) {
        reports.push_back(run.report->waitForReport(limit));
    }
    return reports;
}

void GatewayRuns::interrupt() const {
    for (const Run& run : runs_) {
        run.report->interrupt();
    }
}

bool GatewayRuns::waitUntilFinished(const std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    return std::all_of(runs_.begin(), runs_.end(), [&](const Run& run) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        return run.report->waitUntilFinished(std::max(left, std::chrono::milliseconds(0)));
    });
}

}  // namespace zulstat
