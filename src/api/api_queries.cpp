// The six exported queries: one way for all, and for each its texts and its exchange.
#include "api/zulstats64.h"
#include "comms/stapi_zul_statquery.h"
#include "diag/trace_point.h"
#include "gateway/stapi_zul_gwytok.h"
#include "gateway/token_life.h"
#include "impl/stapi_zul_impl.h"

using stapi::at;
using stapi::TokenHold;
using stapi::TracePoint;
using stapi::TraceWord;

namespace {

// What is particular to one query. A query has one of the two exchanges, and with it one of the two first lines.
struct Query {
    int32_t (*exchange)(int32_t socketDesc, char** buffer, int32_t* bufferLen, stapi::KeptBlock* kept);
    int32_t (*exchangeWithIds)(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids,
                               stapi::KeptBlock* kept);
    bool resetsOwner;
    TracePoint<> start;
    TracePoint<const char*> startWithIds;
    TracePoint<const void*> resultSet;
    TracePoint<const void*> buffer;
    TracePoint<const void*> missingBuffer;
    TracePoint<const void*, int32_t> removal;
};

constexpr Query kResourceGroupIds = {
    .exchange = stapi::commsResourceGroupsIds,
    .exchangeWithIds = nullptr,
    .resetsOwner = false,
    .start = {TraceWord::event, 1128, "API.getResourceGroupIds Getting Resource Group Ids\n"},
    .startWithIds = {},
    .resultSet = {TraceWord::debug, 1010, "API.getResourceGroupIds() result set pointer (%p)\n"},
    .buffer = {TraceWord::debug, 1011, "API.getResourceGroupIds() result set buffer (%p)\n"},
    .missingBuffer = {TraceWord::exception, 1012,
                      "API.getResourceGroupIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"},
    .removal = {TraceWord::event, 1013, "API.getResourceGroupIds Removing GatewayToken %p due to comms failure %d\n"},
};

constexpr Query kStatIds = {
    .exchange = stapi::commsStatIds,
    .exchangeWithIds = nullptr,
    .resetsOwner = true,
    .start = {TraceWord::event, 1130, "API.getStatIds Getting Stat Ids from the Gateway\n"},
    .startWithIds = {},
    .resultSet = {TraceWord::debug, 1021, "API.getStatIds() result set pointer (%p)\n"},
    .buffer = {},
    .missingBuffer = {TraceWord::exception, 1022,
                      "API.getStatIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"},
    .removal = {TraceWord::event, 1023, "API.getStatIds Removing GatewayToken %p due to comms failure %d\n"},
};

constexpr Query kStatIdsByStatGroupId = {
    .exchange = nullptr,
    .exchangeWithIds = stapi::commsStatIdsByStatGroupId,
    .resetsOwner = true,
    .start = {},
    .startWithIds = {TraceWord::event, 1129, "API.getStatIdsByStatGroupId Getting Stat Ids for Stat Group Ids %s\n"},
    .resultSet = {TraceWord::debug, 1016, "API.getStatIdsByStatGroupId() result set pointer (%p)\n"},
    .buffer = {},
    .missingBuffer = {TraceWord::exception, 1017,
                      "API.getStatIdsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"},
    .removal = {TraceWord::event, 1018,
                "API.getStatIdsByStatGroupId Removing GatewayToken %p due to comms failure %d\n"},
};

constexpr Query kStats = {
    .exchange = stapi::commsStats,
    .exchangeWithIds = nullptr,
    .resetsOwner = true,
    .start = {TraceWord::event, 1130, "API.getStats Getting all Stats from the Gateway Daemon\n"},
    .startWithIds = {},
    .resultSet = {TraceWord::debug, 1026, "API.getStats() result set pointer (%p)\n"},
    .buffer = {},
    .missingBuffer = {TraceWord::exception, 1027,
                      "API.getStats(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"},
    .removal = {TraceWord::event, 1028, "API.getStats Removing GatewayToken %p due to comms failure %d\n"},
};

constexpr Query kStatsByStatId = {
    .exchange = nullptr,
    .exchangeWithIds = stapi::commsStatsByStatId,
    .resetsOwner = true,
    .start = {},
    .startWithIds = {TraceWord::event, 1131, "API.getStatsByStatId Getting Stats for Stat Ids %s\n"},
    .resultSet = {TraceWord::debug, 1031, "API.getStatsByStatId() result set pointer (%p)\n"},
    .buffer = {},
    .missingBuffer = {TraceWord::exception, 1032,
                      "API.getStatsByStatId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"},
    .removal = {TraceWord::event, 1033, "API.getStatsByStatId Removing GatewayToken %p due to comms failure %d\n"},
};

constexpr Query kStatsByStatGroupId = {
    .exchange = nullptr,
    .exchangeWithIds = stapi::commsStatsByStatGroupId,
    .resetsOwner = true,
    .start = {},
    .startWithIds = {TraceWord::event, 1132, "API.getStatsByStatGroupId Getting Stats for Stat Group Ids %s\n"},
    .resultSet = {TraceWord::debug, 1036, "API.getStatsByStatGroupId() result set pointer (%p)\n"},
    .buffer = {},
    .missingBuffer = {TraceWord::exception, 1037,
                      "API.getStatsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"},
    .removal = {TraceWord::event, 1038, "API.getStatsByStatGroupId Removing GatewayToken %p due to comms failure %d\n"},
};

bool takesIds(const Query& query) {
    return query.exchangeWithIds != nullptr;
}

int32_t checkQueryArguments(const Query& query, const GatewayToken* gwTok, const char* ids,
                            ResultSetToken* const* resultSetPtr) {
    int32_t rc = STAPI_RC_OK;
    if (gwTok == nullptr) {
        rc = STAPI_RC_NULL_TOKEN;
    } else if (takesIds(query) && ids == nullptr) {
        rc = STAPI_RC_NULL_ID;
    } else if (resultSetPtr == nullptr) {
        rc = STAPI_RC_NULL_RESULT_SET_POINTER;
    }
    return rc;
}

int32_t copyIds(const Query& query, const char* ids, ResultSetToken* resultSet) {
    int32_t rc = STAPI_RC_OK;
    if (takesIds(query) && stapi::dup2ASCIIString(ids, &resultSet->asciiIdList) != 0) {
        rc = STAPI_RC_NO_MEMORY;
    }
    return rc;
}

// The query itself, which may move and enlarge the buffer. Whatever comes of it, the result set's walk begins anew.
int32_t exchangeAndStore(const Query& query, GatewayToken* gwTok, const char* ids) {
    ResultSetToken* const resultSet = gwTok->connRSToken;
    char* buffer = gwTok->resultSetBuf;
    int32_t bufferLen = gwTok->resultSetBufLen;
    TRACE_POINT(query.start);
    TRACE_POINT(query.startWithIds, ids);
    int32_t rc = STAPI_RC_OK;
    if (query.exchange != nullptr) {
        rc = query.exchange(gwTok->socket, &buffer, &bufferLen, &gwTok->replyBlock);
    } else if (query.exchangeWithIds != nullptr) {
        rc = query.exchangeWithIds(gwTok->socket, &buffer, &bufferLen, resultSet->asciiIdList, &gwTok->replyBlock);
    }
    TRACE_POINT(query.resultSet, at(resultSet));
    TRACE_POINT(query.buffer, at(buffer));
    stapi::storeQueryResult(gwTok, buffer, bufferLen, query.resetsOwner);
    return rc;
}

int32_t runHeldQuery(const Query& query, GatewayToken* gwTok, const char* ids) {
    int32_t rc = STAPI_RC_OK;
    if (gwTok->resultSetBuf == nullptr) {
        TRACE_POINT(query.missingBuffer, at(gwTok));
        rc = STAPI_RC_NO_RESULT_BUFFER;
    }
    if (rc == STAPI_RC_OK) {
        rc = copyIds(query, ids, gwTok->connRSToken);
    }
    if (rc == STAPI_RC_OK) {
        rc = exchangeAndStore(query, gwTok, ids);
    }
    return rc;
}

// Ends the use of the token; a connection that turned out to be dead is removed. The query's code, unless another
// thread has closed the connection meanwhile.
int32_t endQuery(const Query& query, TokenHold* hold, int32_t queryRc) {
    const bool isDead = queryRc == STAPI_RC_SOCKET_ERROR || queryRc == STAPI_RC_BAD_EYECATCHER;
    const auto announceRemoval = [&query, hold, queryRc] { TRACE_POINT(query.removal, at(hold->token()), queryRc); };
    const int32_t endRc = isDead ? hold->remove(announceRemoval) : hold->end();
    return endRc == STAPI_RC_OK ? queryRc : endRc;
}

int32_t runQuery(const Query& query, GatewayToken* gwTok, const char* ids, ResultSetToken** resultSetPtr) {
    TokenHold hold;
    int32_t rc = checkQueryArguments(query, gwTok, ids, resultSetPtr);
    if (rc == STAPI_RC_OK) {
        rc = hold.beginQuery(gwTok);
    }
    if (rc == STAPI_RC_OK) {
        ResultSetToken* const resultSet = gwTok->connRSToken;
        rc = endQuery(query, &hold, runHeldQuery(query, gwTok, ids));
        if (rc == STAPI_RC_OK) {
            *resultSetPtr = resultSet;
        }
    }
    return rc;
}

}  // namespace

int32_t getResourceGroupIds(GatewayToken* gwTok, ResultSetToken** resGrpIdRSPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1009, "API.getResourceGroupIds(gwTok=%p resGrpIdRSPtr=%p)\n", at(gwTok), at(resGrpIdRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(kResourceGroupIds, gwTok, nullptr, resGrpIdRSPtr);
    }
    TRACE_EXIT(1014, "API.getResourceGroupIds() rc=%d\n", rc);
    return rc;
}

int32_t getStatIds(GatewayToken* gwTok, ResultSetToken** rs) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1020, "API.getStatIds(gwTok=%p,rs=%p)\n", at(gwTok), at(rs));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(kStatIds, gwTok, nullptr, rs);
    }
    TRACE_EXIT(1024, "API.getStatIds(gwTok=%p,rs=%p) rc=%d\n", at(gwTok), at(rs), rc);
    return rc;
}

int32_t getStatIdsByStatGroupId(GatewayToken* gwTok, const char* providerIdsPtr, ResultSetToken** statIdRsPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1015, "API.getStatIdsByStatGroupId(gwTok=%p,providerIdsPtr=%p,statIdRsPtr=%p)\n", at(gwTok),
                at(providerIdsPtr), at(statIdRsPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(kStatIdsByStatGroupId, gwTok, providerIdsPtr, statIdRsPtr);
    }
    TRACE_EXIT(1019, "API.getStatIdsByStatGroupId(gwTok=%p,query=%s,rs=%p) rc=%d\n", at(gwTok), providerIdsPtr,
               at(statIdRsPtr), rc);
    return rc;
}

int32_t getStats(GatewayToken* gwTok, ResultSetToken** statRSPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1025, "API.getStats(gwTok=%p,statRSPtr=%p)\n", at(gwTok), at(statRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(kStats, gwTok, nullptr, statRSPtr);
    }
    TRACE_EXIT(1029, "API.getStats(gwTok=%p,rs=%p) rc=%d\n", at(gwTok), at(statRSPtr), rc);
    return rc;
}

int32_t getStatsByStatId(GatewayToken* gwTok, const char* statIdsPtr, ResultSetToken** statRSPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1030, "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p)\n", at(gwTok), at(statIdsPtr),
                at(statRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(kStatsByStatId, gwTok, statIdsPtr, statRSPtr);
    }
    TRACE_EXIT(1034, "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p) rc=%d\n", at(gwTok), at(statIdsPtr),
               at(statRSPtr), rc);
    return rc;
}

int32_t getStatsByStatGroupId(GatewayToken* gwTok, const char* providerIdPtr, ResultSetToken** statRSPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1035, "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p)\n", at(gwTok),
                at(providerIdPtr), at(statRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(kStatsByStatGroupId, gwTok, providerIdPtr, statRSPtr);
    }
    TRACE_EXIT(1039, "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p) rc=%d\n", at(gwTok),
               at(providerIdPtr), at(statRSPtr), rc);
    return rc;
}
