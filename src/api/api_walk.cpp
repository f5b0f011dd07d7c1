// The exported functions that walk a result set: one frame, each function with its texts and its step.
#include "api/result_set_checks.h"
#include "api/zulstats64.h"
#include "diag/trace_point.h"
#include "impl/plain_step.h"
#include "impl/stapi_zul_impl.h"

using stapi::at;
using stapi::ResultSetContent;
using stapi::TracePoint;
using stapi::TraceWord;

namespace {

// What is particular to one of the functions.
template <typename Record>
struct WalkFunction {
    TracePoint<const void*, const void*> entry;
    TracePoint<> wrongContent;
    TracePoint<int32_t> exit;
    ResultSetContent content;
    int32_t nullRecordRc;
    int32_t (*step)(ResultSetToken* rsPtr, Record* record);
};

constexpr WalkFunction<IdData> kGetFirstId = {
    .entry = {TraceWord::entry, 1150, "API.getFirstId(rsPtr=%p,idDataPtr=%p)\n"},
    .wrongContent = {TraceWord::exception, 1151, "API.getFirstId Resultset does not contain id data\n"},
    .exit = {TraceWord::exit, 1152, "API.getFirstId() zulStatRc=%d\n"},
    .content = ResultSetContent::ids,
    .nullRecordRc = STAPI_RC_NULL_ID_DATA,
    .step = stapi::getFirstIdInternal,
};

constexpr WalkFunction<IdData> kGetNextId = {
    .entry = {TraceWord::entry, 1153, "API.getNextId(rsPtr=%p,idDataPtr=%p)\n"},
    .wrongContent = {TraceWord::exception, 1154, "API.getNextId Resultset does not contain id data\n"},
    .exit = {TraceWord::exit, 1155, "API.getNextId() rc=%d\n"},
    .content = ResultSetContent::ids,
    .nullRecordRc = STAPI_RC_NULL_ID_DATA,
    .step = stapi::getNextIdInternal,
};

constexpr WalkFunction<StatData> kGetFirstStat = {
    .entry = {TraceWord::entry, 1156, "API.getFirstStat(rsPtr=%p,statDataPtr=%p)\n"},
    .wrongContent = {TraceWord::exception, 1157, "API.getFirstStat Resultset does not contain statistics\n"},
    .exit = {TraceWord::exit, 1158, "API.getFirstStat() rc=%d\n"},
    .content = ResultSetContent::statistics,
    .nullRecordRc = STAPI_RC_NULL_STAT_DATA,
    .step = stapi::getFirstStatInternal,
};

constexpr WalkFunction<StatData> kGetNextStat = {
    .entry = {TraceWord::entry, 1159, "API.getNextStat(rsPtr=%p,statDataPtr=%p)\n"},
    .wrongContent = {TraceWord::exception, 1160, "API.getNextStat Resultset does not contain statistics\n"},
    .exit = {TraceWord::exit, 1161, "API.getNextStat() rc=%d\n"},
    .content = ResultSetContent::statistics,
    .nullRecordRc = STAPI_RC_NULL_STAT_DATA,
    .step = stapi::getNextStatInternal,
};

template <typename Record>
int32_t checkWalkArguments(const WalkFunction<Record>& function, const ResultSetToken* rsPtr, const Record* record) {
    int32_t rc = STAPI_RC_OK;
    if (rsPtr == nullptr) {
        rc = STAPI_RC_NULL_RESULT_SET;
    } else if (record == nullptr) {
        rc = function.nullRecordRc;
    } else if (stapi::resultSetContent(rsPtr) != function.content) {
        TRACE_POINT(function.wrongContent);
        rc = STAPI_RC_WRONG_CONTENT;
    }
    return rc;
}

// Kept out of the way of the plain steps.
template <const auto& function, typename Record>
[[gnu::noinline]] int32_t walk(ResultSetToken* rsPtr, Record* record) {
    int32_t rc = stapi::stapiInit();
    TRACE_POINT(function.entry, at(rsPtr), at(record));
    if (rc == STAPI_RC_OK) {
        rc = checkWalkArguments(function, rsPtr, record);
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = function.step(rsPtr, record);
    }
    TRACE_POINT(function.exit, rc);
    return rc;
}

}  // namespace

int32_t getFirstId(ResultSetToken* rsPtr, IdData* idDataPtr) {
    return stapi::takePlainFirstStep<ResultSetContent::ids>(rsPtr, idDataPtr) ? STAPI_RC_OK
                                                                              : walk<kGetFirstId>(rsPtr, idDataPtr);
}

int32_t getNextId(ResultSetToken* rsPtr, IdData* idDataPtr) {
    return stapi::takePlainNextStep<ResultSetContent::ids>(rsPtr, idDataPtr) ? STAPI_RC_OK
                                                                             : walk<kGetNextId>(rsPtr, idDataPtr);
}

int32_t getFirstStat(ResultSetToken* rsPtr, StatData* statDataPtr) {
    return stapi::takePlainFirstStep<ResultSetContent::statistics>(rsPtr, statDataPtr)
               ? STAPI_RC_OK
               : walk<kGetFirstStat>(rsPtr, statDataPtr);
}

int32_t getNextStat(ResultSetToken* rsPtr, StatData* statDataPtr) {
    return stapi::takePlainNextStep<ResultSetContent::statistics>(rsPtr, statDataPtr)
               ? STAPI_RC_OK
               : walk<kGetNextStat>(rsPtr, statDataPtr);
}
