// Gateway tokens, one for each open connection, and the Gateway Token List (GTL) that holds them all.
//
// What a token's states are, and how it comes from one to the next, stands in token_life.h. A thread that opens or
// queries holds its token by a TokenHold.
#ifndef ZULSTATS_GATEWAY_STAPI_ZUL_GWYTOK_H
#define ZULSTATS_GATEWAY_STAPI_ZUL_GWYTOK_H

#include <cstddef>
#include <cstdint>

#include "comms/gateway_token.h"
#include "diag/stapi_zul_lock.h"

namespace stapi {

// Codes of the list's functions; no caller of the library sees them.
enum GtlReturnCode : int32_t {
    GTL_RC_EMPTY = 1001,
    GTL_RC_NULL_TARGET = 1002,
    GTL_RC_NOT_FOUND = 1003,
    GTL_RC_FOUND = 1004,
    GTL_RC_RUNAWAY = 1005,
    GTL_RC_LIST_EMPTY = 1006
};

constexpr int32_t kGtlRunawayLimit = 256;
constexpr size_t kTokenTextArea = 512;

// The list: first and last token. The last stays named after the list became empty. Guarded by gtlLock.
extern GatewayToken* gtlHead;
extern GatewayToken* gtlTail;
extern LockRecord gtlLock;

// Initialises the list's lock: 0, or 1 when it was initialised already.
int32_t initGTL();

// Appends a token whose link is null. 0; -108 null token; -115 the list has a head but no tail.
int32_t chainGatewayToken(GatewayToken* token);

// Looks for a token; the caller holds gtlLock. GTL_RC_FOUND, with the token before it (null for the head) through
// parentPtr unless that is null; else GTL_RC_NULL_TARGET, GTL_RC_EMPTY, GTL_RC_NOT_FOUND or GTL_RC_RUNAWAY. The target
// is never read.
int32_t findGatewayToken(const GatewayToken* target, GatewayToken** parentPtr);

// 0 when the token is on the list and belongs to the calling process and thread; -101 not on the list; -123 another
// process; -124 another thread.
int32_t verifyGatewayToken(GatewayToken* token);

// A token that the calling thread is opening, or querying with.
class TokenHold {
  public:
    TokenHold() = default;
    TokenHold(const TokenHold&) = delete;
    TokenHold& operator=(const TokenHold&) = delete;
    // What is still held is ended.
    ~TokenHold() {
        if (token_ != nullptr) {
            end();
        }
    }

    GatewayToken* token() const {
        return token_;
    }

    // Takes up a query. The codes of verifyGatewayToken; on 0 the token is held.
    int32_t beginQuery(GatewayToken* token);
    // Takes over a token that has just been put on the list.
    void adoptOpening(GatewayToken* token);

    // Each ends the hold. 0; -101 another thread has closed the connection meanwhile: the token and its result set are
    // released.
    int32_t end();
    // Closes the connection, takes the token off the list and releases it. announce() is called before, unless another
    // thread has closed the connection by then.
    template <typename Announce>
    int32_t remove(Announce announce) {
        int32_t rc = 0;
        if (isAbandoned()) {
            rc = end();
        } else {
            announce();
            rc = removeListed();
        }
        return rc;
    }

  private:
    bool isAbandoned() const;
    int32_t removeListed();

    GatewayToken* token_ = nullptr;
};

// Takes a token off the list, closes and releases it and sets *tokenPtr to null. The close exchange is made without the
// list's lock. A token that another thread is at is only cut off; that thread releases it. lockRequired 0: the token is
// the head of the list. 0; -108 tokenPtr null; -100 *tokenPtr null; -101 not on the list.
int32_t deleteGatewayToken(GatewayToken** tokenPtr, int32_t lockRequired);

// Deletes every token. 0; GTL_RC_RUNAWAY after 256 of them; GTL_RC_LIST_EMPTY.
int32_t deleteGatewayTokens();

// Writes every token with a hex dump of its result set to the trace destination, whatever the trace level. 0;
// GTL_RC_RUNAWAY; GTL_RC_LIST_EMPTY.
int32_t dumpGatewayTokens();

// Writes a one-line description of a token (null is allowed) into a buffer of kTokenTextArea bytes. 0; -103 (buffer
// null).
int32_t formatGatewayToken(const GatewayToken* token, char* buffer);

// Makes a token, chains it, connects it and asks for the protocol version. Only on 0 is *gwTokPtr set, to a token that
// is held by *opening. Codes as openRemoteGatewayConnection.
int32_t createGatewayToken(GatewayToken** gwTokPtr, const char* hostname, int32_t port, TokenHold* opening);

// Connects a token's socket. 0, or one of the codes of a failed connection: -118, -132, -134, -135, -136.
int32_t openStatsSocket(GatewayToken* gwTokPtr, const char* hostname, int32_t port);

}  // namespace stapi

#endif
