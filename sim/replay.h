#ifndef ZULSTATS_SIM_REPLAY_H
#define ZULSTATS_SIM_REPLAY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "log.h"
#include "recording.h"
#include "request.h"
#include "transport.h"

namespace gatewaysim {

struct ReplayChoices {
    bool timed = false;  // every answer takes as long as it took
    bool again = false;  // after the last answer to a question comes the first one, not the last one once more
};

// Answers with what a gateway answered to the same questions, in the order in which it did, whatever connection asks.
class Replay {
  public:
    // Exchanges that cannot be replayed are passed over and named in the log.
    Replay(std::vector<RecordedExchange> exchanges, ReplayChoices choices, Log& log);

    // On any thread. Throws Stopped.
    void serve(Connection& connection, uint64_t number);

  private:
    struct Answers {
        std::vector<size_t> exchanges;
        size_t next = 0;
        size_t lasting = 0;  // the place of the one that stays when all were given
    };

    void add(size_t index);
    size_t lastingAnswer(const Answers& answers) const;
    void converse(Connection& connection, uint64_t number, const std::string& prefix);
    // Null where the question was not recorded.
    const RecordedExchange* nextAnswer(const std::string& question);
    // What the gateway said unasked to the connection with this number; null for most.
    const RecordedExchange* greetingOf(uint64_t number) const;
    bool answer(Connection& connection, const Request& request);
    // Returns whether requests are to be read.
    bool give(Connection& connection, const RecordedExchange& exchange) const;
    std::string recordedQueries() const;

    const std::vector<RecordedExchange> exchanges_;
    const ReplayChoices choices_;
    Log& log_;
    std::mutex mutex_;
    std::map<std::string, Answers> answersByQuestion_;
    std::map<uint64_t, size_t> greetingByConnection_;
    uint64_t connections_ = 0;
};

}  // namespace gatewaysim

#endif
