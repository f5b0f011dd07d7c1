#include "scenarios.h"

#include <cstddef>
#include <cstdint>

#include "closed_port.h"
#include "other_thread.h"

namespace system_test {

namespace {

using test_support::GatewaySim;

const std::vector<std::string> kSameEveryTime{"--frozen-clock", "2024-05-06T07:08:09Z", "--seed", "1"};

// The result set of a query on a connection of its own, all made aside.
class Queried {
  public:
    Queried(ScenarioRun& run, const char* query, const char* ids) : connection_(run, run.daemon()) {
        run.aside([&] { queryNamed(query).call(connection_.token(), ids, &result_); });
    }
    ResultSetToken* result() const {
        return result_;
    }

  private:
    ScenarioConnection connection_;
    ResultSetToken* result_ = nullptr;
};

void openAndFail(const char* host, int port) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    openRemoteGatewayConnection(host, port, &token, &protocol);
}

void runQuery(ScenarioRun& run, const char* query, const char* ids, const std::vector<std::string>& options = {}) {
    const ScenarioConnection connection(run, run.daemon(options));
    ResultSetToken* result = nullptr;
    queryNamed(query).call(connection.token(), ids, &result);
}

void libraryFunctions(ScenarioRun& run) {
    char* version = nullptr;
    int32_t level = 0;
    getStatsAPIVersion(&version);
    getStatsAPIVersion(nullptr);
    getAPITraceLevel(&level);
    getAPITraceLevel(nullptr);
    setAPITraceLevel(run.level());
    setAPITraceLevel(6);
    setAPITraceLevel(-1);
}

void traceFile(ScenarioRun& run) {
    setAPITraceFile((run.trace().path() + "/nowhere").c_str());
    setAPITraceFile(run.trace().path().c_str());
    setAPITraceFile(std::string(1024, 'x').c_str());
}

void traceToStandardError(ScenarioRun& run) {
    ::testing::internal::CaptureStderr();
    setAPITraceFile(nullptr);
    setAPITraceFile(nullptr);
    getStatsAPIVersion(nullptr);
    std::fflush(stderr);
    run.append(::testing::internal::GetCapturedStderr());
}

void openLocal(ScenarioRun& run) {
    const GatewaySim& sim = run.daemon();
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    openGatewayConnection(sim.port(), &token, &protocol);
    closeGatewayConnection(&token);
}

void openRemote(ScenarioRun& run) {
    Connection connection(run.daemon());
    connection.close();
}

void openBadArguments(ScenarioRun&) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    openGatewayConnection(0, &token, &protocol);
    openGatewayConnection(65536, &token, &protocol);
    openGatewayConnection(2810, nullptr, &protocol);
    openRemoteGatewayConnection("127.0.0.1", 2810, &token, nullptr);
    openRemoteGatewayConnection(nullptr, 2810, &token, &protocol);
}

void openProtocolTooLong(ScenarioRun& run) {
    Catalogue catalogue;
    catalogue.group("g").protocol(patternText(32766));
    openAndFail("127.0.0.1", run.daemonWith(catalogue).port());
}

void openRefused(ScenarioRun&) {
    const test_support::ClosedPort closed;
    openAndFail("127.0.0.1", closed.port());
}

void openHostUnknown(ScenarioRun&) {
    openAndFail(std::string(70, 'x').c_str(), 2810);
}

void openUnreachable(ScenarioRun&) {
    openAndFail("127.255.255.255", 2810);
}

template <size_t size>
struct Text {
    constexpr Text(const char (&text)[size]) {
        for (size_t place = 0; place < size; ++place) {
            characters[place] = text[place];
        }
    }
    char characters[size];
};

// An open at a daemon that misbehaves.
template <Text fault>
void openWithFault(ScenarioRun& run) {
    openAndFail("127.0.0.1", run.daemon({"--fault", fault.characters}).port());
}

// A query at a daemon that misbehaves, and a second one on what is left.
template <Text query, Text ids, Text fault>
void queryWithFault(ScenarioRun& run) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ResultSetToken* result = nullptr;
    run.aside([&] { openGatewayConnection(run.daemon({"--fault", fault.characters}).port(), &token, &protocol); });
    queryNamed(query.characters).call(token, ids.characters, &result);
    queryNamed(query.characters).call(token, ids.characters, &result);
}

template <Text query, Text ids>
void queryOnce(ScenarioRun& run) {
    runQuery(run, query.characters, ids.characters);
}

void queryBadArguments(ScenarioRun& run) {
    std::vector<char> byte(1);
    auto* const unknown = reinterpret_cast<GatewayToken*>(byte.data());
    ResultSetToken* result = nullptr;
    getStats(unknown, &result);
    const ScenarioConnection connection(run, run.daemon());
    const std::string tooLong(32766, 'x');
    for (const QueryFunction& query : kQueries) {
        query.call(nullptr, "g1", &result);
        query.call(connection.token(), query.takesIds ? nullptr : "g1", query.takesIds ? &result : nullptr);
        query.call(connection.token(), "g1", nullptr);
        query.call(unknown, "g1", &result);
        if (query.takesIds) {
            query.call(connection.token(), tooLong.c_str(), &result);
        }
    }
}

void otherThread(ScenarioRun& run) {
    const ScenarioConnection connection(run, run.daemon());
    ResultSetToken* result = nullptr;
    getStatIds(connection.token(), &result);
    inOtherThread([&] {
        ResultSetToken* other = nullptr;
        IdData id{};
        char* text = nullptr;
        for (const QueryFunction& query : kQueries) {
            query.call(connection.token(), "g1", &other);
        }
        getFirstId(result, &id);
        getNextId(result, &id);
        getIdQuery(result, &text);
        copyResultSet(result, &other);
        dumpResultSet(result);
        return 0;
    });
}

void growth(ScenarioRun& run) {
    Catalogue large;
    large.group("g");
    for (unsigned index = 0; index < 5; ++index) {
        large.statistic("g", "s" + std::to_string(index), patternText(20000, index));
    }
    const ScenarioConnection connection(run, run.daemonWith(large));
    ResultSetToken* result = nullptr;
    getStats(connection.token(), &result);
    StatData stat{};
    getFirstStat(result, &stat);
}

void growthOfIds(ScenarioRun& run) {
    Catalogue large;
    large.group("g");
    for (unsigned index = 0; index < 3; ++index) {
        large.statistic("g", patternText(15000, index), "v");
    }
    const ScenarioConnection connection(run, run.daemonWith(large));
    ResultSetToken* result = nullptr;
    getStatIds(connection.token(), &result);
}

void splitValues(ScenarioRun& run) {
    Catalogue catalogue;
    catalogue.group("g");
    for (const unsigned length : {0U, 249U, 250U, 1018U, 1019U, 1020U, 2100U, 3000U}) {
        catalogue.statistic("g", "s" + std::to_string(length), patternText(length));
    }
    const ScenarioConnection connection(run, run.daemonWith(catalogue));
    ResultSetToken* result = nullptr;
    getStats(connection.token(), &result);
    walkStats(result);
}

void walkIdsScenario(ScenarioRun& run) {
    const Queried queried(run, "getStatIdsByStatGroupId", "g1:nobody:g2");
    IdData id{};
    walkIds(queried.result());
    getFirstId(queried.result(), nullptr);
    getNextId(queried.result(), nullptr);
    getFirstId(nullptr, &id);
    getNextId(nullptr, &id);
}

void walkIdsByNextScenario(ScenarioRun& run) {
    const Queried queried(run, "getStatIdsByStatGroupId", "nobody:g2");
    walkIdsByNext(queried.result());
    walkIds(queried.result());
}

void walkStatsScenario(ScenarioRun& run) {
    const Queried queried(run, "getStatsByStatGroupId", "g1:nobody:g2");
    StatData stat{};
    walkStats(queried.result());
    getFirstStat(queried.result(), nullptr);
    getNextStat(queried.result(), nullptr);
    getFirstStat(nullptr, &stat);
    getNextStat(nullptr, &stat);
}

void walkStatsByNextScenario(ScenarioRun& run) {
    const Queried queried(run, "getStatsByStatGroupId", "nobody:g2");
    walkStatsByNext(queried.result());
    walkStats(queried.result());
}

void walkOfEmptyBlocks(ScenarioRun& run) {
    // The first id is not one: its length is that of no text, so nothing may be read from where it points.
    const Queried ids(run, "getStatIdsByStatGroupId", "empty");
    IdData id{};
    getFirstId(ids.result(), &id);
    getNextId(ids.result(), &id);
    const Queried stats(run, "getStatsByStatGroupId", "empty");
    StatData stat{};
    getFirstStat(stats.result(), &stat);
    getNextStat(stats.result(), &stat);
}

void walkOfWrongContent(ScenarioRun& run) {
    const Queried ids(run, "getStatIds", nullptr);
    const Queried stats(run, "getStats", nullptr);
    IdData id{};
    StatData stat{};
    getFirstId(stats.result(), &id);
    getNextId(stats.result(), &id);
    getFirstStat(ids.result(), &stat);
    getNextStat(ids.result(), &stat);
}

void idQuery(ScenarioRun& run) {
    char* text = nullptr;
    const Queried ids(run, "getStatIdsByStatGroupId", "g1:nobody:g2");
    getIdQuery(ids.result(), &text);
    getIdQuery(ids.result(), nullptr);
    getIdQuery(nullptr, &text);
    const Queried stats(run, "getStatsByStatId", "s.a:nobody:s.c");
    getIdQuery(stats.result(), &text);
    const Queried nothing(run, "getStatIdsByStatGroupId", "nobody");
    getIdQuery(nothing.result(), &text);
}

void copyAndFree(ScenarioRun& run) {
    const Queried ids(run, "getStatIds", nullptr);
    ResultSetToken* source = ids.result();
    ResultSetToken* copy = nullptr;
    copyResultSet(source, &copy);
    copyResultSet(nullptr, &copy);
    copyResultSet(source, nullptr);
    freeResultSet(&source);
    freeResultSet(&copy);
    freeResultSet(&copy);
    freeResultSet(nullptr);
}

void dumps(ScenarioRun& run) {
    dumpState();
    const ScenarioConnection fresh(run, run.daemon());
    const Queried ids(run, "getStatIds", nullptr);
    ResultSetToken* copy = nullptr;
    dumpState();
    dumpResultSet(ids.result());
    copyResultSet(ids.result(), &copy);
    dumpResultSet(copy);
    dumpResultSet(nullptr);
    freeResultSet(&copy);
}

void closing(ScenarioRun& run) {
    GatewayToken* none = nullptr;
    std::vector<char> byte(1);
    auto* unknown = reinterpret_cast<GatewayToken*>(byte.data());
    closeGatewayConnection(nullptr);
    closeGatewayConnection(&none);
    closeGatewayConnection(&unknown);
    std::array<GatewayToken*, 3> tokens{};
    run.aside([&] {
        const int port = run.daemon().port();
        char* protocol = nullptr;
        for (GatewayToken*& token : tokens) {
            openGatewayConnection(port, &token, &protocol);
        }
    });
    closeGatewayConnection(&unknown);
    // From the middle, the end, and what is left.
    closeGatewayConnection(&tokens[1]);
    closeGatewayConnection(&tokens[2]);
    closeGatewayConnection(&tokens[0]);
}

void closeAll(ScenarioRun& run) {
    closeAllGatewayConnections();
    const ScenarioConnection one(run, run.daemon());
    const ScenarioConnection two(run, run.daemon());
    closeAllGatewayConnections();
}

// With the trace off while the 256 are opened, and while all of them are closed.
void runaway(ScenarioRun& run) {
    constexpr size_t kRunaway = 256;
    const GatewaySim& sim = run.daemon();
    setAPITraceLevel(0);
    std::vector<GatewayToken*> tokens(kRunaway + 1, nullptr);
    char* protocol = nullptr;
    for (GatewayToken*& token : tokens) {
        openGatewayConnection(sim.port(), &token, &protocol);
    }
    setAPITraceLevel(run.level());
    std::vector<char> byte(1);
    ResultSetToken* result = nullptr;
    getStats(reinterpret_cast<GatewayToken*>(byte.data()), &result);
    dumpState();
    closeAllGatewayConnections();
}

}  // namespace

test_support::GatewaySim& ScenarioRun::daemon(const std::vector<std::string>& furtherOptions) {
    Catalogue small;
    small.group("g1").group("g2").group("empty");
    small.statistic("g1", "s.a", "1").statistic("g1", "s.b", "value").statistic("g2", "s.c", "");
    small_ = std::move(small);
    return daemonWith(small_, furtherOptions);
}

test_support::GatewaySim& ScenarioRun::daemonWith(Catalogue& catalogue,
                                                  const std::vector<std::string>& furtherOptions) {
    std::vector<std::string> options = catalogue.options();
    options.insert(options.end(), kSameEveryTime.begin(), kSameEveryTime.end());
    options.insert(options.end(), furtherOptions.begin(), furtherOptions.end());
    daemons_.push_back(std::make_unique<GatewaySim>(options));
    return *daemons_.back();
}

const std::vector<Scenario>& commonScenarios() {
    static const std::vector<Scenario> kAll{
        {"library_functions", libraryFunctions, true, false},
        {"trace_file", traceFile, true, false},
        {"trace_to_standard_error", traceToStandardError, true, false},
        {"open_local", openLocal},
        {"open_remote", openRemote},
        {"open_bad_arguments", openBadArguments},
        {"open_refused", openRefused},
        {"open_host_unknown", openHostUnknown},
        {"open_unreachable", openUnreachable},
        {"open_handshake_code", openWithFault<"handshake:code=5">},
        {"open_handshake_eyecatcher", openWithFault<"handshake:eyecatcher">},
        {"open_handshake_closed", openWithFault<"handshake:cut=0">},
        {"open_authorisation_refused", openWithFault<"auth0:refuse=13">},
        {"open_authorisation_second_step_refused", openWithFault<"auth1:code=7">},
        {"open_protocol_refused", openWithFault<"attribute:admin-code=9">},
        {"open_protocol_exception", openWithFault<"attribute:exception">},
        {"open_protocol_too_long", openProtocolTooLong},
        {"open_protocol_init_failed", openWithFault<"init:admin-code=9">},
        {"query_resource_group_ids", queryOnce<"getResourceGroupIds", "">},
        {"query_stat_ids", queryOnce<"getStatIds", "">},
        {"query_stat_ids_by_group", queryOnce<"getStatIdsByStatGroupId", "g1:nobody">},
        {"query_stats", queryOnce<"getStats", "">},
        {"query_stats_by_id", queryOnce<"getStatsByStatId", "s.b:nobody">},
        {"query_stats_by_group", queryOnce<"getStatsByStatGroupId", "g1">},
        {"query_bad_arguments", queryBadArguments},
        {"query_other_thread", otherThread},
        {"dead_resource_group_ids", queryWithFault<"getResourceGroupIds", "", "invoke:cut=0">},
        {"dead_stat_ids", queryWithFault<"getStatIds", "", "invoke:cut=12">},
        {"dead_stat_ids_by_group", queryWithFault<"getStatIdsByStatGroupId", "g1", "invoke:exception">},
        {"dead_stats", queryWithFault<"getStats", "", "invoke:cut=60">},
        {"dead_stats_by_id", queryWithFault<"getStatsByStatId", "s.a", "init#2:code=-1">},
        {"dead_stats_by_group", queryWithFault<"getStatsByStatGroupId", "g1", "invoke:admin-code=9">},
        {"reply_in_single_bytes", queryWithFault<"getStatIds", "", "invoke:trickle">},
        {"reply_without_body", queryWithFault<"getStatIds", "", "invoke:empty">},
        {"growth_of_stats", growth},
        {"growth_of_ids", growthOfIds},
        {"split_values", splitValues},
        {"walk_ids", walkIdsScenario},
        {"walk_ids_by_next", walkIdsByNextScenario},
        {"walk_stats", walkStatsScenario},
        {"walk_stats_by_next", walkStatsByNextScenario},
        {"walk_empty_blocks", walkOfEmptyBlocks},
        {"walk_wrong_content", walkOfWrongContent},
        {"id_query", idQuery},
        {"copy_and_free", copyAndFree},
        {"dumps", dumps},
        {"closing", closing},
        {"close_all", closeAll},
        {"runaway", runaway, false, false},
    };
    return kAll;
}

void PrintTo(const Scenario& scenario, std::ostream* stream) {
    *stream << scenario.name;
}

std::vector<Scenario> allScenarios() {
    std::vector<Scenario> all = commonScenarios();
    all.insert(all.end(), scenariosOfThisSystem().begin(), scenariosOfThisSystem().end());
    return all;
}

std::string ScenarioRun::wholeText() const {
    return trace_.text() + further_;
}

std::string ScenarioRun::comparedText() const {
    const std::string whole = trace_.text();
    std::string text;
    size_t done = 0;
    for (const auto& [start, end] : asides_) {
        text += whole.substr(done, start - done);
        done = end;
    }
    return text + whole.substr(done) + further_;
}

namespace {

std::string textOf(const Scenario& scenario, int32_t level, bool isWhole) {
    resetLibrary();
    const TraceCapture trace(level);
    std::string text;
    {
        ScenarioRun run(trace, level);
        scenario.run(run);
        text = isWhole ? run.wholeText() : run.comparedText();
    }
    const std::string path = trace.path();
    for (size_t at = text.find(path); at != std::string::npos; at = text.find(path, at)) {
        text.replace(at, path.size(), "<trace file>");
    }
    return text;
}

}  // namespace

std::string wholeTraceOf(const Scenario& scenario, int32_t level) {
    return textOf(scenario, level, true);
}

std::string traceOf(const Scenario& scenario, int32_t level) {
    return textOf(scenario, level, false);
}

}  // namespace system_test
