// Searching the list of gateway tokens, and telling a live token of the caller's from every other pointer.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "gateway_token_list_fixture.h"

namespace {

using stapi::verifyGatewayToken;
using unit_test::at;
using unit_test::Lines;

// An address that nobody may read.
GatewayToken* unreadable() {
    return reinterpret_cast<GatewayToken*>(uintptr_t{16});
}

class GtlFind : public unit_test::GtlTest {
  protected:
    static std::string entry(const void* target, const void* parent) {
        return "stapi_zul_gwytok.findGatewayToken(target=" + at(target) + ",&parent=" + at(parent) + ")";
    }
    static std::string found(int counter) {
        return "stapi_zul_gwytok.findGatewayToken() Target token found at GTL Entry(" + std::to_string(counter) + ")";
    }

    GatewayToken untouched_ = {};
    GatewayToken* parent_ = &untouched_;
};

TEST_F(GtlFind, HeadHasNoParentAndCountsZero) {
    GatewayToken* const one = chained();
    chained();
    traceToFile(5);
    EXPECT_EQ(find(one, &parent_), 1004);
    EXPECT_EQ(parent_, nullptr);
    EXPECT_EQ(points(), (Lines{"2023 ENTRY " + entry(one, &parent_), "2026 DEBUG " + found(0),
                               "2029 EXIT " + entry(one, &parent_) + " rc=1004"}));
}

TEST_F(GtlFind, SecondCountsZeroTooAndThirdOne) {
    const Tokens tokens = chainMany(3);
    traceToFile(4);
    EXPECT_EQ(find(tokens[1], &parent_), 1004);
    EXPECT_EQ(parent_, tokens[0]);
    EXPECT_EQ(find(tokens[2], &parent_), 1004);
    EXPECT_EQ(parent_, tokens[1]);
    EXPECT_EQ(messages(2026), (Lines{found(0), found(1)}));
}

TEST_F(GtlFind, NullParentPointerIsAllowed) {
    const Tokens tokens = chainMany(2);
    EXPECT_EQ(find(tokens[0], nullptr), 1004);
    EXPECT_EQ(find(tokens[1], nullptr), 1004);
    EXPECT_EQ(find(unreadable(), nullptr), 1003);
}

TEST_F(GtlFind, NullTargetIsToldFromAnEmptyListFirst) {
    traceToFile(5);
    EXPECT_EQ(find(nullptr, &parent_), 1002);
    EXPECT_EQ(parent_, &untouched_);
    EXPECT_EQ(points(), (Lines{"2023 ENTRY " + entry(nullptr, &parent_),
                               "2028 *EXC* stapi_zul_gwytok.findGatewayToken() Target was a null token",
                               "2029 EXIT " + entry(nullptr, &parent_) + " rc=1002"}));
}

TEST_F(GtlFind, EmptyListIsReportedAsCorruptNotAsNotFound) {
    traceToFile(5);
    EXPECT_EQ(find(unreadable(), &parent_), 1001);
    EXPECT_EQ(parent_, &untouched_);
    EXPECT_EQ(points(), (Lines{"2023 ENTRY " + entry(unreadable(), &parent_),
                               "2027 *EXC* stapi_zul_gwytok.findGatewayToken() GTL state is corrupt - head(" +
                                   at(nullptr) + ") tail (" + at(nullptr) + ")",
                               "2029 EXIT " + entry(unreadable(), &parent_) + " rc=1001"}));
}

TEST_F(GtlFind, TokenThatIsNotOnTheListIsNotFoundAndNotRead) {
    const Tokens tokens = chainMany(3);
    traceToFile(5);
    EXPECT_EQ(find(unreadable(), &parent_), 1003);
    EXPECT_EQ(parent_, &untouched_);
    EXPECT_EQ(points(), (Lines{"2023 ENTRY " + entry(unreadable(), &parent_),
                               "2025 DEBUG stapi_zul_gwytok.findGatewayToken() Target token not found. GTL entries(2) "
                               "head(" +
                                   at(tokens[0]) + ") last(" + at(tokens[2]) + ")",
                               "2029 EXIT " + entry(unreadable(), &parent_) + " rc=1003"}));
}

TEST_F(GtlFind, NotFoundOnAListOf256) {
    const Tokens tokens = chainMany(256);
    EXPECT_EQ(find(unreadable(), &parent_), 1003);
    EXPECT_EQ(find(tokens.back(), &parent_), 1004);
    EXPECT_EQ(parent_, tokens[254]);
}

TEST_F(GtlFind, RunsAwayWhenTheTokenIsNotOnAListOf257) {
    chainMany(257);
    traceToFile(1);
    EXPECT_EQ(find(unreadable(), &parent_), 1005);
    EXPECT_EQ(parent_, &untouched_);
    EXPECT_EQ(points(),
              (Lines{"2024 *EXC* stapi_zul_gwytok.findGatewayToken() GTL iteration has hit RUNAWAY limit 256....."}));
}

TEST_F(GtlFind, ReachesThe257thTokenButNotThe258th) {
    const Tokens tokens = chainMany(258);
    traceToFile(4);
    EXPECT_EQ(find(tokens[256], &parent_), 1004);
    EXPECT_EQ(parent_, tokens[255]);
    EXPECT_EQ(messages(2026), (Lines{found(255)}));
    EXPECT_EQ(find(tokens[257], &parent_), 1005);
    EXPECT_EQ(parent_, tokens[255]);
}

TEST_F(GtlFind, ListThatIsARingEndsAtTheLimit) {
    const Tokens tokens = chainMany(2);
    tokens[1]->nextGwyTokPtr = tokens[0];
    EXPECT_EQ(find(unreadable(), nullptr), 1005);
    tokens[1]->nextGwyTokPtr = nullptr;
}

// ---- verifyGatewayToken ---------------------------------------------------------------------------------------------

class GtlVerify : public unit_test::GtlTest {
  protected:
    static std::string entry(const void* token) {
        return "stapi_zul_gwytok.verifyGatewayToken(&gwTokPtr=" + at(token) + ")";
    }
    static std::string notFound(const void* token, int findRc) {
        return "2007 *EXC* " + entry(token) + " Gateway token not found - findRc=" + std::to_string(findRc);
    }
    static std::string decimal(uint32_t value) {
        return std::to_string(static_cast<int32_t>(value));
    }
};

TEST_F(GtlVerify, AcceptsTheCallersTokenWhereverItStands) {
    for (GatewayToken* const token : chainMany(3)) {
        EXPECT_EQ(verifyGatewayToken(token), 0);
    }
}

TEST_F(GtlVerify, TracesSearchAndResult) {
    GatewayToken* const token = chained();
    traceToFile(5);
    EXPECT_EQ(verifyGatewayToken(token), 0);
    ASSERT_EQ(ids(), (std::vector<int>{2006, 2023, 2026, 2029, 2008}));
    EXPECT_EQ(points().front(), "2006 ENTRY " + entry(token));
    EXPECT_EQ(points()[1],
              "2023 ENTRY stapi_zul_gwytok.findGatewayToken(target=" + at(token) + ",&parent=" + at(nullptr) + ")");
    EXPECT_EQ(points().back(), "2008 EXIT " + entry(token) + " rc=0");
}

TEST_F(GtlVerify, TokenThatWasNeverCreatedIsRejectedWithoutBeingRead) {
    chained();
    traceToFile(1);
    EXPECT_EQ(verifyGatewayToken(unreadable()), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(points(), (Lines{notFound(unreadable(), 1003)}));
}

TEST_F(GtlVerify, FreedTokenIsRejectedWithoutBeingRead) {
    chained();
    GatewayToken* const kept = chained();
    GatewayToken* deleted = kept;
    ASSERT_EQ(stapi::deleteGatewayToken(&deleted, 1), 0);
    EXPECT_EQ(verifyGatewayToken(kept), STAPI_RC_TOKEN_NOT_FOUND);
}

TEST_F(GtlVerify, TokenThatIsWholeButNotOnTheListIsRejected) {
    chained();
    GatewayToken* const unlisted = unit_test::newToken();
    EXPECT_EQ(verifyGatewayToken(unlisted), STAPI_RC_TOKEN_NOT_FOUND);
    unit_test::releaseUnlisted(unlisted);
}

TEST_F(GtlVerify, NullTokenIsNotFoundWith1002) {
    traceToFile(5);
    EXPECT_EQ(verifyGatewayToken(nullptr), STAPI_RC_TOKEN_NOT_FOUND);
    ASSERT_EQ(ids(), (std::vector<int>{2006, 2023, 2028, 2029, 2007, 2008}));
    EXPECT_EQ(points()[4], notFound(nullptr, 1002));
    EXPECT_EQ(points()[5], "2008 EXIT " + entry(nullptr) + " rc=-101");
}

TEST_F(GtlVerify, AnyTokenIsNotFoundWith1001OnAnEmptyList) {
    traceToFile(1);
    EXPECT_EQ(verifyGatewayToken(unreadable()), STAPI_RC_TOKEN_NOT_FOUND);
    ASSERT_EQ(ids(), (std::vector<int>{2027, 2007}));
    EXPECT_EQ(points().back(), notFound(unreadable(), 1001));
}

TEST_F(GtlVerify, TokenBehindTheLimitIsNotFoundWith1005) {
    const Tokens tokens = chainMany(258);
    EXPECT_EQ(verifyGatewayToken(tokens[256]), 0);
    traceToFile(1);
    EXPECT_EQ(verifyGatewayToken(tokens[257]), STAPI_RC_TOKEN_NOT_FOUND);
    ASSERT_EQ(ids(), (std::vector<int>{2024, 2007}));
    EXPECT_EQ(points().back(), notFound(tokens[257], 1005));
}

TEST_F(GtlVerify, EyecatcherIsNotExamined) {
    GatewayToken* const token = chained();
    std::memset(token->eyecatcher, 0, sizeof token->eyecatcher);
    EXPECT_EQ(verifyGatewayToken(token), 0);
}

TEST_F(GtlVerify, TokenOfAnotherProcessIsRefused) {
    GatewayToken* const token = chained();
    const uint32_t pid = token->owningPid;
    token->owningPid = pid + 1;
    traceToFile(5);
    EXPECT_EQ(verifyGatewayToken(token), STAPI_RC_WRONG_PROCESS);
    ASSERT_EQ(ids(), (std::vector<int>{2006, 2023, 2026, 2029, 2032, 2008}));
    EXPECT_EQ(points()[4], "2032 *EXC* stapi_zul_gwytok.verifyGatewayToken PID mismatch: currentPid=" + decimal(pid) +
                               ", owningPid=" + decimal(pid + 1));
    EXPECT_EQ(points()[5], "2008 EXIT " + entry(token) + " rc=-123");
}

TEST_F(GtlVerify, TokenOfAnotherThreadIdIsRefused) {
    GatewayToken* const token = chained();
    const uint32_t tid = token->owningTid;
    token->owningTid = 0xFFFFFFFF;
    traceToFile(1);
    EXPECT_EQ(verifyGatewayToken(token), STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(points(), (Lines{"2033 *EXC* stapi_zul_gwytok.verifyGatewayToken TID mismatch: currentTid=" +
                               decimal(tid) + ", owningTid=-1"}));
}

TEST_F(GtlVerify, ProcessIsComparedBeforeTheThread) {
    GatewayToken* const token = chained();
    ++token->owningPid;
    ++token->owningTid;
    traceToFile(1);
    EXPECT_EQ(verifyGatewayToken(token), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(ids(), (std::vector<int>{2032}));
}

TEST_F(GtlVerify, ARealOtherThreadIsRefusedAndTheOwnerIsNot) {
    GatewayToken* const token = chained();
    int32_t rc = 0;
    uint32_t otherTid = 0;
    traceToFile(1);
    unit_test::onAnotherThread([&] {
        otherTid = stapi::platform::currentThreadId();
        rc = verifyGatewayToken(token);
    });
    EXPECT_EQ(rc, STAPI_RC_WRONG_THREAD);
    EXPECT_EQ(points(), (Lines{"2033 *EXC* stapi_zul_gwytok.verifyGatewayToken TID mismatch: currentTid=" +
                               decimal(otherTid) + ", owningTid=" + decimal(token->owningTid)}));
    EXPECT_EQ(verifyGatewayToken(token), 0);
}

TEST_F(GtlVerify, LeavesTheListToOthersAfterwards) {
    GatewayToken* const token = chained();
    verifyGatewayToken(token);
    verifyGatewayToken(unreadable());
    int32_t rc = 0;
    unit_test::onAnotherThread([&] { rc = find(token, nullptr); });
    EXPECT_EQ(rc, 1004);
}

}  // namespace
