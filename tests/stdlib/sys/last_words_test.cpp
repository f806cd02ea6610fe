// The fatal hook runs before a fault ends the process, a stack overflow included, and before a
// second request to end it does, when the loop has not got round to the first.
#include <gtest/gtest.h>
#include <unistd.h>

#include "stdlib/sys/signal.hpp"

namespace {

int deeper(int n) {
    volatile char frame[1024];
    frame[0] = (char)n;
    return n > (1 << 30) ? 0 : deeper(n + 1) + frame[0];
}

void ready(void (*install)()) {
    stdlib::signal_init();
    install();
    stdlib::set_fatal_hook([] { (void)!write(2, "restored\n", 9); });
}

}  // namespace

TEST(SysSignalDeathTest, FaultsAndARepeatedEndingSignalRunTheFatalHookThenTakeTheirCourse) {
    auto faults = [] { stdlib::signal_handle_faults(); };
    EXPECT_EXIT((ready(faults), _exit(deeper(0))), testing::KilledBySignal(SIGSEGV), "^restored\n$");
    EXPECT_EXIT((ready(faults), abort()), testing::KilledBySignal(SIGABRT), "^restored\n$");
    auto ending = [] { stdlib::signal_handle_ending(SIGTERM); };
    EXPECT_EXIT((ready(ending), raise(SIGTERM), stdlib::signal_received(SIGTERM) && raise(SIGTERM), _exit(3)),
                testing::KilledBySignal(SIGTERM), "^restored\n$");
}
