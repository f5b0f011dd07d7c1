#include "one_shot.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "check.h"
#include "console.h"
#include "csv_output.h"
#include "exit_codes.h"
#include "gateway_runs.h"
#include "json_output.h"
#include "messages.h"
#include "openmetrics_output.h"
#include "program_output.h"
#include "table_output.h"

namespace zulstat {
namespace {

// Closing waits for the gateway's goodbye; nobody who has the answer should wait for it long.
constexpr std::chrono::milliseconds kCloseLimit{2000};

int exitCodeOfAll(const Reports& reports) {
    int exitCode = kExitOk;
    for (const Report& report : reports) {
        exitCode = std::max(exitCode, exitCodeOf(report));
    }
    return exitCode;
}

TableStyle tableStyle(const CommandLine& commandLine) {
    TableStyle style;
    style.withColour = !commandLine.outputFile && takesColour(commandLine.color);
    style.withHeader = commandLine.hasHeader;
    if (!commandLine.isWide && !commandLine.outputFile) {
        style.width = terminalSize().value_or(TerminalSize{}).columns;
    }
    return style;
}

std::string render(const Reports& reports, const CommandLine& commandLine) {
    switch (commandLine.format) {
        case OutputFormat::json:
            return renderJson(reports, {programVersion(), apiVersion()});
        case OutputFormat::csv:
            return renderCsv(reports, commandLine.hasHeader);
        case OutputFormat::openmetrics:
            // Its readers know no other line ends.
            keepLineEnds();
            return renderOpenMetrics(reports, commandLine.withTexts);
        case OutputFormat::table:
            break;
    }
    return renderTables(reports, tableStyle(commandLine));
}

bool hasEntries(const Report& report) {
    return std::any_of(report.results.begin(), report.results.end(), [](const QueryResult& result) {
        return std::any_of(result.elements.begin(), result.elements.end(),
                           [](const Element& element) { return !element.entries.empty(); });
    });
}

std::vector<std::string> messagesAbout(const Report& report, const Selection& selection) {
    std::vector<std::string> messages = describeRemarks(report);
    Report selected = report;
    applySelection(selected, selection);
    if (hasEntries(report) && !hasEntries(selected)) {
        messages.push_back("no id of " + formatGateway(report.gateway) + " matches --match.");
    }
    if (report.failure) {
        messages.push_back(describeFailure(*report.failure, report.gateway));
    }
    return messages;
}

// Where nobody answered, a file keeps what it has, unless the format has something to say about that.
bool leavesFileAlone(const Reports& reports, const CommandLine& commandLine) {
    const bool tellsFailures =
        commandLine.format == OutputFormat::json || commandLine.format == OutputFormat::openmetrics;
    return commandLine.outputFile && !tellsFailures &&
           std::all_of(reports.begin(), reports.end(),
                       [](const Report& report) { return report.failure && report.results.empty(); });
}

int show(Reports reports, const CommandLine& commandLine) {
    std::vector<std::string> messages;
    const int exitCode = exitCodeOfAll(reports);
    const bool hasNothingToWrite = leavesFileAlone(reports, commandLine);
    for (Report& report : reports) {
        for (std::string& message : messagesAbout(report, commandLine.selection)) {
            messages.push_back(std::move(message));
        }
        applySelection(report, commandLine.selection);
    }
    const int finalCode =
        hasNothingToWrite ? exitCode : writeOutput(render(reports, commandLine), commandLine.outputFile, exitCode);
    for (const std::string& message : messages) {
        printError(message);
    }
    return finalCode;
}

void endWhenSilent(GatewayRuns& runs, const Reports& reports, const int exitCode) {
    const bool areAllAnswered = std::none_of(reports.begin(), reports.end(), [](const Report& report) {
        return report.failure && !report.failure->code && report.failure->stage != Failure::Stage::reading;
    });
    if (!areAllAnswered || !runs.waitUntilFinished(kCloseLimit)) {
        endProcess(exitCode);
    }
}

// Runs that are interrupted when they are there, if need be at once.
class InterruptibleRuns {
  public:
    void interrupt() {
        const std::lock_guard lock(mutex_);
        isInterrupted_ = true;
        interruptRuns();
    }
    void adopt(const std::shared_ptr<GatewayRuns>& runs) {
        const std::lock_guard lock(mutex_);
        runs_ = runs;
        if (isInterrupted_) {
            interruptRuns();
        }
    }

  private:
    void interruptRuns() {
        if (const auto running = runs_.lock()) {
            running->interrupt();
        }
    }

    std::mutex mutex_;
    bool isInterrupted_ = false;
    std::weak_ptr<GatewayRuns> runs_;
};

}  // namespace

int runOneShot(const CommandLine& commandLine) {
    const auto interruptible = std::make_shared<InterruptibleRuns>();
    // Before the gateways' threads: where there are too few for all of them, this one must not be the one that lacks.
    whenInterrupted([interruptible](const Interruption interruption) {
        if (interruption != Interruption::resized) {
            interruptible->interrupt();
        }
    });
    const auto runs = std::make_shared<GatewayRuns>(commandLine.gateways, commandLine.queries, Remarks::wanted);
    interruptible->adopt(runs);
    const Reports reports = runs->wait(commandLine.timeLimit);
    const int exitCode = show(reports, commandLine);
    endWhenSilent(*runs, reports, exitCode);
    return exitCode;
}

int runCheck(const CommandLine& commandLine) {
    endProcessWhenInterrupted();
    const auto first = std::make_shared<GatewayRuns>(commandLine.gateways, commandLine.queries, Remarks::unwanted);
    const Reports earlier = first->wait(commandLine.timeLimit);
    const bool hasRates = std::any_of(commandLine.check.metrics.begin(), commandLine.check.metrics.end(),
                                      [](const Metric& metric) { return metric.isRate; });
    const bool isAnswered =
        std::any_of(earlier.begin(), earlier.end(), [](const Report& report) { return !report.failure; });
    Reports later = earlier;
    std::shared_ptr<GatewayRuns> second;
    if (hasRates && isAnswered) {
        std::this_thread::sleep_for(commandLine.interval);
        second = std::make_shared<GatewayRuns>(commandLine.gateways, commandLine.queries, Remarks::unwanted);
        later = second->wait(commandLine.timeLimit);
    }
    const CheckResult result = evaluateCheck(earlier, later, commandLine.check);
    const int exitCode = writeOutput(result.text, std::nullopt, result.exitCode);
    // A thread may be left behind that still waits for its gateway; nobody waits for a goodbye.
    endProcess(exitCode == kExitOutputFailed ? kCheckUnknown : exitCode);
}

}  // namespace zulstat
