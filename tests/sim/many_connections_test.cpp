#include <gtest/gtest.h>

#include <list>
#include <thread>
#include <vector>

#include "conversation.h"
#include "payload_readers.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;

TEST(ManyConnections, FortyOpenAtOnceAreServedInAnyOrder) {
    const GatewaySim sim;
    std::list<Conversation> conversations;
    for (int index = 0; index < 40; ++index) {
        conversations.emplace_back(sim).open();
    }
    for (auto conversation = conversations.rbegin(); conversation != conversations.rend(); ++conversation) {
        EXPECT_EQ(statisticsByPosition(conversation->query("GET_STATS", "")).size(), 11U);
    }
    for (Conversation& conversation : conversations) {
        conversation.close();
    }
    EXPECT_EQ(sim.standardError(), "");
}

TEST(ManyConnections, FortyClientsAtOnceEachGetTheirOwnAnswers) {
    const GatewaySim sim;
    std::vector<std::string> failures(40);
    std::vector<std::thread> clients;
    for (std::string& failure : failures) {
        clients.emplace_back([&sim, &failure] {
            try {
                Conversation conversation(sim);
                conversation.open();
                for (int round = 0; round < 5; ++round) {
                    if (idsByPosition(conversation.query("STAT_IDS", "cache:errors")).size() != 2) {
                        failure = "not two responses";
                    }
                }
                conversation.close();
            } catch (const std::exception& error) {
                failure = error.what();
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(failures, std::vector<std::string>(40));
    EXPECT_EQ(sim.standardError(), "");
}

TEST(ManyConnections, NineHundredOpenAtOnceAreAllAnswered) {
    const GatewaySim sim;
    std::list<Conversation> conversations;
    for (int index = 0; index < 900; ++index) {
        conversations.emplace_back(sim);
    }
    for (Conversation& conversation : conversations) {
        EXPECT_EQ(conversation.handshake().size(), 51U);
    }
    EXPECT_EQ(sim.standardError(), "");
}

}  // namespace

}  // namespace sim_test
