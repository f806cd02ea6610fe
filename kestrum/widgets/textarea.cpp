#include "kestrum/widgets/textarea.hpp"

#include <string.h>
#include <algorithm>

#include "kestrum/widgets/scrollbar.hpp"
#include "stdlib/encoding/utf8.hpp"

namespace kestrum {

using runtime::Array;
using stdlib::c_str;
using stdlib::length;
using stdlib::None;
using stdlib::Option;
using stdlib::Some;
using namespace runtime::literals;

namespace {

constexpr int32_t NO_CAP = 0x7FFFFFFF;

bool printable(int32_t ch) { return ch >= 0x20 && ch <= 0x7E; }

// One new text: the first `keep` bytes of `head`, n bytes of `mid`, then `tail` from byte `from`,
// all cut to `cap` bytes. `mid` is not managed memory, so the allocation cannot reclaim it.
string compose(const string& head, int32_t keep, const char* mid, int32_t n, const string& tail, int32_t from,
               int32_t cap) {
    int64_t whole = (int64_t)keep + n + (length(tail) - from);
    int32_t total = (int32_t)(whole < cap ? whole : cap);
    if (total <= 0) return stdlib::empty_string();
    string out = stdlib::string_buffer(total);
    int32_t k = min_int(keep, total), m = min_int(n, total - k);
    memcpy(out->bytes(), c_str(head), (size_t)k);
    if (m > 0) memcpy(out->bytes() + k, mid, (size_t)m);
    memcpy(out->bytes() + k + m, c_str(tail) + from, (size_t)(total - k - m));
    return out;
}

// `line` without the bytes from..to, or `line` itself when that range is empty.
string remove_bytes(const string& line, int32_t from, int32_t to) {
    return to > from ? compose(line, from, nullptr, 0, line, to, NO_CAP) : line;
}

// The end of the codepoint that starts at byte `at`: its lead byte's length, cut at the end.
int32_t cp_end(const string& line, int32_t at, int32_t n) {
    return min_int(at + stdlib::utf8_char_len(c_str(line)[at]), n);
}

// text_display_width of the bytes from..to, measured from column 0.
int32_t span_width(const string& line, int32_t from, int32_t to) {
    int32_t width = 0;
    for (int32_t i = from; i < to;) {
        Point step = utf8_decode_step(line, i);
        width += step.x == '\t' ? tab_advance(width) : codepoint_display_width(step.x);
        i = step.y;
    }
    return width;
}

// display_to_cp for rising columns of one line: each call resumes where the last one stopped, so
// a row of cells costs one walk of the line.
class ColumnMap {
public:
    explicit ColumnMap(const string& line) : line_(line), n_(length(line)) {}

    int32_t cp_at(int32_t dcol) {
        if (dcol < 1) return 0;
        for (; at_ < n_; index_++) {
            int32_t end = cp_end(line_, at_, n_), w = span_width(line_, at_, end);
            if (width_ + w > dcol) return index_;
            if (width_ + w == dcol) return index_ + 1;
            width_ += w;
            at_ = end;
        }
        return index_;
    }

private:
    const string& line_;
    int32_t n_;
    int32_t at_ = 0, index_ = 0, width_ = 0;
};

// The byte offset of the first occurrence of `needle` in `line` at or after `from`, or -1.
int32_t find_bytes(const string& line, int32_t from, const string& needle) {
    int32_t n = length(line), k = length(needle);
    const char *s = c_str(line), *p = c_str(needle);
    for (int32_t i = from; i + k <= n; i++)
        if (memcmp(s + i, p, (size_t)k) == 0) return i;
    return -1;
}

}  // namespace

// ---- One line's text -----------------------------------------------------------------------

int32_t line_cp_count(const string& line) { return stdlib::utf8_strlen(line); }
int32_t clamp_col(const string& line, int32_t col) { return clamp(col, 0, line_cp_count(line)); }

int32_t cp_to_byte(const string& line, int32_t cp) {
    int32_t n = length(line), at = 0;
    for (int32_t k = 0; k < cp && at < n; k++) at = cp_end(line, at, n);
    return at;
}

int32_t byte_to_cp(const string& line, int32_t byte) {
    int32_t n = length(line), at = 0, count = 0;
    byte = clamp(byte, 0, n);
    while (at < byte) {
        int32_t step = stdlib::utf8_char_len(c_str(line)[at]);
        if (at + step > n) break;
        at += step;
        count++;
    }
    return count;
}

int32_t cp_to_display(const string& line, int32_t cp) { return span_width(line, 0, cp_to_byte(line, cp)); }

int32_t display_to_cp(const string& line, int32_t dcol) { return ColumnMap(line).cp_at(dcol); }

string insert_char_line(const string& line, int32_t col, int32_t ch, int32_t cap) {
    if (length(line) >= cap || !printable(ch)) return line;
    char byte = (char)ch;
    int32_t at = cp_to_byte(line, col);
    return compose(line, at, &byte, 1, line, at, NO_CAP);
}

string replace_char_line(const string& line, int32_t col, int32_t ch) {
    if (col < 0 || col >= line_cp_count(line) || !printable(ch)) return line;
    // In a broken sequence the walk may find no codepoint at col: nothing to replace then.
    int32_t from = cp_to_byte(line, col), to = cp_to_byte(line, col + 1);
    char byte = (char)ch;
    return to > from ? compose(line, from, &byte, 1, line, to, NO_CAP) : line;
}

string delete_before_line(const string& line, int32_t col) {
    return col > 0 ? remove_bytes(line, cp_to_byte(line, col - 1), cp_to_byte(line, col)) : line;
}

string delete_at_line(const string& line, int32_t col) {
    if (col < 0 || col >= line_cp_count(line)) return line;
    return remove_bytes(line, cp_to_byte(line, col), cp_to_byte(line, col + 1));
}

string empty_line() { return stdlib::empty_string(); }

// ---- The store -----------------------------------------------------------------------------

Root<TextArea> TextArea::create(Rect bounds, int32_t max_lines, int32_t visible_rows, int32_t line_cap) {
    Root<TextArea> area = runtime::make<TextArea>();
    area->bounds = bounds;
    area->max_lines = clamp(max_lines, 1, max_lines_cap());
    area->visible_rows = max_int(visible_rows, 1);
    area->line_cap = clamp(line_cap, 8, max_line_cap());
    Root<Array<Member<Text>>> slots = Array<Member<Text>>::make((uint64_t)area->max_lines);
    string empty = empty_line();
    for (Member<Text>& slot : *slots) slot = empty;
    area->lines = slots;
    area->hl = runtime::make<HlCache>();
    area->scheme = scheme_by_name("default"_t);
    return area;
}

int32_t TextArea::count_at(int32_t index) const { return line_cp_count(at(index)); }

Option<string> TextArea::line(int32_t index) {
    if (index < 0 || index >= line_count) return None;
    return Some(at(index));
}

string TextArea::line_or(int32_t index, const string& fallback) { return line(index).unwrap_or(fallback); }

string TextArea::text() {
    if (line_count < 1) return stdlib::empty_string();
    int64_t total = line_count - 1;
    for (int32_t i = 0; i < line_count; i++) total += length(at(i));
    if (total == 0) return stdlib::empty_string();
    string out = stdlib::string_buffer((int32_t)total);
    char* dst = out->bytes();
    for (int32_t i = 0; i < line_count; i++) {
        string piece = at(i);
        memcpy(dst, c_str(piece), (size_t)length(piece));
        dst += length(piece);
        if (i + 1 < line_count) *dst++ = '\n';
    }
    return out;
}

void TextArea::set_text(const string& value) {
    int32_t n = length(value), stored = 0, start = 0;
    for (int32_t i = 0; i <= n && stored < max_lines; i++) {
        if (i < n && c_str(value)[i] != '\n') continue;
        int32_t end = i > start && c_str(value)[i - 1] == '\r' ? i - 1 : i;
        set_line(stored++, stdlib::substring(value, start, min_int(end - start, line_cap)));
        start = i + 1;
    }
    for (int32_t i = stored; i < max_lines; i++) set_line(i, empty_line());
    line_count = max_int(stored, 1);
    caret_line = caret_col = top_line = left_col = 0;
    sel_active = marking = false;
}

void TextArea::shift_lines_down(int32_t at) {
    if (line_count >= max_lines) return;
    at = clamp(at, 0, line_count);
    for (int32_t i = line_count; i > at; i--) lines[i] = lines[i - 1];
    line_count++;
    edits++;
}

void TextArea::shift_lines_up(int32_t from) {
    for (int32_t i = max_int(from, 0); i < line_count - 1; i++) lines[i] = lines[i + 1];
    if (line_count >= 1) lines[line_count - 1] = empty_line();
    edits++;
    if (--line_count < 1) {
        line_count = 1;
        set_line(0, empty_line());
    }
}

void TextArea::split_line_at_caret() {
    if (line_count >= max_lines) return;
    clamp_caret();
    string cur = at(caret_line);
    int32_t cut = cp_to_byte(cur, caret_col), n = length(cur);
    string tail = stdlib::substring(cur, cut, n - cut);
    if (cut < n) set_line(caret_line, stdlib::substring(cur, 0, cut));
    shift_lines_down(caret_line + 1);
    set_line(caret_line + 1, tail);
    caret_line++;
    caret_col = 0;
    ensure_visible();
}

void TextArea::join_with_prev() {
    clamp_caret();
    if (caret_line < 1) return;
    string prev = at(caret_line - 1), cur = at(caret_line);
    int32_t noted = line_cp_count(prev);
    string joined = compose(prev, length(prev), nullptr, 0, cur, 0, line_cap);
    set_line(caret_line - 1, joined);
    shift_lines_up(caret_line);
    caret_line--;
    caret_col = min_int(noted, line_cp_count(joined));
    ensure_visible();
}

void TextArea::join_next() {
    if (caret_line >= line_count - 1) return;
    string cur = at(caret_line), next = at(caret_line + 1);
    set_line(caret_line, compose(cur, length(cur), nullptr, 0, next, 0, line_cap));
    shift_lines_up(caret_line + 1);
}

void TextArea::type_char(int32_t ch, bool may_overwrite) {
    clamp_caret();
    string cur = at(caret_line);
    if (may_overwrite && overwrite && caret_col < line_cp_count(cur)) {
        set_line(caret_line, replace_char_line(cur, caret_col, ch));
        caret_col++;
    } else {
        string grown = insert_char_line(cur, caret_col, ch, line_cap);
        if (length(grown) > length(cur)) caret_col++;
        set_line(caret_line, grown);
    }
    ensure_visible();
}

void TextArea::paste(const string& value) {
    if (!sel_empty()) delete_selection();
    clamp_caret();
    // Each run of bytes between newlines goes in at once, as far as the line has room: the same
    // as inserting byte by byte, where bytes at the cap are dropped.
    char run[max_line_cap()];
    int32_t k = 0, room = line_cap - length(at(caret_line));
    auto flush = [&] {
        if (k == 0) return;
        string cur = at(caret_line);
        int32_t pos = cp_to_byte(cur, caret_col);
        set_line(caret_line, compose(cur, pos, run, k, cur, pos, NO_CAP));
        caret_col += k;
        k = 0;
    };
    for (int32_t i = 0, n = length(value); i < n; i++) {
        int32_t byte = (unsigned char)c_str(value)[i];
        if (byte == '\n') {
            flush();
            split_line_at_caret();
            room = line_cap - length(at(caret_line));
            continue;
        }
        for (int32_t copies = byte == '\t' ? 4 : printable(byte) ? 1 : 0; copies > 0 && k < room; copies--)
            run[k++] = byte == '\t' ? ' ' : (char)byte;
    }
    flush();
    ensure_visible();
}

// ---- Keys ----------------------------------------------------------------------------------

void TextArea::extend_or_clear(bool extending) {
    if (extending) begin_sel();
    else clear_sel();
}

EventResult TextArea::handle_event(const Event& ev) {
    if (!enabled) return event_ignored();
    if (ev.kind == EventKind::Mouse) return handle_mouse(ev) ? event_handled() : event_ignored();
    if (ev.kind != EventKind::Key || ev.key.ctrl || ev.key.alt) return event_ignored();
    int32_t tag = ev.key.key.tag, cp = ev.key.key.codepoint;
    if (tag == KeyCode::Char && !printable(cp)) return event_ignored();
    bool moves = tag == KeyCode::Up || tag == KeyCode::Down || tag == KeyCode::Left || tag == KeyCode::Right ||
                 tag == KeyCode::Home || tag == KeyCode::End || tag == KeyCode::PageUp || tag == KeyCode::PageDown;
    clamp_caret();
    if (moves) extend_or_clear(ev.key.shift || marking);
    switch (tag) {
    case KeyCode::F4: toggle_mark(); break;
    case KeyCode::Up:
        if (caret_line > 0) caret_col = clamp_col(at(--caret_line), caret_col);
        break;
    case KeyCode::Down:
        if (caret_line < line_count - 1) caret_col = clamp_col(at(++caret_line), caret_col);
        break;
    case KeyCode::Left:
        if (caret_col > 0) caret_col--;
        else if (caret_line > 0) caret_col = count_at(--caret_line);
        break;
    case KeyCode::Right:
        if (caret_col < count_at(caret_line)) {
            caret_col++;
        } else if (caret_line < line_count - 1) {
            caret_line++;
            caret_col = 0;
        }
        break;
    case KeyCode::Home: caret_col = 0; break;
    case KeyCode::End: caret_col = count_at(caret_line); break;
    case KeyCode::PageUp:
    case KeyCode::PageDown: {
        int32_t step = tag == KeyCode::PageUp ? -visible_rows : visible_rows;
        scroll_by(step);
        caret_line = clamp((int64_t)caret_line + step, 0, line_count - 1);
        clamp_caret();
        break;
    }
    case KeyCode::Enter:
        if (!sel_empty()) delete_selection();
        split_line_at_caret();
        break;
    case KeyCode::Backspace:
        if (!sel_empty()) {
            delete_selection();
        } else if (caret_col == 0) {
            join_with_prev();
        } else {
            set_line(caret_line, delete_before_line(at(caret_line), caret_col));
            caret_col--;
        }
        clamp_caret();
        break;
    case KeyCode::Delete:
        if (!sel_empty()) delete_selection();
        else if (caret_col >= count_at(caret_line)) join_next();
        else set_line(caret_line, delete_at_line(at(caret_line), caret_col));
        clamp_caret();
        break;
    case KeyCode::Insert: toggle_overwrite(); break;
    case KeyCode::Char:
        if (!sel_empty()) delete_selection();
        type_char(cp, true);
        break;
    default: return event_ignored();
    }
    if (moves) ensure_visible();
    return event_handled();
}

// ---- Settings and geometry -----------------------------------------------------------------

void TextArea::set_syntax(int32_t value) { lang = value; }
void TextArea::set_syntax_scheme(const Root<SyntaxScheme>& value) { scheme = value; }
Style TextArea::base_style() const { return style_make(scheme->fg, scheme->bg, false, false, false); }
Style TextArea::gutter_style() const { return style_make(scheme->gutter_fg, scheme->gutter_bg, false, false, false); }
void TextArea::set_line_numbers(bool on) { line_numbers = on; }
void TextArea::toggle_overwrite() { overwrite = !overwrite; }

void TextArea::set_visible_rows(int32_t n) {
    visible_rows = max_int(n, 1);
    clamp_offset();
}

Rect TextArea::hit_bounds() { return rect(bounds.x, bounds.y, bounds.w + 1, bounds.h + 1); }

int32_t TextArea::gutter_w() {
    if (!line_numbers) return 0;
    int32_t digits = 1;
    for (int32_t n = line_count; n >= 10; n /= 10) digits++;
    return clamp(digits + 1, 3, 6);
}

int32_t TextArea::vis_cols() { return max_int(bounds.w - gutter_w(), 1); }
int32_t TextArea::vis_rows() { return max_int(bounds.h, 1); }

// Line texts are never changed in place, so a slot that still holds the text it held at the last
// call has the width measured then; only the others are measured again.
void TextArea::set_line(int32_t i, const string& text) {
    lines[i] = text;
    edits++;
}

// Worked out again only after a line has changed: a draw of an unchanged text costs nothing here.
int32_t TextArea::content_width() {
    if (widest_at == edits && width_texts) return widest;
    if (!width_texts) {
        width_texts = Array<Member<Text>>::make((uint64_t)max_lines);
        widths = Array<int32_t>::make((uint64_t)max_lines);
    }
    // Read through plain pointers: only a changed line is measured, and measuring allocates nothing.
    const Member<Text>* now = lines->data();
    Member<Text>* seen = width_texts->data();
    int32_t* width = widths->data();
    int32_t most = 0, count = min_int(line_count, min_int(runtime::length(lines), runtime::length(width_texts)));
    for (int32_t i = 0; i < count; i++) {
        if (seen[i].get() != now[i].get()) {
            width[i] = text_display_width(at(i));
            seen[i] = now[i];
        }
        most = max_int(most, width[i]);
    }
    widest_at = edits;
    widest = most;
    return most;
}

bool TextArea::has_hscroll() { return content_width() > vis_cols(); }
bool TextArea::has_scrollbar() { return line_count > visible_rows; }

void TextArea::clamp_offset() {
    int32_t last = line_count - vis_rows();
    top_line = last < 0 ? 0 : clamp(top_line, 0, last);
}

void TextArea::scroll_by(int32_t delta) {
    int32_t last = line_count - visible_rows;
    top_line = last < 0 ? 0 : clamp((int64_t)top_line + delta, 0, last);
}

void TextArea::clamp_caret() {
    if (line_count < 1) {
        line_count = 1;
        set_line(0, empty_line());
    }
    caret_line = clamp(caret_line, 0, line_count - 1);
    caret_col = clamp_col(at(caret_line), caret_col);
    sel_anchor_line = clamp(sel_anchor_line, 0, line_count - 1);
    sel_anchor_col = clamp_col(at(sel_anchor_line), sel_anchor_col);
}

void TextArea::ensure_visible() {
    clamp_caret();
    if (caret_line < top_line) top_line = caret_line;
    if (caret_line >= top_line + visible_rows) top_line = caret_line - visible_rows + 1;
    scroll_by(0);  // the limits of scrolling
    ensure_hscroll();
}

void TextArea::ensure_hscroll() {
    int32_t d = cp_to_display(line_or(caret_line, empty_line()), caret_col), cols = vis_cols();
    if (d < left_col) left_col = d;
    if (d >= left_col + cols) left_col = d - cols + 1;
    left_col = max_int(left_col, 0);
}

void TextArea::set_caret(int32_t line, int32_t col) {
    caret_line = line;
    caret_col = col;
    clamp_caret();
    ensure_visible();
}

// ---- Selection -----------------------------------------------------------------------------

void TextArea::clear_sel() { sel_active = marking = false; }

void TextArea::begin_sel() {
    if (sel_active) return;
    sel_anchor_line = caret_line;
    sel_anchor_col = caret_col;
    sel_active = true;
}

void TextArea::start_mark() {
    sel_anchor_line = caret_line;
    sel_anchor_col = caret_col;
    sel_active = marking = true;
}

void TextArea::end_mark() {
    marking = false;
    if (sel_empty()) sel_active = false;
}

void TextArea::toggle_mark() {
    if (marking) end_mark();
    else start_mark();
}

bool TextArea::sel_empty() {
    return !sel_active || (sel_anchor_line == caret_line && sel_anchor_col == caret_col);
}

bool TextArea::pos_before(int32_t line1, int32_t col1, int32_t line2, int32_t col2) {
    return line1 < line2 || (line1 == line2 && col1 < col2);
}

TextArea::Span TextArea::sel_span() {
    bool anchor_first = pos_before(sel_anchor_line, sel_anchor_col, caret_line, caret_col);
    Span s = anchor_first ? Span{sel_anchor_line, sel_anchor_col, caret_line, caret_col}
                          : Span{caret_line, caret_col, sel_anchor_line, sel_anchor_col};
    s.start_line = clamp(s.start_line, 0, line_count - 1);
    s.end_line = clamp(s.end_line, 0, line_count - 1);
    return s;
}

bool TextArea::in_sel(int32_t line, int32_t col) {
    if (sel_empty()) return false;
    Span s = sel_span();
    return !pos_before(line, col, s.start_line, s.start_col) && pos_before(line, col, s.end_line, s.end_col);
}

Option<string> TextArea::selected_text() {
    if (sel_empty()) return None;
    Span s = sel_span();
    string first = at(s.start_line), last = at(s.end_line);
    int32_t from = cp_to_byte(first, s.start_col), to = cp_to_byte(last, s.end_col);
    if (s.start_line == s.end_line) return Some(stdlib::substring(first, from, to - from));
    int64_t total = length(first) - from + to;
    for (int32_t i = s.start_line + 1; i < s.end_line; i++) total += length(at(i)) + 1;
    string out = stdlib::string_buffer((int32_t)total + 1);
    char* dst = out->bytes();
    auto add = [&](const string& piece, int32_t start, int32_t end, bool newline) {
        memcpy(dst, c_str(piece) + start, (size_t)(end - start));
        dst += end - start;
        if (newline) *dst++ = '\n';
    };
    add(first, from, length(first), true);
    for (int32_t i = s.start_line + 1; i < s.end_line; i++) {
        string piece = at(i);
        add(piece, 0, length(piece), true);
    }
    add(last, 0, to, false);
    return Some(out);
}

void TextArea::select_all() {
    if (line_count < 1) return;
    sel_anchor_line = sel_anchor_col = 0;
    caret_line = line_count - 1;
    caret_col = count_at(caret_line);
    sel_active = true;
    marking = false;
    ensure_visible();
}

void TextArea::delete_selection() {
    if (sel_empty()) return;
    Span s = sel_span();
    string first = at(s.start_line), last = at(s.end_line);
    set_line(s.start_line,
             compose(first, cp_to_byte(first, s.start_col), nullptr, 0, last, cp_to_byte(last, s.end_col), line_cap));
    for (int32_t i = s.start_line; i < s.end_line; i++) shift_lines_up(s.start_line + 1);
    caret_line = s.start_line;
    caret_col = s.start_col;
    sel_active = marking = false;
    clamp_caret();
    ensure_visible();
}

bool TextArea::find_next(const string& needle) {
    if (length(needle) == 0) return false;
    clamp_caret();
    int32_t ln = caret_line, col = sel_empty() ? caret_col : caret_col + 1;
    for (bool wrapped = false;;) {
        string cur = at(ln);
        int32_t hit = find_bytes(cur, cp_to_byte(cur, clamp_col(cur, col)), needle);
        if (hit >= 0) {
            sel_anchor_line = caret_line = ln;
            sel_anchor_col = byte_to_cp(cur, hit);
            caret_col = byte_to_cp(cur, hit + length(needle));
            sel_active = true;
            ensure_visible();
            return true;
        }
        col = 0;
        if (++ln >= line_count) {
            if (wrapped) return false;
            wrapped = true;
            ln = 0;
        }
        if (wrapped && ln > caret_line) return false;
    }
}

// ---- Drawing -------------------------------------------------------------------------------

// The gutter's cells on row y: its background, and the number of the line shown there.
void TextArea::draw_gutter_row(const Root<CellBuffer>& buf, Rect r, Rect area, int32_t y, int32_t g) {
    Style style = gutter_style();
    int32_t ln = top_line + (y - r.y);
    cellbuf_fill_rect(buf, rect_intersect(area, rect(r.x, y, g, 1)), CH_SPACE, style);
    if (ln < 0 || ln >= line_count) return;
    // The number right-aligned in g - 1 cells, one blank column before the text.
    char digits[12];
    int32_t n = 0;
    for (int32_t v = ln + 1; v > 0; v /= 10) digits[n++] = (char)('0' + v % 10);
    for (int32_t k = 0, x = r.x + max_int(g - 1 - n, 0); k < n; k++, x++)
        cellbuf_put_in(buf, x, y, digits[n - 1 - k], style, area);
}

Root<KeptRows> TextArea::fit_kept_rows(const Root<CellBuffer>& buf, Rect r, Rect area, int32_t g, int32_t pen,
                                       Rect tclip) {
    if (!kept_rows) kept_rows = runtime::make<KeptRows>();
    Root<KeptRows> kept(kept_rows.get());
    Rect span = rect_clip_to_size(area, buf->width, buf->height);
    KeptRowsKey key{span, tclip, r.x, g, pen, lang, base_style(), gutter_style()};
    if (kept->texts && kept->key == key && kept->scheme.get() == scheme.get()) return kept;
    uint64_t rows = (uint64_t)max_int(span.h, 0), cells = rows * (uint64_t)max_int(span.w, 0);
    if (!kept->texts || kept->texts->size() != rows || kept->cells->size() != cells) {
        kept->texts = Array<Member<Text>>::make(rows);
        kept->starts = Array<HlStack>::make(rows);
        kept->indices = Array<int32_t>::make(rows);
        kept->cells = Array<Cell>::make(cells);
    } else {
        for (Member<Text>& text : *kept->texts) text = nullptr;
    }
    kept->key = key;
    kept->scheme = scheme;
    return kept;
}

namespace {

// A row of the text is its background, its gutter and its painted line, and nothing else draws
// there before the selection and the caret; so a row that shows the same line, painted from the
// same stack, under the same key, is the kept row's cells again.
struct AreaRows final : RowMemo {
    TextArea& area;
    const Root<CellBuffer>& buf;
    KeptRows* kept;  // held by the area
    Rect r, clip;    // the text area's rectangle, and the part of it drawn
    Rect span;       // the part drawn within the buffer, whose rows are kept
    int32_t g;

    AreaRows(TextArea& area, const Root<CellBuffer>& buf, KeptRows* kept, Rect r, Rect clip, int32_t g)
        : area(area), buf(buf), kept(kept), r(r), clip(clip), span(kept->key.span), g(g) {}

    // A row of the drawn area: its cells in the buffer and in the record.
    Cell* shown(int32_t row) { return buf->cells->data() + (int64_t)row * buf->width + span.x; }
    Cell* held(int32_t row) { return kept->cells->data() + (int64_t)(row - span.y) * span.w; }
    bool drawn(int32_t row) { return row >= span.y && (int64_t)row - span.y < span.h; }

    bool restore(int32_t row, int32_t index, const string& line, const HlStack& start) override {
        if (!drawn(row)) return false;
        int32_t k = row - span.y;
        if (kept->texts[k].get() != line.get() || kept->indices[k] != index || !same_stack(kept->starts[k], start))
            return false;
        memcpy(shown(row), held(row), (size_t)span.w * sizeof(Cell));
        return true;
    }
    void clear(int32_t row, int32_t) override {
        cellbuf_fill_rect(buf, rect_intersect(clip, rect(r.x, row, r.w, 1)), CH_SPACE, area.base_style());
        if (g > 0) area.draw_gutter_row(buf, r, clip, row, g);
    }
    void keep(int32_t row, int32_t index, const string& line, const HlStack& start) override {
        if (!drawn(row)) return;
        int32_t k = row - span.y;
        kept->texts[k] = line;
        kept->indices[k] = index;
        kept->starts[k] = start;
        memcpy(held(row), shown(row), (size_t)span.w * sizeof(Cell));
    }
};

}  // namespace

void TextArea::draw_selection(const Root<CellBuffer>& buf, Rect r, Rect area, int32_t text_x, int32_t rows) {
    Span s = sel_span();
    int32_t cols = vis_cols();
    for (int32_t i = 0; i < rows; i++) {
        int32_t ln = top_line + i, y = r.y + i;
        if (ln < s.start_line || ln > s.end_line || ln >= line_count) continue;
        string cur = at(ln);
        ColumnMap map(cur);
        for (int32_t c = 0; c < cols; c++) {
            if (in_sel(ln, map.cp_at(left_col + c))) cellbuf_invert_in(buf, text_x + c, y, area);
        }
    }
}

void TextArea::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool focused, const Root<Theme>& theme) {
    Rect area = rect_intersect(r, clip);
    if (rect_empty(area)) return;
    int32_t rows = max_int(min_int(vis_rows(), r.h), 1), g = gutter_w();
    int32_t text_x = r.x + g, text_w = max_int(r.w - g, 1);
    Rect tclip = rect_intersect(area, rect(text_x, r.y, text_w, rows));
    Root<KeptRows> kept = fit_kept_rows(buf, r, area, g, text_x - left_col, tclip);
    AreaRows memo(*this, buf, kept.get(), r, area, g);
    // The lines are painted on rows lines_from .. lines_to - 1 of r, each one cleared first; the
    // others hold the background, and within `rows` the gutter.
    int64_t lines_to = std::min<int64_t>(min_int(line_count, runtime::length(lines)), (int64_t)top_line + rows) - top_line;
    int64_t lines_from = std::max<int64_t>(-(int64_t)top_line, 0);
    for (int32_t y = area.y; y < area.y + area.h; y++) {
        if (y - r.y >= lines_from && y - r.y < lines_to) continue;
        cellbuf_fill_rect(buf, rect(area.x, y, area.w, 1), CH_SPACE, base_style());
        if (g > 0 && y - r.y < rows) draw_gutter_row(buf, r, area, y, g);
    }
    paint_lines(buf, lines, line_count, top_line, rows, text_x - left_col, r.y, lang, scheme, tclip, hl, &memo);
    if (!sel_empty()) draw_selection(buf, r, area, text_x, rows);
    if (focused && caret_line >= top_line && caret_line < top_line + rows && caret_line < line_count) {
        Point p = point(text_x + cp_to_display(at(caret_line), caret_col) - left_col, r.y + caret_line - top_line);
        cellbuf_invert_in(buf, p.x, p.y, area);
    }
    // The bars stand on the frame of the surrounding window, right of and below r, inside the clip.
    if (line_count > rows)
        draw_frame_scrollbar(buf, r.x + r.w, r.y, rows, line_count, rows, top_line, theme->box, theme->frame_style,
                             theme->scrollbar_knob_style, clip);
    int32_t widest = content_width(), track = h_track_len(r.w, g);
    if (widest > text_w && track > 0)
        draw_frame_h_scrollbar(buf, text_x, r.y + r.h, track, widest, text_w, left_col, theme->box, theme->frame_style,
                               theme->scrollbar_knob_style, clip);
}

// ---- Mouse ---------------------------------------------------------------------------------

int32_t TextArea::h_track_len(int32_t width, int32_t gutter) {
    int32_t t = width - gutter - 2;
    if (t < 3) t = width - gutter;
    return max_int(t, 1);
}

void TextArea::set_offset_from_y(Rect r, int32_t y) {
    int32_t rows = vis_rows(), track = r.h > 0 && r.h < rows ? r.h : rows;
    top_line = scrollbar_offset_from_y(line_count, rows, track, y - r.y);
}

void TextArea::set_col_from_x(Rect r, int32_t x) {
    int32_t g = gutter_w();
    left_col = max_int(scrollbar_offset_from_x(content_width(), vis_cols(), h_track_len(r.w, g), x - r.x - g), 0);
}

bool TextArea::caret_to_point(Rect r, int32_t mx, int32_t my) {
    if (!point_in_rect(point(mx, my), r)) return false;
    caret_line = clamp((int64_t)my - r.y + top_line, 0, line_count - 1);
    string cur = at(caret_line);
    caret_col = clamp_col(cur, display_to_cp(cur, max_int(mx - r.x - gutter_w() + left_col, 0)));
    return true;
}

bool TextArea::handle_mouse(const Event& ev) {
    if (ev.kind != EventKind::Mouse) return false;
    const MouseEvent& m = ev.mouse;
    Rect r = bounds;
    if (m.button == MouseButton::WheelUp || m.button == MouseButton::WheelDown) {
        scroll_by(m.button == MouseButton::WheelUp ? -1 : 1);
        return true;
    }
    if (drag_vbar || drag_hbar) {
        if (!m.pressed) drag_vbar = drag_hbar = false;
        else if (drag_vbar) set_offset_from_y(r, m.y);
        else set_col_from_x(r, m.x);
        return true;
    }
    if (m.pressed && !m.motion && m.button == MouseButton::Left) {
        int32_t g = gutter_w(), track = h_track_len(r.w, g);
        if (m.y == r.y + r.h && m.x >= r.x + g && m.x < r.x + g + track) {
            drag_hbar = true;
            set_col_from_x(r, m.x);
            return true;
        }
        if (has_scrollbar() && r.w > 0 && m.x == r.x + r.w && m.y >= r.y && m.y < r.y + vis_rows()) {
            drag_vbar = true;
            set_offset_from_y(r, m.y);
            return true;
        }
        bool stretch = m.shift && sel_active;
        if (caret_to_point(r, m.x, m.y)) {
            if (!stretch) {
                sel_anchor_line = caret_line;
                sel_anchor_col = caret_col;
                sel_active = marking = false;
                drag_sel = true;
            }
            ensure_visible();
            return true;
        }
    }
    if (!drag_sel) return false;
    if (!m.pressed) {
        drag_sel = false;
        if (sel_empty()) sel_active = false;
    } else if (caret_to_point(r, m.x, m.y)) {
        sel_active = true;
        ensure_visible();
    }
    return true;
}

}  // namespace kestrum
