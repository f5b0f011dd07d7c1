#include "watch.h"

#include <algorithm>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "console.h"
#include "event_queue.h"
#include "exit_codes.h"
#include "gateway_sampler.h"
#include "messages.h"
#include "number.h"
#include "program_output.h"
#include "terminal.h"
#include "watch_model.h"
#include "watch_output.h"

namespace zulstat {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kLongestPause{60000};
constexpr milliseconds kCloseLimit{2000};
constexpr int kExitTerminated = 143;

struct SampleTaken {
    size_t gateway;
    size_t generation;  // of the sampler that took it
    Sample sample;
};

using Event = std::variant<SampleTaken, Key, Interruption>;
using Events = EventQueue<Event>;

// What keeps one gateway under watch.
struct Watched {
    std::unique_ptr<GatewaySampler> sampler;
    size_t generation = 0;
    bool isBusy = false;
    bool isOverdue = false;
    Clock::time_point busySince;
    Clock::time_point nextSample;
    milliseconds pause{0};
    int64_t results = 0;
    int exitCode = kExitOk;  // of the last result
};

class Display {
  public:
    virtual ~Display() = default;
    // False: the output has failed, and said so.
    virtual bool showResult(const WatchModel& model, size_t gateway) = 0;
    virtual bool redraw(const WatchModel& model) = 0;
    virtual void leave() = 0;
};

bool write(const std::string& text) {
    const WriteOutcome outcome = writeSomeOutput(text);
    if (outcome.error != 0 && !outcome.isReaderGone) {
        printError("the output cannot be written: " + std::generic_category().message(outcome.error) +
                   ". Is the disk full, or standard output closed?");
    }
    return outcome.error == 0;
}

// Adds lines for every sample.
class LineDisplay : public Display {
  public:
    explicit LineDisplay(const CommandLine& commandLine)
        : format_(commandLine.format), withHeader_(commandLine.hasHeader) {}

    bool showResult(const WatchModel& model, const size_t gateway) override {
        switch (format_) {
            case OutputFormat::json:
                return write(watchJson(model, gateway));
            case OutputFormat::csv:
                return write(watchCsv(model, gateway, std::exchange(withHeader_, false)));
            default:
                return write(watchLines(model, gateway, withHeader_ ? &lastHeader_ : nullptr));
        }
    }
    bool redraw(const WatchModel& /*model*/) override {
        return true;
    }
    void leave() override {}

  private:
    OutputFormat format_;
    bool withHeader_;
    std::string lastHeader_;
};

// Draws the same picture again and again, and takes keys.
class ScreenDisplay : public Display {
  public:
    explicit ScreenDisplay(const CommandLine& commandLine) {
        view_.interval = commandLine.interval;
        view_.withColour = takesColour(commandLine.color);
        view_.withHeader = commandLine.hasHeader;
        prepareKeyboard();
        write(kEnterScreen);
    }

    bool showResult(const WatchModel& model, size_t /*gateway*/) override {
        return redraw(model);
    }

    bool redraw(const WatchModel& model) override {
        const WatchModel& shown = frozen_ ? *frozen_ : model;
        const TerminalSize size = terminalSize().value_or(TerminalSize{80, 24});
        view_.columns = size.columns;
        view_.rows = size.rows;
        if (!frozen_) {
            view_.now = std::chrono::system_clock::now();
        }
        const WatchExtent extent = watchExtent(shown, view_);
        const size_t last = extent.statistics > extent.page ? extent.statistics - extent.page : 0;
        view_.firstRow = std::min(view_.firstRow, last);
        std::string picture = "\x1B[H";
        const std::vector<std::string> lines = watchScreen(shown, view_);
        for (const std::string& line : lines) {
            picture += line + "\x1B[K";
            picture += &line == &lines.back() ? "" : "\r\n";
        }
        return write(picture + "\x1B[J");
    }

    void leave() override {
        write(kLeaveScreen);
        restoreKeyboard();
    }

    // False: the user wants no more.
    bool takeKey(const Key& key, const WatchModel& model) {
        if (view_.isTypingFilter) {
            typeFilter(key);
            return true;
        }
        const WatchExtent extent = watchExtent(model, view_);
        switch (key.kind) {
            case Key::Kind::up:
                view_.firstRow -= view_.firstRow > 0 ? 1 : 0;
                break;
            case Key::Kind::down:
                ++view_.firstRow;
                break;
            case Key::Kind::pageUp:
                view_.firstRow -= std::min(view_.firstRow, extent.page);
                break;
            case Key::Kind::pageDown:
                view_.firstRow += extent.page;
                break;
            case Key::Kind::home:
                view_.firstRow = 0;
                break;
            case Key::Kind::end:
                view_.firstRow = extent.statistics;
                break;
            case Key::Kind::escape:
                view_.filter.clear();
                break;
            case Key::Kind::character:
                return takeCharacter(key.character, model);
            default:
                break;
        }
        return true;
    }

  private:
    bool takeCharacter(const char character, const WatchModel& model) {
        switch (character) {
            case 'q':
                return false;
            case 'p':
            case ' ':
                view_.isPaused = !view_.isPaused;
                frozen_ = view_.isPaused ? std::make_unique<WatchModel>(model) : nullptr;
                break;
            case '/':
                view_.isTypingFilter = true;
                view_.filter.clear();
                break;
            case 'k':
                view_.firstRow -= view_.firstRow > 0 ? 1 : 0;
                break;
            case 'j':
                ++view_.firstRow;
                break;
            default:
                break;
        }
        return true;
    }

    void typeFilter(const Key& key) {
        switch (key.kind) {
            case Key::Kind::enter:
                view_.isTypingFilter = false;
                break;
            case Key::Kind::escape:
                view_.isTypingFilter = false;
                view_.filter.clear();
                break;
            case Key::Kind::backspace:
                if (!view_.filter.empty()) {
                    view_.filter.pop_back();
                }
                break;
            case Key::Kind::character:
                view_.filter += key.character;
                view_.firstRow = 0;
                break;
            default:
                break;
        }
    }

    WatchView view_;
    std::unique_ptr<WatchModel> frozen_;  // what is shown while paused
};

class Watch {
  public:
    explicit Watch(const CommandLine& commandLine)
        : commandLine_(commandLine),
          events_(std::make_shared<Events>()),
          model_(commandLine.gateways, commandLine.counters, commandLine.selection),
          watched_(commandLine.gateways.size()),
          isInteractive_(commandLine.format == OutputFormat::table && isTerminalInteractive()) {
        for (size_t index = 0; index < watched_.size(); ++index) {
            startSampler(index);
            watched_[index].nextSample = Clock::now();
        }
        whenInterrupted([events = events_](const Interruption interruption) { events->post(interruption); });
        if (isInteractive_) {
            auto screen = std::make_unique<ScreenDisplay>(commandLine);
            screen_ = screen.get();
            display_ = std::move(screen);
            std::thread([events = events_] {
                while (const auto key = readKey()) {
                    events->post(*key);
                }
            }).detach();
        } else {
            display_ = std::make_unique<LineDisplay>(commandLine);
        }
    }

    int run() {
        redraw();
        while (!exitCode_) {
            orderSamples();
            if (auto event = events_->waitUntil(nextMoment())) {
                std::visit([this](auto& each) { take(each); }, *event);
            } else {
                redraw();
            }
            if (!exitCode_) {
                findOverdue();
            }
        }
        display_->leave();
        return *exitCode_;
    }

    // False: some gateway has not answered the goodbye.
    bool takeLeave() {
        for (const Watched& each : watched_) {
            each.sampler->askToStop();
        }
        const Clock::time_point end = Clock::now() + kCloseLimit;
        return std::all_of(watched_.begin(), watched_.end(), [&](const Watched& each) {
            const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
            return each.sampler->stop(std::max(left, milliseconds(0)));
        });
    }

  private:
    void startSampler(const size_t index) {
        Watched& watched = watched_[index];
        const size_t generation = ++watched.generation;
        watched.sampler = std::make_unique<GatewaySampler>(
            commandLine_.gateways[index], commandLine_.queries, [events = events_, index, generation](Sample sample) {
                events->post(SampleTaken{index, generation, std::move(sample)});
            });
        watched.isBusy = false;
        watched.isOverdue = false;
    }

    bool hasAllItsResults(const Watched& watched) const {
        return commandLine_.count && watched.results >= *commandLine_.count;
    }

    void orderSamples() {
        const Clock::time_point now = Clock::now();
        for (size_t index = 0; index < watched_.size(); ++index) {
            Watched& watched = watched_[index];
            if (now < watched.nextSample || hasAllItsResults(watched)) {
                continue;
            }
            if (watched.isBusy && watched.isOverdue) {
                replaceStuckSampler(index);
            }
            if (!watched.isBusy) {
                watched.isBusy = true;
                watched.busySince = now;
                watched.sampler->takeSample();
            }
            while (watched.nextSample <= now) {
                watched.nextSample += commandLine_.interval;
            }
        }
    }

    // A connect that waits without end cannot be woken by itself; another thread makes a new attempt in its place.
    void replaceStuckSampler(const size_t index) {
        constexpr size_t kMostLeftBehind = 20;
        if (watched_[index].generation < kMostLeftBehind) {
            startSampler(index);
        }
    }

    Clock::time_point nextMoment() const {
        // The clock on the screen goes on.
        constexpr milliseconds kRedraw{1000};
        Clock::time_point moment = Clock::now() + (isInteractive_ ? kRedraw : kLongestPause);
        for (const Watched& watched : watched_) {
            if (!hasAllItsResults(watched)) {
                moment = std::min(moment, watched.nextSample);
            }
            if (watched.isBusy && !watched.isOverdue && commandLine_.timeLimit.count() > 0) {
                moment = std::min(moment, watched.busySince + commandLine_.timeLimit);
            }
        }
        return moment;
    }

    void findOverdue() {
        if (commandLine_.timeLimit.count() == 0) {
            return;
        }
        for (size_t index = 0; index < watched_.size() && !exitCode_; ++index) {
            Watched& watched = watched_[index];
            if (!watched.isBusy || watched.isOverdue || Clock::now() < watched.busySince + commandLine_.timeLimit) {
                continue;
            }
            watched.isOverdue = true;
            watched.sampler->cutOff();
            watched.exitCode = kExitQueryFailed;
            noteDown(index, "no answer within " + formatSeconds(commandLine_.timeLimit) + " s.");
        }
    }

    void noteDown(const size_t index, const std::string& reason) {
        Watched& watched = watched_[index];
        const auto now = std::chrono::system_clock::now();
        watched.pause = std::min(std::max(watched.pause * 2, commandLine_.interval), kLongestPause);
        watched.nextSample = Clock::now() + watched.pause;
        model_.markDown(index, reason, now);
        model_.setNextTry(index, now + watched.pause);
        noteResult(index);
    }

    void noteResult(const size_t index) {
        ++watched_[index].results;
        if (!display_->showResult(model_, index)) {
            exitCode_ = kExitOutputFailed;
            return;
        }
        const bool isDone = std::all_of(watched_.begin(), watched_.end(),
                                        [this](const Watched& each) { return hasAllItsResults(each); });
        if (isDone && !exitCode_) {
            int exitCode = commandLine_.until ? kExitElementFailed : kExitOk;
            for (const Watched& each : watched_) {
                exitCode = std::max(exitCode, each.exitCode);
            }
            exitCode_ = exitCode;
        }
    }

    void take(const SampleTaken& taken) {
        Watched& watched = watched_[taken.gateway];
        if (taken.generation != watched.generation) {
            return;
        }
        const bool wasOverdue = watched.isOverdue;
        watched.isBusy = false;
        watched.isOverdue = false;
        const Report& report = taken.sample.report;
        if (wasOverdue) {
            // Its lateness has been told; what came in the end is for the next try.
            return;
        }
        watched.exitCode = exitCodeOf(report);
        if (report.failure) {
            noteDown(taken.gateway, reasonOf(*report.failure));
            return;
        }
        watched.pause = milliseconds(0);
        model_.addSample(taken.gateway, report, taken.sample.at);
        if (commandLine_.until && holdsIn(report, *commandLine_.until)) {
            display_->showResult(model_, taken.gateway);
            exitCode_ = kExitOk;
            return;
        }
        noteResult(taken.gateway);
    }

    void take(const Key& key) {
        if (screen_ == nullptr) {
            return;
        }
        if (!screen_->takeKey(key, model_)) {
            exitCode_ = kExitOk;
            return;
        }
        redraw();
    }

    void take(const Interruption interruption) {
        switch (interruption) {
            case Interruption::resized:
                redraw();
                break;
            case Interruption::wanted:
                exitCode_ = kExitInterrupted;
                break;
            case Interruption::terminated:
                exitCode_ = kExitTerminated;
                break;
        }
    }

    void redraw() {
        if (!display_->redraw(model_)) {
            exitCode_ = kExitOutputFailed;
        }
    }

    const CommandLine& commandLine_;
    std::shared_ptr<Events> events_;
    WatchModel model_;
    std::vector<Watched> watched_;
    bool isInteractive_;
    std::unique_ptr<Display> display_;
    ScreenDisplay* screen_ = nullptr;
    std::optional<int> exitCode_;
};

}  // namespace

int runWatch(const CommandLine& commandLine) {
    Watch watch(commandLine);
    const int exitCode = watch.run();
    // Threads are left behind that wait for keys, signals, and perhaps for gateways.
    watch.takeLeave();
    endProcess(exitCode);
}

}  // namespace zulstat
