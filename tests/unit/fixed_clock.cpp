#include "fixed_clock.h"

#include <optional>

#include "platform/platform.h"

namespace {

std::optional<stapi::platform::LocalTime> fixedTime;

}  // namespace

extern "C" {

// Names that the linker's wrapping prescribes; behind them stands stapi::platform::currentLocalTime().
stapi::platform::LocalTime __real__ZN5stapi8platform16currentLocalTimeEv();  // NOLINT(bugprone-reserved-identifier)
stapi::platform::LocalTime __wrap__ZN5stapi8platform16currentLocalTimeEv();  // NOLINT(bugprone-reserved-identifier)

stapi::platform::LocalTime __wrap__ZN5stapi8platform16currentLocalTimeEv() {
    return fixedTime ? *fixedTime : __real__ZN5stapi8platform16currentLocalTimeEv();
}

}  // extern "C"

FixedClock::FixedClock(const ClockReading& reading) {
    set(reading);
}

FixedClock::~FixedClock() {
    fixedTime.reset();
}

void FixedClock::set(const ClockReading& reading) {
    stapi::platform::LocalTime time = {};
    time.calendar.tm_mday = reading.day;
    time.calendar.tm_mon = reading.month - 1;
    time.calendar.tm_year = reading.year - 1900;
    time.calendar.tm_hour = reading.hour;
    time.calendar.tm_min = reading.minute;
    time.calendar.tm_sec = reading.second;
    time.milliseconds = reading.millisecond;
    fixedTime = time;
}
