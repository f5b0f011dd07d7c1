// gatewaysim record: what passes between a client and a gateway, and what is written of it.
#include <gtest/gtest.h>

#include <future>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "closed_port.h"
#include "conversation.h"
#include "scripted_peer.h"
#include "temporary_file.h"

namespace sim_test {

namespace {

using nlohmann::json;
using test_support::ClosedPort;
using test_support::FinishedProgram;
using test_support::GatewaySim;
using test_support::runGatewaySim;
using test_support::TemporaryFile;

std::string addressOf(int port) {
    return "127.0.0.1:" + std::to_string(port);
}

std::vector<std::string> recordingOf(int port, const TemporaryFile& file) {
    return {"record", "--gateway", addressOf(port), "--output", file.path(), "--verbose"};
}

// A gateway, and a recorder before it.
class Recorded {
  public:
    explicit Recorded(std::vector<std::string> gatewayArguments = {})
        : gateway_(std::move(gatewayArguments)), recorder_(recordingOf(gateway_.port(), file_)) {}

    const GatewaySim& recorder() const {
        return recorder_;
    }
    GatewaySim& gateway() {
        return gateway_;
    }
    int stop() {
        return recorder_.stop();
    }
    std::string standardError() const {
        return withoutTimes(recorder_.standardError());
    }
    // The lines behind the first one, after the recorder's end.
    std::vector<json> exchanges() {
        recorder_.stop();
        std::istringstream lines(file_.content());
        std::string line;
        std::getline(lines, line);
        firstLine_ = json::parse(line);
        std::vector<json> exchanges;
        while (std::getline(lines, line)) {
            exchanges.push_back(json::parse(line));
        }
        return exchanges;
    }
    const json& firstLine() const {
        return firstLine_;
    }

  private:
    TemporaryFile file_;
    GatewaySim gateway_;
    GatewaySim recorder_;
    json firstLine_;
};

TEST(Recording, HoldsEveryExchangeAsItWasSent) {
    Recorded recorded;
    Conversation conversation(recorded.recorder());
    const Bytes handshake = conversation.handshake();
    const Bytes first = conversation.firstAuthorisation();
    const Bytes second = conversation.secondAuthorisation();
    const Bytes init = conversation.init();
    const Bytes handle = conversation.handle();
    const Bytes invoke = conversation.invoke("GET_STATS", "memory");
    const Bytes close = conversation.close();
    conversation.client().receiveToTheEnd();
    conversation.client().finishSending();

    const std::vector<json> exchanges = recorded.exchanges();
    const std::vector<std::string> asked{"handshake", "auth0", "auth1", "init", "invoke GET_STATS \"memory\"", "close"};
    const std::vector<Bytes> requests{handshakeRequest(),
                                      firstAuthorisationRequest(),
                                      secondAuthorisationRequest(conversation.credential(), conversation.qualifier()),
                                      initRequest(),
                                      invokeRequest(handle, "GET_STATS", "memory"),
                                      closeRequest()};
    const std::vector<Bytes> replies{handshake, first, second, init, invoke, close};
    ASSERT_EQ(exchanges.size(), asked.size());
    for (size_t index = 0; index < asked.size(); ++index) {
        EXPECT_EQ(exchanges[index]["connection"], 1) << index;
        EXPECT_EQ(exchanges[index]["asks"], asked[index]);
        EXPECT_EQ(exchanges[index]["request"], withoutBlanks(requests[index])) << asked[index];
        EXPECT_EQ(exchanges[index]["reply"], withoutBlanks(replies[index])) << asked[index];
        EXPECT_GE(exchanges[index]["milliseconds"], 0) << asked[index];
        EXPECT_EQ(exchanges[index]["end"], asked[index] == "close" ? "closed" : "none");
    }
    EXPECT_EQ(recorded.firstLine()["recording"], "gatewaysim");
    EXPECT_EQ(recorded.firstLine()["format"], 1);
    EXPECT_EQ(recorded.firstLine()["gateway"], addressOf(recorded.gateway().port()));
}

TEST(Recording, SaysAtItsEndHowMuchItHolds) {
    Recorded recorded;
    Conversation conversation(recorded.recorder());
    conversation.handshake();
    EXPECT_EQ(recorded.stop(), 0);
    const std::string log = recorded.standardError();
    EXPECT_NE(log.find("gatewaysim: connection 1: accepted\n"), std::string::npos) << log;
    EXPECT_NE(log.find("gatewaysim: connection 1: handshake answered with 51 bytes\n"), std::string::npos) << log;
    EXPECT_NE(log.find("gatewaysim: recorded 1 exchanges in \""), std::string::npos) << log;
}

TEST(Recording, HoldsTheExchangesOfConnectionsSideBySide) {
    Recorded recorded;
    Conversation one(recorded.recorder());
    Conversation other(recorded.recorder());
    one.handshake();
    other.handshake();
    other.firstAuthorisation();
    one.firstAuthorisation();
    size_t ofFirst = 0;
    const std::vector<json> exchanges = recorded.exchanges();
    for (const json& exchange : exchanges) {
        ofFirst += exchange["connection"] == 1 ? 1 : 0;
    }
    EXPECT_EQ(exchanges.size(), 4U);
    EXPECT_EQ(ofFirst, 2U);
}

TEST(Recording, OfARequestInPiecesIsOneExchange) {
    Recorded recorded;
    Conversation conversation(recorded.recorder());
    for (const uint8_t byte : handshakeRequest()) {
        conversation.client().send({byte});
    }
    conversation.client().receive(51);
    conversation.firstAuthorisation();
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 2U);
    EXPECT_EQ(exchanges[0]["request"], withoutBlanks(handshakeRequest()));
}

TEST(Recording, OfAReplyInPiecesIsOneExchangeAsLongAsTheLastOfThem) {
    Recorded recorded({"--fault", "handshake:trickle=5"});
    Conversation conversation(recorded.recorder());
    const Bytes reply = conversation.handshake();
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 1U);
    EXPECT_EQ(exchanges[0]["reply"], withoutBlanks(reply));
    EXPECT_GE(exchanges[0]["milliseconds"], 50 * 5);
}

TEST(Recording, OfASurplusReplyHoldsTheSurplus) {
    Recorded recorded({"--fault", "handshake:twice"});
    Conversation conversation(recorded.recorder());
    Bytes reply = conversation.handshake();
    reply = reply + conversation.client().receive(51);
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 1U);
    EXPECT_EQ(exchanges[0]["reply"], withoutBlanks(reply));
}

TEST(Recording, OfAGatewayThatSpeaksUnaskedBeginsWithWhatItSaid) {
    Recorded recorded({"--fault", "accept:flood=20"});
    Conversation conversation(recorded.recorder());
    const Bytes unasked = conversation.client().receive(20);
    conversation.handshake();
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 2U);
    EXPECT_EQ(exchanges[0]["asks"], "accept");
    EXPECT_EQ(exchanges[0]["request"], "");
    EXPECT_EQ(exchanges[0]["reply"], withoutBlanks(unasked));
    EXPECT_EQ(exchanges[1]["asks"], "handshake");
}

TEST(Recording, PassesOnAReplyThatIsCutOffAndItsEnd) {
    Recorded recorded({"--fault", "handshake:cut=7"});
    Conversation conversation(recorded.recorder());
    conversation.client().send(handshakeRequest());
    const Bytes received = conversation.client().receiveToTheEnd();
    EXPECT_EQ(received.size(), 7U);
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 1U);
    EXPECT_EQ(exchanges[0]["reply"], withoutBlanks(received));
    EXPECT_EQ(exchanges[0]["end"], "closed");
}

TEST(Recording, PassesOnAReset) {
    Recorded recorded({"--fault", "handshake:reset"});
    Conversation conversation(recorded.recorder());
    conversation.client().send(handshakeRequest());
    EXPECT_EQ(conversation.client().endsByReset(), RawClient::tellsResetFromEnd());
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 1U);
    EXPECT_EQ(exchanges[0]["reply"], "");
    EXPECT_NE(exchanges[0]["end"], "none");
}

TEST(Recording, TellsTheGatewayWhenTheClientEnds) {
    Recorded recorded({"--verbose"});
    {
        Conversation conversation(recorded.recorder());
        conversation.handshake();
    }
    recorded.stop();
    recorded.gateway().stop();
    const std::string log = recorded.gateway().standardError();
    EXPECT_NE(log.find("connection 1: the peer ended it without a close request"), std::string::npos) << log;
}

TEST(Recording, OfAGatewayThatEndsBehindItsClientTellsNoEnd) {
    Recorded recorded({"--fault", "handshake:silence=20"});
    Conversation conversation(recorded.recorder());
    conversation.client().send(handshakeRequest());
    conversation.client().receive(20);
    conversation.client().finishSending();
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 1U);
    EXPECT_EQ(exchanges[0]["end"], "none");
}

TEST(Recording, HoldsWhatIsNoRequestOfTheProtocol) {
    Recorded recorded;
    Conversation conversation(recorded.recorder());
    const Bytes request = characters("GET / HTTP/1.1\r\n\r\n plus something to fill a header");
    conversation.client().send(request);
    conversation.client().receiveToTheEnd();
    const std::vector<json> exchanges = recorded.exchanges();
    ASSERT_EQ(exchanges.size(), 1U);
    EXPECT_EQ(exchanges[0]["asks"],
              "no request of the protocol: the eyecatcher is 0x47455420 where 0x47617465 belongs");
    EXPECT_EQ(exchanges[0]["request"], withoutBlanks(request));
    EXPECT_EQ(exchanges[0]["end"], "closed");
}

TEST(Recording, EndsTheConnectionOfAClientWhenTheGatewayCannotBeReached) {
    const ClosedPort nobody;
    const TemporaryFile file;
    const GatewaySim recorder(recordingOf(nobody.port(), file));
    Conversation conversation(recorder);
    conversation.client().endsByReset();
    const std::string log = recorder.standardError();
    EXPECT_NE(log.find("connection 1: the gateway " + addressOf(nobody.port()) + " cannot be reached: "),
              std::string::npos)
        << log;
}

TEST(Recording, OfItselfIsRefused) {
    FinishedProgram program;
    // The port may have been taken by somebody else meanwhile.
    for (int attempt = 0; attempt < 5; ++attempt) {
        GatewaySim other;
        const std::string port = std::to_string(other.port());
        other.stop();
        const TemporaryFile file;
        program = runGatewaySim({"record", "--port", port, "--gateway", "localhost:" + port, "--output", file.path()});
        if (program.standardError.find("cannot listen") == std::string::npos) {
            EXPECT_EQ(program.exitCode, 2);
            EXPECT_EQ(program.standardError, "gatewaysim: --gateway localhost:" + port +
                                                 " is the address that this program itself listens on "
                                                 "(gatewaysim --help says more)\n");
            return;
        }
    }
    FAIL() << program.standardError;
}

// Each of the two sends more than all buffers hold before it receives: whoever passes on one way at a time waits for
// ever.
TEST(Recording, PassesOnBothWaysAtOnce) {
    constexpr size_t kMoreThanBuffersHold = 16U << 20;
    const Bytes much(kMoreThanBuffersHold, 0x61);
    test_support::ScriptedPeer gateway([&](test_support::PeerConnection& connection) {
        connection.send(much);
        connection.expect(kMoreThanBuffersHold);
        connection.expectEnd();
    });
    const TemporaryFile file;
    GatewaySim recorder(recordingOf(gateway.port(), file));
    {
        RawClient client(recorder.port());
        auto sent = std::async(std::launch::async, [&] { client.send(much); });
        EXPECT_EQ(client.receive(much.size()), much);
        sent.get();
        client.finishSending();
        client.receiveToTheEnd();
    }
    EXPECT_EQ(gateway.finish(), "");
    EXPECT_EQ(recorder.stop(), 0);
}

TEST(Recording, LeavesAFileAloneThatIsThere) {
    const TemporaryFile file("precious\n");
    const FinishedProgram program = runGatewaySim(recordingOf(1, file));
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_NE(program.standardError.find("cannot be made: "), std::string::npos) << program.standardError;
    EXPECT_NE(program.standardError.find("give --output the name of a new file"), std::string::npos);
    EXPECT_EQ(file.content(), "precious\n");
}

struct BadUse {
    const char* name;
    std::vector<std::string> arguments;
    std::string line;
};

void PrintTo(const BadUse& use, std::ostream* stream) {
    *stream << use.name;
}

class BadCommand : public testing::TestWithParam<BadUse> {};

TEST_P(BadCommand, GivesOneLineAndExitCode2) {
    const FinishedProgram program = runGatewaySim(GetParam().arguments);
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.standardOutput, "");
    EXPECT_EQ(program.standardError, "gatewaysim: " + GetParam().line + " (gatewaysim --help says more)\n");
}

BadUse badAddress(const char* name, const std::string& address) {
    return {name,
            {"record", "--gateway", address, "--output", "unused"},
            "--gateway \"" + address +
                "\" is not HOST:PORT with a port from 1 to 65535, such as gateway-one:2980 or [::1]:2980"};
}

INSTANTIATE_TEST_SUITE_P(
    Commands, BadCommand,
    testing::Values(
        badAddress("NoPort", "gateway"), badAddress("EmptyPort", "gateway:"), badAddress("PortZero", "gateway:0"),
        badAddress("PortTooLarge", "gateway:65536"), badAddress("NoHost", ":2980"),
        badAddress("BareLoopback", "::1:2980"), badAddress("BracketsAroundAName", "[gateway]:2980"),
        BadUse{"NoGateway", {"record", "--output", "unused"}, "--gateway is required"},
        BadUse{"NoOutput", {"record", "--gateway", "gateway:1"}, "--output is required"},
        BadUse{"NoRecording", {"replay"}, "RECORDING is required"},
        BadUse{"FaultBefore", {"--fault", "invoke:close", "replay", "unused"}, "--fault does not go with replay"},
        BadUse{"CatalogueBefore",
               {"--catalogue", "unused", "record", "--gateway", "gateway:1", "--output", "unused"},
               "--catalogue does not go with record"}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace

}  // namespace sim_test
