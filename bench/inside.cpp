#include "inside.h"

#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "resultset/stapi_zul_resultsetbuffer.h"

char* insideMakeBuffer(int32_t* capacity) {
    *capacity = stapi::kInitialResultSetCapacity;
    return static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(*capacity)));
}

void insideReleaseBuffer(char* buffer) {
    stapi::releaseMemory(buffer);
}

int32_t insideParseStats(const uint8_t* payload, size_t payloadSize, char** buffer, int32_t* capacity) {
    return stapi::parseStatsData(payload, buffer, capacity, payloadSize);
}

int32_t insideParseIds(const uint8_t* payload, size_t payloadSize, char** buffer, int32_t* capacity) {
    return stapi::parseIdsData(payload, buffer, capacity, payloadSize);
}
