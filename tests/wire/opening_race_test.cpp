// An opening in the very moments in which another thread interferes. What happens then is called from inside the
// opening, where it copies the version text.
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "impl/stapi_zul_impl.h"
#include "open_connection.h"

namespace {

std::function<void()> actionBeforeTheVersionIsCopied;

}  // namespace

// The calls of stapi::dup2NativeString come here.
extern "C" int32_t __real__ZN5stapi16dup2NativeStringEPKcPPc(const char* dataPtr, char** outputPtr);
extern "C" int32_t __wrap__ZN5stapi16dup2NativeStringEPKcPPc(const char* dataPtr, char** outputPtr) {
    if (actionBeforeTheVersionIsCopied) {
        actionBeforeTheVersionIsCopied();
    }
    return __real__ZN5stapi16dup2NativeStringEPKcPPc(dataPtr, outputPtr);
}

namespace wire_test {

namespace {

using test_support::ScriptedPeer;

constexpr size_t kTooLongForACopy = 32766;

class OpeningRace : public ConnectionTest {
  protected:
    void TearDown() override {
        actionBeforeTheVersionIsCopied = nullptr;
        ConnectionTest::TearDown();
    }
    static void closeAllMeanwhile() {
        actionBeforeTheVersionIsCopied = [] { std::thread([] { EXPECT_EQ(closeAllGatewayConnections(), 0); }).join(); };
    }
    static GatewayReplies withVersion(const std::string& version) {
        GatewayReplies replies;
        replies.attribute = versionReply(version);
        return replies;
    }

    GatewayToken* token_ = untouchedToken();
    char* version_ = nullptr;
};

TEST_F(OpeningRace, ClosedByAllBeforeItsEndIsMinus118AndLeavesTheCallersPointersAlone) {
    ScriptedPeer peer(forgivingGatewayScript());
    closeAllMeanwhile();
    EXPECT_EQ(openGatewayConnection(peer.port(), &token_, &version_), -118);
    EXPECT_EQ(token_, untouchedToken());
    EXPECT_EQ(version_, nullptr);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    EXPECT_EQ(peer.finish(), "") << "the socket has been closed";
}

TEST_F(OpeningRace, ClosedByAllBeforeAFailedCopyIsMinus111WithNothingLeftOpen) {
    ScriptedPeer peer(forgivingGatewayScript(withVersion(std::string(kTooLongForACopy, 'v'))));
    closeAllMeanwhile();
    EXPECT_EQ(openGatewayConnection(peer.port(), &token_, &version_), -111);
    EXPECT_EQ(token_, nullptr);
    EXPECT_EQ(stapi::gtlHead, nullptr);
    EXPECT_EQ(peer.finish(), "") << "the socket has been closed";
}

TEST_F(OpeningRace, ItsEndDoesNotReadTheCallersPointer) {
    ScriptedPeer peer(gatewayScript());
    actionBeforeTheVersionIsCopied = [this] { token_ = nullptr; };
    EXPECT_EQ(openGatewayConnection(peer.port(), &token_, &version_), 0);
    ASSERT_NE(stapi::gtlHead, nullptr);
    EXPECT_EQ(version_, stapi::gtlHead->protocolVersion);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    EXPECT_EQ(peer.finish(), "");
}

}  // namespace

}  // namespace wire_test
