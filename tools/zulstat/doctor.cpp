#include "doctor.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "console.h"
#include "exit_codes.h"
#include "gateway_connection.h"
#include "messages.h"
#include "number.h"
#include "probe.h"
#include "program_output.h"
#include "text_escape.h"
#include "zulstats64.h"

namespace zulstat {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kNoLimit{86400000};

milliseconds limitOf(const CommandLine& commandLine) {
    return commandLine.timeLimit.count() > 0 ? commandLine.timeLimit : kNoLimit;
}

// Runs work in a thread of its own and waits no longer than the limit. Nothing: it took longer.
template <class Result, class Work>
std::optional<Result> runWithin(const milliseconds limit, Work work) {
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Result> result;
    };
    const auto shared = std::make_shared<Shared>();
    std::thread([shared, work = std::move(work)] {
        Result result = work();
        const std::lock_guard lock(shared->mutex);
        shared->result = std::move(result);
        shared->changed.notify_all();
    }).detach();
    std::unique_lock lock(shared->mutex);
    shared->changed.wait_for(lock, limit, [&] { return shared->result.has_value(); });
    return shared->result;
}

ProbeStep askThroughLibrary(const Gateway& gateway) {
    ProbeStep step;
    step.name = "values";
    const Clock::time_point begin = Clock::now();
    GatewayConnection connection;
    const Query query{QueryKind::statistics, AskedBy::all, {}};
    if (const int32_t code = connection.open(gateway); code != STAPI_RC_OK) {
        step.result = ProbeStep::Result::failed;
        step.detail = describeCode(code);
    } else {
        const Answer answer = connection.ask(query);
        size_t count = 0;
        for (const Element& element : answer.elements) {
            count += element.entries.size();
        }
        const auto failure = failureOf(query, answer);
        step.result = failure ? ProbeStep::Result::failed : ProbeStep::Result::good;
        step.detail = failure ? reasonOf(*failure) : std::to_string(count) + " statistics through the library";
    }
    step.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    if (step.result == ProbeStep::Result::failed) {
        step.advice = "Trace it: zulstat stats --trace-level 5 --trace-file FILE.";
    }
    return step;
}

ProbeStep lateStep(const std::string& name, const milliseconds limit) {
    ProbeStep step;
    step.name = name;
    step.result = ProbeStep::Result::failed;
    step.detail = "no answer within " + formatSeconds(limit) + " s";
    step.advice =
        name == "resolve" ? "Check the name service of this machine." : "Is the gateway overloaded? Try --timeout.";
    step.duration = limit;
    return step;
}

std::vector<ProbeStep> examine(const CommandLine& commandLine) {
    // Resolving and six exchanges, each of which keeps the limit by itself.
    constexpr int kWaits = 10;
    const milliseconds limit = limitOf(commandLine);
    const Gateway gateway = commandLine.gateways.front();
    auto steps = runWithin<std::vector<ProbeStep>>(limit * kWaits, [=] { return probeGateway(gateway, limit); });
    if (!steps) {
        return {lateStep("resolve", limit * kWaits)};
    }
    const bool isGood = std::all_of(steps->begin(), steps->end(),
                                    [](const ProbeStep& step) { return step.result == ProbeStep::Result::good; });
    ProbeStep last;
    last.name = "values";
    if (isGood) {
        last =
            runWithin<ProbeStep>(limit, [=] { return askThroughLibrary(gateway); }).value_or(lateStep("values", limit));
    }
    steps->push_back(std::move(last));
    return *steps;
}

std::string nameOf(const ProbeStep::Result result) {
    switch (result) {
        case ProbeStep::Result::good:
            return "ok";
        case ProbeStep::Result::failed:
            return "FAILED";
        case ProbeStep::Result::notTried:
            break;
    }
    return "-";
}

std::string inMilliseconds(const std::chrono::microseconds duration) {
    constexpr double kMicrosecondsInAMillisecond = 1000;
    constexpr int kDecimals = 2;
    return formatNumber(static_cast<double>(duration.count()) / kMicrosecondsInAMillisecond, kDecimals) + " ms";
}

std::string pad(std::string text, const size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

const ProbeStep* failedStep(const std::vector<ProbeStep>& steps) {
    const auto found = std::find_if(steps.begin(), steps.end(),
                                    [](const ProbeStep& step) { return step.result == ProbeStep::Result::failed; });
    return found == steps.end() ? nullptr : &*found;
}

std::string renderTable(const Gateway& gateway, const std::vector<ProbeStep>& steps) {
    constexpr size_t kNameColumn = 15;
    constexpr size_t kResultColumn = 8;
    constexpr size_t kTimeColumn = 12;
    std::string text = formatGateway(gateway) + "\n";
    for (const ProbeStep& step : steps) {
        const bool isTried = step.result != ProbeStep::Result::notTried;
        text += "  " + pad(step.name, kNameColumn) + pad(nameOf(step.result), kResultColumn);
        text += isTried ? pad(inMilliseconds(step.duration), kTimeColumn) + step.detail : "not tried";
        text += "\n";
    }
    const ProbeStep* const failed = failedStep(steps);
    return text + (failed == nullptr ? "All is well.\n" : "Next step: " + failed->advice + "\n");
}

std::string renderJson(const Gateway& gateway, const std::vector<ProbeStep>& steps) {
    using Json = nlohmann::ordered_json;
    constexpr double kMicrosecondsInAMillisecond = 1000;
    constexpr int kIndentation = 2;
    Json all = Json::array();
    for (const ProbeStep& step : steps) {
        const bool isTried = step.result != ProbeStep::Result::notTried;
        all.push_back(Json{{"name", step.name},
                           {"result", step.result == ProbeStep::Result::good ? "ok"
                                      : isTried                              ? "failed"
                                                                             : "notTried"},
                           {"durationMs", static_cast<double>(step.duration.count()) / kMicrosecondsInAMillisecond},
                           {"detail", step.detail}});
    }
    const ProbeStep* const failed = failedStep(steps);
    const Json document{{"format", 1},
                        {"gateway", Json{{"host", gateway.host}, {"port", gateway.port}}},
                        {"steps", all},
                        {"nextStep", failed == nullptr ? Json(nullptr) : Json(failed->advice)}};
    return document.dump(kIndentation, ' ', true, Json::error_handler_t::replace) + "\n";
}

int exitCodeOf(const std::vector<ProbeStep>& steps) {
    const ProbeStep* const failed = failedStep(steps);
    if (failed == nullptr) {
        return kExitOk;
    }
    return failed->name == "groups" || failed->name == "values" ? kExitQueryFailed : kExitCannotConnect;
}

struct DumpOutcome {
    int exitCode = kExitOk;
    std::string reason;
};

DumpOutcome fileFailed(const std::string& reason) {
    return {kExitOutputFailed, "it cannot be written: " + reason};
}

// The file is touched only when there is something to write to it.
DumpOutcome writeDump(GatewayConnection& connection, const std::string& file,
                      const std::optional<std::string>& traceFile) {
    if (const auto fault = replaceFile(file, "")) {
        return fileFailed(*fault);
    }
    const std::optional<std::string> name = fileNameForLibrary(file);
    const int32_t directed = name ? setAPITraceFile(name->c_str()) : STAPI_RC_TRACE_FILE_FAILED;
    if (directed != STAPI_RC_OK) {
        return fileFailed(describeCode(directed));
    }
    const int32_t dumped = connection.dump();
    const std::optional<std::string> traceName = traceFile ? fileNameForLibrary(*traceFile) : std::nullopt;
    setAPITraceFile(traceName ? traceName->c_str() : nullptr);
    if (dumped != STAPI_RC_OK) {
        return {kExitQueryFailed, describeCode(dumped)};
    }
    // The library does not say when it cannot write what it traces: a line of our own behind the dump tells.
    const auto fault = appendToFile(file, "End of the dump.\n");
    return fault ? fileFailed(*fault) : DumpOutcome();
}

DumpOutcome dumpGateway(const Gateway& gateway, const std::string& file, const std::optional<std::string>& traceFile) {
    GatewayConnection connection;
    if (const int32_t code = connection.open(gateway); code != STAPI_RC_OK) {
        return {kExitCannotConnect, describeCode(code) + " Try \"zulstat doctor\"."};
    }
    if (const auto failure = connection.askForDump()) {
        return {kExitQueryFailed, reasonOf(*failure) + " Try \"zulstat doctor\"."};
    }
    return writeDump(connection, file, traceFile);
}

}  // namespace

int runDoctor(const CommandLine& commandLine) {
    endProcessWhenInterrupted();
    const Gateway& gateway = commandLine.gateways.front();
    const std::vector<ProbeStep> steps = examine(commandLine);
    const bool isJson = commandLine.format == OutputFormat::json;
    const std::string text = isJson ? renderJson(gateway, steps) : renderTable(gateway, steps);
    // A thread may be left behind that still waits.
    endProcess(writeOutput(text, std::nullopt, exitCodeOf(steps)));
}

int runDump(const CommandLine& commandLine) {
    endProcessWhenInterrupted();
    const std::string& file = commandLine.dumpFile;
    const Gateway& gateway = commandLine.gateways.front();
    const DumpOutcome late{kExitQueryFailed,
                           "no answer within " + formatSeconds(commandLine.timeLimit) + " s. Try \"zulstat doctor\"."};
    const DumpOutcome outcome = runWithin<DumpOutcome>(limitOf(commandLine), [=] {
                                    return dumpGateway(gateway, file, commandLine.traceFile);
                                }).value_or(late);
    if (outcome.exitCode != kExitOk) {
        printError("no dump of " + formatGateway(gateway) + " in the file " + quoteText(file) + ": " + outcome.reason);
    }
    // A thread may be left behind that still waits.
    endProcess(outcome.exitCode);
}

}  // namespace zulstat
