// The noltide binary, run as a user would start it.
#include "ide_steps.hpp"

using namespace e2e::steps;

namespace {

constexpr std::string_view kBar = "  File  Edit  Build  Project  Settings  Help                      noltide 0.1.0";
const e2e::Color kClassic = e2e::Color::rgb(0, 0, 170), kCobalt = e2e::Color::rgb(10, 25, 70);

}  // namespace

// One launch: the screen taken, menus by keys and mouse, the About box, the theme and fill keys,
// a new terminal size, and the terminal given back on Alt-Shift-Q.
TEST(Noltide, TakesTheScreenAnswersMenusKeysAndResizesAndGivesTheTerminalBack) {
    e2e::Session s(NOLTIDE_BIN, at80());
    ASSERT_TRUE(s.wait_for([&] { return s.alt_screen() && s.cell(22, 79).bg == kClassic; }));
    // The open sequence comes first, in its order, before any frame.
    EXPECT_EQ(s.output().rfind("\033[?1049h\033[2J\033[1;1H\033[?25l\033[?1000h\033[?1002h\033[?1006h\033[?2004h", 0), 0u);
    ASSERT_TRUE(s.wait_text(kBar));
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(23) == " ready"; }));
    EXPECT_EQ(s.row_text(12), "");
    EXPECT_FALSE(s.cursor_visible());
    EXPECT_FALSE(s.modes_as_found()) << "raw mode while running";

    s.send(e2e::keys::f10);
    ASSERT_TRUE(s.wait_text("\u2502 New          ^N \u2502"));
    s.send(e2e::keys::right);
    ASSERT_TRUE(s.wait_text("\u2502 Auto End Block: On   \u2502"));
    s.send(e2e::keys::esc);
    ASSERT_TRUE(wait_gone(s, "Auto End Block"));
    s.send(e2e::keys::mouse(0, 43));  // the Help title
    ASSERT_TRUE(s.wait_text("\u2502 About      \u2502"));
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_text("\u2502 noltide 0.1.0 \u2014 Kestrum IDE (edit/save + Build + Project)   \u2502"));
    s.send(e2e::keys::enter);
    ASSERT_TRUE(wait_gone(s, "[ OK ]"));

    // Neither another Alt key nor a lone Escape (forced out after a quiet poll) stops the program.
    s.send(e2e::keys::alt_char('x'));
    s.send("\033");
    s.send(e2e::keys::f2);
    ASSERT_TRUE(s.wait_text(" Theme: cobalt"));
    EXPECT_EQ(s.cell(23, 73).text, "c");  // the name again at the right end
    EXPECT_EQ(s.cell(5, 5).bg, kCobalt);
    s.send(e2e::keys::f3);
    ASSERT_TRUE(s.wait_text(" Fill: middle_dot"));
    EXPECT_EQ(s.cell(5, 5).text, "\u00b7");
    s.send(e2e::keys::paste("text\nwith lines"));
    s.send(e2e::keys::f3);
    ASSERT_TRUE(s.wait_text(" Fill: light_shade"));

    s.resize(60, 20);
    EXPECT_TRUE(s.wait_for([&] { return s.cell(18, 59).bg == kCobalt; }));
    // The bar's right text moves to end one cell before the new edge.
    EXPECT_TRUE(s.wait_for([&] { return s.row_text(0).size() == 59u; }));
    quit(s, 'Q');
    EXPECT_FALSE(s.alt_screen());
    EXPECT_TRUE(s.cursor_visible());
    EXPECT_TRUE(s.modes_as_found()) << "line settings restored exactly";
}

TEST(Noltide, AHangUpEndsTheProgramAtOnceWithoutSpinning) {
    e2e::Session s(NOLTIDE_BIN, at80());
    ASSERT_TRUE(s.wait_text(kBar));
    long before = s.cpu_ms();
    s.hang_up();
    ASSERT_TRUE(s.wait_exit(std::chrono::milliseconds(2000)));
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
    EXPECT_LT(s.cpu_ms() - before, 200) << "processor time spent after the hang-up, in ms";
}

// Help, version and mistakes print their text and nothing else, the terminal untouched; without
// flags of its own (behind "--" even a flag's spelling is a path) the program goes on to the
// screen, which a pipe is not. The option parser's own tests hold its other messages.
TEST(NoltideCommandLine, PrintsHelpVersionAndMistakesAndOtherwiseWantsATerminal) {
    const std::string help =
        "noltide - In-tree CLI TUI IDE for Nolt (Kestrum)\n\nUsage: noltide [options] [arguments]\n\nOptions:\n"
        "  -h, --help              Show this help\n  -V, --version           Show version\n";
    const std::string tty = "noltide: not a TTY\n";
    struct Case {
        std::vector<std::string> args;
        std::string out;
        int status;
    };
    const Case cases[] = {
        {{"file.nolt", "-h"}, help, 0},
        {{"--version"}, "noltide 0.1.0\n", 0},
        {{"--nonsense"}, "unknown flag: --nonsense\n", 2},
        {{"a", "b"}, tty, 1},
        {{"--", "--help"}, tty, 1},
    };
    for (const Case& c : cases) {
        auto r = e2e::run_piped(NOLTIDE_BIN, e2e::Options().with_args(c.args));
        EXPECT_EQ(r.out, c.out) << c.args[0];
        EXPECT_EQ(r.err, "") << c.args[0];
        EXPECT_EQ(r.status, e2e::ExitStatus::exited(c.status)) << c.args[0];
        if (c.status == 1) continue;
        e2e::Session s(NOLTIDE_BIN, e2e::Options().with_args(c.args));
        ASSERT_TRUE(s.wait_exit()) << c.args[0];
        std::string expected;
        for (char ch : c.out) expected += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
        EXPECT_EQ(s.output(), expected) << "nothing but the text, no terminal sequence, for " << c.args[0];
    }
}
