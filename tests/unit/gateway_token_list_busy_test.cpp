// Tokens that their owner is using while other threads close or dump them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "api/zulstats64.h"
#include "gateway_token_list_fixture.h"

namespace {

using stapi::deleteGatewayToken;
using stapi::deleteGatewayTokens;
using stapi::TokenHold;
using stapi::TokenState;
using unit_test::at;
using unit_test::dashLine;
using unit_test::Lines;
using unit_test::listed;
using unit_test::onAnotherThread;

class GtlBusy : public unit_test::GtlTest {
  protected:
    // A token of this thread's in use, held by hold_.
    GatewayToken* inUse() {
        GatewayToken* const token = chained();
        EXPECT_EQ(hold_.beginQuery(token), 0);
        return token;
    }

    TokenHold hold_;
};

TEST_F(GtlBusy, TokenIsBusyFromBeginToEnd) {
    GatewayToken* const token = chained();
    EXPECT_EQ(token->state, TokenState::idle);
    EXPECT_EQ(hold_.beginQuery(token), 0);
    EXPECT_EQ(token->state, TokenState::inUse);
    EXPECT_EQ(hold_.end(), 0);
    EXPECT_EQ(token->state, TokenState::idle);
    EXPECT_EQ(listed(), (Tokens{token}));
}

TEST_F(GtlBusy, VerifyingDoesNotMakeATokenBusy) {
    GatewayToken* const token = chained();
    EXPECT_EQ(stapi::verifyGatewayToken(token), 0);
    EXPECT_EQ(token->state, TokenState::idle);
}

TEST_F(GtlBusy, BeginRefusesWhatVerifyingRefusesAndMakesNothingBusy) {
    GatewayToken* const token = chained();
    int32_t rc = 0;
    onAnotherThread([&] { rc = hold_.beginQuery(token); });
    EXPECT_EQ(rc, STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(token->state, TokenState::idle);
    ++token->owningPid;
    EXPECT_EQ(hold_.beginQuery(token), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(token->state, TokenState::idle);
    EXPECT_EQ(hold_.beginQuery(nullptr), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(hold_.beginQuery(reinterpret_cast<GatewayToken*>(uintptr_t{16})), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(GtlBusy, BeginTracesAsVerifyingDoes) {
    GatewayToken* const token = chained();
    traceToFile(5);
    EXPECT_EQ(hold_.beginQuery(token), 0);
    EXPECT_EQ(ids(), (std::vector<int>{2006, 2023, 2026, 2029, 2008}));
    EXPECT_EQ(hold_.end(), 0);
}

TEST_F(GtlBusy, DeletedByAnotherThreadIsAbandonedAndReleasedByItsOwner) {
    GatewayToken* const token = inUse();
    GatewayToken* othersPointer = token;
    int32_t rc = 1;
    onAnotherThread([&] { rc = deleteGatewayToken(&othersPointer, 1); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(othersPointer, nullptr);
    EXPECT_EQ(listed(), Tokens{});
    EXPECT_EQ(token->state, TokenState::abandoned);
    EXPECT_EQ(std::string(token->eyecatcher, 8), "ZULGWTOK");
    std::memset(token->resultSetBuf, 'x', unit_test::kTestTokenCapacity);
    EXPECT_EQ(stapi::verifyGatewayToken(token), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(hold_.end(), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(GtlBusy, ReleaseOfAnAbandonedTokenIsTracedWhereItHappens) {
    GatewayToken* const token = inUse();
    GatewayToken* othersPointer = token;
    traceToFile(5);
    onAnotherThread([&] { deleteGatewayToken(&othersPointer, 1); });
    EXPECT_EQ(messages(2010), Lines{});
    EXPECT_EQ(messages(2012), (Lines{"stapi_zul_gwytok.deleteGatewayToken(&gwTokPtr=" + at(&othersPointer) +
                                     ", lockRequired=1) rc=0"}));
    EXPECT_EQ(hold_.end(), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(messages(2010).size(), 1U);
    EXPECT_EQ(messages(2011).size(), 1U);
}

TEST_F(GtlBusy, InTheMiddleOfTheListIsUnlinkedLikeAnyOther) {
    GatewayToken* const one = chained();
    GatewayToken* const two = inUse();
    GatewayToken* const three = chained();
    GatewayToken* othersPointer = two;
    onAnotherThread([&] { deleteGatewayToken(&othersPointer, 1); });
    EXPECT_EQ(listed(), (Tokens{one, three}));
    EXPECT_EQ(hold_.end(), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(listed(), (Tokens{one, three}));
}

TEST_F(GtlBusy, AtTheEndOfTheListMakesItsParentTheTail) {
    GatewayToken* const one = chained();
    GatewayToken* const two = inUse();
    GatewayToken* othersPointer = two;
    onAnotherThread([&] { deleteGatewayToken(&othersPointer, 1); });
    GatewayToken* const three = chained();
    EXPECT_EQ(listed(), (Tokens{one, three}));
    EXPECT_EQ(hold_.end(), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(GtlBusy, DeletedByItsOwnThreadIsReleasedAtOnce) {
    inUse();
    traceToFile(4);
    EXPECT_EQ(hold_.remove([] {}), 0);
    EXPECT_EQ(hold_.token(), nullptr);
    EXPECT_EQ(messages(2011).size(), 1U);
    EXPECT_EQ(listed(), Tokens{});
}

TEST_F(GtlBusy, AmongOthersIsAbandonedWhenAnotherThreadDeletesAll) {
    chained();
    inUse();
    chained();
    int32_t rc = 1;
    traceToFile(3);
    onAnotherThread([&] { rc = deleteGatewayTokens(); });
    setLevelSilently(0);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(messages(2015), (Lines{"stapi_zul_gwytok.deleteGatewayTokens() Entries deleted=3 rc=0"}));
    EXPECT_EQ(listed(), Tokens{});
    EXPECT_EQ(hold_.end(), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(GtlBusy, ClosedThroughTheExportByAnotherThreadEndsTheOwnersUse) {
    GatewayToken* const token = inUse();
    GatewayToken* othersPointer = token;
    int32_t rc = 1;
    onAnotherThread([&] { rc = closeGatewayConnection(&othersPointer); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(othersPointer, nullptr);
    EXPECT_EQ(hold_.end(), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(GtlBusy, IsDumpedWithoutTheBytesOfItsBuffer) {
    GatewayToken* const token = inUse();
    char description[512] = {};
    ASSERT_EQ(stapi::formatGatewayToken(token, description), 0);
    traceToFile(0);
    int32_t rc = 1;
    onAnotherThread([&] { rc = stapi::dumpGatewayTokens(); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(traced(), "Gateway Token List dump\n" + dashLine() + "Gateway Token List entry -0001- : " + description +
                            "\nDump of ResultSet(" + at(token->connRSToken) + ") owner(API) buffer(" +
                            at(token->resultSetBuf) + ") cursor(" + at(nullptr) + ")\n" + dashLine() + dashLine() +
                            "Total number of Gateway Token List entries=1\n" + dashLine());
    EXPECT_EQ(hold_.end(), 0);
}

TEST_F(GtlBusy, IsDumpedWithItsBytesAgainAfterItsUse) {
    inUse();
    EXPECT_EQ(hold_.end(), 0);
    traceToFile(0);
    EXPECT_EQ(stapi::dumpGatewayTokens(), 0);
    EXPECT_NE(traced().find("0F0E0F0E"), std::string::npos);
}

// ---- What a query leaves behind -------------------------------------------------------------------------------------

TEST_F(GtlBusy, QueryResultIsStoredInTokenAndResultSetAndResetsTheWalk) {
    GatewayToken* const token = inUse();
    ResultSetToken* const resultSet = token->connRSToken;
    stapi::releaseMemory(token->resultSetBuf);
    auto* const larger = static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(96)));
    stapi::addTerminator(larger);
    resultSet->queryIndex = 3;
    resultSet->dataCursor = nullptr;
    stapi::storeQueryResult(token, larger, 96, false);
    EXPECT_EQ(token->resultSetBuf, larger);
    EXPECT_EQ(token->resultSetBufLen, 96);
    EXPECT_EQ(resultSet->resultSetBuf, larger);
    EXPECT_EQ(resultSet->resultSetBufLen, 96);
    EXPECT_EQ(resultSet->dataCursor, larger);
    EXPECT_EQ(resultSet->queryIndex, 0U);
    EXPECT_EQ(hold_.end(), 0);
}

TEST_F(GtlBusy, QueryResultRenewsTheOwnerOnRequestOnly) {
    GatewayToken* const token = inUse();
    token->connRSToken->owner = 0x9999;
    stapi::storeQueryResult(token, token->resultSetBuf, token->resultSetBufLen, false);
    EXPECT_EQ(token->connRSToken->owner, 0x9999U);
    stapi::storeQueryResult(token, token->resultSetBuf, token->resultSetBufLen, true);
    EXPECT_EQ(token->connRSToken->owner, 0x8888U);
    EXPECT_EQ(hold_.end(), 0);
}

TEST_F(GtlBusy, WalkOfAConnectionEndsWithTheConnectionAndACopyDoesNot) {
    GatewayToken* token = chained();
    std::memcpy(token->resultSetBuf, "ZULIDSET\0\0\0\0\x0F\x0E\x0F\x0E", 16);
    stapi::keepContent(token->connRSToken);
    ResultSetToken* copy = nullptr;
    ASSERT_EQ(copyResultSet(token->connRSToken, &copy), 0);
    ASSERT_EQ(deleteGatewayToken(&token, 1), 0);
    IdData record = {};
    EXPECT_EQ(getNextId(copy, &record), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(freeResultSet(&copy), 0);
}

}  // namespace
