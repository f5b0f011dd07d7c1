// The exported functions that walk a result set.
#include "api/result_set_checks.h"
#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "impl/stapi_zul_impl.h"

using stapi::at;

namespace {

using stapi::ResultSetContent;

int32_t checkWalkArguments(const ResultSetToken* rsPtr, const void* record, int32_t nullRecordRc) {
    int32_t rc = STAPI_RC_OK;
    if (rsPtr == nullptr) {
        rc = STAPI_RC_NULL_RESULT_SET;
    } else if (record == nullptr) {
        rc = nullRecordRc;
    }
    return rc;
}

}  // namespace

int32_t getFirstId(ResultSetToken* rsPtr, IdData* idDataPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1150, "API.getFirstId(rsPtr=%p,idDataPtr=%p)\n", at(rsPtr), at(idDataPtr));
    if (rc == STAPI_RC_OK) {
        rc = checkWalkArguments(rsPtr, idDataPtr, STAPI_RC_NULL_ID_DATA);
    }
    if (rc == STAPI_RC_OK && stapi::resultSetContent(rsPtr) != ResultSetContent::ids) {
        TRACE_EXC(1151, "API.getFirstId Resultset does not contain id data\n");
        rc = STAPI_RC_WRONG_CONTENT;
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::getFirstIdInternal(rsPtr, idDataPtr);
    }
    TRACE_EXIT(1152, "API.getFirstId() zulStatRc=%d\n", rc);
    return rc;
}

int32_t getNextId(ResultSetToken* rsPtr, IdData* idDataPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1153, "API.getNextId(rsPtr=%p,idDataPtr=%p)\n", at(rsPtr), at(idDataPtr));
    if (rc == STAPI_RC_OK) {
        rc = checkWalkArguments(rsPtr, idDataPtr, STAPI_RC_NULL_ID_DATA);
    }
    if (rc == STAPI_RC_OK && stapi::resultSetContent(rsPtr) != ResultSetContent::ids) {
        TRACE_EXC(1154, "API.getNextId Resultset does not contain id data\n");
        rc = STAPI_RC_WRONG_CONTENT;
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::getNextIdInternal(rsPtr, idDataPtr);
    }
    TRACE_EXIT(1155, "API.getNextId() rc=%d\n", rc);
    return rc;
}

int32_t getFirstStat(ResultSetToken* rsPtr, StatData* statDataPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1156, "API.getFirstStat(rsPtr=%p,statDataPtr=%p)\n", at(rsPtr), at(statDataPtr));
    if (rc == STAPI_RC_OK) {
        rc = checkWalkArguments(rsPtr, statDataPtr, STAPI_RC_NULL_STAT_DATA);
    }
    if (rc == STAPI_RC_OK && stapi::resultSetContent(rsPtr) != ResultSetContent::statistics) {
        TRACE_EXC(1157, "API.getFirstStat Resultset does not contain statistics\n");
        rc = STAPI_RC_WRONG_CONTENT;
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::getFirstStatInternal(rsPtr, statDataPtr);
    }
    TRACE_EXIT(1158, "API.getFirstStat() rc=%d\n", rc);
    return rc;
}

int32_t getNextStat(ResultSetToken* rsPtr, StatData* statDataPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1159, "API.getNextStat(rsPtr=%p,statDataPtr=%p)\n", at(rsPtr), at(statDataPtr));
    if (rc == STAPI_RC_OK) {
        rc = checkWalkArguments(rsPtr, statDataPtr, STAPI_RC_NULL_STAT_DATA);
    }
    if (rc == STAPI_RC_OK && stapi::resultSetContent(rsPtr) != ResultSetContent::statistics) {
        TRACE_EXC(1160, "API.getNextStat Resultset does not contain statistics\n");
        rc = STAPI_RC_WRONG_CONTENT;
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::getNextStatInternal(rsPtr, statDataPtr);
    }
    TRACE_EXIT(1161, "API.getNextStat() rc=%d\n", rc);
    return rc;
}
