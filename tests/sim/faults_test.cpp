#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "conversation.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;

Bytes with(Bytes reply, size_t offset, const Bytes& replacement) {
    std::copy(replacement.begin(), replacement.end(), reply.begin() + static_cast<ptrdiff_t>(offset));
    return reply;
}

// The faultless reply to the same request: opaque values and texts are decided by these options.
const std::vector<std::string> kFixed{"--seed", "5", "--frozen-clock", "2024-05-06T07:08:09Z"};

std::vector<std::string> withFault(const std::string& fault) {
    std::vector<std::string> arguments = kFixed;
    arguments.insert(arguments.end(), {"--fault", fault});
    return arguments;
}

// Does all steps before the exchange of this name and gives its request.
Bytes leadTo(const std::string& exchange, Conversation& conversation) {
    if (exchange == "handshake") {
        return handshakeRequest();
    }
    conversation.handshake();
    if (exchange == "close") {
        return closeRequest();
    }
    if (exchange == "auth0") {
        return firstAuthorisationRequest();
    }
    conversation.firstAuthorisation();
    if (exchange == "auth1") {
        return secondAuthorisationRequest(conversation.credential(), conversation.qualifier());
    }
    conversation.secondAuthorisation();
    if (exchange == "init") {
        return initRequest();
    }
    conversation.init();
    return exchange == "attribute" ? attributeRequest(conversation.handle())
                                   : invokeRequest(conversation.handle(), "GET_STATS", "listener");
}

size_t nameLengthOf(const std::string& exchange) {
    return exchange == "init" || exchange == "attribute" || exchange == "invoke" ? 5 : 4;
}

Bytes faultlessReply(const std::string& exchange) {
    const GatewaySim sim(kFixed);
    Conversation conversation(sim);
    const Bytes request = leadTo(exchange, conversation);
    return conversation.exchange(request, nameLengthOf(exchange));
}

// All that comes in answer to the request of this exchange until the simulator ends the stream.
Bytes answerToTheEnd(const std::string& exchange, const std::string& fault) {
    const GatewaySim sim(withFault(fault));
    Conversation conversation(sim);
    conversation.client().send(leadTo(exchange, conversation));
    return conversation.client().receiveToTheEnd();
}

// What comes in answer when the client ends the stream behind its request.
Bytes wholeAnswer(const std::string& exchange, const std::string& fault) {
    const GatewaySim sim(withFault(fault));
    Conversation conversation(sim);
    conversation.client().send(leadTo(exchange, conversation));
    conversation.client().finishSending();
    return conversation.client().receiveToTheEnd();
}

const std::vector<std::string> kExchanges{"handshake", "auth0", "auth1", "init", "attribute", "invoke", "close"};

class FaultOfAnyExchange : public testing::TestWithParam<std::string> {
  protected:
    std::string fault(const std::string& kind) const {
        return GetParam() + ":" + kind;
    }
    size_t headerSize() const {
        return 29 + nameLengthOf(GetParam());
    }
    size_t lengthOffset() const {
        return headerSize() - 4;
    }
};

INSTANTIATE_TEST_SUITE_P(Exchange, FaultOfAnyExchange, testing::ValuesIn(kExchanges),
                         [](const auto& tested) { return tested.param; });

TEST_P(FaultOfAnyExchange, CutSendsTheFirstBytesAndEndsTheStream) {
    const Bytes reply = faultlessReply(GetParam());
    for (const size_t size : {size_t{0}, size_t{3}, headerSize() - 1, reply.size() - 1}) {
        EXPECT_EQ(shown(answerToTheEnd(GetParam(), fault("cut=" + std::to_string(size)))), shown(part(reply, 0, size)));
    }
}

TEST_P(FaultOfAnyExchange, CutBehindTheReplySendsAllOfItAndEndsTheStream) {
    EXPECT_EQ(shown(answerToTheEnd(GetParam(), fault("cut=1000000"))), shown(faultlessReply(GetParam())));
}

TEST_P(FaultOfAnyExchange, TrickleSendsTheSameReplyInSingleBytes) {
    std::vector<std::string> arguments = withFault(fault("trickle"));
    arguments.emplace_back("--verbose");
    const GatewaySim sim(arguments);
    Conversation conversation(sim);
    conversation.client().send(leadTo(GetParam(), conversation));
    conversation.client().finishSending();
    const Bytes reply = faultlessReply(GetParam());
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), shown(reply));
    EXPECT_NE(sim.standardError().find("sent " + std::to_string(reply.size()) + " single bytes\n"), std::string::npos);
}

TEST_P(FaultOfAnyExchange, EyecatcherIsWrongAndNothingElse) {
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("eyecatcher"))),
              shown(with(faultlessReply(GetParam()), 0, hex("65746147"))));
}

TEST_P(FaultOfAnyExchange, CodeStandsAtOffset16AndTheBodyStays) {
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("code=61444"))),
              shown(with(faultlessReply(GetParam()), 16, hex("0000F004"))));
}

TEST_P(FaultOfAnyExchange, CodeMayBeNegativeOrHexadecimal) {
    const Bytes reply = faultlessReply(GetParam());
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("code=-4"))), shown(with(reply, 16, hex("FFFFFFFC"))));
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("code=0xFFFF0001"))), shown(with(reply, 16, hex("FFFF0001"))));
}

TEST_P(FaultOfAnyExchange, ShorterAnnouncesMoreThanComesAndEndsTheStream) {
    const Bytes reply = faultlessReply(GetParam());
    const Bytes announced = u32(reply.size() - headerSize() + 7);
    EXPECT_EQ(shown(answerToTheEnd(GetParam(), fault("shorter=7"))), shown(with(reply, lengthOffset(), announced)));
}

TEST_P(FaultOfAnyExchange, NameLengthIsAnnouncedAndTheNameStays) {
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("name-length=9"))),
              shown(with(faultlessReply(GetParam()), 20, hex("00000009"))));
}

TEST_P(FaultOfAnyExchange, EmptyHasNoBody) {
    const Bytes reply = faultlessReply(GetParam());
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("empty"))),
              shown(with(part(reply, 0, headerSize()), lengthOffset(), hex("00000000"))));
}

TEST_P(FaultOfAnyExchange, NegativeLengthHasNoBody) {
    const Bytes reply = faultlessReply(GetParam());
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("negative-length"))),
              shown(with(part(reply, 0, headerSize()), lengthOffset(), hex("FFFFFFFF"))));
}

TEST_P(FaultOfAnyExchange, ResetGivesNoReply) {
    const GatewaySim sim(withFault(fault("reset")));
    Conversation conversation(sim);
    conversation.client().send(leadTo(GetParam(), conversation));
    EXPECT_TRUE(conversation.client().endsByReset() || !RawClient::tellsResetFromEnd());
}

TEST_P(FaultOfAnyExchange, StallNeverAnswersAndKeepsTheConnection) {
    std::vector<std::string> arguments = withFault(fault("stall"));
    arguments.emplace_back("--verbose");
    GatewaySim sim(arguments);
    Conversation conversation(sim);
    conversation.client().send(leadTo(GetParam(), conversation));
    // Time for a wrong answer: the way of another connection to the same place.
    Conversation other(sim);
    other.client().send(leadTo(GetParam(), other));
    EXPECT_TRUE(conversation.client().hasNothingToRead());
    conversation.client().finishSending();
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
    EXPECT_NE(sim.standardError().find("connection 1: " + GetParam()), std::string::npos);
    EXPECT_NE(sim.standardError().find("spoiled by " + fault("stall")), std::string::npos);
    EXPECT_EQ(sim.stop(), 0);
}

TEST_P(FaultOfAnyExchange, DelayedReplyIsTheSameReply) {
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("delay=1"))), shown(faultlessReply(GetParam())));
}

TEST_P(FaultOfAnyExchange, LongDelayHoldsTheReplyBackAndDoesNotKeepTheSimulatorFromEnding) {
    GatewaySim sim(withFault(fault("delay=600000")));
    Conversation conversation(sim);
    conversation.client().send(leadTo(GetParam(), conversation));
    conversation.client().finishSending();
    Conversation other(sim);
    other.client().send(leadTo(GetParam(), other));
    EXPECT_TRUE(conversation.client().hasNothingToRead());
    EXPECT_EQ(sim.stop(), 0);
}

class FaultOfAReplyWithABody : public FaultOfAnyExchange {};

INSTANTIATE_TEST_SUITE_P(Exchange, FaultOfAReplyWithABody,
                         testing::Values("handshake", "auth0", "auth1", "init", "attribute", "invoke"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST_P(FaultOfAReplyWithABody, LongerAnnouncesLessThanComes) {
    const Bytes reply = faultlessReply(GetParam());
    const Bytes announced = u32(reply.size() - headerSize() - 5);
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("longer=5"))), shown(with(reply, lengthOffset(), announced)));
}

TEST_P(FaultOfAReplyWithABody, LongerThanTheBodyAnnouncesNothing) {
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("longer=100000"))),
              shown(with(faultlessReply(GetParam()), lengthOffset(), hex("00000000"))));
}

TEST_P(FaultOfAReplyWithABody, TruncateBodyAnnouncesWhatComes) {
    const Bytes reply = faultlessReply(GetParam());
    EXPECT_EQ(shown(wholeAnswer(GetParam(), fault("truncate-body=7"))),
              shown(with(part(reply, 0, headerSize() + 7), lengthOffset(), hex("00000007"))));
}

TEST(Fault, RefusedFirstAuthorisationIsStepZeroWithTheCode) {
    EXPECT_EQ(shown(wholeAnswer("auth0", "auth0:refuse=42")),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014"
                        "00000000 0000002A 000000000000000000000000")));
}

TEST(Fault, RefusedSecondAuthorisationIsStepZeroWithTheUsualCode) {
    EXPECT_EQ(shown(wholeAnswer("auth1", "auth1:refuse")),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014"
                        "00000000 0000000D 000000000000000000000000")));
}

TEST(Fault, AdminCodeOfInitLeavesTheHandle) {
    EXPECT_EQ(shown(wholeAnswer("init", "init:admin-code=3")),
              shown(with(faultlessReply("init"), 38, hex("00000003"))));
}

TEST(Fault, AdminCodeOfInvokeLeavesNoPayload) {
    EXPECT_EQ(shown(wholeAnswer("invoke", "invoke:admin-code=-9")),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000009"
                        "00000005 FFFFFFF7 00")));
}

TEST(Fault, ExceptionSetsTheFlagAndGivesATextForThePayload) {
    const std::string message = "the operation failed because it was told to";
    EXPECT_EQ(shown(wholeAnswer("attribute", "attribute:exception")),
              shown(hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 0000003B"
                        "00000001 00000000 01 ACED0005 74 002B") +
                    characters(message)));
}

TEST(Fault, CallTypeReplacesTheEchoedCallTypeOrStep) {
    for (const char* const exchange : {"auth0", "auth1", "init", "attribute", "invoke"}) {
        const Bytes reply = faultlessReply(exchange);
        EXPECT_EQ(shown(wholeAnswer(exchange, std::string(exchange) + ":call-type=258")),
                  shown(with(reply, 29 + nameLengthOf(exchange), hex("00000102"))));
    }
}

TEST(Fault, FaultsOfOneExchangeAddUp) {
    std::vector<std::string> arguments = withFault("attribute:code=1");
    arguments.insert(arguments.end(), {"--fault", "attribute:truncate-body=1", "--fault", "attribute:cut=35"});
    const GatewaySim sim(arguments);
    Conversation conversation(sim);
    conversation.client().send(leadTo("attribute", conversation));
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()),
              shown(hex("47617465 00700000 00000001 00000000 00000001 00000005 41646D696E 00 00000001 00")));
}

uint32_t codeOf(const Bytes& reply) {
    return u32At(reply, 16);
}

TEST(Fault, OccurrenceCountsTheExchangesOfEachConnection) {
    const GatewaySim sim({"--fault", "invoke#2:code=77"});
    for (int round = 0; round < 2; ++round) {
        Conversation conversation(sim);
        conversation.open();
        for (const uint32_t expected : {0U, 77U, 0U}) {
            conversation.init();
            EXPECT_EQ(codeOf(conversation.invoke("STAT_IDS", "")), expected);
        }
    }
}

TEST(Fault, WithoutOccurrenceEverySuchExchangeIsMeant) {
    const GatewaySim sim({"--fault", "invoke:code=77"});
    Conversation conversation(sim);
    conversation.open();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(codeOf(conversation.init()), 0U);
        EXPECT_EQ(codeOf(conversation.invoke("STAT_IDS", "")), 77U);
    }
}

TEST(Fault, AnyCountsAllExchanges) {
    const GatewaySim sim({"--fault", "any#3:code=5"});
    Conversation conversation(sim);
    EXPECT_EQ(codeOf(conversation.handshake()), 0U);
    EXPECT_EQ(codeOf(conversation.firstAuthorisation()), 0U);
    EXPECT_EQ(codeOf(conversation.secondAuthorisation()), 5U);
    EXPECT_EQ(codeOf(conversation.init()), 0U);
}

TEST(Fault, AnyLeavesAloneWhatCannotCarryTheKind) {
    const GatewaySim sim({"--fault", "any:refuse=9"});
    Conversation conversation(sim);
    EXPECT_EQ(conversation.handshake().size(), 51U);
    EXPECT_EQ(u32At(conversation.firstAuthorisation(), 37), 9U);
}

TEST(Fault, AfterASpoiledInitTheClientMayInitAgain) {
    const GatewaySim sim({"--fault", "init#1:code=5"});
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    conversation.init();
    conversation.attribute();
    EXPECT_EQ(sim.standardError(), "");
}

TEST(Fault, AfterAMerelyLateInitTheClientMayNot) {
    const GatewaySim sim({"--fault", "init#1:trickle"});
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    conversation.client().send(initRequest());
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
    EXPECT_NE(sim.standardError().find("refused: init came while"), std::string::npos);
}

}  // namespace

}  // namespace sim_test
