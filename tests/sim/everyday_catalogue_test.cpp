// The numbers of the built-in catalogue, over many moments: what belongs together agrees.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "conversation.h"
#include "payload_readers.h"

namespace sim_test {

namespace {

using nlohmann::json;
using test_support::GatewaySim;
using test_support::runGatewaySim;

using Values = std::map<std::string, std::string>;
using Terms = std::vector<std::string>;

Values valuesNow(Conversation& conversation) {
    Values values;
    for (const Response& response : statisticsByPosition(conversation.query("GET_STATS", ""))) {
        values.insert(response.statistics.begin(), response.statistics.end());
    }
    return values;
}

std::vector<Values> runOf(const std::string& seed, const std::string& step, int moments) {
    const GatewaySim sim({"--seed", seed, "--frozen-clock", "2026-03-01T12:00:00Z", "--clock-step", step});
    Conversation conversation(sim);
    conversation.open();
    std::vector<Values> run;
    run.reserve(static_cast<size_t>(moments));
    for (int moment = 0; moment < moments; ++moment) {
        run.push_back(valuesNow(conversation));
    }
    return run;
}

constexpr int kSecondsOfARun = 150;

// Minutes by the second, hours by the minute, a week by the hour.
const std::vector<std::vector<Values>>& runs() {
    static const std::vector<std::vector<Values>> kRuns{
        runOf("1", "1", kSecondsOfARun), runOf("7", "1", kSecondsOfARun), runOf("2026", "1", kSecondsOfARun),
        runOf("4711", "61", 100),        runOf("5", "3607", 170),
    };
    return kRuns;
}

// An id, or a number that stands for itself.
double valueOf(const Values& values, const std::string& term) {
    const auto found = values.find(term);
    return std::stod(found == values.end() ? term : found->second);
}

int64_t countOf(const Values& values, const std::string& term) {
    const auto found = values.find(term);
    return std::stoll(found == values.end() ? term : found->second);
}

int64_t totalOf(const Values& values, const Terms& terms) {
    int64_t total = 0;
    for (const std::string& term : terms) {
        total += countOf(values, term);
    }
    return total;
}

struct Balance {
    const char* name;
    Terms left;
    Terms right;
};

void PrintTo(const Balance& balance, std::ostream* stream) {
    *stream << balance.name;
}

class EverydayBalance : public testing::TestWithParam<Balance> {};

TEST_P(EverydayBalance, HoldsAtEveryMoment) {
    for (const std::vector<Values>& run : runs()) {
        for (const Values& values : run) {
            ASSERT_EQ(totalOf(values, GetParam().left), totalOf(values, GetParam().right))
                << values.at("daemon.current_time");
        }
    }
}

template <typename Case>
std::string withName(const testing::TestParamInfo<Case>& tested) {
    return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Catalogue, EverydayBalance,
    testing::Values(
        Balance{"Accepted", {"listener.accepted"}, {"connections.opened", "connections.dropped"}},
        Balance{"Opened", {"connections.opened"}, {"connections.authorised", "connections.authorisation_failures"}},
        Balance{"OpenConnections", {"connections.current", "connections.closed"}, {"connections.opened"}},
        Balance{"Requests", {"requests.total"}, {"requests.succeeded", "requests.failed"}},
        Balance{"ResponseTimes",
                {"requests.succeeded"},
                {"response_times.under_10ms", "response_times.under_100ms", "response_times.under_1s",
                 "response_times.over_1s"}},
        Balance{"FailedRequests",
                {"requests.failed"},
                {"pool.workers.task_failures", "requests.rejected", "requests.cancelled"}},
        Balance{"ActiveRequests", {"requests.active"}, {"pool.workers.busy", "pool.workers.waiting"}},
        Balance{"Queue", {"requests.queue_length"}, {"pool.workers.waiting"}},
        Balance{"Tasks", {"pool.workers.tasks"}, {"requests.succeeded", "pool.workers.task_failures"}},
        Balance{
            "TaskFailures", {"pool.workers.task_failures"}, {"errors.timeouts", "errors.backend", "errors.internal"}},
        Balance{"Threads", {"pool.workers.threads_started"}, {"pool.workers.threads_ended", "pool.workers.size"}},
        Balance{"Backends", {"pool.backends.in_use", "pool.backends.free"}, {"pool.backends.size"}},
        Balance{"BackendsMade", {"pool.backends.created"}, {"pool.backends.discarded", "pool.backends.size"}},
        Balance{"Checkouts", {"pool.backends.checkouts"}, {"requests.succeeded", "requests.retried"}},
        Balance{"Heap", {"memory.heap_used_bytes", "memory.heap_free_bytes"}, {"memory.heap_limit_bytes"}},
        Balance{"Buffers", {"memory.buffers_used", "memory.buffers_free"}, {"256"}},
        Balance{"ResidentMemory", {"memory.resident_bytes"}, {"memory.heap_used_bytes", "45613056"}},
        Balance{"Descriptors", {"memory.descriptors_open"}, {"connections.current", "pool.backends.in_use", "23"}},
        Balance{"Errors",
                {"errors.total"},
                {"errors.protocol", "errors.timeouts", "errors.backend", "errors.authorisation", "errors.internal",
                 "errors.resets"}},
        Balance{"AuthorisationErrors", {"errors.authorisation"}, {"connections.authorisation_failures"}},
        Balance{"Transactions",
                {"transactions.started"},
                {"transactions.committed", "transactions.rolled_back", "transactions.active"}},
        Balance{"CacheEntries", {"cache.misses"}, {"cache.entries", "cache.evictions", "cache.expired"}}),
    withName<Balance>);

struct Ascent {
    const char* name;
    Terms terms;
};

void PrintTo(const Ascent& ascent, std::ostream* stream) {
    *stream << ascent.name;
}

class EverydayAscent : public testing::TestWithParam<Ascent> {};

TEST_P(EverydayAscent, HoldsAtEveryMoment) {
    const Terms& terms = GetParam().terms;
    for (const std::vector<Values>& run : runs()) {
        for (const Values& values : run) {
            for (size_t index = 0; index + 1 < terms.size(); ++index) {
                ASSERT_LE(valueOf(values, terms[index]), valueOf(values, terms[index + 1]))
                    << terms[index] << " and " << terms[index + 1] << " at " << values.at("daemon.current_time");
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Catalogue, EverydayAscent,
    testing::Values(
        Ascent{"Connections",
               {"0", "connections.idle", "connections.current", "connections.peak", "connections.limit"}},
        Ascent{"Backlog", {"0", "listener.backlog", "listener.backlog_limit"}},
        Ascent{"Percentiles",
               {"0", "response_times.minimum_ms", "response_times.median_ms", "response_times.p90_ms",
                "response_times.p99_ms", "response_times.maximum_ms"}},
        Ascent{"Average", {"response_times.minimum_ms", "response_times.average_ms", "response_times.maximum_ms"}},
        Ascent{"LastResponse", {"response_times.minimum_ms", "response_times.last_ms", "response_times.maximum_ms"}},
        Ascent{"BytesIn", {"requests.bytes_in", "listener.bytes_received"}},
        Ascent{"BytesOut", {"requests.bytes_out", "listener.bytes_sent"}},
        Ascent{"Workers", {"0", "pool.workers.busy", "pool.workers.size"}},
        Ascent{"Backends", {"0", "pool.backends.in_use", "pool.backends.size"}},
        Ascent{"Heap", {"0", "memory.largest_free_block", "memory.heap_free_bytes", "memory.heap_limit_bytes"}},
        Ascent{"Allocations", {"memory.releases", "memory.allocations"}},
        Ascent{"Alerts", {"errors.alerts_cleared", "errors.alerts_raised"}},
        Ascent{"Transactions", {"1", "transactions.active", "transactions.started"}},
        Ascent{"Cache", {"0", "cache.entries", "cache.size_entries"}}),
    withName<Ascent>);

struct Share {
    const char* name;
    std::string percent;
    std::string part;
    Terms whole;
    double unit;
};

void PrintTo(const Share& share, std::ostream* stream) {
    *stream << share.name;
}

class EverydayShare : public testing::TestWithParam<Share> {};

TEST_P(EverydayShare, IsThePartInTheWhole) {
    for (const std::vector<Values>& run : runs()) {
        for (const Values& values : run) {
            const double share =
                100 * valueOf(values, GetParam().part) / static_cast<double>(totalOf(values, GetParam().whole));
            ASSERT_NEAR(valueOf(values, GetParam().percent), share, 0.5001 * GetParam().unit)
                << values.at("daemon.current_time");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Catalogue, EverydayShare,
    testing::Values(
        Share{"Utilisation", "pool.workers.utilisation_percent", "pool.workers.busy", {"pool.workers.size"}, 0.1},
        Share{"Hits", "cache.hit_percent", "cache.hits", {"cache.hits", "cache.misses"}, 0.01}),
    withName<Share>);

// The statistics that can only grow, by their own description.
class Growing {
  public:
    explicit Growing(const json& catalogue) {
        for (const json& statistic : catalogue["statistics"]) {
            byId_[statistic["id"]] = statistic;
        }
    }

    bool holds(const std::string& id) const {
        const json& statistic = byId_.at(id);
        if (statistic["kind"] == "sum") {
            const json& parts = statistic["plus"];
            return !statistic.contains("minus") && std::all_of(parts.begin(), parts.end(), [&](const json& part) {
                return part.is_number() || byId_.at(part)["kind"] == "text" || holds(part);
            });
        }
        return statistic["kind"] == "counter";
    }

  private:
    std::map<std::string, json> byId_;
};

TEST(EverydayCatalogue, NoCounterAndNoSumOfCountersEverFalls) {
    const Growing growing(json::parse(runGatewaySim({"--print-catalogue"}).standardOutput));
    size_t compared = 0;
    for (const std::vector<Values>& run : runs()) {
        for (size_t moment = 1; moment < run.size(); ++moment) {
            for (const auto& [id, value] : run[moment]) {
                if (growing.holds(id)) {
                    ASSERT_LE(std::stoll(run[moment - 1].at(id)), std::stoll(value)) << id;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 40U * 500);
}

TEST(EverydayCatalogue, NothingWaitsWhileAWorkerIsFree) {
    for (const std::vector<Values>& run : runs()) {
        for (const Values& values : run) {
            ASSERT_TRUE(countOf(values, "pool.workers.waiting") == 0 ||
                        countOf(values, "pool.workers.busy") == countOf(values, "pool.workers.size"))
                << values.at("daemon.current_time");
        }
    }
}

TEST(EverydayCatalogue, ExtremesSinceTheStartNeverMoveBack) {
    for (const std::vector<Values>& run : runs()) {
        for (size_t moment = 1; moment < run.size(); ++moment) {
            for (const char* const id :
                 {"response_times.maximum_ms", "pool.workers.longest_wait_ms", "connections.peak"}) {
                ASSERT_LE(valueOf(run[moment - 1], id), valueOf(run[moment], id)) << id;
            }
            ASSERT_GE(valueOf(run[moment - 1], "response_times.minimum_ms"),
                      valueOf(run[moment], "response_times.minimum_ms"));
        }
    }
}

TEST(EverydayCatalogue, RequestsGrowByTheirRate) {
    // Of the one counter that does not grow evenly.
    constexpr size_t kPeriod = 30;
    // Each of the counters in the total is shown without its fraction.
    constexpr double kCounters = 9;
    for (const std::vector<Values>& run : runs()) {
        if (run.size() != kSecondsOfARun) {
            continue;
        }
        for (size_t start = 0; start + kPeriod <= run.size(); start += kPeriod) {
            const size_t end = start + kPeriod - 1;
            const auto grown = countOf(run[end], "requests.total") - countOf(run[start], "requests.total");
            const double rate = valueOf(run[start], "requests.rate_per_second");
            EXPECT_EQ(rate, valueOf(run[end], "requests.rate_per_second"));
            EXPECT_NEAR(static_cast<double>(grown), rate * (kPeriod - 1), kCounters);
        }
    }
}

TEST(EverydayCatalogue, TheUptimeIsTheTimeSinceTheStart) {
    const std::vector<Values>& hours = runs().back();
    for (size_t hour = 0; hour < hours.size(); ++hour) {
        ASSERT_EQ(countOf(hours[hour], "daemon.uptime_seconds"), static_cast<int64_t>(3607 * hour));
    }
}

}  // namespace

}  // namespace sim_test
