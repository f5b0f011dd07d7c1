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
    // Throws BadRecording, which names the line, where a recorded request departs from the protocol.
    Replay(std::vector<RecordedExchange> exchanges, ReplayChoices choices, Log& log);

    // On any thread. Throws Stopped.
    void serve(Connection& connection, uint64_t number);

  private:
    struct Answers {
        std::vector<size_t> exchanges;
        size_t next = 0;
    };

    void converse(Connection& connection, const std::string& prefix);
    // Null where the question was not recorded.
    const RecordedExchange* nextAnswer(const std::string& question);
    // Returns whether requests are to be read.
    bool greet(Connection& connection);
    bool answer(Connection& connection, const Request& request);
    bool give(Connection& connection, const RecordedExchange& exchange) const;
    std::string recordedQueries() const;

    const std::vector<RecordedExchange> exchanges_;
    const ReplayChoices choices_;
    Log& log_;
    std::mutex mutex_;
    std::map<std::string, Answers> answersByQuestion_;
};

}  // namespace gatewaysim

#endif
