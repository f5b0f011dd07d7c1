// Gateway tokens that were never connected, and the process-wide list that a test may do with as it likes.
#ifndef ZULSTATS_TESTS_UNIT_GATEWAY_TOKEN_LIST_FIXTURE_H
#define ZULSTATS_TESTS_UNIT_GATEWAY_TOKEN_LIST_FIXTURE_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "comms/gateway_token.h"
#include "diag/heap_blocks.h"
#include "gateway/stapi_zul_gwytok.h"
#include "gateway/token_life.h"
#include "impl/stapi_zul_impl.h"
#include "platform/platform.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"

namespace unit_test {

constexpr int32_t kTestTokenCapacity = 48;

// A token of the calling thread's without a socket, as it is when it has just been made. Not on the list.
inline GatewayToken* newToken(int32_t port = 4100) {
    auto* const token = static_cast<GatewayToken*>(stapi::allocateMemory(sizeof(GatewayToken)));
    std::memcpy(token->eyecatcher, "ZULGWTOK", sizeof token->eyecatcher);
    token->port = port;
    token->socket = -1;
    token->state = stapi::TokenState::idle;
    token->owningPid = stapi::platform::currentProcessId();
    token->owningTid = stapi::platform::currentThreadId();
    EXPECT_EQ(stapi::createResultSet(&token->connRSToken, "ZULRSROB", 0x8888), 0);
    token->resultSetBuf = static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(kTestTokenCapacity)));
    token->resultSetBufLen = kTestTokenCapacity;
    stapi::addTerminator(token->resultSetBuf);
    token->connRSToken->resultSetBuf = token->resultSetBuf;
    token->connRSToken->resultSetBufLen = kTestTokenCapacity;
    stapi::keepContent(token->connRSToken);
    token->protocolVersion = static_cast<char*>(stapi::allocateMemory(64));
    return token;
}

// Releases a token that is not on the list.
inline void releaseUnlisted(GatewayToken* token) {
    stapi::deleteResultSet(&token->connRSToken);
    stapi::releaseMemory(token->resultSetBuf);
    stapi::releaseMemory(token->protocolVersion);
    stapi::releaseMemory(token);
}

// What the tokens on the list are, read without the library's help.
inline std::vector<GatewayToken*> listed() {
    std::vector<GatewayToken*> tokens;
    for (GatewayToken* token = stapi::gtlHead; token != nullptr && tokens.size() < 1000; token = token->nextGwyTokPtr) {
        tokens.push_back(token);
    }
    return tokens;
}

// Finds the list empty, and leaves it so.
class GtlTest : public TracedTest {
  protected:
    using Tokens = std::vector<GatewayToken*>;

    void SetUp() override {
        TracedTest::SetUp();
        ASSERT_EQ(stapi::stapiInit(), 0);
        ASSERT_EQ(stapi::gtlHead, nullptr);
        stapi::gtlTail = nullptr;
    }
    void TearDown() override {
        TracedTest::TearDown();
        while (stapi::gtlHead != nullptr) {
            stapi::deleteGatewayTokens();
        }
        stapi::gtlTail = nullptr;
    }

    static GatewayToken* chained(int32_t port = 4100) {
        GatewayToken* const token = newToken(port);
        EXPECT_EQ(stapi::chainGatewayToken(token), 0);
        EXPECT_TRUE(stapi::settleToken(token));
        return token;
    }
    // Ports 1 to count, in the order of the list.
    static Tokens chainMany(int32_t count) {
        Tokens tokens;
        for (int32_t port = 1; port <= count; ++port) {
            tokens.push_back(chained(port));
        }
        return tokens;
    }
    static int32_t find(const GatewayToken* target, GatewayToken** parent) {
        const stapi::LockScope scope(&stapi::gtlLock);
        return stapi::findGatewayToken(target, parent);
    }
};

}  // namespace unit_test

#endif
