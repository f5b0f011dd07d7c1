#include "scenario_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "allocation_faults.h"
#include "gateway/stapi_zul_gwytok.h"
#include "platform_faults.h"
#include "reply_payload.h"

namespace fault_test {

namespace {

using test_support::AllocationLedger;

wire_test::GatewayReplies freshReplies() {
    wire_test::GatewayReplies replies;
    replies.invocation =
        wire_test::invocationReply(wire_test::ReplyPayload().single().idResponse("Q", 0, {"one", "two"}).bytes());
    return replies;
}

size_t listedConnections() {
    size_t count = 0;
    for (const GatewayToken* token = stapi::gtlHead; token != nullptr; token = token->nextGwyTokPtr) {
        ++count;
    }
    return count;
}

// What a query that could not be made leaves is the connection as it was; a dead one is gone.
void expectConnectionToMatch(int32_t queryCode, World* world) {
    GatewayToken* token = world->tokens[0];
    if (queryCode == STAPI_RC_SOCKET_ERROR || queryCode == STAPI_RC_BAD_EYECATCHER) {
        EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_TOKEN_NOT_FOUND) << "a dead connection was not removed";
        EXPECT_EQ(token, world->tokens[0]);
    } else if (queryCode == STAPI_RC_NO_MEMORY) {
        EXPECT_NE(stapi::gtlHead, nullptr) << "a connection without a fault was removed";
    }
}

// Whatever a run has left, as a program would: copies are freed, connections closed, the trace goes back.
void releaseAll(World* world) {
    for (ResultSetToken*& copy : world->copies) {
        if (copy != nullptr) {
            EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK);
        }
    }
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    EXPECT_EQ(setAPITraceLevel(0), STAPI_RC_OK);
    EXPECT_EQ(setAPITraceFile(nullptr), STAPI_RC_OK);
    EXPECT_EQ(stapi::gtlHead, nullptr);
}

// On Windows an open file cannot be removed.
void removeTrace(const std::string& file) {
    std::error_code error;
    std::filesystem::remove(file, error);
    EXPECT_FALSE(error) << "the trace file was left open: " << error.message();
}

}  // namespace

size_t openDescriptors() {
    size_t count = 0;
#if defined(__linux__)
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    count = static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
#endif
    return count;
}

ScenarioStage::ScenarioStage(const Scenario& scenario)
    : scenario_(scenario), freshGateway_(wire_test::forgivingGatewayScript(freshReplies()), INT_MAX) {
    for (size_t count = 0; count < scenario.gateways; ++count) {
        gateways_.push_back(
            std::make_unique<test_support::ScriptedPeer>(wire_test::forgivingGatewayScript(scenario.replies), INT_MAX));
    }
}

World ScenarioStage::newWorld() const {
    World world;
    for (const auto& gateway : gateways_) {
        world.ports.push_back(gateway->port());
    }
    world.closedPort = closedPort_.port();
    world.traceFiles = {traceFiles_[0].path(), traceFiles_[1].path()};
    return world;
}

bool ScenarioStage::isCodeAllowed(const Step& step, int32_t code, const FaultView& fault, bool isStruck) const {
    std::vector<int32_t> allowed;
    if (isStruck) {
        allowed = fault.codesOf(step.function());
    }
    // A scenario whose step fails without a fault may meet its own failure first, and a large answer that is cut off
    // behind its first piece is taken as it is.
    if (allowed.empty() || step.code != STAPI_RC_OK || (fault.mayCutAnswers && scenario_.isAnswerLarge)) {
        allowed.push_back(step.code);
    }
    return std::find(allowed.begin(), allowed.end(), code) != allowed.end();
}

void ScenarioStage::playSteps(World* world, const FaultView& fault) {
    bool goesOn = true;
    for (size_t index = 0; index < scenario_.steps.size() && goesOn; ++index) {
        const Step& step = scenario_.steps[index];
        const int64_t before = fault.strikes();
        const size_t listedBefore = listedConnections();
        const int32_t code = step.run(*world);
        const bool isStruck = fault.strikes() > before;
        world->isContentKnown = world->isContentKnown && !(isStruck && fault.mayCutAnswers);
        EXPECT_TRUE(isCodeAllowed(step, code, fault, isStruck))
            << "step " << index << ", " << step.function() << (isStruck ? ", in which the fault struck" : "")
            << ", gave " << code;
        goesOn = code == step.code;
        if (code != STAPI_RC_OK && isQuery(step.function())) {
            expectConnectionToMatch(code, world);
        } else if (code != STAPI_RC_OK) {
            EXPECT_EQ(listedConnections(), listedBefore) << step.function() << " has failed";
        }
    }
}

int64_t ScenarioStage::play(const std::function<std::shared_ptr<FaultView>()>& makeFault) {
    int64_t strikes = 0;
    {
        const AllocationLedger blocks;
        const PlatformLedger platform;
        World world = newWorld();
        if (scenario_.traceLevel > 0) {
            EXPECT_EQ(setAPITraceFile(world.traceFiles[0].c_str()), STAPI_RC_OK);
            EXPECT_EQ(setAPITraceLevel(scenario_.traceLevel), STAPI_RC_OK);
        }
        {
            const std::shared_ptr<FaultView> fault = makeFault();
            playSteps(&world, *fault);
            strikes = fault->strikes();
            releaseAll(&world);
        }
        EXPECT_EQ(blocks.outstanding(), 0) << "blocks were not released";
        EXPECT_EQ(platform.openSockets(), 0) << "sockets were not closed";
        EXPECT_EQ(platform.heldAddresses(), 0) << "addresses were not released";
        EXPECT_EQ(platform.wrongClosings(), 0) << "a socket was closed that was not open";
    }
    for (const auto& file : traceFiles_) {
        removeTrace(file.path());
    }
    expectFreshConnectionWorks();
    return strikes;
}

void ScenarioStage::expectFreshConnectionWorks() {
    GatewayToken* token = nullptr;
    ResultSetToken* result = nullptr;
    size_t count = 0;
    EXPECT_EQ(openTo(freshGateway_.port(), &token), STAPI_RC_OK);
    if (token != nullptr) {
        EXPECT_EQ(getStatIds(token, &result), STAPI_RC_OK);
        EXPECT_EQ(walkIds(result, &count), STAPI_RC_END_OF_DATA);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(closeGatewayConnection(&token), STAPI_RC_OK);
    }
}

}  // namespace fault_test
