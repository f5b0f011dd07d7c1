#include "inside.h"

#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "resultset/stapi_zul_resultsetbuffer.h"

namespace {

// Of the buffer that was made last, as a connection knows it of its own.
stapi::TouchedBytes touched = {};

}  // namespace

char* insideMakeBuffer(int32_t* capacity) {
    *capacity = stapi::kInitialResultSetCapacity;
    touched = {};
    return static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(*capacity)));
}

void insideReleaseBuffer(char* buffer) {
    stapi::releaseMemory(buffer);
}

int32_t insideParseStats(const uint8_t* payload, size_t payloadSize, char** buffer, int32_t* capacity) {
    return stapi::parseArrivedStats(payload, buffer, capacity, payloadSize,
                                    {.arrived = payloadSize, .touched = &touched});
}

int32_t insideParseIds(const uint8_t* payload, size_t payloadSize, char** buffer, int32_t* capacity) {
    return stapi::parseArrivedIds(payload, buffer, capacity, payloadSize,
                                  {.arrived = payloadSize, .touched = &touched});
}
