// The life of a gateway token. All of its transitions stand in this module, each in one hold of the list's lock; no
// wire exchange is made in such a hold.
//
//   state        | what happens                           | state behind it
//   -------------+----------------------------------------+----------------
//   connecting   | its owner ends the opening             | idle
//   idle         | its owner begins a query               | inUse
//   inUse        | its owner ends the query               | idle
//   connecting,  | another thread closes it: it is cut    | abandoned
//   inUse        | off, so that its owner wakes up        |
//   idle         | any thread closes it                   | closing
//   connecting,  | its owner removes it                   | closing
//   inUse        |                                        |
//   abandoned    | its owner ends or removes it           | closing
//
// A token that is closing belongs to the one thread that made it so, which closes its socket and releases it. So no
// thread ever uses a token that another one has released, and nobody waits for another thread's exchange.
#ifndef ZULSTATS_GATEWAY_TOKEN_LIFE_H
#define ZULSTATS_GATEWAY_TOKEN_LIFE_H

#include <cstdint>

#include "comms/gateway_token.h"

namespace stapi {

struct TokenOwner {
    uint32_t pid;
    uint32_t tid;
};

// The calling process and thread.
TokenOwner callingOwner();

// Whether the owner of a token in this state is in the middle of an opening or a query.
bool isHeldState(TokenState state);

// How a token was found that was to be taken off the list.
enum class Taking : int32_t {
    notListed,       // it was not taken
    abandoned,       // its owner releases it
    closing,         // the caller closes and releases it
    closedByAnother  // the same, but another thread had taken it off the list already
};

// What a line about a token tells, and what the closing of it has to know.
struct TokenSnapshot {
    char eyecatcher[8];
    int32_t port;
    int32_t connStatus;
    int32_t socket;
    const void* connRSToken;
    const void* resultSetBuf;
    uint32_t owningPid;
    uint32_t owningTid;
    const void* nextGwyTokPtr;
    TokenState state;
};

// The caller holds the list's lock, or is the token's owner.
TokenSnapshot snapshotOf(const GatewayToken* token);

// A token that has been taken off the list, and what it was like then: an abandoned token may be gone any moment.
struct TakenToken {
    GatewayToken* address;
    TokenSnapshot before;
    Taking outcome;
};

// Who takes a token off the list: its owner, out of an opening or a query, or anybody else.
enum class Taker : int32_t { holder, anyone };

// A new token -> connecting: appends it to the list. 0; -115 the list has a head but no tail.
int32_t listToken(GatewayToken* token);

// Looks a token up without reading it: a code of findGatewayToken. When it is there, its owner is stored in *owner.
int32_t lookUpToken(const GatewayToken* token, TokenOwner* owner);
// The same; idle -> inUse when the caller is the owner.
int32_t lookUpAndUseToken(GatewayToken* token, const TokenOwner& caller, TokenOwner* owner);

// connecting, inUse -> idle: true. abandoned -> closing: false, and the caller releases it.
bool settleToken(GatewayToken* token);
// Whether another thread has closed a token that the caller holds.
bool isTokenAbandoned(const GatewayToken* token);

// Takes a token off the list, wherever it stands there. A holder also gets a token that has been abandoned, and one
// that stands too far behind for others to find.
TakenToken takeToken(GatewayToken* token, Taker taker);
// Takes the head off the list, which the caller knows to be the token.
TakenToken takeHead(GatewayToken* token);
// Takes up to limit tokens off the list at once, in its order, and returns their number.
int32_t takeAllTokens(TakenToken* taken, int32_t limit);

// Notes the socket of a token that is being opened, so that others see it and can cut it off. A token that has been
// abandoned already is cut off here. To be called when the socket is made, and once more when it is connected: one that
// is not connected cannot be cut off.
void noteSocket(GatewayToken* token, int32_t socket);
void noteConnectionStatus(GatewayToken* token, ConnectionStatus status);

// Stores the buffer and capacity that a query has left behind in a token in use, and points the connection's result set
// at its start; resetOwner also renews the result set's owner.
void storeQueryResult(GatewayToken* token, char* buffer, int32_t bufferLen, bool resetOwner);

}  // namespace stapi

#endif
