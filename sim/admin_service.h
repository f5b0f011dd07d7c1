#ifndef ZULSTATS_SIM_ADMIN_SERVICE_H
#define ZULSTATS_SIM_ADMIN_SERVICE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bytes.h"
#include "catalogue.h"
#include "clock.h"
#include "object_stream.h"
#include "payload.h"
#include "values.h"

namespace gatewaysim {

// The code of a response to an id that the catalogue does not know.
inline constexpr int32_t kUnknownId = -5;

// The statistics management object: answers its attribute and its operations with reply payloads. Every text of an
// answer ends in the addition.
class AdminService {
  public:
    AdminService(const Catalogue& catalogue, const Clock& clock, uint64_t seed)
        : catalogue_(catalogue), clock_(clock), seed_(seed) {}

    Payload protocol(std::string_view addition) const;
    // All groups in one response with an empty query id.
    Payload resourceGroups(std::string_view addition) const;
    // Without a query all statistics in one response with an empty query id; otherwise a response per group asked for.
    Payload statisticIds(std::string_view query, std::string_view addition) const;
    // Without a query a response per group; otherwise one per group or statistic asked for.
    Payload statistics(std::string_view query, uint32_t earlierQueries, std::string_view addition) const;

  private:
    StatisticsResponse statisticsOf(const std::string& element, Moment& moment) const;

    const Catalogue& catalogue_;
    const Clock& clock_;
    const uint64_t seed_;
};

}  // namespace gatewaysim

#endif
