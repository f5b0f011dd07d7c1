#include "gateway/stapi_zul_gwytok.h"

#include <cstddef>
#include <cstring>

#include "api/zulstats64.h"
#include "comms/stapi_zul_socketcomms.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "diag/stapi_zul_diag.h"
#include "gateway/stapi_zul_gwycon.h"
#include "gateway/token_life.h"
#include "platform/platform.h"

namespace stapi {

GatewayToken* gtlHead = nullptr;
GatewayToken* gtlTail = nullptr;
LockRecord gtlLock = {};

namespace {

// The trace tells the size of the record proper, as it tells the capacity of a result-set buffer without its slack.
constexpr auto kTracedTokenSize = static_cast<int32_t>(offsetof(GatewayToken, state));
static_assert(kTracedTokenSize == 72);

struct TokenText {
    char text[kTokenTextArea];
};

// One line about a token that stands, or stood, at an address.
void formatSnapshot(const TokenSnapshot& token, const void* address, char* buffer) {
    traceSprintf(
        buffer, kTokenTextArea,
        "GatwayToken(%p) eyecatcher(%8.8s) port(%d) connStatus(%d) socket(%d) connRSToken(%p) resultSetBuf(%p) owningPid(%8.8X) owningTid(%8.8X) nextGwyTokPtr(%p)",
        address, token.eyecatcher, token.port, token.connStatus, token.socket, token.connRSToken, token.resultSetBuf,
        token.owningPid, token.owningTid, token.nextGwyTokPtr);
}

TokenText describeToken(const GatewayToken* token) {
    TokenText result = {};
    formatGatewayToken(token, result.text);
    return result;
}

// The same for a token on the list, whose link other threads may change.
TokenText describeListedToken(const GatewayToken* token) {
    const LockScope scope(&gtlLock);
    return describeToken(token);
}

// A token off the list under the address that it had there.
TokenText describeTakenToken(const TakenToken& taken) {
    TokenText result = {};
    formatSnapshot(taken.before, taken.address, result.text);
    return result;
}

// Ends the connection. A forked child leaves it to its parent, and only gives its own descriptor back.
void endConnection(GatewayToken* token) {
    const bool isMine = idsEqual(callingOwner().pid, token->owningPid) != 0;
    if (token->socket >= 0 && isMine) {
        const int32_t closeRc = closeConnection(&token->socket);
        token->connStatus =
            static_cast<int32_t>(closeRc != 0 ? ConnectionStatus::closeFailed : ConnectionStatus::closed);
    } else if (token->socket >= 0) {
        platform::closeSocket(token->socket);
    }
}

void releaseTokenContents(GatewayToken* token) {
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
    releaseKeptBlock(&token->replyBlock);
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

// Closes and releases a token that is closing. What another thread was about to change when this process was forked
// off may be half changed, so the child leaves it alone.
void closeToken(GatewayToken** tokenPtr, bool isIntact) {
    endConnection(*tokenPtr);
    if (isIntact) {
        releaseTokenContents(*tokenPtr);
    }
    releaseToken(tokenPtr);
}

// What is left to do for a token that has been taken off the list. 0; -101 another thread has closed it meanwhile.
int32_t finishTaken(const TakenToken& taken, GatewayToken** tokenPtr) {
    int32_t rc = STAPI_RC_OK;
    if (taken.outcome == Taking::abandoned) {
        *tokenPtr = nullptr;
    } else {
        const bool isIntact =
            !isHeldState(taken.before.state) || idsEqual(callingOwner().pid, taken.before.owningPid) != 0;
        closeToken(tokenPtr, isIntact);
        rc = taken.outcome == Taking::closedByAnother ? STAPI_RC_TOKEN_NOT_FOUND : STAPI_RC_OK;
    }
    return rc;
}

// Deletes a token that take() takes off the list.
template <typename Take>
int32_t deleteToken(GatewayToken** tokenPtr, int32_t lockRequired, Take take) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2009, "stapi_zul_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d)\n", at(tokenPtr),
                lockRequired);
    if (tokenPtr == nullptr) {
        rc = STAPI_RC_NULL_TOKEN_POINTER;
    } else if (*tokenPtr == nullptr) {
        rc = STAPI_RC_NULL_TOKEN;
    } else {
        const TakenToken taken = take(*tokenPtr);
        rc = taken.outcome == Taking::notListed ? STAPI_RC_TOKEN_NOT_FOUND : finishTaken(taken, tokenPtr);
    }
    TRACE_EXIT(2012, "stapi_zul_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d) rc=%d\n", at(tokenPtr),
               lockRequired, rc);
    return rc;
}

// Verifies a token that lookUp() finds; for a caller who is its owner, lookUp may also take up its use.
template <typename LookUp>
int32_t verifyToken(const GatewayToken* token, LookUp lookUp) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2006, "stapi_zul_gwytok.verifyGatewayToken(&gwTokPtr=%p)\n", at(token));
    const TokenOwner caller = callingOwner();
    TokenOwner owner = {};
    const int32_t findRc = lookUp(caller, &owner);
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
    releaseKeptBlock(&token->replyBlock);
    releaseMemory(token);
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
        token->connStatus = static_cast<int32_t>(ConnectionStatus::created);
        token->socket = platform::kNoSocket;
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
            keepContent(token->connRSToken);
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
        rc = mapExchangeCode(exchangeRc, reasons);
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

// Gives a new token what it owns and puts it on the list; a token that does not get there is released.
int32_t listNewToken(GatewayToken* token, TokenHold* opening) {
    int32_t rc = attachResultSet(token);
    if (rc == STAPI_RC_OK) {
        rc = attachBuffers(token);
    }
    if (rc == STAPI_RC_OK) {
        rc = chainGatewayToken(token);
    }
    if (rc == STAPI_RC_OK) {
        opening->adoptOpening(token);
    } else {
        discardUnlistedToken(token);
    }
    return rc;
}

int32_t connectToken(GatewayToken* token, const char* hostname, int32_t port) {
    int32_t rc = openStatsSocket(token, hostname, port);
    if (rc == STAPI_RC_OK) {
        rc = fetchProtocolVersion(token);
    }
    return rc;
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
        if (!isHeldState(token->state) && resultSet->resultSetBuf != nullptr) {
            dumpResultSetBuffer(resultSet->resultSetBuf, resultSet->resultSetBufLen);
        }
        writeDashLine();
    }
}

}  // namespace

int32_t initGTL() {
    const int32_t rc = STAPI_RC_OK;
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
        rc = listToken(token);
        if (rc != STAPI_RC_OK) {
            TRACE_EXC(2020, "stapi_zul_gwytok.chainGatewayToken() GTL state is corrupt - head(%p) tail (%p)\n",
                      at(gtlHead), at(gtlTail));
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
    return verifyToken(token, [token](const TokenOwner&, TokenOwner* owner) { return lookUpToken(token, owner); });
}

int32_t deleteGatewayToken(GatewayToken** tokenPtr, int32_t lockRequired) {
    return deleteToken(tokenPtr, lockRequired, [lockRequired](GatewayToken* token) {
        return lockRequired == 1 ? takeToken(token, Taker::anyone) : takeHead(token);
    });
}

int32_t deleteGatewayTokens() {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2013, "stapi_zul_gwytok.deleteGatewayTokens()\n");
    TakenToken allTaken[kGtlRunawayLimit];
    const int32_t count = takeAllTokens(allTaken, kGtlRunawayLimit);
    if (count == 0) {
        TRACE_EVENT(2035, "stapi_zul_gwytok.deleteGatewayTokens() GTL is EMPTY\n");
        rc = GTL_RC_LIST_EMPTY;
    }
    for (int32_t index = 0; index < count; ++index) {
        const TakenToken& taken = allTaken[index];
        TRACE_EVENT(2034, "stapi_zul_gwytok.deleteGatewayTokens(indexToken=%p) GTL entry %4.4d: %s\n",
                    at(taken.address), index + 1, describeTakenToken(taken).text);
        GatewayToken* token = taken.address;
        deleteToken(&token, 0, [&taken](GatewayToken*) { return taken; });
    }
    if (count == kGtlRunawayLimit) {
        TRACE_EXC(2014, "stapi_zul_gwytok.deleteGatewayTokens() GTL iteration has hit RUNAWAY limit %d.....\n",
                  kGtlRunawayLimit);
        rc = GTL_RC_RUNAWAY;
    }
    TRACE_EXIT(2015, "stapi_zul_gwytok.deleteGatewayTokens() Entries deleted=%d rc=%d\n", count, rc);
    return rc;
}

int32_t TokenHold::beginQuery(GatewayToken* token) {
    const int32_t rc = verifyToken(token, [token](const TokenOwner& caller, TokenOwner* owner) {
        return lookUpAndUseToken(token, caller, owner);
    });
    if (rc == STAPI_RC_OK) {
        token_ = token;
    }
    return rc;
}

void TokenHold::adoptOpening(GatewayToken* token) {
    token_ = token;
}

int32_t TokenHold::end() {
    int32_t rc = STAPI_RC_OK;
    if (!settleToken(token_)) {
        closeToken(&token_, true);
        rc = STAPI_RC_TOKEN_NOT_FOUND;
    }
    token_ = nullptr;
    return rc;
}

bool TokenHold::isAbandoned() const {
    return isTokenAbandoned(token_);
}

int32_t TokenHold::removeListed() {
    return deleteToken(&token_, 1, [](GatewayToken* token) { return takeToken(token, Taker::holder); });
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
        formatSnapshot(snapshotOf(token), token, buffer);
    }
    return rc;
}

int32_t createGatewayToken(GatewayToken** gwTokPtr, const char* hostname, int32_t port, TokenHold* opening) {
    TRACE_ENTRY(2000, "stapi_zul_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d)\n", at(gwTokPtr), port);
    GatewayToken* const token = allocateToken(port);
    int32_t rc = token == nullptr ? STAPI_RC_NO_MEMORY : STAPI_RC_OK;
    if (rc == STAPI_RC_OK) {
        rc = listNewToken(token, opening);
    }
    if (rc == STAPI_RC_OK) {
        rc = connectToken(token, hostname, port);
        if (rc != STAPI_RC_OK) {
            opening->remove([] {});
        }
    }
    if (rc == STAPI_RC_OK) {
        TRACE_EVENT(2033, "stapi_zul_gwytok.createGatewayToken(&gwTokPtr=%p) %s\n", at(gwTokPtr),
                    describeListedToken(token).text);
        *gwTokPtr = token;
    }
    TRACE_EXIT(2001, "stapi_zul_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d) rc=%d\n", at(gwTokPtr), port, rc);
    return rc;
}

int32_t openStatsSocket(GatewayToken* gwTokPtr, const char* hostname, int32_t port) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2002, "stapi_zul_gwytok.openStatsSocket(gwTokPtr=%p) Attempting to connect to %s:%d\n", at(gwTokPtr),
                hostname == nullptr ? "NULL" : hostname, port);
    int32_t socket = platform::kNoSocket;
    const int32_t connectRc = connectToGateway(port, hostname, &socket, gwTokPtr);
    noteConnectionStatus(gwTokPtr, connectRc == STAPI_RC_OK ? ConnectionStatus::open : ConnectionStatus::failed);
    if (connectRc == STAPI_RC_OK) {
        TRACE_EVENT(2003, "stapi_zul_gwytok.openStatsSocket() Connected to Gateway %s:%u - socketDescriptor(%d)\n",
                    hostname, static_cast<uint32_t>(port), socket);
    } else {
        TRACE_EXC(2004, "stapi_zul_gwytok.openStatsSocket() Failed to connect to Gateway %s:%u, connect rc = %d\n",
                  hostname, static_cast<uint32_t>(port), connectRc);
        rc = mapConnectCode(connectRc);
    }
    TRACE_EXIT(2005, "stapi_zul_gwytok.openStatsSocket(gwTokPtr=%p, hostname=%s, port=%d) rc=%d\n", at(gwTokPtr),
               hostname == nullptr ? "NULL" : hostname, port, rc);
    return rc;
}

}  // namespace stapi
