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

std::string questionOf(const RecordedExchange& exchange, size_t index) {
    if (exchange.request.empty()) {
        return std::string(nameOf(Exchange::accept));
    }
    try {
        return questionOf(decodeRequest(exchange.request));
    } catch (const Deviation& deviation) {
        // The recording's first line is none of an exchange.
        throw BadRecording("line " + std::to_string(index + 2) + ": the request cannot be replayed: " +
                           deviation.what() + "; without this line the recording can");
    }
}

}  // namespace

Replay::Replay(std::vector<RecordedExchange> exchanges, ReplayChoices choices, Log& log)
    : exchanges_(std::move(exchanges)), choices_(choices), log_(log) {
    for (size_t index = 0; index < exchanges_.size(); ++index) {
        answersByQuestion_[questionOf(exchanges_[index], index)].exchanges.push_back(index);
    }
}

void Replay::serve(Connection& connection, uint64_t number) {
    const std::string prefix = "connection " + std::to_string(number) + ": ";
    try {
        converse(connection, prefix);
    } catch (const ConnectionLost& error) {
        log_.whenVerbose(prefix + error.what());
    }
}

void Replay::converse(Connection& connection, const std::string& prefix) {
    try {
        bool goesOn = greet(connection);
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
    const RecordedExchange& chosen = exchanges_[answers.exchanges[answers.next]];
    if (answers.next + 1 < answers.exchanges.size()) {
        ++answers.next;
    } else if (choices_.again) {
        answers.next = 0;
    }
    return &chosen;
}

// Most gateways say nothing unasked.
bool Replay::greet(Connection& connection) {
    const RecordedExchange* const greeting = nextAnswer(std::string(nameOf(Exchange::accept)));
    return greeting == nullptr || give(connection, *greeting);
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
    switch (exchange.ending) {
        case Ending::none:
            return true;
        case Ending::closed:
            connection.finish();
            break;
        case Ending::reset:
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
        if (first.request.empty() || decodeRequest(first.request).exchange != Exchange::invoke) {
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
