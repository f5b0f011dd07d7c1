// Sentences of the public header that no test of one function shows: what a caller is told to rely on, or to beware of.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "closed_port.h"
#include "other_thread.h"
#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class HeaderPromises : public SystemTest {};

// ---- How many connections

TEST_F(HeaderPromises, ConnectionBehindThe257thIsOpenedButNotFoundUntilAnEarlierOneIsClosed) {
    constexpr size_t kFound = 257;
    const GatewaySim sim;
    std::vector<GatewayToken*> tokens(kFound + 1, nullptr);
    char* protocol = nullptr;
    for (GatewayToken*& token : tokens) {
        ASSERT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_OK);
    }
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStatIds(tokens[kFound - 1], &result), STAPI_RC_OK);
    EXPECT_EQ(getStatIds(tokens[kFound], &result), STAPI_RC_TOKEN_NOT_FOUND);
    GatewayToken* last = tokens[kFound];
    EXPECT_EQ(closeGatewayConnection(&last), STAPI_RC_TOKEN_NOT_FOUND);
    EXPECT_EQ(last, tokens[kFound]);
    EXPECT_EQ(closeGatewayConnection(&tokens[0]), STAPI_RC_OK);
    EXPECT_EQ(getStatIds(tokens[kFound], &result), STAPI_RC_OK);
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_GTL_CORRUPT);
    EXPECT_EQ(closeAllGatewayConnections(), STAPI_RC_OK);
    EXPECT_EQ(getStatIds(tokens[kFound], &result), STAPI_RC_TOKEN_NOT_FOUND);
}

// ---- What a failed opening leaves in the caller's variables

namespace {

struct FailedOpening {
    const char* name;
    int32_t code;
    const char* host;
    int32_t port;  // 0: that of a gatewaysim with the fault
    const char* fault;
};

void PrintTo(const FailedOpening& opening, std::ostream* stream) {
    *stream << opening.name;
}

constexpr FailedOpening kFailedOpenings[] = {
    {"BadPort", STAPI_RC_BAD_PORT, "127.0.0.1", 65536, nullptr},
    {"NullHost", STAPI_RC_NULL_ARGUMENT, nullptr, 2810, nullptr},
    {"HostUnknown", STAPI_RC_HOST_UNKNOWN, "no such host", 2810, nullptr},
    {"HostUnreachable", STAPI_RC_HOST_UNREACHABLE, "127.255.255.255", 2810, nullptr},
    {"HandshakeRefused", STAPI_RC_CONNECT_FAILED, "127.0.0.1", 0, "handshake:code=5"},
    {"AuthorisationRefused", STAPI_RC_CONNECT_FAILED, "127.0.0.1", 0, "auth1:refuse"},
    {"VersionRefused", STAPI_RC_BAD_EYECATCHER, "127.0.0.1", 0, "init:eyecatcher"},
    {"VersionExchangeGone", STAPI_RC_SOCKET_ERROR, "127.0.0.1", 0, "init:code=-1"},
};

}  // namespace

class FailedOpeningKeeps : public SystemTest, public testing::WithParamInterface<FailedOpening> {};

TEST_P(FailedOpeningKeeps, TheCallersVariables) {
    const FailedOpening& opening = GetParam();
    const GatewaySim sim(opening.fault == nullptr ? std::vector<std::string>{}
                                                  : std::vector<std::string>{"--fault", opening.fault});
    char marker = 'm';
    auto* const before = reinterpret_cast<GatewayToken*>(&marker);
    GatewayToken* token = before;
    char* protocol = &marker;
    EXPECT_EQ(
        openRemoteGatewayConnection(opening.host, opening.port == 0 ? sim.port() : opening.port, &token, &protocol),
        opening.code);
    EXPECT_EQ(token, before);
    EXPECT_EQ(protocol, &marker);
}

INSTANTIATE_TEST_SUITE_P(Failures, FailedOpeningKeeps, testing::ValuesIn(kFailedOpenings),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(HeaderPromises, VersionTextThatIsTooLongToCopySetsTheCallersTokenToNull) {
    Catalogue catalogue;
    const GatewaySim sim(catalogue.protocol(std::string(32766, 'v')).options());
    char marker = 'm';
    auto* token = reinterpret_cast<GatewayToken*>(&marker);
    char* protocol = &marker;
    EXPECT_EQ(openGatewayConnection(sim.port(), &token, &protocol), STAPI_RC_NO_MEMORY);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(protocol, &marker);
}

// ---- Query elements without ids

namespace {

uint32_t entriesBefore(const char* firstIdPtr) {
    uint32_t count = 0;
    std::memcpy(&count, firstIdPtr - 8, sizeof count);
    return count;
}

}  // namespace

TEST_F(HeaderPromises, NumberOfEntriesTellsAnElementWithoutIdsFromOneWithIds) {
    Catalogue catalogue;
    catalogue.group("three").group("none");
    catalogue.statistic("three", "a", "1").statistic("three", "b", "2").statistic("three", "c", "3");
    const GatewaySim sim(catalogue.options());
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    IdData id{};
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "three", &result), STAPI_RC_OK);
    ASSERT_EQ(getFirstId(result, &id), STAPI_RC_OK);
    EXPECT_EQ(id.idPtr, id.queryElementPtr + id.queryElementLen + 12);
    EXPECT_EQ(entriesBefore(id.idPtr), 3U);
    ASSERT_EQ(getStatIdsByStatGroupId(connection.token(), "none", &result), STAPI_RC_OK);
    ASSERT_EQ(getFirstId(result, &id), STAPI_RC_OK);
    EXPECT_EQ(id.queryElementRC, 0);
    EXPECT_EQ(id.idPtr, id.queryElementPtr + id.queryElementLen + 12);
    EXPECT_EQ(entriesBefore(id.idPtr), 0U);
}

// ---- Replies that are cut off

namespace {

// A walk as the header tells a caller to make it: it ends at an element without ids.
std::vector<std::string> idsOfACarefulWalk(ResultSetToken* result) {
    std::vector<std::string> ids;
    IdData id{};
    const char* element = nullptr;
    for (int32_t code = getFirstId(result, &id); code == STAPI_RC_OK; code = getNextId(result, &id)) {
        const bool isFirst = id.queryElementPtr != element;
        element = id.queryElementPtr;
        if (id.queryElementRC < 0) {
            continue;
        }
        if (isFirst && entriesBefore(element + id.queryElementLen + 12) == 0) {
            break;
        }
        ids.emplace_back(id.idPtr, id.idLen);
    }
    return ids;
}

// What the header tells a caller to look for.
bool showsThatItWasCutOff(const std::vector<std::string>& ids, size_t expected) {
    return ids.size() < expected || std::any_of(ids.begin(), ids.end(), [](const std::string& id) {
               return id.empty() || id.find('\0') != std::string::npos;
           });
}

std::vector<std::string> with(std::vector<std::string> options, const std::string& fault) {
    options.insert(options.end(), {"--fault", fault});
    return options;
}

constexpr size_t kHeader = 34;
constexpr size_t kMostBytes = 2000;
constexpr size_t kStride = 9;

}  // namespace

TEST_F(HeaderPromises, ReplyThatWasCutOffShowsEmptyIdsNulBytesOrFewerEntriesAndTheNextQueryFails) {
    Catalogue catalogue;
    catalogue.group("g").statistic("g", "first", "1").statistic("g", "second", "2").statistic("g", "third", "3");
    const std::vector<std::string> options = catalogue.options();
    std::vector<std::string> whole;
    {
        const GatewaySim sound(options);
        const Connection connection(sound);
        ResultSetToken* result = nullptr;
        ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
        whole = idsOfACarefulWalk(result);
        ASSERT_EQ(whole, (std::vector<std::string>{"first", "second", "third"}));
    }
    size_t succeeded = 0;
    bool isWhole = false;
    for (size_t cut = kHeader + 1; !isWhole && cut < kMostBytes; cut += kStride) {
        const GatewaySim sim(with(options, "invoke#1:cut=" + std::to_string(cut)));
        const Connection connection(sim);
        ResultSetToken* result = nullptr;
        const int32_t code = getStatIds(connection.token(), &result);
        if (code == STAPI_RC_OK) {
            const std::vector<std::string> ids = idsOfACarefulWalk(result);
            isWhole = ids == whole;
            EXPECT_NE(isWhole, showsThatItWasCutOff(ids, whole.size())) << cut;
            ++succeeded;
            const int32_t next = getStatIds(connection.token(), &result);
            EXPECT_TRUE(next == STAPI_RC_SOCKET_ERROR || next == STAPI_RC_BAD_EYECATCHER) << cut << " " << next;
            EXPECT_EQ(getStatIds(connection.token(), &result), STAPI_RC_TOKEN_NOT_FOUND) << cut;
        }
    }
    EXPECT_TRUE(isWhole);
    EXPECT_GT(succeeded, 5U);
}

// ---- What a dump of the state leaves out

TEST_F(HeaderPromises, DumpOfTheStateListsNoCopies) {
    const GatewaySim sim;
    Connection connection(sim);
    ResultSetToken* result = nullptr;
    ResultSetToken* copy = nullptr;
    ASSERT_EQ(getResourceGroupIds(connection.token(), &result), STAPI_RC_OK);
    ASSERT_EQ(copyResultSet(result, &copy), STAPI_RC_OK);
    ASSERT_EQ(connection.close(), STAPI_RC_OK);
    const TraceCapture trace(0);
    EXPECT_EQ(dumpState(), STAPI_RC_OK);
    EXPECT_NE(trace.text().find("The Gateway Token List is EMPTY\n"), std::string::npos) << trace.text();
    EXPECT_EQ(trace.text().find("ZULRSUSR"), std::string::npos) << trace.text();
    EXPECT_EQ(trace.text().find("ZULIDSET"), std::string::npos) << trace.text();
    EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK);
}

// ---- What level 1 tells

namespace {

// The result sets and connections that the failures need.
struct Stage {
    GatewayToken* token;
    GatewayToken* unknown;
    ResultSetToken* ids;    // of the connection
    ResultSetToken* noIds;  // of another one: an answer whose only element failed
    int32_t closedPort;
    int32_t refusingPort;
};

struct Failure {
    const char* name;
    int32_t code;
    std::function<int32_t(const Stage& stage)> call;
};

std::vector<Failure> silentFailures() {
    static IdData id;
    static char* text;
    static GatewayToken* token;
    static ResultSetToken* set;
    return {
        {"QueryNullToken", STAPI_RC_NULL_TOKEN, [](const Stage&) { return getStats(nullptr, &set); }},
        {"QueryNullIds", STAPI_RC_NULL_ID,
         [](const Stage& stage) { return getStatsByStatId(stage.token, nullptr, &set); }},
        {"QueryNullResult", STAPI_RC_NULL_RESULT_SET_POINTER,
         [](const Stage& stage) { return getStats(stage.token, nullptr); }},
        {"WalkNullSet", STAPI_RC_NULL_RESULT_SET, [](const Stage&) { return getFirstId(nullptr, &id); }},
        {"WalkNullRecord", STAPI_RC_NULL_ID_DATA, [](const Stage& stage) { return getNextId(stage.ids, nullptr); }},
        {"WalkNullStatRecord", STAPI_RC_NULL_STAT_DATA,
         [](const Stage& stage) { return getFirstStat(stage.ids, nullptr); }},
        {"IdQueryNullSet", STAPI_RC_NULL_RESULT_SET, [](const Stage&) { return getIdQuery(nullptr, &text); }},
        {"IdQueryNullText", STAPI_RC_NULL_POINTER, [](const Stage& stage) { return getIdQuery(stage.ids, nullptr); }},
        {"CopyNullSet", STAPI_RC_NULL_RESULT_SET, [](const Stage&) { return copyResultSet(nullptr, &set); }},
        {"CopyNullTarget", STAPI_RC_NULL_RESULT_SET_POINTER,
         [](const Stage& stage) { return copyResultSet(stage.ids, nullptr); }},
        {"DumpNullSet", STAPI_RC_NULL_RESULT_SET, [](const Stage&) { return dumpResultSet(nullptr); }},
        {"OpenBadPort", STAPI_RC_BAD_PORT, [](const Stage&) { return openGatewayConnection(0, &token, &text); }},
        {"OpenNullToken", STAPI_RC_NULL_TOKEN_POINTER,
         [](const Stage&) { return openGatewayConnection(2810, nullptr, &text); }},
        {"OpenNullVersion", STAPI_RC_NET_UNREACHABLE,
         [](const Stage&) { return openGatewayConnection(2810, &token, nullptr); }},
        {"OpenNullHost", STAPI_RC_NULL_ARGUMENT,
         [](const Stage&) { return openRemoteGatewayConnection(nullptr, 2810, &token, &text); }},
        {"IdQueryWithoutIds", STAPI_RC_QUERY_STRING_FAILED,
         [](const Stage& stage) { return getIdQuery(stage.noIds, &text); }},
        {"EndOfData", STAPI_RC_END_OF_DATA, [](const Stage& stage) { return walkIds(stage.ids).lastCode; }},
    };
}

std::vector<Failure> toldFailures() {
    static char* text;
    static GatewayToken* token;
    static ResultSetToken* set;
    static IdData id;
    static StatData stat;
    return {
        {"ConnectRefused", STAPI_RC_CONNECT_REFUSED,
         [](const Stage& stage) { return openGatewayConnection(stage.closedPort, &token, &text); }},
        {"HostUnknown", STAPI_RC_HOST_UNKNOWN,
         [](const Stage&) { return openRemoteGatewayConnection("no such host", 2810, &token, &text); }},
        {"HandshakeRefused", STAPI_RC_CONNECT_FAILED,
         [](const Stage& stage) { return openGatewayConnection(stage.refusingPort, &token, &text); }},
        {"UnknownToken", STAPI_RC_TOKEN_NOT_FOUND, [](const Stage& stage) { return getStats(stage.unknown, &set); }},
        {"WrongContent", STAPI_RC_WRONG_CONTENT, [](const Stage& stage) { return getFirstStat(stage.ids, &stat); }},
        {"WrongThreadOfAQuery", STAPI_RC_WRONG_THREAD,
         [](const Stage& stage) { return inOtherThread([&] { return getStats(stage.token, &set); }); }},
        {"WrongThreadOfAWalk", STAPI_RC_WRONG_THREAD,
         [](const Stage& stage) { return inOtherThread([&] { return getFirstId(stage.ids, &id); }); }},
        {"BadTraceLevel", STAPI_RC_BAD_TRACE_LEVEL, [](const Stage&) { return setAPITraceLevel(6); }},
        {"NullVersionPointer", STAPI_RC_NULL_POINTER, [](const Stage&) { return getStatsAPIVersion(nullptr); }},
        {"CloseNullPointer", STAPI_RC_NULL_TOKEN_POINTER, [](const Stage&) { return closeGatewayConnection(nullptr); }},
        {"FreeNullPointer", STAPI_RC_NULL_RESULT_SET_POINTER, [](const Stage&) { return freeResultSet(nullptr); }},
        {"FreeConnectionsSet", STAPI_RC_NOT_USER_RESULT_SET,
         [](const Stage& stage) {
             set = stage.ids;
             return freeResultSet(&set);
         }},
        {"TooLongIds", STAPI_RC_NO_MEMORY,
         [](const Stage& stage) { return getStatsByStatId(stage.token, std::string(32766, 'x').c_str(), &set); }},
    };
}

}  // namespace

class TraceAtLevelOne : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        char* text = nullptr;
        GatewayToken* other = nullptr;
        ASSERT_EQ(openGatewayConnection(sim_.port(), &stage_.token, &text), STAPI_RC_OK);
        ASSERT_EQ(openGatewayConnection(sim_.port(), &other, &text), STAPI_RC_OK);
        ASSERT_EQ(getStatIdsByStatGroupId(other, "unknown group", &stage_.noIds), STAPI_RC_OK);
        ASSERT_EQ(getStatIds(stage_.token, &stage_.ids), STAPI_RC_OK);
    }

    // Each failure with the number of lines that it leaves.
    void expectLines(const std::vector<Failure>& failures, bool isTold) {
        for (const Failure& failure : failures) {
            const TraceCapture trace(1);
            EXPECT_EQ(failure.call(stage_), failure.code) << failure.name;
            EXPECT_EQ(!trace.lines().empty(), isTold) << failure.name << "\n" << trace.text();
        }
    }

  private:
    const GatewaySim sim_;
    const GatewaySim refusing_{{"--fault", "handshake:code=5"}};
    const test_support::ClosedPort closed_;
    std::vector<char> unknown_ = std::vector<char>(4096);
    Stage stage_ = {nullptr,         reinterpret_cast<GatewayToken*>(unknown_.data()), nullptr, nullptr, closed_.port(),
                    refusing_.port()};
};

TEST_F(TraceAtLevelOne, TellsWhyAConnectionFailedAndWhatWasRefused) {
    expectLines(toldFailures(), true);
}

TEST_F(TraceAtLevelOne, SaysNothingOfTheFailuresThatTheHeaderNames) {
    expectLines(silentFailures(), false);
}

}  // namespace system_test
