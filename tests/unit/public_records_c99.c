#include "public_records_c99.h"

#include "zulstats64.h"

#define FIELD(record, index, field)                                \
    do {                                                           \
        layout.offsets[index] = offsetof(record, field);           \
        layout.fieldSizes[index] = sizeof(((record*)NULL)->field); \
    } while (0)

struct RecordLayout idDataLayoutInC(void) {
    struct RecordLayout layout = {sizeof(IdData), 6, {0}, {0}};
    FIELD(IdData, 0, eyecatcher);
    FIELD(IdData, 1, queryElementPtr);
    FIELD(IdData, 2, queryElementLen);
    FIELD(IdData, 3, queryElementRC);
    FIELD(IdData, 4, idLen);
    FIELD(IdData, 5, idPtr);
    return layout;
}

struct RecordLayout statDataLayoutInC(void) {
    struct RecordLayout layout = {sizeof(StatData), 8, {0}, {0}};
    FIELD(StatData, 0, eyecatcher);
    FIELD(StatData, 1, queryElementPtr);
    FIELD(StatData, 2, queryElementLen);
    FIELD(StatData, 3, queryElementRC);
    FIELD(StatData, 4, statIdLen);
    FIELD(StatData, 5, statIdPtr);
    FIELD(StatData, 6, statValueLen);
    FIELD(StatData, 7, statValuePtr);
    return layout;
}

int endOfDataCodeInC(void) {
    return STAPI_RC_END_OF_DATA;
}
