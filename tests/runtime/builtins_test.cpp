#include "runtime/builtins.hpp"

#include <gtest/gtest.h>
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

}  // namespace
