// gatewaysim replay: the answers of a recorded gateway.
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "conversation.h"
#include "temporary_file.h"

namespace sim_test {

namespace {

using nlohmann::json;
using test_support::FinishedProgram;
using test_support::GatewaySim;
using test_support::runGatewaySim;
using test_support::TemporaryFile;

constexpr const char* kFirstLine =
    "{\"recording\":\"gatewaysim\",\"format\":1,\"gateway\":\"g:1\",\"started\":\"2024-05-06T07:08:09.123Z\"}\n";

struct Exchange {
    Bytes request;
    Bytes reply;
    std::string ending = "none";
    int milliseconds = 0;
    int connection = 1;
    int endMilliseconds = 0;
};

// A reply that is as long as its header says, and ends with a byte of its own.
Bytes wholeReply(uint8_t last) {
    return hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000001") + Bytes{last};
}

std::string lineOf(const Exchange& exchange) {
    return json{{"connection", exchange.connection},           {"asks", "somebody reads it"},
                {"milliseconds", exchange.milliseconds},       {"end", exchange.ending},
                {"endMilliseconds", exchange.endMilliseconds}, {"request", withoutBlanks(exchange.request)},
                {"reply", withoutBlanks(exchange.reply)}}
               .dump() +
           "\n";
}

std::string recordingOf(const std::vector<Exchange>& exchanges) {
    std::string text = kFirstLine;
    for (const Exchange& exchange : exchanges) {
        text += lineOf(exchange);
    }
    return text;
}

// A recording made for the test, and a gatewaysim that replays it.
class Replayed {
  public:
    explicit Replayed(const std::vector<Exchange>& exchanges, const std::vector<std::string>& options = {})
        : file_(recordingOf(exchanges)), sim_(argumentsFor(options)) {}

    const GatewaySim& sim() const {
        return sim_;
    }

  private:
    std::vector<std::string> argumentsFor(std::vector<std::string> options) const {
        options.insert(options.begin(), {"replay", file_.path()});
        return options;
    }

    TemporaryFile file_;
    GatewaySim sim_;
};

const Bytes kOne = hex("01");
const Bytes kTwo = hex("02");
const Bytes kThree = hex("03");
const Bytes kHandle = hex("00000001");

Bytes statisticsRequest(std::string_view ids) {
    return invokeRequest(kHandle, "GET_STATS", ids);
}

Bytes answerTo(RawClient& client, const Bytes& request) {
    client.send(request);
    return client.receive(1);
}

TEST(Replay, GivesWhatWasRecordedByteForByte) {
    const GatewaySim gateway({"--seed", "3", "--frozen-clock", "2024-05-06T07:08:09Z"});
    const TemporaryFile file;
    GatewaySim recorder(
        {"record", "--gateway", "127.0.0.1:" + std::to_string(gateway.port()), "--output", file.path()});
    const auto converse = [](const GatewaySim& sim) {
        Conversation conversation(sim);
        Bytes all;
        for (const Bytes& reply :
             {conversation.handshake(), conversation.firstAuthorisation(), conversation.secondAuthorisation(),
              conversation.query("GET_STATS", "memory:errors"), conversation.query("RESOURCE_GROUPS", ""),
              conversation.query("STAT_IDS", "no.such.group"), conversation.close(),
              conversation.client().receiveToTheEnd()}) {
            all = all + reply;
        }
        return all;
    };
    const Bytes recorded = converse(recorder);
    ASSERT_EQ(recorder.stop(), 0);
    const GatewaySim replay({"replay", file.path()});
    EXPECT_EQ(shown(converse(replay)), shown(recorded));
    EXPECT_EQ(replay.standardError(), "");
}

TEST(Replay, GivesTheAnswersToAQuestionInTheirOrderAndKeepsTheLast) {
    const Replayed replayed(
        {{statisticsRequest("a"), kOne}, {statisticsRequest("b"), kThree}, {statisticsRequest("a"), kTwo}});
    RawClient client(replayed.sim().port());
    EXPECT_EQ(answerTo(client, statisticsRequest("a")), kOne);
    EXPECT_EQ(answerTo(client, statisticsRequest("a")), kTwo);
    EXPECT_EQ(answerTo(client, statisticsRequest("a")), kTwo);
    EXPECT_EQ(answerTo(client, statisticsRequest("b")), kThree);
}

TEST(Replay, GoesOnWithTheNextAnswerOnAnotherConnection) {
    const Replayed replayed({{statisticsRequest("a"), kOne}, {statisticsRequest("a"), kTwo}});
    RawClient first(replayed.sim().port());
    EXPECT_EQ(answerTo(first, statisticsRequest("a")), kOne);
    RawClient second(replayed.sim().port());
    EXPECT_EQ(answerTo(second, statisticsRequest("a")), kTwo);
}

TEST(Replay, BeginsAgainWhenToldTo) {
    const Replayed replayed({{statisticsRequest("a"), kOne}, {statisticsRequest("a"), kTwo}}, {"--again"});
    RawClient client(replayed.sim().port());
    EXPECT_EQ(answerTo(client, statisticsRequest("a")), kOne);
    EXPECT_EQ(answerTo(client, statisticsRequest("a")), kTwo);
    EXPECT_EQ(answerTo(client, statisticsRequest("a")), kOne);
}

TEST(Replay, TakesAQueryForTheSameWithWhateverHandle) {
    const Replayed replayed({{statisticsRequest("a"), kOne}});
    RawClient client(replayed.sim().port());
    EXPECT_EQ(answerTo(client, invokeRequest(hex("00000009"), "GET_STATS", "a")), kOne);
}

TEST(Replay, TellsQueriesApartThatDifferBehindWhatALogShows) {
    const std::string longIds(200, 'i');
    const Replayed replayed({{statisticsRequest(longIds + "1"), kOne}, {statisticsRequest(longIds + "2"), kTwo}});
    RawClient client(replayed.sim().port());
    EXPECT_EQ(answerTo(client, statisticsRequest(longIds + "2")), kTwo);
    EXPECT_EQ(answerTo(client, statisticsRequest(longIds + "1")), kOne);
}

TEST(Replay, NamesAQueryThatWasNotRecordedAndEndsTheConnection) {
    const Replayed replayed(
        {{handshakeRequest(), kOne}, {statisticsRequest("a"), kOne}, {statisticsRequest("b"), kOne}});
    RawClient client(replayed.sim().port());
    client.send(statisticsRequest("c"));
    EXPECT_EQ(shown(client.receiveToTheEnd()), "");
    EXPECT_EQ(withoutTimes(replayed.sim().standardError()),
              "gatewaysim: connection 1: refused: invoke GET_STATS \"c\" is not in the recording; it has invoke "
              "GET_STATS \"a\", invoke GET_STATS \"b\"\n");
}

TEST(Replay, EndsAConnectionAtACloseRequestThatWasNotRecorded) {
    const Replayed replayed({{handshakeRequest(), kOne}});
    RawClient client(replayed.sim().port());
    client.send(closeRequest());
    EXPECT_EQ(shown(client.receiveToTheEnd()), "");
    EXPECT_EQ(replayed.sim().standardError(), "");
}

TEST(Replay, EndsAConnectionAsTheGatewayDid) {
    const Replayed replayed({{handshakeRequest(), kOne, "closed"}});
    RawClient client(replayed.sim().port());
    client.send(handshakeRequest());
    EXPECT_EQ(client.receiveToTheEnd(), kOne);
}

TEST(Replay, ResetsAConnectionAsTheGatewayDid) {
    const Replayed replayed({{handshakeRequest(), {}, "reset"}});
    RawClient client(replayed.sim().port());
    client.send(handshakeRequest());
    EXPECT_EQ(client.endsByReset(), RawClient::tellsResetFromEnd());
}

TEST(Replay, SaysUnaskedWhatTheGatewaySaidToTheSameConnection) {
    const Replayed replayed({{handshakeRequest(), kOne}, {{}, kTwo, "none", 0, 2}, {{}, kThree, "closed", 0, 4}});
    const int port = replayed.sim().port();
    RawClient first(port);
    EXPECT_EQ(answerTo(first, handshakeRequest()), kOne);
    RawClient second(port);
    EXPECT_EQ(second.receive(1), kTwo);
    RawClient third(port);
    EXPECT_EQ(answerTo(third, handshakeRequest()), kOne);
    RawClient fourth(port);
    EXPECT_EQ(fourth.receiveToTheEnd(), kThree);
    RawClient fifth(port);
    EXPECT_EQ(answerTo(fifth, handshakeRequest()), kOne);
}

TEST(Replay, KeepsTheLastAnswerBehindWhichTheConversationWentOn) {
    const Replayed replayed({{statisticsRequest("a"), wholeReply(1)},
                             {statisticsRequest("a"), wholeReply(2)},
                             {statisticsRequest("a"), hex("47"), "none"},
                             {statisticsRequest("a"), wholeReply(4), "closed"}});
    const size_t size = wholeReply(1).size();
    RawClient client(replayed.sim().port());
    const auto answer = [&](RawClient& from, size_t length) {
        from.send(statisticsRequest("a"));
        return from.receive(length);
    };
    EXPECT_EQ(answer(client, size), wholeReply(1));
    EXPECT_EQ(answer(client, size), wholeReply(2));
    EXPECT_EQ(answer(client, 1), hex("47"));
    EXPECT_EQ(answer(client, size), wholeReply(4));
    EXPECT_EQ(shown(client.receiveToTheEnd()), "");
    RawClient next(replayed.sim().port());
    EXPECT_EQ(answer(next, size), wholeReply(2));
    EXPECT_EQ(answer(next, size), wholeReply(2));
}

TEST(Replay, PassesOverWhatWasNotRecordedWholeAndWhatIsNoRequestAndSaysSo) {
    Bytes deviating = closeRequest();
    deviating[4] = 1;
    const Replayed replayed(
        {{statisticsRequest("a"), kOne, "stopped"}, {deviating, kOne}, {statisticsRequest("a"), kTwo}});
    RawClient client(replayed.sim().port());
    EXPECT_EQ(answerTo(client, statisticsRequest("a")), kTwo);
    EXPECT_EQ(withoutTimes(replayed.sim().standardError()),
              "gatewaysim: passed over, for their requests are none of the protocol: exchanges 2 of the recording\n"
              "gatewaysim: passed over, for their replies were not recorded whole: exchanges 1 of the recording\n");
}

TEST(Replay, TakesSeveralRecordingsInOneFileAndBlankLines) {
    const TemporaryFile file(recordingOf({{statisticsRequest("a"), kOne}}) + "\n  \n" +
                             recordingOf({{{}, kThree}, {statisticsRequest("a"), kTwo}}) + "\n");
    const GatewaySim replay({"replay", file.path()});
    RawClient first(replay.port());
    EXPECT_EQ(answerTo(first, statisticsRequest("a")), kOne);
    RawClient second(replay.port());
    EXPECT_EQ(second.receive(1), kThree);
    EXPECT_EQ(answerTo(second, statisticsRequest("a")), kTwo);
}

// A client that asks on a connection that the gateway has ended, and then on a new one, meets the same again.
TEST(Replay, OfAGatewayThatEndedBehindAReplyGoesOnOnTheNextConnection) {
    const GatewaySim gateway({"--fault", "auth0:cut=100000"});
    const TemporaryFile file;
    GatewaySim recorder(
        {"record", "--gateway", "127.0.0.1:" + std::to_string(gateway.port()), "--output", file.path()});
    const auto converse = [](const GatewaySim& sim) {
        Conversation conversation(sim);
        conversation.handshake();
        const Bytes reply = conversation.firstAuthorisation();
        // The end of the stream is on its way: nothing answers this.
        conversation.client().send(handshakeRequest());
        EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
        return reply;
    };
    const Bytes first = converse(recorder);
    const Bytes second = converse(recorder);
    ASSERT_EQ(recorder.stop(), 0);
    const GatewaySim replay({"replay", file.path()});
    EXPECT_EQ(shown(converse(replay)), shown(first));
    EXPECT_EQ(shown(converse(replay)), shown(second));
}

TEST(Replay, GivesAllOfAReplyThatAResetFollows) {
    Bytes reply(300000, 0x61);
    const Replayed replayed({{handshakeRequest(), reply, "reset"}});
    RawClient client(replayed.sim().port());
    client.send(handshakeRequest());
    EXPECT_EQ(client.receive(reply.size()), reply);
}

TEST(Replay, TakesTheTimeThatTheGatewayTookWhenToldTo) {
    const Replayed replayed({{handshakeRequest(), kOne, "none", 300}}, {"--timed"});
    RawClient client(replayed.sim().port());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(answerTo(client, handshakeRequest()), kOne);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST(Replay, HoldsRequestsToTheProtocol) {
    const Replayed replayed({{handshakeRequest(), kOne}});
    RawClient client(replayed.sim().port());
    Bytes request = handshakeRequest();
    request[0] ^= 0xFFU;
    client.send(request);
    EXPECT_EQ(shown(client.receiveToTheEnd()), "");
    EXPECT_NE(replayed.sim().standardError().find("connection 1: refused: the eyecatcher is "), std::string::npos);
}

struct BadFile {
    const char* name;
    std::string content;
    std::string message;
};

void PrintTo(const BadFile& file, std::ostream* stream) {
    *stream << file.name;
}

class BadRecording : public testing::TestWithParam<BadFile> {};

TEST_P(BadRecording, IsNamedInOneLineWithExitCode2) {
    const TemporaryFile file(GetParam().content);
    const FinishedProgram program = runGatewaySim({"replay", file.path()});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardOutput, "");
    EXPECT_EQ(program.standardError.find("gatewaysim: recording \""), 0U) << program.standardError;
    EXPECT_NE(program.standardError.find("\": " + GetParam().message), std::string::npos) << program.standardError;
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadRecording,
    testing::Values(
        BadFile{"Empty", "", "line 1: there is no exchange in it that could be replayed\n"},
        BadFile{"FirstLineAlone", kFirstLine, "line 1: there is no exchange in it that could be replayed\n"},
        BadFile{"UnknownField", kFirstLine + std::string("{\"conection\":1}\n"),
                "line 2: unknown field \"conection\"\n"},
        BadFile{"OtherFile", "{}\n", "line 1: this is no recording: gatewaysim record makes one\n"},
        BadFile{"NoJson", "hello\n", "line 1: this is no recording: gatewaysim record makes one\n"},
        BadFile{"OtherFormat", "{\"recording\":\"gatewaysim\",\"format\":2}\n",
                "line 1: the recording has another format than 1, the one that this gatewaysim knows\n"},
        BadFile{"CutOff", kFirstLine + lineOf({handshakeRequest(), kOne}).substr(0, 60),
                "line 2: no JSON object; was the recording cut off here? Without this line it can be replayed\n"},
        BadFile{"NoReply",
                kFirstLine + std::string("{\"connection\":1,\"milliseconds\":0,\"end\":\"none\",\"request\":\"\"}\n"),
                "line 2: field \"reply\" is missing\n"},
        BadFile{"OddDigits",
                kFirstLine +
                    std::string(
                        "{\"connection\":1,\"milliseconds\":0,\"end\":\"none\",\"request\":\"476\",\"reply\":\"\"}\n"),
                "line 2: field \"request\" is no text of two hexadecimal digits for each byte\n"},
        BadFile{"UnknownEnd", recordingOf({{handshakeRequest(), kOne, "abrupt"}}),
                "line 2: field \"end\" is not one of \"none\", \"closed\", \"reset\" and \"stopped\"\n"},
        BadFile{"NegativeTime", recordingOf({{handshakeRequest(), kOne, "none", -1}}),
                "line 2: field \"milliseconds\" is not a whole number from 0 to 86400000\n"}),
    [](const auto& tested) { return tested.param.name; });

TEST(ReplayFile, ThatIsNotThereIsNamed) {
    const TemporaryFile file;
    const FinishedProgram program = runGatewaySim({"replay", file.path()});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_NE(program.standardError.find("cannot open the file for reading"), std::string::npos);
}

}  // namespace

}  // namespace sim_test
