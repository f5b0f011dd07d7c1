// The caller's records that a walk fills. The public header declares the same records for callers;
// api/public_contract.cpp holds the two layouts against each other when it is compiled.
#ifndef ZULSTATS_RESULTSET_RESULT_RECORDS_H
#define ZULSTATS_RESULTSET_RESULT_RECORDS_H

#include <cstdint>

namespace stapi {

struct IdData {
    char eyecatcher[8];
    const char* queryElementPtr;
    uint32_t queryElementLen;
    int32_t queryElementRC;
    uint32_t idLen;
    const char* idPtr;
};

struct StatData {
    char eyecatcher[8];
    const char* queryElementPtr;
    uint32_t queryElementLen;
    int32_t queryElementRC;
    uint32_t statIdLen;
    const char* statIdPtr;
    uint32_t statValueLen;
    const char* statValuePtr;
};

}  // namespace stapi

#endif
