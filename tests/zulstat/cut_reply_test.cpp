// Every reply of a gateway, cut off at every byte by a clean end of the connection: what the program shows must be the
// whole, right answer, or an error with nothing but what arrived.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "scripted_peer.h"
#include "zulstat_program.h"

namespace {

using nlohmann::json;
using test_support::Bytes;
using test_support::PeerConnection;
using test_support::ProgramOutcome;
using test_support::ScriptedPeer;
using zulstat_test::CatalogueGateway;
using zulstat_test::runZulstat;
using zulstat_test::Texts;
using zulstat_test::zulstatRun;

namespace sockets = test_support::peer_sockets;

constexpr int kPatience = 20000;

struct Socket {
    int32_t number;
    explicit Socket(int port) : number(sockets::connectToLoopback(port)) {}
    ~Socket() {
        sockets::closeSocket(number);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
};

void receiveMore(int32_t socket, Bytes& bytes, size_t count) {
    const size_t end = bytes.size() + count;
    while (bytes.size() < end) {
        Bytes part(end - bytes.size());
        const size_t received = sockets::receiveSome(socket, part.data(), part.size(), kPatience);
        if (received == 0) {
            throw std::runtime_error("the gateway ended the connection");
        }
        bytes.insert(bytes.end(), part.begin(), part.begin() + static_cast<ptrdiff_t>(received));
    }
}

size_t numberAt(const Bytes& bytes, size_t place) {
    size_t number = 0;
    for (size_t index = 0; index < 4; ++index) {
        number = number << 8U | bytes.at(place + index);
    }
    return number;
}

Bytes receiveReply(int32_t socket) {
    constexpr size_t kNameLengthOffset = 20;
    Bytes reply;
    receiveMore(socket, reply, kNameLengthOffset + 4);
    receiveMore(socket, reply, numberAt(reply, kNameLengthOffset) + 5);
    receiveMore(socket, reply, numberAt(reply, reply.size() - 4));
    return reply;
}

// Stands between program and gateway, and cuts one reply of a connection off.
class CuttingRelay {
  public:
    explicit CuttingRelay(int gatewayPort)
        : gatewayPort_(gatewayPort), peer_([this](PeerConnection& client) { relay(client); }, kManyConnections) {}

    int port() const {
        return peer_.port();
    }

    // For the next connection; the lengths of its replies are noted.
    void cut(std::optional<size_t> reply, size_t length) {
        cutReply_ = reply;
        cutLength_ = length;
        lengths_.clear();
    }
    const std::vector<size_t>& lengths() const {
        return lengths_;
    }

  private:
    static constexpr int kManyConnections = 1000000;

    void relay(PeerConnection& client) {
        const Socket gateway(gatewayPort_);
        for (size_t number = 0;; ++number) {
            const Bytes request = client.expectFrame();
            if (request.empty()) {
                return;
            }
            sockets::sendAll(gateway.number, request.data(), request.size());
            Bytes reply = receiveReply(gateway.number);
            lengths_.push_back(reply.size());
            if (cutReply_ == number) {
                reply.resize(cutLength_);
                client.send(reply);
                return;
            }
            client.send(reply);
        }
    }

    int gatewayPort_;
    std::optional<size_t> cutReply_;
    size_t cutLength_ = 0;
    std::vector<size_t> lengths_;
    ScriptedPeer peer_;
};

constexpr std::string_view kCatalogue = R"({
    "protocol": "1.0.0",
    "groups": ["alpha", "empty", "beta"],
    "statistics": [
        {"id": "alpha.bytes", "group": "alpha", "kind": "text", "text": "536870912"},
        {"id": "alpha.note", "group": "alpha", "kind": "text", "text": ""},
        {"id": "alpha.zeros", "group": "alpha", "kind": "text", "text": "100"},
        {"id": "beta.size", "group": "beta", "kind": "text", "text": "3456789"},
        {"id": "beta.last", "group": "beta", "kind": "text", "text": "7"}
    ]
})";

constexpr std::string_view kCatalogueWithALongValue = R"({
    "protocol": "1",
    "groups": ["g"],
    "statistics": [
        {"id": "g.long", "group": "g", "kind": "text", "text": "0123456789", "repeat": 210},
        {"id": "g.last", "group": "g", "kind": "text", "text": "7"}
    ]
})";

// What may be shown of a list when some of its end is missing.
void expectStartOf(const json& part, const json& whole, const std::string& key) {
    ASSERT_LE(part.size(), whole.size());
    for (size_t index = 0; index < part.size(); ++index) {
        json shown = part[index];
        json right = whole[index];
        if (index + 1 == part.size() && shown.contains(key) && right.contains(key)) {
            const json someEntries = shown[key];
            const json allEntries = right[key];
            ASSERT_LE(someEntries.size(), allEntries.size());
            for (size_t entry = 0; entry < someEntries.size(); ++entry) {
                EXPECT_EQ(someEntries[entry], allEntries[entry]);
            }
            shown.erase(key);
            right.erase(key);
        }
        EXPECT_EQ(shown, right);
    }
}

void expectNothingWrong(const json& queries, const json& whole) {
    ASSERT_LE(queries.size(), whole.size());
    for (size_t index = 0; index < queries.size(); ++index) {
        const std::string key = whole[index]["kind"] == "statistics" ? "statistics" : "ids";
        expectStartOf(queries[index]["elements"], whole[index]["elements"], key);
    }
}

struct Sweep {
    const char* name;
    std::string_view catalogue;
    Texts arguments;
    bool cutsOpening = false;  // one sweep is enough for what all have in common
};

class CutReply : public ::testing::TestWithParam<Sweep> {
  protected:
    ProgramOutcome ask() {
        Texts arguments = GetParam().arguments;
        arguments.insert(arguments.end(), {"--format", "json"});
        return runZulstat(zulstatRun(relay_.port(), arguments));
    }

    CatalogueGateway gateway_{GetParam().catalogue};
    CuttingRelay relay_{gateway_.gateway().port()};
};

TEST_P(CutReply, IsAnErrorOrTheWholeRightAnswerWhereverItIsCut) {
    constexpr size_t kRepliesOfAnOpening = 5;
    relay_.cut(std::nullopt, 0);
    const ProgramOutcome whole = ask();
    const std::vector<size_t> lengths = relay_.lengths();
    const json right = json::parse(whole.standardOutput)["queries"];
    ASSERT_GT(lengths.size(), kRepliesOfAnOpening);
    size_t positions = 0;
    size_t wholeAnswers = 0;
    for (size_t reply = GetParam().cutsOpening ? 0 : kRepliesOfAnOpening; reply < lengths.size(); ++reply) {
        for (size_t length = 0; length < lengths[reply]; ++length) {
            SCOPED_TRACE("reply " + std::to_string(reply) + " cut after " + std::to_string(length) + " bytes");
            relay_.cut(reply, length);
            const ProgramOutcome outcome = ask();
            const json document = json::parse(outcome.standardOutput, nullptr, false);
            ASSERT_TRUE(document.is_object()) << outcome.standardOutput << outcome.standardError;
            ++positions;
            if (outcome.exitCode == whole.exitCode) {
                ++wholeAnswers;
                EXPECT_EQ(document["queries"], right);
                EXPECT_TRUE(document["error"].is_null());
            } else {
                const bool isOpening = reply < kRepliesOfAnOpening;
                EXPECT_TRUE(outcome.exitCode == 4 || (isOpening && outcome.exitCode == 3)) << outcome.exitCode;
                EXPECT_FALSE(document["error"].is_null());
                EXPECT_NE(outcome.standardError, "");
                expectNothingWrong(document["queries"], right);
            }
            if (HasFailure()) {
                GTEST_FAIL() << outcome.standardOutput << outcome.standardError;
            }
        }
    }
    RecordProperty("positions", static_cast<int>(positions));
    RecordProperty("wholeAnswers", static_cast<int>(wholeAnswers));
    // The close at the end, and bytes that nobody looks at.
    EXPECT_GT(wholeAnswers, 0U);
    EXPECT_LT(wholeAnswers, positions * 3 / 4);
}

INSTANTIATE_TEST_SUITE_P(
    Every, CutReply,
    ::testing::Values(Sweep{"GroupsAndOpening", kCatalogue, {"groups"}, true}, Sweep{"Ids", kCatalogue, {"ids"}},
                      Sweep{"IdsOfGroups", kCatalogue, {"ids", "alpha", "nowhere", "beta"}},
                      Sweep{"IdsOfAFailedGroup", kCatalogue, {"ids", "nowhere"}},
                      Sweep{"Statistics", kCatalogue, {"stats"}},
                      Sweep{"StatisticsOfGroups", kCatalogue, {"stats", "--group", "beta", "empty"}},
                      Sweep{"StatisticsById", kCatalogue, {"stats", "--id", "alpha.note", "alpha.bytes", "alpha.note"}},
                      Sweep{"ALongValue", kCatalogueWithALongValue, {"stats", "--group", "g"}}),
    [](const auto& each) { return std::string(each.param.name); });

// A dump shows bytes: where the same cut leaves `stats` an error, the file must not be touched.
TEST(CutReplyOfADump, IsAnErrorWhereverItIsOneOfStats) {
    constexpr size_t kReplyOfTheQuery = 6;
    const CatalogueGateway gateway(kCatalogue);
    CuttingRelay relay(gateway.gateway().port());
    const test_support::TemporaryFile file("old");
    const auto exitCodeOf = [&](const Texts& command, std::optional<size_t> reply, size_t length) {
        relay.cut(reply, length);
        return runZulstat(zulstatRun(relay.port(), command)).exitCode;
    };
    ASSERT_EQ(exitCodeOf({"stats"}, std::nullopt, 0), 0);
    const size_t size = relay.lengths().at(kReplyOfTheQuery);
    size_t failures = 0;
    for (size_t length = 0; length < size; ++length) {
        const int expected = exitCodeOf({"stats"}, kReplyOfTheQuery, length);
        if (expected != 0) {
            ASSERT_EQ(exitCodeOf({"dump", file.path()}, kReplyOfTheQuery, length), expected) << length;
            ASSERT_EQ(file.content(), "old") << length;
            ++failures;
        }
    }
    EXPECT_GT(failures, size / 2);
}

}  // namespace
