// The record of one gateway connection. The gateway module owns it; it stands here because the exchanges read and fill
// it.
#ifndef ZULSTATS_COMMS_GATEWAY_TOKEN_H
#define ZULSTATS_COMMS_GATEWAY_TOKEN_H

#include <cstddef>
#include <cstdint>

#include "comms/kept_block.h"
#include "resultset/stapi_zul_resultsetbuffer.h"

namespace stapi {

// Where a token is in its life; gateway/token_life.h has the transitions.
enum class TokenState : int32_t {
    connecting,  // on the list; its owner is opening it
    idle,        // on the list; nobody uses it
    inUse,       // on the list; its owner is in the middle of a query
    abandoned,   // off the list: another thread has closed it while its owner was at it; the owner releases it
    closing      // off the list; the thread that took it off closes and releases it
};

}  // namespace stapi

struct GatewayToken {
    char eyecatcher[8];           // "ZULGWTOK", no NUL
    int32_t port;                 // as given at creation
    int32_t connStatus;           // stapi::ConnectionStatus
    int32_t socket;               // descriptor; -1 while there is none
    ResultSetToken* connRSToken;  // the connection's result set; owned
    char* resultSetBuf;           // its buffer; owned, and shared with connRSToken
    int32_t resultSetBufLen;      // its capacity
    uint32_t owningPid;
    uint32_t owningTid;
    char* protocolVersion;        // the daemon's protocol version; owned
    GatewayToken* nextGwyTokPtr;  // next on the list of connections, or null
    // Behind the record proper.
    stapi::TokenState state;      // guarded by the list's lock
    size_t protocolVersionSize;   // size of the protocolVersion area
    stapi::KeptBlock replyBlock;  // owned
};

namespace stapi {

constexpr const char* kGatewayEyecatcher = "ZULGWTOK";
constexpr size_t kProtocolVersionArea = 64;  // what the area is made with; a longer text gets a larger one

enum class ConnectionStatus : int32_t { created = 0, open = 1, failed = 2, closeFailed = 3, closed = 4 };

}  // namespace stapi

#endif
