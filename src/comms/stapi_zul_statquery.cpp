#include "comms/stapi_zul_statquery.h"

#include "api/zulstats64.h"
#include "comms/stapi_zul_socketcomms.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/stapi_zul_diag.h"

namespace stapi {

namespace {

// What the code of an exchange means for the connection.
int32_t mapExchangeCode(int32_t exchangeRc, const ReasonsBlock& reasons) {
    int32_t rc = STAPI_RC_OK;
    if (exchangeRc != STAPI_RC_OK) {
        rc = isConnectionGone(exchangeRc, reasons) ? STAPI_RC_SOCKET_ERROR : STAPI_RC_BAD_EYECATCHER;
    }
    return rc;
}

// A query without an id list, or with one; the caller has a buffer or gets -103.
int32_t query(int32_t socketDesc, const char* queryType, char** buffer, int32_t* bufferLen) {
    int32_t rc = STAPI_RC_NO_DATA;
    if (*buffer != nullptr) {
        ReasonsBlock reasons = {};
        const int32_t exchangeRc = statComms(socketDesc, queryType, buffer, bufferLen, &reasons);
        rc = mapExchangeCode(exchangeRc, reasons);
    }
    return rc;
}

int32_t queryWithIds(int32_t socketDesc, const char* queryType, char** buffer, int32_t* bufferLen, const char* ids) {
    int32_t rc = STAPI_RC_NO_DATA;
    if (*buffer != nullptr) {
        ReasonsBlock reasons = {};
        const int32_t exchangeRc = statCommsString(socketDesc, queryType, ids, buffer, bufferLen, &reasons);
        rc = mapExchangeCode(exchangeRc, reasons);
    }
    return rc;
}

HexDumpArea resultDump(const char* buffer, int32_t bufferLen) {
    return {buffer, 0, kTerminator, resultSetAllocation(bufferLen)};
}

}  // namespace

int32_t commsResourceGroupsIds(int32_t socketDesc, char** buffer, int32_t* bufferLen) {
    TRACE_ENTRY(2300, "stapi_zul_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n",
                socketDesc, at(*buffer), *bufferLen);
    const int32_t rc = query(socketDesc, kQueryResourceGroups, buffer, bufferLen);
    if (rc == STAPI_RC_OK) {
        TRACE_DATA(2312, resultDump(*buffer, *bufferLen),
                   "stapi_zul_statquery.commsResourceGroupsIds data=%p len=%d stopword=%8.8X\n", at(*buffer), 0,
                   kTerminator);
    }
    TRACE_EXIT(2301,
               "stapi_zul_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zulStatRc=%d\n",
               socketDesc, at(*buffer), *bufferLen, rc);
    return rc;
}

int32_t commsStatIds(int32_t socketDesc, char** buffer, int32_t* bufferLen) {
    TRACE_ENTRY(2304, "stapi_zul_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n", socketDesc,
                at(*buffer), *bufferLen);
    const int32_t rc = query(socketDesc, kQueryStatIds, buffer, bufferLen);
    if (rc == STAPI_RC_OK) {
        TRACE_DATA(2314, resultDump(*buffer, *bufferLen),
                   "stapi_zul_statquery.commsStatIds data=%p len=%d stopword=%8.8X\n", at(*buffer), 0, kTerminator);
    }
    TRACE_EXIT(2305, "stapi_zul_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zulStatRc=%d\n",
               socketDesc, at(*buffer), *bufferLen, rc);
    return rc;
}

int32_t commsStatIdsByStatGroupId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids) {
    TRACE_ENTRY(2302,
                "stapi_zul_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n",
                socketDesc, at(*buffer), *bufferLen, at(ids));
    const int32_t rc = queryWithIds(socketDesc, kQueryStatIds, buffer, bufferLen, ids);
    if (rc == STAPI_RC_OK) {
        TRACE_DATA(2313, resultDump(*buffer, *bufferLen),
                   "stapi_zul_statquery.commsStatIdsByStatGroupId data=%p len=%d stopword=%8.8X\n", at(*buffer), 0,
                   kTerminator);
    }
    TRACE_EXIT(
        2303,
        "stapi_zul_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zulStatRc=%d\n",
        socketDesc, at(*buffer), *bufferLen, at(ids), rc);
    return rc;
}

int32_t commsStats(int32_t socketDesc, char** buffer, int32_t* bufferLen) {
    TRACE_ENTRY(2310, "stapi_zul_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n", socketDesc,
                at(*buffer), *bufferLen);
    const int32_t rc = query(socketDesc, kQueryGetStats, buffer, bufferLen);
    if (rc == STAPI_RC_OK) {
        TRACE_DATA(2317, resultDump(*buffer, *bufferLen),
                   "stapi_zul_statquery.commsStats data=%p len=%d stopword=%8.8X\n", at(*buffer), 0, kTerminator);
    }
    TRACE_EXIT(2311, "stapi_zul_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d) zulStatRc=%d\n",
               socketDesc, at(*buffer), *bufferLen, rc);
    return rc;
}

int32_t commsStatsByStatId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids) {
    TRACE_ENTRY(2306, "stapi_zul_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n",
                socketDesc, at(*buffer), *bufferLen, at(ids));
    const int32_t rc = queryWithIds(socketDesc, kQueryGetStats, buffer, bufferLen, ids);
    if (rc == STAPI_RC_OK) {
        TRACE_DATA(2315, resultDump(*buffer, *bufferLen),
                   "stapi_zul_statquery.commsStatsByStatId data=%p len=%d stopword=%8.8X\n", at(*buffer), 0,
                   kTerminator);
    }
    TRACE_EXIT(
        2307, "stapi_zul_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zulStatRc=%d\n",
        socketDesc, at(*buffer), *bufferLen, at(ids), rc);
    return rc;
}

int32_t commsStatsByStatGroupId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids) {
    TRACE_ENTRY(2308, "stapi_zul_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n",
                socketDesc, at(*buffer), *bufferLen, at(ids));
    const int32_t rc = queryWithIds(socketDesc, kQueryGetStats, buffer, bufferLen, ids);
    if (rc == STAPI_RC_OK) {
        TRACE_DATA(2316, resultDump(*buffer, *bufferLen),
                   "stapi_zul_statquery.commsStatsByStatGroupId data=%p len=%d stopword=%8.8X\n", at(*buffer), 0,
                   kTerminator);
    }
    TRACE_EXIT(
        2309,
        "stapi_zul_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zulStatRc=%d\n",
        socketDesc, at(*buffer), *bufferLen, at(ids), rc);
    return rc;
}

}  // namespace stapi
