#include "scenarios.h"

#include <gtest/gtest.h>

#include <numeric>
#include <set>
#include <string_view>
#include <utility>

#include "reply_payload.h"

namespace fault_test {

namespace {

using test_support::Bytes;
using test_support::BytesWriter;
using wire_test::GatewayReplies;
using wire_test::ReplyPayload;

constexpr size_t kMostSteps = 1000000;
constexpr const char* kIds = "ONE:TWO";

// Reads every byte that a walk hands out.
uint32_t sumOf(const char* text, uint32_t length) {
    return std::accumulate(text, text + length, 0U, [](uint32_t sum, char byte) { return sum * 31 + uint8_t(byte); });
}

volatile uint32_t sink = 0;

template <typename Data, typename First, typename Next, typename Read>
int32_t walk(ResultSetToken* result, size_t* count, First first, Next next, Read read) {
    Data data = {};
    size_t steps = 0;
    int32_t rc = first(result, &data);
    while (rc == STAPI_RC_OK && steps < kMostSteps) {
        ++steps;
        sink = sink + sumOf(data.queryElementPtr, data.queryElementLen);
        if (data.queryElementRC >= 0) {
            read(data);
        }
        rc = next(result, &data);
    }
    *count = steps;
    return rc;
}

Step opened(size_t index = 0, int32_t code = STAPI_RC_OK) {
    return {"openGatewayConnection", code, [index](World& world) {
                return openGatewayConnection(world.ports.at(index), &world.tokens.at(index), &world.versions.at(index));
            }};
}

Step openRemote() {
    return {"openRemoteGatewayConnection", STAPI_RC_OK, [](World& world) {
                return openRemoteGatewayConnection("127.0.0.1", world.ports[0], world.tokens.data(),
                                                   world.versions.data());
            }};
}

Step openRefused() {
    return {"openGatewayConnection", STAPI_RC_CONNECT_REFUSED, [](World& world) {
                return openGatewayConnection(world.closedPort, world.tokens.data(), world.versions.data());
            }};
}

Step closed(size_t index = 0) {
    return {"closeGatewayConnection", STAPI_RC_OK,
            [index](World& world) { return closeGatewayConnection(&world.tokens.at(index)); }};
}

Step closeAll() {
    return {"closeAllGatewayConnections", STAPI_RC_OK, [](World&) { return closeAllGatewayConnections(); }};
}

using PlainQuery = int32_t (*)(GatewayToken*, ResultSetToken**);
using ListQuery = int32_t (*)(GatewayToken*, const char*, ResultSetToken**);

Step query(const char* name, PlainQuery run, int32_t code = STAPI_RC_OK) {
    return {name, code, [run](World& world) { return run(world.tokens[0], &world.result); }};
}

Step query(const char* name, ListQuery run, int32_t code = STAPI_RC_OK) {
    return {name, code, [run](World& world) {
                return run(world.tokens[0], world.idQuery == nullptr ? kIds : world.idQuery, &world.result);
            }};
}

Step idsQuery(int32_t code = STAPI_RC_OK) {
    return query("getStatIds", getStatIds, code);
}

Step statsQuery(int32_t code = STAPI_RC_OK) {
    return query("getStats", getStats, code);
}

ResultSetToken* setOf(const World& world, bool ofCopy) {
    return ofCopy ? world.copies[0] : world.result;
}

Step walkOverIds(size_t expected, bool ofCopy = false) {
    return {"getFirstId getNextId", STAPI_RC_END_OF_DATA, [expected, ofCopy](World& world) {
                size_t count = 0;
                const int32_t rc = walkIds(setOf(world, ofCopy), &count);
                EXPECT_TRUE(count == expected || !world.isContentKnown) << count;
                return rc;
            }};
}

Step walkOverStats(size_t expected, bool ofCopy = false) {
    return {"getFirstStat getNextStat", STAPI_RC_END_OF_DATA, [expected, ofCopy](World& world) {
                size_t count = 0;
                const int32_t rc = walkStats(setOf(world, ofCopy), &count);
                EXPECT_TRUE(count == expected || !world.isContentKnown) << count;
                return rc;
            }};
}

Step idQuery() {
    return {"getIdQuery", STAPI_RC_OK, [](World& world) { return getIdQuery(world.result, &world.idQuery); }};
}

Step copied(size_t index = 0) {
    return {"copyResultSet", STAPI_RC_OK,
            [index](World& world) { return copyResultSet(world.result, &world.copies.at(index)); }};
}

Step copyOfCopy() {
    return {"copyResultSet", STAPI_RC_OK,
            [](World& world) { return copyResultSet(world.copies[0], &world.copies[1]); }};
}

Step freeCopy(size_t index = 0) {
    return {"freeResultSet", STAPI_RC_OK, [index](World& world) { return freeResultSet(&world.copies.at(index)); }};
}

Step dumped(bool ofCopy = false) {
    return {"dumpResultSet", STAPI_RC_OK, [ofCopy](World& world) { return dumpResultSet(setOf(world, ofCopy)); }};
}

Step stateDump() {
    return {"dumpState", STAPI_RC_OK, [](World&) { return dumpState(); }};
}

Step traceTo(size_t index) {
    return {"setAPITraceFile", STAPI_RC_OK,
            [index](World& world) { return setAPITraceFile(world.traceFiles.at(index).c_str()); }};
}

Step traceToStandardError() {
    return {"setAPITraceFile", STAPI_RC_OK, [](World&) { return setAPITraceFile(nullptr); }};
}

Step setLevel(int32_t level) {
    return {"setAPITraceLevel getAPITraceLevel", STAPI_RC_OK, [level](World&) {
                const int32_t rc = setAPITraceLevel(level);
                int32_t stored = -1;
                EXPECT_EQ(getAPITraceLevel(&stored), STAPI_RC_OK);
                EXPECT_EQ(stored, level);
                return rc;
            }};
}

Step version() {
    return {"getStatsAPIVersion", STAPI_RC_OK, [](World&) {
                char* text = nullptr;
                const int32_t rc = getStatsAPIVersion(&text);
                EXPECT_STREQ(text, "1_1_0_1");
                return rc;
            }};
}

// ---- Answers --------------------------------------------------------------------------------------------------------

GatewayReplies answering(const ReplyPayload& payload) {
    GatewayReplies replies;
    replies.invocation = wire_test::invocationReply(payload.bytes());
    return replies;
}

GatewayReplies threeIds() {
    return answering(ReplyPayload().single().idResponse("QUERY", 0, {"one", "two", "three"}));
}

GatewayReplies twoStats() {
    return answering(ReplyPayload().single().statsResponse("QUERY", 0, 2).shortStat("one", "1").shortStat("two", "2"));
}

GatewayReplies severalIdResponses() {
    return answering(
        ReplyPayload().multi(3).idResponse("A", 0, {"one", "two"}).failedResponse("B", -7).idResponse("C", 3, {"x"}));
}

GatewayReplies severalStatsResponses() {
    return answering(ReplyPayload()
                         .multi(3)
                         .statsResponse("A", 0, 1)
                         .shortStat("one", "1")
                         .failedResponse("B", -7)
                         .statsResponse("C", 0, 1, 'z')
                         .longStat("two", "2"));
}

GatewayReplies largeIds(size_t count) {
    const std::string text(20000, 'i');
    return answering(ReplyPayload().single().idResponse("QUERY", 0, std::vector<std::string_view>(count, text)));
}

GatewayReplies largeStats(size_t count) {
    const std::string text(10000, 's');
    ReplyPayload payload = ReplyPayload().single().statsResponse("QUERY", 0, static_cast<uint32_t>(count));
    for (size_t index = 0; index < count; ++index) {
        payload.longStat(text, text);
    }
    return answering(payload);
}

GatewayReplies splitValue(size_t partSize) {
    const std::string part(partSize, 'v');
    const auto size = static_cast<uint32_t>(partSize);
    return answering(ReplyPayload()
                         .single()
                         .statsResponse("QUERY", 0, 1)
                         .firstBlock("one", 2 * size + 5, 3 + 4 + size, part)
                         .longBlock(part)
                         .shortBlock("short")
                         .endOfStat());
}

// Fills the first buffer up to its terminator: only that one needs another.
GatewayReplies statsUpToTheTerminator() {
    // Of 32,768 bytes: eyecatcher and count, query element with code and count, length of the id and of the value.
    constexpr size_t kRest = 32768 - 12 - (4 + 5 + 4 + 4) - (4 + 3) - 4;
    const std::string value(kRest - 2, 'v');
    return answering(ReplyPayload().single().statsResponse("QUERY", 0, 1).longStat("one", value));
}

GatewayReplies withInvocation(const Bytes& frame) {
    GatewayReplies replies;
    replies.invocation = frame;
    return replies;
}

GatewayReplies withHandshake(const Bytes& frame) {
    GatewayReplies replies;
    replies.handshake = frame;
    return replies;
}

GatewayReplies withAuthorisation(const Bytes& frame) {
    GatewayReplies replies;
    replies.authorisationInit = frame;
    return replies;
}

GatewayReplies withVersion(const Bytes& frame) {
    GatewayReplies replies;
    replies.attribute = frame;
    return replies;
}

GatewayReplies withoutCloseReply() {
    GatewayReplies replies = threeIds();
    replies.close.reset();
    return replies;
}

GatewayReplies withoutInvocation() {
    GatewayReplies replies;
    replies.invocation.reset();
    return replies;
}

Bytes adminRefusal() {
    return wire_test::reply("Admin", BytesWriter().u32(5).u32(77).u8(0).bytes());
}

Bytes adminException() {
    return wire_test::reply("Admin", BytesWriter().u32(5).u32(0).u8(1).bytes());
}

constexpr uint32_t kRefused = 9;

// ---- The scenarios --------------------------------------------------------------------------------------------------

std::vector<Scenario> libraryScenarios() {
    return {
        {"version", {}, {version()}},
        {"levels", {}, {setLevel(1), setLevel(0)}},
        {"levels_traced", {}, {setLevel(5), version(), setLevel(3), version(), setLevel(4)}, 4},
        {"trace_file_and_back", {}, {traceTo(0), stateDump(), traceToStandardError()}},
        {"trace_files_switched_traced", {}, {traceTo(1), traceTo(0), version(), traceTo(0), traceTo(1)}, 4},
        {"trace_files_switched_while_open",
         threeIds(),
         {opened(), traceTo(1), idsQuery(), traceTo(0), walkOverIds(3), closed()},
         1},
        {"state_dump", {}, {traceTo(0), stateDump()}},
        {"state_dump_with_a_connection", threeIds(), {traceTo(0), opened(), idsQuery(), stateDump(), closed()}},
    };
}

std::vector<Scenario> connectionScenarios() {
    GatewayReplies longVersion;
    longVersion.attribute = wire_test::versionReply(std::string(500, 'v'));
    GatewayReplies refusedStep;
    refusedStep.authorisationInit = wire_test::reply("Auth", BytesWriter().u32(0).u32(kRefused).bytes());
    return {
        {"open_and_close", {}, {opened(), closed()}},
        {"open_and_close_traced", {}, {opened(), closed()}, 4},
        {"open_remote", {}, {openRemote(), closed()}},
        {"open_refused", {}, {openRefused()}},
        {"open_refused_traced", {}, {openRefused()}, 4},
        {"long_version", longVersion, {opened(), closed()}},
        {"handshake_refused",
         withHandshake(wire_test::reply("BASE", {}, kRefused)),
         {opened(0, STAPI_RC_CONNECT_FAILED)},
         1},
        {"authorisation_refused",
         withAuthorisation(wire_test::reply("Auth", {}, kRefused)),
         {opened(0, STAPI_RC_CONNECT_FAILED)},
         1},
        {"authorisation_step_refused", refusedStep, {opened(0, STAPI_RC_CONNECT_FAILED)}, 1},
        {"version_refused", withVersion(adminException()), {opened(0, STAPI_RC_BAD_EYECATCHER)}, 1},
        {"close_without_reply", withoutCloseReply(), {opened(), idsQuery(), closed()}},
        {"close_all", {}, {opened(0), opened(1), opened(2), closeAll()}, 0, 3},
        {"close_one_and_all_others", {}, {opened(0), opened(1), opened(2), closed(1), closeAll()}, 0, 3},
    };
}

std::vector<Scenario> queryScenarios() {
    return {
        {"resource_group_ids",
         threeIds(),
         {opened(), query("getResourceGroupIds", getResourceGroupIds), walkOverIds(3), closed()}},
        {"stat_ids", threeIds(), {opened(), idsQuery(), walkOverIds(3), closed()}},
        {"stat_ids_of_groups",
         threeIds(),
         {opened(), query("getStatIdsByStatGroupId", getStatIdsByStatGroupId), walkOverIds(3), closed()}},
        {"stats", twoStats(), {opened(), statsQuery(), walkOverStats(2), closed()}},
        {"stats_by_id",
         twoStats(),
         {opened(), query("getStatsByStatId", getStatsByStatId), walkOverStats(2), closed()}},
        {"stats_of_groups",
         twoStats(),
         {opened(), query("getStatsByStatGroupId", getStatsByStatGroupId), walkOverStats(2), closed()}},
        {"query_traced", twoStats(), {opened(), statsQuery(), walkOverStats(2), closed()}, 5},
        {"two_queries",
         threeIds(),
         {opened(), idsQuery(), walkOverIds(3), query("getResourceGroupIds", getResourceGroupIds), walkOverIds(3),
          closed()}},
    };
}

std::vector<Scenario> answerScenarios() {
    return {
        {"several_id_responses", severalIdResponses(), {opened(), idsQuery(), walkOverIds(4), closed()}},
        {"several_stats_responses", severalStatsResponses(), {opened(), statsQuery(), walkOverStats(3), closed()}},
        {"no_responses", answering(ReplyPayload().multi(0)), {opened(), idsQuery(), walkOverIds(0), closed()}},
        {"split_value", splitValue(60), {opened(), statsQuery(), walkOverStats(1), closed()}},
        {"growth_of_ids", largeIds(2), {opened(), idsQuery(), walkOverIds(2), closed()}, 0, 1, true},
        {"growths_of_ids", largeIds(8), {opened(), idsQuery(), walkOverIds(8), closed()}, 0, 1, true},
        {"growth_of_stats", largeStats(2), {opened(), statsQuery(), walkOverStats(2), closed()}, 0, 1, true},
        {"growths_of_stats", largeStats(7), {opened(), statsQuery(), walkOverStats(7), closed()}, 0, 1, true},
        {"growth_in_a_split_value",
         splitValue(16000),
         {opened(), statsQuery(), walkOverStats(1), closed()},
         0,
         1,
         true},
        {"growth_for_the_terminator",
         statsUpToTheTerminator(),
         {opened(), statsQuery(), walkOverStats(1), closed()},
         0,
         1,
         true},
        {"grown_buffer_queried_again",
         largeIds(3),
         {opened(), idsQuery(), idsQuery(), walkOverIds(3), closed()},
         0,
         1,
         true},
        {"query_refused",
         withInvocation(wire_test::reply("Admin", {}, kRefused)),
         {opened(), idsQuery(STAPI_RC_BAD_EYECATCHER)},
         1},
        {"call_refused", withInvocation(adminRefusal()), {opened(), statsQuery(STAPI_RC_BAD_EYECATCHER)}, 1},
        {"exception", withInvocation(adminException()), {opened(), statsQuery(STAPI_RC_BAD_EYECATCHER)}, 1},
        {"malformed_answer",
         answering(ReplyPayload().single().statsResponse("QUERY", 0, 9).shortStat("one", "1")),
         {opened(), statsQuery(STAPI_RC_BAD_EYECATCHER)},
         1},
        {"no_answer", withoutInvocation(), {opened(), idsQuery(STAPI_RC_BAD_EYECATCHER)}, 1},
    };
}

std::vector<Scenario> resultSetScenarios() {
    return {
        {"copy_of_ids", threeIds(), {opened(), idsQuery(), copied(), closed(), walkOverIds(3, true), freeCopy()}},
        {"copy_of_stats_traced",
         twoStats(),
         {opened(), statsQuery(), copied(), closed(), walkOverStats(2, true), freeCopy()},
         4},
        {"copy_of_a_grown_set",
         largeStats(3),
         {opened(), statsQuery(), copied(), copied(1), walkOverStats(3, true), freeCopy(), freeCopy(1), closed()},
         0,
         1,
         true},
        {"copy_of_a_copy",
         threeIds(),
         {opened(), idsQuery(), copied(), copyOfCopy(), freeCopy(), freeCopy(1), closed()}},
        {"id_query_of_ids", threeIds(), {opened(), idsQuery(), idQuery(), closed()}},
        {"id_query_of_stats_asked_for",
         twoStats(),
         {opened(), statsQuery(), idQuery(), query("getStatsByStatId", getStatsByStatId), walkOverStats(2), closed()}},
        {"dump", threeIds(), {traceTo(0), opened(), idsQuery(), dumped(), closed()}},
        {"dump_of_a_copy_traced",
         twoStats(),
         {opened(), statsQuery(), copied(), dumped(true), closed(), dumped(true), freeCopy()},
         4},
    };
}

}  // namespace

bool isQuery(const std::string& function) {
    static const std::set<std::string> kQueries = {"getResourceGroupIds",     "getStatIds",
                                                   "getStatIdsByStatGroupId", "getStats",
                                                   "getStatsByStatId",        "getStatsByStatGroupId"};
    return kQueries.contains(function);
}

int32_t openTo(int port, GatewayToken** token) {
    char* text = nullptr;
    return openGatewayConnection(port, token, &text);
}

int32_t walkIds(ResultSetToken* result, size_t* count) {
    return walk<IdData>(result, count, getFirstId, getNextId,
                        [](const IdData& data) { sink = sink + sumOf(data.idPtr, data.idLen); });
}

int32_t walkStats(ResultSetToken* result, size_t* count) {
    return walk<StatData>(result, count, getFirstStat, getNextStat, [](const StatData& data) {
        sink = sink + sumOf(data.statIdPtr, data.statIdLen) + sumOf(data.statValuePtr, data.statValueLen);
    });
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> kAll = [] {
        std::vector<Scenario> all;
        for (const std::vector<Scenario>& group :
             {libraryScenarios(), connectionScenarios(), queryScenarios(), answerScenarios(), resultSetScenarios()}) {
            all.insert(all.end(), group.begin(), group.end());
        }
        return all;
    }();
    return kAll;
}

}  // namespace fault_test
