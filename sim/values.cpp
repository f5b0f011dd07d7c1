#include "values.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "randomness.h"

namespace gatewaysim {

namespace {

double secondsBetween(Instant start, Instant now) {
    return static_cast<double>((now - start).count()) / 1000.0;
}

// From 0 to below 1, the same for the same arguments on every system.
double fractionAt(uint64_t seed, uint64_t position) {
    return static_cast<double>(scramble(seed ^ scramble(position)) >> 11) / 9007199254740992.0;
}

// Moves in straight lines between chance points one period apart.
double wanderingValue(const Gauge& gauge, uint64_t seed, double seconds) {
    const double periods = seconds / gauge.periodSeconds;
    const double before = std::floor(periods);
    const auto position = static_cast<uint64_t>(before);
    const double from = fractionAt(seed, position);
    const double to = fractionAt(seed, position + 1);
    return gauge.low + (gauge.high - gauge.low) * (from + (to - from) * (periods - before));
}

}  // namespace

std::string valueText(const Statistic& statistic, uint64_t seed, Instant start, Instant now) {
    if (const auto* constant = std::get_if<ConstantText>(&statistic.kind)) {
        return constant->text;
    }
    if (const auto* counter = std::get_if<Counter>(&statistic.kind)) {
        const double grown = std::floor(counter->perSecond * secondsBetween(start, now));
        return std::to_string(counter->start + static_cast<int64_t>(std::fmin(grown, 1e18)));
    }
    if (const auto* gauge = std::get_if<Gauge>(&statistic.kind)) {
        const double value = wanderingValue(*gauge, seed ^ hashOf(statistic.id), secondsBetween(start, now));
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%.*f", gauge->decimals, value);
        return text.data();
    }
    const auto& time = std::get<TimeText>(statistic.kind);
    return isoText(time.shows == TimeText::Shows::now ? now : start);
}

}  // namespace gatewaysim
