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

// The query element that a plain step is in.
struct PlainElement {
    const char* text;
    uint32_t length;
    int32_t rc;
    int32_t entries;
    int32_t nextEntry;  // 1-based
};

// The query element that the walk is in, or the one that begins at its position. False when that is no element with
// entries.
bool findPlainElement(const ResultSetToken* rsPtr, ResultSetReader* reader, PlainElement* element) {
    bool isFound = true;
    if (rsPtr->elementResultIndex != 0) {
        *element = {rsPtr->queryElementPtr, rsPtr->queryElementLen, rsPtr->queryElementRC, rsPtr->elementResultCount,
                    rsPtr->elementResultIndex};
    } else {
        uint32_t rc = 0;
        uint32_t entries = 0;
        isFound = readWord(reader, &element->length) && element->length != kTerminator &&
                  readText(reader, element->length, &element->text) && readWord(reader, &rc) &&
                  readWord(reader, &entries);
        element->rc = static_cast<int32_t>(rc);
        element->entries = static_cast<int32_t>(entries);
        element->nextEntry = 1;
    }
    return isFound && element->rc >= 0 && element->entries != 0;
}

// The texts of an entry: the id's length has been read.
struct PlainEntry {
    uint32_t idLength;
    const char* id;
    uint32_t valueLength;
    const char* value;
};

bool readPlainEntry(ResultSetReader* reader, PlainEntry* entry, const IdData*) {
    return readText(reader, entry->idLength, &entry->id);
}

bool readPlainEntry(ResultSetReader* reader, PlainEntry* entry, const StatData*) {
    return readText(reader, entry->idLength, &entry->id) &&
           readLengthAndText(reader, &entry->valueLength, &entry->value);
}

void fillTexts(const PlainEntry& entry, IdData* record) {
    record->idLen = entry.idLength;
    record->idPtr = entry.id;
}

void fillTexts(const PlainEntry& entry, StatData* record) {
    record->statIdLen = entry.idLength;
    record->statIdPtr = entry.id;
    record->statValueLen = entry.valueLength;
    record->statValuePtr = entry.value;
}

// Moves the walk behind an entry of the element, which begins with that entry unless the walk was in it already.
void commitPlainStep(const ResultSetReader& reader, const PlainElement& element, ResultSetToken* rsPtr) {
    if (rsPtr->elementResultIndex == 0) {
        rsPtr->queryElementPtr = element.text;
        rsPtr->queryElementLen = element.length;
        rsPtr->queryElementRC = element.rc;
        rsPtr->elementResultCount = element.entries;
    }
    const bool isLast = element.nextEntry >= element.entries;
    rsPtr->elementResultIndex = isLast ? 0 : element.nextEntry + 1;
    rsPtr->queryIndex += isLast ? 1 : 0;
    storeDataCursor(rsPtr, readerCursor(reader));
}

// Whether the calling thread may walk this set, its walk has begun, and nothing would be traced of a step.
template <ResultSetContent content>
bool isReadyForPlainStep(const ResultSetToken* rsPtr) {
    return !isTraceOn(TraceWord::event) && isStarted() && rsPtr->queryIndex != 0 &&
           resultSetContent(rsPtr) == content && isForCaller(rsPtr);
}

template <ResultSetContent content, typename Record>
bool takePlainStepOver(ResultSetToken* rsPtr, Record* record) {
    if (rsPtr == nullptr || record == nullptr || !isReadyForPlainStep<content>(rsPtr)) {
        return false;
    }
    ResultSetReader reader = readerAtCursor(rsPtr);
    PlainElement element = {};
    PlainEntry entry = {};
    if (!findPlainElement(rsPtr, &reader, &element) || !readWord(&reader, &entry.idLength) ||
        entry.idLength == kTerminator || !readPlainEntry(&reader, &entry, record)) {
        return false;
    }
    commitPlainStep(reader, element, rsPtr);
    record->queryElementPtr = element.text;
    record->queryElementLen = element.length;
    record->queryElementRC = element.rc;
    fillTexts(entry, record);
    return true;
}

int32_t codeOf(StepOutcome outcome) {
    return outcome == StepOutcome::entry ? STAPI_RC_OK : STAPI_RC_END_OF_DATA;
}

int32_t isAtEnd(StepOutcome outcome) {
    return outcome == StepOutcome::atEnd ? 1 : 0;
}

}  // namespace

bool takePlainStep(ResultSetToken* rsPtr, IdData* idDataPtr) {
    return takePlainStepOver<ResultSetContent::ids>(rsPtr, idDataPtr);
}

bool takePlainStep(ResultSetToken* rsPtr, StatData* statDataPtr) {
    return takePlainStepOver<ResultSetContent::statistics>(rsPtr, statDataPtr);
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
