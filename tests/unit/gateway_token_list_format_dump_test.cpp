// The description of a gateway token, and the dumps of the list and of the library's state.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "gateway_token_list_fixture.h"
#include "hand_built_set.h"

namespace {

using stapi::dumpGatewayTokens;
using stapi::formatGatewayToken;
using unit_test::at;
using unit_test::dashLine;
using unit_test::Lines;
using unit_test::SetBytes;

constexpr size_t kTextArea = 512;

// What the library writes about a token into an area of exactly the size that it may use.
std::string described(const GatewayToken* token) {
    const auto area = std::make_unique<char[]>(kTextArea);
    EXPECT_EQ(formatGatewayToken(token, area.get()), 0);
    return area.get();
}

std::string expectedDescription(const GatewayToken* token, const std::string& eyecatcher) {
    return "GatwayToken(" + at(token) + ") eyecatcher(" + eyecatcher + ") port(" + std::to_string(token->port) +
           ") connStatus(" + std::to_string(token->connStatus) + ") socket(" + std::to_string(token->socket) +
           ") connRSToken(" + at(token->connRSToken) + ") resultSetBuf(" + at(token->resultSetBuf) + ") owningPid(" +
           hexWord(token->owningPid) + ") owningTid(" + hexWord(token->owningTid) + ") nextGwyTokPtr(" +
           at(token->nextGwyTokPtr) + ")";
}

// ---- formatGatewayToken ---------------------------------------------------------------------------------------------

GatewayToken exampleToken() {
    GatewayToken token = {};
    std::memcpy(token.eyecatcher, "ZULGWTOK", sizeof token.eyecatcher);
    token.port = 4100;
    token.connStatus = 1;
    token.socket = 77;
    token.owningPid = 0x1234;
    token.owningTid = 0xABCDEF01;
    return token;
}

TEST(GtlFormat, WritesEveryFieldOfATokenOnOneLine) {
    GatewayToken token = exampleToken();
    ResultSetToken resultSet = {};
    GatewayToken next = {};
    char buffer[4] = {};
    token.connRSToken = &resultSet;
    token.resultSetBuf = buffer;
    token.nextGwyTokPtr = &next;
    EXPECT_EQ(described(&token), "GatwayToken(" + at(&token) +
                                     ") eyecatcher(ZULGWTOK) port(4100) connStatus(1) socket(77) connRSToken(" +
                                     at(&resultSet) + ") resultSetBuf(" + at(buffer) +
                                     ") owningPid(00001234) owningTid(ABCDEF01) nextGwyTokPtr(" + at(&next) + ")");
}

TEST(GtlFormat, NullPointersAreSixteenZeros) {
    const GatewayToken token = exampleToken();
    EXPECT_EQ(described(&token), expectedDescription(&token, "ZULGWTOK"));
    EXPECT_TRUE(described(&token).ends_with("nextGwyTokPtr(0000000000000000)"));
}

TEST(GtlFormat, NumbersAreSignedAndTheLongestFitTheArea) {
    GatewayToken token = exampleToken();
    token.port = INT32_MIN;
    token.connStatus = INT32_MIN;
    token.socket = INT32_MIN;
    token.owningPid = 0xFFFFFFFF;
    token.owningTid = 0xFFFFFFFF;
    EXPECT_EQ(described(&token), expectedDescription(&token, "ZULGWTOK"));
}

TEST(GtlFormat, EyecatcherIsEightCharactersWideAndEndsAtANul) {
    GatewayToken token = exampleToken();
    std::memcpy(token.eyecatcher, "AB\0CDEFG", sizeof token.eyecatcher);
    EXPECT_EQ(described(&token), expectedDescription(&token, "      AB"));
}

TEST(GtlFormat, NullTokenIsWrittenAsSuch) {
    EXPECT_EQ(described(nullptr), "GatwayToken(NULL)");
}

TEST(GtlFormat, NullBufferIsNoData) {
    const GatewayToken token = exampleToken();
    EXPECT_EQ(formatGatewayToken(&token, nullptr), STAPI_RC_NO_DATA);
    EXPECT_EQ(formatGatewayToken(nullptr, nullptr), STAPI_RC_NO_DATA);
}

TEST(GtlFormat, WritesNothingBehindItsText) {
    const auto area = std::make_unique<char[]>(kTextArea);
    std::memset(area.get(), '~', kTextArea);
    ASSERT_EQ(formatGatewayToken(nullptr, area.get()), 0);
    const size_t length = std::strlen(area.get());
    EXPECT_EQ(std::string(area.get() + length + 1, kTextArea - length - 1), std::string(kTextArea - length - 1, '~'));
}

// ---- dumpGatewayTokens ----------------------------------------------------------------------------------------------

class GtlDump : public unit_test::GtlTest {
  protected:
    static std::string head() {
        return "Gateway Token List dump\n" + dashLine();
    }
    static std::string entry(int number, const GatewayToken* token) {
        char count[16] = {};
        std::snprintf(count, sizeof count, "%04d", number);
        return "Gateway Token List entry -" + std::string(count) + "- : " + expectedDescription(token, "ZULGWTOK") +
               "\n";
    }
    static std::string resultSetHead(const ResultSetToken* token, const std::string& owner) {
        return "Dump of ResultSet(" + at(token) + ") owner(" + owner + ") buffer(" + at(token->resultSetBuf) +
               ") cursor(" + at(token->dataCursor) + ")\n" + dashLine();
    }
    static std::string total(int count) {
        return "Total number of Gateway Token List entries=" + std::to_string(count) + "\n" + dashLine();
    }
    // The dump of a buffer in which nothing but the terminator stands.
    static std::string freshBuffer(const char* buffer) {
        return dumpLineStart(buffer) + "0F0E0F0E 00000000 00000000 00000000 : \n";
    }
    static std::string freshToken(int number, const GatewayToken* token) {
        return entry(number, token) + resultSetHead(token->connRSToken, "API") + freshBuffer(token->resultSetBuf) +
               dashLine();
    }
};

TEST_F(GtlDump, OfAnEmptyList) {
    traceToFile(0);
    EXPECT_EQ(dumpGatewayTokens(), 1006);
    EXPECT_EQ(traced(), head() + "The Gateway Token List is EMPTY\n" + dashLine());
}

TEST_F(GtlDump, OfTokensWithoutAQueryIsExactAtLevelZero) {
    const Tokens tokens = chainMany(2);
    traceToFile(0);
    EXPECT_EQ(dumpGatewayTokens(), 0);
    EXPECT_EQ(traced(), head() + freshToken(1, tokens[0]) + freshToken(2, tokens[1]) + total(2));
}

TEST_F(GtlDump, ShowsTheBytesOfAResultUpToItsTerminator) {
    GatewayToken* const token = chained();
    const std::string bytes = SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("abc").end().bytes();
    ASSERT_LE(bytes.size(), static_cast<size_t>(unit_test::kTestTokenCapacity));
    std::memcpy(token->resultSetBuf, bytes.data(), bytes.size());
    token->connRSToken->dataCursor = token->resultSetBuf + 5;
    const char* const buffer = token->resultSetBuf;
    traceToFile(0);
    EXPECT_EQ(dumpGatewayTokens(), 0);
    EXPECT_EQ(traced(), head() + entry(1, token) + resultSetHead(token->connRSToken, "API") + dumpLineStart(buffer) +
                            "5A554C49 44534554 01000000 02000000 : ZULIDSET........ \n" + dumpLineStart(buffer + 16) +
                            "52470000 00000100 00000300 00006162 : RG............ab \n" + dumpLineStart(buffer + 32) +
                            "63                                  : c\n" + dashLine() + total(1));
}

TEST_F(GtlDump, NamesEveryOwnerButAConnectionsUsr) {
    GatewayToken* const token = chained();
    for (const uint32_t owner : {0x9999U, 0x7777U, 0U}) {
        token->connRSToken->owner = owner;
        const size_t before = traced().size();
        traceToFile(0);
        EXPECT_EQ(dumpGatewayTokens(), 0);
        EXPECT_NE(traced().substr(before).find(resultSetHead(token->connRSToken, "USR")), std::string::npos) << owner;
        resetTrace();
    }
}

TEST_F(GtlDump, TokenWithoutAResultSetHasItsEntryLineOnly) {
    GatewayToken* const token = chained();
    ASSERT_EQ(stapi::deleteResultSet(&token->connRSToken), 0);
    traceToFile(0);
    EXPECT_EQ(dumpGatewayTokens(), 0);
    EXPECT_EQ(traced(), head() + entry(1, token) + total(1));
}

TEST_F(GtlDump, ResultSetWithoutABufferHasItsHeadAndNoBytes) {
    GatewayToken* const token = chained();
    token->connRSToken->resultSetBuf = nullptr;
    traceToFile(0);
    EXPECT_EQ(dumpGatewayTokens(), 0);
    EXPECT_EQ(traced(), head() + entry(1, token) + resultSetHead(token->connRSToken, "API") + dashLine() + total(1));
}

TEST_F(GtlDump, BufferWithoutATerminatorEndsWithItsAllocation) {
    GatewayToken* const token = chained();
    std::memset(token->resultSetBuf, 'q', stapi::resultSetAllocation(unit_test::kTestTokenCapacity));
    traceToFile(0);
    EXPECT_EQ(dumpGatewayTokens(), 0);
    EXPECT_NE(traced().find(dumpLineStart(token->resultSetBuf + 32) + "71717171"), std::string::npos);
    EXPECT_EQ(traced().find(dumpLineStart(token->resultSetBuf + 64)), std::string::npos);
}

TEST_F(GtlDump, ListsTokensOfOtherThreadsToo) {
    GatewayToken* const own = chained();
    traceToFile(0);
    unit_test::onAnotherThread([] { EXPECT_EQ(dumpGatewayTokens(), 0); });
    EXPECT_EQ(traced(), head() + freshToken(1, own) + total(1));
}

TEST_F(GtlDump, TracesEntryAndExitAroundIt) {
    chainMany(3);
    traceToFile(3);
    EXPECT_EQ(dumpGatewayTokens(), 0);
    EXPECT_EQ(points(), (Lines{"2016 ENTRY stapi_zul_gwytok.dumpGatewayTokens()",
                               "2018 EXIT stapi_zul_gwytok.dumpGatewayTokens() List length=3 rc=0"}));
}

TEST_F(GtlDump, OfAnEmptyListTracesLengthZero) {
    traceToFile(3);
    EXPECT_EQ(dumpGatewayTokens(), 1006);
    EXPECT_EQ(messages(2018), (Lines{"stapi_zul_gwytok.dumpGatewayTokens() List length=0 rc=1006"}));
}

struct LengthCase {
    int length;
    int listedLength;
    bool runsAway;
};

class GtlDumpLength : public GtlDump, public testing::WithParamInterface<LengthCase> {};

TEST_P(GtlDumpLength, StopsAt256AndReportsIt) {
    chainMany(GetParam().length);
    traceToFile(1);
    EXPECT_EQ(dumpGatewayTokens(), GetParam().runsAway ? 1005 : 0);
    const std::string text = traced();
    EXPECT_NE(text.find(total(GetParam().listedLength)), std::string::npos);
    char last[16] = {};
    std::snprintf(last, sizeof last, " -%04d- ", GetParam().listedLength);
    EXPECT_NE(text.find(last), std::string::npos);
    EXPECT_EQ(text.find(" -0257- "), std::string::npos);
    EXPECT_EQ(text.find("2017] *EXC*  stapi_zul_gwytok.dumpGatewayTokens() Gateway Token List iteration has hit "
                        "RUNAWAY limit 256.....\n") != std::string::npos,
              GetParam().runsAway);
}

INSTANTIATE_TEST_SUITE_P(Of, GtlDumpLength,
                         testing::Values(LengthCase{255, 255, false}, LengthCase{256, 256, true},
                                         LengthCase{257, 256, true}),
                         [](const auto& instance) { return std::to_string(instance.param.length) + "Tokens"; });

// ---- dumpState ------------------------------------------------------------------------------------------------------

class GtlDumpState : public GtlDump {
  protected:
    std::string stateLine(int level) const {
        return "zulstats state dump: API Version=1_1_0_1 Trace Level=" + std::to_string(level) +
               " statAPITraceFile=" + file_.path() + "\n";
    }
};

TEST_F(GtlDumpState, IsExactAtLevelZeroWithAnEmptyList) {
    traceToFile(0);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(traced(), stateLine(0) + head() + "The Gateway Token List is EMPTY\n" + dashLine());
}

TEST_F(GtlDumpState, IsExactAtLevelZeroWithTwoTokens) {
    const Tokens tokens = chainMany(2);
    traceToFile(0);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(traced(), stateLine(0) + head() + freshToken(1, tokens[0]) + freshToken(2, tokens[1]) + total(2));
}

TEST_F(GtlDumpState, ShowsTheLevelAndWritesNoTraceLinesBelowThree) {
    traceToFile(2);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(traced(), stateLine(2) + head() + "The Gateway Token List is EMPTY\n" + dashLine());
}

TEST_F(GtlDumpState, StandsBetweenItsEntryAndExitLines) {
    traceToFile(3);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(points(), (Lines{"1106 ENTRY API.dumpState()", "2016 ENTRY stapi_zul_gwytok.dumpGatewayTokens()",
                               "2018 EXIT stapi_zul_gwytok.dumpGatewayTokens() List length=0 rc=1006",
                               "1107 EXIT API.dumpState()"}));
    const Lines lines = test_support::splitLines(traced());
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[1] + "\n", stateLine(3));
}

TEST_F(GtlDumpState, SucceedsWhenTheListRunsAway) {
    chainMany(256);
    traceToFile(1);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(messages(2017).size(), 1U);
}

TEST_F(GtlDumpState, TellsNothingOfAListThatRunsAwayWhileNothingIsTraced) {
    chainMany(256);
    traceToFile(0);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_TRUE(messages(2017).empty());
}

TEST_F(GtlDumpState, NamesStandardErrorWhenThatIsTheDestination) {
    const std::string written = standardErrorOf([] { EXPECT_EQ(dumpState(), 0); });
    EXPECT_EQ(written, "zulstats state dump: API Version=1_1_0_1 Trace Level=0 statAPITraceFile=stderr\n" + head() +
                           "The Gateway Token List is EMPTY\n" + dashLine());
}

}  // namespace
