// Plays the very first call into the library under a fault, and prints what came of it, and of the calls that follow
// without the fault, as lines of "name value" on standard output. The library's own words go to standard error.
//   start_up_fault_probe FAULT N PORT
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "allocation_faults.h"
#include "api/zulstats64.h"
#include "diag/stapi_zul_lock.h"
#include "impl/stapi_zul_impl.h"
#include "platform_faults.h"

namespace {

using fault_test::Effect;
using fault_test::PlatformCall;
using fault_test::PlatformFault;
using fault_test::PlatformFaultKind;
using test_support::AllocationFault;

// Locks that somebody else has set up, or that cannot be.
int64_t lockCountdown = 0;
bool allLocksFail = false;
int64_t lockStrikes = 0;
// The socket layer, which a program that loads the library starts with it.
bool socketLayerFails = false;
int64_t socketLayerStrikes = 0;

}  // namespace

// Names that the linker's wrapping prescribes.
int32_t realInitializeLock(stapi::LockRecord* lock) __asm__("__real__ZN5stapi14initializeLockEPNS_10LockRecordE");
int32_t wrappedInitializeLock(stapi::LockRecord* lock) __asm__("__wrap__ZN5stapi14initializeLockEPNS_10LockRecordE");
int32_t realStartSocketLayer() __asm__("__real__ZN5stapi8platform16startSocketLayerEv");
int32_t wrappedStartSocketLayer() __asm__("__wrap__ZN5stapi8platform16startSocketLayerEv");

int32_t wrappedInitializeLock(stapi::LockRecord* lock) {
    bool fails = allLocksFail && lockStrikes > 0;
    if (lockCountdown > 0) {
        --lockCountdown;
        fails = fails || lockCountdown == 0;
    }
    lockStrikes += fails ? 1 : 0;
    return fails ? 1 : realInitializeLock(lock);
}

int32_t wrappedStartSocketLayer() {
    constexpr int32_t kNotReady = 10091;
    socketLayerStrikes += socketLayerFails ? 1 : 0;
    return socketLayerFails ? kNotReady : realStartSocketLayer();
}

namespace {

void report(const char* name, int64_t value) {
    std::printf("%s %lld\n", name, static_cast<long long>(value));
}

// What a fault needs while it lasts; calling it gives the number of strikes.
using Strikes = std::function<int64_t()>;

Strikes setUpFault(const std::string& name, int64_t n) {
    Strikes strikes;
    if (name == "allocation" || name == "allocations") {
        const auto fault = std::make_shared<AllocationFault>(n, name == "allocations");
        strikes = [fault] { return fault->strikes(); };
    } else if (name == "lock" || name == "locks") {
        lockCountdown = n;
        allLocksFail = name == "locks";
        strikes = [] { return lockStrikes; };
    } else if (name == "socket_layer") {
        socketLayerFails = true;
        strikes = [] { return socketLayerStrikes; };
    } else {
        lockCountdown = 2;  // a failure that is traced
        static const std::map<std::string, Effect> kClocks = {{"clock_of_zeros", Effect::nothing},
                                                              {"clock_of_minus_ones", Effect::minusOnes},
                                                              {"clock_far_away", Effect::farAway}};
        static PlatformFaultKind kind = {};
        kind = {"clock", PlatformCall::clock, kClocks.at(name), true};
        const auto fault = std::make_shared<PlatformFault>(kind, n);
        strikes = [fault] { return fault->strikes(); };
    }
    return strikes;
}

void endFault() {
    lockCountdown = 0;
    allLocksFail = false;
    socketLayerFails = false;
}

void reportUse(int port) {
    char* version = nullptr;
    report("version", getStatsAPIVersion(&version));
    report("version_stored", version != nullptr ? 1 : 0);
    int32_t level = -1;
    report("level_code", getAPITraceLevel(&level));
    report("level", level);
    GatewayToken* token = nullptr;
    ResultSetToken* result = nullptr;
    report("open", openGatewayConnection(port, &token, &version));
    report("query", getStatIds(token, &result));
    report("close", closeGatewayConnection(&token));
    report("dump", dumpState());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4) {
        std::fprintf(stderr, "usage: start_up_fault_probe FAULT N PORT\n");
        return 2;
    }
    {
        Strikes strikes = setUpFault(arguments[1], std::atoll(arguments[2]));
        stapi::libraryLoaded();
        char* version = nullptr;
        report("first", getStatsAPIVersion(&version));
        report("first_stored", version != nullptr ? 1 : 0);
        report("strikes", strikes());
    }
    endFault();
    stapi::libraryLoaded();
    const test_support::AllocationLedger blocks;
    reportUse(std::atoi(arguments[3]));
    report("outstanding", blocks.outstanding());
    return 0;
}
