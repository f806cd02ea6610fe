// Whatever ends noltide, the terminal comes back as it was found.
#include <signal.h>
#include <string.h>
#include <sys/resource.h>

#include "harness.hpp"

class Ended : public testing::TestWithParam<int> {};

TEST_P(Ended, BySignalTheTerminalIsRestoredAndTheSignalTakesItsCourse) {
    struct rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    e2e::Session s(NOLTIDE_BIN);
    ASSERT_TRUE(s.wait_text("noltide 0.1.0"));
    ::kill(s.pid(), GetParam());
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), GetParam() == SIGHUP ? e2e::ExitStatus::exited(0) : e2e::ExitStatus::killed(GetParam()));
    const std::string restore = "\033[?1006l\033[?1002l\033[?1000l\033[?2004l\033[0m\033[2J\033[1;1H\033[?1049l\033[0m\033[?25h";
    EXPECT_TRUE(s.output().ends_with(restore));
    EXPECT_TRUE(!s.alt_screen() && s.cursor_visible());
    EXPECT_TRUE(s.modes_as_found());
}

INSTANTIATE_TEST_SUITE_P(Signals, Ended,
                         testing::Values(SIGHUP, SIGTERM, SIGINT, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF,
                                         SIGXCPU, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT),
                         [](const testing::TestParamInfo<int>& info) { return std::string(sigabbrev_np(info.param)); });
