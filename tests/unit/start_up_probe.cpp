// Plays one case of the first call into the library, which happens once in a process, and prints what came of it as
// lines of "name value" on standard output. The library's own words go to standard error.
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "allocation_faults.h"
#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "diag/stapi_zul_lock.h"
#include "every_export.h"
#include "gateway/stapi_zul_gwytok.h"
#include "impl/stapi_zul_impl.h"
#include "meeting_point.h"

namespace {

using test_support::AllocationFault;

void report(const std::string& name, int64_t value) {
    std::printf("%s %lld\n", name.c_str(), static_cast<long long>(value));
}

void reportLevel(const std::string& name) {
    report(name, stapi::traceLevel.load());
}

void reportVersionCall(const std::string& name) {
    char* version = nullptr;
    report(name, getStatsAPIVersion(&version));
    report(name + ".stored", version != nullptr ? 1 : 0);
}

void firstCall() {
    reportLevel("level.before");
    reportVersionCall("first");
    reportLevel("level.after");
    reportVersionCall("second");
}

void noMemoryThenSuccess() {
    for (const char* name : {"first", "second"}) {
        const AllocationFault fault(1);
        reportVersionCall(name);
        report(std::string(name) + ".struck", fault.hasStruck() ? 1 : 0);
        reportLevel(std::string(name) + ".level");
    }
    reportVersionCall("third");
    reportLevel("third.level");
    // The name of the destination is the one thing whose memory was refused.
    report("dump", dumpState());
    report("switch", setAPITraceFile(nullptr));
}

void everyExportWithoutMemory() {
    for (const ExportCall& each : everyExport()) {
        const AllocationFault fault(1, true);
        report(each.name, each.call());
    }
}

void listLockFirst() {
    report("lock", stapi::initializeLock(&stapi::gtlLock));
    reportVersionCall("first");
    reportLevel("first.level");
    reportVersionCall("second");
    reportLevel("second.level");
}

void everyExportWithListLockFirst() {
    stapi::initializeLock(&stapi::gtlLock);
    for (const ExportCall& each : everyExport()) {
        report(each.name, each.call());
    }
}

void traceLockFirst() {
    report("lock", stapi::initializeLock(&stapi::traceLock));
    reportVersionCall("first");
    reportLevel("first.level");
    report("dump", dumpState());
}

void raceOfFirstCalls() {
    constexpr int kThreads = 8;
    test_support::MeetingPoint start(kThreads);
    std::vector<int32_t> codes(kThreads, INT32_MIN);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int32_t& code : codes) {
        threads.emplace_back([&code, &start] {
            char* version = nullptr;
            start.arriveAndWait();
            code = getStatsAPIVersion(&version);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const int32_t code : codes) {
        report("racer", code);
    }
    reportVersionCall("afterwards");
}

// Two first calls of which the second overtakes the first: that one has seen that nothing is set up yet, and is then
// held at the trace lock, which the second one's thread owns.
void overtakenFirstCall() {
    stapi::initializeLock(&stapi::traceLock);
    stapi::requestLock(&stapi::traceLock);
    report("level.before", stapi::traceLevel.load());
    int32_t overtaken = INT32_MIN;
    std::thread first([&overtaken] {
        char* version = nullptr;
        overtaken = getStatsAPIVersion(&version);
    });
    while (stapi::traceLevel.load() != 1) {
        std::this_thread::yield();
    }
    reportVersionCall("overtaking");
    reportLevel("overtaking.level");
    stapi::releaseLock(&stapi::traceLock);
    first.join();
    report("overtaken", overtaken);
    reportVersionCall("afterwards");
}

void dumpAsFirstTraceLine() {
    int32_t level = 0;
    report("first", getAPITraceLevel(&level));
    stapi::traceLevel.store(3);
    report("dump", dumpState());
}

void traceLockBeforeStartUp() {
    report("request.off", stapi::requestLock(&stapi::traceLock));
    stapi::traceLevel.store(1);
    report("request.on", stapi::requestLock(&stapi::traceLock));
    report("release.on", stapi::releaseLock(&stapi::traceLock));
    report("destroy.on", stapi::destroyLock(&stapi::traceLock));
}

void directStartUp() {
    report("init", stapi::stapiInit());
    report("again", stapi::stapiInit());
    report("trace.lock", stapi::lockState(&stapi::traceLock) == stapi::kLockInitialised ? 1 : 0);
    report("list.lock", stapi::lockState(&stapi::gtlLock) == stapi::kLockInitialised ? 1 : 0);
    report("stream", stapi::traceStream == stderr ? 1 : 0);
    report("name", std::string(stapi::statAPITraceFile) == "stderr" ? 1 : 0);
    report("version", std::string(stapi::apiVersion) == "1_1_0_1" ? 1 : 0);
    report("list", stapi::gtlHead == nullptr && stapi::gtlTail == nullptr ? 1 : 0);
    report("trace.again", stapi::traceInit());
    report("list.again", stapi::initGTL());
}

void tracedListSetUp() {
    stapi::stapiInit();
    stapi::traceLevel.store(3);
    report("list.again", stapi::initGTL());
    stapi::traceLevel.store(0);
}

void exportFirst(const std::string& name) {
    for (const ExportCall& each : everyExport()) {
        if (each.name == name) {
            report(name, each.call());
        }
    }
}

const std::map<std::string, std::function<void()>>& cases() {
    static const std::map<std::string, std::function<void()>> kTable = {
        {"first-call", firstCall},
        {"no-memory-then-success", noMemoryThenSuccess},
        {"every-export-without-memory", everyExportWithoutMemory},
        {"list-lock-first", listLockFirst},
        {"every-export-with-list-lock-first", everyExportWithListLockFirst},
        {"trace-lock-first", traceLockFirst},
        {"race-of-first-calls", raceOfFirstCalls},
        {"overtaken-first-call", overtakenFirstCall},
        {"dump-as-first-trace-line", dumpAsFirstTraceLine},
        {"trace-lock-before-start-up", traceLockBeforeStartUp},
        {"direct-start-up", directStartUp},
        {"traced-list-set-up", tracedListSetUp},
    };
    return kTable;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const std::string name = argumentCount > 1 ? arguments[1] : "";
    int exitCode = 0;
    if (name == "export-first" && argumentCount > 2) {
        exportFirst(arguments[2]);
    } else if (cases().count(name) == 1) {
        cases().at(name)();
    } else {
        std::fprintf(stderr, "start_up_probe: there is no case \"%s\"\n", name.c_str());
        exitCode = 2;
    }
    return exitCode;
}
