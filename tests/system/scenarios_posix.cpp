#include <cstdint>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "forked_posix.h"
#include "relay_posix.h"
#include "scenarios.h"

namespace system_test {

namespace {

// A connection that was reset between two queries: the request cannot even be sent.
void sendFails(ScenarioRun& run) {
    Relay relay(run.daemon().port());
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ResultSetToken* result = nullptr;
    run.aside([&] { openGatewayConnection(relay.port(), &token, &protocol); });
    relay.reset();
    getStatsByStatId(token, "s.a", &result);
}

// The daemon cuts the connection off in the middle of its answer.
void replyReset(ScenarioRun& run) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ResultSetToken* result = nullptr;
    run.aside([&] { openGatewayConnection(run.daemon({"--fault", "invoke:reset"}).port(), &token, &protocol); });
    getStatIds(token, &result);
}

void otherProcess(ScenarioRun& run) {
    const ScenarioConnection connection(run, run.daemon());
    ResultSetToken* ids = nullptr;
    run.aside([&] { getStatIds(connection.token(), &ids); });
    inForkedChild([&] {
        IdData id{};
        ResultSetToken* result = nullptr;
        return std::vector<int32_t>{getStats(connection.token(), &result), getFirstId(ids, &id)};
    });
}

void noDescriptorLeft(ScenarioRun& run) {
    const int port = run.daemon().port();
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const int next = fcntl(0, F_DUPFD_CLOEXEC, 0);
    close(next);
    rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(next);
    setrlimit(RLIMIT_NOFILE, &none);
    openGatewayConnection(port, &token, &protocol);
    setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace

const std::vector<Scenario>& scenariosOfThisSystem() {
    static const std::vector<Scenario> kAll{
        {"send_fails", sendFails},
        {"reply_reset", replyReset},
        {"other_process", otherProcess},
        {"no_descriptor_left", noDescriptorLeft},
    };
    return kAll;
}

}  // namespace system_test
