// The exported functions that act on a whole result set.
#include <cstring>

#include "api/result_set_checks.h"
#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "diag/stapi_zul_diag.h"
#include "impl/stapi_zul_impl.h"

using stapi::at;

namespace {

using stapi::ResultSetContent;

bool hasContent(const ResultSetToken* rsPtr) {
    const ResultSetContent content = stapi::resultSetContent(rsPtr);
    return content == ResultSetContent::ids || content == ResultSetContent::statistics;
}

// A query string being built: "id1:id2:...".
struct QueryString {
    char* text;         // an area of kQueryStringArea bytes, zero-filled
    size_t textLength;  // up to its first NUL
    int64_t length;     // counts every taken id in full, also one that holds a NUL
    int32_t goodIdCount;
};

void appendPart(QueryString* query, const char* part, size_t length) {
    std::memcpy(query->text + query->textLength, part, length);
    query->textLength += length;
}

// Takes an id if its query element was answered with 0 and there is room, one separator always counted.
void takeId(QueryString* query, int32_t queryElementRC, const char* id, uint32_t idLength) {
    constexpr char kSeparator = ':';
    if (queryElementRC == 0 && query->length + static_cast<int64_t>(idLength) + 1 < stapi::kQueryStringArea) {
        if (query->goodIdCount > 0) {
            appendPart(query, &kSeparator, sizeof kSeparator);
            ++query->length;
        }
        appendPart(query, id, stapi::boundedLength(id, idLength));
        query->length += idLength;
        ++query->goodIdCount;
    }
}

void takeAllIds(ResultSetToken* rsPtr, QueryString* query) {
    IdData data = {};
    int32_t stepRc = stapi::getFirstIdInternal(rsPtr, &data);
    while (stepRc == STAPI_RC_OK) {
        takeId(query, data.queryElementRC, data.idPtr, data.idLen);
        stepRc = stapi::getNextIdInternal(rsPtr, &data);
    }
}

void takeAllStatIds(ResultSetToken* rsPtr, QueryString* query) {
    StatData data = {};
    int32_t stepRc = stapi::getFirstStatInternal(rsPtr, &data);
    while (stepRc == STAPI_RC_OK) {
        takeId(query, data.queryElementRC, data.statIdPtr, data.statIdLen);
        stepRc = stapi::getNextStatInternal(rsPtr, &data);
    }
}

// Walks the result set and leaves the string in the token's area.
int32_t buildQueryString(ResultSetToken* rsPtr, char* scratch, char** idQueryStringPtr, int32_t* goodIdCount) {
    int32_t rc = STAPI_RC_OK;
    QueryString query = {scratch, 0, 0, 0};
    if (stapi::resultSetContent(rsPtr) == ResultSetContent::ids) {
        takeAllIds(rsPtr, &query);
    } else {
        takeAllStatIds(rsPtr, &query);
    }
    if (query.length > 0) {
        std::memcpy(rsPtr->verifiedQueryString, query.text, query.textLength + 1);
        *idQueryStringPtr = rsPtr->verifiedQueryString;
        TRACE_EVENT(1141, "API.getIdQuery Created query string %s from results in result set token %p\n",
                    rsPtr->verifiedQueryString, at(rsPtr));
    } else {
        rc = STAPI_RC_QUERY_STRING_FAILED;
    }
    *goodIdCount = query.goodIdCount;
    return rc;
}

// Fills a new copy from its source.
int32_t copyBuffer(const ResultSetToken* source, ResultSetToken* copy, ResultSetToken* const* tarRsPtr) {
    int32_t rc = STAPI_RC_OK;
    const size_t size = stapi::resultSetAllocation(source->resultSetBufLen);
    copy->resultSetBuf = static_cast<char*>(stapi::allocateMemory(size));
    TRACE_DEBUG(1076, "API.copyResultSet Called malloc for %d bytes. rc=%p\n", source->resultSetBufLen,
                at(copy->resultSetBuf));
    if (copy->resultSetBuf == nullptr) {
        TRACE_EXC(1077, "API.copyResultSet() Malloc failed for %d bytes\n", source->resultSetBufLen);
        rc = STAPI_RC_NO_MEMORY;
    } else {
        copy->resultSetBufLen = source->resultSetBufLen;
        stapi::storeDataCursor(copy, copy->resultSetBuf);
        copy->rsState = source->rsState;
        std::memcpy(copy->resultSetBuf, source->resultSetBuf, size);
        TRACE_EVENT(1135, "API.copyResultSet Copied resultsetbuffer from %p to %p\n", at(source), at(tarRsPtr));
    }
    return rc;
}

void releaseCopyBuffer(ResultSetToken* rsPtr) {
    if (rsPtr->resultSetBuf != nullptr) {
        TRACE_DEBUG(1085, "API.freeResultSet() free result set buffer storage (%p)\n", at(rsPtr->resultSetBuf));
        stapi::releaseMemory(rsPtr->resultSetBuf);
        rsPtr->resultSetBuf = nullptr;
    } else {
        TRACE_EXC(1086, "API.freeResultSet(rsPtr=%p) Result set buffer pointer was already null\n", at(rsPtr));
    }
}

int32_t checkFreeArguments(ResultSetToken* const* rsPtr) {
    int32_t rc = STAPI_RC_OK;
    if (rsPtr == nullptr) {
        TRACE_EXC(1081, "API.freeResultSet(&rsPtr=%p) Supplied result set pointer is NULL\n", at(rsPtr));
        rc = STAPI_RC_NULL_RESULT_SET_POINTER;
    } else if (*rsPtr == nullptr) {
        TRACE_EXC(1082, "API.freeResultSet(&rsPtr=%p) Supplied result set token is NULL\n", at(rsPtr));
        rc = STAPI_RC_NULL_RESULT_SET;
    } else if ((*rsPtr)->owner != stapi::OWNER_USER) {
        TRACE_EXC(1083, "API.freeResultSet(rsPtr=%p) Cannot free result sets with owner=%d\n", at(*rsPtr),
                  (*rsPtr)->owner);
        rc = STAPI_RC_NOT_USER_RESULT_SET;
    }
    return rc;
}

// The owner is the only proof that the token is a copy, so it is looked at once more right before the release.
int32_t releaseCopy(ResultSetToken** rsPtr) {
    int32_t rc = STAPI_RC_OK;
    if ((*rsPtr)->owner != stapi::OWNER_USER) {
        TRACE_EXC(1084, "API.freeResultSet(rsPtr=%p) Cannot free result sets with owner=%d\n", at(*rsPtr),
                  (*rsPtr)->owner);
        rc = STAPI_RC_NOT_USER_RESULT_SET;
    } else {
        const void* const released = *rsPtr;
        releaseCopyBuffer(*rsPtr);
        stapi::deleteResultSet(rsPtr);
        TRACE_EVENT(1136, "API.freeResultSetFreed result set %p\n", released);
    }
    return rc;
}

}  // namespace

int32_t getIdQuery(ResultSetToken* rsPtr, char** idQueryStringPtr) {
    int32_t rc = stapi::stapiInit();
    int32_t goodIdCount = 0;
    TRACE_ENTRY(1040, "API.getIdQuery(rsPtr=%p,idQueryStringPtr=%p)\n", at(rsPtr), at(idQueryStringPtr));
    stapi::MemoryHolder<char> scratch;
    if (rc == STAPI_RC_OK) {
        scratch.reset(static_cast<char*>(stapi::allocateMemory(stapi::kQueryStringArea)));
        if (scratch == nullptr) {
            rc = STAPI_RC_NO_MEMORY;
        } else if (rsPtr == nullptr) {
            rc = STAPI_RC_NULL_RESULT_SET;
        } else if (idQueryStringPtr == nullptr) {
            rc = STAPI_RC_NULL_POINTER;
        } else if (!hasContent(rsPtr)) {
            TRACE_EXC(1041, "API.getIdQuery Resultset does not contain recognised content\n");
            rc = STAPI_RC_WRONG_CONTENT;
        }
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = buildQueryString(rsPtr, scratch.get(), idQueryStringPtr, &goodIdCount);
    }
    TRACE_EXIT(1042, "API.getIdQuery(rsPtr=%p) goodIdCount=%d rc=%d\n", at(rsPtr), goodIdCount, rc);
    return rc;
}

int32_t copyResultSet(ResultSetToken* srcRsPtr, ResultSetToken** tarRsPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1072, "API.copyResultSet(srcRsPtr=%p,&tarRsPtr=%p)\n", at(srcRsPtr), at(tarRsPtr));
    if (rc == STAPI_RC_OK) {
        if (srcRsPtr == nullptr) {
            rc = STAPI_RC_NULL_RESULT_SET;
        } else if (tarRsPtr == nullptr) {
            rc = STAPI_RC_NULL_RESULT_SET_POINTER;
        } else if (stapi::resultSetContent(srcRsPtr) == ResultSetContent::noBuffer) {
            TRACE_EXC(1073, "API.copyResultSet(srcRs=%p) resultSetBuf is NULL - no data to copy\n", at(srcRsPtr));
            rc = STAPI_RC_NO_RESULT_BUFFER;
        } else if (!hasContent(srcRsPtr)) {
            TRACE_EXC(1074, "API.copyResultSet Resultset does not contain recognised content\n");
            rc = STAPI_RC_WRONG_CONTENT;
        }
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(srcRsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::createResultSet(tarRsPtr, stapi::kUserEyecatcher, stapi::OWNER_USER);
        if (rc != STAPI_RC_OK) {
            TRACE_EXC(1078, "API.copyResultSet() Invalid source resultset zulStatRc=d\n");
        } else {
            TRACE_EVENT(1075, "API.copyResultSet(srcRs=%p,&tarRsPtr=%p) Created result set token(%p)\n", at(srcRsPtr),
                        at(tarRsPtr), at(*tarRsPtr));
            rc = copyBuffer(srcRsPtr, *tarRsPtr, tarRsPtr);
        }
    }
    TRACE_EXIT(1079, "API.copyResultSet(srcRs=%p,tarRsPtr=%p) rc=%d\n", at(srcRsPtr), at(tarRsPtr), rc);
    return rc;
}

int32_t freeResultSet(ResultSetToken** rsPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1080, "API.freeResultSet(&rsPtr=%p)\n", at(rsPtr));
    if (rc == STAPI_RC_OK) {
        rc = checkFreeArguments(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = releaseCopy(rsPtr);
    }
    TRACE_EXIT(1087, "API.freeResultSet(&rsPtr=%p) rc=%d\n", at(rsPtr), rc);
    return rc;
}

int32_t dumpResultSet(ResultSetToken* rsPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1102, "API.dumpResultSet(rsPtr=%p)\n", at(rsPtr));
    if (rc == STAPI_RC_OK) {
        if (rsPtr == nullptr) {
            rc = STAPI_RC_NULL_RESULT_SET;
        } else if (stapi::resultSetContent(rsPtr) == ResultSetContent::noBuffer) {
            TRACE_EXC(1103, "API.dumpResultSet(rsPtr=%p) resultSetBuf is NULL - no data to dump\n", at(rsPtr));
            rc = STAPI_RC_NO_RESULT_BUFFER;
        } else if (!hasContent(rsPtr)) {
            TRACE_EXC(1104, "API.dumpResultSet Resultset does not contain recognised content\n");
            rc = STAPI_RC_WRONG_CONTENT;
        }
    }
    if (rc == STAPI_RC_OK) {
        rc = stapi::verifyResultSetOwner(rsPtr);
    }
    if (rc == STAPI_RC_OK) {
        stapi::dumpResultSetInternal(rsPtr);
    }
    TRACE_EXIT(1105, "API.dumpResultSet(rsPtr=%p) rc=%d\n", at(rsPtr), rc);
    return rc;
}
