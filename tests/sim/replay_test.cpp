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
};

std::string lineOf(const Exchange& exchange) {
    return json{{"connection", 1},
                {"asks", "somebody reads it"},
                {"milliseconds", exchange.milliseconds},
                {"end", exchange.ending},
                {"request", withoutBlanks(exchange.request)},
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

TEST(Replay, SaysFirstWhatTheGatewaySaidUnasked) {
    const Replayed replayed({{{}, kTwo}, {handshakeRequest(), kOne}});
    RawClient client(replayed.sim().port());
    EXPECT_EQ(client.receive(1), kTwo);
    EXPECT_EQ(answerTo(client, handshakeRequest()), kOne);
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

Bytes deviatingRequest() {
    Bytes request = closeRequest();
    request[4] = 1;
    return request;
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadRecording,
    testing::Values(
        BadFile{"Empty", "", "line 1: the file is empty\n"},
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
                "line 2: field \"end\" is not one of \"none\", \"closed\" and \"reset\"\n"},
        BadFile{"NegativeTime", recordingOf({{handshakeRequest(), kOne, "none", -1}}),
                "line 2: field \"milliseconds\" is no whole number from 0 on\n"},
        BadFile{"DeviatingRequest", recordingOf({{handshakeRequest(), kOne}, {deviatingRequest(), kOne}}),
                "line 3: the request cannot be replayed: the version is 0x01700000 where 0x00700000 belongs; without "
                "this line the recording can\n"}),
    [](const auto& tested) { return tested.param.name; });

TEST(ReplayFile, ThatIsNotThereIsNamed) {
    const TemporaryFile file;
    const FinishedProgram program = runGatewaySim({"replay", file.path()});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_NE(program.standardError.find("cannot open the file for reading"), std::string::npos);
}

}  // namespace

}  // namespace sim_test
