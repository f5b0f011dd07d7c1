#include "comms/stapi_zul_statquery.h"

#include "api/zulstats64.h"
#include "comms/stapi_zul_socketcomms.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/trace_point.h"

namespace stapi {

namespace {

// What is particular to one query. Ids is const char* for a query with an id list, and nothing for one without.
template <typename... Ids>
struct StatQuery {
    const char* queryType;
    TracePoint<int32_t, const void*, int32_t, Ids...> entry;
    TracePoint<const void*, int32_t, uint32_t> data;
    TracePoint<int32_t, const void*, int32_t, Ids..., int32_t> exit;
};

constexpr StatQuery<> kResourceGroupsIds = {
    .queryType = kQueryResourceGroups,
    .entry = {TraceWord::entry, 2300,
              "stapi_zul_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n"},
    .data = {TraceWord::data, 2312, "stapi_zul_statquery.commsResourceGroupsIds data=%p len=%d stopword=%8.8X\n"},
    .exit = {TraceWord::exit, 2301,
             "stapi_zul_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zulStatRc=%d\n"},
};

constexpr StatQuery<> kStatIds = {
    .queryType = kQueryStatIds,
    .entry = {TraceWord::entry, 2304, "stapi_zul_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n"},
    .data = {TraceWord::data, 2314, "stapi_zul_statquery.commsStatIds data=%p len=%d stopword=%8.8X\n"},
    .exit = {TraceWord::exit, 2305,
             "stapi_zul_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zulStatRc=%d\n"},
};

constexpr StatQuery<const char*> kStatIdsByStatGroupId = {
    .queryType = kQueryStatIds,
    .entry = {TraceWord::entry, 2302,
              "stapi_zul_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n"},
    .data = {TraceWord::data, 2313, "stapi_zul_statquery.commsStatIdsByStatGroupId data=%p len=%d stopword=%8.8X\n"},
    .exit =
        {TraceWord::exit, 2303,
         "stapi_zul_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zulStatRc=%d\n"},
};

constexpr StatQuery<> kStats = {
    .queryType = kQueryGetStats,
    .entry = {TraceWord::entry, 2310, "stapi_zul_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n"},
    .data = {TraceWord::data, 2317, "stapi_zul_statquery.commsStats data=%p len=%d stopword=%8.8X\n"},
    .exit = {TraceWord::exit, 2311,
             "stapi_zul_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d) zulStatRc=%d\n"},
};

constexpr StatQuery<const char*> kStatsByStatId = {
    .queryType = kQueryGetStats,
    .entry = {TraceWord::entry, 2306,
              "stapi_zul_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n"},
    .data = {TraceWord::data, 2315, "stapi_zul_statquery.commsStatsByStatId data=%p len=%d stopword=%8.8X\n"},
    .exit = {TraceWord::exit, 2307,
             "stapi_zul_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zulStatRc=%d\n"},
};

constexpr StatQuery<const char*> kStatsByStatGroupId = {
    .queryType = kQueryGetStats,
    .entry = {TraceWord::entry, 2308,
              "stapi_zul_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n"},
    .data = {TraceWord::data, 2316, "stapi_zul_statquery.commsStatsByStatGroupId data=%p len=%d stopword=%8.8X\n"},
    .exit =
        {TraceWord::exit, 2309,
         "stapi_zul_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zulStatRc=%d\n"},
};

int32_t exchange(int32_t socketDesc, const char* queryType, char** buffer, int32_t* bufferLen, ReasonsBlock* reasons,
                 KeptBlock* kept) {
    return statComms(socketDesc, queryType, buffer, bufferLen, reasons, kept);
}

int32_t exchange(int32_t socketDesc, const char* queryType, char** buffer, int32_t* bufferLen, ReasonsBlock* reasons,
                 KeptBlock* kept, const char* ids) {
    return statCommsString(socketDesc, queryType, ids, buffer, bufferLen, reasons, kept);
}

HexDumpArea resultDump(const char* buffer, int32_t bufferLen) {
    return {buffer, 0, kTerminator, resultSetAllocation(bufferLen)};
}

template <typename... Ids>
int32_t run(const StatQuery<Ids...>& query, int32_t socketDesc, char** buffer, int32_t* bufferLen, KeptBlock* kept,
            Ids... ids) {
    int32_t rc = STAPI_RC_NO_DATA;
    TRACE_POINT(query.entry, socketDesc, at(*buffer), *bufferLen, ids...);
    if (*buffer != nullptr) {
        ReasonsBlock reasons = {};
        const int32_t exchangeRc = exchange(socketDesc, query.queryType, buffer, bufferLen, &reasons, kept, ids...);
        rc = mapExchangeCode(exchangeRc, reasons);
    }
    if (rc == STAPI_RC_OK) {
        TRACE_POINT_DATA(query.data, resultDump(*buffer, *bufferLen), at(*buffer), 0, kTerminator);
    }
    TRACE_POINT(query.exit, socketDesc, at(*buffer), *bufferLen, ids..., rc);
    return rc;
}

}  // namespace

int32_t commsResourceGroupsIds(int32_t socketDesc, char** buffer, int32_t* bufferLen, KeptBlock* kept) {
    return run(kResourceGroupsIds, socketDesc, buffer, bufferLen, kept);
}

int32_t commsStatIds(int32_t socketDesc, char** buffer, int32_t* bufferLen, KeptBlock* kept) {
    return run(kStatIds, socketDesc, buffer, bufferLen, kept);
}

int32_t commsStatIdsByStatGroupId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids,
                                  KeptBlock* kept) {
    return run(kStatIdsByStatGroupId, socketDesc, buffer, bufferLen, kept, ids);
}

int32_t commsStats(int32_t socketDesc, char** buffer, int32_t* bufferLen, KeptBlock* kept) {
    return run(kStats, socketDesc, buffer, bufferLen, kept);
}

int32_t commsStatsByStatId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids, KeptBlock* kept) {
    return run(kStatsByStatId, socketDesc, buffer, bufferLen, kept, ids);
}

int32_t commsStatsByStatGroupId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids,
                                KeptBlock* kept) {
    return run(kStatsByStatGroupId, socketDesc, buffer, bufferLen, kept, ids);
}

}  // namespace stapi
