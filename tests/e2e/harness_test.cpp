// The harness against small programs whose screens and exits are known.
#include "harness.hpp"

#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>

#include <fstream>

using e2e::Color;
using e2e::ExitStatus;
using e2e::Millis;
using e2e::Session;
using ::testing::HasSubstr;

namespace {

// True once the process is gone or only a zombie; kill() is not instant.
bool process_dies(pid_t pid) {
    for (int i = 0; i < 200; ++i) {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string line;
        if (!std::getline(stat, line)) return true;
        auto paren = line.rfind(')');
        if (paren != std::string::npos && line.substr(paren + 2, 1) == "Z") return true;
        usleep(10000);
    }
    return false;
}

}  // namespace

// One smoke test of reading the screen and sending keys; the IDE's tests use the rest.
TEST(Harness, ReadsTheScreenSendsKeysAndReportsTheExit) {
    Session s(E2E_PROG_PAINT, e2e::Options().with_size(40, 10));
    ASSERT_TRUE(s.wait_screen("\nplain\n  bold red\nunder rev ital\n漢字x é\ncpr=4;8\n> ▏\n"));
    EXPECT_TRUE(s.alt_screen());
    EXPECT_EQ(s.cell(1, 2).fg, Color::indexed(1));
    EXPECT_TRUE(s.cell(1, 2).bold);
    EXPECT_EQ(s.cell(2, 6).bg, Color::rgb(10, 20, 30));
    EXPECT_EQ(s.cell(3, 2).text, "字");
    s.send(std::string(e2e::keys::left) + e2e::keys::mouse(4, 9) + e2e::keys::paste("p"));
    ASSERT_TRUE(s.wait_text("> ^[[D^[[<0;10;5M^[[200~p^[[201~"));
    s.resize(50, 12);
    s.send("#");
    ASSERT_TRUE(s.wait_text("^[[201~[50x12]"));

    s.send("q3");
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), ExitStatus::exited(3));
    EXPECT_FALSE(s.alt_screen());
    // A wait on a program that has ended fails at once, with the screen to look at.
    auto r = s.wait_screen("before\nbye!", Millis(60000));
    EXPECT_FALSE(r);
    EXPECT_THAT(r.message(), HasSubstr("the program ended (exit code 3)"));
}

TEST(Harness, KillsAHungProgramAndItsChildren) {
    pid_t child = 0;
    std::filesystem::path home;
    {
        Session s(E2E_PROG_HANG);
        ASSERT_TRUE(s.wait_text(" hangs"));
        child = atoi(s.row_text(1).substr(6).c_str());
        ASSERT_GT(child, 0);
        auto start = std::chrono::steady_clock::now();
        auto r = s.wait_text("never there", Millis(200));
        EXPECT_LT(std::chrono::steady_clock::now() - start, e2e::kDefaultTimeout * e2e::timeout_scale());
        EXPECT_FALSE(r);
        EXPECT_THAT(r.message(), HasSubstr("timed out after"));
        EXPECT_EQ(s.exit_status(), ExitStatus::killed(SIGKILL));
        EXPECT_TRUE(process_dies(child));
    }
    {
        // The destructor does the same to a program left running, and removes its home.
        Session s(E2E_PROG_HANG);
        ASSERT_TRUE(s.wait_text(" hangs"));
        child = atoi(s.row_text(1).substr(6).c_str());
        home = s.home();
    }
    EXPECT_TRUE(process_dies(child));
    EXPECT_FALSE(std::filesystem::exists(home));

    auto r = e2e::run_piped(E2E_PROG_HANG, {}, "", Millis(200));
    EXPECT_TRUE(r.timed_out);
    EXPECT_EQ(r.status, ExitStatus::killed(SIGKILL));
}

// A program on the framework hands the terminal to a child and takes it back.
TEST(Handover, TheChildGetsThePlainTerminalAndItsExitCodeComesBack) {
    e2e::TempDir dir;
    e2e::write_file(dir.path() / "data.txt", "not a program\n");
    std::string script = "printf 'child on the main screen\\n'; read line; exit 3";
    e2e::Session s(E2E_PROG_HANDOVER, e2e::Options().with_size(60, 12).with_args(
                                          {(dir.path() / "data.txt").string(), "/bin/sh", "-c", script}));
    ASSERT_TRUE(s.wait_text(" ready"));
    ASSERT_TRUE(s.alt_screen());
    s.send(e2e::keys::ctrl('r'));
    ASSERT_TRUE(s.wait_text("child on the main screen"));
    EXPECT_FALSE(s.alt_screen());
    EXPECT_TRUE(s.cursor_visible());
    termios during = s.modes();
    EXPECT_TRUE(during.c_lflag & ICANON) << "cooked mode while the child runs";
    s.send("\r");
    ASSERT_TRUE(s.wait_text(" exit 3"));
    EXPECT_TRUE(s.alt_screen());
    EXPECT_FALSE(s.modes().c_lflag & ICANON) << "raw mode again";
    EXPECT_EQ(s.row_text(1), "") << "the frame was repainted whole";

    s.send(e2e::keys::ctrl('e'));  // a file that is no program: an error, the terminal untouched
    std::string before = s.output();
    ASSERT_TRUE(s.wait_text(" yield_exec: not executable: " + (dir.path() / "data.txt").string().substr(0, 20)));
    EXPECT_EQ(s.output().find("\x1b[?1049l", before.size()), std::string::npos);
    EXPECT_TRUE(s.alt_screen());
    s.send(e2e::keys::ctrl('q'));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
}

TEST(Handover, AMissingProgramIsReportedWithoutLeavingTheScreen) {
    e2e::Session s(E2E_PROG_HANDOVER, e2e::Options().with_size(60, 12).with_args({"x", "/no/such/program"}));
    ASSERT_TRUE(s.wait_text(" ready"));
    s.send(e2e::keys::ctrl('r'));
    ASSERT_TRUE(s.wait_text(" yield_exec: no such file: /no/such/program"));
    EXPECT_TRUE(s.alt_screen());
    EXPECT_EQ(s.output().find("\x1b[?1049l"), std::string::npos);
}
