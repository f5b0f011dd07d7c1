#include "limit_set.h"

#include "bare_socket.h"

namespace bench {

namespace {

void checkWalk(int32_t rc, uint32_t entries, uint32_t bytes) {
    if (rc != STAPI_RC_END_OF_DATA || (entries > 0 && bytes == 0)) {
        failBenchmark("the limit's walk", rc);
    }
}

uint32_t walkStats(LimitSet* set) {
    StatData record = {};
    uint32_t entries = 0;
    uint32_t bytes = 0;
    int32_t rc = limitGetFirstStat(set, &record);
    while (rc == STAPI_RC_OK) {
        bytes += record.statIdLen + record.statValueLen;
        ++entries;
        rc = limitGetNextStat(set, &record);
    }
    checkWalk(rc, entries, bytes);
    return entries;
}

uint32_t walkIds(LimitSet* set) {
    IdData record = {};
    uint32_t entries = 0;
    uint32_t bytes = 0;
    int32_t rc = limitGetFirstId(set, &record);
    while (rc == STAPI_RC_OK) {
        bytes += record.idLen;
        ++entries;
        rc = limitGetNextId(set, &record);
    }
    checkWalk(rc, entries, bytes);
    return entries;
}

}  // namespace

uint32_t LimitResult::walk(Content content) {
    return content == Content::stats ? walkStats(&set_) : walkIds(&set_);
}

}  // namespace bench
