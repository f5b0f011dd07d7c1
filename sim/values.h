#ifndef ZULSTATS_SIM_VALUES_H
#define ZULSTATS_SIM_VALUES_H

#include <cstdint>
#include <string>

#include "catalogue.h"
#include "clock.h"

namespace gatewaysim {

// The text of a statistic's value, decided by these arguments alone.
std::string valueText(const Statistic& statistic, uint64_t seed, Instant start, Instant now);

}  // namespace gatewaysim

#endif
