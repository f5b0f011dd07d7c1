#include "gateway/token_life.h"

#include <cstring>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "diag/stapi_zul_lock.h"
#include "gateway/stapi_zul_gwytok.h"
#include "platform/platform.h"

namespace stapi {

namespace {

bool isSameOwner(const TokenOwner& one, const TokenOwner& other) {
    return idsEqual(one.pid, other.pid) != 0 && idsEqual(one.tid, other.tid) != 0;
}

// Whether a thread other than the calling one is at the token. A forked child has none of its parent's other threads.
bool isHeldByAnotherThread(const GatewayToken* token) {
    const TokenOwner caller = callingOwner();
    return isHeldState(token->state) && idsEqual(caller.pid, token->owningPid) != 0 &&
           idsEqual(caller.tid, token->owningTid) == 0;
}

TokenOwner ownerOf(const GatewayToken* token) {
    return {token->owningPid, token->owningTid};
}

// Takes a token off the list; without a parent it is the head.
void unlinkToken(const GatewayToken* token, GatewayToken* parent) {
    if (parent == nullptr) {
        gtlHead = token->nextGwyTokPtr;
    } else {
        parent->nextGwyTokPtr = token->nextGwyTokPtr;
        if (parent->nextGwyTokPtr == nullptr) {
            gtlTail = parent;
        }
    }
}

void cutOff(const GatewayToken* token) {
    if (token->socket >= 0) {
        platform::shutdownSocket(token->socket);
    }
}

// The token before a listed one, however far behind that stands.
GatewayToken* parentOf(const GatewayToken* token) {
    GatewayToken* parent = nullptr;
    for (GatewayToken* current = gtlHead; current != token; current = current->nextGwyTokPtr) {
        parent = current;
    }
    return parent;
}

TakenToken takeListed(GatewayToken* token, GatewayToken* parent, Taker taker) {
    TakenToken taken = {token, snapshotOf(token), Taking::closing};
    unlinkToken(token, parent);
    if (taker == Taker::anyone && isHeldByAnotherThread(token)) {
        token->state = TokenState::abandoned;
        taken.outcome = Taking::abandoned;
        cutOff(token);
    } else {
        token->state = TokenState::closing;
    }
    return taken;
}

}  // namespace

TokenOwner callingOwner() {
    TokenOwner caller = {};
    getPidTid(&caller.pid, &caller.tid);
    return caller;
}

bool isHeldState(TokenState state) {
    return state == TokenState::connecting || state == TokenState::inUse;
}

TokenSnapshot snapshotOf(const GatewayToken* token) {
    TokenSnapshot snapshot = {.eyecatcher = {},
                              .port = token->port,
                              .connStatus = token->connStatus,
                              .socket = token->socket,
                              .connRSToken = token->connRSToken,
                              .resultSetBuf = token->resultSetBuf,
                              .owningPid = token->owningPid,
                              .owningTid = token->owningTid,
                              .nextGwyTokPtr = token->nextGwyTokPtr,
                              .state = token->state};
    std::memcpy(snapshot.eyecatcher, token->eyecatcher, sizeof snapshot.eyecatcher);
    return snapshot;
}

int32_t listToken(GatewayToken* token) {
    int32_t rc = STAPI_RC_OK;
    const LockScope scope(&gtlLock);
    token->state = TokenState::connecting;
    if (gtlHead == nullptr) {
        gtlHead = token;
        gtlTail = token;
    } else if (gtlTail != nullptr) {
        gtlTail->nextGwyTokPtr = token;
        gtlTail = token;
    } else {
        rc = STAPI_RC_GTL_CORRUPT;
    }
    return rc;
}

int32_t lookUpToken(const GatewayToken* token, TokenOwner* owner) {
    const LockScope scope(&gtlLock);
    const int32_t findRc = findGatewayToken(token, nullptr);
    if (findRc == GTL_RC_FOUND) {
        *owner = ownerOf(token);
    }
    return findRc;
}

int32_t lookUpAndUseToken(GatewayToken* token, const TokenOwner& caller, TokenOwner* owner) {
    const LockScope scope(&gtlLock);
    const int32_t findRc = lookUpToken(token, owner);
    if (findRc == GTL_RC_FOUND && isSameOwner(caller, *owner)) {
        token->state = TokenState::inUse;
    }
    return findRc;
}

bool settleToken(GatewayToken* token) {
    const LockScope scope(&gtlLock);
    const bool settled = token->state != TokenState::abandoned;
    token->state = settled ? TokenState::idle : TokenState::closing;
    return settled;
}

bool isTokenAbandoned(const GatewayToken* token) {
    const LockScope scope(&gtlLock);
    return token->state == TokenState::abandoned;
}

TakenToken takeToken(GatewayToken* token, Taker taker) {
    const LockScope scope(&gtlLock);
    TakenToken taken = {token, {}, Taking::notListed};
    GatewayToken* parent = nullptr;
    const int32_t findRc = findGatewayToken(token, &parent);
    if (findRc == GTL_RC_FOUND) {
        taken = takeListed(token, parent, taker);
    } else if (taker == Taker::holder && token->state == TokenState::abandoned) {
        taken = {token, snapshotOf(token), Taking::closedByAnother};
        token->state = TokenState::closing;
    } else if (taker == Taker::holder) {
        taken = takeListed(token, parentOf(token), taker);
    }
    return taken;
}

TakenToken takeHead(GatewayToken* token) {
    const LockScope scope(&gtlLock);
    return takeListed(token, nullptr, Taker::anyone);
}

int32_t takeAllTokens(TakenToken* taken, int32_t limit) {
    const LockScope scope(&gtlLock);
    int32_t count = 0;
    while (gtlHead != nullptr && count < limit) {
        taken[count] = takeListed(gtlHead, nullptr, Taker::anyone);
        ++count;
    }
    return count;
}

void noteSocket(GatewayToken* token, int32_t socket) {
    const LockScope scope(&gtlLock);
    token->socket = socket;
    if (token->state == TokenState::abandoned) {
        cutOff(token);
    }
}

void noteConnectionStatus(GatewayToken* token, ConnectionStatus status) {
    const LockScope scope(&gtlLock);
    token->connStatus = static_cast<int32_t>(status);
}

void storeQueryResult(GatewayToken* token, char* buffer, int32_t bufferLen, bool resetOwner) {
    const LockScope scope(&gtlLock);
    token->resultSetBuf = buffer;
    token->resultSetBufLen = bufferLen;
    ResultSetToken* const resultSet = token->connRSToken;
    if (resetOwner && resultSet->owner != OWNER_GATEWAY) {
        resultSet->owner = OWNER_GATEWAY;  // as a rule it is: other threads may be reading it
    }
    resultSet->resultSetBuf = buffer;
    resultSet->resultSetBufLen = bufferLen;
    storeDataCursor(resultSet, buffer);
    resultSet->queryIndex = 0;
    keepContent(resultSet);
}

}  // namespace stapi
