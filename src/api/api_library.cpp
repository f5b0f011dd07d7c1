// The exported functions that deal with the library itself.
#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "gateway/stapi_zul_gwytok.h"
#include "impl/stapi_zul_impl.h"

using stapi::at;

namespace {

struct DestinationName {
    char text[stapi::kTraceFileNameArea];
};

DestinationName currentDestination() {
    DestinationName name = {};
    stapi::copyTraceDestination(name.text);
    return name;
}

int32_t currentLevel() {
    return stapi::traceLevel.load(std::memory_order_relaxed);
}

void traceSwitchOutcome(const char* traceFile, const stapi::TraceSwitch& outcome) {
    if (outcome.failed) {
        TRACE_EXC(
            1100,
            "API.setAPITraceFile(%s) file append failed with errno=%d. Trace file destination is unchanged. Filename=%s\n",
            traceFile, outcome.error, currentDestination().text);
    } else if (outcome.switched) {
        TRACE_DEBUG(1098, "API.setAPITraceFile() Trace file switched to new destination. Filename=%s\n",
                    currentDestination().text);
    } else {
        TRACE_DEBUG(1099, "API.setAPITraceFile() Trace file destination is unchanged. Filename=%s\n",
                    currentDestination().text);
    }
}

}  // namespace

int32_t getStatsAPIVersion(char** apiVersPtr) {
    int32_t rc = stapi::stapiInit();
    const char* version = nullptr;
    TRACE_ENTRY(1088, "API.getStatsAPIVersion(&apiVersPtr=%p)\n", at(apiVersPtr));
    if (rc == STAPI_RC_OK && apiVersPtr == nullptr) {
        TRACE_EXC(1089, "API.getStatsAPIVersion() Supplied pointer is NULL\n");
        rc = STAPI_RC_NULL_POINTER;
    }
    if (rc == STAPI_RC_OK) {
        *apiVersPtr = stapi::apiVersion;
        version = stapi::apiVersion;
    }
    TRACE_EXIT(1090, "API.getStatsAPIVersion(apiVersPtr=%p), rc=%d\n", at(version), rc);
    return rc;
}

int32_t getAPITraceLevel(int32_t* traceStatePtr) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1091, "API.getAPITraceLevel(traceStatePtr=%p)\n", at(traceStatePtr));
    if (rc == STAPI_RC_OK && traceStatePtr == nullptr) {
        TRACE_EXC(1092, "API.getAPITraceLevel() Supplied pointer is NULL\n");
        rc = STAPI_RC_NULL_POINTER;
    }
    if (rc == STAPI_RC_OK) {
        *traceStatePtr = currentLevel();
    }
    TRACE_EXIT(1093, "API.getAPITraceLevel(traceStatePtr=%p) rc=%d\n", at(traceStatePtr), rc);
    return rc;
}

int32_t setAPITraceLevel(int32_t traceState) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1094, "API.setAPITraceLevel(traceState=%d) current trace level=%d\n", traceState, currentLevel());
    if (rc == STAPI_RC_OK && (traceState < stapi::kLowestTraceLevel || traceState > stapi::kHighestTraceLevel)) {
        TRACE_EXC(1095, "API.setAPITraceLevel() Supplied trace state value %d was invalid\n", traceState);
        rc = STAPI_RC_BAD_TRACE_LEVEL;
    }
    if (rc == STAPI_RC_OK) {
        stapi::changeTraceLevel(traceState);
    }
    TRACE_EXIT(1096, "API.setAPITraceLevel(traceState=%d) new trace level=%d rc=%d\n", traceState, currentLevel(), rc);
    return rc;
}

int32_t setAPITraceFile(const char* traceFile) {
    int32_t rc = stapi::stapiInit();
    TRACE_ENTRY(1097, "API.setAPITraceFile(traceFile=%p) current trace destination=%s\n", at(traceFile),
                currentDestination().text);
    if (rc == STAPI_RC_OK) {
        const stapi::TraceSwitch outcome = stapi::switchTraceDestination(traceFile);
        rc = outcome.failed ? STAPI_RC_TRACE_FILE_FAILED : STAPI_RC_OK;
        traceSwitchOutcome(traceFile, outcome);
    }
    TRACE_EXIT(1101, "API.setAPITraceFile(traceFile=%p) new trace destination=%s rc=%d\n", at(traceFile),
               currentDestination().text, rc);
    return rc;
}

int32_t dumpState(void) {
    const int32_t rc = stapi::stapiInit();
    TRACE_ENTRY_STALE_TIME(1106, "API.dumpState()\n");
    if (rc == STAPI_RC_OK) {
        stapi::writeTraceDirect("zulstats state dump: API Version=%s Trace Level=%d statAPITraceFile=%s\n",
                                stapi::kApiVersion, currentLevel(), currentDestination().text);
        stapi::dumpGatewayTokens();
    }
    TRACE_EXIT(1107, "API.dumpState()\n");
    return rc;
}
