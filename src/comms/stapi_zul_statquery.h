// The six queries: the exchange with the daemon, and what its failure means for the connection.
#ifndef ZULSTATS_COMMS_STAPI_ZUL_STATQUERY_H
#define ZULSTATS_COMMS_STAPI_ZUL_STATQUERY_H

#include <cstdint>

#include "comms/kept_block.h"

namespace stapi {

// Each queries over a socket and parses the reply into *buffer of capacity *bufferLen, both of which change when the
// buffer grows. ids is the id list, null-terminated. memory is the connection's, or null. 0; -102 the connection is
// gone; -103 *buffer is null, and nothing was sent; -122 any other failure.
int32_t commsResourceGroupsIds(int32_t socketDesc, char** buffer, int32_t* bufferLen,
                               ConnectionMemory* memory = nullptr);
int32_t commsStatIds(int32_t socketDesc, char** buffer, int32_t* bufferLen, ConnectionMemory* memory = nullptr);
int32_t commsStatIdsByStatGroupId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids,
                                  ConnectionMemory* memory = nullptr);
int32_t commsStats(int32_t socketDesc, char** buffer, int32_t* bufferLen, ConnectionMemory* memory = nullptr);
int32_t commsStatsByStatId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids,
                           ConnectionMemory* memory = nullptr);
int32_t commsStatsByStatGroupId(int32_t socketDesc, char** buffer, int32_t* bufferLen, const char* ids,
                                ConnectionMemory* memory = nullptr);

}  // namespace stapi

#endif
