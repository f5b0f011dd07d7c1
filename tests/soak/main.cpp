// Uses the library for a long time and tells what that costs.
//   soak [--seconds N] [--queries N] [--opens N] [--loads N] [--calls N] [--threads N] [--appends N] [PHASE...]
//   soak --append FILE N
// PHASEs are queries, opens, loads, threads, appends; without one, all. --seconds is for queries and for openings, half
// each, where no number is given.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "gatewaysim_process.h"
#include "soak.h"

namespace {

constexpr int64_t kMostGrowth = 512 * 1024;

std::map<std::string, int64_t> numbers = {{"--seconds", 60},   {"--queries", 0},   {"--opens", 0},
                                          {"--loads", 10000},  {"--calls", 10000}, {"--threads", 32},
                                          {"--appends", 20000}};
std::vector<std::string> phases;
bool allGood = true;

bool isWanted(const char* phase) {
    return phases.empty() || std::find(phases.begin(), phases.end(), phase) != phases.end();
}

void tellFailures(const std::vector<std::string>& failures) {
    for (const std::string& failure : failures) {
        std::printf("  FAILED: %s\n", failure.c_str());
    }
    allGood = allGood && failures.empty();
}

void tell(const char* what, const soak::Trend& trend) {
    const bool flat = soak::isFlat(trend, kMostGrowth);
    std::printf(
        "%s: %lld in %.1f s; resident %lld KiB, at the end %lld KiB, slope %.3f bytes each; private slope %.3f\n", what,
        static_cast<long long>(trend.times), trend.seconds, static_cast<long long>(trend.residentAtFirst / 1024),
        static_cast<long long>(trend.residentAtLast / 1024), trend.residentSlope, trend.privateSlope);
    std::printf("  descriptors %lld, at the end %lld: %s\n", static_cast<long long>(trend.descriptorsAtFirst),
                static_cast<long long>(trend.descriptorsAtLast), flat ? "flat" : "NOT FLAT");
    allGood = allGood && flat;
    tellFailures(trend.failures);
    std::fflush(stdout);
}

soak::Extent extentOf(const char* option) {
    return {numbers.at(option), std::chrono::milliseconds(numbers.at("--seconds") * 500)};
}

void runAll(const std::string& program) {
    const test_support::GatewaySim gateway;
    if (isWanted("queries")) {
        tell("queries", soak::runQueries(gateway.port(), extentOf("--queries")));
    }
    if (isWanted("opens")) {
        tell("openings", soak::runOpenings(gateway.port(), extentOf("--opens")));
    }
    if (isWanted("loads")) {
        tell("loads", soak::runLoads(LIBRARY_FILE, extentOf("--loads")));
    }
    if (isWanted("threads")) {
        const soak::ThreadsOutcome outcome =
            soak::runThreads(gateway.port(), static_cast<int>(numbers.at("--threads")), numbers.at("--calls"));
        std::printf("threads: %lld, %lld calls in %.1f s, %lld switches of level and file: %s\n",
                    static_cast<long long>(numbers.at("--threads")), static_cast<long long>(outcome.calls),
                    outcome.seconds, static_cast<long long>(outcome.switches),
                    outcome.failures.empty() ? "nothing lost" : "FAILED");
        tellFailures(outcome.failures);
    }
    if (isWanted("appends")) {
        const soak::AppendOutcome outcome = soak::runAppenders(program, numbers.at("--appends"));
        std::printf("appends: two processes, %lld lines in one file: %s\n", static_cast<long long>(outcome.lines),
                    outcome.failures.empty() ? "none mixed" : "FAILED");
        tellFailures(outcome.failures);
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const std::vector<std::string> words(arguments + 1, arguments + argumentCount);
    if (words.size() == 3 && words[0] == "--append") {
        return soak::append(words[1], std::atoll(words[2].c_str()));
    }
    for (size_t index = 0; index < words.size(); ++index) {
        if (numbers.count(words[index]) == 1 && index + 1 < words.size()) {
            numbers[words[index]] = std::atoll(words[index + 1].c_str());
            ++index;
        } else if (words[index] == "queries" || words[index] == "opens" || words[index] == "loads" ||
                   words[index] == "threads" || words[index] == "appends") {
            phases.push_back(words[index]);
        } else {
            std::fprintf(stderr, "soak: \"%s\" is no option or phase, or lacks its number\n", words[index].c_str());
            return 2;
        }
    }
    try {
        runAll(arguments[0]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "soak: %s\n", failure.what());
        allGood = false;
    }
    return allGood ? 0 : 1;
}
