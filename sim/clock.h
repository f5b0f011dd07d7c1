#ifndef ZULSTATS_SIM_CLOCK_H
#define ZULSTATS_SIM_CLOCK_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace gatewaysim {

using Instant = std::chrono::sys_time<std::chrono::milliseconds>;

// "2024-05-06T07:08:09Z"
std::string isoText(Instant instant);
// "2024-05-06T07:08:09.123Z"
std::string isoTextWithMilliseconds(Instant instant);
// The system's time.
Instant systemTime();
std::optional<Instant> parseIsoText(std::string_view text);

// The time that the values are made from: the system's, or a frozen one that only queries move.
class Clock {
  public:
    // The system's time.
    Clock();
    // On every connection the time stands at `start` and goes on by `stepPerQuery` after each query for statistics.
    Clock(Instant start, std::chrono::seconds stepPerQuery);

    Instant start() const {
        return start_;
    }
    Instant now(uint32_t earlierQueries) const;

  private:
    bool frozen_;
    Instant start_;
    std::chrono::seconds stepPerQuery_{0};
};

}  // namespace gatewaysim

#endif
