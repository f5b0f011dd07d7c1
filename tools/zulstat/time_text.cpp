#include "time_text.h"

#include <array>
#include <cstdio>

namespace zulstat {
namespace {

struct Moment {
    std::chrono::year_month_day date;
    std::chrono::hh_mm_ss<std::chrono::milliseconds> clock;
};

Moment momentOf(const std::chrono::system_clock::time_point time) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time);
    const auto day = std::chrono::floor<std::chrono::days>(milliseconds);
    return {std::chrono::year_month_day(day), std::chrono::hh_mm_ss<std::chrono::milliseconds>(milliseconds - day)};
}

}  // namespace

std::string formatTime(const std::chrono::system_clock::time_point time) {
    const Moment moment = momentOf(time);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(moment.date.year()),
                  static_cast<unsigned>(moment.date.month()), static_cast<unsigned>(moment.date.day()),
                  static_cast<int>(moment.clock.hours().count()), static_cast<int>(moment.clock.minutes().count()),
                  static_cast<int>(moment.clock.seconds().count()),
                  static_cast<int>(moment.clock.subseconds().count()));
    return text.data();
}

std::string formatClock(const std::chrono::system_clock::time_point time) {
    constexpr size_t kStartOfClock = 11;
    constexpr size_t kLengthOfClock = 8;
    return formatTime(time).substr(kStartOfClock, kLengthOfClock) + "Z";
}

}  // namespace zulstat
