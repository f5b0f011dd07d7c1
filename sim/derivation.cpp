#include "derivation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "clock.h"
#include "log.h"

namespace gatewaysim {

namespace {

struct Reference {
    const char* field;
    size_t to;
};

void addReferences(std::vector<Reference>& references, const char* field, const std::vector<Operand>& operands) {
    for (const Operand& operand : operands) {
        if (const auto* index = std::get_if<size_t>(&operand)) {
            references.push_back({field, *index});
        }
    }
}

std::vector<Reference> referencesOf(const ValueKind& kind) {
    std::vector<Reference> references;
    if (const auto* sum = std::get_if<Sum>(&kind)) {
        addReferences(references, "plus", sum->plus);
        addReferences(references, "minus", sum->minus);
    } else if (const auto* rate = std::get_if<Rate>(&kind)) {
        references.push_back({"of", rate->of});
    } else if (const auto* percent = std::get_if<Percent>(&kind)) {
        references.push_back({"part", percent->part});
        addReferences(references, "of", percent->of);
    }
    return references;
}

bool isNumber(const ValueKind& kind) {
    const auto* constant = std::get_if<ConstantText>(&kind);
    return constant != nullptr ? Decimal::parse(constant->text).has_value() : !std::holds_alternative<TimeText>(kind);
}

int shownDecimals(const ValueKind& kind) {
    if (const auto* constant = std::get_if<ConstantText>(&kind)) {
        return decimalsOf(constant->text);
    }
    if (const auto* gauge = std::get_if<Gauge>(&kind)) {
        return gauge->decimals;
    }
    if (const auto* sum = std::get_if<Sum>(&kind)) {
        return sum->decimals;
    }
    if (const auto* rate = std::get_if<Rate>(&kind)) {
        return rate->decimals;
    }
    const auto* percent = std::get_if<Percent>(&kind);
    return percent != nullptr ? percent->decimals : 0;
}

// Works without recursion: how deep the references go is decided by a file of anybody's.
class Derivations {
  public:
    explicit Derivations(Catalogue& catalogue)
        : catalogue_(catalogue),
          depths_(catalogue.statistics.size()),
          haveRate_(catalogue.statistics.size()),
          magnitudes_(catalogue.statistics.size()) {
        for (const Statistic& statistic : catalogue.statistics) {
            references_.push_back(referencesOf(statistic.kind));
        }
    }

    void complete() {
        // What a statistic is made of comes before it.
        for (const size_t index : order()) {
            complete(index);
        }
    }

  private:
    std::vector<size_t> order() const {
        std::vector<std::vector<size_t>> users(references_.size());
        std::vector<size_t> missing(references_.size());
        std::vector<size_t> order;
        for (size_t index = 0; index < references_.size(); ++index) {
            missing[index] = references_[index].size();
            for (const Reference& reference : references_[index]) {
                users[reference.to].push_back(index);
            }
            if (missing[index] == 0) {
                order.push_back(index);
            }
        }
        for (size_t done = 0; done < order.size(); ++done) {
            for (const size_t user : users[order[done]]) {
                if (--missing[user] == 0) {
                    order.push_back(user);
                }
            }
        }
        if (order.size() != references_.size()) {
            throw circle(missing);
        }
        return order;
    }

    // Each statistic that misses something refers to another one that does.
    BadCatalogue circle(const std::vector<size_t>& missing) const {
        const auto waits = [&](size_t index) { return missing[index] != 0; };
        const auto next = [&](size_t index) {
            return *std::find_if(references_[index].begin(), references_[index].end(),
                                 [&](const Reference& reference) { return waits(reference.to); });
        };
        size_t index = 0;
        while (!waits(index)) {
            ++index;
        }
        for (size_t step = 0; step < references_.size(); ++step) {
            index = next(index).to;
        }
        const Reference reference = next(index);
        if (reference.to == index) {
            return bad(index, reference, "is the statistic itself; name another one");
        }
        return bad(index, reference, "is made of this statistic in turn; break the circle at one of them");
    }

    void complete(size_t index) {
        const ValueKind& kind = catalogue_.statistics[index].kind;
        for (const Reference& reference : references_[index]) {
            check(index, reference);
            depths_[index] = std::max(depths_[index], depths_[reference.to] + 1);
        }
        takeDecimals(catalogue_.statistics[index].kind);
        haveRate_[index] = hasRate(index);
        magnitudes_[index] = magnitudeOf(kind);
        if (!isExact(kind, magnitudes_[index])) {
            throw BadCatalogue(place(index) + "its numbers can add up to more than " + std::to_string(kLargestExact) +
                               " within a hundred years, beyond which they are not exact; name smaller ones, or " +
                               "counters of a lower rate");
        }
    }

    void check(size_t index, const Reference& reference) const {
        if (!isNumber(catalogue_.statistics[reference.to].kind)) {
            throw bad(index, reference,
                      "has a value that is no number up to " + std::to_string(kLargestExact) + " with at most " +
                          std::to_string(kMostDecimals) + " decimals; name a statistic whose value is one");
        }
        if (depths_[reference.to] >= kDeepestReference) {
            throw bad(index, reference,
                      "goes through more than " + std::to_string(kDeepestReference) +
                          " others; name what those are made of instead");
        }
        if (std::holds_alternative<Rate>(catalogue_.statistics[index].kind) && !canBeRated(reference.to)) {
            throw bad(index, reference, "has no rate; name a counter, or a sum of counters");
        }
    }

    void takeDecimals(ValueKind& kind) const {
        if (auto* sum = std::get_if<Sum>(&kind)) {
            sum->decimals =
                std::max({sum->decimals, decimalsOfStatistics(sum->plus), decimalsOfStatistics(sum->minus)});
        } else if (auto* percent = std::get_if<Percent>(&kind)) {
            percent->decimalsOfWhole = std::max(percent->decimalsOfWhole, decimalsOfStatistics(percent->of));
        }
    }

    int decimalsOfStatistics(const std::vector<Operand>& operands) const {
        int most = 0;
        for (const Operand& operand : operands) {
            const auto* index = std::get_if<size_t>(&operand);
            most = std::max(most, index != nullptr ? shownDecimals(catalogue_.statistics[*index].kind) : 0);
        }
        return most;
    }

    // The numbers of a percentage are added up; it itself may be as large as it will unless something is made of it.
    bool isExact(const ValueKind& kind, double magnitude) const {
        constexpr auto kLargest = static_cast<double>(kLargestExact);
        if (const auto* percent = std::get_if<Percent>(&kind)) {
            return magnitudes_[percent->part] <= kLargest && magnitudeOf(percent->of) <= kLargest;
        }
        return !std::holds_alternative<Sum>(kind) || magnitude <= kLargest;
    }

    // Nothing that the statistic shows while the clock goes on is further from 0; of sums, the parts together.
    double magnitudeOf(const ValueKind& kind) const {
        constexpr auto kSeconds = static_cast<double>(kLongestRun.count());
        if (const auto* constant = std::get_if<ConstantText>(&kind)) {
            const auto number = Decimal::parse(constant->text);
            return number.has_value() ? std::fabs(number->approximately()) : 0;
        }
        if (const auto* counter = std::get_if<Counter>(&kind)) {
            return static_cast<double>(counter->start) + counter->perSecond * kSeconds;
        }
        if (const auto* gauge = std::get_if<Gauge>(&kind)) {
            return std::fmax(std::fabs(gauge->between.low), std::fabs(gauge->between.high)) + 1;
        }
        if (const auto* sum = std::get_if<Sum>(&kind)) {
            return magnitudeOf(sum->plus) + magnitudeOf(sum->minus);
        }
        if (const auto* rate = std::get_if<Rate>(&kind)) {
            return magnitudes_[rate->of] + 1;
        }
        const auto* percent = std::get_if<Percent>(&kind);
        return percent != nullptr ? magnitudeOf(*percent) : 0;
    }

    double magnitudeOf(const std::vector<Operand>& operands) const {
        double magnitude = 0;
        for (const Operand& operand : operands) {
            const auto* constant = std::get_if<Decimal>(&operand);
            magnitude +=
                constant != nullptr ? std::fabs(constant->approximately()) : magnitudes_[std::get<size_t>(operand)];
        }
        return magnitude;
    }

    // The smallest whole that is not 0 is one of the last decimal.
    double magnitudeOf(const Percent& percent) const {
        return magnitudes_[percent.part] * 100 * std::pow(10, percent.decimalsOfWhole) + 1;
    }

    // Numbers that never change may be a part of a sum that grows; of their own growth nobody asks.
    bool canBeRated(size_t index) const {
        return haveRate_[index] && !std::holds_alternative<ConstantText>(catalogue_.statistics[index].kind);
    }

    bool hasRate(size_t index) const {
        const ValueKind& kind = catalogue_.statistics[index].kind;
        if (!std::holds_alternative<Sum>(kind)) {
            return std::holds_alternative<Counter>(kind) || std::holds_alternative<ConstantText>(kind);
        }
        return std::all_of(references_[index].begin(), references_[index].end(),
                           [&](const Reference& reference) { return haveRate_[reference.to]; });
    }

    BadCatalogue bad(size_t index, const Reference& reference, const std::string& why) const {
        return BadCatalogue(place(index) + "field " + inQuotes(reference.field) + " names " +
                            inQuotes(catalogue_.statistics[reference.to].id, 60) + ", which " + why);
    }

    std::string place(size_t index) const {
        return "statistics[" + std::to_string(index) + "] (" + inQuotes(catalogue_.statistics[index].id, 60) + "): ";
    }

    Catalogue& catalogue_;
    std::vector<std::vector<Reference>> references_;
    std::vector<size_t> depths_;
    std::vector<bool> haveRate_;
    std::vector<double> magnitudes_;
};

}  // namespace

void completeDerivations(Catalogue& catalogue) {
    Derivations(catalogue).complete();
}

}  // namespace gatewaysim
