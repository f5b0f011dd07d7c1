// The six exported queries under one signature.
#ifndef ZULSTATS_TESTS_WIRE_EXPORT_QUERY_H
#define ZULSTATS_TESTS_WIRE_EXPORT_QUERY_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "zulstats64.h"

namespace wire_test {

struct ExportQuery {
    const char* name;
    bool isStatistics;
    bool takesIds;
    bool resetsOwner;
    int32_t (*run)(GatewayToken* token, ResultSetToken** result);
    // The trace points of the export: entry, event, after the query, missing buffer, removal, exit.
    int entry;
    int event;
    std::vector<int> afterwards;
    int missingBuffer;
    int removal;
    int exit;
};

inline const char* const kIds = "ONE:TWO";

inline std::vector<ExportQuery> exportQueries() {
    return {
        {"getResourceGroupIds",
         false,
         false,
         false,
         [](GatewayToken* token, ResultSetToken** result) { return getResourceGroupIds(token, result); },
         1009,
         1128,
         {1010, 1011},
         1012,
         1013,
         1014},
        {"getStatIds",
         false,
         false,
         true,
         [](GatewayToken* token, ResultSetToken** result) { return getStatIds(token, result); },
         1020,
         1130,
         {1021},
         1022,
         1023,
         1024},
        {"getStatIdsByStatGroupId",
         false,
         true,
         true,
         [](GatewayToken* token, ResultSetToken** result) { return getStatIdsByStatGroupId(token, kIds, result); },
         1015,
         1129,
         {1016},
         1017,
         1018,
         1019},
        {"getStats",
         true,
         false,
         true,
         [](GatewayToken* token, ResultSetToken** result) { return getStats(token, result); },
         1025,
         1130,
         {1026},
         1027,
         1028,
         1029},
        {"getStatsByStatId",
         true,
         true,
         true,
         [](GatewayToken* token, ResultSetToken** result) { return getStatsByStatId(token, kIds, result); },
         1030,
         1131,
         {1031},
         1032,
         1033,
         1034},
        {"getStatsByStatGroupId",
         true,
         true,
         true,
         [](GatewayToken* token, ResultSetToken** result) { return getStatsByStatGroupId(token, kIds, result); },
         1035,
         1132,
         {1036},
         1037,
         1038,
         1039},
    };
}

inline void PrintTo(const ExportQuery& query, std::ostream* stream) {
    *stream << query.name;
}

}  // namespace wire_test

#endif
