// Answers that are well formed and arrive whole, and still do not say what was asked.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "gateway_peer.h"
#include "line_ends.h"
#include "reply_payload.h"
#include "zulstat_program.h"

namespace {

using test_support::Bytes;
using test_support::PeerConnection;
using test_support::ProgramOutcome;
using test_support::ScriptedPeer;
using wire_test::ReplyPayload;
using zulstat_test::runZulstat;
using zulstat_test::zulstatRun;

bool contains(const Bytes& bytes, std::string_view text) {
    return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
}

// Answers every query for statistics with the one payload, and every other query with the ids of two groups.
ScriptedPeer::Script gatewayThatSays(const Bytes& statistics) {
    return [statistics](PeerConnection& client) {
        const wire_test::GatewayReplies replies;
        const Bytes groups = ReplyPayload().single().idResponse("", 0, {"first", "second"}).bytes();
        wire_test::serveOpening(client);
        for (Bytes request = client.expectFrame(); !request.empty(); request = client.expectFrame()) {
            if (contains(request, "GET_STATS")) {
                client.send(wire_test::invocationReply(statistics));
            } else if (contains(request, "RESOURCE_GROUPS")) {
                client.send(wire_test::invocationReply(groups));
            } else {
                client.send(contains(request, "Admin") ? *replies.initialise : *replies.close);
            }
        }
    };
}

TEST(LyingGateway, ThatAnswersOneIdOfTwoIsAnErrorAndShowsTheOne) {
    const Bytes statistics = ReplyPayload().multi(1).statsResponse("a", 0, 1).shortStat("a", "1").bytes();
    const ScriptedPeer gateway(gatewayThatSays(statistics));
    const ProgramOutcome outcome = runZulstat(zulstatRun(gateway.port(), {"stats", "--no-header", "--id", "a", "b"}));
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(test_support::withPlainLineEnds(outcome.standardOutput), "a  a  1\n");
    EXPECT_NE(outcome.standardError.find("it says nothing of \"b\", which was asked for"), std::string::npos)
        << outcome.standardError;
}

// The walk does not reach the second element, and no group bears its name.
TEST(LyingGateway, WhoseLastElementIsHiddenAndNoGroupIsAnError) {
    const Bytes statistics =
        ReplyPayload().multi(2).statsResponse("n1", 0, 1).shortStat("a", "1").statsResponse("n2", 3, 0).bytes();
    const ScriptedPeer gateway(gatewayThatSays(statistics));
    const ProgramOutcome outcome = runZulstat(zulstatRun(gateway.port(), {"stats", "--no-header"}));
    EXPECT_EQ(outcome.exitCode, 4) << outcome.standardOutput;
    EXPECT_NE(outcome.standardError.find("its last element has no entries, and is out of reach"), std::string::npos)
        << outcome.standardError;
}

}  // namespace
