#include "runtime/builtins.hpp"

#include <gtest/gtest.h>
#include <math.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>

namespace {

TEST(Builtins, ClocksAgreeAndSleepSurvivesSignals) {
    int64_t millis = nolt_time_millis();
    EXPECT_LE(llabs(millis / 1000 - nolt_time()), 1);
    EXPECT_GE(nolt_time_subsec_millis(), 0);
    EXPECT_LT(nolt_time_subsec_millis(), 1000);
    EXPECT_EQ(nolt_clocks_per_sec(), 1000000);

    // An interval timer interrupts the sleep every 5 ms; the sleep still lasts its full 60 ms.
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    itimerval every{{0, 5000}, {0, 5000}};
    setitimer(ITIMER_REAL, &every, nullptr);
    timespec before, after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    nolt_sleep_millis(60);
    nolt_sleep_millis(0);
    nolt_sleep_micros(-1);
    clock_gettime(CLOCK_MONOTONIC, &after);
    itimerval off{};
    setitimer(ITIMER_REAL, &off, nullptr);
    int64_t slept_us = (after.tv_sec - before.tv_sec) * 1000000 + (after.tv_nsec - before.tv_nsec) / 1000;
    EXPECT_GE(slept_us, 60000);
}

TEST(Builtins, LocalOffsetFollowsTheZone) {
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(nolt_local_offset_at(0), 0);
    setenv("TZ", "XST-5:30", 1);  // five and a half hours east, across midnight at 20:00 UTC
    tzset();
    EXPECT_EQ(nolt_local_offset_at(20 * 3600), 19800);
    setenv("TZ", "YST10", 1);  // ten hours west, back into the previous year at 1970-01-01 05:00
    tzset();
    EXPECT_EQ(nolt_local_offset_at(5 * 3600), -36000);
}

TEST(Builtins, FloatConversionsAndBitViews) {
    EXPECT_EQ(float_to_int(-2.7), -2);
    EXPECT_EQ(float_to_int_floor(-2.2), -3);
    EXPECT_EQ(float_to_int_ceil(2.2), 3);
    EXPECT_EQ(float_to_int_round(2.5), 3);
    EXPECT_EQ(float_to_int(NAN), 0);
    EXPECT_EQ(float_to_int(1e300), INT64_MAX);
    EXPECT_EQ(nolt_int_to_float(-3), -3.0);
    EXPECT_EQ(nolt_float64_to_bits(1.0), 0x3FF0000000000000u);
    EXPECT_EQ(nolt_float32_to_bits(nolt_bits_to_float32(0x40490FDB)), 0x40490FDBu);
    EXPECT_EQ(nolt_float64_exponent(1.0), 1023);
    EXPECT_EQ(nolt_float64_sign(-0.0), 1);
    EXPECT_EQ(nolt_float64_mantissa(1.5), uint64_t(1) << 51);
    EXPECT_EQ(nolt_make_float64(1, 1024, uint64_t(1) << 51), -3.0);
    EXPECT_EQ(nolt_bits_to_float64(nolt_float64_to_bits(-123.25)), -123.25);
}

}  // namespace
