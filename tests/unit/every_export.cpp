#include "every_export.h"

#include "api/zulstats64.h"

namespace {

constexpr int32_t kNoTraceLevel = 99;

ExportCall silent(const char* name, int32_t (*call)(), int32_t code) {
    return {name, call, code, false};
}

}  // namespace

const std::vector<ExportCall>& everyExport() {
    static const std::vector<ExportCall> kCalls = {
        silent(
            "getStatsAPIVersion", [] { return getStatsAPIVersion(nullptr); }, -109),
        silent(
            "getAPITraceLevel", [] { return getAPITraceLevel(nullptr); }, -109),
        silent(
            "setAPITraceLevel", [] { return setAPITraceLevel(kNoTraceLevel); }, -104),
        silent(
            "setAPITraceFile", [] { return setAPITraceFile("/no/such/folder/of/traces/trace.txt"); }, -130),
        {"dumpState", [] { return dumpState(); }, 0, true},
        silent(
            "openGatewayConnection", [] { return openGatewayConnection(0, nullptr, nullptr); }, -107),
        silent(
            "openRemoteGatewayConnection", [] { return openRemoteGatewayConnection(nullptr, 0, nullptr, nullptr); },
            -107),
        silent(
            "closeGatewayConnection", [] { return closeGatewayConnection(nullptr); }, -108),
        silent(
            "closeAllGatewayConnections", [] { return closeAllGatewayConnections(); }, 0),
        silent(
            "getResourceGroupIds", [] { return getResourceGroupIds(nullptr, nullptr); }, -100),
        silent(
            "getStatIds", [] { return getStatIds(nullptr, nullptr); }, -100),
        silent(
            "getStatIdsByStatGroupId", [] { return getStatIdsByStatGroupId(nullptr, nullptr, nullptr); }, -100),
        silent(
            "getStats", [] { return getStats(nullptr, nullptr); }, -100),
        silent(
            "getStatsByStatId", [] { return getStatsByStatId(nullptr, nullptr, nullptr); }, -100),
        silent(
            "getStatsByStatGroupId", [] { return getStatsByStatGroupId(nullptr, nullptr, nullptr); }, -100),
        silent(
            "getFirstId", [] { return getFirstId(nullptr, nullptr); }, -127),
        silent(
            "getNextId", [] { return getNextId(nullptr, nullptr); }, -127),
        silent(
            "getFirstStat", [] { return getFirstStat(nullptr, nullptr); }, -127),
        silent(
            "getNextStat", [] { return getNextStat(nullptr, nullptr); }, -127),
        silent(
            "getIdQuery", [] { return getIdQuery(nullptr, nullptr); }, -127),
        silent(
            "copyResultSet", [] { return copyResultSet(nullptr, nullptr); }, -127),
        silent(
            "freeResultSet", [] { return freeResultSet(nullptr); }, -125),
        silent(
            "dumpResultSet", [] { return dumpResultSet(nullptr); }, -127),
    };
    return kCalls;
}
