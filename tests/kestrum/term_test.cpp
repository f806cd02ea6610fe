#include "kestrum/term.hpp"

#include <stdlib.h>
#include <string.h>
#include <termios.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/support/stream.hpp"

using namespace kestrum;
using namespace stdlib;
using stream::take;

namespace {

std::string from_tty(int master) { return take(master, 500); }

class Terminal : public testing::Test {
protected:
    // The variables these tests set are given back afterwards: a later test in the same process
    // would otherwise open its terminal 65535 columns wide.
    std::vector<std::pair<const char*, std::optional<std::string>>> saved;
    void SetUp() override {
        for (const char* name : {"COLUMNS", "LINES", "COLORTERM", "TERM"})
            saved.push_back({name, getenv(name) ? std::optional<std::string>(getenv(name)) : std::nullopt});
    }
    void TearDown() override {
        for (auto& [name, value] : saved) value ? setenv(name, value->c_str(), 1) : unsetenv(name);
    }

    static TermConfig on(TermConfig config, int in_fd, int out_fd) {
        config.in_fd = in_fd;
        config.out_fd = out_fd;
        return config;
    }
    static std::string message(const Result<int32_t, Error>& result) {
        return result.is_err() ? c_str(result.unwrap_err()->message) : "ok";
    }
};

TEST_F(Terminal, ColourDepthComesFromTheEnvironment) {
    struct {
        const char *colorterm, *term;
        ColorDepth depth;
    } cases[] = {{"truecolor", "dumb", ColorDepth::TrueColor}, {"TrueColor", "dumb", ColorDepth::Mono},
                 {"", "vt100", ColorDepth::Ansi16},           {"", "xterm-256color", ColorDepth::Color256},
                 {"", "rxvt-unicode", ColorDepth::Color256},  {"", "foot", ColorDepth::Color256},
                 {"24bit", nullptr, ColorDepth::TrueColor},   {"", nullptr, ColorDepth::Ansi16}};
    for (auto& c : cases) {
        setenv("COLORTERM", c.colorterm, 1);
        c.term ? setenv("TERM", c.term, 1) : unsetenv("TERM");
        EXPECT_EQ(detect_color_depth(), c.depth) << c.colorterm << " " << (c.term ? c.term : "-");
    }
}

TEST_F(Terminal, SizeFallsBackToTheEnvironment) {
    stream::Pty sized(120, 40), unsized(0, 0);
    setenv("COLUMNS", "100", 1);
    unsetenv("LINES");
    EXPECT_EQ(kv_get_width(sized.slave) * 1000 + kv_get_height(sized.slave), 120040);
    EXPECT_EQ(kv_get_width(unsized.slave) * 1000 + kv_get_height(unsized.slave), 100024);
    setenv("COLUMNS", "-5", 1);
    setenv("LINES", "50", 1);
    EXPECT_EQ(kv_get_width(unsized.slave) * 1000 + kv_get_height(unsized.slave), 80050);
    setenv("COLUMNS", "99999999999", 1);
    EXPECT_EQ(kv_get_width(unsized.slave), 65535);
}

TEST_F(Terminal, FullscreenOpenAndCloseRestoreTheTerminalExactly) {
    stream::Pty pty(100, 30);
    struct termios before {}, raw{}, after{};
    ASSERT_EQ(tcgetattr(pty.slave, &before), 0);
    setenv("COLORTERM", "truecolor", 1);

    Root<Term> term = unwrap(term_open(on(term_config_fullscreen(), pty.slave, pty.slave)));
    ASSERT_TRUE(term->is_open);
    EXPECT_EQ(from_tty(pty.master), "\033[?1049h\033[2J\033[1;1H\033[?25l\033[?1000h\033[?1002h\033[?1006h\033[?2004h");
    EXPECT_EQ(term->width * 1000 + term->height, 100030);
    EXPECT_TRUE(term->depth == ColorDepth::TrueColor && term->mouse_on && term->in_alt_screen && !term->cursor_visible);

    ASSERT_EQ(tcgetattr(pty.slave, &raw), 0);
    EXPECT_EQ((raw.c_iflag & (ICRNL | IXON)) | (raw.c_oflag & OPOST) | (raw.c_lflag & (ISIG | ICANON | ECHO)), 0u);
    EXPECT_EQ(raw.c_lflag & IEXTEN, before.c_lflag & IEXTEN);
    EXPECT_EQ(raw.c_cc[VMIN] * 10 + raw.c_cc[VTIME], 10);

    // Closing gives the terminal back exactly as it was found.
    term_close(term);
    EXPECT_EQ(from_tty(pty.master), "\033[?1006l\033[?1002l\033[?1000l\033[?2004l\033[0m\033[2J\033[1;1H\033[?1049l\033[0m\033[?25h");
    ASSERT_EQ(tcgetattr(pty.slave, &after), 0);
    EXPECT_TRUE(after.c_iflag == before.c_iflag && after.c_oflag == before.c_oflag && after.c_cflag == before.c_cflag &&
                after.c_lflag == before.c_lflag && memcmp(after.c_cc, before.c_cc, sizeof before.c_cc) == 0);
    EXPECT_FALSE(term->is_open || term->raw_state);

    term_close(term);
    term_show_cursor(term);
    EXPECT_EQ(from_tty(pty.master), "");
    EXPECT_EQ(message(term_write(term, "x"_t)), "term_write: terminal is not open");
    EXPECT_EQ(message(term_read(term, string_buffer(4), 4)), "term_read: terminal is not open");

    stream::Pipe pipe;
    int doomed = dup(pipe.write_end);
    Root<Term> broken = stream::open_on(doomed, ColorDepth::Mono);
    close(doomed);
    EXPECT_EQ(message(term_write(broken, "x"_t)), "term_write: write failed");
    EXPECT_EQ(message(term_read(broken, "literal"_t, 3)), "term_read: read failed");
}

TEST_F(Terminal, BasicAndDefaultConfigurationsAndARefusal) {
    stream::Pty pty(80, 24);
    stream::Pipe pipe;
    // Keys that do not come from a terminal: refused before a byte is sent.
    EXPECT_EQ(term_open(on(term_config_fullscreen(), pipe.read_end, pty.slave)).unwrap_err(), TermError::NotATTY);
    EXPECT_EQ(from_tty(pty.master), "");
    setenv("COLORTERM", "24bit", 1);
    Root<Term> term = unwrap(term_open(on(term_config_basic(), pty.slave, pty.slave)));
    EXPECT_EQ(from_tty(pty.master), "\033[0m\033[2J\033[1;1H\033[?25l");
    EXPECT_EQ(term->depth, ColorDepth::Ansi16);
    term_close(term);
    EXPECT_EQ(from_tty(pty.master), "\033[0m\033[2J\033[1;1H\033[?25h");

    term = unwrap(term_open(on(term_config_default(), pty.slave, pty.slave)));
    EXPECT_EQ(from_tty(pty.master), "\033[?2004h");
    EXPECT_TRUE(term->cursor_visible && !term->mouse_on && !term->in_alt_screen);
    term_close(term);
    EXPECT_EQ(from_tty(pty.master), "\033[?2004l\033[0m\033[?25h");
}

}  // namespace
