// The limit: the least that has to be done with a reply. It lays the same flat buffer down as the library, with bounds
// checks, and walks it by one call per entry that makes the checks of getFirstStat and getNextStat. No trace, no
// misspelt replies, no copies for later.
#ifndef ZULSTATS_BENCH_LIMIT_H
#define ZULSTATS_BENCH_LIMIT_H

#include <stddef.h>
#include <stdint.h>

#include "zulstats64.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum LimitContent { LIMIT_NOTHING, LIMIT_IDS, LIMIT_STATS } LimitContent;

typedef struct LimitSet {
    char* buffer;
    size_t capacity;
    size_t size; /* bytes laid down, with the terminator */
    const char* cursor;
    LimitContent content;
    uint32_t owningPid;
    uint32_t owningTid;
    uint32_t entriesLeft; /* of the query element under way */
    const char* queryElementPtr;
    uint32_t queryElementLen;
    int32_t queryElementRC;
} LimitSet;

/* An empty set of the initial capacity for the calling thread. 0, or STAPI_RC_NO_MEMORY. */
int32_t limitCreate(LimitSet* set);
void limitRelease(LimitSet* set);

/* 0; STAPI_RC_BAD_EYECATCHER (the payload ends too early, or makes no sense); STAPI_RC_NO_MEMORY. */
int32_t limitParseStats(const uint8_t* payload, size_t payloadSize, LimitSet* set);
int32_t limitParseIds(const uint8_t* payload, size_t payloadSize, LimitSet* set);

/* The codes of the library's functions of these names. */
int32_t limitGetFirstStat(LimitSet* set, StatData* record);
int32_t limitGetNextStat(LimitSet* set, StatData* record);
int32_t limitGetFirstId(LimitSet* set, IdData* record);
int32_t limitGetNextId(LimitSet* set, IdData* record);

#ifdef __cplusplus
}
#endif

#endif
