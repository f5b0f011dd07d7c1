#include "target_list.h"

#include "world.h"

namespace fuzz_test {

namespace {

constexpr FuzzTarget kTargets[] = {
    {"flow", fuzzFlow, 2, InputShape::replies, kCircumstancesSize + 2},
    {"authorisation", fuzzAuthorisation, 2, InputShape::replies, kCircumstancesSize},
    {"admin_reply", fuzzAdminReply, 2, InputShape::replies, kCircumstancesSize + 1},
    {"ids_parser", fuzzIdsParser, 2, InputShape::idsPayload, kCircumstancesSize + 1},
    {"stats_parser", fuzzStatsParser, 2, InputShape::statsPayload, kCircumstancesSize + 1},
    {"session", fuzzSession, 3, InputShape::replies, kCircumstancesSize + 4},
    {"walkers", fuzzWalkers, 3, InputShape::resultSet, kCircumstancesSize + 4},
    {"request_reader", fuzzRequestReader, 8, InputShape::requests, 1},
};

}  // namespace

std::span<const FuzzTarget> allTargets() {
    return kTargets;
}

}  // namespace fuzz_test
