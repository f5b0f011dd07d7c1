#include "gateway/stapi_zul_gwytok.h"

#include <cstddef>
#include <cstring>

#include "api/zulstats64.h"
#include "comms/stapi_zul_socketcomms.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/stapi_zul_diag.h"
#include "diag/stapi_zul_memory.h"
#include "gateway/stapi_zul_gwycon.h"
#include "platform/platform.h"

namespace stapi {

GatewayToken* gtlHead = nullptr;
GatewayToken* gtlTail = nullptr;
LockRecord gtlLock = {};

namespace {

// The trace tells the size of the record proper, as it tells the capacity of a result-set buffer without its slack.
constexpr auto kTracedTokenSize = static_cast<int32_t>(offsetof(GatewayToken, busy));
static_assert(kTracedTokenSize == 72);

struct TokenText {
    char text[kTokenTextArea];
};

TokenText describeToken(const GatewayToken* token) {
    TokenText result = {};
    formatGatewayToken(token, result.text);
    return result;
}

// Whether another thread than the caller's is in the middle of using the token. The caller holds the list's lock.
bool isUsedElsewhere(const GatewayToken* token) {
    uint32_t pid = 0;
    uint32_t tid = 0;
    getPidTid(&pid, &tid);
    return token->busy && (idsEqual(pid, token->owningPid) == 0 || idsEqual(tid, token->owningTid) == 0);
}

// Takes a token off the list; without a parent it is the head.
void unlinkToken(GatewayToken* token, GatewayToken* parent) {
    if (parent == nullptr) {
        gtlHead = token->nextGwyTokPtr;
    } else {
        parent->nextGwyTokPtr = token->nextGwyTokPtr;
        if (parent->nextGwyTokPtr == nullptr) {
            gtlTail = parent;
        }
    }
}

// Ends the connection and releases what the token owns.
void releaseTokenContents(GatewayToken* token) {
    if (token->socket >= 0) {
        const int32_t closeRc = closeConnection(&token->socket);
        token->connStatus = closeRc != 0 ? kConnectionCloseFailed : kConnectionClosed;
    }
    const int32_t resultSetRc = deleteResultSet(&token->connRSToken);
    if (resultSetRc != STAPI_RC_OK) {
        TRACE_EXC(2037, "stapi_zul_gwytok.deleteGatewayToken Unable to delete ResultSet. rc=%d\n", resultSetRc);
    }
    if (token->resultSetBuf != nullptr) {
        TRACE_DEBUG(2043, "stapi_zul_gwytok.deleteGatewayToken About to free resultSetBuffer (%p)\n",
                    at(token->resultSetBuf));
        releaseMemory(token->resultSetBuf);
        token->resultSetBuf = nullptr;
    }
    if (token->protocolVersion != nullptr) {
        TRACE_DEBUG(2044, "stapi_zul_gwytok.deleteGatewayToken About to free protocolVersion String (%p)\n",
                    at(token->protocolVersion));
        releaseMemory(token->protocolVersion);
        token->protocolVersion = nullptr;
    }
}

void releaseToken(GatewayToken** tokenPtr) {
    GatewayToken* const token = *tokenPtr;
    TRACE_DEBUG(2010, "stapi_zul_gwytok.deleteGatewayToken(&gwTokPtr=%p) Free gateway token(%p) \n", at(tokenPtr),
                at(token));
    const void* const released = token;
    releaseMemory(token);
    *tokenPtr = nullptr;
    TRACE_DEBUG(2011, "stapi_zul_gwytok.deleteGatewayToken(&gwTokPtr=%p) Freed gateway token(%p) \n", at(tokenPtr),
                released);
}

// Takes a token that its owner is using away from everybody else. Its owner wakes up, and releases it.
void abandonToken(GatewayToken** tokenPtr, GatewayToken* parent) {
    GatewayToken* const token = *tokenPtr;
    unlinkToken(token, parent);
    token->abandoned = true;
    if (token->socket >= 0) {
        platform::shutdownSocket(token->socket);
    }
    *tokenPtr = nullptr;
}

// The caller holds the list's lock.
void deleteListedToken(GatewayToken** tokenPtr, GatewayToken* parent) {
    if (isUsedElsewhere(*tokenPtr)) {
        abandonToken(tokenPtr, parent);
    } else {
        releaseTokenContents(*tokenPtr);
        unlinkToken(*tokenPtr, parent);
        releaseToken(tokenPtr);
    }
}

struct TokenOwner {
    uint32_t pid;
    uint32_t tid;
};

// Looks a token up and, if it is there, notes its owner, and holds it as busy when the owner is the caller.
int32_t lookUpToken(GatewayToken* token, const TokenOwner& caller, bool hold, TokenOwner* owner) {
    const LockScope scope(&gtlLock);
    const int32_t findRc = findGatewayToken(token, nullptr);
    if (findRc == GTL_RC_FOUND) {
        *owner = {token->owningPid, token->owningTid};
        if (hold && owner->pid == caller.pid && owner->tid == caller.tid) {
            token->busy = true;
        }
    }
    return findRc;
}

int32_t verifyToken(GatewayToken* token, bool hold) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2006, "stapi_zul_gwytok.verifyGatewayToken(&gwTokPtr=%p)\n", at(token));
    TokenOwner caller = {};
    TokenOwner owner = {};
    getPidTid(&caller.pid, &caller.tid);
    const int32_t findRc = lookUpToken(token, caller, hold, &owner);
    if (findRc != GTL_RC_FOUND) {
        TRACE_EXC(2007, "stapi_zul_gwytok.verifyGatewayToken(&gwTokPtr=%p) Gateway token not found - findRc=%d\n",
                  at(token), findRc);
        rc = STAPI_RC_TOKEN_NOT_FOUND;
    } else if (caller.pid != owner.pid) {
        TRACE_EXC(2032, "stapi_zul_gwytok.verifyGatewayToken PID mismatch: currentPid=%d, owningPid=%d\n", caller.pid,
                  owner.pid);
        rc = STAPI_RC_WRONG_PROCESS;
    } else if (idsEqual(caller.tid, owner.tid) == 0) {
        TRACE_EXC(2033, "stapi_zul_gwytok.verifyGatewayToken TID mismatch: currentTid=%d, owningTid=%d\n", caller.tid,
                  owner.tid);
        rc = STAPI_RC_WRONG_THREAD;
    }
    TRACE_EXIT(2008, "stapi_zul_gwytok.verifyGatewayToken(&gwTokPtr=%p) rc=%d\n", at(token), rc);
    return rc;
}

// Releases a token that never reached the list.
void discardUnlistedToken(GatewayToken* token) {
    if (token->connRSToken != nullptr) {
        deleteResultSet(&token->connRSToken);
    }
    releaseMemory(token->resultSetBuf);
    releaseMemory(token->protocolVersion);
    releaseMemory(token);
}

// Releases a token whose opening has failed, be it still on the list or closed by another thread meanwhile.
void discardOpeningToken(GatewayToken* token) {
    if (endGatewayUse(token) == STAPI_RC_OK) {
        deleteGatewayToken(&token, 1);
    }
}

GatewayToken* allocateToken(int32_t port) {
    auto* const token = static_cast<GatewayToken*>(allocateMemory(sizeof(GatewayToken)));
    TRACE_DEBUG(2038, "stapi_zul_gwytok.createGatewayToken Called malloc for %d bytes. rc=%p\n", kTracedTokenSize,
                at(token));
    if (token == nullptr) {
        TRACE_EXC(2039, "stapi_zul_gwytok.createGatewayToken Failed to allocate %d bytes\n", kTracedTokenSize);
    } else {
        std::memcpy(token->eyecatcher, kGatewayEyecatcher, sizeof token->eyecatcher);
        token->port = port;
        token->connStatus = kConnectionCreated;
        token->socket = platform::kNoSocket;
        token->busy = true;
        getPidTid(&token->owningPid, &token->owningTid);
    }
    return token;
}

int32_t attachResultSet(GatewayToken* token) {
    const int32_t rc = createResultSet(&token->connRSToken, kConnectionEyecatcher, OWNER_GATEWAY);
    if (rc != STAPI_RC_OK) {
        TRACE_EXC(2036, "stapi_zul_gwytok.createGatewayToken Creation of resultset failed rc=%d\n", rc);
    }
    return rc;
}

int32_t attachBuffers(GatewayToken* token) {
    int32_t rc = STAPI_RC_OK;
    token->protocolVersion = static_cast<char*>(allocateMemory(kProtocolVersionArea));
    if (token->protocolVersion == nullptr) {
        rc = STAPI_RC_NO_MEMORY;
    } else {
        token->protocolVersionSize = kProtocolVersionArea;
        token->resultSetBuf = static_cast<char*>(allocateMemory(resultSetAllocation(kInitialResultSetCapacity)));
        TRACE_DEBUG(2040, "stapi_zul_gwytok.createGatewayToken Called malloc for %d bytes. rc=%p\n",
                    kInitialResultSetCapacity, at(token->resultSetBuf));
        if (token->resultSetBuf == nullptr) {
            TRACE_EXC(2041, "stapi_zul_gwytok.createGatewayToken Failed to allocate %d bytes.\n",
                      kInitialResultSetCapacity);
            rc = STAPI_RC_NO_MEMORY;
        } else {
            token->resultSetBufLen = kInitialResultSetCapacity;
            addTerminator(token->resultSetBuf);
            token->connRSToken->resultSetBuf = token->resultSetBuf;
            token->connRSToken->resultSetBufLen = token->resultSetBufLen;
        }
    }
    return rc;
}

// Asks the daemon for its protocol version; -102 when the connection turns out to be gone, else -122.
int32_t fetchProtocolVersion(GatewayToken* token) {
    int32_t rc = STAPI_RC_OK;
    ReasonsBlock reasons = {};
    const int32_t exchangeRc = statProtocolVer(token, &reasons);
    if (exchangeRc != STAPI_RC_OK) {
        rc = isConnectionGone(exchangeRc, reasons) ? STAPI_RC_SOCKET_ERROR : STAPI_RC_BAD_EYECATCHER;
        TRACE_EVENT(2042, "stapi_zul_gwytok.createGatewayToken Removing GatewayToken %p due to comms failure %d\n",
                    at(token), exchangeRc);
    }
    return rc;
}

// What a caller of the library is told about a failed connect.
int32_t mapConnectCode(int32_t connectRc) {
    int32_t rc = STAPI_RC_CONNECT_FAILED;
    switch (connectRc) {
        case kConnectUnreachable:
            rc = STAPI_RC_HOST_UNREACHABLE;
            break;
        case kConnectRefused:
            rc = STAPI_RC_CONNECT_REFUSED;
            break;
        case kConnectTimedOut:
            rc = STAPI_RC_CONNECT_TIMEOUT;
            break;
        case kConnectHostUnknown:
            rc = STAPI_RC_HOST_UNKNOWN;
            break;
        default:
            break;
    }
    return rc;
}

// The list's lock guards the fields that other threads may print.
void storeConnection(GatewayToken* token, int32_t socket, ConnectionStatus status) {
    const LockScope scope(&gtlLock);
    token->socket = socket;
    token->connStatus = status;
}

// The caller holds the list's lock, but not the trace lock.
void dumpToken(const GatewayToken* token, int32_t number) {
    writeTraceDirect("Gateway Token List entry -%4.4d- : %s\n", number, describeToken(token).text);
    const ResultSetToken* const resultSet = token->connRSToken;
    if (resultSet != nullptr) {
        writeTraceDirect("Dump of ResultSet(%p) owner(%s) buffer(%p) cursor(%p)\n", at(resultSet),
                         resultSet->owner == OWNER_GATEWAY ? "API" : "USR", at(resultSet->resultSetBuf),
                         at(loadDataCursor(resultSet)));
        writeDashLine();
        if (!token->busy && resultSet->resultSetBuf != nullptr) {
            dumpResultSetBuffer(resultSet->resultSetBuf, resultSet->resultSetBufLen);
        }
        writeDashLine();
    }
}

}  // namespace

int32_t initGTL() {
    constexpr int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2030, "stapi_zul_gwytok.initGTL()\n");
    const int32_t initLockRc = initializeLock(&gtlLock);
    TRACE_EXIT(2031, "stapi_zul_gwytok.initGTL() initLockRc=%d, rc=%d\n", initLockRc, rc);
    return initLockRc;
}

int32_t chainGatewayToken(GatewayToken* token) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2019, "stapi_zul_gwytok.chainGatewayToken(&gwTokPtr=%p)\n", at(token));
    if (token == nullptr) {
        TRACE_EXC(2021, "stapi_zul_gwytok.chainGatewayToken() Chain request was for a null token\n");
        rc = STAPI_RC_NULL_TOKEN_POINTER;
    } else {
        const LockScope scope(&gtlLock);
        if (gtlHead == nullptr) {
            gtlHead = token;
            gtlTail = token;
        } else if (gtlTail != nullptr) {
            gtlTail->nextGwyTokPtr = token;
            gtlTail = token;
        } else {
            TRACE_EXC(2020, "stapi_zul_gwytok.chainGatewayToken() GTL state is corrupt - head(%p) tail (%p)\n",
                      at(gtlHead), at(gtlTail));
            rc = STAPI_RC_GTL_CORRUPT;
        }
    }
    TRACE_EXIT(2022, "stapi_zul_gwytok.chainGatewayToken(&gwTokPtr=%p) rc=%d\n", at(token), rc);
    return rc;
}

int32_t findGatewayToken(const GatewayToken* target, GatewayToken** parentPtr) {
    int32_t rc = GTL_RC_NOT_FOUND;
    TRACE_ENTRY(2023, "stapi_zul_gwytok.findGatewayToken(target=%p,&parent=%p)\n", at(target), at(parentPtr));
    if (target == nullptr) {
        TRACE_EXC(2028, "stapi_zul_gwytok.findGatewayToken() Target was a null token\n");
        rc = GTL_RC_NULL_TARGET;
    } else if (gtlHead == nullptr) {
        TRACE_EXC(2027, "stapi_zul_gwytok.findGatewayToken() GTL state is corrupt - head(%p) tail (%p)\n", at(gtlHead),
                  at(gtlTail));
        rc = GTL_RC_EMPTY;
    } else {
        int32_t counter = 0;
        GatewayToken* parent = nullptr;
        GatewayToken* current = gtlHead;
        bool found = target == gtlHead;
        while (!found && current->nextGwyTokPtr != nullptr && counter < kGtlRunawayLimit) {
            if (current->nextGwyTokPtr == target) {
                found = true;
                parent = current;
            } else {
                current = current->nextGwyTokPtr;
                ++counter;
            }
        }
        if (found) {
            rc = GTL_RC_FOUND;
            if (parentPtr != nullptr) {
                *parentPtr = parent;
            }
            TRACE_DEBUG(2026, "stapi_zul_gwytok.findGatewayToken() Target token found at GTL Entry(%d)\n", counter);
        } else if (counter != kGtlRunawayLimit) {
            TRACE_DEBUG(
                2025, "stapi_zul_gwytok.findGatewayToken() Target token not found. GTL entries(%d) head(%p) last(%p)\n",
                counter, at(gtlHead), at(current));
        } else {
            TRACE_EXC(2024, "stapi_zul_gwytok.findGatewayToken() GTL iteration has hit RUNAWAY limit %d.....\n",
                      kGtlRunawayLimit);
            rc = GTL_RC_RUNAWAY;
        }
    }
    TRACE_EXIT(2029, "stapi_zul_gwytok.findGatewayToken(target=%p,&parent=%p) rc=%d\n", at(target), at(parentPtr), rc);
    return rc;
}

int32_t verifyGatewayToken(GatewayToken* token) {
    return verifyToken(token, false);
}

int32_t beginGatewayQuery(GatewayToken* token) {
    return verifyToken(token, true);
}

void storeQueryResult(GatewayToken* token, char* buffer, int32_t bufferLen, bool resetOwner) {
    const LockScope scope(&gtlLock);
    token->resultSetBuf = buffer;
    token->resultSetBufLen = bufferLen;
    ResultSetToken* const resultSet = token->connRSToken;
    if (resetOwner) {
        resultSet->owner = OWNER_GATEWAY;
    }
    resultSet->resultSetBuf = buffer;
    resultSet->resultSetBufLen = bufferLen;
    storeDataCursor(resultSet, buffer);
    resultSet->queryIndex = 0;
}

int32_t endGatewayUse(GatewayToken* token) {
    bool abandoned = false;
    {
        const LockScope scope(&gtlLock);
        token->busy = false;
        abandoned = token->abandoned;
    }
    if (abandoned) {
        releaseTokenContents(token);
        releaseToken(&token);
    }
    return abandoned ? STAPI_RC_TOKEN_NOT_FOUND : STAPI_RC_OK;
}

int32_t deleteGatewayToken(GatewayToken** tokenPtr, int32_t lockRequired) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2009, "stapi_zul_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d)\n", at(tokenPtr),
                lockRequired);
    if (tokenPtr == nullptr) {
        rc = STAPI_RC_NULL_TOKEN_POINTER;
    } else if (*tokenPtr == nullptr) {
        rc = STAPI_RC_NULL_TOKEN;
    } else if (lockRequired == 1) {
        const LockScope scope(&gtlLock);
        GatewayToken* parent = nullptr;
        if (findGatewayToken(*tokenPtr, &parent) == GTL_RC_FOUND) {
            deleteListedToken(tokenPtr, parent);
        } else {
            rc = STAPI_RC_TOKEN_NOT_FOUND;
        }
    } else {
        deleteListedToken(tokenPtr, nullptr);
    }
    TRACE_EXIT(2012, "stapi_zul_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d) rc=%d\n", at(tokenPtr),
               lockRequired, rc);
    return rc;
}

int32_t deleteGatewayTokens() {
    int32_t rc = STAPI_RC_OK;
    int32_t count = 0;
    TRACE_ENTRY(2013, "stapi_zul_gwytok.deleteGatewayTokens()\n");
    {
        const LockScope scope(&gtlLock);
        GatewayToken* token = gtlHead;
        if (token == nullptr) {
            TRACE_EVENT(2035, "stapi_zul_gwytok.deleteGatewayTokens() GTL is EMPTY\n");
            rc = GTL_RC_LIST_EMPTY;
        }
        while (token != nullptr && count < kGtlRunawayLimit) {
            ++count;
            TRACE_EVENT(2034, "stapi_zul_gwytok.deleteGatewayTokens(indexToken=%p) GTL entry %4.4d: %s\n", at(token),
                        count, describeToken(token).text);
            GatewayToken* const successor = token->nextGwyTokPtr;
            deleteGatewayToken(&token, 0);
            token = successor;
        }
        if (count == kGtlRunawayLimit) {
            TRACE_EXC(2014, "stapi_zul_gwytok.deleteGatewayTokens() GTL iteration has hit RUNAWAY limit %d.....\n",
                      kGtlRunawayLimit);
            rc = GTL_RC_RUNAWAY;
        }
    }
    TRACE_EXIT(2015, "stapi_zul_gwytok.deleteGatewayTokens() Entries deleted=%d rc=%d\n", count, rc);
    return rc;
}

int32_t dumpGatewayTokens() {
    int32_t rc = STAPI_RC_OK;
    int32_t count = 0;
    TRACE_ENTRY(2016, "stapi_zul_gwytok.dumpGatewayTokens()\n");
    {
        const LockScope scope(&gtlLock);
        writeTraceDirect("Gateway Token List dump\n");
        writeDashLine();
        if (gtlHead == nullptr) {
            writeTraceDirect("The Gateway Token List is EMPTY\n");
            rc = GTL_RC_LIST_EMPTY;
        } else {
            const GatewayToken* token = gtlHead;
            while (token != nullptr && count < kGtlRunawayLimit) {
                ++count;
                dumpToken(token, count);
                token = token->nextGwyTokPtr;
            }
            writeTraceDirect("Total number of Gateway Token List entries=%d\n", count);
        }
        writeDashLine();
    }
    if (count == kGtlRunawayLimit) {
        TRACE_EXC(2017,
                  "stapi_zul_gwytok.dumpGatewayTokens() Gateway Token List iteration has hit RUNAWAY limit %d.....\n",
                  kGtlRunawayLimit);
        rc = GTL_RC_RUNAWAY;
    }
    TRACE_EXIT(2018, "stapi_zul_gwytok.dumpGatewayTokens() List length=%d rc=%d\n", count, rc);
    return rc;
}

int32_t formatGatewayToken(const GatewayToken* token, char* buffer) {
    int32_t rc = STAPI_RC_OK;
    if (buffer == nullptr) {
        rc = STAPI_RC_NO_DATA;
    } else if (token == nullptr) {
        traceSprintf(buffer, kTokenTextArea, "GatwayToken(NULL)");
    } else {
        traceSprintf(
            buffer, kTokenTextArea,
            "GatwayToken(%p) eyecatcher(%8.8s) port(%d) connStatus(%d) socket(%d) connRSToken(%p) resultSetBuf(%p) owningPid(%8.8X) owningTid(%8.8X) nextGwyTokPtr(%p)",
            at(token), token->eyecatcher, token->port, token->connStatus, token->socket, at(token->connRSToken),
            at(token->resultSetBuf), token->owningPid, token->owningTid, at(token->nextGwyTokPtr));
    }
    return rc;
}

int32_t createGatewayToken(GatewayToken** gwTokPtr, const char* hostname, int32_t port) {
    TRACE_ENTRY(2000, "stapi_zul_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d)\n", at(gwTokPtr), port);
    GatewayToken* token = allocateToken(port);
    int32_t rc = token == nullptr ? STAPI_RC_NO_MEMORY : STAPI_RC_OK;
    bool listed = false;
    if (rc == STAPI_RC_OK) {
        rc = attachResultSet(token);
    }
    if (rc == STAPI_RC_OK) {
        rc = attachBuffers(token);
    }
    if (rc == STAPI_RC_OK) {
        rc = chainGatewayToken(token);
        listed = rc == STAPI_RC_OK;
    }
    if (rc == STAPI_RC_OK) {
        rc = openStatsSocket(token, hostname, port);
    }
    if (rc == STAPI_RC_OK) {
        rc = fetchProtocolVersion(token);
    }
    if (rc == STAPI_RC_OK) {
        TRACE_EVENT(2033, "stapi_zul_gwytok.createGatewayToken(&gwTokPtr=%p) %s\n", at(gwTokPtr),
                    describeToken(token).text);
        *gwTokPtr = token;
    } else if (listed) {
        discardOpeningToken(token);
    } else if (token != nullptr) {
        discardUnlistedToken(token);
    }
    TRACE_EXIT(2001, "stapi_zul_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d) rc=%d\n", at(gwTokPtr), port, rc);
    return rc;
}

int32_t openStatsSocket(GatewayToken* gwTokPtr, const char* hostname, int32_t port) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2002, "stapi_zul_gwytok.openStatsSocket(gwTokPtr=%p) Attempting to connect to %s:%d\n", at(gwTokPtr),
                hostname == nullptr ? "NULL" : hostname, port);
    int32_t socket = platform::kNoSocket;
    const int32_t connectRc = connectToGateway(port, hostname, &socket);
    if (connectRc == STAPI_RC_OK) {
        storeConnection(gwTokPtr, socket, kConnectionOpen);
        TRACE_EVENT(2003, "stapi_zul_gwytok.openStatsSocket() Connected to Gateway %s:%u - socketDescriptor(%d)\n",
                    hostname, static_cast<uint32_t>(port), socket);
    } else {
        storeConnection(gwTokPtr, socket, kConnectionFailed);
        TRACE_EXC(2004, "stapi_zul_gwytok.openStatsSocket() Failed to connect to Gateway %s:%u, connect rc = %d\n",
                  hostname, static_cast<uint32_t>(port), connectRc);
        rc = mapConnectCode(connectRc);
    }
    TRACE_EXIT(2005, "stapi_zul_gwytok.openStatsSocket(gwTokPtr=%p, hostname=%s, port=%d) rc=%d\n", at(gwTokPtr),
               hostname == nullptr ? "NULL" : hostname, port, rc);
    return rc;
}

}  // namespace stapi
