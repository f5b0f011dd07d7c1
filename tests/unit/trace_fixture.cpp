#include "trace_fixture.h"

#include <array>
#include <cinttypes>
#include <cstdio>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"

void TraceTest::SetUp() {
    int32_t level = 0;
    ASSERT_EQ(getAPITraceLevel(&level), STAPI_RC_OK);
    resetTrace();
}

void TraceTest::TearDown() {
    resetTrace();
}

void TraceTest::traceToFile(int32_t level) {
    setLevelSilently(0);
    ASSERT_EQ(setAPITraceFile(file_.path().c_str()), STAPI_RC_OK);
    setLevelSilently(level);
}

void TraceTest::setLevelSilently(int32_t level) {
    stapi::traceLevel.store(level);
}

std::string TraceTest::traced() const {
    return file_.content();
}

void TraceTest::resetTrace() {
    setLevelSilently(0);
    setAPITraceFile(nullptr);
    stapi::traceBannerWritten = 0;
}

std::string tracedPointer(const void* pointer) {
    std::array<char, 32> digits = {};
    std::snprintf(digits.data(), digits.size(), "%016" PRIXPTR, reinterpret_cast<uintptr_t>(pointer));
    return digits.data();
}

std::string hexWord(uint32_t value) {
    std::array<char, 16> digits = {};
    std::snprintf(digits.data(), digits.size(), "%08" PRIX32, value);
    return digits.data();
}

std::string dumpLineStart(const void* address) {
    return "0x" + hexWord(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address))) + ": ";
}
