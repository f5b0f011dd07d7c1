// The walk over a result set. A step works on a copy of the token's position and of the caller's record, and commits
// both only when it succeeds. The end is found by the terminator; the counts in the buffer serve the trace, and tell
// where a query element's entries end.
#include <cstring>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "impl/stapi_zul_impl.h"
#include "resultset/result_set_reader.h"

namespace stapi {

namespace {

constexpr size_t kHeaderCountOffset = kEyecatcherLength;

// The position of a walk, as in the token.
struct Walk {
    ResultSetReader reader;
    uint32_t queryHeaderCount;
    uint32_t queryIndex;
    int32_t elementResultCount;
    int32_t elementResultIndex;
    const char* queryElementPtr;
    uint32_t queryElementLen;
    int32_t queryElementRC;
};

Walk loadWalk(const ResultSetToken* rsPtr) {
    return {readerAtCursor(rsPtr),     rsPtr->queryHeaderCount, rsPtr->queryIndex,      rsPtr->elementResultCount,
            rsPtr->elementResultIndex, rsPtr->queryElementPtr,  rsPtr->queryElementLen, rsPtr->queryElementRC};
}

void commitWalk(const Walk& walk, ResultSetToken* rsPtr) {
    storeDataCursor(rsPtr, readerCursor(walk.reader));
    rsPtr->queryHeaderCount = walk.queryHeaderCount;
    rsPtr->queryIndex = walk.queryIndex;
    rsPtr->elementResultCount = walk.elementResultCount;
    rsPtr->elementResultIndex = walk.elementResultIndex;
    rsPtr->queryElementPtr = walk.queryElementPtr;
    rsPtr->queryElementLen = walk.queryElementLen;
    rsPtr->queryElementRC = walk.queryElementRC;
}

const void* cursorOf(const Walk& walk) {
    return readerCursor(walk.reader);
}

// Puts the walk before the first query element; false when the buffer has no room for a header.
bool startWalk(const ResultSetToken* rsPtr, Walk* walk) {
    walk->reader = readerAtStart(rsPtr);
    const char* eyecatcher = nullptr;
    const bool there =
        readText(&walk->reader, kHeaderCountOffset, &eyecatcher) && readWord(&walk->reader, &walk->queryHeaderCount);
    walk->queryIndex = 1;
    walk->elementResultIndex = 0;
    return there;
}

// Whether the terminator stands at the position; false with *readable false when the buffer ends there.
bool isAtTerminator(const ResultSetReader& reader, bool* readable) {
    uint32_t isTerminator = 0;
    *readable = hasBytes(reader, sizeof kTerminator);
    if (*readable) {
        checkTerminator(readerCursor(reader), &isTerminator);
    }
    return isTerminator == 1;
}

// The terminator test of a first call is made where the count stands.
bool isEmptySet(const ResultSetToken* rsPtr, bool* readable) {
    ResultSetReader reader = readerAtStart(rsPtr);
    const char* eyecatcher = nullptr;
    *readable = readText(&reader, kHeaderCountOffset, &eyecatcher);
    return *readable && isAtTerminator(reader, readable);
}

bool readBlockHeader(Walk* walk) {
    uint32_t rc = 0;
    const bool there = readLengthAndText(&walk->reader, &walk->queryElementLen, &walk->queryElementPtr) &&
                       readWord(&walk->reader, &rc);
    walk->queryElementRC = static_cast<int32_t>(rc);
    return there;
}

bool readEntryCount(Walk* walk) {
    uint32_t count = 0;
    const bool there = readWord(&walk->reader, &count);
    walk->elementResultCount = static_cast<int32_t>(count);
    walk->elementResultIndex = 1;
    return there;
}

// Behind a query element that the gateway could not answer, or behind the last entry of one that it could.
void leaveBlock(Walk* walk) {
    walk->elementResultIndex = 0;
    ++walk->queryIndex;
}

// Counts the entry just read; true when it was the last of its block.
bool countEntry(Walk* walk) {
    ++walk->elementResultIndex;
    const bool isLast = walk->elementResultIndex > walk->elementResultCount;
    if (isLast) {
        leaveBlock(walk);
    }
    return isLast;
}

// A block without entries is read as if it had one: the word behind the count is taken for the length of an id. That
// may lead beyond the buffer, and then the next step is the end.
bool readIdEntry(Walk* walk, IdData* record) {
    ResultSetReader* const reader = &walk->reader;
    bool there = false;
    if (walk->elementResultCount == 0) {
        there = readWord(reader, &record->idLen);
        record->idPtr = readerCursor(*reader);
        const char* skipped = nullptr;
        if (there && !readText(reader, record->idLen, &skipped)) {
            reader->position = reader->size;
        }
    } else {
        there = readLengthAndText(reader, &record->idLen, &record->idPtr);
    }
    return there;
}

bool readStatEntry(Walk* walk, StatData* record) {
    return readLengthAndText(&walk->reader, &record->statIdLen, &record->statIdPtr) &&
           readLengthAndText(&walk->reader, &record->statValueLen, &record->statValuePtr);
}

template <typename Record>
void takeEyecatcher(const ResultSetToken* rsPtr, Record* record) {
    std::memcpy(record->eyecatcher, rsPtr->resultSetBuf, sizeof record->eyecatcher);
}

template <typename Record>
void takeQueryElement(const Walk& walk, Record* record) {
    record->queryElementPtr = walk.queryElementPtr;
    record->queryElementLen = walk.queryElementLen;
    record->queryElementRC = walk.queryElementRC;
}

template <typename Record>
int32_t commitStep(bool complete, const Walk& walk, const Record& filled, ResultSetToken* rsPtr, Record* record) {
    if (complete) {
        commitWalk(walk, rsPtr);
        *record = filled;
    }
    return complete ? STAPI_RC_OK : STAPI_RC_END_OF_DATA;
}

}  // namespace

int32_t getFirstIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr) {
    TRACE_ENTRY(1043, "stapi_zul_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p)\n", at(rsPtr), at(idDataPtr));
    Walk walk = loadWalk(rsPtr);
    IdData filled = *idDataPtr;
    bool complete = false;
    const bool endOfResults = isEmptySet(rsPtr, &complete);
    complete =
        complete && !endOfResults && startWalk(rsPtr, &walk) && walk.queryHeaderCount > 0 && readBlockHeader(&walk);
    if (complete) {
        takeEyecatcher(rsPtr, &filled);
        takeQueryElement(walk, &filled);
        TRACE_DEBUG(
            1045,
            "stapi_zul_impl.getFirstIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n",
            walk.queryIndex, walk.queryHeaderCount, at(rsPtr), cursorOf(walk), walk.queryElementLen,
            at(walk.queryElementPtr), walk.queryElementRC);
        if (walk.queryElementRC < 0) {
            TRACE_EVENT(1046,
                        "stapi_zul_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)\n",
                        at(rsPtr), at(idDataPtr), walk.queryElementRC);
            leaveBlock(&walk);
        } else {
            complete = readEntryCount(&walk) && readIdEntry(&walk, &filled);
        }
    }
    if (complete && walk.queryElementRC >= 0) {
        TRACE_DEBUG(
            1047,
            "stapi_zul_impl.getFirstIdInternal Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, idLen=%d\n",
            walk.queryIndex, walk.elementResultIndex, at(rsPtr), cursorOf(walk), filled.idLen);
        if (countEntry(&walk)) {
            TRACE_DEBUG(1048, "stapi_zul_impl.getFirstIdInternal End of subset queryIndex=%d. Resultset=%p\n",
                        walk.queryIndex, at(rsPtr));
        }
        TRACE_EVENT(1137, "stapi_zul_impl.getFirstIdInternal Successfully retrieved first Id from resultset %p\n",
                    at(rsPtr));
    }
    const int32_t rc = commitStep(complete, walk, filled, rsPtr, idDataPtr);
    TRACE_EXIT(1049, "stapi_zul_impl.getFirstIdInternal() endOfResults=%d zulStatRc=%d\n", endOfResults ? 1 : 0, rc);
    return rc;
}

int32_t getNextIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr) {
    TRACE_ENTRY(1050, "stapi_zul_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p)\n", at(rsPtr), at(idDataPtr));
    Walk walk = loadWalk(rsPtr);
    IdData filled = *idDataPtr;
    bool complete = true;
    if (walk.queryIndex == 0) {
        complete = startWalk(rsPtr, &walk);
        takeEyecatcher(rsPtr, &filled);
        TRACE_DEBUG(1052, "stapi_zul_impl.getNextIdInternal No getFirstId() called on Resultset=%p. Datacursor=%p\n",
                    at(rsPtr), cursorOf(walk));
    }
    bool readable = false;
    complete = complete && !isAtTerminator(walk.reader, &readable) && readable;
    const bool startsBlock = complete && walk.elementResultIndex == 0;
    if (startsBlock) {
        complete = readBlockHeader(&walk);
    }
    if (complete) {
        takeQueryElement(walk, &filled);
    }
    if (complete && startsBlock) {
        TRACE_DEBUG(
            1053,
            "stapi_zul_impl.getNextIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n",
            walk.queryIndex, walk.queryHeaderCount, at(rsPtr), cursorOf(walk), walk.queryElementLen,
            at(walk.queryElementPtr), walk.queryElementRC);
        if (walk.queryElementRC < 0) {
            TRACE_EVENT(1054,
                        "stapi_zul_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)\n",
                        at(rsPtr), at(idDataPtr), walk.queryElementRC);
            leaveBlock(&walk);
        } else {
            complete = readEntryCount(&walk);
        }
    }
    const bool hasEntry = complete && walk.queryElementRC >= 0;
    if (hasEntry) {
        complete = readIdEntry(&walk, &filled);
    }
    if (hasEntry && complete) {
        TRACE_DEBUG(
            1055,
            "stapi_zul_impl.getNextIdInternal Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, idLen=%d\n",
            walk.queryIndex, walk.elementResultIndex, at(rsPtr), cursorOf(walk), filled.idLen);
        if (countEntry(&walk)) {
            TRACE_DEBUG(1056, "stapi_zul_impl.getNextIdInternal End of subset queryIndex=%d. Resultset=%p\n",
                        walk.queryIndex, at(rsPtr));
        }
        TRACE_EVENT(1138, "stapi_zul_impl.getNextIdInternal Successfully retrieved the next Id from resultset %p\n",
                    at(rsPtr));
    }
    const int32_t rc = commitStep(complete, walk, filled, rsPtr, idDataPtr);
    TRACE_EXIT(1057, "stapi_zul_impl.getNextIdInternal() rc=%d\n", rc);
    return rc;
}

int32_t getFirstStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr) {
    TRACE_ENTRY(1058, "stapi_zul_impl.getFirstStatInternal(rsPtr=%p,statDataPtr=%p)\n", at(rsPtr), at(statDataPtr));
    Walk walk = loadWalk(rsPtr);
    StatData filled = *statDataPtr;
    bool complete = false;
    const bool endOfResults = isEmptySet(rsPtr, &complete);
    complete =
        complete && !endOfResults && startWalk(rsPtr, &walk) && walk.queryHeaderCount > 0 && readBlockHeader(&walk);
    if (complete) {
        takeEyecatcher(rsPtr, &filled);
        takeQueryElement(walk, &filled);
        TRACE_DEBUG(
            1060,
            "stapi_zul_impl.getFirstStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n",
            walk.queryIndex, walk.queryHeaderCount, at(rsPtr), cursorOf(walk), walk.queryElementLen,
            at(walk.queryElementPtr), walk.queryElementRC);
        TRACE_DEBUG(
            1061,
            "stapi_zul_impl.getFirstStatInternal Caching new query element details. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n",
            at(rsPtr), cursorOf(walk), walk.queryElementLen, at(walk.queryElementPtr), walk.queryElementRC);
        if (walk.queryElementRC < 0) {
            leaveBlock(&walk);
        } else {
            complete = readEntryCount(&walk) && readStatEntry(&walk, &filled);
        }
    }
    if (complete && walk.queryElementRC >= 0) {
        if (countEntry(&walk)) {
            TRACE_DEBUG(1062, "stapi_zul_impl.getFirstStatInternal End of subset queryIndex=%d. Resultset=%p\n",
                        walk.queryIndex, at(rsPtr));
        }
        TRACE_EVENT(1139, "stapi_zul_impl.getFirstStatInternal Successfully retrieved first stat from resultset %p\n",
                    at(rsPtr));
    }
    const int32_t rc = commitStep(complete, walk, filled, rsPtr, statDataPtr);
    TRACE_EXIT(1063, "stapi_zul_impl.getFirstStatInternal() last=%d rc=%d\n", endOfResults ? 1 : 0, rc);
    return rc;
}

int32_t getNextStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr) {
    TRACE_ENTRY(1064, "stapi_zul_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p)\n", at(rsPtr), at(statDataPtr));
    Walk walk = loadWalk(rsPtr);
    StatData filled = *statDataPtr;
    bool complete = true;
    if (walk.queryIndex == 0) {
        complete = startWalk(rsPtr, &walk);
        takeEyecatcher(rsPtr, &filled);
        TRACE_DEBUG(1066,
                    "stapi_zul_impl.getNextStatInternal No getFirstStat() called on Resultset=%p. Datacursor=%p\n",
                    at(rsPtr), cursorOf(walk));
    }
    bool readable = false;
    complete = complete && !isAtTerminator(walk.reader, &readable) && readable;
    const bool startsBlock = complete && walk.elementResultIndex == 0;
    if (startsBlock) {
        complete = readBlockHeader(&walk);
    }
    if (complete) {
        takeQueryElement(walk, &filled);
    }
    if (complete && startsBlock) {
        TRACE_DEBUG(
            1067,
            "stapi_zul_impl.getNextStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n",
            walk.queryIndex, walk.queryHeaderCount, at(rsPtr), cursorOf(walk), walk.queryElementLen,
            at(walk.queryElementPtr), walk.queryElementRC);
        if (walk.queryElementRC < 0) {
            TRACE_EVENT(
                1068, "stapi_zul_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p) Found negative queryElementRC(%d)\n",
                at(rsPtr), at(statDataPtr), walk.queryElementRC);
            leaveBlock(&walk);
        } else {
            complete = readEntryCount(&walk);
        }
    }
    const bool hasEntry = complete && walk.queryElementRC >= 0;
    if (hasEntry) {
        complete = readStatEntry(&walk, &filled);
    }
    if (hasEntry && complete) {
        TRACE_DEBUG(
            1069,
            "stapi_zul_impl.getNextStatInternal Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, statIdLen=%d\n",
            walk.queryIndex, walk.elementResultIndex, at(rsPtr), cursorOf(walk), filled.statIdLen);
        if (countEntry(&walk)) {
            TRACE_DEBUG(1070, "stapi_zul_impl.getNextStatInternal End of subset queryIndex=%d. Resultset=%p\n",
                        walk.queryIndex, at(rsPtr));
        }
        TRACE_EVENT(1140, "stapi_zul_impl.getNextStatInternal Successfully retrieved the next stat from resultset %p\n",
                    at(rsPtr));
    }
    const int32_t rc = commitStep(complete, walk, filled, rsPtr, statDataPtr);
    TRACE_EXIT(1071, "stapi_zul_impl.getNextStatInternal() rc=%d\n", rc);
    return rc;
}

}  // namespace stapi
