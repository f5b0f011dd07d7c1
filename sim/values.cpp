#include "values.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <string>

#include "randomness.h"

namespace gatewaysim {

namespace {

// From 0 to below 1, the same for the same arguments on every system.
double fractionAt(uint64_t seed, uint64_t position) {
    return static_cast<double>(scramble(seed ^ scramble(position)) >> 11) / 9007199254740992.0;
}

struct Position {
    double value;
    double slopePerSecond;
};

Position wander(const Wandering& wandering, uint64_t seed, double seconds) {
    const double periods = seconds / wandering.periodSeconds;
    const double before = std::floor(periods);
    const auto period = static_cast<uint64_t>(before);
    const double from = fractionAt(seed, period);
    const double to = fractionAt(seed, period + 1);
    const double height = wandering.high - wandering.low;
    return {wandering.low + height * (from + (to - from) * (periods - before)),
            height * (to - from) / wandering.periodSeconds};
}

std::string withDecimals(double value, int decimals) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    const std::string shown = text.data();
    const bool isMinusZero = shown.starts_with('-') && shown.find_first_not_of("-0.") == std::string::npos;
    return isMinusZero ? shown.substr(1) : shown;
}

}  // namespace

double Moment::seconds() const {
    return static_cast<double>((now_ - start_).count()) / 1000.0;
}

std::string Moment::counterText(const Statistic& statistic, const Counter& counter) const {
    double grown = counter.perSecond * seconds();
    if (counter.lag.has_value()) {
        grown -= wander(*counter.lag, seed_ ^ hashOf(statistic.id), seconds()).value;
    }
    return std::to_string(counter.start + static_cast<int64_t>(std::floor(grown)));
}

std::string Moment::percentText(const Percent& percent) {
    const double whole = sumOf(percent.of).approximately();
    const double share = whole == 0 ? 0 : number(percent.part).approximately() / whole * 100;
    return withDecimals(share, percent.decimals);
}

std::string Moment::text(size_t index) {
    const Statistic& statistic = catalogue_.statistics[index];
    if (const auto* constant = std::get_if<ConstantText>(&statistic.kind)) {
        return constant->text;
    }
    if (const auto* counter = std::get_if<Counter>(&statistic.kind)) {
        return counterText(statistic, *counter);
    }
    if (const auto* gauge = std::get_if<Gauge>(&statistic.kind)) {
        return withDecimals(wander(gauge->between, seed_ ^ hashOf(statistic.id), seconds()).value, gauge->decimals);
    }
    if (const auto* sum = std::get_if<Sum>(&statistic.kind)) {
        return number(index).text(sum->decimals);
    }
    if (const auto* rate = std::get_if<Rate>(&statistic.kind)) {
        return withDecimals(growthPerSecond(rate->of), rate->decimals);
    }
    if (const auto* percent = std::get_if<Percent>(&statistic.kind)) {
        return percentText(*percent);
    }
    const auto& time = std::get<TimeText>(statistic.kind);
    return isoText(time.shows == TimeText::Shows::now ? now_ : start_);
}

Decimal Moment::number(size_t index) {
    if (const auto known = numbers_.find(index); known != numbers_.end()) {
        return known->second;
    }
    const auto* sum = std::get_if<Sum>(&catalogue_.statistics[index].kind);
    const Decimal number =
        sum != nullptr ? sumOf(sum->plus) + -sumOf(sum->minus) : Decimal::parse(text(index)).value_or(Decimal());
    return numbers_.emplace(index, number).first->second;
}

Decimal Moment::sumOf(const std::vector<Operand>& operands) {
    Decimal sum;
    for (const Operand& operand : operands) {
        const auto* constant = std::get_if<Decimal>(&operand);
        sum = sum + (constant != nullptr ? *constant : number(std::get<size_t>(operand)));
    }
    return sum;
}

double Moment::growthPerSecond(size_t index) {
    if (const auto known = growths_.find(index); known != growths_.end()) {
        return known->second;
    }
    const Statistic& statistic = catalogue_.statistics[index];
    double growth = 0;
    if (const auto* counter = std::get_if<Counter>(&statistic.kind)) {
        growth = counter->perSecond;
        if (counter->lag.has_value()) {
            growth -= wander(*counter->lag, seed_ ^ hashOf(statistic.id), seconds()).slopePerSecond;
        }
    } else if (const auto* sum = std::get_if<Sum>(&statistic.kind)) {
        growth = growthPerSecond(sum->plus) - growthPerSecond(sum->minus);
    }
    return growths_.emplace(index, growth).first->second;
}

double Moment::growthPerSecond(const std::vector<Operand>& operands) {
    double growth = 0;
    for (const Operand& operand : operands) {
        const auto* index = std::get_if<size_t>(&operand);
        growth += index != nullptr ? growthPerSecond(*index) : 0;
    }
    return growth;
}

}  // namespace gatewaysim
