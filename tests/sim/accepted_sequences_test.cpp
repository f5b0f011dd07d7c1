#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>

#include "conversation.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;

TEST(AcceptedSequence, HandshakeIsAnsweredByTheseBytes) {
    const GatewaySim sim;
    Conversation conversation(sim);
    EXPECT_EQ(shown(conversation.handshake()),
              shown(hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012"
                        "0002 656E 0002 5553 00000000000000000000")));
}

TEST(AcceptedSequence, FirstAuthorisationIsAnsweredWithStepZeroAndTwelveOpaqueBytes) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.handshake();
    const Bytes reply = conversation.firstAuthorisation();
    EXPECT_EQ(reply.size(), 53U);
    EXPECT_EQ(shown(part(reply, 0, 41)),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014"
                        "00000000 00000000")));
}

TEST(AcceptedSequence, SecondAuthorisationIsAnsweredWithStepOneAndEightOpaqueBytes) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.handshake();
    conversation.firstAuthorisation();
    const Bytes reply = conversation.secondAuthorisation();
    EXPECT_EQ(reply.size(), 49U);
    EXPECT_EQ(shown(part(reply, 0, 41)),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000010"
                        "00000001 00000000")));
}

TEST(AcceptedSequence, InitIsAnsweredWithCallTypeZeroAndAHandle) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.open();
    const Bytes reply = conversation.init();
    EXPECT_EQ(reply.size(), 46U);
    EXPECT_EQ(shown(part(reply, 0, 42)),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 0000000C"
                        "00000000 00000000")));
}

TEST(AcceptedSequence, AttributeIsAnsweredWithTheCataloguesProtocolText) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    EXPECT_EQ(shown(conversation.attribute()),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000016"
                        "00000001 00000000 00 00 ACED0005 74 0005 312E302E30")));
}

TEST(AcceptedSequence, InvokeIsAnsweredWithCallTypeFiveAndNoException) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    const Bytes reply = conversation.invoke("GET_STATS", "daemon.name");
    EXPECT_EQ(shown(part(reply, 34, 9)), shown(hex("00000005 00000000 00")));
    EXPECT_EQ(u32At(reply, 30), reply.size() - 34);
}

TEST(AcceptedSequence, AllThreeOperationsFollowEachOtherOnOneConnection) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.open();
    for (const char* const operation : {"RESOURCE_GROUPS", "STAT_IDS", "GET_STATS", "STAT_IDS"}) {
        EXPECT_FALSE(conversation.query(operation, "").empty()) << operation;
    }
    conversation.close();
    EXPECT_EQ(conversation.client().receiveToTheEnd(), Bytes());
    EXPECT_EQ(sim.standardError(), "");
}

class CloseAfter : public testing::TestWithParam<int> {};

TEST_P(CloseAfter, IsAnsweredAndEndsTheConnection) {
    const GatewaySim sim;
    Conversation conversation(sim);
    int steps = GetParam();
    conversation.handshake();
    if (steps-- > 0) {
        conversation.firstAuthorisation();
    }
    if (steps-- > 0) {
        conversation.secondAuthorisation();
    }
    if (steps-- > 0) {
        conversation.init();
    }
    if (steps-- > 0) {
        conversation.attribute();
    }
    EXPECT_EQ(shown(conversation.close()),
              shown(hex("47617465 00700000 0000000A 00000000 00000000 00000004 42415345 00 00000000")));
    EXPECT_EQ(conversation.client().receiveToTheEnd(), Bytes());
    EXPECT_EQ(sim.standardError(), "");
}

INSTANTIATE_TEST_SUITE_P(NumberOfStepsBehindTheHandshake, CloseAfter, testing::Range(0, 5));

TEST(AcceptedSequence, AConnectionThatEndsBetweenTwoRequestsIsNoDeviation) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.handshake();
    conversation.client().finishSending();
    EXPECT_EQ(conversation.client().receiveToTheEnd(), Bytes());
    EXPECT_EQ(sim.standardError(), "");
}

TEST(AcceptedSequence, ARequestThatArrivesInPiecesIsTheSameRequest) {
    const GatewaySim sim;
    Conversation conversation(sim);
    for (const uint8_t byte : handshakeRequest()) {
        conversation.client().send({byte});
    }
    EXPECT_EQ(conversation.client().receive(51).size(), 51U);
    conversation.firstAuthorisation();
    conversation.secondAuthorisation();
    EXPECT_EQ(sim.standardError(), "");
}

bool hasNoTwoEqualBytes(const Bytes& bytes) {
    return std::set<uint8_t>(bytes.begin(), bytes.end()).size() == bytes.size();
}

bool contains(const Bytes& bytes, uint8_t byte) {
    return std::find(bytes.begin(), bytes.end(), byte) != bytes.end();
}

TEST(OpaqueValue, ContainsZeroAndAllOnesAndNoByteTwice) {
    const GatewaySim sim;
    for (int round = 0; round < 20; ++round) {
        Conversation conversation(sim);
        conversation.open();
        conversation.init();
        for (const Bytes& value : {conversation.credential(), conversation.qualifier(), conversation.handle()}) {
            EXPECT_TRUE(contains(value, 0x00) && contains(value, 0xFF) && hasNoTwoEqualBytes(value)) << shown(value);
        }
    }
}

TEST(OpaqueValue, IsFreshOnEveryConnectionAndEveryInit) {
    const GatewaySim sim({"--seed", "1"});
    Conversation one(sim);
    Conversation other(sim);
    one.open();
    other.open();
    EXPECT_NE(shown(one.credential()), shown(other.credential()));
    EXPECT_NE(shown(one.qualifier()), shown(other.qualifier()));
    one.init();
    const Bytes firstHandle = one.handle();
    one.attribute();
    one.init();
    EXPECT_NE(shown(firstHandle), shown(one.handle()));
}

TEST(OpaqueValue, IsDecidedByTheSeed) {
    const auto credentialOf = [](const std::string& seed) {
        const GatewaySim sim({"--seed", seed});
        Conversation conversation(sim);
        conversation.open();
        return shown(conversation.credential());
    };
    EXPECT_EQ(credentialOf("7"), credentialOf("7"));
    EXPECT_NE(credentialOf("7"), credentialOf("8"));
}

TEST(VerboseLog, NamesEachExchangeOnALineOfItsOwn) {
    const GatewaySim sim({"--verbose"});
    Conversation conversation(sim);
    conversation.open();
    conversation.query("STAT_IDS", "a\x1B:\"\x7F");
    conversation.close();
    conversation.client().finishSending();
    EXPECT_EQ(sim.standardError(),
              "gatewaysim: connection 1: accepted\n"
              "gatewaysim: connection 1: handshake answered with a body of 18 bytes\n"
              "gatewaysim: connection 1: auth0 answered with a body of 20 bytes\n"
              "gatewaysim: connection 1: auth1 answered with a body of 16 bytes\n"
              "gatewaysim: connection 1: init answered with a body of 12 bytes\n"
              "gatewaysim: connection 1: invoke STAT_IDS \"a\\x1B:\\\"\\x7F\" answered with a body of 232 bytes\n"
              "gatewaysim: connection 1: close answered with a body of 0 bytes\n");
}

}  // namespace

}  // namespace sim_test
