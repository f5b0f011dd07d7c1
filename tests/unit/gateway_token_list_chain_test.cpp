// Appending tokens to the list of gateway tokens.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "gateway_token_list_fixture.h"

namespace {

using stapi::chainGatewayToken;
using stapi::gtlHead;
using stapi::gtlTail;
using unit_test::at;
using unit_test::Lines;
using unit_test::listed;
using unit_test::newToken;

class GtlChain : public unit_test::GtlTest {
  protected:
    static std::string entry(const void* token) {
        return "stapi_zul_gwytok.chainGatewayToken(&gwTokPtr=" + at(token) + ")";
    }
};

TEST_F(GtlChain, FirstTokenIsHeadAndTail) {
    GatewayToken* const token = newToken();
    EXPECT_EQ(chainGatewayToken(token), 0);
    EXPECT_EQ(gtlHead, token);
    EXPECT_EQ(gtlTail, token);
    EXPECT_EQ(token->nextGwyTokPtr, nullptr);
}

TEST_F(GtlChain, LaterTokensAreAppendedInOrder) {
    GatewayToken* const one = chained();
    GatewayToken* const two = chained();
    GatewayToken* const three = chained();
    EXPECT_EQ(listed(), (Tokens{one, two, three}));
    EXPECT_EQ(gtlTail, three);
}

TEST_F(GtlChain, NullTokenIsRefused) {
    GatewayToken* const one = chained();
    traceToFile(5);
    EXPECT_EQ(chainGatewayToken(nullptr), STAPI_RC_NULL_TOKEN_POINTER);
    EXPECT_EQ(listed(), (Tokens{one}));
    EXPECT_EQ(points(), (Lines{"2019 ENTRY " + entry(nullptr),
                               "2021 *EXC* stapi_zul_gwytok.chainGatewayToken() Chain request was for a null token",
                               "2022 EXIT " + entry(nullptr) + " rc=-108"}));
}

TEST_F(GtlChain, NullTokenIsRefusedWithoutAWordWhileNothingIsTraced) {
    traceToFile(0);
    EXPECT_EQ(chainGatewayToken(nullptr), STAPI_RC_NULL_TOKEN_POINTER);
    EXPECT_EQ(traced(), "");
}

TEST_F(GtlChain, HeadWithoutTailIsCorruptAndLeavesTheListAsItWas) {
    GatewayToken* const one = chained();
    GatewayToken* const two = newToken();
    gtlTail = nullptr;
    traceToFile(5);
    EXPECT_EQ(chainGatewayToken(two), STAPI_RC_GTL_CORRUPT);
    EXPECT_EQ(listed(), (Tokens{one}));
    EXPECT_EQ(gtlTail, nullptr);
    EXPECT_EQ(points(), (Lines{"2019 ENTRY " + entry(two),
                               "2020 *EXC* stapi_zul_gwytok.chainGatewayToken() GTL state is corrupt - head(" +
                                   at(one) + ") tail (" + at(nullptr) + ")",
                               "2022 EXIT " + entry(two) + " rc=-115"}));
    unit_test::releaseUnlisted(two);
}

TEST_F(GtlChain, ListThatBecameEmptyStartsAnewWhateverItsTailNames) {
    GatewayToken* last = chained();
    ASSERT_EQ(stapi::deleteGatewayToken(&last, 1), 0);
    ASSERT_EQ(gtlHead, nullptr);
    GatewayToken* const one = chained();
    GatewayToken* const two = chained();
    EXPECT_EQ(listed(), (Tokens{one, two}));
    EXPECT_EQ(gtlTail, two);
}

TEST_F(GtlChain, StaleTailIsNeitherReadNorWritten) {
    gtlTail = reinterpret_cast<GatewayToken*>(uintptr_t{16});
    GatewayToken* const one = chained();
    EXPECT_EQ(listed(), (Tokens{one}));
    EXPECT_EQ(gtlTail, one);
}

TEST_F(GtlChain, LinkOfTheTokenItselfIsNotCleared) {
    GatewayToken* const token = newToken();
    GatewayToken other = {};
    token->nextGwyTokPtr = &other;
    EXPECT_EQ(chainGatewayToken(token), 0);
    EXPECT_EQ(token->nextGwyTokPtr, &other);
    token->nextGwyTokPtr = nullptr;
}

TEST_F(GtlChain, TracesEntryAndExit) {
    GatewayToken* const token = newToken();
    traceToFile(5);
    EXPECT_EQ(chainGatewayToken(token), 0);
    setLevelSilently(0);
    EXPECT_EQ(points(), (Lines{"2019 ENTRY " + entry(token), "2022 EXIT " + entry(token) + " rc=0"}));
}

TEST_F(GtlChain, MoreThan256TokensAreAccepted) {
    const Tokens tokens = chainMany(300);
    EXPECT_EQ(listed(), tokens);
    EXPECT_EQ(gtlTail, tokens.back());
}

}  // namespace
