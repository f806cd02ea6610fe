// A program on the framework hands the terminal to a child and takes it back.
#include "harness.hpp"

TEST(Handover, TheChildGetsThePlainTerminalItsExitCodeComesBackAndBadProgramsLeaveTheScreen) {
    e2e::TempDir dir;
    const std::string data = (dir.path() / "data.txt").string();
    e2e::write_file(data, "not a program\n");
    std::string script = "printf 'child on the main screen\\n'; read line; exit 3";
    e2e::Session s(E2E_PROG_HANDOVER, e2e::Options().with_size(60, 12).with_args({data, "/bin/sh", "-c", script}));
    ASSERT_TRUE(s.wait_text(" ready"));
    ASSERT_TRUE(s.alt_screen());
    s.send(e2e::keys::ctrl('r'));
    ASSERT_TRUE(s.wait_text("child on the main screen"));
    EXPECT_FALSE(s.alt_screen());
    EXPECT_TRUE(s.cursor_visible());
    EXPECT_TRUE(s.modes().c_lflag & ICANON) << "cooked mode while the child runs";
    s.send("\r");
    ASSERT_TRUE(s.wait_text(" exit 3"));
    EXPECT_TRUE(s.alt_screen());
    EXPECT_FALSE(s.modes().c_lflag & ICANON) << "raw mode again";
    EXPECT_EQ(s.row_text(1), "") << "the frame was repainted whole";

    // A file that is no program, then none at all: an error each, the terminal untouched.
    size_t before = s.output().size();
    s.send(e2e::keys::ctrl('e'));
    ASSERT_TRUE(s.wait_text(" yield_exec: not executable: " + data.substr(0, 20)));
    std::filesystem::remove(data);
    s.send(e2e::keys::ctrl('e'));
    ASSERT_TRUE(s.wait_text(" yield_exec: no such file: " + data.substr(0, 20)));
    EXPECT_EQ(s.output().find("\x1b[?1049l", before), std::string::npos);
    EXPECT_TRUE(s.alt_screen());
    s.send(e2e::keys::ctrl('q'));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
}
