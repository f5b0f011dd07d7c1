#include "doctor.h"

#include <algorithm>
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
#include "time_text.h"
#include "zulstats64.h"

namespace zulstat {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kLastStep = "values";

// Closing waits for the gateway's goodbye; nobody who has the result should wait for it long.
constexpr milliseconds kCloseLimit{2000};

Clock::time_point deadlineOf(const CommandLine& commandLine) {
    constexpr milliseconds kNoLimit{86400000};
    return Clock::now() + (commandLine.timeLimit.count() > 0 ? commandLine.timeLimit : kNoLimit);
}

// Work in a thread of its own. What the work holds, as a connection, ends behind the result, and does not count.
template <class Result>
class WorkUnderWay {
  public:
    template <class Work>
    explicit WorkUnderWay(Work work) {
        std::thread([shared = shared_, held = std::optional<Work>(std::move(work))]() mutable {
            shared->tell(shared->result, (*held)());
            held.reset();
            shared->tell(shared->isFinished, true);
        }).detach();
    }

    // Nothing: it takes longer.
    std::optional<Result> waitForResult(const Clock::time_point deadline) {
        std::unique_lock lock(shared_->mutex);
        shared_->changed.wait_until(lock, deadline, [this] { return shared_->result.has_value(); });
        return shared_->result;
    }

    void waitForEnd(const milliseconds limit) {
        std::unique_lock lock(shared_->mutex);
        shared_->changed.wait_for(lock, limit, [this] { return shared_->isFinished; });
    }

  private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Result> result;
        bool isFinished = false;

        template <class Target, class Value>
        void tell(Target& target, Value value) {
            const std::lock_guard lock(mutex);
            target = std::move(value);
            changed.notify_all();
        }
    };
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

ProbeStep askThroughLibrary(GatewayConnection& connection, const Gateway& gateway) {
    ProbeStep step;
    step.name = kLastStep;
    const Clock::time_point begin = Clock::now();
    const Query query{QueryKind::statistics, AskedBy::all, {}};
    if (const int32_t code = connection.open(gateway); code != STAPI_RC_OK) {
        step.result = ProbeStep::Result::failed;
        step.detail = reasonOf(connectFailure(code));
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

void noteThatItIsLate(ProbeStep& step, const milliseconds limit, const Clock::time_point begin) {
    step.result = ProbeStep::Result::failed;
    step.detail = "no answer before the time limit of " + formatSeconds(limit) + " s";
    step.advice = step.name == kLastStep ? "Is the gateway overloaded? Try --timeout."
                                         : "Check the name service of this machine.";
    step.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
}

bool areAllGood(const std::vector<ProbeStep>& steps) {
    return std::all_of(steps.begin(), steps.end(),
                       [](const ProbeStep& step) { return step.result == ProbeStep::Result::good; });
}

// The examination, step by step, with one limit for all of it.
class Examination {
  public:
    explicit Examination(const CommandLine& commandLine)
        : gateway_(commandLine.gateways.front()), limit_(commandLine.timeLimit), deadline_(deadlineOf(commandLine)) {}

    std::vector<ProbeStep> run() {
        std::vector<ProbeStep> steps = probe();
        steps.push_back(areAllGood(steps) ? readValues() : untriedLastStep());
        return steps;
    }

    // For the gateway's goodbye, once the result is shown.
    void takeLeave() {
        if (work_) {
            work_->waitForEnd(kCloseLimit);
        }
    }

  private:
    // Each step keeps the limit by itself, but the one that resolves the name of the host.
    std::vector<ProbeStep> probe() const {
        constexpr milliseconds kGrace{200};
        const Clock::time_point begin = Clock::now();
        WorkUnderWay<std::vector<ProbeStep>> work(
            [gateway = gateway_, deadline = deadline_] { return probeGateway(gateway, deadline); });
        if (auto steps = work.waitForResult(deadline_ + kGrace)) {
            return *steps;
        }
        std::vector<ProbeStep> steps = untriedSteps();
        noteThatItIsLate(steps.front(), limit_, begin);
        return steps;
    }

    ProbeStep readValues() {
        const Clock::time_point begin = Clock::now();
        auto work = std::make_unique<WorkUnderWay<ProbeStep>>(
            [gateway = gateway_, connection = std::make_unique<GatewayConnection>()] {
                return askThroughLibrary(*connection, gateway);
            });
        if (const auto step = work->waitForResult(deadline_)) {
            work_ = std::move(work);
            return *step;
        }
        ProbeStep late = untriedLastStep();
        noteThatItIsLate(late, limit_, begin);
        return late;
    }

    static ProbeStep untriedLastStep() {
        ProbeStep step;
        step.name = kLastStep;
        return step;
    }

    const Gateway& gateway_;
    milliseconds limit_;
    Clock::time_point deadline_;
    std::unique_ptr<WorkUnderWay<ProbeStep>> work_;  // whose result came
};

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

double asMilliseconds(const std::chrono::microseconds duration) {
    constexpr double kMicrosecondsInAMillisecond = 1000;
    return static_cast<double>(duration.count()) / kMicrosecondsInAMillisecond;
}

std::string renderJson(const Gateway& gateway, const std::vector<ProbeStep>& steps,
                       const std::chrono::system_clock::time_point startedAt) {
    using Json = nlohmann::ordered_json;
    constexpr int kIndentation = 2;
    Json all = Json::array();
    std::chrono::microseconds duration{0};
    for (const ProbeStep& step : steps) {
        const bool isTried = step.result != ProbeStep::Result::notTried;
        duration += step.duration;
        all.push_back(Json{{"name", step.name},
                           {"result", step.result == ProbeStep::Result::good ? "ok"
                                      : isTried                              ? "failed"
                                                                             : "notTried"},
                           {"durationMs", asMilliseconds(step.duration)},
                           {"detail", step.detail}});
    }
    const ProbeStep* const failed = failedStep(steps);
    const Json name = gateway.name.empty() ? Json(nullptr) : Json(gateway.name);
    const Json document{{"format", 1},
                        {"time", formatTime(startedAt)},
                        {"durationMs", asMilliseconds(duration)},
                        {"gateway", Json{{"name", name}, {"host", gateway.host}, {"port", gateway.port}}},
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

// Appends to the file. A pipe's reader takes for the end what nobody has open: the library keeps it until all is there.
DumpOutcome appendDump(const GatewayConnection& connection, const std::string& file,
                       const std::optional<std::string>& traceFile) {
    const std::optional<std::string> name = fileNameForLibrary(file);
    const int32_t directed = name ? setAPITraceFile(name->c_str()) : STAPI_RC_TRACE_FILE_FAILED;
    if (directed != STAPI_RC_OK) {
        return fileFailed(describeCode(directed));
    }
    const int32_t dumped = connection.dump();
    // The library does not say when it cannot write what it traces: a line of our own behind the dump tells.
    const auto fault = dumped == STAPI_RC_OK ? appendToFile(file, "End of the dump.\n") : std::nullopt;
    const std::optional<std::string> traceName = traceFile ? fileNameForLibrary(*traceFile) : std::nullopt;
    setAPITraceFile(traceName ? traceName->c_str() : nullptr);
    if (dumped != STAPI_RC_OK) {
        return {kExitQueryFailed, describeCode(dumped)};
    }
    return fault ? fileFailed(*fault) : DumpOutcome();
}

// The old file stays until the new one is whole.
DumpOutcome writeDump(const GatewayConnection& connection, const std::string& file,
                      const std::optional<std::string>& traceFile) {
    DumpOutcome outcome;
    const auto fault = replaceFileBy(file, [&](const std::string& name) {
        outcome = appendDump(connection, name, traceFile);
        return outcome.exitCode == kExitOk ? std::nullopt : std::optional(outcome.reason);
    });
    return fault && outcome.exitCode == kExitOk ? fileFailed(*fault) : outcome;
}

DumpOutcome dumpGateway(GatewayConnection& connection, const Gateway& gateway, const std::string& file,
                        const std::optional<std::string>& traceFile) {
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
    const auto startedAt = std::chrono::system_clock::now();
    Examination examination(commandLine);
    const std::vector<ProbeStep> steps = examination.run();
    const bool isJson = commandLine.format == OutputFormat::json;
    const std::string text = isJson ? renderJson(gateway, steps, startedAt) : renderTable(gateway, steps);
    const int exitCode = writeOutput(text, std::nullopt, exitCodeOf(steps));
    examination.takeLeave();
    // A thread may be left behind that still waits.
    endProcess(exitCode);
}

int runDump(const CommandLine& commandLine) {
    endProcessWhenInterrupted();
    const std::string& file = commandLine.dumpFile;
    const Gateway& gateway = commandLine.gateways.front();
    WorkUnderWay<DumpOutcome> work(
        [=, traceFile = commandLine.traceFile, connection = std::make_unique<GatewayConnection>()] {
            return dumpGateway(*connection, gateway, file, traceFile);
        });
    const auto told = work.waitForResult(deadlineOf(commandLine));
    const DumpOutcome late{kExitQueryFailed,
                           "no answer within " + formatSeconds(commandLine.timeLimit) + " s. Try \"zulstat doctor\"."};
    const DumpOutcome outcome = told.value_or(late);
    if (outcome.exitCode != kExitOk) {
        printError("no dump of " + formatGateway(gateway) + " in the file " + quoteText(file) + ": " + outcome.reason);
    }
    if (told) {
        work.waitForEnd(kCloseLimit);
    }
    // A thread may be left behind that still waits.
    endProcess(outcome.exitCode);
}

}  // namespace zulstat
