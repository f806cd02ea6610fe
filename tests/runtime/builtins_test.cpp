#include "runtime/builtins.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <tuple>

TEST(Builtins, ClocksAgreeAndTheLocalOffsetFollowsTheZone) {
    EXPECT_LE(llabs(nolt_time_millis() / 1000 - nolt_time()), 1);
    int32_t subsec = nolt_time_subsec_millis();
    EXPECT_TRUE(subsec >= 0 && subsec < 1000) << subsec;
    // Five and a half hours east across midnight at 20:00 UTC; ten hours west, back into the
    // previous year, at 1970-01-01 05:00.
    const std::tuple<const char*, int64_t, int32_t> zones[] = {
        {"UTC", 0, 0}, {"XST-5:30", 20 * 3600, 19800}, {"YST10", 5 * 3600, -36000}};
    for (auto& [zone, at, offset] : zones) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(nolt_local_offset_at(at), offset) << zone;
    }
}
