#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>

#include "conversation.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;

class AcceptedSequence : public testing::Test {
  protected:
    // A reply that begins with these bytes; what stands behind them is opaque.
    static void expectReply(const Bytes& reply, size_t size, const Bytes& start) {
        EXPECT_EQ(reply.size(), size);
        EXPECT_EQ(shown(part(reply, 0, start.size())), shown(start));
    }

    const GatewaySim sim_;
    Conversation conversation_{sim_};
};

TEST_F(AcceptedSequence, HandshakeIsAnsweredByTheseBytes) {
    EXPECT_EQ(shown(conversation_.handshake()),
              shown(hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012"
                        "0002 656E 0002 5553 00000000000000000000")));
}

TEST_F(AcceptedSequence, FirstAuthorisationIsAnsweredWithStepZeroAndTwelveOpaqueBytes) {
    conversation_.handshake();
    expectReply(conversation_.firstAuthorisation(), 53U,
                hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014"
                    "00000000 00000000"));
}

TEST_F(AcceptedSequence, SecondAuthorisationIsAnsweredWithStepOneAndEightOpaqueBytes) {
    conversation_.handshake();
    conversation_.firstAuthorisation();
    expectReply(conversation_.secondAuthorisation(), 49U,
                hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000010"
                    "00000001 00000000"));
}

TEST_F(AcceptedSequence, InitIsAnsweredWithCallTypeZeroAndAHandle) {
    conversation_.open();
    expectReply(conversation_.init(), 46U,
                hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 0000000C"
                    "00000000 00000000"));
}

TEST_F(AcceptedSequence, AttributeIsAnsweredWithTheCataloguesProtocolText) {
    conversation_.open();
    conversation_.init();
    EXPECT_EQ(shown(conversation_.attribute()),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000016"
                        "00000001 00000000 00 00 ACED0005 74 0005 312E302E30")));
}

TEST_F(AcceptedSequence, InvokeIsAnsweredWithCallTypeFiveAndNoException) {
    conversation_.open();
    conversation_.init();
    const Bytes reply = conversation_.invoke("GET_STATS", "daemon.name");
    EXPECT_EQ(shown(part(reply, 34, 9)), shown(hex("00000005 00000000 00")));
    EXPECT_EQ(u32At(reply, 30), reply.size() - 34);
}

TEST_F(AcceptedSequence, AllThreeOperationsFollowEachOtherOnOneConnection) {
    conversation_.open();
    for (const char* const operation : {"RESOURCE_GROUPS", "STAT_IDS", "GET_STATS", "STAT_IDS"}) {
        EXPECT_FALSE(conversation_.query(operation, "").empty()) << operation;
    }
    conversation_.close();
    EXPECT_EQ(conversation_.client().receiveToTheEnd(), Bytes());
    EXPECT_EQ(sim_.standardError(), "");
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

TEST_F(AcceptedSequence, AConnectionThatEndsBetweenTwoRequestsIsNoDeviation) {
    conversation_.handshake();
    conversation_.client().finishSending();
    EXPECT_EQ(conversation_.client().receiveToTheEnd(), Bytes());
    EXPECT_EQ(sim_.standardError(), "");
}

TEST_F(AcceptedSequence, ARequestThatArrivesInPiecesIsTheSameRequest) {
    for (const uint8_t byte : handshakeRequest()) {
        conversation_.client().send({byte});
    }
    EXPECT_EQ(conversation_.client().receive(51).size(), 51U);
    conversation_.firstAuthorisation();
    conversation_.secondAuthorisation();
    EXPECT_EQ(sim_.standardError(), "");
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
    EXPECT_EQ(withoutTimes(sim.standardError()),
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
