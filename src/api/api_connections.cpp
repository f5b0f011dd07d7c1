// The exported functions that open and close connections.
#include <cstring>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "diag/stapi_zul_diag.h"
#include "gateway/stapi_zul_gwytok.h"
#include "impl/stapi_zul_impl.h"

using stapi::at;

namespace {

constexpr const char* kLocalHost = "127.0.0.1";
constexpr int32_t kLowestPort = 1;
constexpr int32_t kHighestPort = 65535;

int32_t checkOpenArguments(const char* hostname, int32_t port, GatewayToken** gwTokPtr, char** protoColVersion) {
    int32_t rc = STAPI_RC_OK;
    if (port < kLowestPort || port > kHighestPort) {
        rc = STAPI_RC_BAD_PORT;
    } else if (gwTokPtr == nullptr) {
        rc = STAPI_RC_NULL_TOKEN_POINTER;
    } else if (protoColVersion == nullptr) {
        rc = STAPI_RC_NET_UNREACHABLE;
    } else if (hostname == nullptr) {
        rc = STAPI_RC_NULL_ARGUMENT;
    }
    return rc;
}

// Puts a copy of the protocol version, in the platform's form, into the place of the text that the daemon sent.
int32_t convertProtocolVersion(GatewayToken* token, char** protoColVersion) {
    int32_t rc = STAPI_RC_OK;
    char* version = nullptr;
    if (token->protocolVersion == nullptr) {
        TRACE_EXC(1002,
                  "API.openRemoteGatewayConnection(gwTokPtr=0x%p) New gateway token has NULL protocolVersion pointer\n",
                  at(token));
    } else if (stapi::dup2NativeString(token->protocolVersion, &version) != 0) {
        rc = STAPI_RC_NO_MEMORY;
    } else {
        stapi::releaseMemory(token->protocolVersion);
        token->protocolVersion = version;
        token->protocolVersionSize = std::strlen(version) + 1;
        TRACE_EVENT(1001, "API.openRemoteGatewayConnection(&protoColVersion=0x%p) created String for proto@0x%p\n",
                    at(protoColVersion), at(version));
    }
    return rc;
}

// What remains once the token stands: the version text for the caller, and the end of the opening. An opening that
// another thread has cut off leaves the caller's pointer as it was before.
int32_t finishOpening(stapi::TokenHold* opening, GatewayToken* before, GatewayToken** gwTokPtr,
                      char** protoColVersion) {
    GatewayToken* const token = opening->token();
    int32_t rc = convertProtocolVersion(token, protoColVersion);
    if (rc != STAPI_RC_OK) {
        opening->remove([] {});
        *gwTokPtr = nullptr;
    } else {
        char* const version = token->protocolVersion;
        if (opening->end() == STAPI_RC_OK) {
            *protoColVersion = version;
        } else {
            *gwTokPtr = before;
            rc = STAPI_RC_CONNECT_FAILED;
        }
    }
    return rc;
}

int32_t openConnection(const char* hostname, int32_t port, GatewayToken** gwTokPtr, char** protoColVersion) {
    stapi::TokenHold opening;
    GatewayToken* const before = *gwTokPtr;
    int32_t rc = stapi::createGatewayToken(gwTokPtr, hostname, port, &opening);
    if (rc == STAPI_RC_OK) {
        rc = finishOpening(&opening, before, gwTokPtr, protoColVersion);
    }
    return rc;
}

}  // namespace

int32_t openGatewayConnection(int32_t port, GatewayToken** gwTokPtr, char** protoColVersion) {
    stapi::stapiInit();
    TRACE_ENTRY(1000, "API.openGatewayConnection(port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p\n", port, at(gwTokPtr),
                at(protoColVersion));
    const int32_t rc = openRemoteGatewayConnection(kLocalHost, port, gwTokPtr, protoColVersion);
    TRACE_EXIT(1003, "API.openGatewayConnection(port=%d) rc=%d\n", port, rc);
    return rc;
}

int32_t openRemoteGatewayConnection(const char* hostname, int32_t port, GatewayToken** gwTokPtr,
                                    char** protoColVersion) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1142, "API.openRemoteGatewayConnection(hostname=%s, port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p\n",
                hostname == nullptr ? "NULL" : hostname, port, at(gwTokPtr), at(protoColVersion));
    if (rc == STAPI_RC_OK) {
        rc = checkOpenArguments(hostname, port, gwTokPtr, protoColVersion);
    }
    if (rc == STAPI_RC_OK) {
        rc = openConnection(hostname, port, gwTokPtr, protoColVersion);
    }
    TRACE_EXIT(1003, "API.openRemoteGatewayConnection(port=%d) rc=%d\n", port, rc);
    return rc;
}

int32_t closeGatewayConnection(GatewayToken** gwTokPtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1004, "API.closeGatewayConnection(&gwTokPtr=%p)\n", at(gwTokPtr));
    if (rc == STAPI_RC_OK) {
        if (gwTokPtr == nullptr) {
            TRACE_EXC(1005, "API.closeGatewayConnection(&gwTokPtr=%p) Null gateway token Pointer\n", at(gwTokPtr));
            rc = STAPI_RC_NULL_TOKEN_POINTER;
        } else if (*gwTokPtr == nullptr) {
            TRACE_EXC(1005, "API.closeGatewayConnection(gwTokPtr=%p) Null gateway token\n", at(*gwTokPtr));
            rc = STAPI_RC_NULL_TOKEN;
        } else {
            const void* const closed = *gwTokPtr;
            rc = stapi::deleteGatewayToken(gwTokPtr, 1);
            TRACE_EVENT(1133, "API.closeGatewayConnection Closed Gateway connection for token %p\n", closed);
        }
    }
    TRACE_EXIT(1006, "API.closeGatewayConnection(&gwTokPtrPtr=%p) rc=%d\n", at(gwTokPtr), rc);
    return rc;
}

int32_t closeAllGatewayConnections(void) {
    int32_t rc = stapi::stapiInit();
    int32_t gwyTokRc = 0;
    TRACE_ENTRY(1007, "API.closeAllGatewayConnections()\n");
    if (rc == STAPI_RC_OK) {
        gwyTokRc = stapi::deleteGatewayTokens();
        rc = gwyTokRc == stapi::GTL_RC_RUNAWAY ? STAPI_RC_GTL_CORRUPT : STAPI_RC_OK;
        TRACE_EVENT(1134, "API.closeAllGatewayConnections Closed all Gateway connections\n");
    }
    TRACE_EXIT(1008, "API.closeAllGatewayConnections() gwyTokRc=%d, rc=%d\n", gwyTokRc, rc);
    return rc;
}
