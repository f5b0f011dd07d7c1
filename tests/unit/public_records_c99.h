/* The layout of the caller's records as a C compiler sees it. */
#ifndef ZULSTATS_TESTS_UNIT_PUBLIC_RECORDS_C99_H
#define ZULSTATS_TESTS_UNIT_PUBLIC_RECORDS_C99_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct RecordLayout {
    size_t size;
    size_t fieldCount;
    size_t offsets[8];
    size_t fieldSizes[8];
};

struct RecordLayout idDataLayoutInC(void);
struct RecordLayout statDataLayoutInC(void);

/* The value that a C compiler gives a named code. */
int endOfDataCodeInC(void);

#ifdef __cplusplus
}
#endif

#endif
