// kestrum.term: the one connection to the terminal.
//
// Two layers. The kv_* shims are the only code that touches the tty: they take descriptors and
// plain integers and give plain integers. The Term object above them knows the terminal's mode,
// size, colour depth and believed cursor position, and sends fixed escape sequences (no terminfo).
//
// Output normally goes out one write per sequence. Between term_gather_begin and term_gather_end
// the bytes are collected in the Term instead, and term_gather_end writes them with as few write
// calls as the descriptor accepts; frame output, opening and closing gather this way, so the
// terminal receives the same bytes without being torn between system calls.
#pragma once
#include <stdint.h>

#include "stdlib/core/error.hpp"
#include "stdlib/core/result.hpp"
#include "stdlib/core/str.hpp"

namespace kestrum {

using runtime::Member;
using runtime::Root;
using runtime::Text;
using stdlib::string;

enum class ColorDepth : int32_t { Mono = 0, Ansi16 = 1, Color256 = 2, TrueColor = 3 };

// Only NotATTY and RawEnterFailed are ever produced; the rest are reserved.
enum class TermError : int32_t { None = 0, NotATTY = 1, RawEnterFailed = 2, IoctlFailed = 3, NotOpen = 4, WriteFailed = 5 };

struct TermConfig {
    bool alt_screen = false;
    bool hide_cursor = false;
    bool raw_mode = true;
    bool require_tty = true;
    bool mouse = false;
    bool basic = false;  // no bracketed paste, at most 16 colours, ASCII output fallback
    int32_t in_fd = 0;
    int32_t out_fd = 1;
};

TermConfig term_config_default();
TermConfig term_config_fullscreen();
TermConfig term_config_basic();

// The terminal attributes as they were before raw mode; opaque outside term.cpp.
class RawState;

class Term {
    NOLT_MANAGED(Term, void);

public:
    int32_t in_fd = 0;
    int32_t out_fd = 1;
    int32_t width = 0;
    int32_t height = 0;
    ColorDepth depth = ColorDepth::Mono;
    Member<RawState> raw_state;  // null when the terminal is not in raw mode
    int32_t cursor_x = 0;        // -1: unknown
    int32_t cursor_y = 0;
    bool cursor_visible = true;
    bool in_alt_screen = false;
    bool mouse_on = false;
    bool is_open = false;
    TermConfig config;

    // Gathered output: `gathered` bytes of `gather` are waiting while `gathering` is above 0.
    Member<Text> gather;
    int32_t gathered = 0;
    int32_t gathering = 0;
    // What has gone to out_fd so far: bytes and write system calls.
    int64_t bytes_written = 0;
    int64_t write_calls = 0;
};

using TermResult = stdlib::Result<Term, TermError>;

// A closed stand-by terminal: descriptors 0 and 1, 0 by 0, Mono, the default configuration.
Root<Term> empty_term();
inline Root<Term> make_empty_term() { return empty_term(); }
bool is_err(const TermResult& result);
// The Term of an Ok; a fresh empty_term() for an Err.
Root<Term> unwrap(const TermResult& result);

// ---- System shims ------------------------------------------------------------------------

int32_t kv_isatty(int32_t fd);
// Columns and rows from the tty, else from COLUMNS and LINES, else 80 by 24. -1 for a null out
// argument, else 0.
int32_t kv_get_winsize(int32_t fd, int32_t* cols, int32_t* rows);
int32_t kv_get_width(int32_t fd);
int32_t kv_get_height(int32_t fd);
// Raw mode on `fd`; the attributes as they were, or null if they could not be read or changed.
Root<RawState> kv_raw_enter(int32_t fd);
// Puts the saved attributes back: 0, or -1 for a null handle or a failing tcsetattr.
int32_t kv_raw_restore(int32_t fd, const Root<RawState>& saved);
// One read or write, retried on EINTR: the count, or -1. A short write is returned as it stands.
int32_t kv_read(int32_t fd, char* buffer, int32_t length);
int32_t kv_write(int32_t fd, const char* buffer, int32_t length);
// Writes all of `buffer`, continuing after short writes and waiting out EAGAIN: the bytes written
// (fewer only when the descriptor failed), or -1 for bad arguments. `calls` counts the writes.
int32_t kv_write_all(int32_t fd, const char* buffer, int32_t length, int64_t* calls);
// ESC followed by `text`, if the whole fits in 127 bytes; else -1 and nothing written.
int32_t kv_write_esc(int32_t fd, const char* text);
int32_t kv_write_cup(int32_t fd, int32_t row, int32_t col);  // both 1-based
int32_t kv_write_sgr_truecolor_fg(int32_t fd, int32_t r, int32_t g, int32_t b);
int32_t kv_write_sgr_truecolor_bg(int32_t fd, int32_t r, int32_t g, int32_t b);
int32_t kv_write_sgr_256_fg(int32_t fd, int32_t n);  // n clamped to 0..255
int32_t kv_write_sgr_256_bg(int32_t fd, int32_t n);
int32_t kv_write_sgr_16_fg(int32_t fd, int32_t n);  // n clamped to 0..15; 30..37, 90..97
int32_t kv_write_sgr_16_bg(int32_t fd, int32_t n);  // 40..47, 100..107

// ---- The terminal ------------------------------------------------------------------------

ColorDepth detect_color_depth();

TermResult term_open(const TermConfig& config);
void term_close(const Root<Term>& term);
void term_refresh_size(const Root<Term>& term);

stdlib::Result<int32_t, stdlib::Error> term_write(const Root<Term>& term, const string& text);
// Reads at most `length` bytes into the writable text `buffer`, never past its capacity.
stdlib::Result<int32_t, stdlib::Error> term_read(const Root<Term>& term, const string& buffer, int32_t length);

void term_emit_cup(const Root<Term>& term, int32_t x, int32_t y);  // 0-based
void term_hide_cursor(const Root<Term>& term);
void term_show_cursor(const Root<Term>& term);
void term_clear(const Root<Term>& term);
void term_leave_alt_screen(const Root<Term>& term);
void term_mouse_disable(const Root<Term>& term);
void term_bracketed_paste_disable(const Root<Term>& term);
void term_sgr_reset(const Root<Term>& term);
void term_sgr_bold(const Root<Term>& term, bool on);
void term_sgr_underline(const Root<Term>& term, bool on);
void term_sgr_reverse(const Root<Term>& term, bool on);
void term_sgr_truecolor_fg(const Root<Term>& term, int32_t r, int32_t g, int32_t b);
void term_sgr_truecolor_bg(const Root<Term>& term, int32_t r, int32_t g, int32_t b);
void term_sgr_256_fg(const Root<Term>& term, int32_t n);
void term_sgr_256_bg(const Root<Term>& term, int32_t n);
// In basic mode the bright colours 8..15 fold onto 0..7.
void term_sgr_16_fg(const Root<Term>& term, int32_t n);
void term_sgr_16_bg(const Root<Term>& term, int32_t n);

// OSC 52 on selection "c"; `payload` is already Base64. An empty payload clears the selection.
void term_clipboard_set(const Root<Term>& term, const string& payload);
void term_clipboard_query(const Root<Term>& term);
// The one-byte text BEL, which ends the clipboard sequences.
string term_bel_byte();

// Gathering (nests). Bytes sent by the term_* operations of an open terminal wait in the Term
// until the outermost term_gather_end, which writes them all: the bytes written, or -1.
void term_gather_begin(const Root<Term>& term);
int32_t term_gather_end(const Root<Term>& term);
// Sends bytes through the terminal, gathered or at once: what term_write does without a Text.
int32_t term_send(const Root<Term>& term, const char* bytes, int32_t length);

}  // namespace kestrum
