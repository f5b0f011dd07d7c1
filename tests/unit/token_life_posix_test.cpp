// What becomes of a token's socket when its connection is cut off or closed, seen from the other end.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "end_child_posix.h"
#include "gateway/token_life.h"
#include "gateway_token_list_fixture.h"

namespace {

using stapi::TokenState;
using unit_test::onAnotherThread;

class TokenSocket : public unit_test::GtlTest {
  protected:
    void SetUp() override {
        GtlTest::SetUp();
        int ends[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        own_ = ends[0];
        other_ = ends[1];
    }
    void TearDown() override {
        GtlTest::TearDown();
        close(own_);
        close(other_);
    }
    // Whether nothing has come to the other end, not even its end.
    bool isUntouched() const {
        char byte = 0;
        return recv(other_, &byte, 1, MSG_DONTWAIT) == -1 && errno == EAGAIN;
    }
    bool isCutOff() const {
        char byte = 0;
        return recv(other_, &byte, 1, MSG_DONTWAIT) == 0;
    }

    int own_ = -1;
    int other_ = -1;
};

TEST_F(TokenSocket, NotedForAnOpeningIsLeftAlone) {
    GatewayToken* const token = chained();
    token->state = TokenState::connecting;
    stapi::noteSocket(token, own_);
    EXPECT_EQ(token->socket, own_);
    EXPECT_TRUE(isUntouched());
    token->socket = -1;
}

TEST_F(TokenSocket, NotedForAnAbandonedOpeningIsCutOff) {
    GatewayToken* const token = unit_test::newToken();
    token->state = TokenState::abandoned;
    stapi::noteSocket(token, own_);
    EXPECT_EQ(token->socket, own_);
    EXPECT_TRUE(isCutOff());
    unit_test::releaseUnlisted(token);
}

TEST_F(TokenSocket, OfATokenInUseIsCutOffByAnotherThreadButNotClosed) {
    GatewayToken* const token = chained();
    token->state = TokenState::inUse;
    token->socket = own_;
    onAnotherThread([&] { stapi::takeToken(token, stapi::Taker::anyone); });
    EXPECT_TRUE(isCutOff());
    EXPECT_EQ(token->socket, own_);
    unit_test::releaseUnlisted(token);
}

TEST_F(TokenSocket, OfAnIdleTokenIsNotCutOffWhenItIsTaken) {
    GatewayToken* const token = chained();
    token->socket = own_;
    onAnotherThread([&] { stapi::takeToken(token, stapi::Taker::anyone); });
    EXPECT_TRUE(isUntouched());
    unit_test::releaseUnlisted(token);
}

// Closing it there would end its parent's connection.
TEST_F(TokenSocket, InheritedByAForkedChildIsGivenBackWithoutACloseRequest) {
    GatewayToken* token = chained();
    token->socket = own_;
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        stapi::deleteGatewayToken(&token, 1);
        const bool isClosed = close(own_) == -1 && errno == EBADF;
        test_support::endChild(isClosed ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(isUntouched());
    token->socket = -1;
}

}  // namespace
