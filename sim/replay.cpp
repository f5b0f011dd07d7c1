#include "replay.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include "exchange.h"
#include "request.h"

namespace gatewaysim {

namespace {

constexpr size_t kNamedQuestions = 8;

// Whole, unlike a title, which is cut for readers.
std::string questionOf(const Request& request) {
    std::string question(nameOf(request.exchange));
    if (request.exchange == Exchange::invoke) {
        question += " " + request.operation + " " + request.argument;
    }
    return question;
}

// A reset takes with it what the client has not taken by then.
constexpr std::chrono::milliseconds kPauseBeforeReset{100};

std::string listOf(const std::vector<size_t>& numbers) {
    constexpr size_t kMostNamed = 10;
    std::string list;
    for (size_t index = 0; index < std::min(numbers.size(), kMostNamed); ++index) {
        list += (index == 0 ? "" : ", ") + std::to_string(numbers[index]);
    }
    return numbers.size() > kMostNamed ? list + " and others" : list;
}

}  // namespace

Replay::Replay(std::vector<RecordedExchange> exchanges, ReplayChoices choices, Log& log)
    : exchanges_(std::move(exchanges)), choices_(choices), log_(log) {
    std::vector<size_t> unfinished;
    std::vector<size_t> deviating;
    for (size_t index = 0; index < exchanges_.size(); ++index) {
        connections_ = std::max(connections_, exchanges_[index].connection);
        try {
            if (exchanges_[index].ending == Ending::stopped) {
                unfinished.push_back(index + 1);
            } else {
                add(index);
            }
        } catch (const Deviation&) {
            deviating.push_back(index + 1);
        }
    }
    for (auto& [question, answers] : answersByQuestion_) {
        answers.lasting = lastingAnswer(answers);
    }
    if (!deviating.empty()) {
        log_.always("passed over, for their requests are none of the protocol: exchanges " + listOf(deviating) +
                    " of the recording");
    }
    if (!unfinished.empty()) {
        log_.always("passed over, for their replies were not recorded whole: exchanges " + listOf(unfinished) +
                    " of the recording");
    }
}

// Throws Deviation.
void Replay::add(size_t index) {
    const RecordedExchange& exchange = exchanges_[index];
    if (exchange.request.empty()) {
        greetingByConnection_[exchange.connection] = index;
    } else {
        answersByQuestion_[questionOf(decodeRequest(exchange.request))].exchanges.push_back(index);
    }
}

// The last one behind which the conversation went on; the last one of all where there is none such.
size_t Replay::lastingAnswer(const Answers& answers) const {
    for (size_t place = answers.exchanges.size(); place > 0; --place) {
        const RecordedExchange& exchange = exchanges_[answers.exchanges[place - 1]];
        if (exchange.ending == Ending::none && isWhole(exchange)) {
            return place - 1;
        }
    }
    return answers.exchanges.size() - 1;
}

void Replay::serve(Connection& connection, uint64_t number) {
    const std::string prefix = "connection " + std::to_string(number) + ": ";
    try {
        converse(connection, number, prefix);
    } catch (const ConnectionLost& error) {
        log_.whenVerbose(prefix + error.what());
    }
}

void Replay::converse(Connection& connection, uint64_t number, const std::string& prefix) {
    try {
        const RecordedExchange* const greeting = greetingOf(number);
        bool goesOn = greeting == nullptr || give(connection, *greeting);
        while (goesOn) {
            const std::optional<Request> request = readRequest(connection);
            if (!request.has_value()) {
                log_.whenVerbose(prefix + "the peer ended it without a close request");
                return;
            }
            log_.whenVerbose(prefix + titleOf(*request));
            goesOn = answer(connection, *request);
        }
    } catch (const Deviation& deviation) {
        log_.always(prefix + "refused: " + deviation.what());
        connection.finish();
    }
}

const RecordedExchange* Replay::nextAnswer(const std::string& question) {
    const std::lock_guard lock(mutex_);
    const auto found = answersByQuestion_.find(question);
    if (found == answersByQuestion_.end()) {
        return nullptr;
    }
    Answers& answers = found->second;
    const size_t count = answers.exchanges.size();
    if (answers.next == count && choices_.again) {
        answers.next = 0;
    }
    const size_t place = answers.next < count ? answers.next++ : answers.lasting;
    return &exchanges_[answers.exchanges[place]];
}

const RecordedExchange* Replay::greetingOf(uint64_t number) const {
    const uint64_t recorded = choices_.again && connections_ > 0 ? (number - 1) % connections_ + 1 : number;
    const auto found = greetingByConnection_.find(recorded);
    return found == greetingByConnection_.end() ? nullptr : &exchanges_[found->second];
}

bool Replay::answer(Connection& connection, const Request& request) {
    const RecordedExchange* const recorded = nextAnswer(questionOf(request));
    if (recorded != nullptr) {
        return give(connection, *recorded);
    }
    // A client that was recorded may have ended without this request.
    if (request.exchange != Exchange::close) {
        throw Deviation(titleOf(request) + " is not in the recording" + recordedQueries());
    }
    connection.finish();
    return false;
}

bool Replay::give(Connection& connection, const RecordedExchange& exchange) const {
    if (choices_.timed) {
        connection.pause(std::chrono::milliseconds(exchange.milliseconds));
    }
    connection.send(exchange.reply);
    const auto untilEnd = std::chrono::milliseconds(choices_.timed ? exchange.endMilliseconds : 0);
    switch (exchange.ending) {
        case Ending::none:
        case Ending::stopped:
            return true;
        case Ending::closed:
            connection.pause(untilEnd);
            connection.finish();
            break;
        case Ending::reset:
            connection.pause(exchange.reply.empty() ? untilEnd : std::max(untilEnd, kPauseBeforeReset));
            connection.resetOnClose();
            break;
    }
    return false;
}

std::string Replay::recordedQueries() const {
    std::string list;
    size_t count = 0;
    for (const auto& [question, answers] : answersByQuestion_) {
        const RecordedExchange& first = exchanges_[answers.exchanges.front()];
        if (decodeRequest(first.request).exchange != Exchange::invoke) {
            continue;
        }
        if (++count > kNamedQuestions) {
            return list + "; and others";
        }
        list += (count == 1 ? "; it has " : ", ") + titleOf(first);
    }
    return list;
}

}  // namespace gatewaysim
