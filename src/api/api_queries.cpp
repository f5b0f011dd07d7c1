// The six exported queries. All take the same way, runQuery; each has its own texts and its own exchange.
#include "api/zulstats64.h"
#include "comms/stapi_zul_statquery.h"
#include "diag/stapi_zul_diag.h"
#include "gateway/stapi_zul_gwytok.h"
#include "impl/stapi_zul_impl.h"

using stapi::at;

namespace {

// A connection's buffer while a query fills it; the query may move and enlarge it.
struct QueryBuffer {
    char* buffer;
    int32_t length;
};

// What is particular to one query.
struct Query {
    bool takesIds;
    bool resetsOwner;
    int32_t (*exchange)(int32_t socket, QueryBuffer* result, const char* ids);
    void (*traceMissingBuffer)(const GatewayToken* gwTok);
    void (*traceStart)(const char* ids);
    void (*traceEnd)(const ResultSetToken* resultSet, const char* buffer);
    void (*traceRemoval)(const GatewayToken* gwTok, int32_t rc);
};

int32_t checkQueryArguments(const Query& query, const GatewayToken* gwTok, const char* ids,
                            ResultSetToken* const* resultSetPtr) {
    int32_t rc = STAPI_RC_OK;
    if (gwTok == nullptr) {
        rc = STAPI_RC_NULL_TOKEN;
    } else if (query.takesIds && ids == nullptr) {
        rc = STAPI_RC_NULL_ID;
    } else if (resultSetPtr == nullptr) {
        rc = STAPI_RC_NULL_RESULT_SET_POINTER;
    }
    return rc;
}

int32_t copyIds(const Query& query, const char* ids, ResultSetToken* resultSet) {
    int32_t rc = STAPI_RC_OK;
    if (query.takesIds && stapi::dup2ASCIIString(ids, &resultSet->asciiIdList) != 0) {
        rc = STAPI_RC_NO_MEMORY;
    }
    return rc;
}

// The query itself. Whatever comes of it, the result set's walk begins anew.
int32_t exchangeAndStore(const Query& query, GatewayToken* gwTok, const char* ids) {
    ResultSetToken* const resultSet = gwTok->connRSToken;
    query.traceStart(ids);
    QueryBuffer result = {gwTok->resultSetBuf, gwTok->resultSetBufLen};
    const int32_t rc = query.exchange(gwTok->socket, &result, resultSet->asciiIdList);
    query.traceEnd(resultSet, result.buffer);
    stapi::storeQueryResult(gwTok, result.buffer, result.length, query.resetsOwner);
    return rc;
}

// With the token held as busy.
int32_t runHeldQuery(const Query& query, GatewayToken* gwTok, const char* ids) {
    int32_t rc = STAPI_RC_OK;
    if (gwTok->resultSetBuf == nullptr) {
        query.traceMissingBuffer(gwTok);
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

bool isConnectionDead(int32_t rc) {
    return rc == STAPI_RC_SOCKET_ERROR || rc == STAPI_RC_BAD_EYECATCHER;
}

int32_t runQuery(const Query& query, GatewayToken* gwTok, const char* ids, ResultSetToken** resultSetPtr) {
    int32_t rc = checkQueryArguments(query, gwTok, ids, resultSetPtr);
    if (rc == STAPI_RC_OK) {
        rc = stapi::beginGatewayQuery(gwTok);
    }
    if (rc == STAPI_RC_OK) {
        rc = runHeldQuery(query, gwTok, ids);
        ResultSetToken* const resultSet = gwTok->connRSToken;
        const int32_t useRc = stapi::endGatewayUse(gwTok);
        if (useRc != STAPI_RC_OK) {
            rc = useRc;
        } else if (rc == STAPI_RC_OK) {
            *resultSetPtr = resultSet;
        } else if (isConnectionDead(rc)) {
            query.traceRemoval(gwTok, rc);
            stapi::deleteGatewayToken(&gwTok, 1);
        }
    }
    return rc;
}

}  // namespace

int32_t getResourceGroupIds(GatewayToken* gwTok, ResultSetToken** resGrpIdRSPtr) {
    constexpr Query query = {
        false,
        false,
        [](int32_t socket, QueryBuffer* result, const char*) {
            return stapi::commsResourceGroupsIds(socket, &result->buffer, &result->length);
        },
        [](const GatewayToken* token) {
            TRACE_EXC(1012, "API.getResourceGroupIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n",
                      at(token));
        },
        [](const char*) { TRACE_EVENT(1128, "API.getResourceGroupIds Getting Resource Group Ids\n"); },
        [](const ResultSetToken* resultSet, const char* buffer) {
            TRACE_DEBUG(1010, "API.getResourceGroupIds() result set pointer (%p)\n", at(resultSet));
            TRACE_DEBUG(1011, "API.getResourceGroupIds() result set buffer (%p)\n", at(buffer));
        },
        [](const GatewayToken* token, int32_t failure) {
            TRACE_EVENT(1013, "API.getResourceGroupIds Removing GatewayToken %p due to comms failure %d\n", at(token),
                        failure);
        }};
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1009, "API.getResourceGroupIds(gwTok=%p resGrpIdRSPtr=%p)\n", at(gwTok), at(resGrpIdRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(query, gwTok, nullptr, resGrpIdRSPtr);
    }
    TRACE_EXIT(1014, "API.getResourceGroupIds() rc=%d\n", rc);
    return rc;
}

int32_t getStatIds(GatewayToken* gwTok, ResultSetToken** rs) {
    constexpr Query query = {
        false,
        true,
        [](int32_t socket, QueryBuffer* result, const char*) {
            return stapi::commsStatIds(socket, &result->buffer, &result->length);
        },
        [](const GatewayToken* token) {
            TRACE_EXC(1022, "API.getStatIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n", at(token));
        },
        [](const char*) { TRACE_EVENT(1130, "API.getStatIds Getting Stat Ids from the Gateway\n"); },
        [](const ResultSetToken* resultSet, const char*) {
            TRACE_DEBUG(1021, "API.getStatIds() result set pointer (%p)\n", at(resultSet));
        },
        [](const GatewayToken* token, int32_t failure) {
            TRACE_EVENT(1023, "API.getStatIds Removing GatewayToken %p due to comms failure %d\n", at(token), failure);
        }};
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1020, "API.getStatIds(gwTok=%p,rs=%p)\n", at(gwTok), at(rs));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(query, gwTok, nullptr, rs);
    }
    TRACE_EXIT(1024, "API.getStatIds(gwTok=%p,rs=%p) rc=%d\n", at(gwTok), at(rs), rc);
    return rc;
}

int32_t getStatIdsByStatGroupId(GatewayToken* gwTok, const char* providerIdsPtr, ResultSetToken** statIdRsPtr) {
    constexpr Query query = {
        true,
        true,
        [](int32_t socket, QueryBuffer* result, const char* ids) {
            return stapi::commsStatIdsByStatGroupId(socket, &result->buffer, &result->length, ids);
        },
        [](const GatewayToken* token) {
            TRACE_EXC(1017, "API.getStatIdsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n",
                      at(token));
        },
        [](const char* ids) {
            TRACE_EVENT(1129, "API.getStatIdsByStatGroupId Getting Stat Ids for Stat Group Ids %s\n", ids);
        },
        [](const ResultSetToken* resultSet, const char*) {
            TRACE_DEBUG(1016, "API.getStatIdsByStatGroupId() result set pointer (%p)\n", at(resultSet));
        },
        [](const GatewayToken* token, int32_t failure) {
            TRACE_EVENT(1018, "API.getStatIdsByStatGroupId Removing GatewayToken %p due to comms failure %d\n",
                        at(token), failure);
        }};
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1015, "API.getStatIdsByStatGroupId(gwTok=%p,providerIdsPtr=%p,statIdRsPtr=%p)\n", at(gwTok),
                at(providerIdsPtr), at(statIdRsPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(query, gwTok, providerIdsPtr, statIdRsPtr);
    }
    TRACE_EXIT(1019, "API.getStatIdsByStatGroupId(gwTok=%p,query=%s,rs=%p) rc=%d\n", at(gwTok), providerIdsPtr,
               at(statIdRsPtr), rc);
    return rc;
}

int32_t getStats(GatewayToken* gwTok, ResultSetToken** statRSPtr) {
    constexpr Query query = {
        false,
        true,
        [](int32_t socket, QueryBuffer* result, const char*) {
            return stapi::commsStats(socket, &result->buffer, &result->length);
        },
        [](const GatewayToken* token) {
            TRACE_EXC(1027, "API.getStats(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n", at(token));
        },
        [](const char*) { TRACE_EVENT(1130, "API.getStats Getting all Stats from the Gateway Daemon\n"); },
        [](const ResultSetToken* resultSet, const char*) {
            TRACE_DEBUG(1026, "API.getStats() result set pointer (%p)\n", at(resultSet));
        },
        [](const GatewayToken* token, int32_t failure) {
            TRACE_EVENT(1028, "API.getStats Removing GatewayToken %p due to comms failure %d\n", at(token), failure);
        }};
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1025, "API.getStats(gwTok=%p,statRSPtr=%p)\n", at(gwTok), at(statRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(query, gwTok, nullptr, statRSPtr);
    }
    TRACE_EXIT(1029, "API.getStats(gwTok=%p,rs=%p) rc=%d\n", at(gwTok), at(statRSPtr), rc);
    return rc;
}

int32_t getStatsByStatId(GatewayToken* gwTok, const char* statIdsPtr, ResultSetToken** statRSPtr) {
    constexpr Query query = {
        true,
        true,
        [](int32_t socket, QueryBuffer* result, const char* ids) {
            return stapi::commsStatsByStatId(socket, &result->buffer, &result->length, ids);
        },
        [](const GatewayToken* token) {
            TRACE_EXC(1032, "API.getStatsByStatId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n",
                      at(token));
        },
        [](const char* ids) { TRACE_EVENT(1131, "API.getStatsByStatId Getting Stats for Stat Ids %s\n", ids); },
        [](const ResultSetToken* resultSet, const char*) {
            TRACE_DEBUG(1031, "API.getStatsByStatId() result set pointer (%p)\n", at(resultSet));
        },
        [](const GatewayToken* token, int32_t failure) {
            TRACE_EVENT(1033, "API.getStatsByStatId Removing GatewayToken %p due to comms failure %d\n", at(token),
                        failure);
        }};
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1030, "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p)\n", at(gwTok), at(statIdsPtr),
                at(statRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(query, gwTok, statIdsPtr, statRSPtr);
    }
    TRACE_EXIT(1034, "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p) rc=%d\n", at(gwTok), at(statIdsPtr),
               at(statRSPtr), rc);
    return rc;
}

int32_t getStatsByStatGroupId(GatewayToken* gwTok, const char* providerIdPtr, ResultSetToken** statRSPtr) {
    constexpr Query query = {
        true,
        true,
        [](int32_t socket, QueryBuffer* result, const char* ids) {
            return stapi::commsStatsByStatGroupId(socket, &result->buffer, &result->length, ids);
        },
        [](const GatewayToken* token) {
            TRACE_EXC(1037, "API.getStatsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n",
                      at(token));
        },
        [](const char* ids) {
            TRACE_EVENT(1132, "API.getStatsByStatGroupId Getting Stats for Stat Group Ids %s\n", ids);
        },
        [](const ResultSetToken* resultSet, const char*) {
            TRACE_DEBUG(1036, "API.getStatsByStatGroupId() result set pointer (%p)\n", at(resultSet));
        },
        [](const GatewayToken* token, int32_t failure) {
            TRACE_EVENT(1038, "API.getStatsByStatGroupId Removing GatewayToken %p due to comms failure %d\n", at(token),
                        failure);
        }};
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1035, "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p)\n", at(gwTok),
                at(providerIdPtr), at(statRSPtr));
    if (rc == STAPI_RC_OK) {
        rc = runQuery(query, gwTok, providerIdPtr, statRSPtr);
    }
    TRACE_EXIT(1039, "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p) rc=%d\n", at(gwTok),
               at(providerIdPtr), at(statRSPtr), rc);
    return rc;
}
