// Faults of time: replies that stop coming, and replies that come slowly.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "conversation.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;

constexpr size_t kHandshakeReplySize = 51;

std::vector<std::string> withFault(const std::string& fault) {
    return {"--verbose", "--fault", fault};
}

// Time for a wrong answer: the way of another connection to the same place.
void giveTimeForAnAnswer(const GatewaySim& sim) {
    Conversation other(sim);
    other.client().send(handshakeRequest());
    other.client().finishSending();
    other.client().receiveToTheEnd();
}

class SilenceAfter : public testing::TestWithParam<size_t> {};

INSTANTIATE_TEST_SUITE_P(Bytes, SilenceAfter, testing::Values(0, 1, 33, kHandshakeReplySize - 1, kHandshakeReplySize),
                         [](const auto& tested) { return std::to_string(tested.param); });

TEST_P(SilenceAfter, SendsTheFirstBytesAndKeepsTheConnectionUntilTheClientEndsIt) {
    const GatewaySim faultless;
    const Bytes reply = Conversation(faultless).handshake();
    const GatewaySim sim(withFault("handshake:silence=" + std::to_string(GetParam())));
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    EXPECT_EQ(shown(conversation.client().receive(GetParam())), shown(part(reply, 0, GetParam())));
    giveTimeForAnAnswer(sim);
    EXPECT_TRUE(conversation.client().hasNothingToRead());
    conversation.client().finishSending();
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
}

TEST(Silence, TakesNoFurtherRequest) {
    const GatewaySim sim(withFault("handshake:silence=51"));
    Conversation conversation(sim);
    conversation.handshake();
    conversation.client().send(firstAuthorisationRequest());
    giveTimeForAnAnswer(sim);
    EXPECT_TRUE(conversation.client().hasNothingToRead());
}

TEST(Silence, DoesNotKeepTheSimulatorFromEnding) {
    GatewaySim sim(withFault("handshake:silence=20"));
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    conversation.client().receive(20);
    EXPECT_EQ(sim.stop(), 0);
}

TEST(Trickle, PausesBetweenTheBytes) {
    const GatewaySim sim(withFault("handshake:trickle=4"));
    Conversation conversation(sim);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(conversation.handshake().size(), kHandshakeReplySize);
    EXPECT_GE(std::chrono::steady_clock::now() - start, (kHandshakeReplySize - 1) * std::chrono::milliseconds(4));
}

TEST(Trickle, WithALongPauseSendsOneByteAndDoesNotKeepTheSimulatorFromEnding) {
    GatewaySim sim(withFault("handshake:trickle=10000"));
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    EXPECT_EQ(shown(conversation.client().receive(1)), shown(hex("47")));
    EXPECT_TRUE(conversation.client().hasNothingToRead());
    EXPECT_EQ(sim.stop(), 0);
}

TEST(Trickle, PausesNoLongerThanTenSeconds) {
    const auto program = test_support::runGatewaySim({"--fault", "any:trickle=10001"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_NE(program.standardError.find("the value 10001 of trickle is not from 0 to 10000"), std::string::npos);
}

}  // namespace

}  // namespace sim_test
