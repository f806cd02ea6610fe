// The noltide binary, run as a user would start it.
#include <string.h>

#include "harness.hpp"

bool same_modes(const termios& a, const termios& b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag && a.c_lflag == b.c_lflag &&
           memcmp(a.c_cc, b.c_cc, sizeof a.c_cc) == 0;
}

TEST(Noltide, TakesTheScreenPaintsTheDesktopAndGivesTheTerminalBackOnAltQ) {
    e2e::Session s(NOLTIDE_BIN, e2e::Options().with_size(90, 26).with_env("COLORTERM", "truecolor"));
    ASSERT_TRUE(s.wait_for([&] { return s.alt_screen() && s.cell(24, 89).bg == e2e::Color::rgb(0, 0, 170); }));
    // The open sequence comes first, in its order, before any frame.
    EXPECT_EQ(s.output().rfind("\033[?1049h\033[2J\033[1;1H\033[?25l\033[?1000h\033[?1002h\033[?1006h\033[?2004h", 0), 0u);
    for (int row : {1, 12, 24}) EXPECT_EQ(s.row_text(row), "") << row;
    EXPECT_EQ(s.cell(12, 0).bg, (e2e::Color::rgb(0, 0, 170)));
    EXPECT_FALSE(s.cursor_visible());
    EXPECT_FALSE(same_modes(s.modes(), e2e::Session::fresh_modes())) << "raw mode while running";

    s.send(e2e::keys::alt_char('q'));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
    EXPECT_FALSE(s.alt_screen());
    EXPECT_TRUE(s.cursor_visible());
    EXPECT_TRUE(same_modes(s.modes(), e2e::Session::fresh_modes())) << "line settings restored exactly";
    EXPECT_EQ(s.output().find("not a TTY"), std::string::npos);
}

TEST(Noltide, RepaintsAtTheTerminalsNewSize) {
    e2e::Session s(NOLTIDE_BIN, e2e::Options().with_size(40, 10).with_env("COLORTERM", "truecolor"));
    ASSERT_TRUE(s.wait_for([&] { return s.cell(8, 39).bg == e2e::Color::rgb(0, 0, 170); }));
    s.resize(60, 20);
    EXPECT_TRUE(s.wait_for([&] { return s.cell(18, 59).bg == e2e::Color::rgb(0, 0, 170); }));
    EXPECT_TRUE(s.wait_text(" ready"));
    EXPECT_EQ(s.row_text(0).size(), 59u) << "the bar's right text moved to one cell before the new edge";
    s.send(e2e::keys::alt_char('Q'));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
}

namespace {

const std::string kHelp =
    "noltide - In-tree CLI TUI IDE for Nolt (Kestrum)\n"
    "\n"
    "Usage: noltide [options] [arguments]\n"
    "\n"
    "Options:\n"
    "  -h, --help              Show this help\n"
    "  -V, --version           Show version\n";
const std::string kHint = " (short flags are one character; long flags start with --)";

}  // namespace

// Help, version and mistakes print their text and nothing else, the terminal untouched; without
// flags of its own (extra paths are ignored, behind "--" even a flag's spelling is a path) the
// program goes on to the screen, which a pipe is not.
TEST(NoltideCommandLine, PrintsHelpVersionAndMistakesAndOtherwiseWantsATerminal) {
    const std::string tty = "noltide: not a TTY\n", version = "noltide 0.1.0\n";
    struct Case {
        std::vector<std::string> args;
        std::string out;
        int status;
    };
    const Case cases[] = {
        {{"--help"}, kHelp, 0},
        {{"file.nolt", "-h"}, kHelp, 0},
        {{"--version"}, version, 0},
        {{"-V", "--help"}, version, 0},
        {{"--nonsense"}, "unknown flag: --nonsense\n", 2},
        {{"-x"}, "unknown flag: -x\n", 2},
        {{"-xyz"}, "invalid flag: -xyz" + kHint + "\n", 2},
        {{"main.nolt", "--help", "--nonsense"}, "unknown flag: --nonsense\n", 2},
        {{}, tty, 1},
        {{"a", "b", "c"}, tty, 1},
        {{"--", "--help"}, tty, 1},
        {{"--", "-xyz", "-"}, tty, 1},
    };
    for (const Case& c : cases) {
        std::string name = c.args.empty() ? "no arguments" : c.args[0];
        auto r = e2e::run_piped(NOLTIDE_BIN, e2e::Options().with_args(c.args));
        EXPECT_EQ(r.out, c.out) << name;
        EXPECT_EQ(r.err, "") << name;
        EXPECT_EQ(r.status, e2e::ExitStatus::exited(c.status)) << name;
        if (c.status == 1) continue;
        e2e::Session s(NOLTIDE_BIN, e2e::Options().with_args(c.args));
        ASSERT_TRUE(s.wait_exit()) << name;
        std::string expected;
        for (char ch : c.out) expected += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
        EXPECT_EQ(s.output(), expected) << "nothing but the text, no terminal sequence, for " << name;
    }
}

namespace {

constexpr std::string_view kBar = "  File  Edit  Build  Project  Settings  Help                      noltide 0.1.0";

e2e::Options screen80() { return e2e::Options().with_size(80, 24).with_env("COLORTERM", "truecolor"); }

}  // namespace

TEST(NoltideLoop, MenusOpenByKeysAndMouseAndAboutAnswersEnterAndAClick) {
    e2e::Session s(NOLTIDE_BIN, screen80());
    ASSERT_TRUE(s.wait_text(kBar));
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(23) == " ready"; }));
    s.send(e2e::keys::f10);
    ASSERT_TRUE(s.wait_text("\u2502 New          ^N \u2502"));
    s.send(e2e::keys::right);
    ASSERT_TRUE(s.wait_text("\u2502 Auto End Block: On   \u2502"));
    s.send(e2e::keys::esc);
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(2) == ""; }));
    s.send(e2e::keys::mouse(0, 43));  // the Help title
    ASSERT_TRUE(s.wait_text("\u2502 About      \u2502"));
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_text("\u2502 noltide 0.1.0 \u2014 Kestrum IDE (edit/save + Build + Project)   \u2502"));
    // Centred in the area between the bar and the status line: 64 by 8 in 80 by 22.
    EXPECT_EQ(s.row_text(8).find("\u250c\u2524 About \u251c"), 8 * std::string("\u2592").size()) << "8 dim cells first";
    EXPECT_NE(s.row_text(14).find("\u2502 [ OK ]"), std::string::npos);
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(9) == ""; }));
    s.send(e2e::keys::f10);
    s.send(e2e::keys::left);  // wraps to Help
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_text("[ OK ]"));
    s.send(e2e::keys::mouse(14, 12));  // a click on the OK button
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(14) == ""; }));
    s.send(e2e::keys::alt_char('q'));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
}

TEST(NoltideLoop, ThemeAndFillKeysSayWhatTheyChoseAndOtherKeysAndAPasteAreHarmless) {
    e2e::Session s(NOLTIDE_BIN, screen80());
    ASSERT_TRUE(s.wait_text(kBar));
    // Neither another Alt key nor a lone Escape (forced out after a quiet poll) stops the program.
    s.send(e2e::keys::alt_char('x'));
    s.send("\033");
    s.send(e2e::keys::f2);
    ASSERT_TRUE(s.wait_text(" Theme: cobalt"));
    EXPECT_EQ(s.cell(23, 73).text, "c");  // the name again at the right end
    EXPECT_EQ(s.cell(5, 5).bg, (e2e::Color::rgb(10, 25, 70)));
    s.send(e2e::keys::f3);
    ASSERT_TRUE(s.wait_text(" Fill: middle_dot"));
    EXPECT_EQ(s.cell(5, 5).text, "\u00b7");
    s.send(e2e::keys::paste("text\nwith lines"));
    s.send(e2e::keys::f3);
    ASSERT_TRUE(s.wait_text(" Fill: light_shade"));
    EXPECT_TRUE(s.running());
}

TEST(NoltideLoop, AHangUpEndsTheProgramAtOnceWithoutSpinning) {
    e2e::Session s(NOLTIDE_BIN, screen80());
    ASSERT_TRUE(s.wait_text(kBar));
    long before = s.cpu_ms();
    s.hang_up();
    ASSERT_TRUE(s.wait_exit(std::chrono::milliseconds(2000)));
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
    EXPECT_LT(s.cpu_ms() - before, 200) << "processor time spent after the hang-up, in ms";
}
