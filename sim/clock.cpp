#include "clock.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdio>

namespace gatewaysim {

namespace {

std::optional<unsigned> digits(std::string_view text) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

Instant systemTime() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

std::string isoTextWithMilliseconds(Instant instant) {
    const auto milliseconds = instant - std::chrono::floor<std::chrono::seconds>(instant);
    std::array<char, 8> end{};
    std::snprintf(end.data(), end.size(), ".%03dZ", static_cast<int>(milliseconds.count()));
    std::string text = isoText(instant);
    text.replace(text.size() - 1, 1, end.data());
    return text;
}

std::string isoText(Instant instant) {
    const auto day = std::chrono::floor<std::chrono::days>(instant);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(instant - day));
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text.data();
}

std::optional<Instant> parseIsoText(std::string_view text) {
    constexpr std::string_view kShape = "0000-00-00T00:00:00Z";
    if (text.size() != kShape.size()) {
        return std::nullopt;
    }
    for (size_t at = 0; at < kShape.size(); ++at) {
        if (kShape[at] != '0' && text[at] != kShape[at]) {
            return std::nullopt;
        }
    }
    const auto year = digits(text.substr(0, 4));
    const auto month = digits(text.substr(5, 2));
    const auto dayOfMonth = digits(text.substr(8, 2));
    const auto hour = digits(text.substr(11, 2));
    const auto minute = digits(text.substr(14, 2));
    const auto second = digits(text.substr(17, 2));
    if (!year || !month || !dayOfMonth || !hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(*year)), std::chrono::month(*month),
                                           std::chrono::day(*dayOfMonth));
    if (!date.ok()) {
        return std::nullopt;
    }
    return std::chrono::sys_days(date) + std::chrono::hours(*hour) + std::chrono::minutes(*minute) +
           std::chrono::seconds(*second);
}

Clock::Clock(TimeSources sources) : sources_(sources) {
    const Instant begun = sources_.system();
    start_ = std::chrono::floor<std::chrono::seconds>(begun);
    steadyStart_ = sources_.steady() - (begun - start_);
}

Clock::Clock(Instant start, std::chrono::seconds stepPerQuery) : start_(start), stepPerQuery_(stepPerQuery) {}

Instant Clock::now(uint32_t earlierQueries) const {
    return start_ + std::min<std::chrono::milliseconds>(sinceStart(earlierQueries), kLongestRun);
}

std::chrono::milliseconds Clock::sinceStart(uint32_t earlierQueries) const {
    if (steadyStart_.has_value()) {
        return std::chrono::floor<std::chrono::milliseconds>(sources_.steady() - *steadyStart_);
    }
    return stepPerQuery_ * earlierQueries;
}

}  // namespace gatewaysim
