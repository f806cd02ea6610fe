#include "kestrum/term.hpp"

#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "kestrum/cell.hpp"
#include "stdlib/sys/signal.hpp"

namespace kestrum {

using namespace stdlib;

class RawState {
    NOLT_MANAGED(RawState, void);

public:
    struct termios saved {};
};

TermConfig term_config_default() { return TermConfig{}; }

TermConfig term_config_fullscreen() {
    TermConfig config;
    config.alt_screen = true;
    config.hide_cursor = true;
    config.mouse = true;
    return config;
}

TermConfig term_config_basic() {
    TermConfig config;
    config.hide_cursor = true;
    config.basic = true;
    return config;
}

Root<Term> empty_term() { return runtime::make<Term>(); }

bool is_err(const TermResult& result) { return result.is_err(); }

Root<Term> unwrap(const TermResult& result) { return result.is_ok() ? result.unwrap_ok() : empty_term(); }

// ---- Sequences ---------------------------------------------------------------------------

namespace {

// One escape sequence; `length` is -1 when it did not fit in 127 bytes.
struct Seq {
    char bytes[128];
    int32_t length = 0;

    Seq& add(const char* text, size_t n) {
        if (length < 0 || length + n >= sizeof bytes) {
            length = -1;
        } else {
            memcpy(bytes + length, text, n);
            length += (int32_t)n;
        }
        return *this;
    }
    Seq& add(const char* text) { return add(text, strlen(text)); }
    // The decimal digits of `n`, with a minus sign when it is negative.
    Seq& add(int32_t n) {
        char digits[11];
        char* end = digits + sizeof digits;
        char* at = end;
        uint32_t magnitude = n < 0 ? 0u - (uint32_t)n : (uint32_t)n;
        do *--at = (char)('0' + magnitude % 10);
        while (magnitude /= 10);
        if (n < 0) *--at = '-';
        return add(at, (size_t)(end - at));
    }
};

Seq seq_esc(const char* text) { return Seq().add("\033").add(text); }
Seq seq_cup(int32_t row, int32_t col) { return Seq().add("\033[").add(row).add(";").add(col).add("H"); }

Seq seq_truecolor(bool fg, int32_t r, int32_t g, int32_t b) {
    return Seq().add(fg ? "\033[38;2;" : "\033[48;2;").add(r).add(";").add(g).add(";").add(b).add("m");
}

Seq seq_256(bool fg, int32_t n) { return Seq().add(fg ? "\033[38;5;" : "\033[48;5;").add(clamp(n, 0, 255)).add("m"); }

Seq seq_16(bool fg, int32_t n) {
    n = clamp(n, 0, 15);
    return Seq().add("\033[").add((fg ? 30 : 40) + (n < 8 ? n : n + 52)).add("m");
}

int32_t write_seq(int32_t fd, const Seq& seq) { return seq.length < 0 ? -1 : kv_write(fd, seq.bytes, seq.length); }

bool is_open(const Root<Term>& term) { return term && term->is_open; }

void send_seq(const Root<Term>& term, const Seq& seq) {
    if (seq.length >= 0) term_send(term, seq.bytes, seq.length);
}

void esc(const Root<Term>& term, const char* text) { send_seq(term, seq_esc(text)); }

// A COLUMNS or LINES value: 0 when unset or negative, and never more than a tty can report.
int32_t env_count(const char* name) {
    const char* value = getenv(name);
    if (!value) return 0;
    long n = strtol(value, nullptr, 10);
    return clamp(n, 0, 65535);
}

int set_attributes(int32_t fd, const struct termios* attributes) {
    int result;
    while ((result = tcsetattr(fd, TCSANOW, attributes)) != 0 && errno == EINTR) {
    }
    return result;
}

// What term_close sends for a terminal in this state: mouse reports and bracketed paste off, the
// main screen back, attributes reset, the cursor shown.
Seq close_seq(const TermConfig& config, bool mouse_on, bool in_alt_screen) {
    Seq seq;
    if (mouse_on || config.mouse) seq.add("\033[?1006l\033[?1002l\033[?1000l");
    if (!config.basic) seq.add("\033[?2004l");
    if (in_alt_screen || config.alt_screen) seq.add("\033[0m\033[2J\033[1;1H\033[?1049l");
    seq.add("\033[0m");
    if (config.basic && !config.alt_screen) seq.add("\033[2J\033[1;1H");
    seq.add("\033[?25h");
    return seq;
}

// The last open terminal that changed the tty, as the fatal hook gives it back: taken when the
// terminal is entered and kept in plain memory, so that the hook neither allocates nor locks.
struct Restore {
    const Term* owner;
    int32_t in_fd, out_fd;
    bool has_attributes;
    struct termios attributes;
    Seq bytes;
};
Restore restore_record;

void restore_now() {
    kv_write_all(restore_record.out_fd, restore_record.bytes.bytes, restore_record.bytes.length, nullptr);
    if (restore_record.has_attributes) set_attributes(restore_record.in_fd, &restore_record.attributes);
}

}  // namespace

// ---- System shims ------------------------------------------------------------------------

int32_t kv_isatty(int32_t fd) { return isatty(fd) ? 1 : 0; }

int32_t kv_get_winsize(int32_t fd, int32_t* cols, int32_t* rows) {
    if (!cols || !rows) return -1;
    struct winsize size {};
    bool known = ioctl(fd, TIOCGWINSZ, &size) == 0;
    int32_t c = known && size.ws_col ? size.ws_col : env_count("COLUMNS");
    int32_t r = known && size.ws_row ? size.ws_row : env_count("LINES");
    *cols = c > 0 ? c : 80;
    *rows = r > 0 ? r : 24;
    return 0;
}

int32_t kv_get_width(int32_t fd) {
    int32_t cols, rows;
    return kv_get_winsize(fd, &cols, &rows) == 0 ? cols : 80;
}

int32_t kv_get_height(int32_t fd) {
    int32_t cols, rows;
    return kv_get_winsize(fd, &cols, &rows) == 0 ? rows : 24;
}

Root<RawState> kv_raw_enter(int32_t fd) {
    Root<RawState> state = runtime::make<RawState>();
    if (tcgetattr(fd, &state->saved) != 0) return nullptr;
    struct termios raw = state->saved;
    raw.c_iflag &= ~(tcflag_t)(ICRNL | IXON);
    raw.c_oflag &= ~(tcflag_t)OPOST;
    raw.c_lflag &= ~(tcflag_t)(ISIG | ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (set_attributes(fd, &raw) != 0) return nullptr;
    return state;
}

int32_t kv_raw_restore(int32_t fd, const Root<RawState>& saved) {
    if (!saved) return -1;
    return set_attributes(fd, &saved->saved) == 0 ? 0 : -1;
}

int32_t kv_read(int32_t fd, char* buffer, int32_t length) {
    if (length < 0 || !buffer) return -1;
    ssize_t n;
    while ((n = read(fd, buffer, (size_t)length)) < 0 && errno == EINTR) {
    }
    return (int32_t)n;
}

int32_t kv_write(int32_t fd, const char* buffer, int32_t length) {
    if (length < 0 || !buffer) return -1;
    ssize_t n;
    while ((n = write(fd, buffer, (size_t)length)) < 0 && errno == EINTR) {
    }
    return (int32_t)n;
}

int32_t kv_write_all(int32_t fd, const char* buffer, int32_t length, int64_t* calls) {
    if (length < 0 || (!buffer && length > 0)) return -1;
    int32_t done = 0;
    while (done < length) {
        ssize_t n = write(fd, buffer + done, (size_t)(length - done));
        if (calls) ++*calls;
        if (n > 0) {
            done += (int32_t)n;
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            struct pollfd writable = {fd, POLLOUT, 0};
            if (poll(&writable, 1, -1) < 0 && errno != EINTR) break;
        } else {
            break;
        }
    }
    return done;
}

int32_t kv_write_esc(int32_t fd, const char* text) { return text ? write_seq(fd, seq_esc(text)) : -1; }

int32_t kv_write_cup(int32_t fd, int32_t row, int32_t col) { return write_seq(fd, seq_cup(row, col)); }

int32_t kv_write_sgr_truecolor_fg(int32_t fd, int32_t r, int32_t g, int32_t b) {
    return write_seq(fd, seq_truecolor(true, r, g, b));
}

int32_t kv_write_sgr_truecolor_bg(int32_t fd, int32_t r, int32_t g, int32_t b) {
    return write_seq(fd, seq_truecolor(false, r, g, b));
}

int32_t kv_write_sgr_256_fg(int32_t fd, int32_t n) { return write_seq(fd, seq_256(true, n)); }
int32_t kv_write_sgr_256_bg(int32_t fd, int32_t n) { return write_seq(fd, seq_256(false, n)); }
int32_t kv_write_sgr_16_fg(int32_t fd, int32_t n) { return write_seq(fd, seq_16(true, n)); }
int32_t kv_write_sgr_16_bg(int32_t fd, int32_t n) { return write_seq(fd, seq_16(false, n)); }

// ---- Gathered output ---------------------------------------------------------------------

namespace {

int32_t drain(const Root<Term>& term) {
    Term* t = term.get();
    int32_t n = t->gathered > 0 ? kv_write_all(t->out_fd, t->gather->c_str(), t->gathered, &t->write_calls) : 0;
    if (n > 0) t->bytes_written += n;
    t->gathered = 0;
    return n;
}

void gather_bytes(const Root<Term>& term, const char* bytes, int32_t length) {
    if ((int64_t)term->gathered + length >= INT32_MAX) drain(term);
    int64_t need = (int64_t)term->gathered + length + 1;
    int64_t capacity = term->gather ? (int64_t)term->gather->capacity() : 0;
    if (need > capacity) {
        int64_t grown_capacity = capacity * 2 > need ? capacity * 2 : need < 4096 ? 4096 : need;
        Root<Text> grown = runtime::make_text_buffer((uint64_t)grown_capacity);
        if (term->gathered > 0) memcpy(grown->bytes(), term->gather->c_str(), (size_t)term->gathered);
        term->gather = grown;
    }
    memcpy(term->gather->bytes() + term->gathered, bytes, (size_t)length);
    term->gathered += length;
}

}  // namespace

void term_gather_begin(const Root<Term>& term) {
    if (is_open(term)) term->gathering++;
}

int32_t term_gather_end(const Root<Term>& term) {
    if (!term || term->gathering == 0) return 0;
    return --term->gathering > 0 ? 0 : drain(term);
}

int32_t term_send(const Root<Term>& term, const char* bytes, int32_t length) {
    if (!is_open(term) || length < 0 || (!bytes && length > 0)) return -1;
    if (term->gathering > 0) {
        gather_bytes(term, bytes, length);
        return length;
    }
    int32_t n = kv_write(term->out_fd, bytes, length);
    term->write_calls++;
    if (n > 0) term->bytes_written += n;
    return n;
}

// ---- The terminal ------------------------------------------------------------------------

ColorDepth detect_color_depth() {
    const char* colorterm = getenv("COLORTERM");
    const char* name = getenv("TERM");
    if (!colorterm) colorterm = "";
    if (!name) name = "";
    if (!strcmp(colorterm, "truecolor") || !strcmp(colorterm, "24bit")) return ColorDepth::TrueColor;
    if (!strcmp(name, "dumb")) return ColorDepth::Mono;
    if (!strcmp(name, "linux") || !strcmp(name, "ansi") || !strcmp(name, "vt100")) return ColorDepth::Ansi16;
    for (const char* word : {"256color", "screen-256", "tmux-256", "xterm", "screen", "tmux", "rxvt"})
        if (strstr(name, word)) return ColorDepth::Color256;
    return *name ? ColorDepth::Color256 : ColorDepth::Ansi16;
}

TermResult term_open(const TermConfig& config) {
    if (config.require_tty) {
        if (!kv_isatty(config.out_fd)) return Err(TermError::NotATTY);
        if (config.raw_mode && !kv_isatty(config.in_fd)) return Err(TermError::NotATTY);
    }
    int32_t width = kv_get_width(config.out_fd), height = kv_get_height(config.out_fd);
    if (width < 1 || height < 1) width = 80, height = 24;
    Root<RawState> raw;
    if (config.raw_mode) {
        raw = kv_raw_enter(config.in_fd);
        if (!raw) return Err(TermError::RawEnterFailed);
    }

    Root<Term> term = runtime::make<Term>();
    term->in_fd = config.in_fd;
    term->out_fd = config.out_fd;
    term->width = width;
    term->height = height;
    term->raw_state = raw;
    term->config = config;
    term->is_open = true;

    term_gather_begin(term);
    if (config.alt_screen) {
        esc(term, "[?1049h");
        esc(term, "[2J");
        term_emit_cup(term, 0, 0);
    }
    if (config.basic && !config.alt_screen) {
        esc(term, "[0m");
        esc(term, "[2J");
        term_emit_cup(term, 0, 0);
    }
    if (config.hide_cursor) term_hide_cursor(term);
    if (config.mouse) {
        esc(term, "[?1000h");
        esc(term, "[?1002h");
        esc(term, "[?1006h");
        term->mouse_on = true;
    }
    if (!config.basic && (config.alt_screen || config.raw_mode)) esc(term, "[?2004h");
    term_gather_end(term);

    term->depth = config.basic ? ColorDepth::Ansi16 : detect_color_depth();
    term->in_alt_screen = config.alt_screen;
    if (raw || config.alt_screen) {
        restore_record = {term.get(), config.in_fd, config.out_fd, (bool)raw, raw ? raw->saved : termios{},
                          close_seq(config, term->mouse_on, config.alt_screen)};
        stdlib::set_fatal_hook(restore_now);
    }
    return Ok(term);
}

void term_close(const Root<Term>& term) {
    if (!is_open(term)) return;
    if (restore_record.owner == term.get()) {
        stdlib::set_fatal_hook(nullptr);
        restore_record.owner = nullptr;
    }
    const TermConfig config = term->config;
    Seq bytes = close_seq(config, term->mouse_on, term->in_alt_screen);
    if (term->in_alt_screen || config.alt_screen || config.basic) term->cursor_x = term->cursor_y = 0;
    term->mouse_on = term->in_alt_screen = false;
    term->cursor_visible = true;
    // Whatever an unfinished gather still holds goes out first, before the modes are restored.
    term->gathering = 1;
    send_seq(term, bytes);
    term->gathering = 0;
    drain(term);
    if (term->raw_state) {
        kv_raw_restore(term->in_fd, term->raw_state);
        term->raw_state = nullptr;
    }
    term->is_open = false;
}

void term_refresh_size(const Root<Term>& term) {
    if (!is_open(term)) return;
    int32_t width = 0, height = 0;  // one ioctl for both
    kv_get_winsize(term->out_fd, &width, &height);
    if (width > 0) term->width = width;
    if (height > 0) term->height = height;
}

Result<int32_t, Error> term_write(const Root<Term>& term, const string& text) {
    if (!is_open(term)) return Err(error(ErrorKind::InvalidInput, "term_write: terminal is not open"_t));
    int32_t n = term_send(term, c_str(text), length(text));
    if (n < 0) return Err(error_with_code(ErrorKind::IoError, "term_write: write failed"_t, n));
    return Ok(n);
}

Result<int32_t, Error> term_read(const Root<Term>& term, const string& buffer, int32_t length) {
    if (!is_open(term)) return Err(error(ErrorKind::InvalidInput, "term_read: terminal is not open"_t));
    char* target = nullptr;
    if (buffer && !buffer->is_literal()) {
        target = buffer->bytes();
        int64_t room = (int64_t)buffer->capacity() - 1;
        if (length > room) length = (int32_t)room;
    }
    int32_t n = kv_read(term->in_fd, target, length);
    if (n < 0) return Err(error_with_code(ErrorKind::IoError, "term_read: read failed"_t, n));
    return Ok(n);
}

void term_emit_cup(const Root<Term>& term, int32_t x, int32_t y) {
    if (!is_open(term)) return;
    send_seq(term, seq_cup(y + 1, x + 1));
    term->cursor_x = x;
    term->cursor_y = y;
}

void term_hide_cursor(const Root<Term>& term) {
    if (!is_open(term)) return;
    esc(term, "[?25l");
    term->cursor_visible = false;
}

void term_show_cursor(const Root<Term>& term) {
    if (!is_open(term)) return;
    esc(term, "[?25h");
    term->cursor_visible = true;
}

void term_clear(const Root<Term>& term) {
    if (!is_open(term)) return;
    esc(term, "[2J");
    term_emit_cup(term, 0, 0);
}

void term_leave_alt_screen(const Root<Term>& term) {
    if (!is_open(term)) return;
    esc(term, "[?1049l");
    term->in_alt_screen = false;
}

void term_mouse_disable(const Root<Term>& term) {
    if (!term) return;
    if (term->is_open) {
        esc(term, "[?1006l");
        esc(term, "[?1002l");
        esc(term, "[?1000l");
    }
    term->mouse_on = false;
}

void term_bracketed_paste_disable(const Root<Term>& term) {
    if (is_open(term)) esc(term, "[?2004l");
}

void term_sgr_reset(const Root<Term>& term) {
    if (is_open(term)) esc(term, "[0m");
}

void term_sgr_bold(const Root<Term>& term, bool on) {
    if (is_open(term)) esc(term, on ? "[1m" : "[22m");
}

void term_sgr_underline(const Root<Term>& term, bool on) {
    if (is_open(term)) esc(term, on ? "[4m" : "[24m");
}

void term_sgr_reverse(const Root<Term>& term, bool on) {
    if (is_open(term)) esc(term, on ? "[7m" : "[27m");
}

void term_sgr_truecolor_fg(const Root<Term>& term, int32_t r, int32_t g, int32_t b) {
    if (is_open(term)) send_seq(term, seq_truecolor(true, r, g, b));
}

void term_sgr_truecolor_bg(const Root<Term>& term, int32_t r, int32_t g, int32_t b) {
    if (is_open(term)) send_seq(term, seq_truecolor(false, r, g, b));
}

void term_sgr_256_fg(const Root<Term>& term, int32_t n) {
    if (is_open(term)) send_seq(term, seq_256(true, n));
}

void term_sgr_256_bg(const Root<Term>& term, int32_t n) {
    if (is_open(term)) send_seq(term, seq_256(false, n));
}

void term_sgr_16_fg(const Root<Term>& term, int32_t n) {
    if (!is_open(term)) return;
    send_seq(term, seq_16(true, term->config.basic && n >= 8 ? n - 8 : n));
}

void term_sgr_16_bg(const Root<Term>& term, int32_t n) {
    if (!is_open(term)) return;
    send_seq(term, seq_16(false, term->config.basic && n >= 8 ? n - 8 : n));
}

string term_bel_byte() { return "\a"_t; }

void term_clipboard_set(const Root<Term>& term, const string& payload) {
    if (!is_open(term)) return;
    term_gather_begin(term);
    if (is_empty(payload)) {
        esc(term, "]52;c;!");
    } else {
        esc(term, "]52;c;");
        term_send(term, c_str(payload), length(payload));
    }
    term_send(term, c_str(term_bel_byte()), 1);
    term_gather_end(term);
}

void term_clipboard_query(const Root<Term>& term) {
    if (!is_open(term)) return;
    term_gather_begin(term);
    esc(term, "]52;c;?");
    term_send(term, c_str(term_bel_byte()), 1);
    term_gather_end(term);
}

}  // namespace kestrum
