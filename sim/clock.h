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

// For so long the values go on; then they stand still.
inline constexpr std::chrono::seconds kLongestRun = std::chrono::days(36525);

// Where a running clock takes the time from.
struct TimeSources {
    Instant (*system)();
    std::chrono::steady_clock::time_point (*steady)();
};

// The time that the values are made from: a running one, or a frozen one that only queries move. It starts with a whole
// second, so that the seconds that have passed are those between the times that are shown.
class Clock {
  public:
    // Goes on evenly from the system's time, whatever becomes of that: the values never fall.
    explicit Clock(TimeSources sources = {systemTime, std::chrono::steady_clock::now});
    // On every connection the time stands at `start` and goes on by `stepPerQuery` after each query for statistics.
    Clock(Instant start, std::chrono::seconds stepPerQuery);

    Instant start() const {
        return start_;
    }
    Instant now(uint32_t earlierQueries) const;

  private:
    std::chrono::milliseconds sinceStart(uint32_t earlierQueries) const;

    TimeSources sources_{};
    Instant start_;
    // The steady time at the start, of a running clock.
    std::optional<std::chrono::steady_clock::time_point> steadyStart_;
    std::chrono::seconds stepPerQuery_{0};
};

}  // namespace gatewaysim

#endif
