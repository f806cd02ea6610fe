#include "harness.hpp"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vterm.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace e2e {
namespace {

using Clock = std::chrono::steady_clock;

Millis scaled(Millis t) {
    return Millis(static_cast<long long>(static_cast<double>(t.count()) * timeout_scale()));
}

int ms_until(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<Millis>(deadline - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left);
}

// Reaps the child; `cpu_ms` gets the processor time it used, user and system.
std::optional<ExitStatus> wait_child(pid_t pid, bool block, long* cpu_ms = nullptr) {
    int st = 0;
    struct rusage usage {};
    pid_t r;
    while ((r = wait4(pid, &st, block ? 0 : WNOHANG, &usage)) < 0 && errno == EINTR) {
    }
    if (r < 0) throw std::runtime_error(std::string("waitpid: ") + strerror(errno));
    if (r != pid) return std::nullopt;
    if (cpu_ms)
        *cpu_ms = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000L +
                  (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000L;
    if (WIFEXITED(st)) return ExitStatus::exited(WEXITSTATUS(st));
    return ExitStatus::killed(WIFSIGNALED(st) ? WTERMSIG(st) : 0);
}

void kill_group(pid_t pid) {
    ::kill(-pid, SIGKILL);  // the child leads its own process group
    ::kill(pid, SIGKILL);   // in case it has not got that far yet
}

// Runs in the child after fork. The test process has one thread, so the child may allocate.
[[noreturn]] void exec_child(const std::string& program, const Options& opts, const std::filesystem::path& home) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    for (const char* name : {"COLORTERM", "COLUMNS", "LINES"}) unsetenv(name);
    setenv("HOME", home.c_str(), 1);
    setenv("TERM", "xterm-256color", 1);
    for (const auto& [name, value] : opts.env) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& arg : opts.args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    if (chdir((opts.cwd.empty() ? home : opts.cwd).c_str()) == 0) execv(argv[0], argv.data());
    fprintf(stderr, "e2e: cannot run %s: %s\n", argv[0], strerror(errno));
    _exit(127);
}

void append_utf8(std::string& out, uint32_t c) {
    static const unsigned char lead[] = {0, 0xC0, 0xE0, 0xF0};
    int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    out += static_cast<char>(lead[more] | (c >> (6 * more)));
    for (int i = more - 1; i >= 0; --i) out += static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
}

Color to_color(const VTermColor& c, bool is_default) {
    if (is_default) return {};
    if (VTERM_COLOR_IS_INDEXED(&c)) return Color::indexed(c.indexed.idx);
    return Color::rgb(c.rgb.red, c.rgb.green, c.rgb.blue);
}

// Bytes at the end of `s` that begin a UTF-8 sequence still missing its last bytes.
size_t incomplete_utf8_tail(std::string_view s) {
    for (size_t i = 1; i <= 3 && i <= s.size(); ++i) {
        auto c = static_cast<unsigned char>(s[s.size() - i]);
        if (c < 0x80) return 0;
        if (c >= 0xC0) {
            size_t len = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
            return len > i ? i : 0;
        }
    }
    return 0;
}

std::string rtrim(std::string s) {
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

int on_termprop(VTermProp prop, VTermValue* val, void* user) {
    auto* props = static_cast<Session::Props*>(user);
    if (prop == VTERM_PROP_CURSORVISIBLE) props->cursor_visible = val->boolean;
    if (prop == VTERM_PROP_ALTSCREEN) props->alt_screen = val->boolean;
    return 1;
}

const VTermScreenCallbacks kScreenCallbacks = {
    nullptr, nullptr, nullptr, on_termprop, nullptr, nullptr, nullptr, nullptr,
};

}  // namespace

#ifndef E2E_DEFAULT_TIMEOUT_SCALE
#define E2E_DEFAULT_TIMEOUT_SCALE 1
#endif

double timeout_scale() {
    const char* s = getenv("E2E_TIMEOUT_SCALE");
    double v = s ? atof(s) : 0;
    if (v > 0) return v;
    // A collection at every allocation makes the program's start-up take seconds.
    const char* torture = getenv("NOLT_GC_TORTURE");
    return (torture && *torture && *torture != '0' ? 4 : 1) * E2E_DEFAULT_TIMEOUT_SCALE;
}

std::ostream& operator<<(std::ostream& os, const ExitStatus& st) {
    if (st.signal) return os << "killed by signal " << st.signal << " (" << strsignal(st.signal) << ")";
    return os << "exit code " << st.code;
}

std::ostream& operator<<(std::ostream& os, const Color& c) {
    if (c.kind == Color::Indexed) return os << "indexed(" << c.index << ")";
    if (c.kind == Color::Rgb) return os << "rgb(" << c.r << "," << c.g << "," << c.b << ")";
    return os << "default";
}

// ---------------------------------------------------------------------------------------------

Session::Session(const std::string& program, Options opts) : cols_(opts.cols), rows_(opts.rows) {
    home_ = opts.home.empty() ? own_home_.emplace().path() : opts.home;

    vt_ = vterm_new(rows_, cols_);
    vterm_set_utf8(vt_, 1);
    vts_ = vterm_obtain_screen(vt_);
    vterm_screen_enable_altscreen(vts_, 1);
    vterm_screen_set_callbacks(vts_, &kScreenCallbacks, &props_);
    vterm_screen_reset(vts_, 1);

    winsize ws{static_cast<unsigned short>(rows_), static_cast<unsigned short>(cols_), 0, 0};
    pid_ = forkpty(&master_, nullptr, nullptr, &ws);
    if (pid_ < 0) {
        vterm_free(vt_);
        throw std::runtime_error(std::string("forkpty: ") + strerror(errno));
    }
    if (pid_ == 0) exec_child(program, opts, home_);
    fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
    fcntl(master_, F_SETFD, FD_CLOEXEC);
}

void Session::resize(int cols, int rows) {
    winsize ws{static_cast<unsigned short>(rows), static_cast<unsigned short>(cols), 0, 0};
    ioctl(master_, TIOCSWINSZ, &ws);  // the program gets SIGWINCH
    vterm_set_size(vt_, rows_ = rows, cols_ = cols);
}

Session::~Session() {
    kill();
    if (master_ >= 0) close(master_);
    vterm_free(vt_);
}

void Session::kill() {
    if (!running()) return;
    kill_group(pid_);
    status_ = wait_child(pid_, true);
}

bool Session::reap(bool block) {
    if (running()) status_ = wait_child(pid_, block, &cpu_ms_);
    return !running();
}

void Session::hang_up() {
    if (master_ >= 0) close(master_);
    master_ = -1, pty_open_ = false;
}

long Session::cpu_ms() const {
    if (!running()) return cpu_ms_;
    std::string stat = read_file("/proc/" + std::to_string(pid_) + "/stat");
    unsigned long utime = 0, stime = 0;
    size_t close = stat.rfind(')');  // then the state, five numbers, five counters, the times
    if (close == std::string::npos ||
        sscanf(stat.c_str() + close + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &utime, &stime) != 2)
        return -1;
    return static_cast<long>((utime + stime) * 1000 / sysconf(_SC_CLK_TCK));
}

bool Session::pump(int timeout_ms) {
    if (!pty_open_) {
        // Nothing more can arrive; only the program's end is still to be seen.
        if (running() && timeout_ms > 0) std::this_thread::sleep_for(Millis(std::min(timeout_ms, 10)));
        reap(false);
        return false;
    }
    pollfd p{master_, POLLIN, 0};
    bool got = false;
    if (poll(&p, 1, timeout_ms) > 0) {
        char buf[65536];
        for (;;) {
            ssize_t r = read(master_, buf, sizeof buf);
            if (r > 0) {
                output_.append(buf, static_cast<size_t>(r));
                // libvterm mis-decodes a UTF-8 sequence split across two writes: hold back a
                // partial one until the rest has come.
                partial_.append(buf, static_cast<size_t>(r));
                size_t whole = partial_.size() - incomplete_utf8_tail(partial_);
                vterm_input_write(vt_, partial_.data(), whole);
                partial_.erase(0, whole);
                got = true;
                continue;
            }
            if (r < 0 && errno == EINTR) continue;
            if (r == 0 || errno != EAGAIN) {  // EIO: every slave side is closed
                pty_open_ = false;
                vterm_input_write(vt_, partial_.data(), partial_.size());
                partial_.clear();
            }
            break;
        }
    }
    reap(false);
    return got;
}

void Session::send(std::string_view bytes) {
    auto deadline = Clock::now() + scaled(kDefaultTimeout);
    while (!bytes.empty() && pty_open_) {
        ssize_t w = write(master_, bytes.data(), bytes.size());
        if (w > 0) {
            bytes.remove_prefix(static_cast<size_t>(w));
            continue;
        }
        if (w < 0 && errno == EINTR) continue;
        if (w < 0 && errno != EAGAIN) break;  // the program has gone
        if (Clock::now() >= deadline) {
            ADD_FAILURE() << "e2e: the program read none of its input for " << scaled(kDefaultTimeout).count()
                          << " ms; killed it";
            kill();
            return;
        }
        // The program is not reading; it may be waiting for us to read its output.
        pollfd p{master_, POLLOUT, 0};
        if (poll(&p, 1, 10) == 0) pump(0);
    }
}

void Session::pump_for(Millis duration) {
    auto deadline = Clock::now() + duration;
    do pump(ms_until(deadline));
    while (Clock::now() < deadline);
}

::testing::AssertionResult Session::wait_for(const std::function<bool()>& pred, Millis timeout,
                                             std::string_view what) {
    Millis limit = scaled(timeout);
    auto deadline = Clock::now() + limit;
    auto failure = [&](const std::string& why) {
        auto result = ::testing::AssertionFailure() << why << "\nscreen (" << cols_ << "x" << rows_
                                                    << (cursor_visible() ? "" : ", cursor hidden") << "):\n";
        for (int row = 0; row < rows_; ++row) result << "  |" << row_text(row) << "\n";
        return result;
    };
    for (;;) {
        if (pred()) return ::testing::AssertionSuccess();
        if (!running() && !pty_open_)
            return failure("the program ended (" + ::testing::PrintToString(*status_) + ") before " + std::string(what));
        if (Clock::now() >= deadline) break;
        pump(std::min(ms_until(deadline), 50));
    }
    bool was_running = running();
    kill();
    return failure("timed out after " + std::to_string(limit.count()) + " ms waiting for " + std::string(what) +
                   (was_running ? " (the program was killed)" : ""));
}

::testing::AssertionResult Session::wait_text(std::string_view text, Millis timeout) {
    auto on_screen = [&] {
        for (int row = 0; row < rows_; ++row)
            if (row_cells(row).find(text) != std::string::npos) return true;
        return false;
    };
    return wait_for(on_screen, timeout, "text \"" + std::string(text) + "\"");
}

::testing::AssertionResult Session::wait_exit(Millis timeout) {
    auto ended = wait_for([this] { return !running(); }, timeout, "the program to exit");
    // Take in what it wrote last; a descendant that keeps the terminal open must not stall us.
    while (ended && pty_open_ && pump(static_cast<int>(scaled(Millis(100)).count()))) {
    }
    return ended;
}

Cell Session::cell(int row, int col) const {
    Cell c;
    VTermScreenCell vc;
    if (!vterm_screen_get_cell(vts_, VTermPos{row, col}, &vc)) return c;
    if (vc.chars[0] == 0)
        c.text = " ";
    else if (vc.chars[0] != static_cast<uint32_t>(-1))  // -1: the right half of a wide character
        for (int i = 0; i < VTERM_MAX_CHARS_PER_CELL && vc.chars[i]; ++i) append_utf8(c.text, vc.chars[i]);
    c.fg = to_color(vc.fg, VTERM_COLOR_IS_DEFAULT_FG(&vc.fg));
    c.bg = to_color(vc.bg, VTERM_COLOR_IS_DEFAULT_BG(&vc.bg));
    c.bold = vc.attrs.bold, c.underline = vc.attrs.underline != 0, c.reverse = vc.attrs.reverse;
    return c;
}

std::string Session::row_cells(int row) const {
    std::string s;
    for (int col = 0; col < cols_; ++col) s += cell(row, col).text;
    return s;
}

std::string Session::row_text(int row) const { return rtrim(row_cells(row)); }

std::string Session::screen() const {
    std::string out;
    for (int row = 0; row < rows_; ++row) out += (row ? "\n" : "") + row_text(row);
    return out;
}

termios Session::modes() const {
    termios t{};
    tcgetattr(master_, &t);
    return t;
}

bool Session::modes_as_found() const {
    int master = -1, slave = -1;
    termios fresh{}, now = modes();
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) == 0) tcgetattr(slave, &fresh);
    if (master >= 0) close(master);
    if (slave >= 0) close(slave);
    return now.c_iflag == fresh.c_iflag && now.c_oflag == fresh.c_oflag && now.c_cflag == fresh.c_cflag &&
           now.c_lflag == fresh.c_lflag && memcmp(now.c_cc, fresh.c_cc, sizeof now.c_cc) == 0;
}

// ---------------------------------------------------------------------------------------------

Captured run_piped(const std::string& program, const Options& opts, Millis timeout) {
    TempDir files;  // the captured streams, and the home when none is given
    std::filesystem::path home = opts.home.empty() ? files.path() : opts.home;
    std::string out = (files.path() / ".out").string(), err = (files.path() / ".err").string();
    pid_t pid = fork();
    if (pid < 0) throw std::runtime_error(std::string("fork: ") + strerror(errno));
    if (pid == 0) {
        setsid();  // its own process group, and no controlling terminal
        dup2(open("/dev/null", O_RDONLY), 0);
        dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        exec_child(program, opts, home);
    }
    auto deadline = Clock::now() + scaled(timeout);
    std::optional<ExitStatus> status;
    while (!(status = wait_child(pid, false)) && Clock::now() < deadline) std::this_thread::sleep_for(Millis(5));
    if (!status) kill_group(pid), status = wait_child(pid, true);  // killed at the time limit
    return {read_file(out), read_file(err), *status};
}

// ---------------------------------------------------------------------------------------------

namespace keys {

std::string ctrl(char letter) { return std::string(1, static_cast<char>(letter & 0x1F)); }

std::string alt_char(char c) { return std::string("\x1b") + c; }

std::string mouse(int row, int col, int button, bool pressed) {
    return "\x1b[<" + std::to_string(button) + ";" + std::to_string(col + 1) + ";" + std::to_string(row + 1) +
           (pressed ? "M" : "m");
}

std::string paste(std::string_view text) { return "\x1b[200~" + std::string(text) + "\x1b[201~"; }

}  // namespace keys
}  // namespace e2e
