// The usual step of a walk, in a few instructions: inline in the exported functions, because a monitoring program takes
// it for every statistic of every gateway.
//
// It is taken when nothing of it would be traced. It reads in place, and writes only when everything is as it should
// be; anything else is left, untouched, to the full step, which says what is amiss.
#ifndef ZULSTATS_IMPL_PLAIN_STEP_H
#define ZULSTATS_IMPL_PLAIN_STEP_H

#include <cstdint>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "impl/stapi_zul_impl.h"
#include "resultset/result_set_reader.h"

namespace stapi {

// Reads an id, unless the terminator stands in its place, and what belongs to it.
[[gnu::always_inline]] inline bool readPlainEntry(ResultSetReader* reader, IdData* found) {
    return readWord(reader, &found->idLen) && found->idLen != kTerminator &&
           readText(reader, found->idLen, &found->idPtr);
}

[[gnu::always_inline]] inline bool readPlainEntry(ResultSetReader* reader, StatData* found) {
    return readWord(reader, &found->statIdLen) && found->statIdLen != kTerminator &&
           readText(reader, found->statIdLen, &found->statIdPtr) &&
           readLengthAndText(reader, &found->statValueLen, &found->statValuePtr);
}

inline void fillEntry(const IdData& found, IdData* record) {
    record->idLen = found.idLen;
    record->idPtr = found.idPtr;
}

inline void fillEntry(const StatData& found, StatData* record) {
    record->statIdLen = found.statIdLen;
    record->statIdPtr = found.statIdPtr;
    record->statValueLen = found.statValueLen;
    record->statValuePtr = found.statValuePtr;
}

// Moves the walk behind an entry.
inline void commitPlainEntry(const ResultSetReader& reader, int32_t index, int32_t entries, ResultSetToken* rsPtr) {
    const bool isLast = index >= entries;
    rsPtr->elementResultIndex = isLast ? 0 : index + 1;
    rsPtr->queryIndex += isLast ? 1 : 0;
    storeDataCursor(rsPtr, reader.buffer + reader.position);
}

template <typename Record>
void fillElement(const ResultSetToken& resultSet, Record* record) {
    record->queryElementPtr = resultSet.queryElementPtr;
    record->queryElementLen = resultSet.queryElementLen;
    record->queryElementRC = resultSet.queryElementRC;
}

// A step within the query element that the walk is in.
template <typename Record>
[[gnu::always_inline]] inline bool stepWithinElement(ResultSetToken* rsPtr, Record* record) {
    ResultSetReader reader = readerAtCursor(rsPtr);
    Record found;
    const int32_t entries = rsPtr->elementResultCount;
    const bool isPlain = rsPtr->queryElementRC >= 0 && entries != 0 && readPlainEntry(&reader, &found);
    if (isPlain) {
        commitPlainEntry(reader, rsPtr->elementResultIndex, entries, rsPtr);
        fillElement(*rsPtr, record);
        fillEntry(found, record);
    }
    return isPlain;
}

// A step to the first entry of the query element that begins at the walk's position.
bool stepIntoElement(ResultSetToken* rsPtr, IdData* record);
bool stepIntoElement(ResultSetToken* rsPtr, StatData* record);
// A step to the first entry of the first query element.
bool stepIntoSet(ResultSetToken* rsPtr, IdData* record);
bool stepIntoSet(ResultSetToken* rsPtr, StatData* record);

// Whether the calling thread may walk over the set with that content, and nothing would be traced of a step. The
// pointers may be null.
template <ResultSetContent content, typename Record>
[[gnu::always_inline]] inline bool isReadyForPlainStep(const ResultSetToken* rsPtr, const Record* record) {
    return !isTraceOn(TraceWord::event) && isStarted() && rsPtr != nullptr && record != nullptr &&
           resultSetContent(rsPtr) == content && isForCaller(rsPtr);
}

// Take the first step of a walk, and the next one of a walk that has begun. They fill the record and move the token's
// position. False, with nothing changed, when it takes the full step.
template <ResultSetContent content, typename Record>
bool takePlainFirstStep(ResultSetToken* rsPtr, Record* record) {
    return isReadyForPlainStep<content>(rsPtr, record) && stepIntoSet(rsPtr, record);
}

template <ResultSetContent content, typename Record>
bool takePlainNextStep(ResultSetToken* rsPtr, Record* record) {
    bool isTaken = false;
    if (isReadyForPlainStep<content>(rsPtr, record) && rsPtr->queryIndex != 0) {
        isTaken = rsPtr->elementResultIndex != 0 ? stepWithinElement(rsPtr, record) : stepIntoElement(rsPtr, record);
    }
    return isTaken;
}

}  // namespace stapi

#endif
