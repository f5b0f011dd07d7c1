// In every scenario every allocation, and every call into the platform layer, fails in turn.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "platform_faults.h"
#include "scenario_run.h"

namespace fault_test {

namespace {

using test_support::AllocationFault;
using Codes = std::vector<int32_t>;

bool isOpening(const std::string& function) {
    return function.starts_with("open");
}

// ---- What is documented ---------------------------------------------------------------------------------------------

Codes codesWithoutMemory(const std::string& function) {
    Codes codes;
    if (isOpening(function)) {
        codes = {STAPI_RC_NO_MEMORY, STAPI_RC_CONNECT_FAILED, STAPI_RC_BAD_EYECATCHER};
    } else if (isQuery(function)) {
        codes = {STAPI_RC_NO_MEMORY, STAPI_RC_BAD_EYECATCHER};
    } else if (function == "getIdQuery" || function == "copyResultSet") {
        codes = {STAPI_RC_NO_MEMORY};
    }
    return codes;
}

int32_t connectCode(Effect effect) {
    int32_t code = STAPI_RC_CONNECT_FAILED;
    if (effect == Effect::failsRefused) {
        code = STAPI_RC_CONNECT_REFUSED;
    } else if (effect == Effect::failsUnreachable) {
        code = STAPI_RC_HOST_UNREACHABLE;
    } else if (effect == Effect::timesOut) {
        code = STAPI_RC_CONNECT_TIMEOUT;
    }
    return code;
}

// Of the functions that open and ask. Handshake and authorisation belong to the connecting, the version does not.
Codes codesOfExchange(const std::string& function, int32_t code) {
    return isOpening(function) ? Codes{STAPI_RC_CONNECT_FAILED, code} : Codes{code};
}

Codes codesWithPlatformFault(const std::string& function, const PlatformFaultKind& kind) {
    Codes codes;
    const bool exchanges = isOpening(function) || isQuery(function);
    switch (kind.call) {
        case PlatformCall::resolve:
            codes = {STAPI_RC_HOST_UNKNOWN};
            break;
        case PlatformCall::createSocket:
        case PlatformCall::setOptions:
        case PlatformCall::setMode:
        case PlatformCall::connect:
        case PlatformCall::waitForConnect:
        case PlatformCall::pendingError:
            codes = {connectCode(kind.effect)};
            break;
        case PlatformCall::send:
            if (exchanges && kind.effect == Effect::breaksOff) {
                codes = codesOfExchange(function, STAPI_RC_BAD_EYECATCHER);
            } else if (exchanges && kind.effect != Effect::oneByte) {
                codes = codesOfExchange(function, STAPI_RC_SOCKET_ERROR);
            }
            break;
        case PlatformCall::waitReadable:
            if (exchanges) {
                codes = codesOfExchange(function, STAPI_RC_SOCKET_ERROR);
            }
            break;
        case PlatformCall::receive:
            if (exchanges && kind.effect != Effect::oneByte) {
                codes = codesOfExchange(function, STAPI_RC_BAD_EYECATCHER);
            }
            break;
        case PlatformCall::openFile:
            codes = {STAPI_RC_TRACE_FILE_FAILED};
            break;
        case PlatformCall::close:
        case PlatformCall::clock:
        case PlatformCall::describeError:
            break;
    }
    return codes;
}

const std::vector<PlatformFaultKind>& platformFaultKinds() {
    static const std::vector<PlatformFaultKind> kKinds = {
        {"host unknown", PlatformCall::resolve, Effect::resolverFails, false},
        {"resolver without the system", PlatformCall::resolve, Effect::fails, false},
        {"no socket", PlatformCall::createSocket, Effect::fails, false},
        {"no options", PlatformCall::setOptions, Effect::fails, false},
        {"no change of mode", PlatformCall::setMode, Effect::fails, false},
        {"connect fails", PlatformCall::connect, Effect::fails, false},
        {"connect unreachable", PlatformCall::connect, Effect::failsUnreachable, false},
        {"connect refused", PlatformCall::connect, Effect::failsRefused, false},
        {"connect wait fails", PlatformCall::waitForConnect, Effect::fails, false},
        {"connect wait refused", PlatformCall::waitForConnect, Effect::failsRefused, false},
        {"connect wait times out", PlatformCall::waitForConnect, Effect::timesOut, false},
        {"connect ends badly", PlatformCall::pendingError, Effect::fails, false},
        {"connect ends unreachable", PlatformCall::pendingError, Effect::failsUnreachable, false},
        {"connect ends refused", PlatformCall::pendingError, Effect::failsRefused, false},
        {"connect's end not told", PlatformCall::pendingError, Effect::cannotTell, false},
        {"send fails", PlatformCall::send, Effect::fails, false},
        {"all sends fail", PlatformCall::send, Effect::fails, true},
        {"send of nothing", PlatformCall::send, Effect::nothing, false},
        {"all sends of nothing", PlatformCall::send, Effect::nothing, true},
        {"send of one byte", PlatformCall::send, Effect::oneByte, false},
        {"all sends of one byte", PlatformCall::send, Effect::oneByte, true},
        {"send breaks off", PlatformCall::send, Effect::breaksOff, false},
        {"wait fails", PlatformCall::waitReadable, Effect::fails, false},
        {"all waits fail", PlatformCall::waitReadable, Effect::fails, true},
        {"receive fails", PlatformCall::receive, Effect::fails, false},
        {"all receives fail", PlatformCall::receive, Effect::fails, true},
        {"stream ends", PlatformCall::receive, Effect::nothing, false},
        {"all streams end", PlatformCall::receive, Effect::nothing, true},
        {"receive of one byte", PlatformCall::receive, Effect::oneByte, false},
        {"close fails", PlatformCall::close, Effect::reportsFailure, false},
        {"all closes fail", PlatformCall::close, Effect::reportsFailure, true},
        {"clock of zeros", PlatformCall::clock, Effect::nothing, false},
        {"no file", PlatformCall::openFile, Effect::fails, false},
        {"all files missing", PlatformCall::openFile, Effect::fails, true},
        {"no text of an error", PlatformCall::describeError, Effect::nothing, false},
    };
    return kKinds;
}

// These are tried from the first call on only: a scenario that is traced reads the clock, and receives byte by byte,
// some hundred times.
const std::vector<PlatformFaultKind>& lastingFaultKinds() {
    static const std::vector<PlatformFaultKind> kKinds = {
        {"all receives of one byte", PlatformCall::receive, Effect::oneByte, true},
        {"clock of zeros always", PlatformCall::clock, Effect::nothing, true},
        {"clock of minus ones always", PlatformCall::clock, Effect::minusOnes, true},
        {"clock far away always", PlatformCall::clock, Effect::farAway, true},
    };
    return kKinds;
}

// ---- Sweeps ---------------------------------------------------------------------------------------------------------

// The smallest numbers of points that a sweep may have, by scenario and sweep.
std::map<std::string, int64_t> recordedFloors() {
    std::map<std::string, int64_t> floors;
    std::ifstream table(TEST_DATA_FOLDER "/fault_points.tsv");
    std::string line;
    std::getline(table, line);  // the headings
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string scenario;
        std::string sweep;
        int64_t points = 0;
        if (fields >> scenario >> sweep >> points) {
            floors[scenario + "/" + sweep] = points;
        }
    }
    return floors;
}

int64_t totalPoints = 0;

// Tells the points of this program's sweeps at its end.
class Total : public testing::Environment {
  public:
    void TearDown() override {
        if (totalPoints > 0) {
            std::printf("[  POINTS  ] %lld in all\n", static_cast<long long>(totalPoints));
        }
    }
};

testing::Environment* const kTotal = testing::AddGlobalTestEnvironment(new Total);

class FaultSweep : public testing::TestWithParam<Scenario> {
  protected:
    void SetUp() override {
        // What the library sets up once stays, and is no leak.
        ASSERT_EQ(setAPITraceLevel(0), STAPI_RC_OK);
        descriptorsBefore_ = openDescriptors();
    }
    void TearDown() override {
        EXPECT_EQ(openDescriptors(), descriptorsBefore_) << "files or sockets were left open";
    }

    void finishSweep(const std::string& sweep, int64_t points) {
        const std::string name = GetParam().name + "/" + sweep;
        std::printf("[  POINTS  ] %s\t%lld\n", name.c_str(), static_cast<long long>(points));
        RecordProperty("points", static_cast<int>(points));
        totalPoints += points;
        const std::map<std::string, int64_t> floors = recordedFloors();
        ASSERT_EQ(floors.count(name), 1U) << "fault_points.tsv has no such sweep";
        EXPECT_GE(points, floors.at(name)) << "fewer points than recorded in fault_points.tsv";
    }

    void sweepAllocations(bool andAllLater) {
        ScenarioStage stage(GetParam());
        int64_t points = -1;  // the last run is one without a strike
        int64_t strikes = 1;
        while (strikes > 0 && !HasFailure()) {
            ++points;
            SCOPED_TRACE("allocation " + std::to_string(points + 1));
            strikes = stage.play([points, andAllLater] {
                const auto fault = std::make_shared<AllocationFault>(points + 1, andAllLater);
                return std::make_shared<FaultView>(
                    FaultView{[fault] { return fault->strikes(); }, codesWithoutMemory, false});
            });
        }
        finishSweep(andAllLater ? "allocations_from_then_on" : "allocations", points);
    }

    static int64_t playUnder(ScenarioStage* stage, const PlatformFaultKind& kind, int64_t n) {
        return stage->play([&kind, n] {
            const auto fault = std::make_shared<PlatformFault>(kind, n);
            const bool cuts = kind.call == PlatformCall::receive && kind.effect == Effect::nothing;
            return std::make_shared<FaultView>(FaultView{
                [fault] { return fault->strikes(); },
                [&kind](const std::string& function) { return codesWithPlatformFault(function, kind); }, cuts});
        });
    }

    // Every call of the kind in turn; the number of points.
    static int64_t sweepKind(ScenarioStage* stage, const PlatformFaultKind& kind) {
        int64_t points = -1;
        int64_t strikes = 1;
        while (strikes > 0 && !HasFailure()) {
            ++points;
            SCOPED_TRACE(std::string(kind.name) + ", call " + std::to_string(points + 1));
            strikes = playUnder(stage, kind, points + 1);
        }
        return points;
    }

    void sweepPlatform() {
        ScenarioStage stage(GetParam());
        int64_t points = 0;
        for (const PlatformFaultKind& kind : platformFaultKinds()) {
            points += sweepKind(&stage, kind);
        }
        for (const PlatformFaultKind& kind : lastingFaultKinds()) {
            SCOPED_TRACE(kind.name);
            points += playUnder(&stage, kind, 1) > 0 ? 1 : 0;
        }
        finishSweep("platform_calls", points);
    }

  private:
    size_t descriptorsBefore_ = 0;
};

TEST_P(FaultSweep, EveryAllocationFailsOnce) {
    sweepAllocations(false);
}

TEST_P(FaultSweep, EveryAllocationFailsAndAllLaterOnes) {
    sweepAllocations(true);
}

TEST_P(FaultSweep, EveryPlatformCallFails) {
    sweepPlatform();
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultSweep, testing::ValuesIn(scenarios()),
                         [](const testing::TestParamInfo<Scenario>& tested) { return tested.param.name; });

TEST(FaultSweeps, CallEveryExportedFunction) {
    std::set<std::string> called;
    for (const Scenario& scenario : scenarios()) {
        for (const Step& step : scenario.steps) {
            std::istringstream functions(step.functions);
            for (std::string function; functions >> function;) {
                called.insert(function);
            }
        }
    }
    std::ifstream exports(EXPORT_LIST);
    std::set<std::string> exported;
    for (std::string line; std::getline(exports, line);) {
        if (!line.empty() && line.front() != '#') {
            exported.insert(line);
        }
    }
    EXPECT_EQ(exported.size(), 23U);
    EXPECT_EQ(called, exported);
}

TEST(FaultSweeps, AreRecordedForEveryScenarioAndNothingElse) {
    std::set<std::string> expected;
    for (const Scenario& scenario : scenarios()) {
        for (const char* sweep : {"allocations", "allocations_from_then_on", "platform_calls"}) {
            expected.insert(scenario.name + "/" + sweep);
        }
    }
    std::set<std::string> recorded;
    for (const auto& [name, points] : recordedFloors()) {
        recorded.insert(name);
    }
    EXPECT_EQ(recorded, expected);
}

}  // namespace

}  // namespace fault_test
