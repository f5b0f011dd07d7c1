#include "watch.h"

#include <algorithm>
#include <exception>
#include <map>
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
// A wait that ends so late was no wait: the process was stopped.
constexpr milliseconds kStandstill{500};
// Whoever interrupts waits for nobody's goodbye.
constexpr milliseconds kHurriedCloseLimit{250};

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
    int exitCode = kExitOk;  // the worst of its results
};

class Display {
  public:
    virtual ~Display() = default;
    // False: the output has failed, and said so.
    virtual bool showResult(const WatchModel& model, size_t gateway) = 0;
    virtual bool redraw(const WatchModel& model) = 0;
};

bool write(const std::string& text) {
    const WriteOutcome outcome = writeSomeOutput(text);
    if (outcome.error != 0) {
        giveScreenBack();
    }
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
        const bool isWritten = write(textFor(model, gateway));
        tellNote(model, gateway);
        return isWritten;
    }
    bool redraw(const WatchModel& /*model*/) override {
        return true;
    }

  private:
    std::string textFor(const WatchModel& model, const size_t gateway) {
        switch (format_) {
            case OutputFormat::json:
                return watchJson(model, gateway);
            case OutputFormat::csv:
                return watchCsv(model, gateway, std::exchange(withHeader_, false));
            default:
                return watchLines(model, gateway, withHeader_ ? &lastHeader_ : nullptr);
        }
    }

    // Once, and again when it has been away in between.
    void tellNote(const WatchModel& model, const size_t gateway) {
        const WatchedGateway& watched = model.gateways().at(gateway);
        if (watched.isUp && std::exchange(toldNotes_[gateway], watched.note) != watched.note && !watched.note.empty()) {
            printError(watched.note);
        }
    }

    OutputFormat format_;
    bool withHeader_;
    std::string lastHeader_;
    std::map<size_t, std::string> toldNotes_;
};

// Of UTF-8.
void takeLastCharacterAway(std::string& text) {
    constexpr unsigned kMask = 0xC0;
    constexpr unsigned kContinuation = 0x80;
    bool isWithin = true;
    while (isWithin && !text.empty()) {
        isWithin = (static_cast<unsigned char>(text.back()) & kMask) == kContinuation;
        text.pop_back();
    }
}

// Draws the same picture again and again, and takes keys.
class ScreenDisplay : public Display {
  public:
    explicit ScreenDisplay(const CommandLine& commandLine) {
        view_.interval = commandLine.interval;
        view_.withColour = takesColour(commandLine.color);
        view_.withHeader = commandLine.hasHeader;
        view_.isWide = commandLine.isWide;
    }

    bool showResult(const WatchModel& model, size_t /*gateway*/) override {
        return redraw(model);
    }

    // Draws nothing while another job has the terminal.
    bool redraw(const WatchModel& model) override {
        if (!isInForeground()) {
            return true;
        }
        if (!isTaken_) {
            isTaken_ = true;
            takeScreen();
        }
        const WatchModel& shown = frozen_ ? *frozen_ : model;
        const TerminalSize size = terminalSize().value_or(TerminalSize{80, 24});
        view_.columns = size.columns;
        view_.rows = size.rows;
        if (!frozen_) {
            view_.now = std::chrono::system_clock::now();
        }
        const WatchExtent extent = watchExtent(shown, view_);
        view_.firstRow = std::min(view_.firstRow, extent.lastFirstRow);
        std::string picture = "\x1B[H";
        const std::vector<std::string> lines = watchScreen(shown, view_);
        for (const std::string& line : lines) {
            picture += line + "\x1B[K";
            picture += &line == &lines.back() ? "" : "\r\n";
        }
        return write(picture + "\x1B[J");
    }

    // Until the next picture.
    void leave() {
        giveScreenBack();
        isTaken_ = false;
    }

    // Another program may have changed the terminal.
    void refresh() const {
        if (isTaken_ && isInForeground()) {
            prepareKeyboard();
        }
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
                view_.firstRow = extent.lastFirstRow;
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
    bool takeCharacter(const std::string& character, const WatchModel& model) {
        switch (character.front()) {
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
                takeLastCharacterAway(view_.filter);
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
    bool isTaken_ = false;
    std::unique_ptr<WatchModel> frozen_;  // what is shown while paused
};

class Watch {
  public:
    Watch(const CommandLine& commandLine, const bool isDrawing)
        : commandLine_(commandLine),
          events_(std::make_shared<Events>()),
          model_(commandLine.gateways, commandLine.counters, commandLine.selection),
          watched_(commandLine.gateways.size()),
          isInteractive_(isDrawing) {
        if (commandLine.until) {
            model_.awaitStatistic(commandLine.until->id);
        }
        for (Watched& each : watched_) {
            each.nextSample = Clock::now();
        }
        if (isInteractive_) {
            holdTerminalSignals();
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
            if (!exitCode_) {
                awaitEvent();
            }
            if (!exitCode_) {
                findOverdue();
            }
        }
        giveScreenBack();
        if (isQuitting_) {
            quitProcess();
        }
        return *exitCode_;
    }

    void takeLeave() {
        for (const Watched& each : watched_) {
            if (each.sampler) {
                each.sampler->askToStop();
            }
        }
        const Clock::time_point last = Clock::now() + (isHurried_ ? kHurriedCloseLimit : kCloseLimit);
        for (const Watched& each : watched_) {
            const auto left = std::chrono::ceil<milliseconds>(last - Clock::now());
            if (each.sampler) {
                each.sampler->stop(std::max(left, milliseconds(0)));
            }
        }
    }

  private:
    void awaitEvent() {
        const Clock::time_point moment = nextMoment();
        auto event = events_->waitUntil(moment);
        if (Clock::now() > moment + kStandstill) {
            forgetStandstill();
        }
        if (event) {
            std::visit([this](auto& each) { take(each); }, *event);
        } else {
            redraw();
        }
    }

    // False: there is no thread for it, and that has been noted.
    bool startSampler(const size_t index) {
        Watched& watched = watched_[index];
        const size_t generation = watched.generation + 1;
        try {
            watched.sampler =
                std::make_unique<GatewaySampler>(commandLine_.gateways[index], commandLine_.queries,
                                                 [events = events_, index, generation](Sample sample) {
                                                     events->post(SampleTaken{index, generation, std::move(sample)});
                                                 });
        } catch (const std::system_error& error) {
            watched.exitCode = std::max(watched.exitCode, kExitQueryFailed);
            noteDown(
                index,
                std::string("no thread can be started for it: ") + error.what() + ". Watch fewer gateways at a time.",
                milliseconds(0));
            return false;
        }
        watched.generation = generation;
        watched.isBusy = false;
        watched.isOverdue = false;
        return true;
    }

    bool hasAllItsResults(const Watched& watched) const {
        return commandLine_.count && watched.results >= *commandLine_.count;
    }

    void orderSamples() {
        const Clock::time_point now = Clock::now();
        for (size_t index = 0; index < watched_.size() && !exitCode_; ++index) {
            Watched& watched = watched_[index];
            if (now < watched.nextSample || hasAllItsResults(watched) || !hasSampler(index)) {
                continue;
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
    // False: there is none that could, and that has been noted.
    bool hasSampler(const size_t index) {
        constexpr size_t kMostLeftBehind = 20;
        const Watched& watched = watched_[index];
        if (watched.sampler && !(watched.isBusy && watched.isOverdue)) {
            return true;
        }
        if (watched.generation < kMostLeftBehind) {
            return startSampler(index);
        }
        noteDown(index, "it has not let go of " + std::to_string(kMostLeftBehind) + " attempts.", milliseconds(0));
        return false;
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
            watched.exitCode = std::max(watched.exitCode, kExitQueryFailed);
            noteDown(index, "no answer within " + formatSeconds(commandLine_.timeLimit) + " s.",
                     commandLine_.timeLimit);
        }
    }

    void noteDown(const size_t index, const std::string& reason, const std::chrono::microseconds duration) {
        Watched& watched = watched_[index];
        const auto now = std::chrono::system_clock::now();
        watched.pause = std::min(std::max(watched.pause * 2, commandLine_.interval), kLongestPause);
        watched.nextSample = Clock::now() + watched.pause;
        model_.markDown(index, reason, now, duration);
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
        watched.exitCode = std::max(watched.exitCode, exitCodeOf(report));
        if (report.failure) {
            noteDown(taken.gateway, reasonOf(*report.failure), report.duration);
            return;
        }
        watched.pause = milliseconds(0);
        model_.addSample(taken.gateway, report);
        if (commandLine_.until && holdsIn(report, *commandLine_.until)) {
            exitCode_ = display_->showResult(model_, taken.gateway) ? kExitOk : kExitOutputFailed;
            return;
        }
        noteResult(taken.gateway);
    }

    void take(const Key& key) {
        if (screen_ == nullptr) {
            return;
        }
        if (!screen_->takeKey(key, model_)) {
            end(kExitOk);
            return;
        }
        redraw();
    }

    void take(const Interruption interruption) {
        switch (interruption) {
            case Interruption::resized:
                redraw();
                break;
            case Interruption::suspended:
                suspend();
                break;
            case Interruption::continued:
                goOn();
                break;
            case Interruption::wanted:
                end(kExitInterrupted);
                break;
            case Interruption::terminated:
                end(kExitTerminated);
                break;
            case Interruption::quit:
                isQuitting_ = true;
                end(kExitTerminated);
                break;
        }
    }

    // The user waits for it.
    void end(const int exitCode) {
        exitCode_ = exitCode;
        isHurried_ = true;
    }

    void suspend() {
        if (screen_ != nullptr) {
            screen_->leave();
            stopProcess();
            goOn();
        }
    }

    // The time during which the process stood still is none that a gateway took.
    void forgetStandstill() {
        for (Watched& watched : watched_) {
            watched.busySince = Clock::now();
        }
    }

    void goOn() {
        forgetStandstill();
        if (screen_ != nullptr) {
            screen_->refresh();
        }
        redraw();
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
    bool isHurried_ = false;
    bool isQuitting_ = false;
};

// What a thread cannot go on with leaves the terminal as it was found.
[[noreturn]] void endWithoutRemedy() {
    giveScreenBackAtOnce();
    std::string reason = "unknown error";
    try {
        if (const auto error = std::current_exception()) {
            std::rethrow_exception(error);
        }
    } catch (const std::exception& error) {
        reason = error.what();
    }
    printError("cannot go on: " + reason);
    endProcess(kExitQueryFailed);
}

}  // namespace

int runWatch(const CommandLine& commandLine) {
    const bool isDrawing = commandLine.format == OutputFormat::table && isTerminalInteractive();
    if (isDrawing && commandLine.traceLevel.value_or(0) > 0 && !commandLine.traceFile && standardErrorIsTerminal()) {
        printError(
            "--trace-level would write over the picture. Give --trace-file FILE too, or send standard error "
            "to a file.");
        return kExitUsage;
    }
    std::set_terminate(endWithoutRemedy);
    try {
        Watch watch(commandLine, isDrawing);
        const int exitCode = watch.run();
        // Threads are left behind that wait for keys, signals, and perhaps for gateways.
        watch.takeLeave();
        endProcess(exitCode);
    } catch (...) {
        giveScreenBack();
        throw;
    }
}

}  // namespace zulstat
