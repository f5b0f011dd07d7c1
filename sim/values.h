#ifndef ZULSTATS_SIM_VALUES_H
#define ZULSTATS_SIM_VALUES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "catalogue.h"
#include "clock.h"

namespace gatewaysim {

// The values of a catalogue's statistics at one moment, decided by the arguments alone.
class Moment {
  public:
    Moment(const Catalogue& catalogue, uint64_t seed, Instant start, Instant now)
        : catalogue_(catalogue), seed_(seed), start_(start), now_(now) {}

    // The text of the value of the statistic with this index in the catalogue.
    std::string text(size_t index);

  private:
    // The number that the text shows.
    Decimal number(size_t index);
    Decimal sumOf(const std::vector<Operand>& operands);
    double growthPerSecond(size_t index);
    double growthPerSecond(const std::vector<Operand>& operands);
    double seconds() const;
    std::string counterText(const Statistic& statistic, const Counter& counter) const;
    std::string percentText(const Percent& percent);

    const Catalogue& catalogue_;
    const uint64_t seed_;
    const Instant start_;
    const Instant now_;
    // What was looked up: a statistic may be a part of many others.
    std::map<size_t, Decimal> numbers_;
    std::map<size_t, double> growths_;
};

}  // namespace gatewaysim

#endif
