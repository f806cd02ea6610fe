// The noltide binary, run as a user would start it.
#include "harness.hpp"

TEST(Noltide, StopsWithoutATerminal) {
    auto r = e2e::run_piped(NOLTIDE_BIN);
    EXPECT_EQ(r.out, "noltide: not a TTY\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, e2e::ExitStatus::exited(1));
    EXPECT_FALSE(r.timed_out);
}

TEST(Noltide, RunsInATerminal) {
    e2e::Session s(NOLTIDE_BIN);
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
    EXPECT_EQ(s.output().find("not a TTY"), std::string::npos);
}
