#include "ping.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
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
#include "zulstats64.h"

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
    std::chrono::microseconds duration{0};
    std::chrono::system_clock::time_point at;
};

// Neither sample nor probe: interrupted.
struct PingEvent {
    size_t gateway = 0;
    size_t generation = 0;  // of the sampler, or the round of the probe
    std::optional<Sample> sample;
    std::optional<bool> accepts;  // whether a probe got a connection
};

// How far a gateway is in a round.
struct Turn {
    bool isOver = false;
    bool isProbed = false;
    std::optional<bool> accepts;
    std::optional<Pong> failed;  // waits for the probe
};

std::string inMilliseconds(const std::chrono::microseconds duration) {
    constexpr int kDecimals = 2;
    return formatNumber(static_cast<double>(duration.count()) / kMicrosecondsInAMillisecond, kDecimals) + " ms";
}

Pong pongOf(const size_t index, const Sample& sample) {
    Pong pong;
    pong.gateway = index;
    pong.connecting = sample.connecting;
    pong.asking = sample.asking;
    pong.duration = sample.report.duration;
    pong.at = sample.report.startedAt;
    pong.isGood = !sample.report.failure;
    if (sample.report.failure) {
        const Failure& failure = *sample.report.failure;
        pong.reason = reasonOf(failure);
        pong.exitCode = failure.stage == Failure::Stage::connecting ? kExitCannotConnect : kExitQueryFailed;
    }
    return pong;
}

// The library has one code for "nothing there" of an unusual kind and for "it does not answer as a gateway".
bool leavesOpenWhetherSomethingListens(const Sample& sample) {
    const auto& failure = sample.report.failure;
    return failure && failure->stage == Failure::Stage::connecting && failure->code == STAPI_RC_CONNECT_FAILED;
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
    // A gateway for which there is no thread has no sampler.
    void start(const size_t index) {
        const size_t generation = ++generations_[index];
        try {
            samplers_[index] = std::make_unique<GatewaySampler>(
                commandLine_.gateways[index], std::vector<Query>{{QueryKind::resourceGroups, AskedBy::all, {}}},
                [events = events_, index, generation](Sample sample) {
                    events->post({index, generation, std::move(sample), std::nullopt});
                });
        } catch (const std::system_error& error) {
            samplers_[index].reset();
            whyNoSampler_ = error.what();
        }
    }

    // One round: every gateway is asked at once, and has until the time limit. Where one is silent for half of it, a
    // bare connection is tried beside it, so that the end of the time finds out what is there.
    void ask() {
        const bool isLimited = commandLine_.timeLimit.count() > 0;
        ++round_;
        begin_ = Clock::now();
        end_ = isLimited ? begin_ + commandLine_.timeLimit : begin_ + std::chrono::hours(24 * 365);
        turns_.assign(samplers_.size(), Turn());
        left_ = samplers_.size();
        for (size_t index = 0; index < samplers_.size(); ++index) {
            takeSample(index);
        }
        bool hasProbed = !isLimited;
        while (left_ > 0 && !isInterrupted_ && outputCode_ == kExitOk) {
            const auto event = events_->waitUntil(hasProbed ? end_ : begin_ + commandLine_.timeLimit / 2);
            if (event) {
                take(*event);
            } else if (std::exchange(hasProbed, true)) {
                break;
            } else {
                probeSilentOnes();
            }
        }
        for (size_t index = 0; index < turns_.size() && !isInterrupted_ && outputCode_ == kExitOk; ++index) {
            if (!turns_[index].isOver) {
                noteSilence(index);
            }
        }
    }

    void takeSample(const size_t index) {
        if (!samplers_[index]) {
            start(index);
        }
        if (samplers_[index]) {
            samplers_[index]->takeSample();
            return;
        }
        Pong pong = unansweredPong(index);
        pong.reason = "no thread can be started for it: " + whyNoSampler_ + ". " + std::string(kTooFewThreads);
        pong.exitCode = kExitCannotConnect;
        note(pong);
    }

    void take(const PingEvent& event) {
        if (event.accepts) {
            takeProbe(event);
        } else if (!event.sample) {
            isInterrupted_ = true;
        } else if (event.generation == generations_[event.gateway] && !turns_[event.gateway].isOver) {
            takeAnswer(event.gateway, *event.sample);
        }
    }

    void takeProbe(const PingEvent& event) {
        Turn& turn = turns_[event.gateway];
        if (event.generation != round_ || turn.isOver) {
            return;
        }
        turn.accepts = event.accepts;
        if (turn.failed) {
            noteFailedOpening(event.gateway);
        }
    }

    void takeAnswer(const size_t index, const Sample& sample) {
        Turn& turn = turns_[index];
        const Pong pong = pongOf(index, sample);
        if (!leavesOpenWhetherSomethingListens(sample)) {
            note(pong);
            return;
        }
        turn.failed = pong;
        probe(index);
        if (turn.accepts) {
            noteFailedOpening(index);
        }
    }

    // What failed although something may listen there did so because it is no gateway.
    void noteFailedOpening(const size_t index) {
        Pong pong = *turns_[index].failed;
        pong.exitCode = turns_[index].accepts.value_or(true) ? kExitQueryFailed : kExitCannotConnect;
        note(pong);
    }

    void probeSilentOnes() {
        for (size_t index = 0; index < turns_.size(); ++index) {
            if (!turns_[index].isOver) {
                probe(index);
            }
        }
    }

    // In a thread of its own, so that none holds up another. Without one the question stays open.
    void probe(const size_t index) {
        constexpr milliseconds kLongest{3000};
        if (std::exchange(turns_[index].isProbed, true)) {
            return;
        }
        const auto end = std::min(end_, Clock::now() + kLongest);
        try {
            std::thread([events = events_, gateway = commandLine_.gateways[index], index, round = round_, end] {
                events->post({index, round, std::nullopt, probeAccepts(gateway, end)});
            }).detach();
        } catch (const std::system_error&) {
            if (turns_[index].failed) {
                noteFailedOpening(index);
            }
        }
    }

    Pong unansweredPong(const size_t index) const {
        Pong pong;
        pong.gateway = index;
        pong.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin_);
        pong.at = std::chrono::system_clock::now() - pong.duration;
        return pong;
    }

    void noteSilence(const size_t index) {
        if (turns_[index].failed) {
            noteFailedOpening(index);
            return;
        }
        Pong pong = unansweredPong(index);
        const bool isThere = turns_[index].accepts.value_or(false);
        pong.reason = "no answer within " + formatSeconds(commandLine_.timeLimit) + " s" +
                      (isThere ? ", though something listens there. Is it overloaded, or no gateway?"
                               : ". Check the host, the port, and whether a firewall drops the traffic.");
        pong.exitCode = isThere ? kExitQueryFailed : kExitCannotConnect;
        note(pong);
        samplers_[index]->cutOff();
        start(index);
    }

    void note(const Pong& pong) {
        turns_[pong.gateway].isOver = true;
        --left_;
        pongs_.push_back(pong);
        if (!commandLine_.isQuiet) {
            show(commandLine_.format == OutputFormat::json ? jsonLine(pong) : tableLine(pong));
        }
    }

    void show(const std::string& line) {
        if (outputCode_ == kExitOk) {
            outputCode_ = writeMoreOutput(line);
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
        Json line{{"format", 1}, {"time", formatTime(pong.at)}, {"durationMs", inMs(pong.duration)}};
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
            if (sampler) {
                sampler->askToStop();
            }
        }
        const bool isSummaryWanted = !commandLine_.isQuiet && commandLine_.format == OutputFormat::table;
        for (size_t index = 0; index < samplers_.size() && isSummaryWanted && pongs_.size() > samplers_.size();
             ++index) {
            show(summary(index));
        }
        const bool isGoodbyeAwaited = !isInterrupted_ && areAllGood();
        const Clock::time_point end = Clock::now() + kCloseLimit;
        for (const auto& sampler : samplers_) {
            const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
            if (sampler && isGoodbyeAwaited) {
                sampler->stop(std::max(left, milliseconds(0)));
            }
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
    std::string whyNoSampler_;
    std::vector<Pong> pongs_;
    size_t round_ = 0;
    Clock::time_point begin_;
    Clock::time_point end_;
    std::vector<Turn> turns_;
    size_t left_ = 0;
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
