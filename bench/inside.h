/* The parsers of the library, which its shared object hides: a module of the same objects hands them out. */
#ifndef ZULSTATS_BENCH_INSIDE_H
#define ZULSTATS_BENCH_INSIDE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A result-set buffer of the initial capacity, or null. */
__attribute__((visibility("default"))) char* insideMakeBuffer(int32_t* capacity);
__attribute__((visibility("default"))) void insideReleaseBuffer(char* buffer);

/* The codes of parseStatsData and parseIdsData. */
__attribute__((visibility("default"))) int32_t insideParseStats(const uint8_t* payload, size_t payloadSize,
                                                                char** buffer, int32_t* capacity);
__attribute__((visibility("default"))) int32_t insideParseIds(const uint8_t* payload, size_t payloadSize, char** buffer,
                                                              int32_t* capacity);

#ifdef __cplusplus
}
#endif

#endif
