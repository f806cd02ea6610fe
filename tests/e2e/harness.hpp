// End-to-end test harness: runs a program in a pseudo-terminal, feeds what it writes to a
// libvterm screen, and lets a test type keys, wait for the screen and read it cell by cell.
//
//   e2e::Session s(NOLTIDE_BIN, e2e::Options().with_size(80, 24).with_args({"proj"}));
//   ASSERT_TRUE(s.wait_text("File"));
//   s.send(e2e::keys::f5);
//
// Coordinates are (row, col), counted from 0 at the top left.
//
// Every wait pumps the program's output into the screen until its condition holds or its time
// runs out. Timeouts are multiplied by timeout_scale(): the environment variable
// E2E_TIMEOUT_SCALE (a number) when set, else 1, or 4 in the sanitizer build, times 4 when
// NOLT_GC_TORTURE is set. A wait that times out kills the program (SIGKILL to its process group),
// reaps it and returns a failed AssertionResult that shows the screen, so a hung program never
// hangs the suite. A wait on a program that has ended and whose output is all read fails at once.
// Use pump_for() to let time pass without failing.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>
#include <termios.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temp_dir.hpp"

struct VTerm;
struct VTermScreen;

namespace e2e {

using Millis = std::chrono::milliseconds;

// Default time a wait may take before scaling: a few seconds.
inline constexpr Millis kDefaultTimeout{5000};

// The factor that every timeout is multiplied by.
double timeout_scale();

// A temporary directory, removed with everything in it when the object goes.
struct TempDir : test_support::TempDir {
    std::filesystem::path path() const { return test_support::TempDir::path(); }
};

// Writes a file, making its parent directories; a file's bytes, "" when it cannot be read.
inline void write_file(const std::filesystem::path& path, const std::string& content) {
    test_support::write_bytes(path, content);
}
inline std::string read_file(const std::filesystem::path& path) { return test_support::read_bytes(path); }

// How a program ended.
struct ExitStatus {
    int code = -1;   // exit code after a normal exit, else -1
    int signal = 0;  // the signal that killed it, else 0

    static ExitStatus exited(int code) { return {code, 0}; }
    static ExitStatus killed(int signal) { return {-1, signal}; }
    bool operator==(const ExitStatus&) const = default;
};
std::ostream& operator<<(std::ostream& os, const ExitStatus& st);

struct Color {
    enum Kind { Default, Indexed, Rgb };
    Kind kind = Default;
    int index = 0;          // 0..255 when Indexed
    int r = 0, g = 0, b = 0;  // when Rgb

    static Color indexed(int i) { return {Indexed, i, 0, 0, 0}; }
    static Color rgb(int r, int g, int b) { return {Rgb, 0, r, g, b}; }
    bool operator==(const Color&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Color& c);

struct Cell {
    std::string text;  // UTF-8; " " for a blank cell, "" for the right half of a wide character
    Color fg, bg;
    bool bold = false, underline = false, reverse = false;
};

// How to start a program; build it with the with_ calls:
//   e2e::Options().with_size(100, 30).with_args({"proj"}).with_env("NOLT_HOME", root)
struct Options {
    int cols = 80, rows = 24;
    std::vector<std::string> args;           // argv[1..]
    std::map<std::string, std::string> env;  // set or override
    std::filesystem::path cwd;               // empty: the HOME directory
    std::filesystem::path home;              // empty: a fresh directory, removed at the end

    Options& with_size(int c, int r) { cols = c, rows = r; return *this; }
    Options& with_args(std::vector<std::string> a) { args = std::move(a); return *this; }
    Options& with_env(const std::string& name, std::string value) { env[name] = std::move(value); return *this; }
    Options& in_dir(std::filesystem::path dir) { cwd = std::move(dir); return *this; }
    Options& with_home(std::filesystem::path dir) { home = std::move(dir); return *this; }
};
// The child's environment is the test's, without COLORTERM, COLUMNS and LINES, with HOME set to
// the session's home and TERM=xterm-256color, then Options::env applied.

// A program running in a pseudo-terminal of Options::cols x Options::rows.
class Session {
public:
    explicit Session(const std::string& program, Options opts = {});
    ~Session();  // kills a program still running, reaps it, removes a home it made
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // --- input; the output is pumped meanwhile so neither side blocks
    void send(std::string_view bytes);
    // Gives the terminal a new size; the program gets SIGWINCH.
    void resize(int cols, int rows);

    // --- waiting
    ::testing::AssertionResult wait_for(const std::function<bool()>& pred, Millis timeout = kDefaultTimeout,
                                        std::string_view what = "condition");
    // `text` appears within one row of the screen, trailing blanks included.
    ::testing::AssertionResult wait_text(std::string_view text, Millis timeout = kDefaultTimeout);
    // The program ends; all it wrote is on the screen afterwards.
    ::testing::AssertionResult wait_exit(Millis timeout = kDefaultTimeout);
    // Pumps output for the given (unscaled) time without judging anything.
    void pump_for(Millis duration);
    // Kills the program's process group and reaps it.
    void kill();
    // Closes the terminal's master side, as a closed terminal window does.
    void hang_up();
    // Processor time, user and system, in milliseconds: used so far by a running program (from
    // /proc), or in all by one that has been reaped.
    long cpu_ms() const;

    // --- the program
    pid_t pid() const { return pid_; }
    bool running() const { return !status_; }
    std::optional<ExitStatus> exit_status() const { return status_; }
    const std::filesystem::path& home() const { return home_; }

    // --- the screen
    int cols() const { return cols_; }
    int rows() const { return rows_; }
    Cell cell(int row, int col) const;  // an empty Cell outside the screen
    std::string row_text(int row) const;     // trailing blanks trimmed
    std::string screen() const;              // the rows' texts joined by '\n'
    bool cursor_visible() const { return props_.cursor_visible; }
    bool alt_screen() const { return props_.alt_screen; }
    const std::string& output() const { return output_; }  // every byte received, in order
    // The terminal's line settings as the program left them (or has them now).
    termios modes() const;
    // Those settings equal a fresh terminal's, which the program found at its start.
    bool modes_as_found() const;

    struct Props {
        bool cursor_visible = true, alt_screen = false;
    };

private:
    bool pump(int timeout_ms);
    bool reap(bool block);
    std::string row_cells(int row) const;

    int cols_, rows_;
    int master_ = -1;
    pid_t pid_ = -1;
    bool pty_open_ = true;
    std::optional<ExitStatus> status_;
    long cpu_ms_ = -1;
    std::optional<TempDir> own_home_;
    std::filesystem::path home_;
    VTerm* vt_ = nullptr;
    VTermScreen* vts_ = nullptr;
    Props props_;
    std::string output_;
    std::string partial_;  // the start of a UTF-8 sequence not yet given to libvterm
};

// A program run with stdin from /dev/null and stdout and stderr captured instead of a terminal.
struct Captured {
    std::string out, err;
    ExitStatus status;  // killed by SIGKILL when the time ran out
};
// Options::cols/rows are ignored; HOME and TERM are set as for a Session.
Captured run_piped(const std::string& program, const Options& opts = {}, Millis timeout = kDefaultTimeout);

// Raw byte sequences of keys as an xterm sends them.
namespace keys {
inline constexpr std::string_view enter = "\r", tab = "\t", backtab = "\x1b[Z", backspace = "\x7f",
    // A lone ESC counts as the Escape key only after a pause: wait for its effect before
    // sending more, or it joins the next bytes as Alt.
    esc = "\x1b",
    up = "\x1b[A", down = "\x1b[B", right = "\x1b[C", left = "\x1b[D", home = "\x1b[H", end = "\x1b[F",
    pgup = "\x1b[5~", pgdn = "\x1b[6~", f2 = "\x1bOQ", f3 = "\x1bOR", f5 = "\x1b[15~", f10 = "\x1b[21~";

// Ctrl with a letter: ctrl('s') is 0x13.
std::string ctrl(char letter);
// Alt with a character: ESC then the character.
std::string alt_char(char c);
// An SGR mouse report at a screen cell; button 0 left, 1 middle, 2 right, 64/65 wheel.
std::string mouse(int row, int col, int button = 0, bool pressed = true);
// Text wrapped as a bracketed paste.
std::string paste(std::string_view text);
}  // namespace keys

}  // namespace e2e
