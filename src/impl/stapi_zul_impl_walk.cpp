// The walk over a result set. A step works on a copy of the token's position and of the caller's record, and commits
// both only when it succeeds. The end is found by the terminator; the counts in the buffer serve the trace, and tell
// where a query element's entries end.
//
// At the levels at which nothing of a step is traced, most steps are plain ones: they read in place and write what they
// found.
//
// All four walkers take the same step; each is an instance of the templates below with the trace points of its own.
#include <cstring>

#include "api/zulstats64.h"
#include "diag/trace_point.h"
#include "impl/plain_step.h"
#include "impl/stapi_zul_impl.h"
#include "resultset/result_set_reader.h"

namespace stapi {

namespace {

// What one of the walkers writes to the trace between its entry and its exit. A point that it lacks is silent.
struct WalkPoints {
    TracePoint<const void*, const void*> notStarted;
    TracePoint<uint32_t, uint32_t, const void*, const void*, uint32_t, const void*, int32_t> queryElement;
    TracePoint<const void*, const void*, uint32_t, const void*, int32_t> cachedElement;
    TracePoint<const void*, const void*, int32_t> failedElement;
    TracePoint<uint32_t, int32_t, const void*, const void*, uint32_t> entry;
    TracePoint<uint32_t, const void*> lastEntry;
    TracePoint<const void*> retrieved;
};

constexpr WalkPoints kFirstIdPoints = {
    .notStarted = {},
    .queryElement =
        {TraceWord::debug, 1045,
         "stapi_zul_impl.getFirstIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"},
    .cachedElement = {},
    .failedElement = {TraceWord::event, 1046,
                      "stapi_zul_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)\n"},
    .entry =
        {TraceWord::debug, 1047,
         "stapi_zul_impl.getFirstIdInternal Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, idLen=%d\n"},
    .lastEntry = {TraceWord::debug, 1048,
                  "stapi_zul_impl.getFirstIdInternal End of subset queryIndex=%d. Resultset=%p\n"},
    .retrieved = {TraceWord::event, 1137,
                  "stapi_zul_impl.getFirstIdInternal Successfully retrieved first Id from resultset %p\n"},
};

constexpr WalkPoints kNextIdPoints = {
    .notStarted = {TraceWord::debug, 1052,
                   "stapi_zul_impl.getNextIdInternal No getFirstId() called on Resultset=%p. Datacursor=%p\n"},
    .queryElement =
        {TraceWord::debug, 1053,
         "stapi_zul_impl.getNextIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"},
    .cachedElement = {},
    .failedElement = {TraceWord::event, 1054,
                      "stapi_zul_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)\n"},
    .entry =
        {TraceWord::debug, 1055,
         "stapi_zul_impl.getNextIdInternal Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, idLen=%d\n"},
    .lastEntry = {TraceWord::debug, 1056,
                  "stapi_zul_impl.getNextIdInternal End of subset queryIndex=%d. Resultset=%p\n"},
    .retrieved = {TraceWord::event, 1138,
                  "stapi_zul_impl.getNextIdInternal Successfully retrieved the next Id from resultset %p\n"},
};

// A first call on statistics passes a failed query element over in silence, and does not trace the single entry.
constexpr WalkPoints kFirstStatPoints = {
    .notStarted = {},
    .queryElement =
        {TraceWord::debug, 1060,
         "stapi_zul_impl.getFirstStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"},
    .cachedElement =
        {TraceWord::debug, 1061,
         "stapi_zul_impl.getFirstStatInternal Caching new query element details. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"},
    .failedElement = {},
    .entry = {},
    .lastEntry = {TraceWord::debug, 1062,
                  "stapi_zul_impl.getFirstStatInternal End of subset queryIndex=%d. Resultset=%p\n"},
    .retrieved = {TraceWord::event, 1139,
                  "stapi_zul_impl.getFirstStatInternal Successfully retrieved first stat from resultset %p\n"},
};

constexpr WalkPoints kNextStatPoints = {
    .notStarted = {TraceWord::debug, 1066,
                   "stapi_zul_impl.getNextStatInternal No getFirstStat() called on Resultset=%p. Datacursor=%p\n"},
    .queryElement =
        {TraceWord::debug, 1067,
         "stapi_zul_impl.getNextStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"},
    .cachedElement = {},
    .failedElement =
        {TraceWord::event, 1068,
         "stapi_zul_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p) Found negative queryElementRC(%d)\n"},
    .entry =
        {TraceWord::debug, 1069,
         "stapi_zul_impl.getNextStatInternal Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, statIdLen=%d\n"},
    .lastEntry = {TraceWord::debug, 1070,
                  "stapi_zul_impl.getNextStatInternal End of subset queryIndex=%d. Resultset=%p\n"},
    .retrieved = {TraceWord::event, 1140,
                  "stapi_zul_impl.getNextStatInternal Successfully retrieved the next stat from resultset %p\n"},
};

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

// What stands at a position, or what has become of a step from it.
enum class StepOutcome : int32_t {
    entry,        // there is one, or it has been taken
    atEnd,        // the terminator
    leavesBuffer  // the step would need bytes beyond the buffer
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

StepOutcome whatStandsAt(const ResultSetReader& reader) {
    if (!hasBytes(reader, sizeof kTerminator)) {
        return StepOutcome::leavesBuffer;
    }
    uint32_t isTerminator = 0;
    checkTerminator(readerCursor(reader), &isTerminator);
    return isTerminator == 1 ? StepOutcome::atEnd : StepOutcome::entry;
}

// Puts the walk where the number of query elements stands.
bool moveToElementCount(const ResultSetToken* rsPtr, Walk* walk) {
    walk->reader = readerAtStart(rsPtr);
    const char* eyecatcher = nullptr;
    return readText(&walk->reader, kEyecatcherLength, &eyecatcher);
}

// Begins a walk before the first query element.
bool beginWalk(Walk* walk) {
    walk->queryIndex = 1;
    walk->elementResultIndex = 0;
    return readWord(&walk->reader, &walk->queryHeaderCount);
}

bool readElementHeader(Walk* walk) {
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
void leaveElement(Walk* walk) {
    walk->elementResultIndex = 0;
    ++walk->queryIndex;
}

// Counts the entry just read; true when it was the last of its query element.
bool countEntry(Walk* walk) {
    ++walk->elementResultIndex;
    const bool isLast = walk->elementResultIndex > walk->elementResultCount;
    if (isLast) {
        leaveElement(walk);
    }
    return isLast;
}

// A query element without entries is read as if it had one: the word behind the count is taken for the length of an id.
// That may lead beyond the buffer, and then the next step is the end.
bool readEntry(Walk* walk, IdData* record) {
    ResultSetReader* const reader = &walk->reader;
    if (walk->elementResultCount != 0) {
        return readLengthAndText(reader, &record->idLen, &record->idPtr);
    }
    if (!readWord(reader, &record->idLen)) {
        return false;
    }
    record->idPtr = readerCursor(*reader);
    skipTextOrAll(reader, record->idLen);
    return true;
}

bool readEntry(Walk* walk, StatData* record) {
    return readLengthAndText(&walk->reader, &record->statIdLen, &record->statIdPtr) &&
           readLengthAndText(&walk->reader, &record->statValueLen, &record->statValuePtr);
}

uint32_t idLength(const IdData& record) {
    return record.idLen;
}

uint32_t idLength(const StatData& record) {
    return record.statIdLen;
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

// Reads the header of a query element and, unless the gateway could not answer it, the number of its entries.
template <const WalkPoints& points>
bool enterElement(const ResultSetToken* rsPtr, const void* record, Walk* walk) {
    if (!readElementHeader(walk)) {
        return false;
    }
    TRACE_POINT(points.queryElement, walk->queryIndex, walk->queryHeaderCount, at(rsPtr), cursorOf(*walk),
                walk->queryElementLen, at(walk->queryElementPtr), walk->queryElementRC);
    TRACE_POINT(points.cachedElement, at(rsPtr), cursorOf(*walk), walk->queryElementLen, at(walk->queryElementPtr),
                walk->queryElementRC);
    if (walk->queryElementRC < 0) {
        TRACE_POINT(points.failedElement, at(rsPtr), at(record), walk->queryElementRC);
        leaveElement(walk);
        return true;
    }
    return readEntryCount(walk);
}

template <const WalkPoints& points, typename Record>
bool takeEntry(const ResultSetToken* rsPtr, Walk* walk, Record* filled) {
    if (!readEntry(walk, filled)) {
        return false;
    }
    TRACE_POINT(points.entry, walk->queryIndex, walk->elementResultIndex, at(rsPtr), cursorOf(*walk),
                idLength(*filled));
    if (countEntry(walk)) {
        TRACE_POINT(points.lastEntry, walk->queryIndex, at(rsPtr));
    }
    TRACE_POINT(points.retrieved, at(rsPtr));
    return true;
}

// From the walk's position: the header of a query element, where one stands, and an entry, if the element has any.
// What the step brings is put into filled; record is the caller's, for the trace.
template <const WalkPoints& points, typename Record>
bool advance(const ResultSetToken* rsPtr, const Record* record, Walk* walk, Record* filled) {
    if (walk->elementResultIndex == 0 && !enterElement<points>(rsPtr, record, walk)) {
        return false;
    }
    takeQueryElement(*walk, filled);
    return walk->queryElementRC < 0 || takeEntry<points>(rsPtr, walk, filled);
}

// The end test of a first call is made where the number of query elements stands.
template <const WalkPoints& points, typename Record>
StepOutcome takeFirstStep(ResultSetToken* rsPtr, Record* record) {
    Walk walk = loadWalk(rsPtr);
    Record filled = *record;
    if (!moveToElementCount(rsPtr, &walk)) {
        return StepOutcome::leavesBuffer;
    }
    const StepOutcome outcome = whatStandsAt(walk.reader);
    if (outcome != StepOutcome::entry) {
        return outcome;
    }
    takeEyecatcher(rsPtr, &filled);
    if (!beginWalk(&walk) || walk.queryHeaderCount == 0 || !advance<points>(rsPtr, record, &walk, &filled)) {
        return StepOutcome::leavesBuffer;
    }
    commitWalk(walk, rsPtr);
    *record = filled;
    return StepOutcome::entry;
}

// A next call on a set whose walk has not begun begins it; its end test is made behind the number of query elements.
template <const WalkPoints& points, typename Record>
StepOutcome takeNextStep(ResultSetToken* rsPtr, Record* record) {
    Walk walk = loadWalk(rsPtr);
    Record filled = *record;
    if (walk.queryIndex == 0) {
        if (!moveToElementCount(rsPtr, &walk) || !beginWalk(&walk)) {
            return StepOutcome::leavesBuffer;
        }
        takeEyecatcher(rsPtr, &filled);
        TRACE_POINT(points.notStarted, at(rsPtr), cursorOf(walk));
    }
    const StepOutcome outcome = whatStandsAt(walk.reader);
    if (outcome != StepOutcome::entry) {
        return outcome;
    }
    if (!advance<points>(rsPtr, record, &walk, &filled)) {
        return StepOutcome::leavesBuffer;
    }
    commitWalk(walk, rsPtr);
    *record = filled;
    return StepOutcome::entry;
}

// A query element with entries, as its header says.
struct PlainElement {
    const char* text;
    uint32_t length;
    int32_t rc;
    int32_t entries;
};

// Reads the header of a query element; false when that is not there, or is none of an element with entries.
bool readPlainElement(ResultSetReader* reader, PlainElement* element) {
    uint32_t rc = 0;
    uint32_t entries = 0;
    const bool isThere = readWord(reader, &element->length) && element->length != kTerminator &&
                         readText(reader, element->length, &element->text) && readWord(reader, &rc) &&
                         readWord(reader, &entries);
    element->rc = static_cast<int32_t>(rc);
    element->entries = static_cast<int32_t>(entries);
    return isThere && element->rc >= 0 && element->entries != 0;
}

// Steps to the first entry of the query element at which the reader stands.
template <typename Record>
bool stepIntoPlainElement(ResultSetReader* reader, ResultSetToken* rsPtr, Record* record) {
    PlainElement element = {};
    Record found = {};
    const bool isPlain = readPlainElement(reader, &element) && readPlainEntry(reader, &found);
    if (isPlain) {
        rsPtr->queryElementPtr = element.text;
        rsPtr->queryElementLen = element.length;
        rsPtr->queryElementRC = element.rc;
        rsPtr->elementResultCount = element.entries;
        commitPlainEntry(*reader, 1, element.entries, rsPtr);
        fillElement(*rsPtr, record);
        fillEntry(found, record);
    }
    return isPlain;
}

template <typename Record>
bool stepIntoNextElement(ResultSetToken* rsPtr, Record* record) {
    ResultSetReader reader = readerAtCursor(rsPtr);
    return stepIntoPlainElement(&reader, rsPtr, record);
}

// A walk that begins counts its query elements from 1, so the step is taken from there, or not at all.
template <typename Record>
bool stepIntoFirstElement(ResultSetToken* rsPtr, Record* record) {
    ResultSetReader reader = readerAtStart(rsPtr);
    const char* eyecatcher = nullptr;
    uint32_t elements = 0;
    const uint32_t indexBefore = rsPtr->queryIndex;
    bool isTaken = readText(&reader, kEyecatcherLength, &eyecatcher) && readWord(&reader, &elements) &&
                   elements != kTerminator && elements != 0;
    if (isTaken) {
        rsPtr->queryIndex = 1;
        isTaken = stepIntoPlainElement(&reader, rsPtr, record);
        if (isTaken) {
            rsPtr->queryHeaderCount = elements;
            takeEyecatcher(rsPtr, record);
        } else {
            rsPtr->queryIndex = indexBefore;
        }
    }
    return isTaken;
}

int32_t codeOf(StepOutcome outcome) {
    return outcome == StepOutcome::entry ? STAPI_RC_OK : STAPI_RC_END_OF_DATA;
}

int32_t isAtEnd(StepOutcome outcome) {
    return outcome == StepOutcome::atEnd ? 1 : 0;
}

}  // namespace

bool stepIntoElement(ResultSetToken* rsPtr, IdData* record) {
    return stepIntoNextElement(rsPtr, record);
}

bool stepIntoElement(ResultSetToken* rsPtr, StatData* record) {
    return stepIntoNextElement(rsPtr, record);
}

bool stepIntoSet(ResultSetToken* rsPtr, IdData* record) {
    return stepIntoFirstElement(rsPtr, record);
}

bool stepIntoSet(ResultSetToken* rsPtr, StatData* record) {
    return stepIntoFirstElement(rsPtr, record);
}

int32_t getFirstIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr) {
    TRACE_ENTRY(1043, "stapi_zul_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p)\n", at(rsPtr), at(idDataPtr));
    const StepOutcome outcome = takeFirstStep<kFirstIdPoints>(rsPtr, idDataPtr);
    const int32_t rc = codeOf(outcome);
    TRACE_EXIT(1049, "stapi_zul_impl.getFirstIdInternal() endOfResults=%d zulStatRc=%d\n", isAtEnd(outcome), rc);
    return rc;
}

int32_t getNextIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr) {
    TRACE_ENTRY(1050, "stapi_zul_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p)\n", at(rsPtr), at(idDataPtr));
    const int32_t rc = codeOf(takeNextStep<kNextIdPoints>(rsPtr, idDataPtr));
    TRACE_EXIT(1057, "stapi_zul_impl.getNextIdInternal() rc=%d\n", rc);
    return rc;
}

int32_t getFirstStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr) {
    TRACE_ENTRY(1058, "stapi_zul_impl.getFirstStatInternal(rsPtr=%p,statDataPtr=%p)\n", at(rsPtr), at(statDataPtr));
    const StepOutcome outcome = takeFirstStep<kFirstStatPoints>(rsPtr, statDataPtr);
    const int32_t rc = codeOf(outcome);
    TRACE_EXIT(1063, "stapi_zul_impl.getFirstStatInternal() last=%d rc=%d\n", isAtEnd(outcome), rc);
    return rc;
}

int32_t getNextStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr) {
    TRACE_ENTRY(1064, "stapi_zul_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p)\n", at(rsPtr), at(statDataPtr));
    const int32_t rc = codeOf(takeNextStep<kNextStatPoints>(rsPtr, statDataPtr));
    TRACE_EXIT(1071, "stapi_zul_impl.getNextStatInternal() rc=%d\n", rc);
    return rc;
}

}  // namespace stapi
