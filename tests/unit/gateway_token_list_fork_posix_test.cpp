// Gateway tokens and result sets in a forked child: another process, although its memory and thread are the same.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "api/zulstats64.h"
#include "end_child_posix.h"
#include "gateway_token_list_fixture.h"

namespace {

constexpr unsigned kChildLimitInSeconds = 30;
constexpr int kCodeOffset = 200;  // an exit code is not negative

// The code that an action gives in a child process; 0 or below.
template <typename Action>
int32_t inAChildProcess(const Action& action) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kChildLimitInSeconds);
        test_support::endChild(action() + kCodeOffset);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << status;
    return WEXITSTATUS(status) - kCodeOffset;
}

class GtlFork : public unit_test::GtlTest {
  protected:
    static GatewayToken* chainedWithEmptySet() {
        GatewayToken* const token = chained();
        std::memcpy(token->resultSetBuf, "ZULIDSET\0\0\0\0\x0F\x0E\x0F\x0E", 16);
        stapi::keepContent(token->connRSToken);
        return token;
    }
};

TEST_F(GtlFork, GatewayTokenIsRefusedInAnotherProcess) {
    GatewayToken* const token = chainedWithEmptySet();
    EXPECT_EQ(inAChildProcess([&] { return stapi::verifyGatewayToken(token); }), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(inAChildProcess([&] { return stapi::TokenHold().beginQuery(token); }), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(stapi::verifyGatewayToken(token), 0);
}

// The library that is set up renews its locks in every child.
TEST_F(GtlFork, LocksOfALibraryThatIsSetUpCanBeTakenInAnotherProcess) {
    int32_t level = 0;
    ASSERT_EQ(getAPITraceLevel(&level), STAPI_RC_OK);
    EXPECT_EQ(inAChildProcess([&] {
                  const int32_t requested = stapi::requestLock(&stapi::gtlLock);
                  stapi::releaseLock(&stapi::gtlLock);
                  return requested == 0 ? setAPITraceLevel(level) : requested;
              }),
              STAPI_RC_OK);
}

TEST_F(GtlFork, ConnectionsResultSetIsRefusedInAnotherProcess) {
    ResultSetToken* const resultSet = chainedWithEmptySet()->connRSToken;
    IdData record = {};
    char* text = nullptr;
    ResultSetToken* copy = nullptr;
    EXPECT_EQ(inAChildProcess([&] { return getFirstId(resultSet, &record); }), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(inAChildProcess([&] { return getNextId(resultSet, &record); }), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(inAChildProcess([&] { return getIdQuery(resultSet, &text); }), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(inAChildProcess([&] { return copyResultSet(resultSet, &copy); }), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(inAChildProcess([&] { return dumpResultSet(resultSet); }), STAPI_RC_WRONG_PROCESS);
    EXPECT_EQ(getFirstId(resultSet, &record), STAPI_RC_END_OF_DATA);
}

TEST_F(GtlFork, CopyOfAResultSetMayBeUsedInAnotherProcess) {
    ResultSetToken* copy = nullptr;
    ASSERT_EQ(copyResultSet(chainedWithEmptySet()->connRSToken, &copy), 0);
    IdData record = {};
    EXPECT_EQ(inAChildProcess([&] { return getFirstId(copy, &record); }), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(inAChildProcess([&] { return freeResultSet(&copy); }), 0);
    EXPECT_EQ(freeResultSet(&copy), 0);
}

}  // namespace
