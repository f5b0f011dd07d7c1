// Deleting gateway tokens, one and all.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "gateway_token_list_fixture.h"

namespace {

using stapi::deleteGatewayToken;
using stapi::deleteGatewayTokens;
using stapi::gtlHead;
using stapi::gtlTail;
using unit_test::at;
using unit_test::Lines;
using unit_test::listed;

const std::string kDeleteOne = "stapi_zul_gwytok.deleteGatewayToken";
const std::string kDeleteAll = "stapi_zul_gwytok.deleteGatewayTokens";

class GtlDelete : public unit_test::GtlTest {
  protected:
    static std::string entry(const void* pointer, int lockRequired) {
        return kDeleteOne + "(&gwTokPtr=" + at(pointer) + ", lockRequired=" + std::to_string(lockRequired) + ")";
    }
    // Whether another thread gets the list's lock at once, as it would not if it had been left taken.
    static bool isLockFree() {
        bool wasFree = false;
        unit_test::onAnotherThread([&] { wasFree = find(nullptr, nullptr) == 1002; });
        return wasFree;
    }
};

TEST_F(GtlDelete, OnlyTokenLeavesAnEmptyList) {
    GatewayToken* token = chained();
    EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(gtlHead, nullptr);
    EXPECT_TRUE(isLockFree());
}

TEST_F(GtlDelete, HeadMakesItsSuccessorTheHead) {
    const Tokens tokens = chainMany(3);
    GatewayToken* token = tokens[0];
    EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(listed(), (Tokens{tokens[1], tokens[2]}));
    EXPECT_EQ(gtlTail, tokens[2]);
}

TEST_F(GtlDelete, MiddleTokenKeepsTheListLinked) {
    const Tokens tokens = chainMany(3);
    GatewayToken* token = tokens[1];
    EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(listed(), (Tokens{tokens[0], tokens[2]}));
    EXPECT_EQ(gtlTail, tokens[2]);
}

TEST_F(GtlDelete, TailMakesItsParentTheTail) {
    const Tokens tokens = chainMany(3);
    GatewayToken* token = tokens[2];
    EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(listed(), (Tokens{tokens[0], tokens[1]}));
    EXPECT_EQ(gtlTail, tokens[1]);
    GatewayToken* const appended = chained();
    EXPECT_EQ(listed(), (Tokens{tokens[0], tokens[1], appended}));
}

TEST_F(GtlDelete, EveryOrderOfDeletingEmptiesTheList) {
    const std::vector<std::vector<size_t>> orders = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    for (const std::vector<size_t>& order : orders) {
        const Tokens tokens = chainMany(3);
        for (const size_t index : order) {
            GatewayToken* token = tokens[index];
            EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
        }
        EXPECT_EQ(gtlHead, nullptr);
    }
}

TEST_F(GtlDelete, WithoutTheLockRemovesTheHead) {
    const Tokens tokens = chainMany(2);
    GatewayToken* token = tokens[0];
    {
        const stapi::LockScope scope(&stapi::gtlLock);
        EXPECT_EQ(deleteGatewayToken(&token, 0), 0);
    }
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(listed(), (Tokens{tokens[1]}));
    EXPECT_TRUE(isLockFree());
}

TEST_F(GtlDelete, TokenOfAnotherThreadThatIsNotInUseIsDeleted) {
    GatewayToken* token = chained();
    int32_t rc = 1;
    unit_test::onAnotherThread([&] { rc = deleteGatewayToken(&token, 1); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(gtlHead, nullptr);
}

TEST_F(GtlDelete, NullPointerIsRefused) {
    traceToFile(5);
    EXPECT_EQ(deleteGatewayToken(nullptr, 1), STAPI_RC_NULL_TOKEN_POINTER);
    EXPECT_EQ(deleteGatewayToken(nullptr, 0), STAPI_RC_NULL_TOKEN_POINTER);
    EXPECT_EQ(points(), (Lines{"2009 ENTRY " + entry(nullptr, 1), "2012 EXIT " + entry(nullptr, 1) + " rc=-108",
                               "2009 ENTRY " + entry(nullptr, 0), "2012 EXIT " + entry(nullptr, 0) + " rc=-108"}));
}

TEST_F(GtlDelete, NullTokenIsRefused) {
    chained();
    GatewayToken* none = nullptr;
    traceToFile(5);
    EXPECT_EQ(deleteGatewayToken(&none, 1), STAPI_RC_NULL_TOKEN);
    EXPECT_EQ(points(), (Lines{"2009 ENTRY " + entry(&none, 1), "2012 EXIT " + entry(&none, 1) + " rc=-100"}));
    EXPECT_EQ(listed().size(), 1U);
}

TEST_F(GtlDelete, TokenThatIsNotOnTheListIsLeftAloneAndTheLockReleased) {
    chained();
    GatewayToken* const unlisted = unit_test::newToken();
    GatewayToken* token = unlisted;
    traceToFile(5);
    EXPECT_EQ(deleteGatewayToken(&token, 1), STAPI_RC_TOKEN_NOT_FOUND);
    setLevelSilently(0);
    EXPECT_EQ(token, unlisted);
    EXPECT_NE(token->connRSToken, nullptr);
    EXPECT_EQ(ids(), (std::vector<int>{2009, 2023, 2025, 2029, 2012}));
    EXPECT_EQ(points().back(), "2012 EXIT " + entry(&token, 1) + " rc=-101");
    EXPECT_TRUE(isLockFree());
    EXPECT_EQ(listed().size(), 1U);
    unit_test::releaseUnlisted(unlisted);
}

TEST_F(GtlDelete, StalePointerIsRefusedWithoutBeingRead) {
    chained();
    GatewayToken* const kept = chained();
    GatewayToken* token = kept;
    ASSERT_EQ(deleteGatewayToken(&token, 1), 0);
    token = kept;
    EXPECT_EQ(deleteGatewayToken(&token, 1), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(token, kept);
}

TEST_F(GtlDelete, OnAnEmptyListIsNotFound) {
    auto* token = reinterpret_cast<GatewayToken*>(uintptr_t{16});
    traceToFile(1);
    EXPECT_EQ(deleteGatewayToken(&token, 1), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(ids(), (std::vector<int>{2027}));
}

TEST_F(GtlDelete, TracesWhatItReleases) {
    GatewayToken* token = chained();
    const std::string address = at(token);
    const std::string buffer = at(token->resultSetBuf);
    const std::string version = at(token->protocolVersion);
    traceToFile(5);
    EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
    setLevelSilently(0);
    ASSERT_EQ(ids(), (std::vector<int>{2009, 2023, 2026, 2029, 2133, 2134, 2135, 2136, 2137, 2138, 2043, 2044, 2010,
                                       2011, 2012}));
    const Lines lines = points();
    EXPECT_EQ(lines[0], "2009 ENTRY " + entry(&token, 1));
    EXPECT_EQ(lines[10], "2043 DEBUG " + kDeleteOne + " About to free resultSetBuffer (" + buffer + ")");
    EXPECT_EQ(lines[11], "2044 DEBUG " + kDeleteOne + " About to free protocolVersion String (" + version + ")");
    // The last two messages end with a blank.
    EXPECT_EQ(lines[12],
              "2010 DEBUG " + kDeleteOne + "(&gwTokPtr=" + at(&token) + ") Free gateway token(" + address + ") ");
    EXPECT_EQ(lines[13],
              "2011 DEBUG " + kDeleteOne + "(&gwTokPtr=" + at(&token) + ") Freed gateway token(" + address + ") ");
    EXPECT_EQ(lines[14], "2012 EXIT " + entry(&token, 1) + " rc=0");
}

TEST_F(GtlDelete, TokenWithoutBufferAndVersionHasNoLinesAboutThem) {
    GatewayToken* token = chained();
    stapi::releaseMemory(token->resultSetBuf);
    stapi::releaseMemory(token->protocolVersion);
    token->resultSetBuf = nullptr;
    token->connRSToken->resultSetBuf = nullptr;
    token->protocolVersion = nullptr;
    traceToFile(5);
    EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(messages(2043), Lines{});
    EXPECT_EQ(messages(2044), Lines{});
}

TEST_F(GtlDelete, TokenWithoutAResultSetIsDeletedWithAMessage) {
    GatewayToken* token = chained();
    ASSERT_EQ(stapi::deleteResultSet(&token->connRSToken), 0);
    traceToFile(1);
    EXPECT_EQ(deleteGatewayToken(&token, 1), 0);
    EXPECT_EQ(points(), (Lines{"2037 *EXC* " + kDeleteOne + " Unable to delete ResultSet. rc=-127"}));
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(gtlHead, nullptr);
}

// ---- All of them ----------------------------------------------------------------------------------------------------

class GtlDeleteAll : public GtlDelete {
  protected:
    static std::string runaway() {
        return "2014 *EXC* " + kDeleteAll + "() GTL iteration has hit RUNAWAY limit 256.....";
    }
};

TEST_F(GtlDeleteAll, OfAnEmptyList) {
    traceToFile(5);
    EXPECT_EQ(deleteGatewayTokens(), 1006);
    EXPECT_EQ(points(), (Lines{"2013 ENTRY " + kDeleteAll + "()", "2035 EVENT " + kDeleteAll + "() GTL is EMPTY",
                               "2015 EXIT " + kDeleteAll + "() Entries deleted=0 rc=1006"}));
    EXPECT_TRUE(isLockFree());
}

TEST_F(GtlDeleteAll, DescribesEachTokenBeforeItGoes) {
    const Tokens tokens = chainMany(3);
    Lines expected;
    for (size_t index = 0; index < tokens.size(); ++index) {
        char text[512] = {};
        ASSERT_EQ(stapi::formatGatewayToken(tokens[index], text), 0);
        expected.push_back("2034 EVENT " + kDeleteAll + "(indexToken=" + at(tokens[index]) + ") GTL entry 000" +
                           std::to_string(index + 1) + ": " + text);
    }
    traceToFile(2);
    EXPECT_EQ(deleteGatewayTokens(), 0);
    EXPECT_EQ(points(), expected);
    EXPECT_EQ(gtlHead, nullptr);
}

TEST_F(GtlDeleteAll, UsesDeletionWithoutTheLockForEach) {
    chainMany(2);
    traceToFile(3);
    EXPECT_EQ(deleteGatewayTokens(), 0);
    EXPECT_EQ(messages(2012).size(), 2U);
    for (const std::string& message : messages(2012)) {
        EXPECT_TRUE(message.ends_with(", lockRequired=0) rc=0")) << message;
    }
    EXPECT_EQ(messages(2023), Lines{});
    EXPECT_EQ(points().back(), "2015 EXIT " + kDeleteAll + "() Entries deleted=2 rc=0");
    EXPECT_TRUE(isLockFree());
}

TEST_F(GtlDeleteAll, TakesTokensOfOtherThreadsToo) {
    chained();
    unit_test::onAnotherThread([] { chained(); });
    EXPECT_EQ(deleteGatewayTokens(), 0);
    EXPECT_EQ(gtlHead, nullptr);
}

TEST_F(GtlDeleteAll, Of255) {
    chainMany(255);
    traceToFile(1);
    EXPECT_EQ(deleteGatewayTokens(), 0);
    EXPECT_EQ(gtlHead, nullptr);
    EXPECT_EQ(traced(), "");
}

TEST_F(GtlDeleteAll, Of256RunsAwayWithAllOfThemDeleted) {
    chainMany(256);
    traceToFile(1);
    EXPECT_EQ(deleteGatewayTokens(), 1005);
    EXPECT_EQ(gtlHead, nullptr);
    EXPECT_EQ(points(), (Lines{runaway()}));
    EXPECT_TRUE(isLockFree());
    EXPECT_EQ(deleteGatewayTokens(), 1006);
}

TEST_F(GtlDeleteAll, Of257LeavesTheLastForTheNextCall) {
    const Tokens tokens = chainMany(257);
    traceToFile(3);
    EXPECT_EQ(deleteGatewayTokens(), 1005);
    setLevelSilently(0);
    EXPECT_EQ(messages(2014).size(), 1U);
    EXPECT_EQ(points().back(), "2015 EXIT " + kDeleteAll + "() Entries deleted=256 rc=1005");
    EXPECT_EQ(listed(), (Tokens{tokens.back()}));
    EXPECT_EQ(stapi::verifyGatewayToken(tokens.back()), 0);
    EXPECT_EQ(deleteGatewayTokens(), 0);
    EXPECT_EQ(gtlHead, nullptr);
}

}  // namespace
