#include "ping.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "console.h"
#include "event_queue.h"
#include "exit_codes.h"
#include "gateway_sampler.h"
#include "messages.h"
#include "number.h"
#include "probe.h"
#include "program_output.h"
#include "time_text.h"

namespace zulstat {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr double kMicrosecondsInAMillisecond = 1000;

struct Pong {
    size_t gateway = 0;
    bool isGood = false;
    std::string reason;  // why not
    int exitCode = kExitOk;
    std::chrono::microseconds connecting{0};
    std::chrono::microseconds asking{0};
    std::chrono::system_clock::time_point at;
};

struct PingEvent {
    size_t gateway = 0;
    size_t generation = 0;
    std::optional<Sample> sample;  // none: interrupted
};

std::string inMilliseconds(const std::chrono::microseconds duration) {
    constexpr int kDecimals = 2;
    return formatNumber(static_cast<double>(duration.count()) / kMicrosecondsInAMillisecond, kDecimals) + " ms";
}

// Whether something listens there at all decides between "down" and "does not answer as a gateway".
int exitCodeOfFailedOpening(const Gateway& gateway) {
    constexpr milliseconds kPatience{1000};
    return probeAccepts(gateway, kPatience) ? kExitQueryFailed : kExitCannotConnect;
}

Pong pongOf(const size_t index, const Gateway& gateway, const Sample& sample) {
    Pong pong;
    pong.gateway = index;
    pong.connecting = sample.connecting;
    pong.asking = sample.asking;
    pong.at = sample.report.startedAt;
    pong.isGood = !sample.report.failure;
    if (sample.report.failure) {
        const Failure& failure = *sample.report.failure;
        pong.reason = reasonOf(failure);
        pong.exitCode =
            failure.stage == Failure::Stage::connecting ? exitCodeOfFailedOpening(gateway) : kExitQueryFailed;
    }
    return pong;
}

class Ping {
  public:
    explicit Ping(const CommandLine& commandLine)
        : commandLine_(commandLine), events_(std::make_shared<EventQueue<PingEvent>>()) {
        whenInterrupted([events = events_](const Interruption interruption) {
            if (interruption != Interruption::resized) {
                events->post({});
            }
        });
        for (size_t index = 0; index < commandLine.gateways.size(); ++index) {
            samplers_.emplace_back();
            generations_.push_back(0);
            start(index);
        }
    }

    int run() {
        const int64_t rounds = commandLine_.count.value_or(1);
        for (int64_t round = 0; round < rounds && !isInterrupted_ && outputCode_ == kExitOk; ++round) {
            const Clock::time_point begin = Clock::now();
            ask();
            if (round + 1 < rounds) {
                waitUntil(begin + commandLine_.interval);
            }
        }
        finish();
        return exitCode();
    }

  private:
    void start(const size_t index) {
        const size_t generation = ++generations_[index];
        samplers_[index] = std::make_unique<GatewaySampler>(
            commandLine_.gateways[index], std::vector<Query>{{QueryKind::resourceGroups, AskedBy::all, {}}},
            [events = events_, index, generation](Sample sample) {
                events->post({index, generation, std::move(sample)});
            });
    }

    // One round: every gateway is asked at once, and has until the time limit.
    void ask() {
        for (const auto& sampler : samplers_) {
            sampler->takeSample();
        }
        std::vector<bool> isAnswered(samplers_.size());
        size_t left = samplers_.size();
        const bool isLimited = commandLine_.timeLimit.count() > 0;
        const auto end =
            isLimited ? Clock::now() + commandLine_.timeLimit : Clock::now() + std::chrono::hours(24 * 365);
        while (left > 0 && !isInterrupted_) {
            const auto event = events_->waitUntil(end);
            if (!event) {
                break;
            }
            if (!event->sample) {
                isInterrupted_ = true;
            } else if (event->generation == generations_[event->gateway] && !isAnswered[event->gateway]) {
                isAnswered[event->gateway] = true;
                --left;
                note(pongOf(event->gateway, commandLine_.gateways[event->gateway], *event->sample));
            }
        }
        for (size_t index = 0; index < isAnswered.size() && !isInterrupted_; ++index) {
            if (!isAnswered[index]) {
                noteSilence(index);
            }
        }
    }

    void noteSilence(const size_t index) {
        Pong pong;
        pong.gateway = index;
        pong.at = std::chrono::system_clock::now();
        pong.reason = "no answer within " + formatSeconds(commandLine_.timeLimit) + " s";
        pong.exitCode = exitCodeOfFailedOpening(commandLine_.gateways[index]);
        pong.reason += pong.exitCode == kExitQueryFailed
                           ? ", though something listens there. Is it overloaded, or no gateway?"
                           : ". Check the host, the port, and whether a firewall drops the traffic.";
        note(pong);
        samplers_[index]->cutOff();
        start(index);
    }

    void note(const Pong& pong) {
        pongs_.push_back(pong);
        if (!commandLine_.isQuiet) {
            const std::string line = commandLine_.format == OutputFormat::json ? jsonLine(pong) : tableLine(pong);
            outputCode_ = writeSomeOutput(line).error == 0 ? outputCode_ : kExitOutputFailed;
        }
    }

    std::string tableLine(const Pong& pong) const {
        const std::string name = formatGateway(commandLine_.gateways[pong.gateway]);
        if (!pong.isGood) {
            return name + ": " + pong.reason + "\n";
        }
        const std::string connecting =
            pong.connecting.count() > 0 ? ", connected in " + inMilliseconds(pong.connecting) : "";
        return name + ": answered in " + inMilliseconds(pong.asking) + connecting + "\n";
    }

    std::string jsonLine(const Pong& pong) const {
        using Json = nlohmann::ordered_json;
        const Gateway& gateway = commandLine_.gateways[pong.gateway];
        const auto inMs = [](const std::chrono::microseconds duration) {
            return static_cast<double>(duration.count()) / kMicrosecondsInAMillisecond;
        };
        Json line{{"format", 1}, {"time", formatTime(pong.at)}};
        line["gateway"] = Json{{"name", nullptr}, {"host", gateway.host}, {"port", gateway.port}};
        if (!gateway.name.empty()) {
            line["gateway"]["name"] = gateway.name;
        }
        line["answered"] = pong.isGood;
        line["connectMs"] = pong.connecting.count() > 0 ? Json(inMs(pong.connecting)) : Json(nullptr);
        line["answerMs"] = pong.isGood ? Json(inMs(pong.asking)) : Json(nullptr);
        line["reason"] = pong.isGood ? Json(nullptr) : Json(pong.reason);
        return line.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
    }

    void waitUntil(const Clock::time_point time) {
        while (!isInterrupted_) {
            const auto event = events_->waitUntil(time);
            if (!event) {
                return;
            }
            isInterrupted_ = !event->sample;
        }
    }

    // The numbers of several rounds.
    void finish() {
        constexpr milliseconds kCloseLimit{2000};
        for (const auto& sampler : samplers_) {
            sampler->askToStop();
        }
        const bool isSummaryWanted = !commandLine_.isQuiet && commandLine_.format == OutputFormat::table;
        for (size_t index = 0; index < samplers_.size() && isSummaryWanted && pongs_.size() > samplers_.size();
             ++index) {
            writeSomeOutput(summary(index));
        }
        const Clock::time_point end = Clock::now() + kCloseLimit;
        for (const auto& sampler : samplers_) {
            const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
            sampler->stop(areAllGood() ? std::max(left, milliseconds(0)) : milliseconds(0));
        }
    }

    bool areAllGood() const {
        return std::all_of(pongs_.begin(), pongs_.end(), [](const Pong& pong) { return pong.isGood; });
    }

    std::string summary(const size_t index) const {
        std::vector<std::chrono::microseconds> times;
        size_t asked = 0;
        for (const Pong& pong : pongs_) {
            asked += pong.gateway == index ? 1 : 0;
            if (pong.gateway == index && pong.isGood) {
                times.push_back(pong.asking);
            }
        }
        std::string text = formatGateway(commandLine_.gateways[index]) + ": answered " + std::to_string(times.size()) +
                           " of " + std::to_string(asked);
        if (!times.empty()) {
            std::chrono::microseconds sum{0};
            for (const auto time : times) {
                sum += time;
            }
            text += ", fastest " + inMilliseconds(*std::min_element(times.begin(), times.end())) + ", average " +
                    inMilliseconds(sum / times.size()) + ", slowest " +
                    inMilliseconds(*std::max_element(times.begin(), times.end()));
        }
        return text + "\n";
    }

    int exitCode() const {
        if (outputCode_ != kExitOk) {
            return outputCode_;
        }
        if (isInterrupted_) {
            return kExitInterrupted;
        }
        int worst = kExitOk;
        bool isSomeGood = false;
        for (const Pong& pong : pongs_) {
            worst = std::max(worst, pong.exitCode);
            isSomeGood = isSomeGood || pong.isGood;
        }
        return worst != kExitOk && isSomeGood ? kExitElementFailed : worst;
    }

    const CommandLine& commandLine_;
    std::shared_ptr<EventQueue<PingEvent>> events_;
    std::vector<std::unique_ptr<GatewaySampler>> samplers_;
    std::vector<size_t> generations_;
    std::vector<Pong> pongs_;
    bool isInterrupted_ = false;
    int outputCode_ = kExitOk;
};

}  // namespace

int runPing(const CommandLine& commandLine) {
    const int exitCode = Ping(commandLine).run();
    // A thread may be left behind that still waits for its gateway.
    endProcess(exitCode);
}

}  // namespace zulstat
