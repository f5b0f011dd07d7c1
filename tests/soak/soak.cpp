#include "soak.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "loads.h"
#include "process_size.h"
#include "run_program.h"
#include "temporary_file.h"
#include "zulstats64.h"

namespace soak {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr size_t kMostFailures = 10;
constexpr int64_t kMeasurements = 200;

class Failures {
  public:
    void add(const std::string& failure) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (all_.size() < kMostFailures) {
            all_.push_back(failure);
        }
    }
    // Whether the code is the one wanted; another one is noted.
    bool expect(const char* what, int32_t code, int32_t wanted = STAPI_RC_OK) {
        if (code != wanted) {
            add(std::string(what) + " gave " + std::to_string(code) + " instead of " + std::to_string(wanted));
        }
        return code == wanted;
    }
    std::vector<std::string> all() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return all_;
    }

  private:
    std::mutex mutex_;
    std::vector<std::string> all_;
};

double secondsSince(steady_clock::time_point start) {
    return std::chrono::duration<double>(steady_clock::now() - start).count();
}

// ---- Trends ---------------------------------------------------------------------------------------------------------

struct Measurement {
    double times;
    ProcessSize size;
};

double slopeOf(const std::vector<Measurement>& measurements, int64_t ProcessSize::*what) {
    double meanX = 0;
    double meanY = 0;
    const auto count = static_cast<double>(measurements.size());
    for (const Measurement& each : measurements) {
        meanX += each.times / count;
        meanY += static_cast<double>(each.size.*what) / count;
    }
    double above = 0;
    double below = 0;
    for (const Measurement& each : measurements) {
        above += (each.times - meanX) * (static_cast<double>(each.size.*what) - meanY);
        below += (each.times - meanX) * (each.times - meanX);
    }
    return below > 0 ? above / below : 0;
}

// Does something again and again, and measures at even distances.
Trend repeat(const Extent& extent, Failures* failures, const std::function<bool(int64_t)>& once) {
    std::vector<Measurement> measurements;
    Trend trend;
    const steady_clock::time_point start = steady_clock::now();
    bool goesOn = true;
    double nextMeasurement = 0;
    while (goesOn) {
        const double part = extent.times > 0 ? static_cast<double>(trend.times) / static_cast<double>(extent.times)
                                             : secondsSince(start) * 1000 / static_cast<double>(extent.time.count());
        if (part >= nextMeasurement) {
            measurements.push_back({static_cast<double>(trend.times), processSize()});
            nextMeasurement += 1.0 / kMeasurements;
        }
        goesOn = part < 1 && once(trend.times);
        trend.times += goesOn ? 1 : 0;
    }
    trend.seconds = secondsSince(start);
    measurements.erase(measurements.begin(), measurements.begin() + static_cast<ptrdiff_t>(measurements.size() / 10));
    trend.residentAtFirst = measurements.front().size.residentBytes;
    trend.residentAtLast = measurements.back().size.residentBytes;
    trend.descriptorsAtFirst = measurements.front().size.descriptors;
    trend.descriptorsAtLast = measurements.back().size.descriptors;
    trend.residentSlope = slopeOf(measurements, &ProcessSize::residentBytes);
    trend.privateSlope = slopeOf(measurements, &ProcessSize::privateBytes);
    trend.failures = failures->all();
    return trend;
}

// ---- Calls ----------------------------------------------------------------------------------------------------------

constexpr const char* kGroups = "memory:pool.workers";
constexpr const char* kStatistics = "daemon.name:daemon.version";

int32_t query(int64_t kind, GatewayToken* token, ResultSetToken** result) {
    switch (kind % 6) {
        case 0:
            return getStats(token, result);
        case 1:
            return getStatIds(token, result);
        case 2:
            return getStatsByStatGroupId(token, kGroups, result);
        case 3:
            return getResourceGroupIds(token, result);
        case 4:
            return getStatsByStatId(token, kStatistics, result);
        default:
            return getStatIdsByStatGroupId(token, kGroups, result);
    }
}

bool isOfStatistics(int64_t kind) {
    return kind % 2 == 0;
}

// Walks to the end; the end's code.
int32_t walk(ResultSetToken* result, bool ofStatistics) {
    int32_t code = STAPI_RC_OK;
    if (ofStatistics) {
        StatData data = {};
        code = getFirstStat(result, &data);
        while (code == STAPI_RC_OK) {
            code = getNextStat(result, &data);
        }
    } else {
        IdData data = {};
        code = getFirstId(result, &data);
        while (code == STAPI_RC_OK) {
            code = getNextId(result, &data);
        }
    }
    return code;
}

// A query with its walk; sometimes a copy with its own, a query string.
bool queryAndWalk(int64_t number, GatewayToken* token, Failures* failures, int64_t* calls) {
    constexpr int64_t kCopyEach = 5;
    ResultSetToken* result = nullptr;
    bool good = failures->expect("a query", query(number, token, &result));
    good = good && failures->expect("a walk", walk(result, isOfStatistics(number)), STAPI_RC_END_OF_DATA);
    *calls += 2;
    if (good && number % kCopyEach == 0) {
        ResultSetToken* copy = nullptr;
        char* ids = nullptr;
        good = failures->expect("copyResultSet", copyResultSet(result, &copy)) &&
               failures->expect("a walk over a copy", walk(copy, isOfStatistics(number)), STAPI_RC_END_OF_DATA) &&
               failures->expect("freeResultSet", freeResultSet(&copy)) &&
               failures->expect("getIdQuery", getIdQuery(result, &ids));
        *calls += 4;
    }
    return good;
}

struct Connection {
    explicit Connection(int port) {
        char* version = nullptr;
        code = openGatewayConnection(port, &token, &version);
    }
    ~Connection() {
        if (code == STAPI_RC_OK && token != nullptr) {
            closeGatewayConnection(&token);
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    GatewayToken* token = nullptr;
    int32_t code = 0;
};

// ---- Threads --------------------------------------------------------------------------------------------------------

// Opens anew now and then.
void callFrom(int port, int64_t calls, Failures* failures, std::atomic<int64_t>* total) {
    constexpr int64_t kCallsOfAConnection = 1000;
    int64_t done = 0;
    bool good = true;
    while (done < calls && good) {
        Connection connection(port);
        good = failures->expect("openGatewayConnection", connection.code);
        ++done;
        const int64_t end = std::min(calls - 1, done + kCallsOfAConnection);
        for (int64_t number = 0; good && done < end; ++number) {
            good = queryAndWalk(number, connection.token, failures, &done);
        }
        good = good && failures->expect("closeGatewayConnection", closeGatewayConnection(&connection.token));
        ++done;
    }
    total->fetch_add(done);
}

// A trace file grows by megabytes in a second at the highest level, so it is taken away as soon as it has been left.
void removeFile(const std::string& file) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

// Switches until told to stop: the high levels for a moment each time.
int64_t switchTrace(const std::atomic<bool>& stopping, Failures* failures) {
    const test_support::TemporaryFile first;
    const test_support::TemporaryFile second;
    const std::array<std::string, 2> files = {first.path(), second.path()};
    int64_t switches = 0;
    while (!stopping.load()) {
        const auto level = static_cast<int32_t>(switches % 6);
        const std::string& left = files.at(static_cast<size_t>((switches + 1) % 2));
        failures->expect("setAPITraceFile", setAPITraceFile(files.at(static_cast<size_t>(switches % 2)).c_str()));
        removeFile(left);
        failures->expect("setAPITraceLevel", setAPITraceLevel(level));
        if (switches % 50 == 0) {
            failures->expect("dumpState", dumpState());
        }
        std::this_thread::sleep_for(milliseconds(2));
        failures->expect("setAPITraceLevel", setAPITraceLevel(0));
        std::this_thread::sleep_for(milliseconds(10));
        ++switches;
    }
    failures->expect("setAPITraceFile", setAPITraceFile(nullptr));
    return switches;
}

// ---- One trace file -------------------------------------------------------------------------------------------------

// Every line is one of the trace's, or the banner; each call of the appenders leaves an entry and an exit.
AppendOutcome examine(const std::string& file, int64_t times) {
    const std::regex line(
        R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d:\d\d\d \[0x[0-9A-F]{8},0x[0-9A-F]{8}\] \[\d{4}\] [*A-Z]+ +(API|stapi)[^\[]*)");
    const std::regex banner(R"(\*\*\* \d\d/\d\d/\d\d OXA Quillon ZULSTATS DLL trace [^*]* \*\*\*)");
    AppendOutcome outcome;
    Failures failures;
    int64_t entries = 0;
    int64_t exits = 0;
    std::ifstream content(file);
    for (std::string text; std::getline(content, text);) {
        if (!text.empty() && text.back() == '\r') {
            text.pop_back();
        }
        ++outcome.lines;
        entries += text.find("[1088]") != std::string::npos ? 1 : 0;
        exits += text.find("[1090]") != std::string::npos ? 1 : 0;
        if (!std::regex_match(text, line) && !std::regex_match(text, banner)) {
            failures.add("line " + std::to_string(outcome.lines) + " is no trace line: " + text.substr(0, 200));
        }
    }
    if (entries != 2 * times || exits != 2 * times) {
        failures.add(std::to_string(entries) + " entries and " + std::to_string(exits) + " exits instead of " +
                     std::to_string(2 * times));
    }
    outcome.failures = failures.all();
    return outcome;
}

}  // namespace

Trend runQueries(int port, const Extent& extent) {
    Failures failures;
    int64_t calls = 0;
    const Connection connection(port);
    failures.expect("openGatewayConnection", connection.code);
    return repeat(extent, &failures, [&](int64_t number) {
        return connection.code == STAPI_RC_OK && queryAndWalk(number, connection.token, &failures, &calls);
    });
}

Trend runOpenings(int port, const Extent& extent) {
    Failures failures;
    int64_t calls = 0;
    return repeat(extent, &failures, [&](int64_t number) {
        Connection connection(port);
        return failures.expect("openGatewayConnection", connection.code) &&
               queryAndWalk(number, connection.token, &failures, &calls) &&
               failures.expect("closeGatewayConnection", closeGatewayConnection(&connection.token));
    });
}

Trend runLoads(const std::string& libraryFile, const Extent& extent) {
    constexpr int64_t kCallEach = 100;
    Failures failures;
    // The program's own instance stays loaded, so a copy of the file is what is loaded and unloaded. Windows would look
    // for a name without an extension under another one.
    const test_support::TemporaryFile place;
    const std::string copy = place.path() + ".library";
    std::filesystem::copy_file(libraryFile, copy);
    const Trend trend = repeat(extent, &failures, [&](int64_t number) {
        try {
            loadAndUnload(copy, number % kCallEach == 0);
        } catch (const std::runtime_error& failure) {
            failures.add(failure.what());
        }
        return failures.all().empty();
    });
    removeFile(copy);
    return trend;
}

ThreadsOutcome runThreads(int port, int threads, int64_t callsOfEach) {
    Failures failures;
    std::atomic<int64_t> calls{0};
    std::atomic<bool> stopping{false};
    ThreadsOutcome outcome;
    const steady_clock::time_point start = steady_clock::now();
    std::thread switcher([&] { outcome.switches = switchTrace(stopping, &failures); });
    std::vector<std::thread> callers;
    for (int count = 0; count < threads; ++count) {
        callers.emplace_back([&] { callFrom(port, callsOfEach, &failures, &calls); });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    stopping.store(true);
    switcher.join();
    outcome.calls = calls.load();
    outcome.seconds = secondsSince(start);
    outcome.failures = failures.all();
    return outcome;
}

AppendOutcome runAppenders(const std::string& program, int64_t times) {
    const test_support::TemporaryFile file;
    test_support::ProgramRun run;
    run.arguments = {"--append", file.path(), std::to_string(times)};
    run.limit = std::chrono::seconds(600);
    std::array<int, 2> codes = {-1, -1};
    std::vector<std::thread> processes;
    for (int& code : codes) {
        processes.emplace_back([&run, &program, &code] { code = test_support::runProgram(program, run).exitCode; });
    }
    for (std::thread& process : processes) {
        process.join();
    }
    AppendOutcome outcome = examine(file.path(), times);
    if (codes != std::array<int, 2>{0, 0}) {
        outcome.failures.push_back("a process that traces has failed");
    }
    return outcome;
}

int append(const std::string& file, int64_t times) {
    bool good = setAPITraceFile(file.c_str()) == STAPI_RC_OK && setAPITraceLevel(3) == STAPI_RC_OK;
    for (int64_t count = 0; good && count < times; ++count) {
        char* version = nullptr;
        good = getStatsAPIVersion(&version) == STAPI_RC_OK;
    }
    return good ? 0 : 1;
}

bool isFlat(const Trend& trend, int64_t mostBytes) {
    const double growth = std::max(trend.residentSlope, trend.privateSlope) * static_cast<double>(trend.times);
    return growth <= static_cast<double>(mostBytes) && trend.descriptorsAtLast <= trend.descriptorsAtFirst;
}

}  // namespace soak
