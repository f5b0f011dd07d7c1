// Makes the library's clock stand still.
#ifndef ZULSTATS_TESTS_UNIT_FIXED_CLOCK_H
#define ZULSTATS_TESTS_UNIT_FIXED_CLOCK_H

#include <cstdint>

struct ClockReading {
    int32_t day;
    int32_t month;
    int32_t year;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
};

// While it lives, the local time of the whole process is this one, for the library.
class FixedClock {
  public:
    explicit FixedClock(const ClockReading& reading);
    ~FixedClock();
    FixedClock(const FixedClock&) = delete;
    FixedClock& operator=(const FixedClock&) = delete;

    void set(const ClockReading& reading);
};

#endif
