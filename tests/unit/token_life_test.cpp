// The transitions of a gateway token, one by one.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "api/zulstats64.h"
#include "gateway/token_life.h"
#include "gateway_token_list_fixture.h"

namespace {

using stapi::Taker;
using stapi::Taking;
using stapi::TokenHold;
using stapi::TokenState;
using unit_test::listed;
using unit_test::onAnotherThread;
using unit_test::releaseUnlisted;

class TokenLife : public unit_test::GtlTest {
  protected:
    static GatewayToken* chainedIn(TokenState state) {
        GatewayToken* const token = chained();
        token->state = state;
        return token;
    }
    static Taking takenByAnotherThread(GatewayToken* token) {
        Taking outcome = Taking::notListed;
        onAnotherThread([&] { outcome = stapi::takeToken(token, Taker::anyone).outcome; });
        return outcome;
    }
};

TEST_F(TokenLife, OpeningAndQueryEndInIdle) {
    for (const TokenState state : {TokenState::connecting, TokenState::inUse}) {
        GatewayToken* const token = chainedIn(state);
        EXPECT_TRUE(stapi::settleToken(token));
        EXPECT_EQ(token->state, TokenState::idle);
    }
}

TEST_F(TokenLife, EndOfAnAbandonedTokenLeavesItToTheCaller) {
    GatewayToken* const token = unit_test::newToken();
    token->state = TokenState::abandoned;
    EXPECT_TRUE(stapi::isTokenAbandoned(token));
    EXPECT_FALSE(stapi::settleToken(token));
    EXPECT_EQ(token->state, TokenState::closing);
    EXPECT_FALSE(stapi::isTokenAbandoned(token));
    releaseUnlisted(token);
}

TEST_F(TokenLife, IdleTokenIsTakenForClosingByAnyThread) {
    GatewayToken* const token = chained();
    EXPECT_EQ(takenByAnotherThread(token), Taking::closing);
    EXPECT_EQ(token->state, TokenState::closing);
    EXPECT_EQ(listed(), Tokens{});
    releaseUnlisted(token);
}

TEST_F(TokenLife, TokenThatItsOwnerIsAtIsAbandonedByAnotherThread) {
    for (const TokenState state : {TokenState::connecting, TokenState::inUse}) {
        GatewayToken* const token = chainedIn(state);
        EXPECT_EQ(takenByAnotherThread(token), Taking::abandoned);
        EXPECT_EQ(token->state, TokenState::abandoned);
        EXPECT_EQ(listed(), Tokens{});
        releaseUnlisted(token);
    }
}

TEST_F(TokenLife, TokenThatAThreadOfAnotherProcessIsAtIsTakenForClosing) {
    GatewayToken* const token = chainedIn(TokenState::inUse);
    ++token->owningPid;
    EXPECT_EQ(takenByAnotherThread(token), Taking::closing);
    releaseUnlisted(token);
}

TEST_F(TokenLife, HolderIsGivenATokenThatHasBeenAbandoned) {
    chained();
    GatewayToken* const token = chainedIn(TokenState::inUse);
    ASSERT_EQ(takenByAnotherThread(token), Taking::abandoned);
    EXPECT_EQ(stapi::takeToken(token, Taker::anyone).outcome, Taking::notListed);
    EXPECT_EQ(token->state, TokenState::abandoned);
    const stapi::TakenToken taken = stapi::takeToken(token, Taker::holder);
    EXPECT_EQ(taken.outcome, Taking::closedByAnother);
    EXPECT_EQ(taken.before.state, TokenState::abandoned);
    EXPECT_EQ(taken.before.owningPid, token->owningPid);
    EXPECT_EQ(token->state, TokenState::closing);
    EXPECT_EQ(listed().size(), 1U);
    releaseUnlisted(token);
}

TEST_F(TokenLife, OnlyItsHolderIsGivenATokenTooFarBehindForOthersToFind) {
    Tokens tokens = chainMany(stapi::kGtlRunawayLimit + 3);
    GatewayToken* const token = tokens.back();
    token->state = TokenState::inUse;
    EXPECT_EQ(stapi::takeToken(token, Taker::anyone).outcome, Taking::notListed);
    EXPECT_EQ(stapi::takeToken(token, Taker::holder).outcome, Taking::closing);
    tokens.pop_back();
    EXPECT_EQ(listed(), tokens);
    EXPECT_EQ(stapi::gtlTail, tokens.back());
    releaseUnlisted(token);
}

TEST_F(TokenLife, HeadAndAllTokensAreAbandonedWhenAnotherThreadIsAtThem) {
    GatewayToken* const head = chainedIn(TokenState::inUse);
    GatewayToken* const next = chainedIn(TokenState::connecting);
    stapi::TakenToken taken[2] = {};
    int32_t count = 0;
    onAnotherThread([&] {
        taken[0] = stapi::takeHead(head);
        count = stapi::takeAllTokens(&taken[1], 1);
    });
    EXPECT_EQ(taken[0].outcome, Taking::abandoned);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(taken[1].address, next);
    EXPECT_EQ(taken[1].outcome, Taking::abandoned);
    releaseUnlisted(head);
    releaseUnlisted(next);
}

TEST_F(TokenLife, TakingAllStopsAtTheLimit) {
    chainMany(3);
    stapi::TakenToken taken[3] = {};
    EXPECT_EQ(stapi::takeAllTokens(taken, 2), 2);
    EXPECT_EQ(listed().size(), 1U);
    EXPECT_EQ(taken[2].address, nullptr);
    releaseUnlisted(taken[0].address);
    releaseUnlisted(taken[1].address);
}

TEST_F(TokenLife, SnapshotTellsWhatTheTokenWasLikeBeforeItWasTaken) {
    GatewayToken* const token = chainedIn(TokenState::inUse);
    token->socket = -1;
    token->connStatus = 1;
    const stapi::TokenSnapshot before = stapi::takeToken(token, Taker::holder).before;
    EXPECT_EQ(std::memcmp(before.eyecatcher, "ZULGWTOK", sizeof before.eyecatcher), 0);
    EXPECT_EQ(before.port, 4100);
    EXPECT_EQ(before.connStatus, 1);
    EXPECT_EQ(before.owningPid, token->owningPid);
    EXPECT_EQ(before.owningTid, token->owningTid);
    EXPECT_EQ(before.state, TokenState::inUse);
    releaseUnlisted(token);
}

// A forked child finds such a token on its copy of the list: what the other thread was changing may be half changed.
TEST_F(TokenLife, TokenInUseInAnotherProcessIsReleasedWithoutItsContents) {
    GatewayToken* token = chainedIn(TokenState::inUse);
    ++token->owningPid;
    ResultSetToken* resultSet = token->connRSToken;
    char* const buffer = token->resultSetBuf;
    char* const version = token->protocolVersion;
    EXPECT_EQ(stapi::deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(token, nullptr);
    stapi::deleteResultSet(&resultSet);
    stapi::releaseMemory(buffer);
    stapi::releaseMemory(version);
}

TEST_F(TokenLife, IdleTokenOfAnotherProcessIsReleasedWithItsContents) {
    GatewayToken* token = chained();
    ++token->owningPid;
    EXPECT_EQ(stapi::deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(token, nullptr);
}

TEST_F(TokenLife, RemovalOfAnAbandonedTokenReleasesItAndIsMinus101) {
    GatewayToken* const token = chained();
    TokenHold hold;
    ASSERT_EQ(hold.beginQuery(token), 0);
    ASSERT_EQ(takenByAnotherThread(token), Taking::abandoned);
    bool isAnnounced = false;
    EXPECT_EQ(hold.remove([&isAnnounced] { isAnnounced = true; }), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_FALSE(isAnnounced);
    EXPECT_EQ(hold.token(), nullptr);
}

TEST_F(TokenLife, TokenAbandonedInTheMiddleOfItsRemovalIsReleasedWithItsContents) {
    GatewayToken* const token = chained();
    TokenHold hold;
    ASSERT_EQ(hold.beginQuery(token), 0);
    EXPECT_EQ(hold.remove([token] { EXPECT_EQ(takenByAnotherThread(token), Taking::abandoned); }),
              STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(hold.token(), nullptr);
}

TEST_F(TokenLife, RemovalFindsATokenHoweverFarBehindItStands) {
    Tokens tokens = chainMany(stapi::kGtlRunawayLimit + 3);
    TokenHold hold;
    hold.adoptOpening(tokens.back());
    EXPECT_EQ(hold.remove([] {}), 0);
    EXPECT_EQ(hold.token(), nullptr);
    tokens.pop_back();
    EXPECT_EQ(listed(), tokens);
}

TEST_F(TokenLife, AdoptedOpeningIsHeldUntilItEnds) {
    GatewayToken* const token = chainedIn(TokenState::connecting);
    TokenHold hold;
    hold.adoptOpening(token);
    EXPECT_EQ(hold.token(), token);
    EXPECT_EQ(hold.end(), 0);
    EXPECT_EQ(hold.token(), nullptr);
    EXPECT_EQ(token->state, TokenState::idle);
}

}  // namespace
