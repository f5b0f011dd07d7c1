// A clock that follows leap seconds; that of Windows does not, and its strftime refuses their number.
#include <gtest/gtest.h>

#include <vector>

#include "diag/stapi_zul_diag.h"
#include "fixed_clock.h"

namespace {

TEST(LeapSecond, IsStampedAsSecond60) {
    const FixedClock clock({30, 6, 2012, 23, 59, 60, 1});
    std::vector<char> stamp(stapi::kTimeStampArea, 'x');
    stapi::makeTimeStamp(stamp.data());
    EXPECT_STREQ(stamp.data(), "30/06/12 23:59:60:001");
}

}  // namespace
