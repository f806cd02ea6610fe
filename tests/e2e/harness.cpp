#include "harness.hpp"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vterm.h>

#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

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

ExitStatus decode_status(int st) {
    if (WIFEXITED(st)) return ExitStatus::exited(WEXITSTATUS(st));
    return ExitStatus::killed(WIFSIGNALED(st) ? WTERMSIG(st) : 0);
}

// Reaps the child; `cpu_ms` gets the processor time it used, user and system.
std::optional<ExitStatus> wait_child(pid_t pid, bool block, long* cpu_ms = nullptr) {
    int st = 0;
    for (;;) {
        struct rusage usage {};
        pid_t r = wait4(pid, &st, block ? 0 : WNOHANG, &usage);
        if (r == pid && cpu_ms)
            *cpu_ms = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000L +
                      (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000L;
        if (r == pid) return decode_status(st);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) throw std::runtime_error(std::string("waitpid: ") + strerror(errno));
        return std::nullopt;
    }
}

void kill_group(pid_t pid) {
    ::kill(-pid, SIGKILL);  // the child leads its own process group
    ::kill(pid, SIGKILL);   // in case it has not got that far yet
}

std::vector<std::string> make_env(const Options& opts, const std::filesystem::path& home) {
    std::map<std::string, std::string> env;
    for (char** e = environ; *e; ++e) {
        std::string_view kv(*e);
        auto eq = kv.find('=');
        if (eq != std::string_view::npos) env[std::string(kv.substr(0, eq))] = std::string(kv.substr(eq + 1));
    }
    for (const char* name : {"COLORTERM", "COLUMNS", "LINES"}) env.erase(name);
    env["HOME"] = home.string();
    env["TERM"] = "xterm-256color";
    for (const auto& [k, v] : opts.env) env[k] = v;
    for (const auto& k : opts.unset) env.erase(k);
    std::vector<std::string> out;
    for (const auto& [k, v] : env) out.push_back(k + "=" + v);
    return out;
}

std::vector<char*> c_strings(std::vector<std::string>& v) {
    std::vector<char*> out;
    for (auto& s : v) out.push_back(s.data());
    out.push_back(nullptr);
    return out;
}

// What the child runs after fork; it allocates nothing.
[[noreturn]] void exec_child(const char* program, char** argv, char** envp, const char* cwd) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    if (chdir(cwd) == 0) execve(program, argv, envp);
    const char* why = strerror(errno);
    const char* parts[] = {"e2e: cannot run ", program, ": ", why, "\n"};
    for (const char* p : parts)
        if (write(2, p, strlen(p)) < 0) break;
    _exit(127);
}

void set_nonblocking(int fd) {
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
}

void append_utf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

Color to_color(const VTermColor& c, bool is_default) {
    if (is_default) return Color::def();
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

// Splits a screen text into lines, dropping trailing blanks of each line and trailing empty
// lines, and for an expected screen one leading newline.
std::vector<std::string> screen_lines(std::string_view text, bool expected = false) {
    if (expected && !text.empty() && text.front() == '\n') text.remove_prefix(1);
    std::vector<std::string> lines;
    for (;;) {
        auto nl = text.find('\n');
        lines.push_back(rtrim(std::string(text.substr(0, nl))));
        if (nl == std::string_view::npos) break;
        text.remove_prefix(nl + 1);
    }
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
}

int on_termprop(VTermProp prop, VTermValue* val, void* user) {
    auto* props = static_cast<detail::TermProps*>(user);
    if (prop == VTERM_PROP_CURSORVISIBLE) props->cursor_visible = val->boolean;
    if (prop == VTERM_PROP_ALTSCREEN) props->alt_screen = val->boolean;
    return 1;
}

void on_output(const char* s, size_t len, void* user) {
    static_cast<std::string*>(user)->append(s, len);
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

TempDir::TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "e2e-XXXXXX").string();
    if (!mkdtemp(tmpl.data())) throw std::runtime_error(std::string("mkdtemp: ") + strerror(errno));
    path_ = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

void write_file(const std::filesystem::path& path, std::string_view content) {
    if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) throw std::runtime_error("cannot write " + path.string());
    bool ok = fwrite(content.data(), 1, content.size(), f) == content.size();
    if (fclose(f) != 0 || !ok) throw std::runtime_error("cannot write " + path.string());
}

std::ostream& operator<<(std::ostream& os, const ExitStatus& st) {
    if (st.signal) return os << "killed by signal " << st.signal << " (" << strsignal(st.signal) << ")";
    return os << "exit code " << st.code;
}

std::ostream& operator<<(std::ostream& os, const Color& c) {
    switch (c.kind) {
    case Color::Default: return os << "default";
    case Color::Indexed: return os << "indexed(" << c.index << ")";
    case Color::Rgb: return os << "rgb(" << c.r << "," << c.g << "," << c.b << ")";
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, const Pos& p) {
    return os << "(row " << p.row << ", col " << p.col << ")";
}

// ---------------------------------------------------------------------------------------------

Session::Session(const std::string& program, Options opts) : cols_(opts.cols), rows_(opts.rows) {
    if (opts.home.empty()) {
        own_home_.emplace();
        home_ = own_home_->path();
    } else {
        home_ = opts.home;
    }
    std::string cwd = (opts.cwd.empty() ? home_ : opts.cwd).string();
    std::vector<std::string> args{program};
    args.insert(args.end(), opts.args.begin(), opts.args.end());
    std::vector<std::string> env = make_env(opts, home_);
    std::vector<char*> argv = c_strings(args), envp = c_strings(env);

    vt_ = vterm_new(rows_, cols_);
    vterm_set_utf8(vt_, 1);
    vterm_output_set_callback(vt_, on_output, &replies_);
    vts_ = vterm_obtain_screen(vt_);
    vterm_screen_enable_altscreen(vts_, 1);
    vterm_screen_set_callbacks(vts_, &kScreenCallbacks, &props_);
    vterm_screen_reset(vts_, 1);

    winsize ws{};
    ws.ws_row = static_cast<unsigned short>(rows_);
    ws.ws_col = static_cast<unsigned short>(cols_);
    pid_ = forkpty(&master_, nullptr, nullptr, &ws);
    if (pid_ < 0) {
        vterm_free(vt_);
        throw std::runtime_error(std::string("forkpty: ") + strerror(errno));
    }
    if (pid_ == 0) exec_child(argv[0], argv.data(), envp.data(), cwd.c_str());
    set_nonblocking(master_);
}

void Session::resize(int cols, int rows) {
    winsize ws{};
    ws.ws_row = static_cast<unsigned short>(rows);
    ws.ws_col = static_cast<unsigned short>(cols);
    ioctl(master_, TIOCSWINSZ, &ws);  // the program gets SIGWINCH
    vterm_set_size(vt_, rows, cols);
    cols_ = cols;
    rows_ = rows;
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
    master_ = -1;
    pty_open_ = false;
}

long Session::cpu_ms_now() const {
    std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
    std::string stat((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    size_t close = stat.rfind(')');
    if (close == std::string::npos) return -1;
    std::istringstream fields(stat.substr(close + 2));  // from field 3, the state
    std::string skip;
    long utime = 0, stime = 0;
    for (int i = 3; i < 14; i++) fields >> skip;
    fields >> utime >> stime;
    return (utime + stime) * 1000L / sysconf(_SC_CLK_TCK);
}

bool Session::pump(int timeout_ms) {
    if (!pty_open_) {
        // Nothing more can arrive; only the program's end is still to be seen.
        if (running() && timeout_ms > 0) std::this_thread::sleep_for(Millis(std::min(timeout_ms, 10)));
        reap(false);
        return false;
    }
    pollfd p{master_, POLLIN, 0};
    int n = poll(&p, 1, timeout_ms);
    bool got = false;
    if (n > 0) {
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
        flush_replies();
    }
    reap(false);
    return got;
}

void Session::flush_replies() {
    if (replies_.empty()) return;
    std::string out;
    out.swap(replies_);
    send(out);
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

::testing::AssertionResult Session::wait_until(const std::function<bool()>& pred, Millis timeout,
                                               std::string_view what,
                                               const std::function<std::string()>& detail) {
    Millis limit = scaled(timeout);
    auto deadline = Clock::now() + limit;
    for (;;) {
        if (pred()) return ::testing::AssertionSuccess();
        if (!running() && !pty_open_) {
            return ::testing::AssertionFailure() << "the program ended (" << *status_ << ") before " << what
                                                 << "\n" << detail();
        }
        if (Clock::now() >= deadline) break;
        pump(std::min(ms_until(deadline), 50));
    }
    bool was_running = running();
    kill();
    return ::testing::AssertionFailure() << "timed out after " << limit.count() << " ms waiting for " << what
                                         << (was_running ? " (the program was killed)" : "") << "\n"
                                         << detail();
}

std::string Session::describe() const {
    std::ostringstream os;
    os << "screen (" << cols_ << "x" << rows_ << ", cursor " << cursor()
       << (cursor_visible() ? "" : " hidden") << "):\n";
    for (const auto& line : screen_lines(screen())) os << "  |" << line << "\n";
    return os.str();
}

::testing::AssertionResult Session::wait_for(const std::function<bool()>& pred, Millis timeout,
                                             std::string_view what) {
    return wait_until(pred, timeout, what, [this] { return describe(); });
}

::testing::AssertionResult Session::wait_text(std::string_view text, Millis timeout) {
    auto on_screen = [&] {
        for (int row = 0; row < rows_; ++row) {
            std::string line;
            for (int col = 0; col < cols_; ++col) line += cell(row, col).text;
            if (line.find(text) != std::string::npos) return true;
        }
        return false;
    };
    return wait_until(on_screen, timeout,
                      "text \"" + std::string(text) + "\"", [this] { return describe(); });
}

::testing::AssertionResult Session::wait_screen(std::string_view expected, Millis timeout) {
    std::vector<std::string> want = screen_lines(expected, true);
    auto diff = [&] {
        std::vector<std::string> got = screen_lines(screen());
        std::ostringstream os;
        os << "row-by-row (- expected, + actual, " << kCursorMark << " cursor at " << cursor()
           << (cursor_visible() ? "" : " hidden") << "):\n";
        for (size_t i = 0; i < std::max(want.size(), got.size()); ++i) {
            std::string w = i < want.size() ? want[i] : "", g = i < got.size() ? got[i] : "";
            if (w == g) {
                os << "  " << (i < 10 ? " " : "") << i << " |" << w << "\n";
            } else {
                os << "- " << (i < 10 ? " " : "") << i << " |" << w << "\n";
                os << "+ " << (i < 10 ? " " : "") << i << " |" << g << "\n";
            }
        }
        return os.str();
    };
    return wait_until([&] { return screen_lines(screen()) == want; }, timeout, "the expected screen", diff);
}

::testing::AssertionResult Session::wait_exit(Millis timeout) {
    auto ended = wait_until([this] { return !running(); }, timeout, "the program to exit",
                            [this] { return describe(); });
    // Take in what it wrote last; a descendant that keeps the terminal open must not stall us.
    while (ended && pty_open_ && pump(static_cast<int>(scaled(Millis(100)).count()))) {
    }
    return ended;
}

Cell Session::cell(int row, int col) const {
    Cell c;
    VTermScreenCell vc;
    if (!vterm_screen_get_cell(vts_, VTermPos{row, col}, &vc)) return c;
    if (vc.chars[0] == static_cast<uint32_t>(-1)) {
        c.width = 0;  // right half of a wide character
    } else if (vc.chars[0] == 0) {
        c.text = " ";
    } else {
        for (int i = 0; i < VTERM_MAX_CHARS_PER_CELL && vc.chars[i]; ++i) append_utf8(c.text, vc.chars[i]);
        c.width = vc.width;
    }
    c.fg = to_color(vc.fg, VTERM_COLOR_IS_DEFAULT_FG(&vc.fg));
    c.bg = to_color(vc.bg, VTERM_COLOR_IS_DEFAULT_BG(&vc.bg));
    c.bold = vc.attrs.bold;
    c.italic = vc.attrs.italic;
    c.underline = vc.attrs.underline != 0;
    c.blink = vc.attrs.blink;
    c.reverse = vc.attrs.reverse;
    c.strike = vc.attrs.strike;
    return c;
}

std::string Session::row_text(int row) const {
    std::string s;
    for (int col = 0; col < cols_; ++col) s += cell(row, col).text;
    return rtrim(s);
}

Pos Session::cursor() const {
    VTermPos p;
    vterm_state_get_cursorpos(vterm_obtain_state(vt_), &p);
    return {p.row, p.col};
}

std::string Session::screen(bool cursor_mark) const {
    Pos cur = cursor();
    bool mark = cursor_mark && cursor_visible();
    std::string out;
    for (int row = 0; row < rows_; ++row) {
        std::string line;
        for (int col = 0; col < cols_; ++col) {
            if (mark && row == cur.row && col == cur.col) line += kCursorMark;
            line += cell(row, col).text;
        }
        if (row) out += '\n';
        out += rtrim(line);
    }
    return out;
}

// ---------------------------------------------------------------------------------------------

Captured run_piped(const std::string& program, const Options& opts, std::string_view input, Millis timeout) {
    std::optional<TempDir> own_home;
    std::filesystem::path home = opts.home;
    if (home.empty()) home = own_home.emplace().path();
    std::string cwd = (opts.cwd.empty() ? home : opts.cwd).string();
    std::vector<std::string> args{program};
    args.insert(args.end(), opts.args.begin(), opts.args.end());
    std::vector<std::string> env = make_env(opts, home);
    std::vector<char*> argv = c_strings(args), envp = c_strings(env);

    int in[2], out[2], err[2];
    if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC))
        throw std::runtime_error(std::string("pipe: ") + strerror(errno));
    pid_t pid = fork();
    if (pid < 0) throw std::runtime_error(std::string("fork: ") + strerror(errno));
    if (pid == 0) {
        setsid();  // its own process group, and no controlling terminal
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        exec_child(argv[0], argv.data(), envp.data(), cwd.c_str());
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    for (int fd : {in[1], out[0], err[0]}) set_nonblocking(fd);

    // A closed stdin must give EPIPE here, not kill the test with SIGPIPE.
    struct sigaction ignore {}, old {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &old);

    Captured res;
    auto deadline = Clock::now() + scaled(timeout);
    int fds[3] = {in[1], out[0], err[0]};
    std::string* sinks[3] = {nullptr, &res.out, &res.err};
    if (input.empty()) {
        close(fds[0]);
        fds[0] = -1;
    }
    std::optional<ExitStatus> status;
    while (fds[1] >= 0 || fds[2] >= 0 || !status) {
        if (Clock::now() >= deadline) {
            res.timed_out = true;
            kill_group(pid);
            break;
        }
        if (fds[1] < 0 && fds[2] < 0) {
            // Both outputs are closed; the program may still be running.
            if (!(status = wait_child(pid, false))) std::this_thread::sleep_for(Millis(5));
            continue;
        }
        pollfd p[3];
        for (int i = 0; i < 3; ++i) p[i] = {fds[i], static_cast<short>(i ? POLLIN : POLLOUT), 0};
        if (poll(p, 3, std::min(ms_until(deadline), 50)) <= 0) continue;
        if (fds[0] >= 0 && p[0].revents) {
            ssize_t w = write(fds[0], input.data(), input.size());
            if (w > 0) input.remove_prefix(static_cast<size_t>(w));
            if (input.empty() || (w < 0 && errno != EAGAIN && errno != EINTR)) {
                close(fds[0]);
                fds[0] = -1;
            }
        }
        for (int i = 1; i < 3; ++i) {
            if (fds[i] < 0 || !p[i].revents) continue;
            char buf[65536];
            ssize_t r = read(fds[i], buf, sizeof buf);
            if (r > 0) sinks[i]->append(buf, static_cast<size_t>(r));
            if (r == 0 || (r < 0 && errno != EAGAIN && errno != EINTR)) {
                close(fds[i]);
                fds[i] = -1;
            }
        }
    }
    for (int fd : fds)
        if (fd >= 0) close(fd);
    sigaction(SIGPIPE, &old, nullptr);
    res.status = status ? *status : *wait_child(pid, true);
    return res;
}

// ---------------------------------------------------------------------------------------------

namespace keys {

std::string ctrl(char letter) { return std::string(1, static_cast<char>(letter & 0x1F)); }

std::string alt_char(char c) { return std::string("\x1b") + c; }

std::string with_mods(std::string_view key, int mods) {
    std::string p = std::to_string(1 + mods);
    if (key.size() == 3 && (key.substr(0, 2) == "\x1bO" || key.substr(0, 2) == "\x1b["))
        return "\x1b[1;" + p + key.back();
    if (key.size() >= 4 && key.substr(0, 2) == "\x1b[" && key.back() == '~')
        return std::string(key.substr(0, key.size() - 1)) + ";" + p + "~";
    throw std::invalid_argument("with_mods: not a cursor, editing or function key");
}

std::string mouse(int row, int col, int button, bool pressed) {
    return "\x1b[<" + std::to_string(button) + ";" + std::to_string(col + 1) + ";" + std::to_string(row + 1) +
           (pressed ? "M" : "m");
}

std::string paste(std::string_view text) { return "\x1b[200~" + std::string(text) + "\x1b[201~"; }

}  // namespace keys
}  // namespace e2e

termios e2e::Session::modes() const {
    termios t{};
    tcgetattr(master_, &t);
    return t;
}

termios e2e::Session::fresh_modes() {
    int master = -1, slave = -1;
    termios t{};
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) == 0) tcgetattr(slave, &t);
    if (master >= 0) close(master);
    if (slave >= 0) close(slave);
    return t;
}
